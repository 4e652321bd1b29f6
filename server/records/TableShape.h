// What a table looks like: its columns, their types and its key, read from the database's catalogue. For
// server/records.

#pragma once

#include "server/sql/SqlDatabase.h"

#include <cstddef>
#include <cstdint>
#include <limits>
#include <string>
#include <string_view>
#include <vector>

namespace zutools::server {

enum class TFieldKind : std::uint8_t {
    Integer,
    Float,
    Decimal, // exact on PostgreSQL; SQLite keeps 15 digits
    Text,
    Boolean,
    Date,
    Time,
    DateTime,
    DateTimeZone, // PostgreSQL only
    Uuid,         // PostgreSQL only
    Blob,
    Other, // its text on PostgreSQL; on SQLite a value of any kind
};

struct TColumn {
    std::u16string Name;
    std::u16string TypeText; // as declared, for messages
    TFieldKind Kind = TFieldKind::Other;
    std::int64_t Lowest = std::numeric_limits<std::int64_t>::min(); // Integer
    std::int64_t Highest = std::numeric_limits<std::int64_t>::max();
    int Length = 0;      // Text: most characters; 0 for any number
    int Precision = 0;   // Decimal: digits; 0 for any number
    int Scale = 0;       // Decimal: of them behind the point
    bool Padded = false; // Text: blanks at the end do not count
    bool NotNull = false;
    bool HasDefault = false; // or the database numbers it
    bool Computed = false;   // generated from others; not to be written
    std::u16string Default;  // as an expression of SQL; empty for none
};

struct TTableShape {
    static constexpr std::size_t NoColumn = static_cast<std::size_t>(-1);

    TSqlDialect Dialect = TSqlDialect::Sqlite;
    std::u16string Name;   // as the database has it
    std::u16string Quoted; // for statements, with its schema on PostgreSQL
    std::vector<TColumn> Columns;
    std::vector<std::size_t> Key; // columns in the order of the key; never empty

    /// The name as it is comes before one in another case of A to Z.
    [[nodiscard]] std::size_t FindColumn(std::u16string_view Column) const;
};

/// Reads the catalogue; of the name no SQL is made. On PostgreSQL the tables that the search path reaches
/// without a schema.
/// @throws EUserTableError for a name that is no table's, a view, a table without primary key or with a
/// binary one; EDatabaseError.
[[nodiscard]] TTableShape ReadTableShape(TSqlDatabase& Database, std::u16string_view TableName);

/// An identifier for a statement: in quotes, those inside doubled.
[[nodiscard]] std::u16string QuotedName(std::u16string_view Name);

} // namespace zutools::server
