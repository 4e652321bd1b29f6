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

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace zutools::server {

struct TWebServerHooks : TPageHooks {
    TModuleRunnerFactory MakeRunner;
    std::function<void(const TAccess&)>
        Access; // told of each request, must not raise; empty: a line of the logger
    /// Asked once a second; while it says no, pages are answered 503. Empty: they never are.
    std::function<bool()> Available;
    TSessions::TClock Clock = std::chrono::steady_clock::now;
    /// What it raises is logged. Of sessions that nobody's page ended, it is called on a thread of its own,
    /// as is UserStamp when sessions are swept; `SweepThreadEnd` is the last call there.
    TSessions::TEndHook SessionEnded;
    std::function<void()> SweepThreadEnd;
    /// How long whoever was not let in waits for the answer that says so.
    std::chrono::milliseconds RefusalDelay{1000};
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

    /// Whether pages are made now: not while it stops, nor while Hooks.Available says no.
    [[nodiscard]] bool IsHealthy() const;
    /// Requests, connections, queue, workers and sessions in the text form of Prometheus.
    [[nodiscard]] std::string MetricsText() const;

    /// Answers requests by this configuration from now on; those that have begun go on by theirs. Address,
    /// port, and the limits of connections, threads and queue stay as they were. Any thread.
    void Reload(TWebConfig Config);

    /// Ends sessions that were idle for too long, are too old or whose users are gone, on a thread of its
    /// own; pages end the first, this is for times without any. Returns at once. Any thread, as the next
    /// ones.
    void SweepSessions();
    [[nodiscard]] std::vector<TSessionInfo> ListSessions() const;
    /// As TSessions has them; Load before Start.
    [[nodiscard]] std::string SaveSessions() const;
    void LoadSessions(std::string_view Text);
    /// How many sessions were ended.
    std::size_t EndSessions(const std::function<bool(const TSessionState&)>& Which);

private:
    struct TImpl;
    std::unique_ptr<TImpl> FImpl;
};

} // namespace zutools::server
