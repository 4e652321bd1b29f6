// One pass over a value before its words are looked for: folds every character, narrows it to a byte for the
// word filter, and tells whether a character stands in a set.
//
// A narrowed byte is a hash: equal folded characters give equal bytes, ASCII characters stand for themselves.
// Chosen at run time by what the processor offers; the plain path is always built, and tested against the
// other.

#pragma once

#include "host/CharSet.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string_view>

namespace zutools::checking {

/// What a pass found.
struct TFoldFlags {
    bool Bad = false;     // a folded character stands in the set
    bool Special = false; // a character has no upper case of one unit by itself: Bad says nothing then
};

/// Bytes that the passes may write beyond the last narrowed one.
inline constexpr std::size_t FoldPadding = 16;

/// A character narrowed for the word filter.
[[nodiscard]] constexpr std::uint8_t NarrowOf(char16_t Folded) {
    if (Folded < 0x80) return static_cast<std::uint8_t>(Folded);
    return static_cast<std::uint8_t>(0x80 | ((Folded ^ (Folded >> 7)) & 0x7F));
}

/// True for a character that cannot be folded by itself: its upper case is longer (ß), depends on its
/// neighbours in the user's language, or it is half of a pair that has a case.
[[nodiscard]] bool IsSpecial(char16_t Character);

/// A set made ready for the pass. Immutable: any number of threads may use one.
class TFoldPass {
public:
    /// The characters of the set are folded ones. Copied.
    explicit TFoldPass(const TKXCharSet& Bad);

    /// Writes one byte for each unit of `Text` to `Narrow`, which has room for FoldPadding bytes more.
    [[nodiscard]] TFoldFlags Run(std::u16string_view Text, std::uint8_t* Narrow) const;
    /// The same without the processor's help.
    [[nodiscard]] TFoldFlags RunPlain(std::u16string_view Text, std::uint8_t* Narrow) const;

    [[nodiscard]] bool IsBad(char16_t Folded) const { return FBad.Exists(Folded); }

private:
    TKXCharSet FBad;
    // Bit (c >> 4) of byte (c & 15) for the 7 low bits c of a character, which a byte shuffle looks up for
    // sixteen characters at once: ASCII first, then U+0400 to U+047F.
    alignas(16) std::array<std::uint8_t, 32> FRows{};
};

} // namespace zutools::checking
