// Whether a file is still the one that was read: what the system keeps about it, without opening it.

#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

namespace zutools::platform {

struct TFileStamp {
    std::int64_t Changed; // in the system's own units since its own beginning
    std::int64_t Size;    // bytes
    friend bool operator==(const TFileStamp&, const TFileStamp&) = default;
};

/// Nothing when there is no such file, or none to be seen. One system call; follows links.
[[nodiscard]] std::optional<TFileStamp> FileStamp(std::u16string_view Path);

} // namespace zutools::platform
