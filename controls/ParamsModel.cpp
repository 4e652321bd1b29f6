#include "controls/ParamsModel.h"

#include "controls/PackageIcons.h"
#include "controls/ParamEditor.h"

#include <QColor>
#include <QIcon>
#include <QPixmap>

namespace zutools {

namespace {

constexpr int SwatchSide = 12;

TParamColumn ColumnOf(const QModelIndex& Index) {
    return static_cast<TParamColumn>(Index.column());
}

QVariant Swatch(const QString& Color) {
    QPixmap Picture(SwatchSide, SwatchSide);
    Picture.fill(QColor(Color));
    return Picture;
}

} // namespace

TParamsModel::TParamsModel(QObject* Owner)
    : QAbstractTableModel(Owner) {
    FRows.OnRowsChanging = [this] { beginResetModel(); };
    FRows.OnRowsChanged = [this] {
        endResetModel();
        emit Changed();
    };
    FRows.OnCellsChanged = [this] { // a name that stands twice marks the other row too
        emit dataChanged(index(0, 0), index(rowCount() - 1, columnCount() - 1));
        emit Changed();
    };
}

void TParamsModel::SetHintsShown(bool Value) {
    if (FHintsShown == Value) return;
    beginResetModel();
    FHintsShown = Value;
    endResetModel();
}

void TParamsModel::SetReadOnly(bool Value) {
    if (FReadOnly == Value) return;
    beginResetModel();
    FReadOnly = Value;
    endResetModel();
}

int TParamsModel::rowCount(const QModelIndex& Parent) const {
    return Parent.isValid() ? 0 : FRows.Count();
}

int TParamsModel::columnCount(const QModelIndex& Parent) const {
    if (Parent.isValid()) return 0;
    return FHintsShown ? 3 : 2;
}

TParamFault TParamsModel::Fault(const QModelIndex& Index) const {
    if (!Index.isValid() || ColumnOf(Index) == TParamColumn::Hint) return {};
    return ColumnOf(Index) == TParamColumn::Name ? FRows.NameFault(Index.row())
                                                 : FRows.ValueFault(Index.row());
}

QVariant TParamsModel::ValueData(int Row, int Role) const {
    const TParamKind Kind = FRows.Kind(Row);
    const std::u16string& Value = FRows.Row(Row).Value;
    const bool IsCheck = Kind == TParamKind::YesNo && YesOrNo(Value);
    switch (Role) {
    case Qt::EditRole:
        return ToQt(Value);
    case Qt::DisplayRole:
        return IsCheck ? QString() : ShownValue(Kind, Value);
    case Qt::AccessibleTextRole:
        if (IsCheck) return *YesOrNo(Value) ? tr("Yes") : tr("No");
        return ShownValue(Kind, Value);
    case Qt::CheckStateRole:
        if (Kind != TParamKind::YesNo || (!IsCheck && !Value.empty())) return {};
        return IsCheck && *YesOrNo(Value) ? Qt::Checked : Qt::Unchecked;
    case Qt::DecorationRole:
        return Kind == TParamKind::Color ? Swatch(ToQt(Value)) : QVariant();
    default:
        return {};
    }
}

QVariant TParamsModel::data(const QModelIndex& Index, int Role) const {
    if (!checkIndex(Index, CheckIndexOption::IndexIsValid)) return {};
    if (Role == Qt::ToolTipRole || Role == Qt::AccessibleDescriptionRole || Role == Qt::DecorationRole) {
        const TParamFault Wrong = Fault(Index);
        if (Wrong && Role == Qt::DecorationRole) return PackageIcon(u"ICOWARNING");
        if (Wrong) return FaultText(Wrong);
    }
    const TParamField* const Field = FRows.Field(Index.row());
    const QString Hint = Field != nullptr ? ToQt(Field->Hint) : QString();
    if (Role == Qt::ToolTipRole) return Hint;
    const bool IsText = Role == Qt::DisplayRole || Role == Qt::EditRole;
    switch (ColumnOf(Index)) {
    case TParamColumn::Name:
        return IsText ? ToQt(FRows.Row(Index.row()).Name) : QVariant();
    case TParamColumn::Value:
        return ValueData(Index.row(), Role);
    case TParamColumn::Hint:
        return IsText ? Hint : QVariant();
    }
    return {};
}

QVariant TParamsModel::headerData(int Section, Qt::Orientation Orientation, int Role) const {
    if (Role != Qt::DisplayRole) return {};
    if (Orientation == Qt::Vertical) return Section + 1;
    switch (static_cast<TParamColumn>(Section)) {
    case TParamColumn::Name:
        return tr("Name");
    case TParamColumn::Value:
        return tr("Value");
    case TParamColumn::Hint:
        return tr("Hint");
    }
    return {};
}

Qt::ItemFlags TParamsModel::flags(const QModelIndex& Index) const {
    Qt::ItemFlags Flags = QAbstractTableModel::flags(Index) | Qt::ItemNeverHasChildren;
    if (!Index.isValid() || FReadOnly || ColumnOf(Index) == TParamColumn::Hint) return Flags;
    if (ColumnOf(Index) == TParamColumn::Value && data(Index, Qt::CheckStateRole).isValid())
        return Flags | Qt::ItemIsUserCheckable;
    return Flags | Qt::ItemIsEditable;
}

bool TParamsModel::setData(const QModelIndex& Index, const QVariant& Value, int Role) {
    if (!checkIndex(Index, CheckIndexOption::IndexIsValid) || FReadOnly) return false;
    if (Role == Qt::CheckStateRole) {
        const bool Yes = Value.value<Qt::CheckState>() == Qt::Checked;
        return FRows.SetValue(Index.row(), Yes ? u"True" : u"False");
    }
    if (Role != Qt::EditRole || ColumnOf(Index) == TParamColumn::Hint) return false;
    const std::u16string Text = Value.toString().toStdU16String();
    return ColumnOf(Index) == TParamColumn::Name ? FRows.SetName(Index.row(), Text)
                                                 : FRows.SetValue(Index.row(), Text);
}

QWidget* TParamDelegate::createEditor(QWidget* Parent, const QStyleOptionViewItem& /*Option*/,
                                      const QModelIndex& Index) const {
    const auto* const Model = qobject_cast<const TParamsModel*>(Index.model());
    if (Model == nullptr) return nullptr;
    const bool IsValue = ColumnOf(Index) == TParamColumn::Value;
    TParamKind Kind = IsValue ? Model->Rows().Kind(Index.row()) : TParamKind::Text;
    if (Kind == TParamKind::YesNo) Kind = TParamKind::Text; // a check mark while it is one, else to be mended
    QWidget* const Editor =
        MakeParamEditor(IsValue ? Model->Rows().Field(Index.row()) : nullptr, Kind, Parent);
    Editor->setAccessibleName(Model->headerData(Index.column(), Qt::Horizontal, Qt::DisplayRole).toString());
    Editor->setAutoFillBackground(true);
    return Editor;
}

void TParamDelegate::setEditorData(QWidget* Editor, const QModelIndex& Index) const {
    SetParamEditorText(*Editor, Index.data(Qt::EditRole).toString());
}

void TParamDelegate::setModelData(QWidget* Editor, QAbstractItemModel* Model,
                                  const QModelIndex& Index) const {
    const QString Text = ParamEditorText(*Editor);
    if (Text != Index.data(Qt::EditRole).toString()) Model->setData(Index, Text, Qt::EditRole);
}

} // namespace zutools
