#include "server/web/StaticFiles.h"

#include "platform/File.h"
#include "platform/Text.h"
#include "server/web/Compress.h"
#include "server/web/HttpText.h"

#include <fcntl.h>
#include <linux/openat2.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <charconv>
#include <cstdio>
#include <filesystem>

namespace zutools::server {

namespace {

namespace fs = std::filesystem;

bool IsHidden(std::u16string_view Name) {
    return Name.starts_with(u'.') || Name.find(u"/.") != std::u16string_view::npos;
}

constexpr int OpenFlags = O_RDONLY | O_CLOEXEC | O_NONBLOCK; // a pipe must not hold the thread up

bool IsRegular(const TOpenFile& File, struct stat& Status) {
    return File.IsOpen() && ::fstat(File.Descriptor(), &Status) == 0 && S_ISREG(Status.st_mode);
}

bool IsNewer(const struct stat& Left, const struct stat& Right) {
    return Left.st_mtim.tv_sec > Right.st_mtim.tv_sec ||
           (Left.st_mtim.tv_sec == Right.st_mtim.tv_sec && Left.st_mtim.tv_nsec > Right.st_mtim.tv_nsec);
}

/// Whether a range is of the file that the browser has a part of.
bool RangeHolds(const TFileWish& Wish, std::string_view Tag, const std::string& Date) {
    return Wish.IfRange.empty() || Wish.IfRange == Tag || Wish.IfRange == Date;
}

std::optional<std::uint64_t> Whole(std::string_view Digits) {
    std::uint64_t Value = 0;
    const auto [End, Error] = std::from_chars(Digits.data(), Digits.data() + Digits.size(), Value);
    if (Error != std::errc{} || End != Digits.data() + Digits.size()) return std::nullopt;
    return Value;
}

/// Of time and size: a file that is replaced within the clock's grain and keeps its size is not noticed.
std::string TagOf(const struct stat& Status, const std::string& Suffix) {
    char Tag[64];
    std::snprintf(Tag, sizeof Tag, "\"%llx-%lx-%llx%s\"",
                  static_cast<unsigned long long>(Status.st_mtim.tv_sec),
                  static_cast<unsigned long>(Status.st_mtim.tv_nsec),
                  static_cast<unsigned long long>(Status.st_size), Suffix.c_str());
    return Tag;
}

/// What one packet and a few more can take goes with the head in one call; nothing for more than that, or
/// when the file became shorter meanwhile.
std::optional<std::string> ReadSmall(const TOpenFile& File, TByteRange Part) {
    constexpr std::uint64_t Small = 16 * 1024;
    if (Part.Size > Small) return std::nullopt;
    std::string Text(static_cast<std::size_t>(Part.Size), '\0');
    const ssize_t Got = ::pread(File.Descriptor(), Text.data(), Text.size(), static_cast<off_t>(Part.First));
    if (Got < 0 || static_cast<std::size_t>(Got) != Text.size()) return std::nullopt;
    return Text;
}

bool BrowserHasIt(const struct stat& Status, std::string_view Tag, std::string_view IfNoneMatch,
                  std::string_view IfModifiedSince) {
    if (!IfNoneMatch.empty()) return ETagMatches(IfNoneMatch, Tag);
    const auto Since = ParseHttpDate(IfModifiedSince);
    return Since && Status.st_mtim.tv_sec <= *Since;
}

} // namespace

std::optional<TByteRange> ParseByteRange(std::string_view Header, std::uint64_t FileSize) {
    constexpr std::string_view Unit = "bytes=";
    if (!Header.starts_with(Unit) || Header.find(',') != std::string_view::npos) return std::nullopt;
    std::string_view Last = TrimBlanks(Header.substr(Unit.size()));
    if (Last.find('-') == std::string_view::npos) return std::nullopt;
    const std::string_view First = CutNext(Last, '-');
    const auto From = Whole(First);
    const auto To = Whole(Last);
    if ((!From && !First.empty()) || (!To && !Last.empty()) || (!From && !To)) return std::nullopt;
    if (!From) return TByteRange{FileSize - std::min(*To, FileSize), std::min(*To, FileSize)};
    if (To && *To < *From) return std::nullopt;
    if (*From >= FileSize) return TByteRange{};
    return TByteRange{*From, (To ? std::min(*To, FileSize - 1) : FileSize - 1) - *From + 1};
}

TStaticFiles::TStaticFiles(TStaticConfig Config)
    : FConfig(std::move(Config)) {
    if (FConfig.Folder.empty()) return;
    FRoot = fs::canonical(fs::path(FConfig.Folder)).string() + "/";
    FFolder = TOpenFile(::open(FRoot.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC));
}

bool TStaticFiles::Covers(std::u16string_view Path) const {
    return !FRoot.empty() && Path.starts_with(FConfig.Prefix);
}

std::optional<TReply> TStaticFiles::Find(std::u16string_view Path, const TFileWish& Wish) const {
    const std::u16string_view Name = Path.substr(FConfig.Prefix.size());
    if (!platform::UnsafeNameReason(Name).empty() || IsHidden(Name)) return std::nullopt;

    const std::string File = platform::Utf16ToUtf8(Name);
    TOpenFile Opened = Open(File);
    struct stat Status = {};
    if (!IsRegular(Opened, Status)) return std::nullopt;

    TReply Reply;
    std::string Suffix;
    if (AcceptsGzip(Wish.AcceptEncoding)) {
        TOpenFile Packed = Open(File + ".gz");
        struct stat PackedStatus = {};
        if (IsRegular(Packed, PackedStatus) && !IsNewer(Status, PackedStatus)) {
            Opened = std::move(Packed);
            Status = PackedStatus;
            Suffix = "-gz";
        }
    }
    const std::string Tag = TagOf(Status, Suffix);
    const std::string Date = HttpDate(Status.st_mtim.tv_sec);
    Reply.Headers.emplace_back("ETag", Tag);
    Reply.Headers.emplace_back("Last-Modified", Date);
    Reply.Headers.emplace_back("Vary", "Accept-Encoding");
    Reply.Headers.emplace_back("Cache-Control", FConfig.MaxAge == 0
                                                    ? std::string("no-cache")
                                                    : "public, max-age=" + std::to_string(FConfig.MaxAge));
    if (BrowserHasIt(Status, Tag, Wish.IfNoneMatch, Wish.IfModifiedSince)) {
        Reply.Status = 304;
        return Reply;
    }
    const auto Size = static_cast<std::uint64_t>(Status.st_size);
    Reply.Headers.emplace_back("Accept-Ranges", "bytes");
    const auto Range = RangeHolds(Wish, Tag, Date) ? ParseByteRange(Wish.Range, Size) : std::nullopt;
    if (Range && Range->Size == 0) {
        Reply.Status = 416;
        Reply.Headers.emplace_back("Content-Range", "bytes */" + std::to_string(Size));
        return Reply;
    }
    if (Range) {
        Reply.Status = 206;
        Reply.Headers.emplace_back("Content-Range", "bytes " + std::to_string(Range->First) + "-" +
                                                        std::to_string(Range->First + Range->Size - 1) + "/" +
                                                        std::to_string(Size));
    }
    if (!Suffix.empty()) Reply.Headers.emplace_back("Content-Encoding", "gzip");
    Reply.ContentType = ContentTypeOf(Name);
    const TByteRange Part = Range.value_or(TByteRange{0, Size});
    if (auto Text = ReadSmall(Opened, Part)) {
        Reply.Body = std::move(*Text);
        return Reply;
    }
    Reply.FileOffset = Part.First;
    Reply.FileSize = Part.Size;
    Reply.File = std::move(Opened);
    return Reply;
}

/// A link may lead out of the folder: the system looks at every step in one call, where it can.
TOpenFile TStaticFiles::Open(const std::string& Name) const {
    open_how How{};
    How.flags = static_cast<std::uint64_t>(OpenFlags);
    How.resolve = RESOLVE_BENEATH | RESOLVE_NO_MAGICLINKS;
    const long File = ::syscall(SYS_openat2, FFolder.Descriptor(), Name.c_str(), &How, sizeof How);
    if (File >= 0 || (errno != ENOSYS && errno != EPERM)) return TOpenFile(static_cast<int>(File));
    std::error_code Missing;
    const std::string Path = fs::canonical(FRoot + Name, Missing).string();
    if (Missing || !Path.starts_with(FRoot)) return {};
    return TOpenFile(::open(Path.c_str(), OpenFlags | O_NOFOLLOW));
}

} // namespace zutools::server
