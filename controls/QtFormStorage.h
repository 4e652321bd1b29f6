// TKXFormStorage for Qt: one line in a form's constructor keeps the window's place, its state and properties
// of what stands on it.
//
//     TEditForm::TEditForm() {
//         Ui.setupUi(this);
//         new TQtFormStorage(this, {"EditName.text", "Splitter.Sizes", "Grid.ColumnSections"});
//     }
//
// Or drop the component from Qt Designer's box "ZuTools" on the form and set its properties there. It is
// shown in Designer only. docs/settings.md tells what is kept where.

#pragma once

#include "controls/FormComponent.h"
#include "persistence/Placment.h"

#include <QStringList>

namespace zutools {

class TQtFormStorage : public TFormComponent {
    Q_OBJECT
    // In the order and with the defaults of TKXFormStorage, which tells what they are.
    Q_PROPERTY(QString IniFileName READ IniFileName WRITE setIniFileName)
    Q_PROPERTY(QString IniSection READ IniSection WRITE setIniSection)
    Q_PROPERTY(bool UseRegistry READ UseRegistry WRITE setUseRegistry)
    Q_PROPERTY(QStringList StoredProps READ StoredProps WRITE setStoredProps)
    Q_PROPERTY(RegistryRoot RegistryRoot READ GetRegistryRoot WRITE setRegistryRoot)
    Q_PROPERTY(bool StoredPlacement READ StoredPlacement WRITE setStoredPlacement)
    Q_PROPERTY(PlacementOptions Options READ Options WRITE setOptions)
    Q_PROPERTY(bool Active READ Active WRITE setActive)

public:
    /// TPlacementRegRoot and TPlacementOption, as Designer shows them.
    enum RegistryRoot { prCurrentUser, prLocalMachine, prCurrentConfig, prClassesRoot, prUsers, prDynData };
    Q_ENUM(RegistryRoot)
    enum PlacementOption { fpState = 1, fpPosition = 2, fpActiveControl = 4 };
    Q_DECLARE_FLAGS(PlacementOptions, PlacementOption)
    Q_FLAG(PlacementOptions)

    /// Stands on a form and belongs to it. Keeps nothing until it is told what, and made active.
    explicit TQtFormStorage(QWidget* Form);
    /// The whole of it: active, with the window's placement and these properties, "name.property" each.
    TQtFormStorage(QWidget* Form, const QStringList& StoredProps);
    ~TQtFormStorage() override;

    [[nodiscard]] QString IniFileName() const;
    void setIniFileName(const QString& Value);
    [[nodiscard]] QString IniSection() const;
    void setIniSection(const QString& Value);
    [[nodiscard]] bool UseRegistry() const { return Storage().UseRegistry(); }
    void setUseRegistry(bool Value) { Storage().SetUseRegistry(Value); }
    [[nodiscard]] QStringList StoredProps() const;
    void setStoredProps(const QStringList& Value);
    [[nodiscard]] RegistryRoot GetRegistryRoot() const;
    void setRegistryRoot(RegistryRoot Value);
    [[nodiscard]] bool StoredPlacement() const { return Storage().StoredPlacement(); }
    void setStoredPlacement(bool Value) { Storage().SetStoredPlacement(Value); }
    [[nodiscard]] PlacementOptions Options() const;
    void setOptions(PlacementOptions Value);
    [[nodiscard]] bool Active() const { return Storage().Active(); }
    void setActive(bool Value) { Storage().SetActive(Value); }
    /// The storage whose file this one takes; null when it has its own.
    void setHost(TQtFormStorage* Value);

    /// What does the work.
    [[nodiscard]] TKXFormStorage& Storage() const;

Q_SIGNALS:
    void OnSaveProperties();
    void OnRestoreProperties();
    /// What a person should know and no error says: a damaged file that was set aside.
    void OnNotice(const QString& Text);

protected:
    [[nodiscard]] QIcon Picture() const override;

private:
    class TStorage;
    TObjectRef FStorage; // it belongs to the form, and goes first when that is destroyed
};

Q_DECLARE_OPERATORS_FOR_FLAGS(TQtFormStorage::PlacementOptions)

} // namespace zutools
