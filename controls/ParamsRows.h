// The rows of a parameter list while a person edits them: every edit can be undone, rows are filtered and
// sorted for the eye only, faults are found cell by cell.
//
//     TParamsRows Rows;
//     Rows.Load(List);
//     Rows.SetValue(0, u"8080");
//     Rows.Undo();
//     Rows.Store(List);
//
// A row number is that of a shown row, from 0 on, unless said otherwise. Without a filter and an order all
// rows are shown as they stand in the list. Unlike a list, rows may hold a name twice, or none: the fault is
// shown, nothing is lost. Plain class without Qt, for one thread at a time.

#pragma once

#include "controls/ParamFields.h"
#include "controls/PastedCells.h"

#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <unordered_map>
#include <unordered_set>
#include <vector>

namespace zutools {

class TParamsList;

enum class TParamColumn : std::uint8_t { Name, Value, Hint };

/// In which rows are shown. Empty names and values stand last.
struct TParamOrder {
    TParamColumn By = TParamColumn::Name;
    bool Descending = false;
    friend bool operator==(const TParamOrder&, const TParamOrder&) = default;
};

class TParamsRows {
public:
    struct TRow {
        std::u16string Name;
        std::u16string Value;
    };
    /// Of a row as long as it lives, through undo and redo too.
    using TId = std::uint32_t;

    // ---- the list

    /// Begins anew with the entries of the list: there is nothing to undo.
    void Load(const TParamsList& List);
    /// The entries of the list become the rows. Rows without a name stay out; of two with one name the last
    /// value counts, at the first place. The list's set event is asked about what changes: a value that it
    /// vetoes stays as it was.
    void Store(TParamsList& List) const;
    /// The text form of all rows in the list's order: "name=value" lines with CR LF between. Rows with
    /// neither name nor value stay out.
    [[nodiscard]] std::u16string Text() const;
    /// Replaces all rows by those of a text, whose lines may end with CR LF, LF or CR; one edit.
    bool SetText(std::u16string_view Text);
    /// The row whose name or value a text would not bring back: a line break, "=" in a name, no name. -1
    /// none.
    [[nodiscard]] int UnfitForText() const;
    /// Whether there were edits since Load or the last SetSaved.
    [[nodiscard]] bool Modified() const { return FDone != FSaved; }
    void SetSaved() { FSaved = FDone; }

    // ---- the rows

    [[nodiscard]] int Count() const { return static_cast<int>(FShown.size()); }
    /// With those that the filter hides.
    [[nodiscard]] int CountOfAll() const { return static_cast<int>(FRows.size()); }
    [[nodiscard]] const TRow& Row(int Index) const { return At(Index); }
    [[nodiscard]] TId Id(int Index) const { return At(Index).Id; }
    /// The rows that show these, in rising order; those that are not shown are left out.
    [[nodiscard]] std::vector<int> RowsOf(std::span<const TId> Ids) const;
    /// What the last edit, undo or redo added or changed.
    [[nodiscard]] const std::vector<TId>& Touched() const { return FTouched; }

    // ---- edits, each one step of undo. @return whether anything changed.

    /// Before a row, or behind the last for Count().
    bool Insert(int Before, std::vector<TRow> Rows);
    bool Delete(std::span<const int> Rows);
    bool SetName(int Index, std::u16string_view Name);
    bool SetValue(int Index, std::u16string_view Value);
    /// The rows, gathered, before the shown row above them or behind the one below them. Nothing happens
    /// while rows are sorted.
    bool Move(std::span<const int> Rows, bool Down);
    /// Cells of the clipboard. Rows of two cells and more, and of one cell in the column of names, are
    /// parameters ("name", "value"; one cell may be "name=value"): a known name gets the value, others become
    /// rows behind `Current`. One cell alone becomes the value of each of `Selected`, or the name of
    /// `Current`. A column of cells becomes the values from `Current` downwards. `Current` may be -1.
    bool Paste(const std::vector<TCellRow>& Cells, int Current, TParamColumn Column,
               std::span<const int> Selected);
    /// The order that rows are shown in becomes the list's, hidden rows included; nothing is left to sort.
    bool KeepOrder();

    [[nodiscard]] bool CanUndo() const { return FDone > FDropped; }
    [[nodiscard]] bool CanRedo() const { return StepsDone() < FSteps.size(); }
    bool Undo();
    bool Redo();
    /// UTF-16 units that the steps of undo may hold; the oldest are forgotten, the last one never.
    static constexpr std::size_t MostKept = 32U << 20;

    // ---- for the eye

    /// Shows the rows that hold the text in the name or the value, in any letter case. Secret values are not
    /// looked through. A row that is edited stays until the filter changes.
    void SetFilter(std::u16string_view Text);
    [[nodiscard]] const std::u16string& Filter() const { return FFilter; }
    /// Nothing: the list's order.
    void SetOrder(std::optional<TParamOrder> Order);
    [[nodiscard]] const std::optional<TParamOrder>& Order() const { return FOrder; }

    void SetFields(TParamFields Fields);
    [[nodiscard]] const TParamFields& Fields() const { return FFields; }
    /// The field that the row's name has; null when there is none.
    [[nodiscard]] const TParamField* Field(int Index) const;
    [[nodiscard]] TParamKind Kind(int Index) const;
    [[nodiscard]] TParamFault NameFault(int Index) const { return NameFaultOf(At(Index)); }
    [[nodiscard]] TParamFault ValueFault(int Index) const { return ValueFaultOf(At(Index)); }
    /// Rows with a fault, shown or not. Looks at every row.
    [[nodiscard]] int CountOfFaults() const;
    /// The next shown row with a fault behind `After` (-1: the first), from the end on to the start; -1 none.
    [[nodiscard]] int NextFault(int After) const;
    /// Required fields that no row names.
    [[nodiscard]] std::vector<const TParamField*> Missing() const;

    // ---- who hears of changes

    std::function<void()> OnRowsChanging; // rows will come, go or stand elsewhere
    std::function<void()> OnRowsChanged;  // they did
    std::function<void()> OnCellsChanged; // texts changed in rows that stay where they are

private:
    struct TKept : TRow {
        TId Id = 0;
        // Made when they are asked for; empty: not made.
        mutable std::string Key;
        mutable std::u16string Folded;
    };
    /// The rows from `At` on: `Before` became `After`.
    struct TStep {
        std::size_t At = 0;
        std::vector<TKept> Before, After;
        std::size_t Units = 0;
    };
    enum class TDirection : std::uint8_t { Forth, Back };

    [[nodiscard]] std::size_t StepsDone() const { return FDone - FDropped; }
    [[nodiscard]] std::size_t Position(int Index) const { return FShown[static_cast<std::size_t>(Index)]; }
    [[nodiscard]] const TKept& At(int Index) const { return FRows[Position(Index)]; }
    [[nodiscard]] TKept NewRow(std::u16string_view Name, std::u16string_view Value);
    [[nodiscard]] std::vector<std::size_t> Positions(std::span<const int> Rows) const;
    [[nodiscard]] std::vector<std::size_t> InOrder(std::vector<std::size_t> Positions) const;
    [[nodiscard]] bool Passes(const TKept& Row) const;
    [[nodiscard]] static const std::string& KeyOf(const TKept& Row);
    [[nodiscard]] static const std::u16string& FoldedOf(const TKept& Row);
    [[nodiscard]] TParamKind KindOf(const TKept& Row) const { return FFields.Kind(Row.Name, KeyOf(Row)); }
    [[nodiscard]] TParamFault NameFaultOf(const TKept& Row) const;
    [[nodiscard]] TParamFault ValueFaultOf(const TKept& Row) const;
    [[nodiscard]] bool HasFault(const TKept& Row) const { return NameFaultOf(Row) || ValueFaultOf(Row); }
    void CountNames() const;

    bool SetCell(int Index, std::u16string TRow::* Cell, std::u16string_view Text);
    bool Replace(std::size_t From, std::size_t To, std::vector<TKept> After);
    void Apply(const TStep& Step, TDirection Direction);
    void ForgetOldSteps();
    bool PasteParams(const std::vector<TCellRow>& Cells, int Current);
    bool PasteValues(const std::vector<TCellRow>& Cells, int Current);
    bool SetValues(std::span<const int> Rows, std::u16string_view Value);
    void Show();
    template <class TAction>
    void Showing(TAction Action);

    std::vector<TKept> FRows;        // in the list's order
    std::vector<std::size_t> FShown; // positions in FRows
    TId FNextId = 1;
    TParamFields FFields;
    std::u16string FFilter;
    std::u16string FFoldedFilter;
    std::unordered_set<TId> FStaying; // edited since the filter was set
    std::optional<TParamOrder> FOrder;
    mutable std::unordered_map<std::string, int> FNames; // how many rows have a name, by its key
    mutable bool FNamesCounted = false;

    std::deque<TStep> FSteps;
    std::size_t FDone = 0;    // steps since Load that hold
    std::size_t FDropped = 0; // of them the first, which were forgotten
    std::size_t FSaved = 0;   // FDone when it was saved; Never once that cannot come back
    static constexpr std::size_t Never = static_cast<std::size_t>(-1);
    std::size_t FUnits = 0; // of all steps
    std::vector<TId> FTouched;
};

} // namespace zutools
