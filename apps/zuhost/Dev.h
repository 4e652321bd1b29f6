// What `zuhost serve --dev` adds for whoever works on an application: its log and its sources on the pages
// that tell an error, changes taken over at once, sessions that survive a restart. Loopback only.

#pragma once

#include "host/Services.h"
#include "server/web/Config.h"

#include <cstdint>
#include <deque>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

namespace zutools::zuhost {

/// @throws Exception for an address that others reach.
void RequireLoopback(const server::TWebConfig& Config);

/// Passes everything on and keeps the last lines. Any thread.
class TRecentLog : public TLogger {
public:
    explicit TRecentLog(std::shared_ptr<TLogger> Next)
        : FNext(std::move(Next)) {}
    void Log(TLogLevel Level, std::u16string_view Text) noexcept override;
    [[nodiscard]] std::vector<std::u16string> Lines() const;

private:
    const std::shared_ptr<TLogger> FNext;
    mutable std::mutex FMutex;
    std::deque<std::u16string> FLines; // guarded by FMutex
};

/// Problems of templates, language files and modules, to the log.
void CheckApplication(const server::TWebConfig& Config, TLogger& Logger);

/// Becomes another number when a template, a language file or the configuration changes.
[[nodiscard]] std::uint64_t SourceStamp(const server::TWebConfig& Config, std::u16string_view ConfigFile);

/// Where sessions wait for the next start: beside the configuration, for its owner only.
[[nodiscard]] std::string ReadDevSessions(std::u16string_view ConfigFile);
void WriteDevSessions(std::u16string_view ConfigFile, const std::string& Text);

} // namespace zutools::zuhost
