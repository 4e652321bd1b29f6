// Names of settings by hash: those that differ in the case of ASCII letters only are one.

#pragma once

#include "platform/TextTools.h"

#include <algorithm>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace zutools::platform {

// ---- names eight characters at a time

/// Eight characters in one word, the low byte of each: all of it for ASCII.
template <class TChar>
[[nodiscard]] inline std::uint64_t EightBytes(const TChar* At) {
    std::uint64_t Word = 0;
    if constexpr (sizeof(TChar) == 1 || std::endian::native != std::endian::little) {
        for (int Byte = 0; Byte < 8; ++Byte) // compilers make one load of it
            Word |= std::uint64_t{static_cast<unsigned char>(At[Byte])} << (8 * Byte);
    } else {
        const auto Four = [](const TChar* From) {
            std::uint64_t Units = 0;
            std::memcpy(&Units, From, sizeof Units);
            Units &= 0x00FF00FF00FF00FFU;
            Units = (Units | Units >> 8) & 0x0000FFFF0000FFFFU;
            return (Units | Units >> 16) & 0xFFFFFFFFU;
        };
        Word = Four(At) | Four(At + 4) << 32;
    }
    return Word;
}

/// The word of at most eight characters from `At` on; zeros stand behind the last.
template <class TChar>
[[nodiscard]] inline std::uint64_t WordAt(std::basic_string_view<TChar> Name, std::size_t At) {
    const std::size_t Left = Name.size() - At;
    if (Left >= 8) return EightBytes(Name.data() + At);
    if (Name.size() >= 8) return EightBytes(Name.data() + Name.size() - 8) >> (8 * (8 - Left));
    std::uint64_t Word = 0;
    for (std::size_t Byte = 0; Byte < Left; ++Byte)
        Word |= std::uint64_t{static_cast<unsigned char>(Name[At + Byte])} << (8 * Byte);
    return Word;
}

/// The same for names that are the same, and for an ASCII name as bytes and as UTF-16.
template <class TChar>
[[nodiscard]] std::uint32_t HashOfName(std::basic_string_view<TChar> Name) {
    constexpr std::uint64_t Multiplier = 0x9E3779B97F4A7C15U, SmallLetters = 0x2020202020202020U;
    std::uint64_t Hash = Name.size() * Multiplier;
    for (std::size_t At = 0; At < Name.size(); At += 8) {
        Hash = (Hash ^ (WordAt(Name, At) | SmallLetters)) * Multiplier;
        Hash ^= Hash >> 32;
    }
    return static_cast<std::uint32_t>(Hash);
}

[[nodiscard]] inline bool SameName(std::string_view Left, std::string_view Right) {
    return Left == Right || EqualAsciiNoCase(Left, Right);
}
[[nodiscard]] inline bool SameName(std::u16string_view Left, std::u16string_view Right) {
    return std::equal(Left.begin(), Left.end(), Right.begin(), Right.end()) || EqualAsciiNoCase(Left, Right);
}
/// `Right` is ASCII.
[[nodiscard]] inline bool SameName(std::string_view Left, std::u16string_view Right) {
    if (Left.size() != Right.size()) return false;
    std::size_t At = 0;
    while (At < Left.size() && WordAt(Left, At) == WordAt(Right, At)) At += 8;
    return At >= Left.size() ||
           std::equal(Left.begin(), Left.end(), Right.begin(), [](char Byte, char16_t Unit) {
               return LowerAscii(Byte) == LowerAscii(static_cast<char>(Unit));
           });
}

[[nodiscard]] inline bool IsAscii(std::u16string_view Text) {
    std::uint64_t All = 0;
    for (; Text.size() >= 4; Text.remove_prefix(4)) {
        std::uint64_t Units = 0;
        std::memcpy(&Units, Text.data(), sizeof Units);
        All |= Units;
    }
    for (const char16_t Unit : Text) All |= Unit;
    return (All & 0xFF80FF80FF80FF80U) == 0;
}

/// Numbers by the hash of their names. The names stay with the caller, who compares them: `Is(Number)` tells
/// whether that number's name is the one that is looked for.
class TNameTable {
public:
    template <class TIs>
    [[nodiscard]] std::optional<std::uint32_t> Find(std::uint32_t Hash, TIs Is) const {
        if (FPlaces.empty()) return std::nullopt;
        const TPlace& Place = FPlaces[PlaceOf(Hash, Is)];
        return Place.Number == 0 ? std::nullopt : std::optional(Place.Number - 1);
    }

    /// The number of the name: the one that is there, or else `Number`, which it has from now on.
    template <class TIs>
    std::uint32_t FindOrEnter(std::uint32_t Hash, std::uint32_t Number, TIs Is) {
        Reserve(FCount + 1);
        TPlace& Place = FPlaces[PlaceOf(Hash, Is)];
        if (Place.Number != 0) return Place.Number - 1;
        Place = {Hash, Number + 1};
        ++FCount;
        return Number;
    }

    /// Makes room for so many names in all.
    void Reserve(std::size_t Count) {
        const std::size_t Needed = Count + Count / 3 + 1; // an empty place ends every search
        if (Needed <= FPlaces.size()) return;
        const std::vector<TPlace> Old =
            std::exchange(FPlaces, std::vector<TPlace>(std::max<std::size_t>(16, std::bit_ceil(Needed))));
        for (const TPlace& Place : Old) {
            if (Place.Number != 0) FPlaces[PlaceOf(Place.Hash, [](std::uint32_t) { return false; })] = Place;
        }
    }

private:
    struct TPlace {
        std::uint32_t Hash = 0;
        std::uint32_t Number = 0; // + 1; 0 for an empty place
    };

    // Of the name, or the empty one for it.
    template <class TIs>
    [[nodiscard]] std::size_t PlaceOf(std::uint32_t Hash, TIs Is) const {
        for (std::size_t At = Hash & (FPlaces.size() - 1);; At = (At + 1) & (FPlaces.size() - 1)) {
            const TPlace& Place = FPlaces[At];
            if (Place.Number == 0 || (Place.Hash == Hash && Is(Place.Number - 1))) return At;
        }
    }

    std::vector<TPlace> FPlaces; // a power of two
    std::size_t FCount = 0;
};

/// Values by name, in the order in which the names came; a name keeps its first spelling.
template <class TValue>
class TNamedValues {
public:
    /// The value of the name; an empty one for a name that is not there yet.
    TValue& operator[](std::u16string_view Name) {
        const std::uint32_t Place =
            FTable.FindOrEnter(HashOfName(Name), static_cast<std::uint32_t>(FItems.size()), IsNamed(Name));
        if (Place == FItems.size()) FItems.emplace_back(std::u16string(Name), TValue());
        return FItems[Place].second;
    }
    /// Null for a name that is not there.
    [[nodiscard]] const TValue* Find(std::u16string_view Name) const {
        const std::optional<std::uint32_t> Place = FTable.Find(HashOfName(Name), IsNamed(Name));
        return Place ? &FItems[*Place].second : nullptr;
    }
    void Clear() { *this = {}; }
    [[nodiscard]] bool Empty() const { return FItems.empty(); }
    [[nodiscard]] auto begin() const { return FItems.begin(); }
    [[nodiscard]] auto end() const { return FItems.end(); }

private:
    [[nodiscard]] auto IsNamed(std::u16string_view Name) const {
        return [this, Name](std::uint32_t Place) { return SameName(FItems[Place].first, Name); };
    }

    std::vector<std::pair<std::u16string, TValue>> FItems;
    TNameTable FTable;
};

} // namespace zutools::platform
