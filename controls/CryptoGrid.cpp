#include "controls/CryptoGrid.h"

#include <QLineEdit>

#include <algorithm>

namespace zutools {

void TCryptoGridModel::Refresh() {
    beginResetModel();
    FRevealed = -1;
    endResetModel();
}

void TCryptoGridModel::Reveal(int Row) {
    if (Row == FRevealed) return;
    FRevealed = Row;
    emit dataChanged(index(0, Value), index(rowCount() - 1, Value));
}

const TCryptoParam* TCryptoGridModel::Param(int Row) const {
    const TCryptoParams& Rows = FParams.Rows();
    return Row >= 0 && static_cast<std::size_t>(Row) < Rows.size() ? &Rows[static_cast<std::size_t>(Row)]
                                                                   : nullptr;
}

bool TCryptoGridModel::IsSecret(int Row) const {
    const TCryptoParam* const Found = Param(Row);
    return Found != nullptr && IsSecretParam(Found->Name);
}

int TCryptoGridModel::rowCount(const QModelIndex& Parent) const {
    return Parent.isValid() ? 0 : std::max(1, static_cast<int>(FParams.Rows().size()));
}

int TCryptoGridModel::columnCount(const QModelIndex& Parent) const {
    return Parent.isValid() ? 0 : Columns;
}

QVariant TCryptoGridModel::data(const QModelIndex& Index, int Role) const {
    const TCryptoParam* const Found = Param(Index.row());
    if (Found == nullptr) return {};
    const auto Masked = [Found] { return QString::fromStdU16String(MaskedValue(*Found)); };
    const auto Plain = [Found] { return QString::fromStdU16String(Found->Value); };
    if (Index.column() == Name)
        return Role == Qt::DisplayRole ? QString::fromStdU16String(Found->Name) : QVariant();
    switch (Role) {
    case Qt::DisplayRole:
        return Index.row() == FRevealed ? Plain() : Masked();
    case Qt::EditRole:
        return Plain();
    case Qt::AccessibleTextRole:
        return Masked();
    case Qt::AccessibleDescriptionRole:
        return QString::fromStdU16String(Found->Name);
    default:
        return {};
    }
}

bool TCryptoGridModel::setData(const QModelIndex& Index, const QVariant& Text, int Role) {
    const TCryptoParam* const Found = Param(Index.row());
    if (Role != Qt::EditRole || Index.column() != Value || Found == nullptr) return false;
    const std::u16string New = Text.toString().toStdU16String();
    if (New == Found->Value) return true;
    if (!FParams.SetValue(static_cast<std::size_t>(Index.row()), New)) return false;
    emit dataChanged(Index, Index);
    emit Edited();
    return true;
}

QVariant TCryptoGridModel::headerData(int Section, Qt::Orientation Orientation, int Role) const {
    if (Orientation != Qt::Horizontal || Role != Qt::DisplayRole) return {};
    return Section == Name ? QStringLiteral("Name") : QStringLiteral("Value");
}

Qt::ItemFlags TCryptoGridModel::flags(const QModelIndex& Index) const {
    const TCryptoParam* const Found = Param(Index.row());
    if (Found == nullptr || Found->Name.empty()) return Qt::NoItemFlags;
    if (Index.column() == Name) return Qt::ItemIsEnabled;
    return Qt::ItemIsEnabled | Qt::ItemIsSelectable | Qt::ItemIsEditable;
}

QWidget* TCryptoGridDelegate::createEditor(QWidget* Parent, const QStyleOptionViewItem&,
                                           const QModelIndex& Index) const {
    auto* Edit = new QLineEdit(Parent);
    Edit->setFrame(false);
    Edit->setAccessibleName(Index.siblingAtColumn(TCryptoGridModel::Name).data().toString());
    const auto* Model = qobject_cast<const TCryptoGridModel*>(Index.model());
    if (Model != nullptr && Model->IsSecret(Index.row())) {
        Edit->setEchoMode(QLineEdit::Password);
        Edit->setInputMethodHints(Qt::ImhHiddenText | Qt::ImhSensitiveData | Qt::ImhNoPredictiveText);
    }
    return Edit;
}

} // namespace zutools
