// A path as the system takes it: bytes of UTF-8.

#pragma once

#include "platform/File.h"
#include "platform/Text.h"

#include <cerrno>

namespace zutools::platform {

/// Raises TSystemError, which names `Action` and the path, for a path with unpaired surrogates or a zero.
[[nodiscard]] inline std::string DiskName(std::u16string_view Path, std::u16string_view Action) {
    TConversion<std::string> Name = Utf16ToUtf8Strict(Path);
    if (Name.Error) throw TSystemError(Action, Path, EILSEQ);
    if (Name.Text.find('\0') != Name.Text.npos) throw TSystemError(Action, Path, EINVAL);
    return std::move(Name.Text);
}

} // namespace zutools::platform
