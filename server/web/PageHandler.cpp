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
        auto FormFields = ParseFormFields(Raw.Form);
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

/// The sign-in page, told where the user wanted to go; of a request that writes, its path only.
std::string SignInLocation(std::u16string_view SignIn, const TRawRequest& Raw) {
    constexpr std::size_t LongestBack = 2000;
    const auto Escaped = [](std::u16string_view Path) {
        std::string Result;
        const std::string Bytes = platform::Utf16ToUtf8(Path);
        for (std::string_view Rest = Bytes; !Rest.empty();) {
            const std::size_t End = std::min(Rest.find('/'), Rest.size());
            Result += UrlEscape(Rest.substr(0, End));
            if (End < Rest.size()) Result += '/';
            Rest.remove_prefix(std::min(End + 1, Rest.size()));
        }
        return Result;
    };
    std::string Back = Escaped(Raw.Path);
    if (Raw.Method != "POST" && !Raw.Query.empty()) Back += "?" + Raw.Query;
    std::string Location = Escaped(SignIn);
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
    if (!Fields.Read(Raw)) {
        std::u16string LanguageID = LanguageWithoutSession(Raw);
        return {ErrorReply(400, FLocalizer, LanguageID), {}, std::move(LanguageID), {}};
    }

    TSessionLease Lease = FSessions.Acquire(
        FindCookie(RawHeader(Raw, "Cookie"), SessionCookieName(FConfig.Session.Secure)), Raw.RemoteAddress);
    try {
        CheckUser(Lease);
    } catch (const std::exception& Error) {
        return {Failed(Route, LanguageWithoutSession(Raw), MessageOf(Error)), Lease.State().SID, {}, {}};
    }
    const std::u16string* Wanted = FindField(Fields.Query, LanguageParam);
    if (Wanted != nullptr && std::ranges::find(FConfig.Languages, *Wanted) != FConfig.Languages.end()) {
        Lease.SetLanguage(*Wanted);
    }
    const TSessionState& Session = Lease.State();

    TWebRequest Request;
    FillRequest(Request, Raw, Fields);
    Request.Language = Session.LanguageID.empty() ? LanguageWithoutSession(Raw) : Session.LanguageID;
    Request.FormToken = Widened(Session.FormToken);
    Request.FormTokenGood = BringsToken(Fields, Session.FormToken);

    TPageResult Result{{}, {}, Request.Language, {}};
    if (auto Reply = Barred(Route, Raw, Request, Session)) {
        Result.Reply = std::move(*Reply);
    } else if (Raw.Method == "POST" && Route.FormToken && !Request.FormTokenGood) {
        Result.Reply = ErrorReply(403, FLocalizer, Request.Language);
    } else {
        const TPageSession Page(Lease, Request, FHooks.SignIn, FGate, FConfig.Session.Idle, FLogger);
        Result.Reply = RunModule(Route, Raw, Request, Worker);
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

std::optional<TReply> TPageHandler::Barred(const TRoute& Route, const TRawRequest& Raw,
                                           const TWebRequest& Request, const TSessionState& Session) const {
    if (!Route.User && !Route.Administrator) return std::nullopt;
    if (Session.USR.empty()) {
        TReply Reply;
        Reply.Status = 303;
        Reply.Headers.emplace_back("Location", SignInLocation(FConfig.Session.SignIn, Raw));
        Reply.Headers.emplace_back("Cache-Control", "no-store");
        return Reply;
    }
    if (!Route.Administrator) return std::nullopt;
    try {
        if (FHooks.Security->RefreshUserInfo(Session.USR).Administrator) return std::nullopt;
    } catch (const std::exception& Error) {
        return Failed(Route, Request.Language, MessageOf(Error));
    }
    return ErrorReply(403, FLocalizer, Request.Language);
}

TReply TPageHandler::Failed(const TRoute& Route, std::u16string_view LanguageID,
                            std::u16string_view What) const {
    const std::u16string Id = FailureId();
    std::u16string Line = u"page error " + Id + u" in " + Route.Module + u": ";
    const bool Stopped = WorkMustEnd();
    if (Stopped)
        Line += Format(u"stopped, a page may take %d seconds (limits.page_seconds); it was at: ",
                       {static_cast<std::int64_t>(FConfig.Limits.PageSeconds)});
    FLogger.Log(TLogLevel::Error, Line + std::u16string(What));
    return ErrorReply(Stopped ? 503 : 500, FLocalizer, LanguageID, Id);
}

TReply TPageHandler::RunModule(const TRoute& Route, const TRawRequest& Raw, TWebRequest& Request,
                               TWorker& Worker) const {
    std::u16string What;
    TWebResponse Response(std::string(RawHeader(Raw, "Host")), FConfig.Limits.ResponseBytes);
    try {
        for (const TRequestFilter& Filter : FHooks.Filters) {
            if (!Route.Filter) break;
            if (const auto Refusal = Filter(Request)) {
                FLogger.Log(TLogLevel::Warning,
                            u"request refused before " + Route.Module + u": " + Refusal->Log);
                return ErrorReply(Refusal->Status, FLocalizer, Request.Language, Refusal->Note);
            }
        }
        Worker.Runner().Run(Route.ModuleFile, Request, Response);
        if (Response.Refused().Status == 0) return ReplyOf(Response);
    } catch (const EScriptError& Error) {
        What = Error.Message() + u"\n" + Error.Traceback();
    } catch (const std::exception& Error) {
        What = MessageOf(Error);
    }
    if (const auto& [Status, Note] = Response.Refused(); Status != 0 && !WorkMustEnd()) {
        FLogger.Log(TLogLevel::Warning, u"request refused by " + Route.Module + u": " + Note);
        return ErrorReply(Status, FLocalizer, Request.Language, Note);
    }
    return Failed(Route, Request.Language, What);
}

} // namespace zutools::server
