// Changing a whole file so that others see the old one or the new one, never less, whatever ends the process.
//
// Called on any thread; blocks on the disk.

#pragma once

#include <chrono>
#include <cstdint>
#include <string>
#include <string_view>

namespace zutools::platform {

/// Keeps other programs that change files of the same folder through this class (POSIX), or this very file
/// (Windows), waiting. Freed with the process, however it ends; leaves nothing on the disk.
class TFileLock {
public:
    /// Waits for at most `Limit`. @throws TSystemError "Cannot lock file", also when the time is over.
    TFileLock(std::u16string_view Path, std::chrono::milliseconds Limit);
    ~TFileLock();
    TFileLock(const TFileLock&) = delete;
    TFileLock& operator=(const TFileLock&) = delete;

private:
    std::intptr_t FHandle;
};

/// Puts `Bytes` in the place of the file in one step: written beside it as `Path` + ".new", synced, renamed.
/// The old one is kept as `Backup` unless that is empty. A new file is its owner's alone (POSIX); one that is
/// replaced keeps its mode. A link is followed. Two syncs at most; what a killed process left is used by the
/// next call.
/// @throws TSystemError "Cannot write file"; the old file is there unchanged.
void ReplaceWholeFile(std::u16string_view Path, std::string_view Bytes, std::u16string_view Backup);

/// Gives a file another name, over whatever has it. @throws TSystemError "Cannot rename file".
void RenameFile(std::u16string_view Path, std::u16string_view NewPath);

/// Makes a folder and those above it where they are missing, each its owner's alone (POSIX).
/// @throws TSystemError "Cannot make folder".
void MakeFolders(std::u16string_view Path);

[[nodiscard]] bool FileExists(std::u16string_view Path);

} // namespace zutools::platform
