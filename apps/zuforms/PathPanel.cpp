#include "apps/zuforms/Panel.h"
#include "controls/Zufpchooser.h"
#include "controls/Zuseldir.h"

#include <QDir>
#include <QVBoxLayout>

namespace zutools::zuforms {

TShown MakePathPanel(QWidget* Parent) {
    auto* Page = new QWidget(Parent);
    auto* Layout = new QVBoxLayout(Page);
    auto* Chooser = new TZUFPChooser(Page);
    Chooser->setObjectName(QStringLiteral("Path"));
    Chooser->SetInfoText(Translated("&File to import:"));
    Chooser->SetHistoryList(
        {QStringLiteral("/home/anna/orders-2026.csv"), QStringLiteral("/home/anna/orders-2025.csv")});
    Chooser->KX_SelectDirectory = ZUSelectDirectory;
    Layout->addWidget(Chooser);
    Layout->addStretch(1);
    return {Page,
            Chooser,
            {{Translated("A file"), [Chooser] { Chooser->SetObjectType(TZUFPChooser::otFile); }},
             {Translated("A folder"), [Chooser] { Chooser->SetObjectType(TZUFPChooser::otDirectory); }},
             {Translated("Label at the left"),
              [Chooser] {
                  Chooser->SetLabelPosition(TZUFPChooser::lpLeft);
                  Chooser->SetHorzIndent(0);
              }},
             {Translated("Label above"), [Chooser] {
                  Chooser->SetLabelPosition(TZUFPChooser::lpAbove);
                  Chooser->SetHorzIndent(0);
              }}}};
}

} // namespace zutools::zuforms
