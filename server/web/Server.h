// The HTTP server of a web host: connections on two network threads, pages on worker threads.
//
//     TWebServer Server(Config, {.MakeRunner = ...}, Logger, Localizer);
//     Server.Start();       // listens from here on
//     ...
//     Server.Stop();        // running requests get Limits.StopSeconds to finish
//
// Construct, start, stop and destroy on one thread. While a page waits for its worker its connection is
// suspended, so a slow page holds up nobody but its own reader.

#pragma once

#include "host/Services.h"
#include "server/web/AccessLog.h"
#include "server/web/Config.h"
#include "server/web/PageHandler.h"
#include "server/web/Sessions.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace zutools::server {

struct TWebServerHooks {
    TModuleRunnerFactory MakeRunner;
    std::vector<TRequestFilter> Filters; // asked in order before each module
    std::function<void(const TAccess&)>
        Access; // told of each request, must not raise; empty: a line of the logger
    TSessions::TClock Clock = std::chrono::steady_clock::now;
    TSessions::TEndHook SessionEnded;                                 // what it raises is logged
    TSignInHook SignIn;                                               // empty: there are no users
    std::shared_ptr<TSecurityManager> Security = Services().Security; // who is an administrator
};

class TWebServer {
public:
    /// Logger and localizer must outlive the server.
    TWebServer(TWebConfig Config, TWebServerHooks Hooks, TLogger& Logger, TLocalizatorTable& Localizer);
    /// Stops; then waits for workers that are still in a module, however long that takes.
    ~TWebServer();
    TWebServer(const TWebServer&) = delete;
    TWebServer& operator=(const TWebServer&) = delete;

    /// Binds and serves. @throws platform::TSystemError when the address or port cannot be had.
    void Start();
    /// The port bound, which the configuration may have left open; 0 before Start.
    [[nodiscard]] std::uint16_t Port() const;
    /// "http://127.0.0.1:8080/".
    [[nodiscard]] std::string Url() const;

    /// Takes no new requests, lets those that have arrived finish for at most Limits.StopSeconds, then closes
    /// every connection; pages still waiting are answered 503. True when no module is running any more.
    bool Stop();

    /// Ends sessions that were idle for too long; pages do so too, this is for times without any.
    void SweepSessions();

private:
    struct TImpl;
    std::unique_ptr<TImpl> FImpl;
};

} // namespace zutools::server
