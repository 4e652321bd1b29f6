// What a table looks like: its columns, their types and its key, read from the database's catalogue. For
// server/records.

#pragma once

#include "server/sql/SqlDatabase.h"

#include <cstddef>
#include <memory>
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

/// Shared by records and threads, never changed.
using TShape = std::shared_ptr<const TTableShape>;

// Shapes are kept for all threads, by database and by the name that was asked for, since a catalogue is slow
// to ask and seldom changes. Whoever uses one that was kept finds out by its stamp whether it still holds.

/// Reads the catalogue and keeps the result; of the name no SQL is made. On PostgreSQL the tables that the
/// search path reaches without a schema.
/// @throws EUserTableError for a name that is no table's, a view, a table without primary key or with a
/// binary one; EDatabaseError.
[[nodiscard]] TShape ReadTableShape(TSqlDatabase& Database, std::u16string_view TableName);
/// The one that is kept, which may be out of date, or else the one read now. @throws as ReadTableShape.
[[nodiscard]] TShape KnownTableShape(TSqlDatabase& Database, std::u16string_view TableName);
/// The one that is kept if its stamp is today's, or else the one read now. @throws as ReadTableShape.
[[nodiscard]] TShape CurrentTableShape(TSqlDatabase& Database, std::u16string_view TableName);

} // namespace zutools::server
