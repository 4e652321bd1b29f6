// Dates and times as text. Plain work; any thread. For server/records.

#pragma once

#include "server/records/TableShape.h"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace zutools::server {

/// A text in the form of a date, a time or a moment, `YYYY-MM-DD HH:MM:SS[.ffffff]` or a part of it; one with
/// a time zone keeps its offset, and has `+00` without one. Empty for what cannot be or does not exist.
[[nodiscard]] std::optional<std::u16string> FittingMoment(TFieldKind Kind, std::u16string_view Text);

/// What two texts are compared by: microseconds since 1970-01-01 (a time: since midnight), the offset
/// counted. A date may be compared with a moment.
[[nodiscard]] std::optional<std::int64_t> MicrosecondsOf(TFieldKind Kind, std::u16string_view Text);

} // namespace zutools::server
