#include "apps/zuforms/Panel.h"

#include <QCoreApplication>

#include <algorithm>
#include <array>

namespace zutools::zuforms {

namespace {

constexpr std::array AllPanels{
    TPanel{"logfile", "TZUFilePathChoser",
           QT_TRANSLATE_NOOP("zuforms",
                             "The path of a log file with macros, a limit of its size, a logger's settings."),
           R"(CorrectPath = ValueOfMacro; // QString ValueOfMacro(const QString& Macro), once in the program

TZUFilePathChoser LogFile(this);
LogFile.EditTracer(Loger, true);
if (Dialog.exec() == QDialog::Accepted) LogFile.CommitTracer(Loger, true);
)",
           MakeLogFilePanel},
    TPanel{"message", "TZUDlg",
           QT_TRANSLATE_NOOP("zuforms", "A message box with captions of one's own; Ctrl+C copies its text."),
           R"(TZUDlg Dlg(this);
Dlg.SetTitle("Orders");
Dlg.SetMessage({"The order was changed.", "Save it?"});
Dlg.SetButtons({"&Save", "&Discard", "&Cancel"});
Dlg.SetIcon(TZUDlg::icConfirmation);
if (Dlg.Show() == 0) Save();
)",
           MakeMessagePanel},
    TPanel{"path", "TZUFPChooser",
           QT_TRANSLATE_NOOP("zuforms", "A field for the path of a file or a folder, with earlier paths."),
           R"(TZUFPChooser File(this);
File.SetInfoText("&File to import:");
File.SetHistoryList(Earlier);
File.SetObjectType(TZUFPChooser::otFile);
connect(&File, &TZUFPChooser::onChange, this, &TForm::Check);
)",
           MakePathPanel},
    TPanel{"progress", "TZUProgress",
           QT_TRANSLATE_NOOP("zuforms", "How far work is, as a cylinder that fills, with the time left."),
           R"(TZUProgress Progress(this);
Progress.setRange(0, 500);
Progress.setFormat("%v of %m, %t");
Progress.setColorStyle(TZUProgress::csGreen);
Progress.setValue(120);
)",
           MakeProgressPanel},
    TPanel{"wave", "TZUWavePanel",
           QT_TRANSLATE_NOOP("zuforms", "A strip along which a wave of colour travels while work goes on."),
           R"(TZUWavePanel Wave(this);
Wave.SetCaption("Loading orders");
Wave.SetDirection(TZUWavePanel::drLeftToRight);
Wave.SetActive(true); // it rests while nobody can see it
)",
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

QString Translated(const char* Text) {
    return QCoreApplication::translate("zuforms", Text);
}

} // namespace zutools::zuforms
