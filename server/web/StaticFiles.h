// The folder of files that a web host sends as they are: styles, scripts, pictures.
//
// Immutable after construction; called on the network threads. No names outside the folder, no hidden files,
// no directory listings.

#pragma once

#include "server/web/Config.h"
#include "server/web/Reply.h"

#include <optional>
#include <string>
#include <string_view>

namespace zutools::server {

/// The headers of a request that say which file, or which part of it, is wanted; empty when they were not
/// sent.
struct TFileWish {
    std::string_view IfNoneMatch;
    std::string_view IfModifiedSince;
    std::string_view AcceptEncoding;
    std::string_view Range; // of GET only
    std::string_view IfRange;
};

/// Bytes of a file.
struct TByteRange {
    std::uint64_t First = 0;
    std::uint64_t Size = 0;
};

/// The one range of a Range header ("bytes=0-99", "bytes=100-", "bytes=-100") of a file of that size. Size 0:
/// none of it is in the file (416). Nothing when the header is to be passed over: malformed, of another unit,
/// of several ranges.
[[nodiscard]] std::optional<TByteRange> ParseByteRange(std::string_view Header, std::uint64_t FileSize);

class TStaticFiles {
public:
    explicit TStaticFiles(TStaticConfig Config);

    /// True for a path below the prefix; false for all when no folder is configured.
    [[nodiscard]] bool Covers(std::u16string_view Path) const;

    /// The file of a covered, decoded path; 304 when the browser's copy is the same. For browsers that take
    /// gzip, `NAME.gz` beside it, when that is not older. Nothing when there is no such regular file, or its
    /// name or a link leads out of the folder.
    [[nodiscard]] std::optional<TReply> Find(std::u16string_view Path, const TFileWish& Wish) const;

private:
    [[nodiscard]] TOpenFile Open(const std::string& Name) const;

    const TStaticConfig FConfig;
    std::string FRoot; // canonical, with a "/" at the end
    TOpenFile FFolder;
};

} // namespace zutools::server
