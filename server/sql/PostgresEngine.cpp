// PostgreSQL: a server. What it has of its own: words, texts it cannot keep, catalogue, reading.

#include "server/sql/Engine.h"
#include "server/sql/Postgres.h"

#include <limits>

namespace zutools::server {

namespace {

TFieldKind KindOfType(std::u16string_view Type) {
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
class TPostgresEngine final : public TSqlEngine {
public:
    const TSqlWords& Words() const override { return PostgresWords; }

    TDatabaseUrl ParseUrl(std::u16string_view Rest, std::u16string_view) const override {
        return ParsePostgresUrl(Rest);
    }
    std::u16string DisplayUrl(const TDatabaseUrl& Url) const override { return DisplayPostgresUrl(Url); }

    std::optional<TTextFault> FindTextFault(std::u16string_view Text) const override {
        return FindUnit(Text, [](char16_t C) {
            return C == 0 ? std::u16string_view(u"U+0000, which PostgreSQL cannot store")
                          : std::u16string_view();
        });
    }

    bool TableExists(TDatabase& Database, std::u16string_view Table) const override {
        // Unquoted names are folded to lower case; the search path says which schemas they reach.
        const auto Query = Database.CreateSelectQuery();
        Query->SetSQL(u"SELECT 1 FROM pg_catalog.pg_class WHERE relname = :Name AND relkind IN "
                      u"('r', 'p', 'v', 'm', 'f') AND pg_catalog.pg_table_is_visible(oid)");
        Query->SetString(u"Name", FoldSqlName(Table));
        Query->Open();
        return Query->Step();
    }

    std::vector<TSqlTable> FindTables(TDatabase& Database, std::u16string_view Name) const override {
        const auto Query = Database.CreateSelectQuery();
        Query->SetSQL(
            u"SELECT c.relname AS \"table\", n.nspname AS space, "
            u"CASE WHEN c.relkind IN ('r', 'p') THEN 'table' ELSE 'view' END AS kind, " +
            StampOf(u"c.oid") +
            u" AS stamp, "
            // Triggers that come after the write, rules, and keys that refer to the table itself.
            u"CASE WHEN c.relhasrules OR EXISTS (SELECT 1 FROM pg_catalog.pg_trigger g WHERE g.tgrelid = "
            u"c.oid AND "
            u"(NOT g.tgisinternal AND g.tgtype & 2 = 0 OR g.tgconstrrelid = c.oid)) THEN 1 ELSE 0 END AS "
            u"changes, "
            u"a.attname AS name, pg_catalog.format_type(a.atttypid, a.atttypmod) AS declared, "
            u"CAST(b.typname AS TEXT) AS base, "
            u"pg_catalog.format_type(b.oid, CASE WHEN t.typtype = 'd' THEN t.typtypmod ELSE a.atttypmod END) "
            u"AS based, "
            u"CASE WHEN a.attnotnull OR t.typnotnull THEN 1 ELSE 0 END AS required, "
            u"CASE WHEN a.atthasdef OR a.attidentity <> '' OR t.typdefault IS NOT NULL THEN 1 ELSE 0 END AS "
            u"preset, "
            u"CASE WHEN a.attgenerated <> '' THEN 1 ELSE 0 END AS computed, "
            u"pg_catalog.pg_get_expr(d.adbin, d.adrelid) AS expression, "
            // Behind the key's own columns stand those of INCLUDE. The places are counted from 0 there.
            u"COALESCE(CASE WHEN pg_catalog.array_position(CAST(i.indkey AS int2[]), a.attnum) < "
            u"i.indnkeyatts "
            u"THEN pg_catalog.array_position(CAST(i.indkey AS int2[]), a.attnum) + 1 END, 0) AS place "
            u"FROM pg_catalog.pg_class c JOIN pg_catalog.pg_namespace n ON n.oid = c.relnamespace "
            u"LEFT JOIN pg_catalog.pg_attribute a ON a.attrelid = c.oid AND a.attnum > 0 AND NOT "
            u"a.attisdropped "
            u"LEFT JOIN pg_catalog.pg_type t ON t.oid = a.atttypid "
            u"LEFT JOIN pg_catalog.pg_type b "
            u"ON b.oid = CASE WHEN t.typtype = 'd' THEN t.typbasetype ELSE t.oid END "
            u"LEFT JOIN pg_catalog.pg_attrdef d ON d.adrelid = a.attrelid AND d.adnum = a.attnum "
            u"LEFT JOIN pg_catalog.pg_index i ON i.indrelid = a.attrelid AND i.indisprimary "
            u"WHERE pg_catalog.translate(CAST(c.relname AS TEXT), 'ABCDEFGHIJKLMNOPQRSTUVWXYZ', "
            u"'abcdefghijklmnopqrstuvwxyz') = :Name AND c.relkind IN ('r', 'p', 'v', 'm', 'f') "
            u"AND pg_catalog.pg_table_is_visible(c.oid) "
            u"AND n.nspname NOT IN ('pg_catalog', 'information_schema') ORDER BY c.oid, a.attnum");
        Query->SetString(u"Name", FoldSqlName(Name));
        Query->Open();
        TTablesRead Read;
        while (Query->Step()) {
            const std::u16string Quoted = QuotedName(Query->FieldAsString(u"space")) + u"." +
                                          QuotedName(Query->FieldAsString(u"table"));
            Read.Enter(*Query, Quoted);
            if (Query->FieldIsNull(u"name")) continue; // a table without columns
            TColumn Column;
            const std::u16string Base = Query->FieldAsString(u"base");
            Column.Name = Query->FieldAsString(u"name");
            Column.TypeText = Query->FieldAsString(u"declared");
            Column.Kind = KindOfType(Base);
            Column.Padded = Base == u"bpchar";
            SetSizes(Column, Query->FieldAsString(u"based"));
            if (Base == u"int2") SetRange<std::int16_t>(Column);
            if (Base == u"int4") SetRange<std::int32_t>(Column);
            Column.NotNull = Query->FieldAsInteger(u"required") != 0;
            Column.Computed = Query->FieldAsInteger(u"computed") != 0;
            Column.HasDefault = Query->FieldAsInteger(u"preset") != 0 && !Column.Computed;
            Column.Default = Query->FieldAsString(u"expression");
            Read.Add(std::move(Column), Query->FieldAsInt64(u"place"));
        }
        return Read.Tables();
    }

    std::u16string TableStamp(const TSqlTable& Table) const override {
        std::u16string Literal = u"'";
        for (const char16_t C : Table.Quoted) {
            if (C == u'\'') Literal += C;
            Literal += C;
        }
        return StampOf(u"CAST(pg_catalog.to_regclass(" + Literal + u"') AS oid)");
    }

    std::u16string CellExpressions(const TColumn& Column) const override {
        const std::u16string Name = QuotedName(Column.Name);
        switch (Column.Kind) {
        case TFieldKind::Blob:
            return u"octet_length(" + Name + u") || ':' || encode(sha256(" + Name + u"), 'hex')";
        case TFieldKind::Date: // whatever DateStyle says
            return u"to_json(" + Name + u") #>> '{}'";
        case TFieldKind::DateTime:
            return u"replace(to_json(" + Name + u") #>> '{}', 'T', ' ')";
        case TFieldKind::DateTimeZone:
            return u"replace(to_json(" + Name +
                   u" AT TIME ZONE 'UTC') #>> '{}', 'T', ' ') || CASE WHEN isfinite(" + Name +
                   u") THEN '+00' ELSE '' END";
        default:
            return u"CAST(" + Name + u" AS TEXT)";
        }
    }

    std::u16string CellCondition(const TColumn& Column, const TCell&,
                                 std::u16string_view Param) const override {
        // A collation of the database's own may take two texts for one.
        return u"(" + CellExpressions(Column) + u") COLLATE \"C\" IS NOT DISTINCT FROM " +
               std::u16string(Param);
    }

    TCell ReadCell(const TSelectQuery& Query, std::size_t Index, const TColumn& Column) const override {
        TCell Cell;
        Cell.Value = Query.FieldValue(static_cast<int>(Index));
        Cell.Binary = Column.Kind == TFieldKind::Blob && !Cell.Value.IsNull();
        return Cell;
    }

    std::unique_ptr<TSqlLink> NewLink(const TDatabaseUrl& Url) const override { return NewPostgresLink(Url); }

private:
    /// Rows of the catalogue are never changed in place where a column or key changes: their versions tell.
    [[nodiscard]] static std::u16string StampOf(std::u16string_view Oid) {
        const std::u16string Table(Oid);
        return u"(SELECT CAST(CAST(" + Table +
               u" AS OID) AS TEXT) || '/' || pg_catalog.string_agg(s.version, ',' ORDER BY s.version) FROM ("
               u"SELECT 'a' || attnum || ':' || xmin AS version FROM pg_catalog.pg_attribute "
               u"WHERE attrelid = " +
               Table +
               u" AND attnum > 0 "
               u"UNION ALL SELECT 'd' || adnum || ':' || xmin FROM pg_catalog.pg_attrdef WHERE adrelid = " +
               Table +
               u" UNION ALL SELECT 't' || CAST(oid AS TEXT) || ':' || xmin FROM pg_catalog.pg_trigger WHERE "
               u"tgrelid = " +
               Table +
               u" UNION ALL SELECT 'r' || CAST(oid AS TEXT) || ':' || xmin FROM pg_catalog.pg_rewrite WHERE "
               u"ev_class = " +
               Table +
               u" UNION ALL SELECT 'i' || CAST(indexrelid AS TEXT) || ':' || xmin "
               u"FROM pg_catalog.pg_index WHERE indisprimary AND indrelid = " +
               Table + u") s)";
    }
};

} // namespace

const TSqlEngine& PostgresEngine() {
    static constexpr TPostgresEngine Engine;
    return Engine;
}

} // namespace zutools::server
