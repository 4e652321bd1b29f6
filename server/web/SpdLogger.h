// The host's logger on spdlog: one line an entry, to standard error or to a file.

#pragma once

#include "host/Services.h"
#include "server/web/AccessLog.h"

#include <condition_variable>
#include <memory>
#include <mutex>
#include <string_view>
#include <thread>

namespace zutools::server {

enum class TLogFormat { Text, Json };

/// UTF-16 units of an entry that are written.
inline constexpr std::size_t MaxLogUnits = 16 * 1024;

/// Any thread. Control characters of an entry are masked, so that no text can make a line of its own; of an
/// entry that is longer than MaxLogUnits the rest is left out. As JSON a line is an object with time, level
/// and message; that of a request has its facts in place of the message. Lines of requests are written
/// together, a tenth of a second after the first of them at the latest, and before any other line.
class TSpdLogger : public TLogger {
public:
    /// Appends to `File`; writes to standard error when it is empty.
    /// @throws Exception when the file cannot be opened.
    TSpdLogger(TLogLevel Level, std::u16string_view File, TLogFormat Format = TLogFormat::Text);
    ~TSpdLogger() override;

    /// Goes on in that file, or in the same one made anew after somebody moved it away. What is being written
    /// meanwhile goes to either. @throws as the constructor; then everything stays as it was.
    void Reopen(TLogLevel Level, std::u16string_view File, TLogFormat Format);

    void Log(TLogLevel Level, std::u16string_view Text) noexcept override;
    /// A request, at level info.
    void LogAccess(const TAccess& Access) noexcept;

private:
    struct TOutput;
    [[nodiscard]] std::shared_ptr<TOutput> Output() const;
    void WriteInTime();

    mutable std::mutex FMutex;
    std::condition_variable FChanged;
    std::shared_ptr<TOutput> FOutput; // guarded by FMutex, as the next; never null
    bool FPending = false;            // lines of requests may not be written yet
    bool FClosed = false;
    std::thread FWriter; // last
};

} // namespace zutools::server
