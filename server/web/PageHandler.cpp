#include "server/web/PageHandler.h"

#include "host/Exception.h"
#include "host/Format.h"
#include "host/Security.h"
#include "host/WorkClock.h"
#include "platform/Random.h"
#include "platform/Text.h"
#include "platform/TextTools.h"
#include "server/lua/Escape.h"
#include "server/lua/LuaEngine.h"
#include "server/web/FaultPage.h"
#include "server/web/HttpText.h"

#include <algorithm>
#include <array>

namespace zutools::server {

namespace {

std::u16string Widened(std::string_view Ascii) {
    return {Ascii.begin(), Ascii.end()};
}

/// A name for one failure that a user can read out and a log can be searched for.
std::u16string FailureId() {
    std::array<std::byte, 4> Bytes{};
    platform::FillRandom(Bytes);
    return Widened(HexText(Bytes));
}

std::u16string_view FileNameWithoutFolders(std::u16string_view Name) {
    const std::size_t Slash = Name.find_last_of(u"/\\");
    return Slash == std::u16string_view::npos ? Name : Name.substr(Slash + 1);
}

/// The fields that the client sent, decoded; false when any of them is malformed.
struct TFields {
    std::vector<TFormField> Query;
    std::vector<TFormField> Form;
    std::vector<TWebFile> Files;

    [[nodiscard]] bool Read(const TRawRequest& Raw) {
        auto QueryFields = ParseFormFields(Raw.Query);
        auto FormFields = ParseFormFields(Raw.Json ? std::string_view() : Raw.Form);
        if (!QueryFields || !FormFields) return false;
        Query = std::move(*QueryFields);
        Form = std::move(*FormFields);
        return std::ranges::all_of(Raw.Parts, [this](const TRawPart& Part) { return ReadPart(Part); });
    }

    [[nodiscard]] bool ReadPart(const TRawPart& Part) {
        auto Name = DecodeUtf8(Part.Name);
        if (!Name) return false;
        if (!Part.IsFile) {
            auto Value = DecodeUtf8(Part.Content);
            if (!Value) return false;
            Form.push_back({std::move(*Name), std::move(*Value)});
            return true;
        }
        // A file input that was left empty is sent as a file without a name.
        if (Part.FileName.empty() && Part.Content.empty()) return true;
        const auto FileName = DecodeUtf8(Part.FileName);
        const auto ContentType = DecodeUtf8(Part.ContentType);
        if (!FileName || !ContentType) return false;
        Files.push_back({std::move(*Name), std::u16string(FileNameWithoutFolders(*FileName)), *ContentType,
                         Part.Content});
        return true;
    }
};

const std::u16string* FindField(const std::vector<TFormField>& Fields, std::u16string_view Name) {
    const auto Found = std::ranges::find(Fields, Name, &TFormField::Name);
    return Found == Fields.end() ? nullptr : &Found->Value;
}

bool BringsToken(const TFields& Fields, std::string_view FormToken) {
    const std::u16string* Sent = FindField(Fields.Form, FormTokenField);
    return Sent != nullptr && EqualSecrets(platform::Utf16ToUtf8(*Sent), FormToken);
}

void FillRequest(TWebRequest& Request, const TRawRequest& Raw, TFields& Fields) {
    Request.Method = Widened(Raw.Method);
    Request.Path = Raw.Path;
    Request.RemoteAddress = Widened(Raw.RemoteAddress);
    Request.Headers = Raw.Headers;
    Request.Files.Items = std::move(Fields.Files);
    for (const auto* List : {&Fields.Query, &Fields.Form}) {
        for (const TFormField& Field : *List) {
            if (Field.Name != FormTokenField) Request.Params.Add(Field.Name, Field.Value);
        }
    }
    std::erase_if(Fields.Form, [](const TFormField& Field) { return Field.Name == FormTokenField; });
    Request.Params.QueryFields = std::move(Fields.Query);
    Request.Params.FormFields = std::move(Fields.Form);
}

TReply ReplyOf(TWebResponse& Response) {
    TReply Reply;
    Reply.Status = Response.Status();
    // 204 and 304 have no body, whatever was written.
    if (Reply.Status != 204 && Reply.Status != 304) {
        Reply.ContentType = Response.ContentType();
        Reply.Body = Response.TakeBody();
    }
    Reply.Headers = Response.Headers();
    // Pages hold form tokens and what only this user may see.
    if (Response.FindHeader("Cache-Control") == nullptr)
        Reply.Headers.emplace_back("Cache-Control", "no-store");
    return Reply;
}

/// A decoded path as addresses have it.
std::string EscapedPath(std::u16string_view Path) {
    std::string Result;
    const std::string Bytes = platform::Utf16ToUtf8(Path);
    for (std::string_view Rest = Bytes; !Rest.empty();) {
        const std::size_t End = std::min(Rest.find('/'), Rest.size());
        Result += UrlEscape(Rest.substr(0, End));
        if (End < Rest.size()) Result += '/';
        Rest.remove_prefix(std::min(End + 1, Rest.size()));
    }
    return Result;
}

/// The sign-in page, told where the user wanted to go; of a request that writes, its path only.
std::string SignInLocation(std::u16string_view SignIn, const TRawRequest& Raw) {
    constexpr std::size_t LongestBack = 2000;
    std::string Back = EscapedPath(Raw.Path);
    if (Raw.Method != "POST" && !Raw.Query.empty()) Back += "?" + Raw.Query;
    std::string Location = EscapedPath(SignIn);
    if (Back.size() <= LongestBack)
        Location += "?" + platform::Utf16ToUtf8(BackParam) + "=" + UrlEscape(Back);
    return Location;
}

} // namespace

std::string_view RawHeader(const TRawRequest& Raw, std::string_view Name) {
    for (const auto& [Header, Value] : Raw.Headers) {
        if (platform::EqualAsciiNoCase(Header, Name)) return Value;
    }
    return {};
}

TPageHandler::TPageHandler(const TWebConfig& Config, TSessions& Sessions, TAddressGate& Gate, TLogger& Logger,
                           TLocalizatorTable& Localizer, const TPageHooks& Hooks)
    : FConfig(Config)
    , FSessions(Sessions)
    , FLogger(Logger)
    , FLocalizer(Localizer)
    , FGate(Gate)
    , FHooks(Hooks) {}

std::u16string TPageHandler::LanguageWithoutSession(const TRawRequest& Raw) const {
    return ChooseLanguage(RawHeader(Raw, "Accept-Language"), FConfig.Languages, FConfig.DefaultLanguage);
}

TPageResult TPageHandler::Handle(const TRawRequest& Raw, const TRoute& Route, TWorker& Worker) const {
    TFields Fields;
    auto Body = DecodeUtf8(Raw.Form);
    const bool Readable = Body && Fields.Read(Raw);
    if (!Readable) Fields = {};

    TSessionLease Lease = FSessions.Acquire(
        FindCookie(RawHeader(Raw, "Cookie"), SessionCookieName(FConfig.Session.Secure)), Raw.RemoteAddress);
    try {
        CheckUser(Lease);
    } catch (const std::exception& Error) {
        const TFault Fault = Failed(Route, MessageOf(Error));
        return {ErrorReply(Fault.Status, FLocalizer, LanguageWithoutSession(Raw), Fault.Note),
                Lease.State().SID,
                {},
                {}};
    }
    const std::u16string* Wanted = FindField(Fields.Query, LanguageParam);
    if (Wanted != nullptr && std::ranges::find(FConfig.Languages, *Wanted) != FConfig.Languages.end()) {
        Lease.SetLanguage(*Wanted);
    }
    const TSessionState& Session = Lease.State();

    TWebRequest Request;
    if (Readable) Request.Body = std::move(*Body);
    Request.FormTokenGood = BringsToken(Fields, Session.FormToken) ||
                            EqualSecrets(RawHeader(Raw, FormTokenHeader), Session.FormToken);
    FillRequest(Request, Raw, Fields);
    Request.Language = Session.LanguageID.empty() ? LanguageWithoutSession(Raw) : Session.LanguageID;
    Request.FormToken = Widened(Session.FormToken);

    TPageResult Result{{}, {}, Request.Language, {}};
    {
        const TPageSession Page(Lease, Request, FHooks.SignIn, FGate, FConfig.Session.Idle, FLogger);
        Result.Reply = Answer({Raw, Route, Request, Worker, Readable}, Session);
        Result.Delay = Page.WasRefused();
    }
    if (!Lease.IsKept() && FHooks.HoldsSomething && FHooks.HoldsSomething(Session.SID)) Lease.Keep();
    Result.SID = Session.SID; // the last one: signing in and out changes it
    Result.User = Session.USR;
    if (Session.New) {
        const bool Secure = FConfig.Session.Secure || Raw.Https;
        Result.Reply.Headers.emplace_back(
            "Set-Cookie", std::string(SessionCookieName(FConfig.Session.Secure)) + "=" + Session.Secret +
                              "; Path=/; HttpOnly; SameSite=Lax" + (Secure ? "; Secure" : ""));
    }
    return Result;
}

void TPageHandler::CheckUser(TSessionLease& Lease) const {
    const TSessionState& Session = Lease.State();
    if (Session.USR.empty() || !FHooks.UserStamp || FHooks.UserStamp(Session.USR) == Session.UserStamp)
        return;
    FLogger.Log(TLogLevel::Info, u"session " + Session.SID + u" ended with its user: " + Session.USR);
    Lease.Renew({});
}

TReply TPageHandler::Answer(const TCall& Call, const TSessionState& Session) const {
    if (!Call.Readable) return Sorry(Call, {400});
    if (auto Reply = Barred(Call, Session)) return std::move(*Reply);
    if (Call.Raw.Method == "POST" && Call.Route.FormToken && !Call.Request.FormTokenGood)
        return Sorry(Call, {403});
    return RunModule(Call);
}

std::optional<TReply> TPageHandler::Barred(const TCall& Call, const TSessionState& Session) const {
    const TRoute& Route = Call.Route;
    const std::u16string Method = Widened(Call.Raw.Method == "HEAD" ? "GET" : Call.Raw.Method);
    if (!Route.Methods.empty() && std::ranges::find(Route.Methods, Method) == Route.Methods.end()) {
        TReply Reply = Sorry(Call, {405});
        std::string Allow;
        for (const std::u16string& Each : Route.Methods)
            Allow += (Allow.empty() ? "" : ", ") + platform::Utf16ToUtf8(Each);
        Reply.Headers.emplace_back("Allow", std::move(Allow));
        return Reply;
    }
    if (!Route.AsksForUser()) return std::nullopt;
    // The form itself tells whose session is over, and keeps what he typed.
    if (Session.USR.empty() && Route.Form && Call.Raw.Method == "POST") return std::nullopt;
    if (Session.USR.empty()) {
        TReply Reply;
        Reply.Status = 303;
        Reply.Headers.emplace_back("Location", SignInLocation(FConfig.Session.SignIn, Call.Raw));
        Reply.Headers.emplace_back("Cache-Control", "no-store");
        return Reply;
    }
    try {
        if (HasRights(Route, Session.USR)) return std::nullopt;
    } catch (const std::exception& Error) {
        return Sorry(Call, Failed(Route, MessageOf(Error)));
    }
    return Sorry(Call, {403, u"rights"});
}

bool TPageHandler::HasRights(const TRoute& Route, std::u16string_view User) const {
    if (!Route.Administrator && !Route.Right && Route.Profile.empty()) return true;
    const TUserInfo Info = FHooks.Security->RefreshUserInfo(User);
    if (Info.Administrator) return true;
    if (Route.Administrator || (!Route.Profile.empty() && Info.Profile != Route.Profile)) return false;
    return !Route.Right ||
           FHooks.Security->BuildTableRightsFilter(Info, Route.RightTable, *Route.Right).Granted;
}

TReply TPageHandler::Sorry(const TCall& Call, const TFault& Fault) const {
    const TWebRequest& Request = Call.Request;
    const std::string_view Host = RawHeader(Call.Raw, "Host");
    const auto Words = [&](std::u16string_view Key, std::u16string_view Default) {
        return TextOr(FLocalizer, Request.Language, Key, Default);
    };
    TErrorWords Why = ErrorWords(Fault.Status, FLocalizer, Request.Language, Fault.Cause);
    TFaultPage Page;
    Page.Title = std::move(Why.Title);
    Page.Text = std::move(Why.Text);
    Page.Note = Fault.Note;
    Page.Back = PathOnHost(RawHeader(Call.Raw, "Referer"), Host);
    if (Page.Back.empty()) Page.Back = u"/";
    Page.Typed = Request.Params.FormFields;
    // A form that another host made the browser send must not get a good token by one press of a button. What
    // was refused for its values or for want of rights is refused again.
    const bool Again = (Fault.Status == 403 && Fault.Cause.empty()) || Fault.Status >= 500;
    if (Again && Call.Raw.Method == "POST" && Call.Raw.Parts.empty() &&
        SentFromHost(RawHeader(Call.Raw, "Sec-Fetch-Site"), RawHeader(Call.Raw, "Origin"), Host)) {
        Page.Action = EscapedPath(Call.Raw.Path);
        if (!Call.Raw.Query.empty()) Page.Action += "?" + Call.Raw.Query;
        Page.FormToken = Request.FormToken;
    }
    Page.BackText = Words(u"http.back", u"Back");
    Page.TypedText = Words(u"http.typed", u"What was typed");
    Page.AgainText = Words(u"http.again", u"Send it again");
    const std::string Content = FaultContent(Page) + Fault.Detail;
    if (!WorkMustEnd()) {
        try {
            TWebResponse Response(std::string(Host), FConfig.Limits.ResponseBytes);
            if (Call.Worker.Runner().RunFrame(Page.Title, Content, Call.Request, Response)) {
                Response.SetStatus(Fault.Status);
                return ReplyOf(Response);
            }
        } catch (const std::exception& Error) {
            FLogger.Log(TLogLevel::Error,
                        u"the frame of a page that tells an error failed: " + MessageOf(Error));
        }
    }
    return PlainPage(Fault.Status, Request.Language, Page.Title, Content);
}

TPageHandler::TFault TPageHandler::Failed(const TRoute& Route, std::u16string_view What) const {
    std::u16string Id = FailureId();
    std::u16string Line = u"page error " + Id + u" in " + Route.Module + u": ";
    const bool Stopped = WorkMustEnd();
    if (Stopped)
        Line += Format(u"stopped, a page may take %d seconds (limits.page_seconds); it was at: ",
                       {static_cast<std::int64_t>(FConfig.Limits.PageSeconds)});
    FLogger.Log(TLogLevel::Error, Line + std::u16string(What));
    TFault Fault{Stopped ? 503 : 500, {}, std::move(Id)};
    if (FHooks.RecentLog) Fault.Detail = FaultDetail(What, FConfig.Modules, FHooks.RecentLog());
    return Fault;
}

TReply TPageHandler::RunModule(const TCall& Call) const {
    const TRoute& Route = Call.Route;
    std::u16string What;
    TWebResponse Response(std::string(RawHeader(Call.Raw, "Host")), FConfig.Limits.ResponseBytes);
    try {
        for (const TRequestFilter& Filter : FHooks.Filters) {
            if (!Route.Filter) break;
            if (const auto Refusal = Filter(Call.Request)) {
                FLogger.Log(TLogLevel::Warning,
                            u"request refused before " + Route.Module + u": " + Refusal->Log);
                return Sorry(Call, {Refusal->Status, {}, Refusal->Note});
            }
        }
        Call.Worker.Runner().Run(Route.ModuleFile, Call.Request, Response);
        if (Response.Refused().Status == 0) return ReplyOf(Response);
    } catch (const EScriptError& Error) {
        What = Error.Message() + u"\n" + Error.Traceback();
    } catch (const std::exception& Error) {
        What = MessageOf(Error);
    }
    if (const auto& [Status, Note] = Response.Refused(); Status != 0 && !WorkMustEnd()) {
        FLogger.Log(TLogLevel::Warning, u"request refused by " + Route.Module + u": " + Note);
        return Sorry(Call, {Status, {}, Note});
    }
    return Sorry(Call, Failed(Route, What));
}

} // namespace zutools::server
