#include "platform/File.h"

#include "platform/Text.h"
#include "platform/TextRules.h"

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
constexpr std::u16string_view CannotRead = u"Cannot read file";
constexpr std::u16string_view CannotReadDirectory = u"Cannot read directory";

// The name on the disk. One that cannot be there is refused here: the system would cut it at a NUL.
std::string DiskName(std::u16string_view Path, std::u16string_view Action) {
    TConversion<std::string> Name = Utf16ToUtf8Strict(Path);
    if (Name.Error) throw TSystemError(Action, Path, EILSEQ);
    if (Name.Text.find('\0') != Name.Text.npos) throw TSystemError(Action, Path, EINVAL);
    return std::move(Name.Text);
}

// ---- directories

namespace fs = std::filesystem;

std::u16string NameFromDisk(const std::string& Name) {
    TConversion<std::u16string> Text = Utf8ToUtf16Strict(Name);
    if (Text.Error) throw TSystemError(CannotReadDirectory, Utf8ToUtf16(Name), EILSEQ);
    return std::move(Text.Text);
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
    return !Error &&
           std::mismatch(Root.begin(), Root.end(), Target.begin(), Target.end()).first == Root.end();
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
    const std::string Name = DiskName(Path, CannotOpen);
    int Descriptor = -1;
    do {
        Descriptor = open(Name.c_str(), O_RDONLY | O_CLOEXEC);
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
    FSize = static_cast<std::uint64_t>(Status.st_size);
    FHandle = Descriptor;
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

std::vector<std::u16string> ListFiles(std::u16string_view Directory) {
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
        if (Listed) Names.push_back(NameFromDisk(At->path().lexically_relative(Root).native()));
    }
    if (Error) FailAt(Root, Error);
    std::sort(Names.begin(), Names.end());
    return Names;
}

} // namespace zutools::platform
