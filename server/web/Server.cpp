#include "server/web/Server.h"

#include "host/WorkClock.h"
#include "platform/File.h"
#include "platform/Text.h"
#include "platform/TextTools.h"
#include "server/web/Compress.h"
#include "server/web/Connections.h"
#include "server/web/Framing.h"
#include "server/web/HttpText.h"
#include "server/web/Later.h"
#include "server/web/Metrics.h"
#include "server/web/Multipart.h"
#include "server/web/SessionEnds.h"
#include "server/web/Sockets.h"
#include "server/web/StaticFiles.h"
#include "server/web/WorkerPool.h"

#include <microhttpd.h>

#include <arpa/inet.h>
#include <linux/tcp.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <charconv>
#include <condition_variable>
#include <cstdarg>
#include <cstdio>
#include <map>
#include <mutex>
#include <optional>
#include <set>
#include <utility>

namespace zutools::server {

namespace {

using TMoment = std::chrono::steady_clock::time_point;

/// How long a page that was told to end may still take before its worker is given up, and how often that is
/// looked at.
constexpr std::chrono::seconds AfterDeadline{2};
constexpr std::chrono::milliseconds BetweenLooks{250};

/// Bytes of a body that is too large read away, so that the client gets to see the answer; after that it is
/// cut off.
constexpr std::size_t DrainBytes = 16 * 1024 * 1024;

/// Each of the library's two threads takes this many connections more than there are places: it must accept
/// one before another is told to go.
constexpr unsigned SpareConnections = 64;

/// An answer up to this size is taken by the socket in one piece, or not at all.
constexpr std::uint64_t SmallAnswer = 64 * 1024;

/// A connection, for as long as the network library has it.
struct TWire {
    TConnections::TPlace Place;
    int Socket = -1;
    std::string Address;
};

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

void SetReply(TExchange& Exchange, TReply Reply) {
    Exchange.Answered = true;
    Exchange.Reply = std::move(Reply);
}

// ---- Connections

std::string RemoteAddressOf(MHD_Connection& Connection) {
    const auto* Info = MHD_get_connection_info(&Connection, MHD_CONNECTION_INFO_CLIENT_ADDRESS);
    if (Info == nullptr || Info->client_addr == nullptr) return {};
    const bool V6 = Info->client_addr->sa_family == AF_INET6;
    const void* Address =
        V6 ? static_cast<const void*>(&reinterpret_cast<const sockaddr_in6*>(Info->client_addr)->sin6_addr)
           : &reinterpret_cast<const sockaddr_in*>(Info->client_addr)->sin_addr;
    char Text[INET6_ADDRSTRLEN] = "";
    ::inet_ntop(Info->client_addr->sa_family, Address, Text, sizeof Text);
    return Text;
}

int SocketOf(MHD_Connection& Connection) {
    const auto* Info = MHD_get_connection_info(&Connection, MHD_CONNECTION_INFO_CONNECTION_FD);
    return Info == nullptr ? -1 : Info->connect_fd;
}

/// Null when there was no memory for it.
TWire* WireOf(MHD_Connection& Connection) {
    const auto* Info = MHD_get_connection_info(&Connection, MHD_CONNECTION_INFO_SOCKET_CONTEXT);
    return Info == nullptr ? nullptr : static_cast<TWire*>(Info->socket_context);
}

/// Bytes that the other end has received, headers included.
std::uint64_t AckedBytes(const TWire* Wire) {
    tcp_info Info{};
    socklen_t Size = sizeof Info;
    if (Wire == nullptr || ::getsockopt(Wire->Socket, IPPROTO_TCP, TCP_INFO, &Info, &Size) != 0) return 0;
    return Info.tcpi_bytes_acked;
}

// ---- Requests

std::string_view HeaderOf(MHD_Connection& Connection, const char* Name) {
    const char* Value = MHD_lookup_connection_value(&Connection, MHD_HEADER_KIND, Name);
    return Value == nullptr ? std::string_view{} : std::string_view(Value);
}

/// Keeps the headers, and looks whether the request's bounds are beyond doubt.
TFraming ReadHead(TExchange& Exchange, std::string_view Method, const char* Version) {
    TFraming Framing(Method, {Exchange.TargetAt, Exchange.Target.size()}, Version);
    const auto Take = [&](std::string_view Name, std::string_view Value) {
        Framing.TakeHeader(Name, Value);
        Exchange.Raw.Headers.emplace_back(Name, Value);
    };
    using TTake = decltype(Take);
    MHD_get_connection_values_n(
        &Exchange.Connection, MHD_HEADER_KIND,
        [](void* To, MHD_ValueKind, const char* Name, std::size_t NameSize, const char* Value,
           std::size_t ValueSize) -> MHD_Result {
            (*static_cast<TTake*>(To))({Name, NameSize}, {Value, ValueSize});
            return MHD_YES;
        },
        const_cast<void*>(static_cast<const void*>(&Take)));
    return Framing;
}

/// The media type of a Content-Type header, in lower case, without its parameters.
std::string MediaType(std::string_view Header) {
    std::string Type(Header.substr(0, Header.find(';')));
    while (!Type.empty() && (Type.back() == ' ' || Type.back() == '\t')) Type.pop_back();
    return platform::LowerAsciiText(std::move(Type));
}

std::optional<std::uint64_t> ContentLength(MHD_Connection& Connection) {
    const std::string_view Text = HeaderOf(Connection, "Content-Length");
    std::uint64_t Length = 0;
    const auto [End, Error] = std::from_chars(Text.data(), Text.data() + Text.size(), Length);
    if (Text.empty() || Error != std::errc{} || End != Text.data() + Text.size()) return std::nullopt;
    return Length;
}

// ---- Answers

void AddHeader(MHD_Response& Response, const std::string& Name, const std::string& Value) {
    MHD_add_response_header(&Response, Name.c_str(), Value.c_str());
}

MHD_Response* MakeResponse(TReply& Reply) {
    if (Reply.File.IsOpen())
        return MHD_create_response_from_fd_at_offset64(Reply.FileSize, Reply.File.Take(), Reply.FileOffset);
    auto Body = std::make_unique<std::string>(std::move(Reply.Body));
    MHD_Response* Response = MHD_create_response_from_buffer_with_free_callback_cls(
        Body->size(), Body->data(), [](void* Text) { delete static_cast<std::string*>(Text); }, Body.get());
    if (Response != nullptr) Body.release();
    return Response;
}

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

struct TWebServer::TImpl {
    TImpl(TWebConfig Settings, TWebServerHooks AHooks, TLogger& Log, TLocalizatorTable& Texts)
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
                   GuardedHook(Hooks.SessionEnded, Log),
                   [this](const TSessionState& State) { Ends->Add(State); })
        , Latest(MakeSite(Config))
        , Later(std::in_place)
        , Ends(std::in_place, GuardedHook(Hooks.SessionEnded, Log), Hooks.SweepThreadEnd)
        , Pool(std::in_place, Config.Limits.Threads, Config.Limits.Queue, Hooks.MakeRunner) {}

    ~TImpl() {
        Stop();
        Later.reset(); // looks at the pool, and no page asks it for anything any more
    }

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
    auto Wire = std::make_unique<TWire>();
    Wire->Socket = SocketOf(Connection);
    Wire->Address = RemoteAddressOf(Connection);
    // A proxy brings many clients along.
    const bool Limited = !IsTrusted(CurrentSite()->Config.Proxy, Wire->Address);
    Wire->Place = Connections.Open(Wire->Socket, Wire->Address, Limited, std::chrono::steady_clock::now());
    return Wire;
}

void TWebServer::TImpl::Enter(TExchange& Exchange, TConnectionPhase Phase) {
    TWire* const Wire = WireOf(Exchange.Connection);
    if (Wire != nullptr) Connections.Enter(Wire->Place, Phase, std::chrono::steady_clock::now());
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

// ---- One request

MHD_Result TWebServer::TImpl::Access(const char* Method, const char* Version, const char* Data,
                                     std::size_t* Size, const TExchangePtr& Exchange) {
    if (!Exchange->HeadersRead) return BeginRequest(Method, Version, *Exchange);
    if (*Size != 0) {
        const std::string_view Bytes(Data, std::exchange(*Size, 0));
        return TakeBody(*Exchange, Bytes);
    }
    return FinishRequest(Exchange);
}

MHD_Result TWebServer::TImpl::BeginRequest(const char* Method, const char* Version, TExchange& Exchange) {
    Exchange.Site = CurrentSite();
    Exchange.HeadersRead = true;
    Exchange.Raw.Method = Method;
    if (const TWire* const Wire = WireOf(Exchange.Connection)) Exchange.Raw.RemoteAddress = Wire->Address;
    const TFraming Framing = ReadHead(Exchange, Method, Version);
    const TSite& Site = *Exchange.Site;
    if (!Site.Config.Proxy.Trusted.empty()) {
        TClient Client = FindClient(Site.Config.Proxy, Exchange.Raw.RemoteAddress, Exchange.Raw.Headers);
        Exchange.Raw.RemoteAddress = std::move(Client.Address);
        Exchange.Raw.Https = Client.Https;
    }
    Exchange.LanguageID = Site.Handler.LanguageWithoutSession(Exchange.Raw);
    if (const std::string_view Fault = Framing.Fault(); !Fault.empty()) {
        Logger.Log(TLogLevel::Warning, u"request refused, its end is in doubt: " +
                                           platform::Utf8ToUtf16(Fault) + u", from " +
                                           platform::Utf8ToUtf16(Exchange.Raw.RemoteAddress));
        Refuse(Exchange, 400);
        Exchange.Reply.Close = true;
        return Send(Exchange);
    }
    if (Framing.HasBody()) Enter(Exchange, TConnectionPhase::Body);
    Route(Exchange);
    if (!Exchange.Answered && Exchange.Raw.Method == "POST") BeginBody(Exchange);

    // A client that asks first, or sends more than will be read away, is answered before its body.
    const auto Length = ContentLength(Exchange.Connection);
    if (Length && *Length > Site.Config.Limits.BodyBytes) {
        Refuse(Exchange, 413);
        if (!HeaderOf(Exchange.Connection, "Expect").empty() ||
            *Length > Site.Config.Limits.BodyBytes + DrainBytes) {
            Exchange.Reply.Close = true;
            return Send(Exchange);
        }
    }
    return MHD_YES;
}

void TWebServer::TImpl::Route(TExchange& Exchange) {
    TRawRequest& Raw = Exchange.Raw;
    const auto Target = SplitTarget(Exchange.Target);
    auto Path = Target ? DecodePath(Target->Path) : std::nullopt;
    if (!Path) return Refuse(Exchange, 400);
    Raw.Path = std::move(*Path);
    Raw.Query = Target->Query;

    const bool Reads = Raw.Method == "GET" || Raw.Method == "HEAD";
    const TSite& Site = *Exchange.Site;
    Exchange.Route = FindRoute(Site.Config.Routes, Raw.Path);
    const bool IsStatic = Exchange.Route == nullptr && Site.Static.Covers(Raw.Path);
    if (!Reads && (Raw.Method != "POST" || IsStatic)) {
        Refuse(Exchange, 405);
        Exchange.Reply.Headers.emplace_back("Allow", IsStatic ? "GET, HEAD" : "GET, HEAD, POST");
    } else if (IsStatic) {
        const auto Header = [&](const char* Name) { return HeaderOf(Exchange.Connection, Name); };
        const bool Whole = Raw.Method == "HEAD";
        auto Reply = Site.Static.Find(Raw.Path, {Header("If-None-Match"), Header("If-Modified-Since"),
                                                 Header("Accept-Encoding"), Whole ? "" : Header("Range"),
                                                 Header("If-Range")});
        if (!Reply) return Refuse(Exchange, 404);
        SetReply(Exchange, std::move(*Reply));
    } else if (Exchange.Route == nullptr) {
        Refuse(Exchange, 404);
    }
}

void TWebServer::TImpl::BeginBody(TExchange& Exchange) {
    const std::string Type = MediaType(HeaderOf(Exchange.Connection, "Content-Type"));
    if (Type == "multipart/form-data") {
        Exchange.Multipart = std::make_unique<TMultipartReader>(Exchange.Connection);
        Exchange.KeepBody = true;
    } else {
        Exchange.KeepBody = Type == "application/x-www-form-urlencoded";
    }
}

MHD_Result TWebServer::TImpl::TakeBody(TExchange& Exchange, std::string_view Bytes) {
    Exchange.Received += Bytes.size();
    const std::size_t BodyBytes = Exchange.Site->Config.Limits.BodyBytes;
    if (Exchange.Received > BodyBytes) {
        if (Exchange.Received > BodyBytes + DrainBytes) return MHD_NO;
        Refuse(Exchange, 413);
    }
    if (Exchange.Answered) {
        // Nothing of it will be looked at.
        Exchange.Multipart.reset();
        Exchange.Raw.Form.clear();
        Exchange.Raw.Form.shrink_to_fit();
    } else if (Exchange.Multipart) {
        if (!Exchange.Multipart->Feed(Bytes)) Refuse(Exchange, 400);
    } else if (Exchange.KeepBody) {
        Exchange.Raw.Form += Bytes;
    } else if (Exchange.Raw.Method == "POST") {
        Refuse(Exchange, 415);
    }
    return MHD_YES;
}

void TWebServer::TImpl::EndBody(TExchange& Exchange) {
    if (!Exchange.Multipart) return;
    if (!Exchange.Multipart->Finish()) return Refuse(Exchange, 400);
    Exchange.Raw.Parts = std::move(Exchange.Multipart->Parts());
}

MHD_Result TWebServer::TImpl::FinishRequest(const TExchangePtr& Exchange) {
    bool Answered = false;
    {
        const std::lock_guard Guard(Mutex);
        if (!Exchange->Counted) {
            Exchange->Counted = true;
            ++Pending;
        }
        if (!Exchange->Answered && (Stopping || !Available)) {
            Refuse(*Exchange, 503);
            Exchange->Reply.Close = true;
        }
        Answered = Exchange->Answered;
    }
    if (!Answered) {
        EndBody(*Exchange);
        Answered = Exchange->Answered;
    }
    if (Answered) return Send(*Exchange);
    Suspend(Exchange);
    return MHD_YES;
}

void TWebServer::TImpl::Suspend(const TExchangePtr& Exchange) {
    const auto TurnAway = [&] {
        Refuse(*Exchange, 503);
        Exchange->Reply.Headers.emplace_back("Retry-After", "1");
        MHD_resume_connection(&Exchange->Connection);
    };
    Enter(*Exchange, TConnectionPhase::Page);
    // Suspended before it is submitted: a worker may be done before this function is.
    MHD_suspend_connection(&Exchange->Connection);
    {
        const std::lock_guard Guard(Mutex);
        if (Closed) return TurnAway();
        Suspended.insert(Exchange);
    }
    if (Pool->TrySubmit([this, Exchange](TWorker& Worker) { RunPage(Exchange, Worker); })) return;
    const std::lock_guard Guard(Mutex);
    if (Suspended.erase(Exchange) != 0) TurnAway();
}

void TWebServer::TImpl::RunPage(const TExchangePtr& Exchange, TWorker& Worker) {
    TWorkClock& Clock = Exchange->Clock;
    const TSite& Site = *Exchange->Site;
    const unsigned PageSeconds = Site.Config.Limits.PageSeconds;
    {
        const std::lock_guard Guard(Mutex);
        if (!Suspended.contains(Exchange)) return; // the server stopped and answered by itself
        if (PageSeconds != 0)
            Clock.Deadline = std::chrono::steady_clock::now() + std::chrono::seconds(PageSeconds);
        Running.emplace(Exchange, &Worker);
    }
    TPageResult Result;
    {
        const TWorkClockScope Scope(&Clock);
        try {
            Result = Site.Handler.Handle(Exchange->Raw, *Exchange->Route, Worker);
            Compress(Result.Reply, RawHeader(Exchange->Raw, "Accept-Encoding"));
        } catch (const std::exception& Error) {
            Logger.Log(TLogLevel::Error, u"page failed: " + platform::Utf8ToUtf16(Error.what()));
            Result.Reply = ErrorReply(500, Localizer, Exchange->LanguageID);
        }
    }
    if (Clock.IsOver()) Worker.DropRunner(); // what was stopped half-way is not used again
    const std::lock_guard Guard(Mutex);
    Running.erase(Exchange);
    if (Suspended.erase(Exchange) == 0) return; // answered without it
    Exchange->SID = std::move(Result.SID);
    Exchange->User = std::move(Result.User);
    if (!Result.LanguageID.empty()) Exchange->LanguageID = std::move(Result.LanguageID);
    SetReply(*Exchange, std::move(Result.Reply));
    if (!Result.Delay || Stopping || Hooks.RefusalDelay.count() == 0)
        return MHD_resume_connection(&Exchange->Connection);
    Suspended.insert(Exchange);
    Later->At(Exchange->Began + Hooks.RefusalDelay, [this, Exchange] {
        const std::lock_guard Again(Mutex);
        if (Suspended.erase(Exchange) != 0) MHD_resume_connection(&Exchange->Connection);
    });
}

/// Pages that do not come back by themselves soon after their time are answered without them, and their
/// workers replaced.
void TWebServer::TImpl::LookAtPages() {
    std::vector<std::pair<TExchangePtr, TWorker*>> Lost;
    {
        const std::lock_guard Guard(Mutex);
        const TMoment Now = std::chrono::steady_clock::now();
        for (auto Page = Running.begin(); Page != Running.end();) {
            const auto Each = Page++;
            if (Each->first->Clock.Deadline > Now - AfterDeadline) continue;
            Lost.emplace_back(*Each);
            Running.erase(Each);
        }
    }
    for (const auto& [Exchange, Worker] : Lost) {
        const bool Replaced = Pool->Replace(*Worker);
        Logger.Log(TLogLevel::Error, u"page in " + Exchange->Route->Module +
                                         u" does not end though its time is over; its worker is " +
                                         (Replaced ? u"replaced" : u"lost"));
        const std::lock_guard Guard(Mutex);
        if (Suspended.erase(Exchange) == 0) continue;
        Refuse(*Exchange, 503);
        MHD_resume_connection(&Exchange->Connection);
    }
    Later->At(std::chrono::steady_clock::now() + BetweenLooks, [this] { LookAtPages(); });
}

MHD_Result TWebServer::TImpl::Send(TExchange& Exchange) {
    Enter(Exchange, TConnectionPhase::Answer);
    TReply& Reply = Exchange.Reply;
    const std::uint64_t Size = Reply.File.IsOpen() ? Reply.FileSize : Reply.Body.size();
    MHD_Response* Response = MakeResponse(Reply);
    if (Response == nullptr) return MHD_NO;
    bool HasPolicy = false;
    for (const auto& [Name, Value] : Reply.Headers) {
        AddHeader(*Response, Name, Value);
        HasPolicy = HasPolicy || MediaType(Name) == "content-security-policy";
    }
    if (!Reply.ContentType.empty()) AddHeader(*Response, "Content-Type", Reply.ContentType);
    const std::string& Policy = Exchange.Site->Config.ContentSecurityPolicy;
    if (!HasPolicy && !Policy.empty()) {
        AddHeader(*Response, "Content-Security-Policy", Policy);
    }
    AddHeader(*Response, "X-Content-Type-Options", "nosniff");
    AddHeader(*Response, "X-Frame-Options", "SAMEORIGIN");
    AddHeader(*Response, "Referrer-Policy", "same-origin");
    if (Reply.Close) AddHeader(*Response, "Connection", "close");

    const MHD_Result Queued =
        MHD_queue_response(&Exchange.Connection, static_cast<unsigned>(Reply.Status), Response);
    MHD_destroy_response(Response);
    if (Queued == MHD_YES) {
        Exchange.SentStatus = Reply.Status;
        Exchange.SentBytes = Exchange.Raw.Method == "HEAD" ? 0 : Size;
        if (Exchange.SentBytes > SmallAnswer) Exchange.AckedBefore = AckedBytes(WireOf(Exchange.Connection));
    }
    return Queued;
}

void TWebServer::TImpl::Completed(TExchange& Exchange, bool Whole) {
    using namespace std::chrono;
    Enter(Exchange, TConnectionPhase::Waiting);
    if (!Whole) {
        const bool Large = Exchange.SentBytes > SmallAnswer;
        const std::uint64_t Acked = Large ? AckedBytes(WireOf(Exchange.Connection)) : 0;
        Exchange.SentBytes = std::min(Exchange.SentBytes, Acked - std::min(Acked, Exchange.AckedBefore));
    }
    // The path as sent: escapes cannot be mistaken for parts of the line. The query may hold what users
    // typed.
    const std::string_view Target = Exchange.Target;
    const TAccess Access{Exchange.Raw.Method,
                         std::string(Target.substr(0, Target.find('?'))),
                         Exchange.SentStatus,
                         Exchange.SentBytes,
                         duration_cast<microseconds>(steady_clock::now() - Exchange.Began),
                         Exchange.Raw.RemoteAddress,
                         Exchange.User,
                         Exchange.SID,
                         Exchange.LanguageID};
    Counts.Count(Access);
    if (Hooks.Access) {
        Hooks.Access(Access);
    } else {
        Logger.Log(TLogLevel::Info, platform::Utf8ToUtf16(AccessText(Access)));
    }
    if (!Exchange.Counted) return;
    {
        const std::lock_guard Guard(Mutex);
        --Pending;
    }
    Finished.notify_all();
}

void TWebServer::TImpl::Refuse(TExchange& Exchange, int Status) {
    SetReply(Exchange, ErrorReply(Status, Localizer, Exchange.LanguageID));
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

std::vector<TSessionInfo> TWebServer::ListSessions() const {
    return FImpl->Sessions.List();
}

std::size_t TWebServer::EndSessions(const std::function<bool(const TSessionState&)>& Which) {
    return FImpl->Sessions.End(Which);
}

} // namespace zutools::server
