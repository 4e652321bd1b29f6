#include "server/records/SqlUserTable.h"

#include "host/Format.h"
#include "host/Numbers.h"
#include "host/RecordId.h"
#include "server/records/FieldValues.h"
#include "server/records/TableShape.h"
#include "server/sql/Schema.h"

#include <algorithm>
#include <mutex>
#include <optional>
#include <thread>
#include <utility>

namespace zutools::server {

namespace {

constexpr std::u16string_view NothingWritten =
    u"Nothing was written; open the record again and repeat the change";

using TShape = std::shared_ptr<const TTableShape>;

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

std::u16string ParamName(char16_t Letter, std::size_t Index) {
    return Letter + IntToStr(static_cast<std::int64_t>(Index));
}

std::u16string SelectStatement(const TTableShape& Shape) {
    std::u16string Statement = u"SELECT ";
    for (std::size_t Index = 0; Index < Shape.Columns.size(); ++Index) {
        if (Index != 0) Statement += u", ";
        Statement += Shape.Engine->CellExpressions(Shape.Columns[Index]);
    }
    return Statement + u" FROM " + Shape.Quoted;
}

/// The row that a query finds; empty when there is none.
std::optional<TRow> ReadOnlyRow(TSelectQuery& Query, const TTableShape& Shape) {
    Query.Open();
    if (!Query.Step()) return std::nullopt;
    TRow Row;
    Row.reserve(Shape.Columns.size());
    for (std::size_t Index = 0; Index < Shape.Columns.size(); ++Index) {
        Row.push_back(Shape.Engine->ReadCell(Query, Index, Shape.Columns[Index]));
    }
    if (Query.Step()) {
        throw EUserTableError(
            Format(u"The key of the table %s does not tell its rows apart; two of them answer "
                   u"to one record ID",
                   {Shape.Name}));
    }
    return Row;
}

std::u16string WhereKey(const TTableShape& Shape) {
    std::u16string Where;
    for (std::size_t Place = 0; Place < Shape.Key.size(); ++Place) {
        Where += Place == 0 ? u" WHERE " : u" AND ";
        Where += QuotedName(Shape.Columns[Shape.Key[Place]].Name) + u" = :" + ParamName(u'K', Place);
    }
    return Where;
}

void BindKey(TQuery& Query, const TTableShape& Shape, const TRow& Row) {
    for (std::size_t Place = 0; Place < Shape.Key.size(); ++Place) {
        BindValue(Query, ParamName(u'K', Place), Row[Shape.Key[Place]].Value);
    }
}

/// The row with the key of `Row`; locked against others until the transaction ends when asked for.
std::optional<TRow> LoadByKey(TSqlDatabase& Database, const TTableShape& Shape, const TRow& Row, bool Lock) {
    std::u16string Statement = SelectStatement(Shape) + WhereKey(Shape);
    if (Lock) Statement += Shape.Engine->Words().LockRows;
    const auto Query = Database.CreateSelectQuery();
    Query->SetSQL(Statement);
    BindKey(*Query, Shape, Row);
    return ReadOnlyRow(*Query, Shape);
}

std::u16string IDOfRow(const TTableShape& Shape, const TRow& Row) {
    std::vector<std::u16string> Values;
    for (const std::size_t Index : Shape.Key) {
        const TColumn& Column = Shape.Columns[Index];
        if (Row[Index].Binary || Row[Index].Value.IsNull()) { // SQLite allows both
            throw EUserTableError(
                Format(u"A record of %s has %s in its key column %s and cannot be named; give "
                       u"it a value",
                       {Shape.Name, Row[Index].Binary ? u"binary data" : u"null", Column.Name}));
        }
        Values.push_back(KeyText(Column, Row[Index]));
    }
    return JoinRecordID(Values);
}

[[noreturn]] void RefuseID(const TTableShape& Shape, std::u16string_view RecordID, std::u16string_view Why) {
    throw EUserTableError(Format(u"%s is no record ID of the table %s: %s",
                                 {ShownValue(TKXVariant(RecordID)), Shape.Name, Why}));
}

/// Statement and parameters for the row of an ID.
void PrepareByID(TSelectQuery& Query, const TTableShape& Shape, std::u16string_view RecordID) {
    const auto Parts = SplitRecordID(RecordID, Shape.Key.size());
    if (!Parts) {
        std::u16string Names;
        for (const std::size_t Index : Shape.Key) {
            if (!Names.empty()) Names += u";";
            Names += Shape.Columns[Index].Name;
        }
        RefuseID(Shape, RecordID,
                 u"it is written " + Names +
                     u", with \\; for a semicolon and \\\\ for a backslash in a value");
    }
    std::u16string Where;
    std::vector<TKXVariant> Values;
    for (std::size_t Place = 0; Place < Shape.Key.size(); ++Place) {
        const std::size_t Index = Shape.Key[Place];
        const TColumn& Column = Shape.Columns[Index];
        const std::u16string Name = QuotedName(Column.Name);
        Where += Place == 0 ? u" WHERE " : u" AND ";
        const bool TextOnly = Column.Kind == TFieldKind::Other; // is all that is known of its type
        Where += (TextOnly ? u"CAST(" + Name + u" AS TEXT)" : Name) + u" = :" + ParamName(u'K', Place);
        TColumn Given = Column; // as computed keys may be looked for, and no part of an ID is null
        Given.Computed = Given.HasDefault = false;
        Given.NotNull = true;
        TTableShape One;
        One.Engine = Shape.Engine;
        One.Name = Shape.Name;
        One.Columns.push_back(std::move(Given));
        try {
            Values.push_back(FitField(One, 0, TKXVariant((*Parts)[Place])));
        } catch (const EUserTableError& Error) {
            RefuseID(Shape, RecordID, Error.Message());
        }
    }
    Query.SetSQL(SelectStatement(Shape) + Where);
    for (std::size_t Place = 0; Place < Values.size(); ++Place) {
        BindValue(Query, ParamName(u'K', Place), Values[Place]);
    }
}

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

/// @throws ERecordChanged.
void RequireUnchanged(TSqlDatabase& Database, const TRecordState& State) {
    const TTableShape& Shape = *State.Shape;
    const auto Row = LoadByKey(Database, Shape, State.Stored, true);
    if (!Row) {
        throw ERecordChanged(
            Format(u"The record %s of %s was deleted, or its key was changed, by somebody else. "
                   u"Nothing was written",
                   {State.RecordID, Shape.Name}));
    }
    std::u16string Changed;
    for (std::size_t Index = 0; Index < Row->size(); ++Index) {
        if ((*Row)[Index] == State.Stored[Index]) continue;
        if (!Changed.empty()) Changed += u", ";
        Changed += Shape.Columns[Index].Name;
    }
    if (Changed.empty()) return;
    throw ERecordChanged(
        Format(u"The record %s of %s was changed by somebody else since it was opened: %s. %s",
               {State.RecordID, Shape.Name, Changed, NothingWritten}));
}

[[noreturn]] void RefuseUnwritten(const TRecordState& State, std::u16string_view Verb) {
    throw EUserTableError(
        Format(u"The database did not %s the record %s of %s and gave no reason; a trigger or "
               u"a rule of the table decides so",
               {Verb, State.RecordID, State.Shape->Name}));
}

void RequireValue(const TTableShape& Shape, std::size_t Index, const TKXVariant& Value) {
    if (!Value.IsNull() || !Shape.Columns[Index].NotNull) return;
    throw EUserTableError(Format(u"The field %s.%s needs a value (%s)",
                                 {Shape.Name, Shape.Columns[Index].Name, Shape.Columns[Index].TypeText}));
}

/// Runs a statement that ends in RETURNING with the table's columns; the row that it wrote, as the database
/// keeps it once all triggers are through.
std::optional<TRow> WriteRow(TSqlDatabase& Database, const TTableShape& Shape, std::u16string Statement,
                             const std::vector<std::size_t>& Written, const TRecordState& State, bool ByKey) {
    Statement += u" RETURNING ";
    for (std::size_t Index = 0; Index < Shape.Columns.size(); ++Index) {
        if (Index != 0) Statement += u", ";
        Statement += Shape.Engine->CellExpressions(Shape.Columns[Index]);
    }
    const auto Query = Database.CreateSelectQuery();
    Query->SetSQL(Statement);
    for (const std::size_t Index : Written) BindValue(*Query, ParamName(u'V', Index), State.Values[Index]);
    if (ByKey) BindKey(*Query, Shape, State.Stored);
    const auto Row = ReadOnlyRow(*Query, Shape);
    Query->Close();
    return Row ? LoadByKey(Database, Shape, *Row, false) : std::nullopt;
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
    TSqlUserTable(TShape Shape, TDatabaseOfThread Database)
        : FDatabase(std::move(Database))
        , FName(Shape->Name) {
        FState.Shape = std::move(Shape);
    }

    std::u16string TableName() const override { return FName; }

    bool Open(std::u16string_view RecordID) override {
        TSqlDatabase& Database = ConnectionOutside(u"opened");
        const TShape Shape = CurrentShape(Database);
        const auto Query = Database.CreateSelectQuery();
        PrepareByID(*Query, *Shape, RecordID);
        auto Row = ReadOnlyRow(*Query, *Shape);
        if (!Row) return false;
        std::u16string Written = IDOfRow(*Shape, *Row);
        if (Written != RecordID) { // two names of one record would be two locks
            RefuseID(*Shape, RecordID, u"write it as " + ShownValue(TKXVariant(Written)));
        }
        Become(OpenedState(Shape, std::move(*Row), std::move(Written)));
        return true;
    }

    void OpenNew() override {
        TRecordState State;
        State.Mode = TRecordMode::New;
        State.Shape = CurrentShape(ConnectionOutside(u"begun"));
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
        std::u16string Assignments;
        std::vector<std::size_t> Written;
        for (std::size_t Index = 0; Index < State.Values.size(); ++Index) {
            if (State.Values[Index] == State.Read[Index]) continue;
            RequireValue(Shape, Index, State.Values[Index]);
            if (!Written.empty()) Assignments += u", ";
            Assignments += QuotedName(Shape.Columns[Index].Name) + u" = :" + ParamName(u'V', Index);
            Written.push_back(Index);
        }
        TSqlDatabase& Database = Connection(u"posted");
        TTransaction Scope(Database, TTransaction::TWithin::Any);
        RequireUnchanged(Database, State);
        TRow Now = State.Stored;
        if (!Written.empty()) {
            auto Row = WriteRow(Database, Shape,
                                u"UPDATE " + Shape.Quoted + u" SET " + Assignments + WhereKey(Shape), Written,
                                State, true);
            if (!Row) RefuseUnwritten(State, u"change");
            Now = std::move(*Row);
        }
        std::u16string RecordID = IDOfRow(Shape, Now);
        Become(OpenedState(State.Shape, std::move(Now), std::move(RecordID), State.Mode));
        Finish(Scope);
        Writing.Keep();
    }

    void Delete() override {
        TRecordWriting Writing(*this);
        const TRecordState State = Frozen();
        if (!IsInTable(State)) RefuseMode(State, u"deleted");
        const TTableShape& Shape = *State.Shape;
        TSqlDatabase& Database = Connection(u"deleted");
        TTransaction Scope(Database, TTransaction::TWithin::Any);
        RequireUnchanged(Database, State);
        const auto Query = Database.CreateExecQuery();
        Query->SetSQL(u"DELETE FROM " + Shape.Quoted + WhereKey(Shape));
        BindKey(*Query, Shape, State.Stored);
        Query->Execute();
        if (Query->RowsAffected() == 0) RefuseUnwritten(State, u"delete");
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
        std::u16string Names;
        std::u16string Values;
        std::vector<std::size_t> Written;
        for (std::size_t Index = 0; Index < State.Values.size(); ++Index) {
            const TColumn& Column = Shape.Columns[Index];
            if (Copy ? !IsCopied(State, Index) : !State.Touched[Index]) continue; // its default
            // A form sends the number that the database gives as an empty one.
            if (State.Values[Index].IsNull() && Column.NotNull && Column.HasDefault) continue;
            RequireValue(Shape, Index, State.Values[Index]);
            if (!Written.empty()) {
                Names += u", ";
                Values += u", ";
            }
            Names += QuotedName(Column.Name);
            Values += u":" + ParamName(u'V', Index);
            Written.push_back(Index);
        }
        TSqlDatabase& Database = Connection(u"inserted");
        TTransaction Scope(Database, TTransaction::TWithin::Any);
        auto Row = WriteRow(Database, Shape,
                            u"INSERT INTO " + Shape.Quoted +
                                (Written.empty() ? std::u16string(u" DEFAULT VALUES")
                                                 : u" (" + Names + u") VALUES (" + Values + u")"),
                            Written, State, false);
        if (!Row) {
            throw EUserTableError(
                Format(u"The database did not keep the new record of %s and gave no reason; a "
                       u"trigger or a rule of the table decides so, or its key is null",
                       {Shape.Name}));
        }
        std::u16string RecordID = IDOfRow(Shape, *Row);
        Become(OpenedState(State.Shape, std::move(*Row), std::move(RecordID), TRecordMode::Inserted));
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
        if (!Database.InTransaction()) return Database;
        throw EUserTableError(Format(u"A record of %s cannot be %s inside a transaction; do it before the "
                                     u"transaction begins or after it has "
                                     u"ended, or use statements inside it",
                                     {FName, Verb}));
    }

    /// The shape read when the table was made serves its first opening; later ones read it anew, as tables
    /// change.
    TShape CurrentShape(TSqlDatabase& Database) {
        {
            const std::lock_guard Lock(FMutex);
            if (std::exchange(FFresh, false)) return FState.Shape;
        }
        return std::make_shared<const TTableShape>(ReadTableShape(Database, FName));
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
    const std::u16string FName;

    mutable std::mutex FMutex; // guards the rest; never held while the database works
    TRecordState FState;
    bool FFresh = true;
    struct TWriting {
        TRecordState Before;
        TRecordCheck Check;
    };
    std::vector<TWriting> FWritings; // of the thread that writes, the outermost first
    std::thread::id FWriter;
};

} // namespace

std::unique_ptr<TUserTable> MakeUserTable(std::u16string_view TableName, TDatabaseOfThread Database) {
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
    auto Shape = std::make_shared<const TTableShape>(ReadTableShape(*Connection, TableName));
    return std::make_unique<TSqlUserTable>(std::move(Shape), std::move(Database));
}

} // namespace zutools::server
