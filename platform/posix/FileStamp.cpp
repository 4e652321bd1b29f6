#include "platform/FileStamp.h"

#include "platform/Text.h"

#include <sys/stat.h>

namespace zutools::platform {

std::optional<TFileStamp> FileStamp(std::u16string_view Path) {
    struct stat Status = {};
    if (::stat(Utf16ToUtf8(Path).c_str(), &Status) != 0) return std::nullopt;
    constexpr std::int64_t Nanoseconds = 1'000'000'000;
    return TFileStamp{Status.st_mtim.tv_sec * Nanoseconds + Status.st_mtim.tv_nsec, Status.st_size};
}

} // namespace zutools::platform
