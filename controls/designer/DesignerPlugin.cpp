#include "controls/designer/DesignerPlugin.h"

#include "controls/QtFormStorage.h"

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

constexpr TWidget Widgets[] = {
    {"zutools::TQtFormStorage", "controls/QtFormStorage.h", "FormStorage",
     "Keeps the form's place and chosen properties in a settings file",
     "Name in StoredProps what is kept, \"component.property\" each, switch StoredPlacement on for the "
     "window's "
     "place, and Active. It is seen here only.",
     QStyle::SP_DialogSaveButton, [](QWidget* Parent) -> QWidget* { return new TQtFormStorage(Parent); }},
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
    TQtFormStorage::SetDesigning();
    for (const TWidget& Widget : Widgets) FWidgets.push_back(std::make_unique<TEntry>(Widget));
}

TDesignerPlugin::~TDesignerPlugin() = default;

QList<QDesignerCustomWidgetInterface*> TDesignerPlugin::customWidgets() const {
    QList<QDesignerCustomWidgetInterface*> Result;
    for (const auto& Widget : FWidgets) Result += Widget.get();
    return Result;
}

} // namespace zutools
