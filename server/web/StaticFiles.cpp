#include "server/web/StaticFiles.h"

#include "platform/File.h"
#include "server/web/HttpText.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <cstdio>
#include <filesystem>

namespace zutools::server {

namespace {

namespace fs = std::filesystem;

bool IsHidden(std::u16string_view Name) {
    return Name.starts_with(u'.') || Name.find(u"/.") != std::u16string_view::npos;
}

/// Of time and size: a file that is replaced within the clock's grain and keeps its size is not noticed.
std::string TagOf(const struct stat& Status) {
    char Tag[64];
    std::snprintf(
        Tag, sizeof Tag, "\"%llx-%lx-%llx\"", static_cast<unsigned long long>(Status.st_mtim.tv_sec),
        static_cast<unsigned long>(Status.st_mtim.tv_nsec), static_cast<unsigned long long>(Status.st_size));
    return Tag;
}

bool BrowserHasIt(const struct stat& Status, std::string_view Tag, std::string_view IfNoneMatch,
                  std::string_view IfModifiedSince) {
    if (!IfNoneMatch.empty()) return ETagMatches(IfNoneMatch, Tag);
    const auto Since = ParseHttpDate(IfModifiedSince);
    return Since && Status.st_mtim.tv_sec <= *Since;
}

} // namespace

TStaticFiles::TStaticFiles(TStaticConfig Config)
    : FConfig(std::move(Config)) {
    if (!FConfig.Folder.empty()) FRoot = fs::canonical(fs::path(FConfig.Folder)).string() + "/";
}

bool TStaticFiles::Covers(std::u16string_view Path) const {
    return !FRoot.empty() && Path.starts_with(FConfig.Prefix);
}

std::optional<TReply> TStaticFiles::Find(std::u16string_view Path, std::string_view IfNoneMatch,
                                         std::string_view IfModifiedSince) const {
    const std::u16string_view Name = Path.substr(FConfig.Prefix.size());
    if (!platform::UnsafeNameReason(Name).empty() || IsHidden(Name)) return std::nullopt;

    // A link may lead out of the folder: its end is looked at, not its name.
    std::error_code Missing;
    const std::string File = fs::canonical(FRoot / fs::path(Name), Missing).string();
    if (Missing || !File.starts_with(FRoot)) return std::nullopt;
    TOpenFile Open(::open(File.c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK));
    struct stat Status{};
    if (!Open.IsOpen() || ::fstat(Open.Descriptor(), &Status) != 0 || !S_ISREG(Status.st_mode))
        return std::nullopt;

    TReply Reply;
    const std::string Tag = TagOf(Status);
    Reply.Headers.emplace_back("ETag", Tag);
    Reply.Headers.emplace_back("Last-Modified", HttpDate(Status.st_mtim.tv_sec));
    Reply.Headers.emplace_back("Cache-Control", FConfig.MaxAge == 0
                                                    ? std::string("no-cache")
                                                    : "public, max-age=" + std::to_string(FConfig.MaxAge));
    if (BrowserHasIt(Status, Tag, IfNoneMatch, IfModifiedSince)) {
        Reply.Status = 304;
        return Reply;
    }
    Reply.ContentType = ContentTypeOf(Name);
    Reply.FileSize = static_cast<std::uint64_t>(Status.st_size);
    Reply.File = std::move(Open);
    return Reply;
}

} // namespace zutools::server
