// A path as the system takes it, and the system's last error.

#pragma once

#include <string>
#include <string_view>

#include <windows.h>

namespace zutools::platform {

[[nodiscard]] inline int LastError() {
    return static_cast<int>(GetLastError());
}

/// A long path gets the prefix that long paths need. Raises TSystemError, which names `Action` and the path,
/// for a path with a zero or without a full form.
[[nodiscard]] std::u16string DiskName(std::u16string_view Path, std::u16string_view Action);

} // namespace zutools::platform
