// Decimal numbers as text, of any length, compared by value. Plain work; any thread. For server/records.

#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace zutools::server {

/// 0.Digits times ten to the power of Point. Digits begin and end with another digit than 0, so that equal
/// numbers are equal members; none are zero.
struct TDecimal {
    bool Negative = false;
    std::u16string Digits;
    std::int64_t Point = 0;
    friend bool operator==(const TDecimal&, const TDecimal&) = default;
};

/// "1.50", "-3", "+.5", "1e5" with an exponent of at most four digits; empty for anything else.
[[nodiscard]] std::optional<TDecimal> ParseDecimal(std::u16string_view Text);

} // namespace zutools::server
