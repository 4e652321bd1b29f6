// Identifiers of blocks: 128 bits, as text 32 hexadecimal digits.

#pragma once

#include <chrono>
#include <compare>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace zutools {

/// Their order is that of their texts.
struct TBlockID {
    std::uint64_t High = 0;
    std::uint64_t Low = 0;
    friend auto operator<=>(const TBlockID&, const TBlockID&) = default;

    /// In capitals.
    [[nodiscard]] std::u16string Text() const;
    /// In either case; nothing for a text that is not exactly 32 hexadecimal digits.
    [[nodiscard]] static std::optional<TBlockID> Parse(std::u16string_view Text);
};

/// A new identifier: a GUID of version 7, the moment in milliseconds and then 74 random bits from the
/// system's source, which each thread asks for many at a time. Blocks that are taken one after the other so
/// stand side by side in the lists, and what is touched often stays in the processor's caches.
[[nodiscard]] TBlockID NewBlockID(std::chrono::system_clock::time_point Now);

} // namespace zutools
