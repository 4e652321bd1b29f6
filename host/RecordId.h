// Record IDs: the values of a record's key columns joined with ";", as blocks and scripts name a record.
//
// A key of one column is its value as it is. In a longer key, ";" and "\" inside a value are written "\;" and
// "\\", so that every ID has one reading and every key one ID. Plain functions for any thread.

#pragma once

#include <cstddef>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace zutools {

/// The ID of a record with these key values; empty for none.
[[nodiscard]] std::u16string JoinRecordID(std::span<const std::u16string> Values);

/// The key values of an ID that has `Count` of them. Empty when it has another number of parts, or a "\" that
/// stands before neither ";" nor "\". What it gives joins to the same ID again.
[[nodiscard]] std::optional<std::vector<std::u16string>> SplitRecordID(std::u16string_view RecordID,
                                                                       std::size_t Count);

} // namespace zutools
