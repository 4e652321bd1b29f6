#include "server/records/RecordRows.h"

#include "host/DatabaseFault.h"
#include "host/Format.h"
#include "host/Numbers.h"
#include "host/RecordId.h"
#include "host/UserTables.h"

#include <utility>

namespace zutools::server {

namespace {

constexpr std::u16string_view StampName = u"ZuStamp"; // beside the columns of a row

std::u16string ParamName(char16_t Letter, std::size_t Index) {
    return Letter + IntToStr(static_cast<std::int64_t>(Index));
}

/// The expressions that read the columns, for ReadRow.
std::u16string CellList(const TTableShape& Shape) {
    std::u16string List;
    for (const TColumn& Column : Shape.Columns) {
        if (!List.empty()) List += u", ";
        List += Shape.Engine->CellExpressions(Column);
    }
    return List;
}

TRow ReadRow(const TSelectQuery& Query, const TTableShape& Shape) {
    TRow Row;
    Row.reserve(Shape.Columns.size());
    for (std::size_t Index = 0; Index < Shape.Columns.size(); ++Index) {
        Row.push_back(Shape.Engine->ReadCell(Query, Index, Shape.Columns[Index]));
    }
    return Row;
}

[[noreturn]] void RefuseTwo(const TTableShape& Shape) {
    throw EUserTableError(
        Format(u"The key of the table %s does not tell its rows apart; two of them answer to one "
               u"record ID",
               {Shape.Name}));
}

/// The row that an open query finds; empty when there is none.
std::optional<TRow> ReadOnlyRow(TSelectQuery& Query, const TTableShape& Shape) {
    if (!Query.Step()) return std::nullopt;
    TRow Row = ReadRow(Query, Shape);
    if (Query.Step()) RefuseTwo(Shape);
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

/// The row with the key of `Read`, if every field is as it was.
std::u16string WhereUnchanged(const TTableShape& Shape, const TRow& Read) {
    std::u16string Where = WhereKey(Shape);
    for (std::size_t Index = 0; Index < Read.size(); ++Index) {
        Where += u" AND ";
        Where +=
            Shape.Engine->CellCondition(Shape.Columns[Index], Read[Index], u":" + ParamName(u'R', Index));
    }
    return Where;
}

void BindKey(TQuery& Query, const TTableShape& Shape, const TRow& Row) {
    for (std::size_t Place = 0; Place < Shape.Key.size(); ++Place) {
        BindValue(Query, ParamName(u'K', Place), Row[Shape.Key[Place]].Value);
    }
}

void BindUnchanged(TQuery& Query, const TTableShape& Shape, const TRow& Read) {
    BindKey(Query, Shape, Read);
    for (std::size_t Index = 0; Index < Read.size(); ++Index) {
        BindValue(Query, ParamName(u'R', Index), Read[Index].Value);
    }
}

/// The row with the key of `Row`; locked against others until the transaction ends when asked for.
std::optional<TRow> LoadByKey(TSqlDatabase& Database, const TTableShape& Shape, const TRow& Row, bool Lock) {
    std::u16string Statement = u"SELECT " + CellList(Shape) + u" FROM " + Shape.Quoted + WhereKey(Shape);
    if (Lock) Statement += Shape.Engine->Words().LockRows;
    const auto Query = Database.CreateSelectQuery();
    Query->SetSQL(Statement);
    BindKey(*Query, Shape, Row);
    Query->Open();
    return ReadOnlyRow(*Query, Shape);
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
    Query.SetSQL(u"SELECT " + CellList(Shape) + u", " + Shape.Engine->TableStamp(Shape) + u" AS " +
                 std::u16string(StampName) + u" FROM " + Shape.Quoted + Where);
    for (std::size_t Place = 0; Place < Values.size(); ++Place) {
        BindValue(Query, ParamName(u'K', Place), Values[Place]);
    }
}

[[noreturn]] void RefuseUnwritten(const TTableShape& Shape, const TRow& Read, std::u16string_view Verb) {
    throw EUserTableError(
        Format(u"The database did not %s the record %s of %s and gave no reason; a trigger or "
               u"a rule of the table decides so",
               {Verb, IDOfRow(Shape, Read), Shape.Name}));
}

std::u16string Returning(const TTableShape& Shape) {
    return u" RETURNING " + CellList(Shape);
}

void BindValues(TQuery& Query, const TColumnValues& Values) {
    for (const auto& [Column, Value] : Values) BindValue(Query, ParamName(u'V', Column), Value);
}

/// What a query with RETURNING wrote. That is from before the triggers that come after a write.
std::optional<TRow> WrittenRow(TSqlDatabase& Database, const TTableShape& Shape, TSelectQuery& Query) {
    Query.Open();
    auto Row = ReadOnlyRow(Query, Shape);
    Query.Close();
    if (!Row || !Shape.ChangesAfterWrite) return Row;
    return LoadByKey(Database, Shape, *Row, false);
}

} // namespace

TFoundRow FindRow(TSqlDatabase& Database, const TTableShape& Shape, std::u16string_view RecordID) {
    const auto Query = Database.CreateSelectQuery();
    PrepareByID(*Query, Shape, RecordID);
    Query->Open();
    TFoundRow Found;
    if (!Query->Step()) return Found;
    Found.Stale = Query->FieldAsString(StampName) != Shape.Stamp;
    if (Found.Stale) return Found;
    Found.Row = ReadRow(*Query, Shape);
    if (Query->Step()) RefuseTwo(Shape);
    const std::u16string Written = IDOfRow(Shape, *Found.Row);
    if (Written != RecordID) { // two names of one record would be two locks
        RefuseID(Shape, RecordID, u"write it as " + ShownValue(TKXVariant(Written)));
    }
    return Found;
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

void RequireUnchanged(TSqlDatabase& Database, const TTableShape& Shape, const TRow& Read) {
    const auto Row = LoadByKey(Database, Shape, Read, true);
    if (!Row) {
        NoteDatabaseFault({TDatabaseFaultKind::Changed, Shape.Name, {}});
        throw ERecordChanged(
            Format(u"The record %s of %s was deleted, or its key was changed, by somebody else. "
                   u"Nothing was written",
                   {IDOfRow(Shape, Read), Shape.Name}));
    }
    std::u16string Changed;
    for (std::size_t Index = 0; Index < Row->size(); ++Index) {
        if ((*Row)[Index] == Read[Index]) continue;
        if (!Changed.empty()) Changed += u", ";
        Changed += Shape.Columns[Index].Name;
    }
    if (Changed.empty()) return;
    NoteDatabaseFault({TDatabaseFaultKind::Changed, Shape.Name, Changed.substr(0, Changed.find(u','))});
    throw ERecordChanged(Format(
        u"The record %s of %s was changed by somebody else since it was opened: %s. Nothing was written; "
        u"open the record again and repeat the change",
        {IDOfRow(Shape, Read), Shape.Name, Changed}));
}

TRow UpdateRow(TSqlDatabase& Database, const TTableShape& Shape, const TRow& Read,
               const TColumnValues& Values) {
    std::u16string Assignments;
    for (const TColumnValue& Each : Values) {
        if (!Assignments.empty()) Assignments += u", ";
        Assignments += QuotedName(Shape.Columns[Each.Column].Name) + u" = :" + ParamName(u'V', Each.Column);
    }
    const auto Query = Database.CreateSelectQuery();
    Query->SetSQL(u"UPDATE " + Shape.Quoted + u" SET " + Assignments + WhereUnchanged(Shape, Read) +
                  Returning(Shape));
    BindUnchanged(*Query, Shape, Read);
    BindValues(*Query, Values);
    if (auto Row = WrittenRow(Database, Shape, *Query)) return std::move(*Row);
    RequireUnchanged(Database, Shape, Read);
    RefuseUnwritten(Shape, Read, u"change");
}

void DeleteRow(TSqlDatabase& Database, const TTableShape& Shape, const TRow& Read) {
    const auto Query = Database.CreateExecQuery();
    Query->SetSQL(u"DELETE FROM " + Shape.Quoted + WhereUnchanged(Shape, Read));
    BindUnchanged(*Query, Shape, Read);
    Query->Execute();
    if (Query->RowsAffected() != 0) return;
    RequireUnchanged(Database, Shape, Read);
    RefuseUnwritten(Shape, Read, u"delete");
}

TRow InsertRow(TSqlDatabase& Database, const TTableShape& Shape, const TColumnValues& Values) {
    std::u16string Names;
    std::u16string Params;
    for (const TColumnValue& Each : Values) {
        if (!Names.empty()) {
            Names += u", ";
            Params += u", ";
        }
        Names += QuotedName(Shape.Columns[Each.Column].Name);
        Params += u":" + ParamName(u'V', Each.Column);
    }
    const auto Query = Database.CreateSelectQuery();
    Query->SetSQL(u"INSERT INTO " + Shape.Quoted +
                  (Values.empty() ? std::u16string(u" DEFAULT VALUES")
                                  : u" (" + Names + u") VALUES (" + Params + u")") +
                  Returning(Shape));
    BindValues(*Query, Values);
    if (auto Row = WrittenRow(Database, Shape, *Query)) return std::move(*Row);
    throw EUserTableError(Format(u"The database did not keep the new record of %s and gave no reason; a "
                                 u"trigger or a rule of the table decides so, or its key is null",
                                 {Shape.Name}));
}

} // namespace zutools::server
