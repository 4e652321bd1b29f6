// What Qt Designer does with the plug-in: loads it, asks what is in it, makes each widget on a form and sets
// a property. Exit 0 when all of it went well.

#include <QApplication>
#include <QComboBox>
#include <QIcon>
#include <QMetaProperty>
#include <QPluginLoader>
#include <QWidget>
#include <QXmlStreamReader>
#include <QtUiPlugin/QDesignerCustomWidgetCollectionInterface>

#include <iostream>

namespace {

// Each property that the widget's own classes declare is seen, and takes what it holds.
QString FaultOfProperties(QWidget& Widget) {
    const QMetaObject& Meta = *Widget.metaObject();
    const int First = QWidget::staticMetaObject.propertyCount();
    if (Meta.propertyCount() == First) return "has no property";
    for (int I = First; I < Meta.propertyCount(); ++I) {
        const QMetaProperty Property = Meta.property(I);
        const bool Seen = Property.isDesignable() && Property.read(&Widget).isValid();
        if (!Seen || (Property.isWritable() && !Property.write(&Widget, Property.read(&Widget))))
            return QString("hides %1").arg(Property.name());
    }
    return {};
}

// Why Designer would not take the widget; empty when it does.
QString FaultOf(const QDesignerCustomWidgetInterface& Entry, QWidget& Widget) {
    if (Entry.group() != "ZuTools" || Entry.toolTip().isEmpty() || Entry.whatsThis().isEmpty())
        return "is not told of";
    if (Entry.icon().isNull()) return "has no icon";
    if (Widget.metaObject()->className() != Entry.name()) return "is of another class";
    if (!Widget.isVisible()) return "is not seen";
    QXmlStreamReader Xml(Entry.domXml());
    while (Xml.readNextStartElement() && Xml.name() != u"widget") {
    }
    if (Xml.attributes().value("class") != Entry.name()) return "is another in its XML";
    Widget.setObjectName(Xml.attributes().value("name").toString());
    // A label is called as its control is, until somebody calls it otherwise.
    if (Widget.property("InfoText").isValid() && Widget.property("InfoText") != Widget.objectName())
        return "is not labelled by its name";
    return FaultOfProperties(Widget);
}

} // namespace

int main(int argc, char** argv) {
    const QApplication Application(argc, argv);
    QPluginLoader Loader(argc > 1 ? argv[1] : "");
    auto* const Plugin = qobject_cast<QDesignerCustomWidgetCollectionInterface*>(Loader.instance());
    if (Plugin == nullptr) {
        std::cerr << Loader.errorString().toStdString() << '\n';
        return 1;
    }
    QWidget Form;
    Form.show();
    for (QDesignerCustomWidgetInterface* const Entry : Plugin->customWidgets()) {
        QWidget* const Widget = Entry->createWidget(&Form);
        Widget->show();
        const QString Fault = FaultOf(*Entry, *Widget);
        std::cout << Entry->name().toStdString() << ' ' << Fault.toStdString() << '\n';
        if (!Fault.isEmpty()) return 1;
    }
    QWidget* const Storage = Form.findChild<QWidget*>("FormStorage");
    const QStringList Stored("Edit.text");
    if (!Storage->setProperty("StoredProps", Stored) || Storage->property("StoredProps") != Stored) return 1;
    if (Storage->property("Active").toBool() || Storage->property("Options").toInt() != 3) return 1;
    // No engine is asked here; one that is not there would leave the type alone in the drop-down.
    QWidget* const Crypto = Form.findChild<QWidget*>("CryptoParams");
    Crypto->setProperty("LibName", "no-such-engine");
    Crypto->setProperty("CryptoEngineType", "TypeA");
    Crypto->setProperty("InitCryptoControlsOnCreate", true);
    return Crypto->findChild<QComboBox*>()->count();
}
