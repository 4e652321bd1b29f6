#include "platform/ReplaceFile.h"

#include "platform/File.h"
#include "platform/Text.h"
#include "platform/posix/Descriptor.h"
#include "platform/posix/DiskName.h"

#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <thread>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

namespace zutools::platform {

namespace {

constexpr std::u16string_view CannotLock = u"Cannot lock file";
constexpr std::u16string_view CannotWrite = u"Cannot write file";
constexpr std::u16string_view CannotRename = u"Cannot rename file";
constexpr std::u16string_view CannotMakeFolder = u"Cannot make folder";

std::string FolderOf(const std::string& Name) {
    const std::string Folder = std::filesystem::path(Name).parent_path().native();
    return Folder.empty() ? "." : Folder;
}

// The file that a link leads to, so that the link stays.
std::string Target(const std::string& Name) {
    std::error_code Error;
    if (!std::filesystem::is_symlink(Name, Error)) return Name; // links on the way to it lead to it anyhow
    const std::filesystem::path Real = std::filesystem::canonical(Name, Error);
    return Error ? Name : Real.native();
}

// 0, or the error. A system that cannot sync folders or links such as these is none.
int WriteAndSync(const std::string& Name, std::string_view Bytes, mode_t Mode) {
    const TDescriptor File(open(Name.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_NOFOLLOW | O_CLOEXEC, Mode));
    if (!File.IsOpen()) return errno;
    if (fchmod(File.Number(), Mode) != 0)
        return errno; // what a killed process left, and the mask of new files
    while (!Bytes.empty()) {
        const ssize_t Written = write(File.Number(), Bytes.data(), Bytes.size());
        if (Written < 0 && errno == EINTR) continue;
        if (Written < 0) return errno;
        Bytes.remove_prefix(static_cast<std::size_t>(Written));
    }
    return fsync(File.Number()) == 0 ? 0 : errno;
}

bool Exchange(const std::string& Left, const std::string& Right) {
    return renameat2(AT_FDCWD, Left.c_str(), AT_FDCWD, Right.c_str(), RENAME_EXCHANGE) == 0;
}

// Puts `Fresh` in the place of `Name`, whose file is called `Kept` then, unless that is empty. 0, or the
// error.
int PutInPlace(const std::string& Fresh, const std::string& Name, const std::string& Kept) {
    if (!Kept.empty()) {
        if (Exchange(Fresh, Name)) {
            // Not renamed over the copy before: ext4 writes out what it renames over another file, synced or
            // not.
            if (Exchange(Fresh, Kept) || rename(Fresh.c_str(), Kept.c_str()) != 0) unlink(Fresh.c_str());
            return 0;
        }
        // A file system that exchanges nothing may know second names. One without them keeps no old file.
        unlink(Kept.c_str());
        static_cast<void>(link(Name.c_str(), Kept.c_str()) == 0);
    }
    return rename(Fresh.c_str(), Name.c_str()) == 0 ? 0 : errno;
}

} // namespace

// The folder is locked, since the file itself is another one after each change.
TFileLock::TFileLock(std::u16string_view Path, std::chrono::milliseconds Limit) {
    const std::string Folder = FolderOf(Target(DiskName(Path, CannotLock)));
    const int Descriptor = open(Folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (Descriptor < 0) throw TSystemError(CannotLock, Path, errno);
    FHandle = Descriptor;
    constexpr std::chrono::milliseconds Pause(5);
    const auto End = std::chrono::steady_clock::now() + Limit;
    while (flock(Descriptor, LOCK_EX | LOCK_NB) != 0) {
        const int Code = errno;
        if (Code == EOPNOTSUPP || Code == ENOLCK) return; // a file system without locks stops nobody
        if (Code == EINTR) continue;
        if (Code != EWOULDBLOCK || std::chrono::steady_clock::now() >= End) {
            close(Descriptor);
            throw TSystemError(CannotLock, Path, Code == EWOULDBLOCK ? ETIMEDOUT : Code);
        }
        std::this_thread::sleep_for(Pause);
    }
}

TFileLock::~TFileLock() {
    close(static_cast<int>(FHandle));
}

void ReplaceWholeFile(std::u16string_view Path, std::string_view Bytes, std::u16string_view Backup) {
    const std::string Name = Target(DiskName(Path, CannotWrite)), Fresh = Name + ".new";
    struct stat Old = {};
    const bool HasOld = stat(Name.c_str(), &Old) == 0;
    int Code = WriteAndSync(Fresh, Bytes, HasOld ? Old.st_mode & 07777 : S_IRUSR | S_IWUSR);
    if (Code == 0) Code = PutInPlace(Fresh, Name, HasOld ? DiskName(Backup, CannotWrite) : std::string());
    if (Code != 0) {
        unlink(Fresh.c_str());
        throw TSystemError(CannotWrite, Path, Code);
    }
    const TDescriptor Folder(open(FolderOf(Name).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (Folder.IsOpen()) static_cast<void>(fsync(Folder.Number())); // the file is whole either way
}

void RenameFile(std::u16string_view Path, std::u16string_view NewPath) {
    if (rename(DiskName(Path, CannotRename).c_str(), DiskName(NewPath, CannotRename).c_str()) != 0)
        throw TSystemError(CannotRename, Path, errno);
}

void MakeFolders(std::u16string_view Path) {
    const std::filesystem::path Folder = DiskName(Path, CannotMakeFolder);
    std::filesystem::path Made;
    for (const std::filesystem::path& Part : Folder) {
        Made /= Part;
        if (mkdir(Made.c_str(), S_IRWXU) == 0 || errno == EEXIST || errno == EISDIR) continue;
        if (const int Code = errno; !std::filesystem::is_directory(Made))
            throw TSystemError(CannotMakeFolder, Path, Code);
    }
}

bool FileExists(std::u16string_view Path) {
    struct stat Status = {};
    return stat(DiskName(Path, u"Cannot open file").c_str(), &Status) == 0;
}

} // namespace zutools::platform
