// Digits inside a text. For server/records.

#pragma once

#include <cstddef>
#include <string_view>

namespace zutools::server {

constexpr bool IsDigit(char16_t C) {
    return C >= u'0' && C <= u'9';
}

/// How many stand at a place.
constexpr std::size_t DigitsAt(std::u16string_view Text, std::size_t Pos) {
    std::size_t Count = 0;
    while (Pos + Count < Text.size() && IsDigit(Text[Pos + Count])) ++Count;
    return Count;
}

} // namespace zutools::server
