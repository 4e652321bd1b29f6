#include "platform/FileStamp.h"

#include "platform/File.h"
#include "platform/win32/DiskName.h"
#include "platform/win32/Wide.h"

#include <windows.h>

namespace zutools::platform {

namespace {

std::int64_t Joined(DWORD High, DWORD Low) {
    return static_cast<std::int64_t>(static_cast<std::uint64_t>(High) << 32 | Low);
}

} // namespace

std::optional<TFileStamp> FileStamp(std::u16string_view Path) {
    WIN32_FILE_ATTRIBUTE_DATA Data = {};
    const std::u16string Name = DiskName(Path, u"Cannot open file");
    if (GetFileAttributesExW(Wide(Name.c_str()), GetFileExInfoStandard, &Data) == 0) return std::nullopt;
    return TFileStamp{Joined(Data.ftLastWriteTime.dwHighDateTime, Data.ftLastWriteTime.dwLowDateTime),
                      Joined(Data.nFileSizeHigh, Data.nFileSizeLow)};
}

} // namespace zutools::platform
