// What a running service reads anew at SIGHUP: its configuration, languages, templates and value filter.

#pragma once

#include "host/Services.h"
#include "server/web/Config.h"
#include "server/web/Server.h"
#include "server/web/SpdLogger.h"

#include <functional>
#include <memory>
#include <mutex>
#include <string_view>

namespace zutools::zuhost {

/// The configuration in use, for whoever makes something by it. Any thread.
class TLiveConfig {
public:
    explicit TLiveConfig(server::TWebConfig Config)
        : FConfig(std::make_shared<const server::TWebConfig>(std::move(Config))) {}
    [[nodiscard]] std::shared_ptr<const server::TWebConfig> Get() const {
        const std::lock_guard Guard(FMutex);
        return FConfig;
    }
    void Set(server::TWebConfig Config) {
        auto Fresh = std::make_shared<const server::TWebConfig>(std::move(Config));
        const std::lock_guard Guard(FMutex);
        FConfig.swap(Fresh);
    }

private:
    mutable std::mutex FMutex;
    std::shared_ptr<const server::TWebConfig> FConfig; // guarded by FMutex
};

/// Takes over all of a fresh configuration and the files that it names, or nothing; the log tells which.
/// `Fresh` reads it. On the main thread. Raises nothing.
void ReloadService(const std::function<server::TWebConfig()>& Fresh, TLiveConfig& Live,
                   const TServices& Services, server::TWebServer& Server, server::TSpdLogger& Logger);

/// Begins the log's file anew. Raises nothing.
void ReopenLog(const server::TLogConfig& Log, server::TSpdLogger& Logger);

} // namespace zutools::zuhost
