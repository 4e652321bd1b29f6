// What Qt Designer does with the plug-in: loads it, asks what is in it, makes each widget on a form and sets
// a property. Exit 0 when all of it went well.

#include <QApplication>
#include <QIcon>
#include <QPluginLoader>
#include <QWidget>
#include <QtUiPlugin/QDesignerCustomWidgetCollectionInterface>

#include <iostream>

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
        const bool Good = Entry->group() == "ZuTools" && Entry->domXml().contains(Entry->name()) &&
                          Widget->metaObject()->className() == Entry->name() && !Entry->icon().isNull() &&
                          Widget->isVisible();
        std::cout << Entry->name().toStdString() << (Good ? "" : " is not as Designer wants it") << '\n';
        if (!Good) return 1;
        if (Entry->name() != "zutools::TQtFormStorage") continue;
        const QStringList Stored("Edit.text");
        if (!Widget->setProperty("StoredProps", Stored) || Widget->property("StoredProps") != Stored)
            return 1;
        if (Widget->property("Active").toBool() || Widget->property("Options").toInt() != 3) return 1;
    }
    return Plugin->customWidgets().isEmpty() ? 1 : 0;
}
