// TKXCharSet: a set of 16-bit characters with constant-time tests.

#pragma once

#include <bitset>
#include <memory>

namespace zutools {

/// 8 KB once it holds something, a pointer while it is empty. Used by one thread while it changes, by any
/// number after.
class TKXCharSet {
public:
    TKXCharSet() = default;
    TKXCharSet(const TKXCharSet& Other) { *this = Other; }
    TKXCharSet& operator=(const TKXCharSet& Other);
    TKXCharSet(TKXCharSet&&) noexcept = default;
    TKXCharSet& operator=(TKXCharSet&&) noexcept = default;
    ~TKXCharSet() = default;

    void Clear() { FBits.reset(); }
    void Include(char16_t Character);
    /// Includes every character from `First` to `Last`; nothing when `First` is greater.
    void Append(char16_t First, char16_t Last);
    [[nodiscard]] bool Exists(char16_t Character) const { return FBits && FBits->test(Character); }
    [[nodiscard]] bool NOTEmpty() const { return FBits != nullptr; }

private:
    std::unique_ptr<std::bitset<0x10000>> FBits; // null exactly when empty
};

} // namespace zutools
