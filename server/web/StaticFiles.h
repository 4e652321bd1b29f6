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

class TStaticFiles {
public:
    explicit TStaticFiles(TStaticConfig Config);

    /// True for a path below the prefix; false for all when no folder is configured.
    [[nodiscard]] bool Covers(std::u16string_view Path) const;

    /// The file of a covered, decoded path; 304 when the browser's copy is the same. Nothing when there is no
    /// such regular file, or its name leads out of the folder.
    [[nodiscard]] std::optional<TReply> Find(std::u16string_view Path, std::string_view IfNoneMatch,
                                             std::string_view IfModifiedSince) const;

private:
    const TStaticConfig FConfig;
    std::string FRoot; // canonical, with a "/" at the end
};

} // namespace zutools::server
