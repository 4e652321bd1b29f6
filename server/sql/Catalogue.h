// Tables as a database's catalogue describes them, in terms that all engines share, and fields as their rows
// hold them.

#pragma once

#include "host/Variant.h"

#include <cstddef>
#include <cstdint>
#include <limits>
#include <string>
#include <vector>

namespace zutools::server {

enum class TFieldKind : std::uint8_t {
    Integer,
    Float,
    Decimal, // exact, unless TSqlWords::DecimalDigits says otherwise
    Text,
    Boolean,
    Date,
    Time,
    DateTime,
    DateTimeZone,
    Uuid,
    Blob,
    Other,
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

struct TSqlTable {
    std::u16string Name;   // as the database has it
    std::u16string Quoted; // for statements, with its schema where the engine has schemas
    bool IsView = false;
    std::vector<TColumn> Columns;
    std::vector<std::size_t> Key; // columns in the order of the primary key; empty for none
    bool ChangesAfterWrite =
        false; // a row may be another once the statement that wrote it has ended: triggers
    /// Changes when the table's columns, its key or its triggers do. TSqlEngine::TableStamp asks for it anew.
    std::u16string Stamp;
};

/// A field as the database has it.
struct TCell {
    bool Binary = false; // then Value is a text that tells bytes apart: fit to be compared only
    TKXVariant Value;    // of the kind that is stored, its text where the engine's kinds are richer, or null
    friend bool operator==(const TCell&, const TCell&) = default;
};

} // namespace zutools::server
