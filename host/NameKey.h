// Names of scripts as keys of a hash table: the letter case of A to Z does not matter.

#pragma once

#include "host/StringHelpers.h"

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace zutools {

/// A name with its hash, so that a look-up in several tables hashes once and copies nothing. The text is
/// borrowed.
struct TNameKey {
    explicit TNameKey(std::u16string_view AName)
        : Name(AName) {
        std::uint64_t Mixed = 0xCBF29CE484222325; // FNV-1a over the units in lower case
        for (const char16_t Character : Name) {
            const bool Upper = Character >= u'A' && Character <= u'Z';
            Mixed = (Mixed ^ (Upper ? Character + 0x20U : Character)) * 0x100000001B3;
        }
        Hash = static_cast<std::size_t>(Mixed);
    }
    friend bool operator==(const TNameKey& Left, const TNameKey& Right) {
        return SameText(Left.Name, Right.Name);
    }

    std::u16string_view Name;
    std::size_t Hash = 0;
};

struct TNameHash {
    std::size_t operator()(const TNameKey& Key) const { return Key.Hash; }
};

} // namespace zutools
