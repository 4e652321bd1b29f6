// The properties of a control in a table: read as they are, written by a person, followed as they change.

#pragma once

#include <QAbstractTableModel>
#include <QMetaProperty>
#include <QTableView>

#include <vector>

namespace zutools::zuforms {

class TPropertyModel : public QAbstractTableModel {
    Q_OBJECT

public:
    /// The properties that the control's own classes declare, without those that every widget has. Those that
    /// a class names by Q_CLASSINFO("secrets", "Name,Name") are masked, and not written here.
    TPropertyModel(QObject& Control, QObject* Owner);

    [[nodiscard]] int rowCount(const QModelIndex& Parent = {}) const override;
    [[nodiscard]] int columnCount(const QModelIndex& Parent = {}) const override;
    [[nodiscard]] QVariant data(const QModelIndex& Index, int Role) const override;
    [[nodiscard]] QVariant headerData(int Section, Qt::Orientation Orientation, int Role) const override;
    [[nodiscard]] Qt::ItemFlags flags(const QModelIndex& Index) const override;
    bool setData(const QModelIndex& Index, const QVariant& Value, int Role) override;

public slots:
    void ReadAgain();

private:
    struct TProperty {
        QMetaProperty Meta;
        bool IsSecret;
    };
    [[nodiscard]] const TProperty& PropertyAt(const QModelIndex& Index) const;

    QObject& FControl;
    std::vector<TProperty> FProperties;
};

class TInspector : public QTableView {
    Q_OBJECT

public:
    explicit TInspector(QWidget* Owner = nullptr);
    void Show(QObject& Control);
};

} // namespace zutools::zuforms
