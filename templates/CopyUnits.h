// Copying short runs of characters: the inner loop of filling and building.

#pragma once

#include <cstddef>
#include <cstring>

namespace zutools {

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

/// How many units OvercopyUnits may read behind the source, and write behind the target.
inline constexpr std::size_t CopySlack = 16;

/// The same where both have that slack: short runs need no look at their length.
inline char16_t* OvercopyUnits(char16_t* Target, const char16_t* Source, std::size_t Count) {
    if (Count > CopySlack) return CopyUnits(Target, Source, Count);
    std::memcpy(Target, Source, CopySlack * sizeof(char16_t));
    return Target + Count;
}

} // namespace zutools
