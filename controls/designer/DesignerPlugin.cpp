#include "controls/designer/DesignerPlugin.h"

#include "controls/Crprmsed.h"
#include "controls/QtFormStorage.h"
#include "controls/Zudlg.h"
#include "controls/Zufpchooser.h"
#include "controls/Zufpsel.h"
#include "controls/Zuprmgrd.h"
#include "controls/Zuprogress.h"
#include "controls/Zuseldir.h"
#include "controls/Zuwaver.h"

#include <QApplication>
#include <QIcon>
#include <QStyle>

namespace zutools {

namespace {

/// What Designer asks about a widget.
struct TWidget {
    const char* Class;
    const char* Header;
    const char* Name; // of the first one on a form
    const char* ToolTip;
    const char* WhatsThis;
    QStyle::StandardPixmap Icon;
    QWidget* (*Make)(QWidget* Parent);
};

template <class T>
QWidget* New(QWidget* Parent) {
    return new T(Parent);
}

constexpr TWidget Widgets[] = {
    {"zutools::TBrowseForFolder", "controls/Zuseldir.h", "FolderBrowser", "Lets a person choose a folder",
     "Set Root, Caption and FolderName, then call Execute. It is seen here only.", QStyle::SP_DirOpenIcon,
     New<TBrowseForFolder>},
    {"zutools::TCryptoParamsEditor", "controls/Crprmsed.h", "CryptoParams",
     "The parameters of a crypto engine, and a sign test",
     "LibName is the engine library, ProbeInOwnProcess keeps its faults away from the form. No engine is "
     "loaded "
     "here.",
     QStyle::SP_DialogApplyButton, New<TCryptoParamsEditor>},
    {"zutools::TParamsGrid", "controls/Zuprmgrd.h", "ParamsGrid", "A grid that edits a parameter list",
     "Text is the list's text form; name HotKeys in StoredProps, and changed keys are kept.",
     QStyle::SP_FileDialogDetailedView, New<TParamsGrid>},
    {"zutools::TQtFormStorage", "controls/QtFormStorage.h", "FormStorage",
     "Keeps the form's place and chosen properties in a settings file",
     "Name in StoredProps what is kept, \"component.property\" each, switch StoredPlacement on for the "
     "window's place, and Active. It is seen here only.",
     QStyle::SP_DialogSaveButton, New<TQtFormStorage>},
    {"zutools::TZUDlg", "controls/Zudlg.h", "Dlg", "A message box with captions of one's own",
     "Set Message, Buttons and Icon, then call Show; it returns the index of the button. It is seen here "
     "only.",
     QStyle::SP_MessageBoxQuestion, New<TZUDlg>},
    {"zutools::TZUFilePathChoser", "controls/Zufpsel.h", "LogFile",
     "The path of a log file, with macros, and a logger's settings",
     "FileName holds the path with its macros; ShowSizeLimit and ShowTracerParams show more of it.",
     QStyle::SP_FileIcon, New<TZUFilePathChoser>},
    {"zutools::TZUFPChooser", "controls/Zufpchooser.h", "Path",
     "The path of a file or a folder, with earlier ones",
     "ObjectType says what is chosen, InfoText is the label, HistoryList the earlier paths.",
     QStyle::SP_DirIcon, New<TZUFPChooser>},
    {"zutools::TZUProgress", "controls/Zuprogress.h", "Progress", "How far work is, as a cylinder that fills",
     "It counts as QProgressBar does; colorStyle and format say how it looks.", QStyle::SP_MediaVolume,
     New<TZUProgress>},
    {"zutools::TZUWavePanel", "controls/Zuwaver.h", "Wave", "A strip along which a wave of colour travels",
     "Active begins the wave; it cannot be switched off again.", QStyle::SP_BrowserReload, New<TZUWavePanel>},
};

class TEntry final : public QDesignerCustomWidgetInterface {
public:
    explicit TEntry(const TWidget& Widget)
        : FWidget(Widget) {}
    QString name() const override { return FWidget.Class; }
    QString group() const override { return "ZuTools"; }
    QString toolTip() const override { return FWidget.ToolTip; }
    QString whatsThis() const override { return FWidget.WhatsThis; }
    QString includeFile() const override { return FWidget.Header; }
    QIcon icon() const override { return QApplication::style()->standardIcon(FWidget.Icon); }
    bool isContainer() const override { return false; }
    QWidget* createWidget(QWidget* Parent) override { return FWidget.Make(Parent); }
    QString domXml() const override {
        return QStringLiteral("<ui language=\"c++\"><widget class=\"%1\" name=\"%2\"/></ui>")
            .arg(FWidget.Class, FWidget.Name);
    }

private:
    const TWidget& FWidget;
};

} // namespace

TDesignerPlugin::TDesignerPlugin(QObject* Parent)
    : QObject(Parent) {
    TFormComponent::SetDesigning();
    for (const TWidget& Widget : Widgets) FWidgets.push_back(std::make_unique<TEntry>(Widget));
}

TDesignerPlugin::~TDesignerPlugin() = default;

QList<QDesignerCustomWidgetInterface*> TDesignerPlugin::customWidgets() const {
    QList<QDesignerCustomWidgetInterface*> Result;
    for (const auto& Widget : FWidgets) Result += Widget.get();
    return Result;
}

} // namespace zutools
