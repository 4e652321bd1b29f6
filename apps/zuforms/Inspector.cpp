#include "apps/zuforms/Inspector.h"

#include "apps/zuforms/Panel.h"

#include <QColor>
#include <QComboBox>
#include <QHeaderView>
#include <QStyledItemDelegate>

namespace zutools::zuforms {

namespace {

constexpr int NamesRole = Qt::UserRole; // the names that an enumeration has

// A value as a person reads and writes it.
QVariant Readable(const QMetaProperty& Property, const QVariant& Value) {
    if (Property.isEnumType()) return QString::fromLatin1(Property.enumerator().valueToKey(Value.toInt()));
    if (Value.metaType() == QMetaType::fromType<QStringList>()) return Value.toStringList().join(u'|');
    if (Value.metaType() == QMetaType::fromType<QColor>()) {
        const auto Color = Value.value<QColor>();
        return Color.isValid() ? Color.name() : QString();
    }
    return Value;
}

QVariant FromReadable(const QMetaProperty& Property, const QVariant& Value) {
    if (Property.isEnumType())
        return Property.enumerator().keyToValue(Value.toString().toLatin1().constData());
    if (Property.metaType() == QMetaType::fromType<QStringList>()) return Value.toString().split(u'|');
    if (Property.metaType() == QMetaType::fromType<QColor>()) return QColor(Value.toString());
    return Value;
}

QStringList NamesOf(const QMetaProperty& Property) {
    QStringList Result;
    if (!Property.isEnumType()) return Result;
    for (int I = 0; I < Property.enumerator().keyCount(); ++I)
        Result += QString::fromLatin1(Property.enumerator().key(I));
    return Result;
}

QStringList SecretsOf(const QMetaObject& Meta) {
    QStringList Result;
    for (int I = 0; I < Meta.classInfoCount(); ++I)
        if (qstrcmp(Meta.classInfo(I).name(), "secrets") == 0)
            Result += QString::fromLatin1(Meta.classInfo(I).value()).split(u',');
    return Result;
}

// Enumerations are chosen from a list.
class TDelegate final : public QStyledItemDelegate {
public:
    using QStyledItemDelegate::QStyledItemDelegate;

    QWidget* createEditor(QWidget* Parent, const QStyleOptionViewItem& Option,
                          const QModelIndex& Index) const override {
        const QStringList Names = Index.data(NamesRole).toStringList();
        if (Names.isEmpty()) return QStyledItemDelegate::createEditor(Parent, Option, Index);
        auto* Box = new QComboBox(Parent);
        Box->addItems(Names);
        return Box;
    }
};

} // namespace

TPropertyModel::TPropertyModel(QObject& Control, QObject* Owner)
    : QAbstractTableModel(Owner)
    , FControl(Control) {
    const QMetaObject& Meta = *Control.metaObject();
    const int First = Control.isWidgetType() ? QWidget::staticMetaObject.propertyCount()
                                             : QObject::staticMetaObject.propertyCount();
    const QMetaMethod ToldHere = staticMetaObject.method(staticMetaObject.indexOfSlot("ReadAgain()"));
    const QStringList Secrets = SecretsOf(Meta);
    for (int I = First; I < Meta.propertyCount(); ++I) {
        const QMetaProperty Property = Meta.property(I);
        FProperties.push_back({Property, Secrets.contains(QLatin1String(Property.name()))});
        if (Property.hasNotifySignal()) connect(&Control, Property.notifySignal(), this, ToldHere);
    }
}

const TPropertyModel::TProperty& TPropertyModel::PropertyAt(const QModelIndex& Index) const {
    return FProperties[static_cast<std::size_t>(Index.row())];
}

int TPropertyModel::rowCount(const QModelIndex& Parent) const {
    return Parent.isValid() ? 0 : static_cast<int>(FProperties.size());
}

int TPropertyModel::columnCount(const QModelIndex& Parent) const {
    return Parent.isValid() ? 0 : 2;
}

QVariant TPropertyModel::data(const QModelIndex& Index, int Role) const {
    const auto& [Property, IsSecret] = PropertyAt(Index);
    if (Index.column() == 0)
        return Role == Qt::DisplayRole ? QString::fromLatin1(Property.name()) : QVariant();
    if (Role == NamesRole) return NamesOf(Property);
    if (Role != Qt::DisplayRole && Role != Qt::EditRole) return {};
    const QVariant Value = Readable(Property, Property.read(&FControl));
    return IsSecret && !Value.toString().isEmpty() ? QString(8, u'•') : Value;
}

QVariant TPropertyModel::headerData(int Section, Qt::Orientation Orientation, int Role) const {
    if (Orientation != Qt::Horizontal || Role != Qt::DisplayRole) return {};
    return Section == 0 ? Translated("Property") : Translated("Value");
}

Qt::ItemFlags TPropertyModel::flags(const QModelIndex& Index) const {
    const Qt::ItemFlags Flags = QAbstractTableModel::flags(Index);
    const auto& [Property, IsSecret] = PropertyAt(Index);
    const bool Editable = Index.column() == 1 && Property.isWritable() && !IsSecret;
    return Editable ? Flags | Qt::ItemIsEditable : Flags;
}

bool TPropertyModel::setData(const QModelIndex& Index, const QVariant& Value, int Role) {
    if (Role != Qt::EditRole) return false;
    const auto& [Property, IsSecret] = PropertyAt(Index);
    return !IsSecret && Property.write(&FControl, FromReadable(Property, Value));
}

void TPropertyModel::ReadAgain() {
    emit dataChanged(index(0, 1), index(rowCount() - 1, 1));
}

TInspector::TInspector(QWidget* Owner)
    : QTableView(Owner) {
    setItemDelegate(new TDelegate(this));
    setAlternatingRowColors(true);
    setAccessibleName(Translated("Properties"));
    verticalHeader()->hide();
    horizontalHeader()->setStretchLastSection(true);
}

void TInspector::Show(QObject& Control) {
    QAbstractItemModel* Before = model();
    setModel(new TPropertyModel(Control, &Control));
    delete Before;
    resizeColumnToContents(0);
}

} // namespace zutools::zuforms
