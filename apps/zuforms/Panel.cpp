#include "apps/zuforms/Panel.h"

#include <QCoreApplication>
#include <QFile>

#include <algorithm>
#include <array>

namespace zutools::zuforms {

namespace {

constexpr std::array AllPanels{
    TPanel{"ask", "TAskValuesDlg",
           QT_TRANSLATE_NOOP("zuforms", "Asks for named values; OK is possible when all of them pass."),
           MakeAskPanel},
    TPanel{"crypto", "TCryptoParamsEditor",
           QT_TRANSLATE_NOOP("zuforms",
                             "The parameters of a crypto engine, with a sign test; secrets are masked."),
           MakeCryptoPanel},
    TPanel{"folder", "TBrowseForFolder",
           QT_TRANSLATE_NOOP("zuforms",
                             "A folder chosen from a tree below a root; slow folders hold up nothing."),
           MakeFolderPanel},
    TPanel{"logfile", "TZUFilePathChoser",
           QT_TRANSLATE_NOOP("zuforms",
                             "The path of a log file with macros, a limit of its size, a logger's settings."),
           MakeLogFilePanel},
    TPanel{"message", "TZUDlg",
           QT_TRANSLATE_NOOP("zuforms", "A message box with captions of one's own; Ctrl+C copies its text."),
           MakeMessagePanel},
    TPanel{
        "params", "TParamsGrid",
        QT_TRANSLATE_NOOP(
            "zuforms", "A grid that edits a parameter list, with checks, a filter and keys for all of it."),
        MakeParamsPanel},
    TPanel{"path", "TZUFPChooser",
           QT_TRANSLATE_NOOP("zuforms", "A field for the path of a file or a folder, with earlier paths."),
           MakePathPanel},
    TPanel{"progress", "TZUProgress",
           QT_TRANSLATE_NOOP("zuforms", "How far work is, as a cylinder that fills, with the time left."),
           MakeProgressPanel},
    TPanel{"wave", "TZUWavePanel",
           QT_TRANSLATE_NOOP("zuforms", "A strip along which a wave of colour travels while work goes on."),
           MakeWavePanel},
};

} // namespace

std::span<const TPanel> Panels() {
    return AllPanels;
}

const TPanel* FindPanel(const QString& Name) {
    const auto* const Found = std::ranges::find_if(
        AllPanels, [&](const TPanel& Panel) { return Name == QLatin1String(Panel.Name); });
    return Found == AllPanels.end() ? nullptr : Found;
}

QString SampleOf(const TPanel& Panel) {
    QFile Page(QStringLiteral(":/docs/%1.md").arg(QLatin1String(Panel.Name)));
    if (!Page.open(QIODevice::ReadOnly)) return {};
    const QString Text = QString::fromUtf8(Page.readAll());
    const QString Fence = QStringLiteral("```");
    return Text.section(Fence + QStringLiteral("cpp\n"), 1, 1).section(Fence, 0, 0);
}

QString Translated(const char* Text) {
    return QCoreApplication::translate("zuforms", Text);
}

} // namespace zutools::zuforms
