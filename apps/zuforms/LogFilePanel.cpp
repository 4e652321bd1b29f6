#include "apps/zuforms/Panel.h"
#include "controls/Zufpsel.h"

#include <QVBoxLayout>

namespace zutools::zuforms {

namespace {

// What the gallery's host knows of macros.
QString MacroValue(const QString& Macro) {
    if (Macro == u"%UserName%") return QStringLiteral("anna");
    return Macro == u"%Date%" ? QStringLiteral("2026-11-21") : QStringLiteral("0");
}

} // namespace

TShown MakeLogFilePanel(QWidget* Parent) {
    CorrectPath = MacroValue;
    auto* Page = new QWidget(Parent);
    auto* Layout = new QVBoxLayout(Page);
    auto* Chooser = new TZUFilePathChoser(Page);
    Chooser->setObjectName(QStringLiteral("LogFile"));
    Chooser->SetFileName(QStringLiteral("/var/log/orders/%UserName%-%Date%.log"));
    Chooser->SetShowSizeLimit(true);
    Chooser->SetMaxFileSize(3 * 1024 * 1024);
    Chooser->SetShowTracerParams(true);
    Layout->addWidget(Chooser);
    Layout->addStretch(1);
    return {
        Page,
        Chooser,
        {{Translated("With logging"), [Chooser] { Chooser->SetShowTracerParams(true); }},
         {Translated("Without logging"), [Chooser] { Chooser->SetShowTracerParams(false); }},
         {Translated("Drop-down"), [Chooser] { Chooser->SetDropDown(true); }},
         {Translated("A wrong macro"), [Chooser] { Chooser->SetFileName(QStringLiteral("/log/%User%")); }}}};
}

} // namespace zutools::zuforms
