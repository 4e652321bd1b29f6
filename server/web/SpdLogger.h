// The host's logger on spdlog: one line an entry, to standard error or to a file.

#pragma once

#include "host/Services.h"
#include "server/web/AccessLog.h"

#include <memory>
#include <string_view>

namespace spdlog {
class logger;
}

namespace zutools::server {

enum class TLogFormat { Text, Json };

/// UTF-16 units of an entry that are written.
inline constexpr std::size_t MaxLogUnits = 16 * 1024;

/// Any thread. Control characters of an entry are masked, so that no text can make a line of its own; of an
/// entry that is longer than MaxLogUnits the rest is left out. As JSON a line is an object with time, level
/// and message; that of a request has its facts in place of the message.
class TSpdLogger : public TLogger {
public:
    /// Appends to `File`; writes to standard error when it is empty.
    /// @throws Exception when the file cannot be opened.
    TSpdLogger(TLogLevel Level, std::u16string_view File, TLogFormat Format = TLogFormat::Text);
    ~TSpdLogger() override;

    void Log(TLogLevel Level, std::u16string_view Text) noexcept override;
    /// A request, at level info.
    void LogAccess(const TAccess& Access) noexcept;

private:
    const TLogFormat FFormat;
    std::unique_ptr<spdlog::logger> FLogger;
};

} // namespace zutools::server
