// TChangeCount: how often its owner changed, so that what was derived from the owner notices that it is
// stale.

#pragma once

#include <cstdint>

namespace zutools {

/// A field of a container. It is not copied with its owner: assigning to the owner is one more change of it.
class TChangeCount {
public:
    TChangeCount() = default;
    TChangeCount(const TChangeCount&) noexcept {}
    TChangeCount& operator=(const TChangeCount&) noexcept {
        ++FValue;
        return *this;
    }

    void Touch() { ++FValue; }
    [[nodiscard]] std::uint64_t Value() const { return FValue; }

private:
    std::uint64_t FValue = 0;
};

} // namespace zutools
