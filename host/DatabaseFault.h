// Why a database refused a statement, or a record its writing, as data: for pages that tell people about it
// in their own words. The exception has the whole text; this stands beside it, for the thread that met it.

#pragma once

#include <cstdint>
#include <string>

namespace zutools {

enum class TDatabaseFaultKind : std::uint8_t {
    Unique,    // the value is there already
    Reference, // another record depends on it, or it names one that is not there
    Check,     // a condition of the table
    Required,  // a value is missing
    Changed,   // somebody else changed or deleted the record meanwhile
    Busy,      // another connection keeps what is needed; trying again may help
};

struct TDatabaseFault {
    TDatabaseFaultKind Kind = TDatabaseFaultKind::Check;
    std::u16string Table;  // empty: not known, as the next
    std::u16string Column; // the first one, of several
};

/// Keeps it for the calling thread, until the next one or ThreadObjects().Clear().
void NoteDatabaseFault(TDatabaseFault Fault);
/// The calling thread's; null when there was none. Valid until the next.
[[nodiscard]] const TDatabaseFault* LastDatabaseFault();
void ClearDatabaseFault();

} // namespace zutools
