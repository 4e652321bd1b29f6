#include "apps/zuforms/Look.h"

#include <QLibraryInfo>
#include <QLocale>
#include <QPalette>
#include <QTranslator>

namespace zutools::zuforms {

namespace {

QPalette DarkColors() {
    QPalette Dark(QColor(0x35, 0x37, 0x3a), QColor(0x2b, 0x2d, 0x30));
    Dark.setColor(QPalette::Base, QColor(0x1e, 0x1f, 0x22));
    Dark.setColor(QPalette::AlternateBase, QColor(0x26, 0x28, 0x2b));
    Dark.setColor(QPalette::Highlight, QColor(0x2f, 0x7f, 0xd1));
    Dark.setColor(QPalette::HighlightedText, Qt::white);
    for (const auto Role :
         {QPalette::WindowText, QPalette::Text, QPalette::ButtonText, QPalette::BrightText}) {
        Dark.setColor(Role, QColor(0xdf, 0xe1, 0xe5));
        Dark.setColor(QPalette::Disabled, Role, QColor(0x80, 0x84, 0x8a));
    }
    Dark.setColor(QPalette::PlaceholderText, QColor(0x9a, 0x9e, 0xa5));
    return Dark;
}

// As desktops have them for people who need them: white on black, what is chosen black on yellow.
QPalette ContrastColors() {
    QPalette Colors(Qt::white, Qt::black, Qt::white, Qt::white, Qt::white, Qt::white, Qt::white, Qt::black,
                    Qt::black);
    Colors.setColor(QPalette::AlternateBase, QColor(0x1a, 0x1a, 0x1a));
    Colors.setColor(QPalette::Highlight, Qt::yellow);
    Colors.setColor(QPalette::HighlightedText, Qt::black);
    Colors.setColor(QPalette::Button, QColor(0x20, 0x20, 0x20));
    Colors.setColor(QPalette::ToolTipBase, Qt::black);
    Colors.setColor(QPalette::ToolTipText, Qt::white);
    for (const auto Role : {QPalette::WindowText, QPalette::Text, QPalette::ButtonText})
        Colors.setColor(QPalette::Disabled, Role, QColor(0x3f, 0xf2, 0x3f));
    Colors.setColor(QPalette::PlaceholderText, QColor(0xd0, 0xd0, 0xd0));
    Colors.setColor(QPalette::Link, Qt::yellow);
    return Colors;
}

} // namespace

void UseColors(QApplication& Application, TColors Colors) {
    if (Colors == TColors::Dark) Application.setPalette(DarkColors());
    if (Colors == TColors::Contrast) Application.setPalette(ContrastColors());
}

QStringList Languages() {
    return {QStringLiteral("ru"), QStringLiteral("en")};
}

void UseLanguage(QCoreApplication& Application, const QString& Wanted) {
    const QString Own =
        QLocale().language() == QLocale::Russian ? QStringLiteral("ru") : QStringLiteral("en");
    const QLocale Locale(Wanted.isEmpty() ? Own : Wanted);
    QLocale::setDefault(Locale);
    const auto Install = [&](const QString& Name, const QString& Folder) {
        auto* Texts = new QTranslator(&Application);
        if (Texts->load(Locale, Name, QStringLiteral("_"), Folder))
            QCoreApplication::installTranslator(Texts);
    };
    Install(QStringLiteral("qtbase"), QLibraryInfo::path(QLibraryInfo::TranslationsPath));
    Install(QStringLiteral("zutools_controls"), QStringLiteral(":/i18n"));
    Install(QStringLiteral("zuforms"), QStringLiteral(":/i18n"));
}

} // namespace zutools::zuforms
