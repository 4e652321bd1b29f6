// The rows of a parameter list for Qt's views: TParamsRows as an item model, and the delegate that edits its
// cells by their kind.
//
// For the user-interface thread. What is done by calls of `Rows()` the views hear too.

#pragma once

#include "controls/ParamsRows.h"

#include <QAbstractTableModel>
#include <QStyledItemDelegate>

namespace zutools {

class TParamsModel : public QAbstractTableModel {
    Q_OBJECT

public:
    explicit TParamsModel(QObject* Owner = nullptr);

    [[nodiscard]] TParamsRows& Rows() { return FRows; }
    [[nodiscard]] const TParamsRows& Rows() const { return FRows; }
    void SetHintsShown(bool Value);
    [[nodiscard]] bool HintsShown() const { return FHintsShown; }
    void SetReadOnly(bool Value);
    [[nodiscard]] bool ReadOnly() const { return FReadOnly; }

    [[nodiscard]] int rowCount(const QModelIndex& Parent = {}) const override;
    [[nodiscard]] int columnCount(const QModelIndex& Parent = {}) const override;
    /// Secrets are masked in every role but Qt::EditRole, which the delegate reads.
    [[nodiscard]] QVariant data(const QModelIndex& Index, int Role) const override;
    [[nodiscard]] QVariant headerData(int Section, Qt::Orientation Orientation, int Role) const override;
    [[nodiscard]] Qt::ItemFlags flags(const QModelIndex& Index) const override;
    bool setData(const QModelIndex& Index, const QVariant& Value, int Role) override;

    /// What is wrong with a cell; no fault for a hint.
    [[nodiscard]] TParamFault Fault(const QModelIndex& Index) const;

signals:
    /// Texts, rows or their order in sight differ.
    void Changed();

private:
    [[nodiscard]] QVariant ValueData(int Row, int Role) const;

    TParamsRows FRows;
    bool FHintsShown = false;
    bool FReadOnly = false;
};

class TParamDelegate : public QStyledItemDelegate {
    Q_OBJECT

public:
    using QStyledItemDelegate::QStyledItemDelegate;

    QWidget* createEditor(QWidget* Parent, const QStyleOptionViewItem& Option,
                          const QModelIndex& Index) const override;
    void setEditorData(QWidget* Editor, const QModelIndex& Index) const override;
    void setModelData(QWidget* Editor, QAbstractItemModel* Model, const QModelIndex& Index) const override;
};

} // namespace zutools
