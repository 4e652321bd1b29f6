// What a table looks like: its columns, their types and its key, read from the database's catalogue. For
// server/records.

#pragma once

#include "server/sql/SqlDatabase.h"

#include <cstddef>
#include <string_view>

namespace zutools::server {

/// What the catalogue says of a table that records are opened in.
struct TTableShape : TSqlTable {
    static constexpr std::size_t NoColumn = static_cast<std::size_t>(-1);

    const TSqlEngine* Engine = nullptr; // never null
    // Its key is never empty.

    /// The name as it is comes before one in another case of A to Z.
    [[nodiscard]] std::size_t FindColumn(std::u16string_view Column) const;
};

/// Reads the catalogue; of the name no SQL is made. On PostgreSQL the tables that the search path reaches
/// without a schema.
/// @throws EUserTableError for a name that is no table's, a view, a table without primary key or with a
/// binary one; EDatabaseError.
[[nodiscard]] TTableShape ReadTableShape(TSqlDatabase& Database, std::u16string_view TableName);

} // namespace zutools::server
