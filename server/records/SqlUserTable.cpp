#include "server/records/SqlUserTable.h"

#include "host/Format.h"
#include "server/records/FieldValues.h"
#include "server/records/RecordRows.h"
#include "server/records/TableShape.h"
#include "server/sql/Schema.h"

#include <algorithm>
#include <exception>
#include <mutex>
#include <optional>
#include <thread>
#include <utility>

namespace zutools::server {

namespace {

enum class TRecordMode {
    Closed,
    Opened,
    New,
    Inserted, // as opened, but not to be inserted again by mistake
    Deleted,
};

/// All that a record is in memory. A value, so that database work is done on a copy and adopted at its end.
struct TRecordState {
    TShape Shape;
    TRecordMode Mode = TRecordMode::Closed;
    TRow Stored;                    // as read; empty in a new record
    std::vector<TKXVariant> Read;   // the same as fields; null values in a new record
    std::vector<TKXVariant> Values; // with the changes since
    std::vector<bool> Touched;      // set by somebody since
    std::u16string RecordID;
};

std::vector<TKXVariant> FieldsOfRow(const TTableShape& Shape, const TRow& Row) {
    std::vector<TKXVariant> Fields;
    Fields.reserve(Row.size());
    for (std::size_t Index = 0; Index < Row.size(); ++Index) {
        Fields.push_back(FieldOfCell(Shape.Columns[Index], Row[Index]));
    }
    return Fields;
}

TRecordState OpenedState(TShape Shape, TRow Row, std::u16string RecordID,
                         TRecordMode Mode = TRecordMode::Opened) {
    TRecordState State;
    State.Mode = Mode;
    State.Read = State.Values = FieldsOfRow(*Shape, Row);
    State.Touched.resize(Row.size());
    State.Stored = std::move(Row);
    State.RecordID = std::move(RecordID);
    State.Shape = std::move(Shape);
    return State;
}

void RequireValue(const TTableShape& Shape, std::size_t Index, const TKXVariant& Value) {
    if (!Value.IsNull() || !Shape.Columns[Index].NotNull) return;
    throw EUserTableError(Format(u"The field %s.%s needs a value (%s)",
                                 {Shape.Name, Shape.Columns[Index].Name, Shape.Columns[Index].TypeText}));
}

bool IsInTable(const TRecordState& State) {
    return State.Mode == TRecordMode::Opened || State.Mode == TRecordMode::Inserted;
}

/// Whether a copy of an opened record takes a column over: all but what the database gives anew.
bool IsCopied(const TRecordState& State, std::size_t Index) {
    const TTableShape& Shape = *State.Shape;
    const TColumn& Column = Shape.Columns[Index];
    if (Column.Computed) return false;
    const TCell& Cell = State.Stored[Index];
    if (Cell.Binary && !Cell.Value.IsNull()) {
        throw EUserTableError(Format(u"The record %s of %s cannot be copied, because its field %s is binary",
                                     {State.RecordID, Shape.Name, Column.Name}));
    }
    const bool IsKey = std::find(Shape.Key.begin(), Shape.Key.end(), Index) != Shape.Key.end();
    if (IsKey && Column.HasDefault) return State.Values[Index] != State.Read[Index];
    return Column.Kind != TFieldKind::Blob;
}

class TSqlUserTable final : public TUserTable {
public:
    TSqlUserTable(TShape Shape, TDatabaseOfThread Database, TTableGuard Guard)
        : FDatabase(std::move(Database))
        , FGuard(std::move(Guard))
        , FName(Shape->Name) {
        FState.Shape = std::move(Shape);
    }

    std::u16string TableName() const override { return FName; }

    bool Open(std::u16string_view RecordID) override {
        TSqlDatabase& Database = ConnectionOutside(u"opened");
        TShape Shape = KnownTableShape(Database, FName);
        TFoundRow Found;
        std::exception_ptr Failure;
        try {
            Found = FindRow(Database, *Shape, RecordID);
        } catch (const Exception&) {
            Failure = std::current_exception();
        }
        if (!Found.Row) { // perhaps because the table is another by now
            const TShape Now = ReadTableShape(Database, FName);
            if (Now->Stamp == Shape->Stamp) {
                if (Failure) std::rethrow_exception(Failure);
                return false;
            }
            Shape = Now;
            Found = FindRow(Database, *Shape, RecordID);
            if (Found.Stale) {
                throw EUserTableError(
                    Format(u"The table %s is being changed; try again when that has ended", {FName}));
            }
            if (!Found.Row) return false;
        }
        Become(OpenedState(std::move(Shape), std::move(*Found.Row), std::u16string(RecordID)));
        return true;
    }

    void OpenNew() override {
        TRecordState State;
        State.Mode = TRecordMode::New;
        State.Shape = CurrentTableShape(ConnectionOutside(u"begun"), FName);
        const std::size_t Count = State.Shape->Columns.size();
        State.Touched.resize(Count);
        for (std::size_t Index = 0; Index < Count; ++Index) {
            State.Values.push_back(DefaultOf(*State.Shape, Index).value_or(TKXVariant()));
        }
        State.Read.resize(Count);
        Become(std::move(State));
    }

    std::u16string RecordID() const override {
        const std::lock_guard Lock(FMutex);
        return FState.RecordID;
    }

    std::vector<std::u16string> FieldNames() const override {
        const std::lock_guard Lock(FMutex);
        std::vector<std::u16string> Names;
        for (const TColumn& Column : FState.Shape->Columns) Names.push_back(Column.Name);
        return Names;
    }

    bool HasField(std::u16string_view Name) const override {
        const std::lock_guard Lock(FMutex);
        return FState.Shape->FindColumn(Name) != TTableShape::NoColumn;
    }

    TKXVariant Field(std::u16string_view Name) const override {
        const std::lock_guard Lock(FMutex);
        const std::size_t Index = FindReadable(Name);
        return FState.Values[Index];
    }

    TKXVariant StoredField(std::u16string_view Name) const override {
        const std::lock_guard Lock(FMutex);
        const std::size_t Index = FindReadable(Name);
        return FWritings.empty() ? FState.Read[Index] : FWritings.front().Before.Read[Index];
    }

    std::optional<bool> SameValue(std::u16string_view Name, const TKXVariant& Value,
                                  const TKXVariant& Other) const override {
        const TShape Shape = ShapeNow();
        const std::size_t Index = Shape->FindColumn(Name);
        if (Index == TTableShape::NoColumn) RefuseName(Name);
        const auto Sameness = SameInColumn(Shape->Columns[Index], Value, Other);
        if (!Sameness) return TUserTable::SameValue(Name, Value, Other);
        if (*Sameness == TSameness::Unlike) return std::nullopt;
        return *Sameness == TSameness::Same;
    }

    bool IsPending(std::u16string_view Name) const override {
        const std::lock_guard Lock(FMutex);
        const std::size_t Index = Find(Name);
        const bool Checked = std::any_of(FWritings.begin(), FWritings.end(),
                                         [](const TWriting& Each) { return Each.Check != nullptr; });
        if (!Checked) return false; // nobody will look at what the write gives
        const bool Changed =
            std::find(FState.Touched.begin(), FState.Touched.end(), true) != FState.Touched.end();
        const bool New = FState.Mode == TRecordMode::New;
        const TColumn& Column = FState.Shape->Columns[Index];
        if (Column.Computed) return New || Changed;
        return New && Column.HasDefault && FState.Values[Index].IsNull() &&
               (Column.NotNull || !FState.Touched[Index]);
    }

    void SetField(std::u16string_view Name, const TKXVariant& Value) override {
        const std::lock_guard Lock(FMutex);
        const std::size_t Index = Find(Name);
        RequireNoOtherWriter();
        if (FState.Mode == TRecordMode::Deleted) RefuseMode(FState, u"changed");
        FState.Values[Index] = FitField(*FState.Shape, Index, Value);
        FState.Touched[Index] = true;
    }

    void Post() override {
        TRecordWriting Writing(*this);
        const TRecordState State = Frozen();
        if (!IsInTable(State)) RefuseMode(State, u"posted");
        const TTableShape& Shape = *State.Shape;
        TColumnValues Changed;
        for (std::size_t Index = 0; Index < State.Values.size(); ++Index) {
            if (State.Values[Index] == State.Read[Index]) continue;
            RequireValue(Shape, Index, State.Values[Index]);
            Changed.push_back({Index, State.Values[Index]});
        }
        TSqlDatabase& Database = Connection(u"posted");
        TTransaction Scope(Database, TTransaction::TWithin::Any);
        if (Changed.empty()) {
            RequireUnchanged(Database, Shape, State.Stored);
        } else {
            Written(UpdateRow(Database, Shape, State.Stored, Changed), State.Mode);
        }
        Finish(Scope);
        Writing.Keep();
    }

    void Delete() override {
        TRecordWriting Writing(*this);
        const TRecordState State = Frozen();
        if (!IsInTable(State)) RefuseMode(State, u"deleted");
        TSqlDatabase& Database = Connection(u"deleted");
        TTransaction Scope(Database, TTransaction::TWithin::Any);
        DeleteRow(Database, *State.Shape, State.Stored);
        Scope.Commit();
        {
            const std::lock_guard Lock(FMutex);
            FState.Mode = TRecordMode::Deleted;
        }
        Writing.Keep();
    }

    void Insert() override {
        TRecordWriting Writing(*this);
        const TRecordState State = Frozen();
        const bool Copy = State.Mode == TRecordMode::Opened;
        if (State.Mode != TRecordMode::New && !Copy) RefuseMode(State, u"inserted");
        const TTableShape& Shape = *State.Shape;
        TColumnValues Given;
        for (std::size_t Index = 0; Index < State.Values.size(); ++Index) {
            const TColumn& Column = Shape.Columns[Index];
            if (Copy ? !IsCopied(State, Index) : !State.Touched[Index]) continue; // its default
            // A form sends the number that the database gives as an empty one.
            if (State.Values[Index].IsNull() && Column.NotNull && Column.HasDefault) continue;
            RequireValue(Shape, Index, State.Values[Index]);
            Given.push_back({Index, State.Values[Index]});
        }
        TSqlDatabase& Database = Connection(u"inserted");
        TTransaction Scope(Database, TTransaction::TWithin::Any);
        Written(InsertRow(Database, Shape, Given), TRecordMode::Inserted);
        Finish(Scope);
        Writing.Keep();
    }

protected:
    void BeginWriting(TRecordCheck Check) override {
        if (!IsWriter()) (void)ConnectionOutside(u"written");
        const std::lock_guard Lock(FMutex);
        RequireNoOtherWriter();
        FWritings.push_back({FState, std::move(Check)});
        FWriter = std::this_thread::get_id();
    }

    void EndWriting(bool Keep) noexcept override {
        const std::lock_guard Lock(FMutex);
        if (!Keep) FState = std::move(FWritings.back().Before);
        FWritings.pop_back();
        if (FWritings.empty()) FWriter = {};
    }

private:
    TSqlDatabase& Connection(std::u16string_view Verb) const {
        TSqlDatabase* const Database = SqlDatabaseOf(FDatabase);
        if (Database == nullptr) {
            throw EUserTableError(
                Format(u"A record of %s cannot be %s: there is no database, none was named at the start",
                       {FName, Verb}));
        }
        return *Database;
    }

    /// What holds a record and waits for a row, and what holds a row and waits for the record, would wait for
    /// ever.
    TSqlDatabase& ConnectionOutside(std::u16string_view Verb) const {
        TSqlDatabase& Database = Connection(Verb);
        if (!Database.InTransaction()) {
            if (FGuard) FGuard(FName);
            return Database;
        }
        throw EUserTableError(Format(u"A record of %s cannot be %s inside a transaction; do it before the "
                                     u"transaction begins or after it has "
                                     u"ended, or use statements inside it",
                                     {FName, Verb}));
    }

    TShape ShapeNow() const {
        const std::lock_guard Lock(FMutex);
        return FState.Shape;
    }
    /// For the writing thread: nobody else changes it.
    TRecordState Frozen() const {
        const std::lock_guard Lock(FMutex);
        return FState;
    }
    void Become(TRecordState State) {
        const std::lock_guard Lock(FMutex);
        RequireNoOtherWriter();
        FState = std::move(State);
    }
    void Written(TRow Row, TRecordMode Mode) {
        const TShape Shape = ShapeNow();
        std::u16string RecordID = IDOfRow(*Shape, Row);
        Become(OpenedState(Shape, std::move(Row), std::move(RecordID), Mode));
    }
    bool IsWriter() const {
        const std::lock_guard Lock(FMutex);
        return FWriter == std::this_thread::get_id();
    }

    /// Asks whoever checks, about the row as it is now in the database, and commits.
    void Finish(TTransaction& Scope) {
        for (const TWriting& Each : FWritings) { // which nobody but this thread changes
            if (Each.Check) Each.Check(*this);
        }
        Scope.Commit();
    }

    // Under the mutex.
    std::size_t Find(std::u16string_view Name) const {
        const std::size_t Index = FState.Shape->FindColumn(Name);
        if (Index == TTableShape::NoColumn) RefuseName(Name);
        if (FState.Mode == TRecordMode::Closed) RefuseMode(FState, u"read or changed");
        return Index;
    }
    std::size_t FindReadable(std::u16string_view Name) const {
        const std::size_t Index = Find(Name);
        if (!FState.Stored.empty() && FState.Stored[Index].Binary) {
            throw EUserTableError(Format(u"The field %s.%s is binary; records do not read or write it",
                                         {FName, FState.Shape->Columns[Index].Name}));
        }
        return Index;
    }

    void RequireNoOtherWriter() const {
        if (FWritings.empty() || FWriter == std::this_thread::get_id()) return;
        throw EUserTableError(
            Format(u"The record %s of %s is being written by another request; try again when "
                   u"that has ended",
                   {FState.RecordID, FName}));
    }

    [[noreturn]] void RefuseName(std::u16string_view Name) const {
        throw EUserTableError(Format(u"The table %s has no field %s", {FName, ShownValue(TKXVariant(Name))}));
    }

    [[noreturn]] static void RefuseMode(const TRecordState& State, std::u16string_view Verb) {
        std::u16string_view Why;
        switch (State.Mode) {
        case TRecordMode::Closed:
            Why = u"none is open; open one by its ID, or a new one";
            break;
        case TRecordMode::New:
            Why = u"it is new; insert it first";
            break;
        case TRecordMode::Opened:
        case TRecordMode::Inserted:
            Why = u"it is in the table already; post it, or open a new one";
            break;
        case TRecordMode::Deleted:
            Why = u"it was deleted";
            break;
        }
        throw EUserTableError(Format(u"The record of %s cannot be %s: %s", {State.Shape->Name, Verb, Why}));
    }

    const TDatabaseOfThread FDatabase;
    const TTableGuard FGuard;
    const std::u16string FName;

    mutable std::mutex FMutex; // guards the rest; never held while the database works
    TRecordState FState;
    struct TWriting {
        TRecordState Before;
        TRecordCheck Check;
    };
    std::vector<TWriting> FWritings; // of the thread that writes, the outermost first
    std::thread::id FWriter;
};

} // namespace

std::unique_ptr<TUserTable> MakeUserTable(std::u16string_view TableName, TDatabaseOfThread Database,
                                          TTableGuard Guard) {
    TSqlDatabase* const Connection = SqlDatabaseOf(Database);
    if (Connection == nullptr) {
        throw EUserTableError(
            Format(u"The table %s cannot be reached: there is no database, none was named at the start",
                   {TableName}));
    }
    // Whoever may edit "every table" must not make an administrator of himself.
    if (IsHostTable(TableName)) {
        throw EUserTableError(Format(u"The table %s is the host's own and is not opened as records: use "
                                     u"\"zuhost users\", or statements of your own",
                                     {TableName}));
    }
    return std::make_unique<TSqlUserTable>(KnownTableShape(*Connection, TableName), std::move(Database),
                                           std::move(Guard));
}

} // namespace zutools::server
