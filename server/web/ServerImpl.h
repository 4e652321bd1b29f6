// What the server keeps, and one request on its way. For Server.cpp (its life) and ServerRequests.cpp (each
// request).

#pragma once

#include "host/WorkClock.h"
#include "server/web/Connections.h"
#include "server/web/Later.h"
#include "server/web/Metrics.h"
#include "server/web/Multipart.h"
#include "server/web/PageHandler.h"
#include "server/web/Reply.h"
#include "server/web/Server.h"
#include "server/web/SessionEnds.h"
#include "server/web/StaticFiles.h"
#include "server/web/Wire.h"
#include "server/web/WorkerPool.h"

#include <microhttpd.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <utility>

namespace zutools::server {

using TMoment = std::chrono::steady_clock::time_point;

/// What requests are answered by: read anew as a whole, while those before go on with theirs.
struct TSite {
    TSite(TWebConfig Settings, TSessions& Sessions, TAddressGate& Gate, TLogger& Logger,
          TLocalizatorTable& Localizer, const TPageHooks& Hooks)
        : Config(std::move(Settings))
        , Static(Config.Static)
        , Handler(Config, Sessions, Gate, Logger, Localizer, Hooks) {}
    const TWebConfig Config;
    const TStaticFiles Static;
    const TPageHandler Handler;
};

/// One request on its way. The network library holds it until the answer is sent, a worker while the page
/// runs.
struct TExchange {
    explicit TExchange(MHD_Connection& Wire)
        : Connection(Wire) {}

    // The network thread's, and the worker's while the connection is suspended.
    MHD_Connection& Connection;
    const TMoment Began = std::chrono::steady_clock::now();
    const char* TargetAt = nullptr; // where it stands in the library's buffer
    std::string Target;             // as sent
    TRawRequest Raw;
    std::shared_ptr<const TSite> Site; // from its headers on
    const TRoute* Route = nullptr;     // of the site
    std::unique_ptr<TMultipartReader> Multipart;
    std::size_t Received = 0;
    bool HeadersRead = false;
    bool KeepBody = false; // false: its bytes are counted and dropped
    bool Counted = false;  // among those that a stop waits for
    std::u16string SID;
    std::u16string User;
    std::u16string LanguageID;
    int SentStatus = 0; // 0: none was sent
    std::uint64_t SentBytes = 0;
    std::uint64_t AckedBefore = 0; // bytes of the connection, when the answer is a large one

    TWorkClock Clock; // of its page; the deadline is the worker's
    // Guarded by the server's lock once a worker has it.
    bool Answered = false;
    TReply Reply;
};

using TExchangePtr = std::shared_ptr<TExchange>;

inline void SetReply(TExchange& Exchange, TReply Reply) {
    Exchange.Answered = true;
    Exchange.Reply = std::move(Reply);
}

struct TWebServer::TImpl {
    TImpl(TWebConfig Settings, TWebServerHooks AHooks, TLogger& Log, TLocalizatorTable& Texts);
    ~TImpl();

    void Start();
    bool Stop();
    void Sweep();
    void Reload(TWebConfig Fresh);
    [[nodiscard]] std::shared_ptr<const TSite> MakeSite(TWebConfig Settings);
    [[nodiscard]] std::shared_ptr<const TSite> CurrentSite();

    // On the network threads.
    MHD_Result Access(const char* Method, const char* Version, const char* Data, std::size_t* Size,
                      const TExchangePtr& Exchange);
    MHD_Result BeginRequest(const char* Method, const char* Version, TExchange& Exchange);
    void Route(TExchange& Exchange);
    void BeginBody(TExchange& Exchange);
    MHD_Result TakeBody(TExchange& Exchange, std::string_view Bytes);
    void EndBody(TExchange& Exchange);
    MHD_Result FinishRequest(const TExchangePtr& Exchange);
    void Suspend(const TExchangePtr& Exchange);
    MHD_Result Send(TExchange& Exchange);
    void Completed(TExchange& Exchange, bool Whole);
    [[nodiscard]] std::unique_ptr<TWire> Welcome(MHD_Connection& Connection);
    void Enter(TExchange& Exchange, TConnectionPhase Phase);
    void Refuse(TExchange& Exchange, int Status);

    // On a worker.
    void RunPage(const TExchangePtr& Exchange, TWorker& Worker);
    // On the thread of Later.
    void LookAtPages();

    const TWebConfig Config;
    TLogger& Logger;
    TLocalizatorTable& Localizer;
    const TWebServerHooks Hooks;
    std::atomic<bool> Available = true; // what Hooks.Available said last
    TRequestCounts Counts;
    TConnections Connections;
    TAddressGate Gate;
    TSessions Sessions;

    MHD_Daemon* Daemon = nullptr;
    std::uint16_t BoundTo = 0;

    // Guarded by Mutex.
    std::mutex Mutex;
    std::condition_variable Finished;
    std::shared_ptr<const TSite> Latest;
    std::set<TExchangePtr> Suspended; // their pages wait or run
    std::map<TExchangePtr, TWorker*> Running;
    std::size_t Pending = 0; // requests that arrived whole and are not answered to the end
    bool Stopping = false;   // new requests are turned away
    bool Closed = false;     // nothing is suspended any more

    // Last: their threads use everything above.
    std::optional<TLater> Later;
    std::optional<TSessionEnds> Ends;
    std::optional<TWorkerPool> Pool;
};

} // namespace zutools::server
