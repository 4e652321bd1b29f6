#include "server/records/TableShape.h"

#include "host/Format.h"
#include "host/Numbers.h"
#include "host/StringHelpers.h"
#include "host/UserTables.h"
#include "platform/Text.h"
#include "platform/TextTools.h"

#include <algorithm>
#include <map>

namespace zutools::server {

namespace {

constexpr std::size_t LongestName = 256;

/// What the catalogue says about the table itself.
struct TFound {
    std::u16string Name;
    std::u16string Schema; // PostgreSQL
    std::u16string Kind;   // "table" or "view"
    std::int64_t Oid = 0;  // PostgreSQL
};

std::u16string ShownName(std::u16string_view Name) {
    return platform::Masked(platform::WholeStart(Name, LongestName));
}

[[noreturn]] void RefuseUnknown(std::u16string_view Name) {
    throw EUserTableError(
        Format(u"There is no table \"%s\" in the database; check its name, and on PostgreSQL "
               u"that its schema is in the search path",
               {ShownName(Name)}));
}

std::vector<TFound> FindTables(TSqlDatabase& Database, std::u16string_view Name) {
    const bool Sqlite = Database.Dialect() == TSqlDialect::Sqlite;
    constexpr std::u16string_view InSqlite =
        u"SELECT name, '' AS space, type AS kind, 0 AS oid FROM sqlite_master "
        u"WHERE type IN ('table', 'view') AND name = :Name COLLATE NOCASE";
    constexpr std::u16string_view InPostgres =
        u"SELECT c.relname AS name, n.nspname AS space, "
        u"CASE WHEN c.relkind IN ('r', 'p') THEN 'table' ELSE 'view' END AS kind, "
        u"CAST(c.oid AS BIGINT) AS oid "
        u"FROM pg_catalog.pg_class c JOIN pg_catalog.pg_namespace n ON n.oid = c.relnamespace "
        u"WHERE pg_catalog.translate(CAST(c.relname AS TEXT), 'ABCDEFGHIJKLMNOPQRSTUVWXYZ', "
        u"'abcdefghijklmnopqrstuvwxyz') = :Name AND c.relkind IN ('r', 'p', 'v', 'm', 'f') "
        u"AND pg_catalog.pg_table_is_visible(c.oid) "
        u"AND n.nspname NOT IN ('pg_catalog', 'information_schema')";
    const auto Query = Database.CreateSelectQuery();
    Query->SetSQL(Sqlite ? InSqlite : InPostgres);
    Query->SetString(u"Name", FoldSqlName(Name));
    Query->Open();
    std::vector<TFound> Tables;
    while (Query->Step()) {
        Tables.push_back({Query->FieldAsString(u"name"), Query->FieldAsString(u"space"),
                          Query->FieldAsString(u"kind"), Query->FieldAsInt64(u"oid")});
    }
    return Tables;
}

TFound FindTable(TSqlDatabase& Database, std::u16string_view Name) {
    const bool Odd =
        Name.empty() || Name.size() > LongestName ||
        std::any_of(Name.begin(), Name.end(), [](char16_t C) { return C < u' ' || C >= 0xFFFE; }) ||
        platform::Utf16ToUtf8Strict(Name).Error;
    if (Odd) RefuseUnknown(Name);
    std::vector<TFound> Tables = FindTables(Database, Name);
    if (Tables.empty()) RefuseUnknown(Name);
    auto Chosen =
        std::find_if(Tables.begin(), Tables.end(), [&](const TFound& Table) { return Table.Name == Name; });
    if (Chosen == Tables.end()) {
        if (Tables.size() > 1) {
            throw EUserTableError(
                Format(u"Several tables are named \"%s\" in different letter case; write the "
                       u"name exactly as one of them has it",
                       {ShownName(Name)}));
        }
        Chosen = Tables.begin();
    }
    if (Chosen->Kind != u"table") {
        throw EUserTableError(Format(
            u"\"%s\" is a view; records are opened in tables: name the table below it", {Chosen->Name}));
    }
    return std::move(*Chosen);
}

/// The numbers in "VARCHAR(20)" or "NUMERIC(10, 2)".
std::vector<int> Arguments(std::u16string_view Type) {
    const std::size_t Open = Type.find(u'(');
    const std::size_t Close = Type.find(u')', Open == Type.npos ? 0 : Open);
    std::vector<int> Numbers;
    if (Open == Type.npos || Close == Type.npos) return Numbers;
    Type = Type.substr(Open + 1, Close - Open - 1);
    for (;;) {
        const std::size_t Comma = Type.find(u',');
        Numbers.push_back(std::max(0, StrToIntDef(Trim(Type.substr(0, Comma)), 0)));
        if (Comma == Type.npos) return Numbers;
        Type.remove_prefix(Comma + 1);
    }
}

void SetArguments(TColumn& Column, std::u16string_view Type) {
    const std::vector<int> Numbers = Arguments(Type);
    if (Numbers.empty()) return;
    if (Column.Kind == TFieldKind::Text) Column.Length = Numbers[0];
    if (Column.Kind == TFieldKind::Decimal) {
        Column.Precision = Numbers[0];
        Column.Scale = Numbers.size() > 1 ? Numbers[1] : 0;
    }
}

/// SQLite takes any word for a type; these parts of it decide, the first that is found.
TFieldKind SqliteKind(std::u16string_view Declared) {
    static constexpr std::pair<std::u16string_view, TFieldKind> Parts[] = {
        {u"int", TFieldKind::Integer},       {u"char", TFieldKind::Text},
        {u"clob", TFieldKind::Text},         {u"text", TFieldKind::Text},
        {u"blob", TFieldKind::Blob},         {u"real", TFieldKind::Float},
        {u"floa", TFieldKind::Float},        {u"doub", TFieldKind::Float},
        {u"bool", TFieldKind::Boolean},      {u"timestamp", TFieldKind::DateTime},
        {u"datetime", TFieldKind::DateTime}, {u"date", TFieldKind::Date},
        {u"time", TFieldKind::Time},         {u"dec", TFieldKind::Decimal},
        {u"num", TFieldKind::Decimal},
    };
    const std::u16string Type = FoldSqlName(Declared);
    for (const auto& [Part, Kind] : Parts) {
        if (Type.find(Part) != Type.npos) return Kind;
    }
    return TFieldKind::Other;
}

TFieldKind PostgresKind(std::u16string_view Type) {
    static constexpr std::pair<std::u16string_view, TFieldKind> Types[] = {
        {u"int2", TFieldKind::Integer},       {u"int4", TFieldKind::Integer},
        {u"int8", TFieldKind::Integer},       {u"float4", TFieldKind::Float},
        {u"float8", TFieldKind::Float},       {u"numeric", TFieldKind::Decimal},
        {u"text", TFieldKind::Text},          {u"varchar", TFieldKind::Text},
        {u"bpchar", TFieldKind::Text},        {u"bool", TFieldKind::Boolean},
        {u"date", TFieldKind::Date},          {u"time", TFieldKind::Time},
        {u"timestamp", TFieldKind::DateTime}, {u"timestamptz", TFieldKind::DateTimeZone},
        {u"uuid", TFieldKind::Uuid},          {u"bytea", TFieldKind::Blob},
    };
    for (const auto& [Name, Kind] : Types) {
        if (Name == Type) return Kind;
    }
    return TFieldKind::Other;
}

template <class TNumber>
void SetRange(TColumn& Column) {
    Column.Lowest = std::numeric_limits<TNumber>::min();
    Column.Highest = std::numeric_limits<TNumber>::max();
}

/// Columns by their place in the key, counted from 1.
using TKeyPlaces = std::map<std::int64_t, std::size_t>;

void ReadSqliteColumns(TSqlDatabase& Database, TTableShape& Shape, TKeyPlaces& Places) {
    const auto Query = Database.CreateSelectQuery();
    Query->SetSQL(u"SELECT name, type, \"notnull\" AS required, dflt_value, pk, hidden "
                  u"FROM pragma_table_xinfo(:Table) ORDER BY cid");
    Query->SetString(u"Table", Shape.Name);
    Query->Open();
    while (Query->Step()) {
        const int Hidden = Query->FieldAsInteger(u"hidden");
        if (Hidden == 1) continue; // of a virtual table
        TColumn Column;
        Column.Name = Query->FieldAsString(u"name");
        Column.TypeText = Query->FieldAsString(u"type");
        Column.Kind = SqliteKind(Column.TypeText);
        SetArguments(Column, Column.TypeText);
        Column.NotNull = Query->FieldAsInteger(u"required") != 0;
        Column.Computed = Hidden != 0;
        Column.HasDefault = !Query->FieldIsNull(u"dflt_value");
        Column.Default = Query->FieldAsString(u"dflt_value");
        if (const auto Place = Query->FieldAsInt64(u"pk"); Place > 0) Places[Place] = Shape.Columns.size();
        Shape.Columns.push_back(std::move(Column));
    }
    // The number that SQLite gives to a row; it fills an empty one. Only this very word makes it so, and in a
    // table WITHOUT ROWID the database refuses a row without it.
    if (Places.size() != 1) return;
    TColumn& Key = Shape.Columns[Places.begin()->second];
    if (SameSqlName(Key.TypeText, u"integer")) Key.NotNull = Key.HasDefault = true;
}

void ReadPostgresColumns(TSqlDatabase& Database, TTableShape& Shape, std::int64_t Oid, TKeyPlaces& Places) {
    const auto Query = Database.CreateSelectQuery();
    Query->SetSQL(
        u"SELECT a.attname AS name, pg_catalog.format_type(a.atttypid, a.atttypmod) AS declared, "
        u"CAST(b.typname AS TEXT) AS base, "
        u"pg_catalog.format_type(b.oid, CASE WHEN t.typtype = 'd' THEN t.typtypmod ELSE a.atttypmod END) "
        u"AS based, "
        u"CASE WHEN a.attnotnull OR t.typnotnull THEN 1 ELSE 0 END AS required, "
        u"CASE WHEN a.atthasdef OR a.attidentity <> '' OR t.typdefault IS NOT NULL THEN 1 ELSE 0 END AS "
        u"preset, "
        u"CASE WHEN a.attgenerated <> '' THEN 1 ELSE 0 END AS computed, "
        u"pg_catalog.pg_get_expr(d.adbin, d.adrelid) AS expression, "
        // Behind the key's own columns stand those of INCLUDE.
        u"CASE WHEN pg_catalog.array_position(CAST(i.indkey AS int2[]), a.attnum) < i.indnkeyatts "
        u"THEN pg_catalog.array_position(CAST(i.indkey AS int2[]), a.attnum) END AS place "
        u"FROM pg_catalog.pg_attribute a "
        u"JOIN pg_catalog.pg_type t ON t.oid = a.atttypid "
        u"JOIN pg_catalog.pg_type b ON b.oid = CASE WHEN t.typtype = 'd' THEN t.typbasetype ELSE t.oid END "
        u"LEFT JOIN pg_catalog.pg_attrdef d ON d.adrelid = a.attrelid AND d.adnum = a.attnum "
        u"LEFT JOIN pg_catalog.pg_index i ON i.indrelid = a.attrelid AND i.indisprimary "
        u"WHERE a.attrelid = :Oid AND a.attnum > 0 AND NOT a.attisdropped ORDER BY a.attnum");
    Query->SetInteger(u"Oid", Oid);
    Query->Open();
    while (Query->Step()) {
        TColumn Column;
        const std::u16string Base = Query->FieldAsString(u"base");
        Column.Name = Query->FieldAsString(u"name");
        Column.TypeText = Query->FieldAsString(u"declared");
        Column.Kind = PostgresKind(Base);
        Column.Padded = Base == u"bpchar";
        SetArguments(Column, Query->FieldAsString(u"based"));
        if (Base == u"int2") SetRange<std::int16_t>(Column);
        if (Base == u"int4") SetRange<std::int32_t>(Column);
        Column.NotNull = Query->FieldAsInteger(u"required") != 0;
        Column.Computed = Query->FieldAsInteger(u"computed") != 0;
        Column.HasDefault = Query->FieldAsInteger(u"preset") != 0 && !Column.Computed;
        Column.Default = Query->FieldAsString(u"expression");
        // The places are counted from 0 there.
        if (!Query->FieldIsNull(u"place")) Places[Query->FieldAsInt64(u"place") + 1] = Shape.Columns.size();
        Shape.Columns.push_back(std::move(Column));
    }
}

} // namespace

std::u16string QuotedName(std::u16string_view Name) {
    std::u16string Quoted = u"\"";
    for (const char16_t C : Name) {
        if (C == u'"') Quoted += C;
        Quoted += C;
    }
    return Quoted += u'"';
}

std::size_t TTableShape::FindColumn(std::u16string_view Column) const {
    std::size_t Found = NoColumn;
    for (std::size_t Index = 0; Index < Columns.size(); ++Index) {
        if (Columns[Index].Name == Column) return Index;
        if (Found == NoColumn && SameSqlName(Columns[Index].Name, Column)) Found = Index;
    }
    return Found;
}

TTableShape ReadTableShape(TSqlDatabase& Database, std::u16string_view TableName) {
    const TFound Table = FindTable(Database, TableName);
    TTableShape Shape;
    Shape.Dialect = Database.Dialect();
    Shape.Name = Table.Name;
    TKeyPlaces Places;
    if (Shape.Dialect == TSqlDialect::Sqlite) {
        Shape.Quoted = QuotedName(Table.Name);
        ReadSqliteColumns(Database, Shape, Places);
    } else {
        Shape.Quoted = QuotedName(Table.Schema) + u"." + QuotedName(Table.Name);
        ReadPostgresColumns(Database, Shape, Table.Oid, Places);
    }
    for (const auto& [Place, Index] : Places) {
        Shape.Key.push_back(Index);
        if (Shape.Columns[Index].Kind != TFieldKind::Blob) continue;
        throw EUserTableError(
            Format(u"The key column %s of the table %s is binary, so that a record cannot be "
                   u"named; give the table a key of numbers or text",
                   {Shape.Columns[Index].Name, Shape.Name}));
    }
    if (Shape.Key.empty()) {
        throw EUserTableError(
            Format(u"The table %s has no primary key, so that a record cannot be named; add "
                   u"one (PRIMARY KEY) to open its records",
                   {Shape.Name}));
    }
    return Shape;
}

} // namespace zutools::server
