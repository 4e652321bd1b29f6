// TKXCharSet: a set of 16-bit characters with constant-time tests.

#pragma once

#include "host/ChangeCount.h"

#include <bitset>
#include <memory>
#include <utility>

namespace zutools {

/// 8 KB once it holds something, a pointer while it is empty. Used by one thread while it changes, by any
/// number after.
class TKXCharSet {
public:
    TKXCharSet() = default;
    TKXCharSet(const TKXCharSet& Other) { *this = Other; }
    TKXCharSet& operator=(const TKXCharSet& Other);
    TKXCharSet(TKXCharSet&& Other) noexcept { *this = std::move(Other); }
    TKXCharSet& operator=(TKXCharSet&& Other) noexcept {
        FBits = std::move(Other.FBits);
        FChanges.Touch();
        Other.FChanges.Touch();
        return *this;
    }
    ~TKXCharSet() = default;

    void Clear() {
        FBits.reset();
        FChanges.Touch();
    }
    void Include(char16_t Character);
    /// Includes every character from `First` to `Last`; nothing when `First` is greater.
    void Append(char16_t First, char16_t Last);
    [[nodiscard]] bool Exists(char16_t Character) const { return FBits && FBits->test(Character); }
    [[nodiscard]] bool NOTEmpty() const { return FBits != nullptr; }
    /// Differs after every change of the set.
    [[nodiscard]] std::uint64_t Changes() const { return FChanges.Value(); }

private:
    std::unique_ptr<std::bitset<0x10000>> FBits; // null exactly when empty
    TChangeCount FChanges;
};

} // namespace zutools
