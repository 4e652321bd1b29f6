// A grid that edits a parameter list: names, values by their kind, hints; with undo, a filter, and keys for
// everything.
//
//     TParamsGrid Grid(this);
//     Grid.SetFields({{.Name = u"Port", .Kind = TParamKind::Number, .Required = true}});
//     Grid.SetParams(Settings);
//     ...
//     if (Grid.Valid()) Grid.StoreTo(Settings);
//
// For the user-interface thread; files are read and written on threads of their own.

#pragma once

#include "controls/ParamFields.h"

#include <QStringList>
#include <QWidget>

#include <vector>

class QAction;
class QLabel;
class QLineEdit;
class QMenu;
class QTableView;

namespace zutools {

class THotKeys;
class TParamsList;
class TParamsModel;
class TParamsRows;

class TParamsGrid : public QWidget {
    Q_OBJECT
    Q_CLASSINFO("secrets", "Text")
    Q_PROPERTY(QString Text READ Text WRITE SetText NOTIFY Edited STORED false USER true)
    Q_PROPERTY(bool ReadOnly READ ReadOnly WRITE SetReadOnly NOTIFY ReadOnlyChanged)
    Q_PROPERTY(bool HintsVisible READ HintsVisible WRITE SetHintsVisible NOTIFY HintsVisibleChanged)
    Q_PROPERTY(bool FilterVisible READ FilterVisible WRITE SetFilterVisible NOTIFY FilterVisibleChanged)
    Q_PROPERTY(QString Filter READ Filter WRITE SetFilter NOTIFY FilterChanged)
    Q_PROPERTY(TOrder Order READ Order WRITE SetOrder NOTIFY OrderChanged)
    Q_PROPERTY(QStringList HotKeys READ HotKeys WRITE SetHotKeys NOTIFY HotKeysChanged)
    Q_PROPERTY(bool Modified READ Modified NOTIFY ModifiedChanged)
    Q_PROPERTY(bool Valid READ Valid NOTIFY Edited)

public:
    /// In which rows are shown; the list keeps its own order.
    enum TOrder { orList, orName, orNameDown, orValue, orValueDown, orHint, orHintDown };
    Q_ENUM(TOrder)

    explicit TParamsGrid(QWidget* Owner = nullptr);
    ~TParamsGrid() override;

    /// Begins anew with a copy of the list; there is nothing to undo.
    void SetParams(const TParamsList& List);
    /// What was edited becomes the list. Faults do not hold it up: ask `Valid` before.
    void StoreTo(TParamsList& List);
    /// What is known of the parameters; rows of required ones that are not there are told below the grid.
    void SetFields(std::vector<TParamField> Fields);

    /// The list's text form. Setting it is an edit.
    [[nodiscard]] QString Text();
    void SetText(const QString& Value);
    /// No cell has a fault and no required parameter is missing. Looks at every row.
    [[nodiscard]] bool Valid();
    [[nodiscard]] bool Modified() const;

    void SetReadOnly(bool Value);
    [[nodiscard]] bool ReadOnly() const;
    /// A third column with the hints of the fields.
    void SetHintsVisible(bool Value);
    [[nodiscard]] bool HintsVisible() const;
    void SetFilterVisible(bool Value);
    [[nodiscard]] bool FilterVisible() const { return FFilterVisible; }
    void SetFilter(const QString& Value);
    [[nodiscard]] QString Filter() const;
    void SetOrder(TOrder Value);
    [[nodiscard]] TOrder Order() const;
    /// The keys that differ from the usual ones, "insert=Ctrl+I" each: name it in the form's StoredProps, and
    /// they are kept. Conflicts are told by OnComplaint.
    void SetHotKeys(const QStringList& Lines);
    [[nodiscard]] QStringList HotKeys() const;

    /// The rows behind the grid, for edits by the program.
    [[nodiscard]] TParamsRows& Rows();
    /// An action by its name in `HotKeys`, such as "insert"; null for an unknown one.
    [[nodiscard]] QAction* Action(const QString& Name) const;
    [[nodiscard]] THotKeys& Keys() { return *FKeys; }
    [[nodiscard]] QTableView& Table() { return *FTable; }

    /// Replaces the rows by a file in the text form, as one edit that can be undone: UTF-8, UTF-16 with its
    /// mark, else the user's code page; at most 64 MiB. Returns at once; FileDone or OnComplaint follows.
    void LoadFile(const QString& File);
    /// Writes the text form as UTF-8, in one step. Returns at once, as LoadFile. What the form cannot hold is
    /// refused.
    void SaveFile(const QString& File);

    [[nodiscard]] QSize sizeHint() const override;

signals:
    void Edited();
    void ModifiedChanged();
    void ReadOnlyChanged();
    void HintsVisibleChanged();
    void FilterVisibleChanged();
    void FilterChanged();
    void OrderChanged();
    void HotKeysChanged();
    void FileDone(const QString& File);
    /// What a person should know and no cell says; it stands below the grid too.
    void OnComplaint(const QString& Text);

protected:
    void changeEvent(QEvent* Event) override;

private:
    void MakeActions();
    void ShowMenu(const QPoint& Place);
    void FollowRows();
    void CloseEditor();
    void Complain(const QString& Text);
    void ShowStatus();
    void SetRowHeight();
    void UpdateActions();
    void EnableActions();
    void ShowOrder();
    [[nodiscard]] QString FaultOfCurrent() const;
    [[nodiscard]] QString Summary() const;
    [[nodiscard]] int Current() const;
    [[nodiscard]] std::vector<int> Selected() const;
    void Select(const std::vector<int>& Rows, int Column);
    void SelectTouched();
    void NoteSelection();
    void RestoreSelection();

    void InsertRow();
    void DeleteRows();
    void EditCell(int Column);
    void Choose();
    void Move(bool Down);
    void Copy(bool AsText) const;
    void Paste();
    void TurnOrder(int Column);

    TParamsModel* FModel;
    QTableView* FTable;
    QLineEdit* FFilterEdit;
    QWidget* FTop;
    QLabel* FStatus;
    THotKeys* FKeys;
    QMenu* FMenu;
    QString FComplaint;                      // told until the next edit
    std::vector<std::uint32_t> FSelectedIds; // while rows come and go
    std::uint32_t FCurrentId = 0;
    int FCurrentColumn = 0;
    bool FFilterVisible = true;
    bool FWasModified = false;
    bool FStatusWaits = false;
};

} // namespace zutools
