#include "platform/ReplaceFile.h"

#include "platform/File.h"
#include "platform/win32/DiskName.h"
#include "platform/win32/Wide.h"

#include <windows.h>

#include <algorithm>

namespace zutools::platform {

namespace {

constexpr std::u16string_view CannotLock = u"Cannot lock file";
constexpr std::u16string_view CannotWrite = u"Cannot write file";
constexpr std::u16string_view CannotRename = u"Cannot rename file";
constexpr std::u16string_view CannotMakeFolder = u"Cannot make folder";

// 0, or the error.
int WriteAndSync(const std::u16string& Name, std::string_view Bytes) {
    const HANDLE File = CreateFileW(Wide(Name.c_str()), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS,
                                    FILE_ATTRIBUTE_NORMAL, nullptr);
    if (File == INVALID_HANDLE_VALUE) return LastError();
    int Code = 0;
    while (Code == 0 && !Bytes.empty()) {
        DWORD Written = 0;
        const auto Size = static_cast<DWORD>(std::min<std::size_t>(Bytes.size(), 0x40000000));
        if (WriteFile(File, Bytes.data(), Size, &Written, nullptr) == 0) Code = LastError();
        Bytes.remove_prefix(Written);
    }
    if (Code == 0 && FlushFileBuffers(File) == 0) Code = LastError();
    CloseHandle(File);
    return Code;
}

} // namespace

// A file beside it that nobody shares and that goes with its handle.
TFileLock::TFileLock(std::u16string_view Path, std::chrono::milliseconds Limit) {
    const std::u16string Name = DiskName(Path, CannotLock) + u".lock";
    constexpr DWORD Pause = 5; // milliseconds
    const ULONGLONG End = GetTickCount64() + static_cast<ULONGLONG>(Limit.count());
    for (;;) {
        const HANDLE File = CreateFileW(Wide(Name.c_str()), GENERIC_WRITE | DELETE, 0, nullptr, OPEN_ALWAYS,
                                        FILE_ATTRIBUTE_NORMAL | FILE_FLAG_DELETE_ON_CLOSE, nullptr);
        if (File != INVALID_HANDLE_VALUE) {
            FHandle = reinterpret_cast<std::intptr_t>(File);
            return;
        }
        // Another has it, or it is just going.
        const int Code = LastError();
        const bool Taken = Code == ERROR_SHARING_VIOLATION || Code == ERROR_ACCESS_DENIED;
        if (!Taken || GetTickCount64() >= End) throw TSystemError(CannotLock, Path, Code);
        Sleep(Pause);
    }
}

TFileLock::~TFileLock() {
    CloseHandle(reinterpret_cast<HANDLE>(FHandle));
}

void ReplaceWholeFile(std::u16string_view Path, std::string_view Bytes, std::u16string_view Backup) {
    const std::u16string Name = DiskName(Path, CannotWrite), Fresh = Name + u".new",
                         Kept = Backup.empty() ? std::u16string() : DiskName(Backup, CannotWrite);
    int Code = WriteAndSync(Fresh, Bytes);
    if (Code == 0) {
        const bool Replaced =
            FileExists(Name)
                ? ReplaceFileW(Wide(Name.c_str()), Wide(Fresh.c_str()),
                               Kept.empty() ? nullptr : Wide(Kept.c_str()), REPLACEFILE_IGNORE_MERGE_ERRORS,
                               nullptr, nullptr) != 0
                : MoveFileExW(Wide(Fresh.c_str()), Wide(Name.c_str()), MOVEFILE_WRITE_THROUGH) != 0;
        if (!Replaced) Code = LastError();
    }
    if (Code == 0) return;
    DeleteFileW(Wide(Fresh.c_str()));
    throw TSystemError(CannotWrite, Path, Code);
}

void RenameFile(std::u16string_view Path, std::u16string_view NewPath) {
    const std::u16string From = DiskName(Path, CannotRename), To = DiskName(NewPath, CannotRename);
    if (MoveFileExW(Wide(From.c_str()), Wide(To.c_str()),
                    MOVEFILE_REPLACE_EXISTING | MOVEFILE_WRITE_THROUGH) == 0)
        throw TSystemError(CannotRename, Path, LastError());
}

void MakeFolders(std::u16string_view Path) {
    const std::u16string Folder = DiskName(Path, CannotMakeFolder);
    for (std::size_t End = 0; End != Folder.npos;) {
        End = Folder.find_first_of(u"/\\", End + 1);
        const std::u16string Part = Folder.substr(0, End);
        if (Part.ends_with(u':') || CreateDirectoryW(Wide(Part.c_str()), nullptr) != 0) continue;
        const int Code = LastError();
        const DWORD Attributes = GetFileAttributesW(Wide(Part.c_str()));
        const bool IsFolder =
            Attributes != INVALID_FILE_ATTRIBUTES && (Attributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
        if (!IsFolder) throw TSystemError(CannotMakeFolder, Path, Code);
    }
}

bool FileExists(std::u16string_view Path) {
    return GetFileAttributesW(Wide(DiskName(Path, u"Cannot open file").c_str())) != INVALID_FILE_ATTRIBUTES;
}

} // namespace zutools::platform
