// The controls in Qt Designer's widget box, in the group "ZuTools".
//
// Built when Designer's headers are there (qt6-tools-dev); docs/settings.md tells where Designer looks for
// it.

#pragma once

#include <QtUiPlugin/QDesignerCustomWidgetCollectionInterface>

#include <memory>
#include <vector>

namespace zutools {

class TDesignerPlugin final : public QObject, public QDesignerCustomWidgetCollectionInterface {
    Q_OBJECT
    Q_PLUGIN_METADATA(IID QDesignerCustomWidgetCollectionInterface_iid)
    Q_INTERFACES(QDesignerCustomWidgetCollectionInterface)

public:
    explicit TDesignerPlugin(QObject* Parent = nullptr);
    ~TDesignerPlugin() override;
    [[nodiscard]] QList<QDesignerCustomWidgetInterface*> customWidgets() const override;

private:
    std::vector<std::unique_ptr<QDesignerCustomWidgetInterface>> FWidgets;
};

} // namespace zutools
