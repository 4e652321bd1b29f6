// An application as its configuration describes it, ready to answer pages: services, database, tables, first
// users. What `zuhost serve` and `zuhost test` have in common.

#pragma once

#include "apps/zuhost/DatabaseManager.h"
#include "apps/zuhost/Library.h"
#include "apps/zuhost/Reload.h"
#include "server/web/Server.h"

#include <functional>
#include <memory>

namespace zutools::zuhost {

/// One at a time in a process. Made and freed on the main thread.
class TApplication {
public:
    /// Opens the database and brings it up to date: the host's tables, the application's migrations, its
    /// setup module. Blocks. @throws what is wrong with any of them.
    TApplication(const server::TWebConfig& Config, const std::shared_ptr<TLogger>& Logger);

    /// Whether the users are there that routes ask for, and warnings to the log. @throws Exception.
    void CheckUsers() const;
    /// What a server asks of the application. They hold what they need alive.
    [[nodiscard]] server::TWebServerHooks Hooks() const;

    const std::shared_ptr<TLiveConfig> Live;
    const std::shared_ptr<TDatabaseManager> Manager;
    const TServices Services;

private:
    const TLibrary FLibrary;
    const std::function<void(TScriptPublisher&)> FPublisher;
};

} // namespace zutools::zuhost
