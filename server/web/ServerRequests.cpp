// One request: from its head to its answer, on the network threads, and its page on a worker.

#include "platform/Text.h"
#include "platform/TextTools.h"
#include "server/web/Compress.h"
#include "server/web/HttpText.h"
#include "server/web/ServerImpl.h"

#include <algorithm>
#include <vector>

namespace zutools::server {

namespace {

/// How long a page that was told to end may still take before its worker is given up, and how often that is
/// looked at.
constexpr std::chrono::seconds AfterDeadline{2};
constexpr std::chrono::milliseconds BetweenLooks{250};

/// Bytes of a body that is too large read away, so that the client gets to see the answer; after that it is
/// cut off.
constexpr std::size_t DrainBytes = 16 * 1024 * 1024;

/// An answer up to this size is taken by the socket in one piece, or not at all.
constexpr std::uint64_t SmallAnswer = 64 * 1024;

/// Keeps the headers, and looks whether the request's bounds are beyond doubt.
TFraming ReadHead(TExchange& Exchange, std::string_view Method, const char* Version) {
    TFraming Framing(Method, {Exchange.TargetAt, Exchange.Target.size()}, Version);
    TakeHeaders(Exchange.Connection, Framing, Exchange.Raw.Headers);
    return Framing;
}

/// The media type of a Content-Type header, in lower case, without its parameters.
std::string MediaType(std::string_view Header) {
    std::string Type(Header.substr(0, Header.find(';')));
    while (!Type.empty() && (Type.back() == ' ' || Type.back() == '\t')) Type.pop_back();
    return platform::LowerAsciiText(std::move(Type));
}

} // namespace

void TWebServer::TImpl::Enter(TExchange& Exchange, TConnectionPhase Phase) {
    TWire* const Wire = WireOf(Exchange.Connection);
    if (Wire != nullptr) Connections.Enter(Wire->Place, Phase, std::chrono::steady_clock::now());
}

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
        Exchange.Raw.Json = Type == "application/json";
        Exchange.KeepBody = Exchange.Raw.Json || Type == "application/x-www-form-urlencoded";
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
    const auto Response = MakeResponse(Reply, Exchange.Site->Config.ContentSecurityPolicy);
    if (!Response) return MHD_NO;
    const MHD_Result Queued =
        MHD_queue_response(&Exchange.Connection, static_cast<unsigned>(Reply.Status), Response.get());
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

} // namespace zutools::server
