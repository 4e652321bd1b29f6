// The grid of names and values of a crypto engine's parameters: secrets are masked in every role but the
// editor's.
//
// For the user-interface thread.

#pragma once

#include "crypto/Params.h"

#include <QAbstractTableModel>
#include <QStyledItemDelegate>

namespace zutools {

class TCryptoGridModel : public QAbstractTableModel {
    Q_OBJECT

public:
    enum TColumn { Name, Value, Columns };

    /// `Params` outlives this.
    TCryptoGridModel(TCryptoParamsModel& Params, QObject* Owner)
        : QAbstractTableModel(Owner)
        , FParams(Params) {}

    /// After a change of the parameters that this was not told.
    void Refresh();
    /// Shows the secret of that row on the screen, and of no other; -1 of none.
    void Reveal(int Row);
    [[nodiscard]] int Revealed() const { return FRevealed; }
    [[nodiscard]] bool IsSecret(int Row) const;
    /// Null for the empty row that stands there while there are no parameters.
    [[nodiscard]] const TCryptoParam* Param(int Row) const;

    [[nodiscard]] int rowCount(const QModelIndex& Parent = {}) const override;
    [[nodiscard]] int columnCount(const QModelIndex& Parent = {}) const override;
    [[nodiscard]] QVariant data(const QModelIndex& Index, int Role) const override;
    bool setData(const QModelIndex& Index, const QVariant& Text, int Role) override;
    [[nodiscard]] QVariant headerData(int Section, Qt::Orientation Orientation, int Role) const override;
    [[nodiscard]] Qt::ItemFlags flags(const QModelIndex& Index) const override;

signals:
    void Edited();

private:
    TCryptoParamsModel& FParams;
    int FRevealed = -1;
};

/// Types secrets as dots.
class TCryptoGridDelegate : public QStyledItemDelegate {
    Q_OBJECT

public:
    using QStyledItemDelegate::QStyledItemDelegate;
    QWidget* createEditor(QWidget* Parent, const QStyleOptionViewItem& Option,
                          const QModelIndex& Index) const override;
};

} // namespace zutools
