// The two inner loops of templates: finding a pair of characters such as "[[", and copying short runs of
// characters.
//
// Used by the parser and the builder only. Nothing here allocates or reads outside the ranges given.

#pragma once

#include "host/StringHelpers.h"

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string_view>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace zutools {

/// 0-based offset of the first place at or after `From` where `First` and `Second` stand side by side; `npos`
/// when there is none.
[[nodiscard]] inline std::size_t FindPair(std::u16string_view Text, std::size_t From, char16_t First,
                                          char16_t Second) {
    const char16_t* const Units = Text.data();
    const std::size_t Size = Text.size();
    std::size_t Place = From;
#if defined(__SSE2__)
    // The standard library searches 16-bit characters one by one. Here eight neighbouring pairs are tested at
    // a time: a pair matches where both the text and the text moved by one unit do.
    const __m128i Left = _mm_set1_epi16(static_cast<short>(First));
    const __m128i Right = _mm_set1_epi16(static_cast<short>(Second));
    for (; Place + 9 <= Size; Place += 8) {
        const __m128i Here = _mm_loadu_si128(reinterpret_cast<const __m128i*>(Units + Place));
        const __m128i Next = _mm_loadu_si128(reinterpret_cast<const __m128i*>(Units + Place + 1));
        const __m128i Both = _mm_and_si128(_mm_cmpeq_epi16(Here, Left), _mm_cmpeq_epi16(Next, Right));
        const auto Hits = static_cast<unsigned>(_mm_movemask_epi8(Both));
        if (Hits != 0) return Place + static_cast<unsigned>(__builtin_ctz(Hits)) / 2;
    }
#endif
    for (; Place + 2 <= Size; ++Place) {
        if (Units[Place] == First && Units[Place + 1] == Second) return Place;
    }
    return std::u16string_view::npos;
}

/// The first place where `Mark` stands twice in a row.
[[nodiscard]] inline std::size_t FindDoubled(std::u16string_view Text, std::size_t From, char16_t Mark) {
    return FindPair(Text, From, Mark, Mark);
}

/// Copies `Count` units to `Target`, which has room for them and does not overlap; the place after the last
/// one. Most tag values and many literals are a few characters long, where a call of memcpy costs more than
/// the copy: two fixed-size moves that may overlap in the middle cover every length of a class.
inline char16_t* CopyUnits(char16_t* Target, const char16_t* Source, std::size_t Count) {
    const auto Ends = [&]<std::size_t Units>() {
        std::memcpy(Target, Source, Units * sizeof(char16_t));
        std::memcpy(Target + (Count - Units), Source + (Count - Units), Units * sizeof(char16_t));
    };
    if (Count > 32) {
        std::memcpy(Target, Source, Count * sizeof(char16_t));
    } else if (Count >= 16) {
        Ends.template operator()<16>();
    } else if (Count >= 8) {
        Ends.template operator()<8>();
    } else if (Count >= 4) {
        Ends.template operator()<4>();
    } else if (Count >= 2) {
        Ends.template operator()<2>();
    } else if (Count == 1) {
        *Target = *Source;
    }
    return Target + Count;
}

} // namespace zutools
