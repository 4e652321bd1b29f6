#include "server/web/Server.h"

#include "platform/File.h"
#include "platform/Text.h"
#include "server/web/ServerImpl.h"
#include "server/web/Sockets.h"

#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <utility>

namespace zutools::server {

namespace {

/// Each of the library's two threads takes this many connections more than there are places: it must accept
/// one before another is told to go.
constexpr unsigned SpareConnections = 64;

/// The hook, whose errors go to the log: leases tell it from their destructors.
TSessions::TEndHook GuardedHook(TSessions::TEndHook Hook, TLogger& Logger) {
    if (!Hook) return {};
    return [Hook = std::move(Hook), &Logger](const TSessionState& Session) {
        try {
            Hook(Session);
        } catch (const std::exception& Error) {
            Logger.Log(TLogLevel::Error, u"end of session " + Session.SID + u": " + MessageOf(Error));
        }
    };
}
} // namespace

TWebServer::TImpl::TImpl(TWebConfig Settings, TWebServerHooks AHooks, TLogger& Log, TLocalizatorTable& Texts)
    : Config(std::move(Settings))
    , Logger(Log)
    , Localizer(Texts)
    , Hooks(std::move(AHooks))
    , Connections({Config.Limits.Connections, Config.Limits.ConnectionsPerAddress,
                   std::chrono::seconds(Config.Limits.HeaderSeconds),
                   std::chrono::seconds(Config.Limits.IdleSeconds),
                   std::chrono::seconds(Config.Limits.BodySeconds)},
                  [](int Socket) { ::shutdown(Socket, SHUT_RDWR); })
    , Gate(Hooks.Clock)
    , Sessions({Config.Session.Idle, Config.Session.Count, Config.Session.Longest}, Hooks.Clock,
               GuardedHook(Hooks.SessionEnded, Log), [this](const TSessionState& State) { Ends->Add(State); })
    , Latest(MakeSite(Config))
    , Later(std::in_place)
    , Ends(std::in_place, GuardedHook(Hooks.SessionEnded, Log), Hooks.SweepThreadEnd)
    , Pool(std::in_place, Config.Limits.Threads, Config.Limits.Queue, Hooks.MakeRunner) {}

TWebServer::TImpl::~TImpl() {
    Stop();
    Later.reset(); // looks at the pool, and no page asks it for anything any more
}
// ---- Life

void TWebServer::TImpl::Start() {
    const int Socket = ListenOn(Config.Address, Config.Port);
    BoundTo = BoundPort(Socket);

    const auto Access = [](void* Self, MHD_Connection*, const char*, const char* Method, const char* Version,
                           const char* Data, std::size_t* Size, void** Exchange) noexcept -> MHD_Result {
        auto& Server = *static_cast<TImpl*>(Self);
        if (*Exchange == nullptr) return MHD_NO; // no memory for it
        try {
            return Server.Access(Method, Version, Data, Size, *static_cast<TExchangePtr*>(*Exchange));
        } catch (const std::exception& Error) {
            Server.Logger.Log(TLogLevel::Error, u"request dropped: " + platform::Utf8ToUtf16(Error.what()));
            return MHD_NO;
        }
    };
    const auto Connected = [](void* Self, MHD_Connection* Connection, void** Wire,
                              MHD_ConnectionNotificationCode Code) noexcept {
        auto& Server = *static_cast<TImpl*>(Self);
        if (Code == MHD_CONNECTION_NOTIFY_CLOSED) {
            const std::unique_ptr<TWire> Gone(static_cast<TWire*>(std::exchange(*Wire, nullptr)));
            if (Gone) Server.Connections.Close(Gone->Place);
            return;
        }
        try {
            *Wire = Server.Welcome(*Connection).release();
        } catch (const std::bad_alloc&) {
            // Without an entry; the library's own limits hold.
        }
    };
    const auto Arrive = [](void*, const char* Uri, MHD_Connection* Connection) noexcept -> void* {
        try {
            auto Exchange = std::make_shared<TExchange>(*Connection);
            Exchange->TargetAt = Uri;
            Exchange->Target = Uri;
            // The library would take the query apart into its own list, which we never read, and hangs when
            // that is full: an end behind the "?" leaves it nothing to take apart.
            const std::size_t Query = Exchange->Target.find('?');
            if (Query != std::string::npos) const_cast<char*>(Uri)[Query + 1] = '\0';
            return new TExchangePtr(std::move(Exchange));
        } catch (const std::bad_alloc&) {
            return nullptr;
        }
    };
    const auto Complete = [](void* Self, MHD_Connection*, void** Exchange,
                             MHD_RequestTerminationCode Code) noexcept {
        const std::unique_ptr<TExchangePtr> Done(
            static_cast<TExchangePtr*>(std::exchange(*Exchange, nullptr)));
        if (Done) static_cast<TImpl*>(Self)->Completed(**Done, Code == MHD_REQUEST_TERMINATED_COMPLETED_OK);
    };
    // The target is decoded once, strictly, by us.
    const auto LeaveEscaped = [](void*, MHD_Connection*, char* Text) noexcept -> std::size_t {
        return std::char_traits<char>::length(Text);
    };
    const auto Complain = [](void* Self, const char* Pattern, va_list Args) noexcept {
        char Text[500];
        std::vsnprintf(Text, sizeof Text, Pattern, Args);
        static_cast<TImpl*>(Self)->Logger.Log(TLogLevel::Warning, u"network: " + platform::Utf8ToUtf16(Text));
    };

    using TAnswer = MHD_Result (*)(void*, MHD_Connection*, const char*, const char*, const char*, const char*,
                                   std::size_t*, void**);
    using TConnected = void (*)(void*, MHD_Connection*, void**, MHD_ConnectionNotificationCode);
    using TArrive = void* (*)(void*, const char*, MHD_Connection*);
    using TComplete = void (*)(void*, MHD_Connection*, void**, MHD_RequestTerminationCode);
    using TUnescape = std::size_t (*)(void*, MHD_Connection*, char*);
    using TComplain = void (*)(void*, const char*, va_list);
    unsigned Flags =
        MHD_USE_EPOLL_INTERNAL_THREAD | MHD_USE_ITC | MHD_ALLOW_SUSPEND_RESUME | MHD_USE_ERROR_LOG;
    if (Config.Address.find(':') != std::string::npos) Flags |= MHD_USE_IPv6;
    Daemon =
        MHD_start_daemon(Flags, BoundTo, nullptr, nullptr, static_cast<TAnswer>(Access), this,            //
                         MHD_OPTION_EXTERNAL_LOGGER, static_cast<TComplain>(Complain), this,              //
                         MHD_OPTION_LISTEN_SOCKET, Socket,                                                //
                         MHD_OPTION_THREAD_POOL_SIZE, 2U,                                                 //
                         MHD_OPTION_CONNECTION_LIMIT, 2 * (Config.Limits.Connections + SpareConnections), //
                         MHD_OPTION_NOTIFY_CONNECTION, static_cast<TConnected>(Connected), this,          //
                         MHD_OPTION_CONNECTION_TIMEOUT, Config.Limits.IdleSeconds,                        //
                         MHD_OPTION_CONNECTION_MEMORY_LIMIT, Config.Limits.HeaderBytes,                   //
                         MHD_OPTION_STRICT_FOR_CLIENT, 0, /* TFraming answers what this would cut off */  //
                         MHD_OPTION_URI_LOG_CALLBACK, static_cast<TArrive>(Arrive), this,                 //
                         MHD_OPTION_UNESCAPE_CALLBACK, static_cast<TUnescape>(LeaveEscaped), nullptr,     //
                         MHD_OPTION_NOTIFY_COMPLETED, static_cast<TComplete>(Complete), this, MHD_OPTION_END);
    if (Daemon == nullptr) {
        const int Code = errno;
        ::close(Socket);
        throw platform::TSystemError(u"Cannot serve on", AddressText(Config.Address, BoundTo), Code);
    }
    Connections.StartSweeping([this] {
        if (Hooks.Available) Available = Hooks.Available();
    });
    LookAtPages();
}

bool TWebServer::TImpl::Stop() {
    const std::chrono::milliseconds Time = std::chrono::seconds(CurrentSite()->Config.Limits.StopSeconds);
    const TMoment Deadline = std::chrono::steady_clock::now() + Time;
    // What is left for pages that are stopped, and for telling those who wait.
    const auto Rest = std::min<std::chrono::milliseconds>(std::chrono::seconds(1), Time / 4);
    if (Daemon != nullptr) {
        std::set<TExchangePtr> Late;
        {
            std::unique_lock Guard(Mutex);
            // New connections are still taken, and told: MHD_quiesce_daemon races with its own epoll threads.
            Stopping = true;
            Finished.wait_until(Guard, Deadline - Rest, [this] { return Pending == 0; });
            Closed = true;
            Late.swap(Suspended);
            for (const auto& [Exchange, Worker] : Running) Exchange->Clock.Stopped = true;
            for (const TExchangePtr& Exchange : Late) {
                if (!Exchange->Answered) // else its answer is only held back
                    SetReply(*Exchange, ErrorReply(503, Localizer, Config.DefaultLanguage));
            }
        }
        for (const TExchangePtr& Exchange : Late) MHD_resume_connection(&Exchange->Connection);
        {
            std::unique_lock Guard(Mutex);
            Finished.wait_until(Guard, Deadline, [this] { return Pending == 0; });
        }
        MHD_stop_daemon(std::exchange(Daemon, nullptr));
    }
    return Pool->Close(Deadline);
}

// ---- Connections

std::unique_ptr<TWire> TWebServer::TImpl::Welcome(MHD_Connection& Connection) {
    auto Wire = NewWire(Connection);
    // A proxy brings many clients along.
    const bool Limited = !IsTrusted(CurrentSite()->Config.Proxy, Wire->Address);
    Wire->Place = Connections.Open(Wire->Socket, Wire->Address, Limited, std::chrono::steady_clock::now());
    return Wire;
}

std::shared_ptr<const TSite> TWebServer::TImpl::MakeSite(TWebConfig Settings) {
    return std::make_shared<const TSite>(std::move(Settings), Sessions, Gate, Logger, Localizer, Hooks);
}

std::shared_ptr<const TSite> TWebServer::TImpl::CurrentSite() {
    const std::lock_guard Guard(Mutex);
    return Latest;
}

void TWebServer::TImpl::Reload(TWebConfig Fresh) {
    Sessions.SetLimits({Fresh.Session.Idle, Fresh.Session.Count, Fresh.Session.Longest});
    auto Next = MakeSite(std::move(Fresh));
    {
        const std::lock_guard Guard(Mutex);
        Latest.swap(Next);
    }
    Pool->DropRunners();
}

void TWebServer::TImpl::Sweep() {
    Sessions.Sweep();
    if (!Hooks.UserStamp) return;
    try {
        for (const TSignedInUser& User : Sessions.Users()) {
            if (Hooks.UserStamp(User.Name) == User.Stamp) continue;
            Sessions.End([&](const TSessionState& Session) {
                return Session.USR == User.Name && Session.UserStamp == User.Stamp;
            });
            Logger.Log(TLogLevel::Info, u"sessions ended with their user: " + User.Name);
        }
    } catch (const std::exception& Error) {
        Logger.Log(TLogLevel::Warning, u"users of sessions were not looked for: " + MessageOf(Error));
    }
}

// ---- The outside

TWebServer::TWebServer(TWebConfig Config, TWebServerHooks Hooks, TLogger& Logger,
                       TLocalizatorTable& Localizer)
    : FImpl(std::make_unique<TImpl>(std::move(Config), std::move(Hooks), Logger, Localizer)) {}

TWebServer::~TWebServer() = default;

void TWebServer::Start() {
    FImpl->Start();
}

std::uint16_t TWebServer::Port() const {
    return FImpl->BoundTo;
}

std::string TWebServer::Url() const {
    return "http://" + platform::Utf16ToUtf8(AddressText(FImpl->Config.Address, FImpl->BoundTo)) + "/";
}

bool TWebServer::Stop() {
    return FImpl->Stop();
}

bool TWebServer::IsHealthy() const {
    const std::lock_guard Guard(FImpl->Mutex);
    return FImpl->Available && !FImpl->Stopping;
}

std::string TWebServer::MetricsText() const {
    const TWorkerPool::TState Pool = FImpl->Pool->State();
    const TConnections::TEnded Ended = FImpl->Connections.Ended();
    const auto Gauge = [](std::string_view Name, std::string_view Help, std::size_t Value) {
        return MetricText(Name, "gauge", Help, static_cast<double>(Value));
    };
    const auto Counter = [](std::string_view Name, std::string_view Help, std::size_t Value) {
        return MetricText(Name, "counter", Help, static_cast<double>(Value));
    };
    return FImpl->Counts.Text() +
           Gauge("zuhost_connections", "Open connections.", FImpl->Connections.Count()) +
           Counter("zuhost_connections_evicted_total", "Connections ended to make room.", Ended.Room) +
           Counter("zuhost_connections_crowded_total", "Connections refused, their address had too many.",
                   Ended.Address) +
           Counter("zuhost_connections_slow_total", "Connections ended for slowness.", Ended.Slow) +
           Gauge("zuhost_queue_length", "Requests that wait for a worker.", Pool.Waiting) +
           Gauge("zuhost_workers_busy", "Workers that make a page.", Pool.Running) +
           Gauge("zuhost_workers", "Workers.", Pool.Threads) +
           Gauge("zuhost_sessions", "Sessions that are kept.", FImpl->Sessions.Count());
}

void TWebServer::Reload(TWebConfig Config) {
    FImpl->Reload(std::move(Config));
}

void TWebServer::SweepSessions() {
    FImpl->Ends->AddWork([this] { FImpl->Sweep(); });
}

std::string TWebServer::SaveSessions() const {
    return FImpl->Sessions.Save();
}

void TWebServer::LoadSessions(std::string_view Text) {
    FImpl->Sessions.Load(Text);
}

std::vector<TSessionInfo> TWebServer::ListSessions() const {
    return FImpl->Sessions.List();
}

std::size_t TWebServer::EndSessions(const std::function<bool(const TSessionState&)>& Which) {
    return FImpl->Sessions.End(Which);
}

} // namespace zutools::server
