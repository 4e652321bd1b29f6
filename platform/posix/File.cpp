#include "platform/File.h"

#include "platform/Text.h"
#include "platform/TextRules.h"
#include "platform/posix/DiskName.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <limits>
#include <optional>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

namespace zutools::platform {

namespace {

constexpr std::u16string_view CannotOpen = u"Cannot open file";
constexpr std::u16string_view LeavesFolder = u"Cannot open a link that leaves its folder";
constexpr std::u16string_view NotRegular = u"Cannot open what is no regular file";
constexpr std::u16string_view CannotRead = u"Cannot read file";
constexpr std::u16string_view CannotReadDirectory = u"Cannot read directory";

// The name on the disk. One that cannot be there is refused here: the system would cut it at a NUL.
struct TOpened {
    int Descriptor;
    std::uint64_t Size;
    bool IsRegular;
};

TOpened Open(const std::string& Name, int Flags, std::u16string_view Path) {
    int Descriptor = -1;
    do {
        Descriptor = open(Name.c_str(), Flags);
    } while (Descriptor < 0 && errno == EINTR);
    if (Descriptor < 0) throw TSystemError(CannotOpen, Path, errno);
    struct stat Status = {};
    int Code = fstat(Descriptor, &Status) == 0 ? 0 : errno;
    if (Code == 0 && S_ISDIR(Status.st_mode)) Code = EISDIR;
    if (Code != 0) {
        close(Descriptor);
        throw TSystemError(CannotOpen, Path, Code);
    }
    // Only a word to those who ask: a file system without locks, or a writer who has one, does not stop us.
    static_cast<void>(flock(Descriptor, LOCK_SH | LOCK_NB));
    return {Descriptor, static_cast<std::uint64_t>(Status.st_size), S_ISREG(Status.st_mode)};
}

// ---- directories

namespace fs = std::filesystem;

/// Without links. `Shown` is the path that a refusal names.
fs::path CanonicalPath(std::u16string_view Path, std::u16string_view Shown) {
    std::error_code Error;
    fs::path Result = fs::canonical(DiskName(Path, CannotOpen), Error);
    if (Error) throw TSystemError(CannotOpen, Shown, Error.value());
    return Result;
}

/// Both are without links.
bool IsBelow(const fs::path& Path, const fs::path& Root) {
    return std::mismatch(Root.begin(), Root.end(), Path.begin(), Path.end()).first == Root.end();
}

[[noreturn]] void FailAt(const fs::path& Path, const std::error_code& Error) {
    throw TSystemError(CannotReadDirectory, Utf8ToUtf16(Path.native()), Error.value());
}

// True when `Entry`, a link, ends at a regular file below `Root` (without links itself). Broken links are
// none.
bool IsLinkToFileBelow(const fs::directory_entry& Entry, const fs::path& Root) {
    std::error_code Error;
    if (!Entry.is_regular_file(Error)) return false;
    const fs::path Target = fs::canonical(Entry.path(), Error);
    return !Error && IsBelow(Target, Root);
}

} // namespace

std::u16string SystemErrorText(int Code) {
    const char* const Text = strerrordesc_np(Code); // not translated; null for what is no code
    if (Text == nullptr) return u"error " + Utf8ToUtf16(std::to_string(Code));
    return std::u16string(TrimSystemText(Utf8ToUtf16(Text)));
}

TReadFile::TReadFile(std::u16string_view Path)
    : FHandle(-1)
    , FPath(Path) {
    const TOpened Opened = Open(DiskName(Path, CannotOpen), O_RDONLY | O_CLOEXEC, Path);
    FHandle = Opened.Descriptor;
    FSize = Opened.Size;
}

TReadFile::TReadFile(std::u16string_view Directory, std::u16string_view Name)
    : FHandle(-1)
    , FPath(JoinPath(Directory, Name)) {
    const fs::path Root = CanonicalPath(Directory.empty() ? u"." : Directory, FPath);
    const fs::path Target = CanonicalPath(FPath, FPath);
    if (!IsBelow(Target, Root)) throw TSystemError(LeavesFolder, FPath, EACCES);
    // O_NONBLOCK: a pipe opens without its writer, and is then seen to be one.
    const int Flags = O_RDONLY | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK;
    const TOpened Opened = Open(Target.native(), Flags, FPath);
    FHandle = Opened.Descriptor;
    FSize = Opened.Size;
    if (Opened.IsRegular) return;
    close(Opened.Descriptor);
    throw TSystemError(NotRegular, FPath, ENOTSUP);
}

TReadFile::~TReadFile() {
    close(static_cast<int>(FHandle));
}

std::size_t TReadFile::Read(std::span<char> Buffer) {
    std::size_t Used = 0;
    while (Used < Buffer.size()) {
        const std::size_t Room =
            std::min(Buffer.size() - Used, static_cast<std::size_t>(std::numeric_limits<ssize_t>::max()));
        const ssize_t Got = read(static_cast<int>(FHandle), Buffer.data() + Used, Room);
        if (Got < 0 && errno == EINTR) continue;
        if (Got < 0) throw TSystemError(CannotRead, FPath, errno);
        if (Got == 0) break;
        Used += static_cast<std::size_t>(Got);
    }
    return Used;
}

std::vector<std::u16string> ListFiles(std::u16string_view Directory, std::vector<std::u16string>* NotText) {
    std::error_code Error;
    const fs::path Top = DiskName(Directory, CannotReadDirectory);
    const fs::path Root = fs::canonical(Top, Error);
    if (Error) FailAt(Top, Error);
    std::vector<std::u16string> Names;
    fs::recursive_directory_iterator At(Root, Error);
    for (; !Error && At != fs::recursive_directory_iterator(); At.increment(Error)) {
        std::error_code StatusError; // a file that was deleted meanwhile is no file
        const bool Listed =
            At->is_symlink(StatusError) ? IsLinkToFileBelow(*At, Root) : At->is_regular_file(StatusError);
        if (!Listed) continue;
        const std::string Name = At->path().lexically_relative(Root).native();
        if (TConversion<std::u16string> Text = Utf8ToUtf16Strict(Name); !Text.Error) {
            Names.push_back(std::move(Text.Text));
        } else if (NotText != nullptr) {
            NotText->push_back(Utf8ToUtf16(Name));
        }
    }
    if (Error) FailAt(Root, Error);
    std::sort(Names.begin(), Names.end());
    return Names;
}

} // namespace zutools::platform
