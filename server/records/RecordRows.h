// Rows of a table as the database has them: found, compared, written. Each call works on the given
// connection. For server/records.

#pragma once

#include "server/records/FieldValues.h"
#include "server/records/TableShape.h"

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace zutools::server {

/// What somebody finds who looks for a row with what he knows of its table.
struct TFoundRow {
    bool Stale = false; // the table is another by now; read its shape again
    std::optional<TRow> Row;
};

/// The row of a record ID, and in the same query whether the shape still holds.
/// @throws EUserTableError for an ID that does not fit the key or is a second spelling; EDatabaseError.
[[nodiscard]] TFoundRow FindRow(TSqlDatabase& Database, const TTableShape& Shape,
                                std::u16string_view RecordID);
/// @throws EUserTableError for a key that is null or binary.
[[nodiscard]] std::u16string IDOfRow(const TTableShape& Shape, const TRow& Row);

/// A column that is to be written, with its value.
struct TColumnValue {
    std::size_t Column;
    TKXVariant Value;
};
using TColumnValues = std::vector<TColumnValue>;

// In a transaction of the caller's. The row that was read is compared, field by field, with the one that is
// there, which others cannot change meanwhile.

/// @throws ERecordChanged when it is gone or another.
void RequireUnchanged(TSqlDatabase& Database, const TTableShape& Shape, const TRow& Read);
/// The row as the database keeps it once all triggers are through.
/// @throws ERecordChanged, EUserTableError when the database drops the write without a word, EDatabaseError.
[[nodiscard]] TRow UpdateRow(TSqlDatabase& Database, const TTableShape& Shape, const TRow& Read,
                             const TColumnValues& Values);
/// @throws as UpdateRow.
void DeleteRow(TSqlDatabase& Database, const TTableShape& Shape, const TRow& Read);
/// The new row, as UpdateRow gives it. @throws EUserTableError, EDatabaseError.
[[nodiscard]] TRow InsertRow(TSqlDatabase& Database, const TTableShape& Shape, const TColumnValues& Values);

} // namespace zutools::server
