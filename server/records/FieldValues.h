// Values on their way between a record's fields and the database. Plain work without a connection; any
// thread. For server/records.

#pragma once

#include "host/Variant.h"
#include "server/records/TableShape.h"

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace zutools::server {

using TRow = std::vector<TCell>;

/// The value that scripts see: null, vkInt64 (Integer), vkFloat (Float), vkBoolean (Boolean), else text. What
/// a column of SQLite holds against its type comes as it is. A binary cell is null.
[[nodiscard]] TKXVariant FieldOfCell(const TColumn& Column, const TCell& Cell);

/// A value brought into the form of the field. Null stays null; so does the empty text for numbers, booleans,
/// dates and times that may be null or have a default, since a form has no other way to say it.
/// @throws EUserTableError that names table, field, value and the type that is wanted.
[[nodiscard]] TKXVariant FitField(const TTableShape& Shape, std::size_t Column, const TKXVariant& Value);

enum class TSameness {
    Same,
    Different,
    Unlike, // the column holds no such values
};

/// Whether a text of the column is the same value as another text or a number, where its type says more than
/// the letters do: decimals by value, dates and times by the moment, padding left out. Empty where it does
/// not.
[[nodiscard]] std::optional<TSameness> SameInColumn(const TColumn& Column, const TKXVariant& Value,
                                                    const TKXVariant& Other);

/// Binds a fitted field, or a cell's value.
void BindValue(TQuery& Query, std::u16string_view Param, const TKXVariant& Value);

/// A value for a message: in quotes, one line, cut when it is long.
[[nodiscard]] std::u16string ShownValue(const TKXVariant& Value);

/// The text of a cell for a record ID.
[[nodiscard]] std::u16string KeyText(const TColumn& Column, const TCell& Cell);

/// The value of a default that is a plain literal; empty for expressions, whose value the database alone
/// knows.
[[nodiscard]] std::optional<TKXVariant> DefaultOf(const TTableShape& Shape, std::size_t Column);

} // namespace zutools::server
