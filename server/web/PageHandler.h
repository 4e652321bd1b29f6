// From a request that arrived whole to the answer of its module: fields, session, language, form token,
// filters, the module's run, and what the user sees when it fails.
//
// Called on worker threads, any number at once. Knows nothing of sockets.

#pragma once

#include "host/Services.h"
#include "server/web/Config.h"
#include "server/web/Multipart.h"
#include "server/web/PageSession.h"
#include "server/web/Reply.h"
#include "server/web/Sessions.h"
#include "server/web/WorkerPool.h"

#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace zutools::server {

/// The name of the session cookie. With "__Host-" browsers take it over HTTPS only, from this very host and
/// for all of its paths, so that no neighbouring host can plant one.
[[nodiscard]] constexpr std::string_view SessionCookieName(bool Secure) {
    return Secure ? "__Host-zusid" : "zusid";
}
/// The form field that writes must bring.
inline constexpr std::u16string_view FormTokenField = u"form_token";
/// The header that scripts of pages may send it in.
inline constexpr std::string_view FormTokenHeader = "X-Form-Token";
/// The query parameter that switches the session's language.
inline constexpr std::u16string_view LanguageParam = u"lang";

/// A request as it came from the wire.
struct TRawRequest {
    std::string Method;
    std::u16string Path; // decoded
    std::string Query;   // escaped
    std::string RemoteAddress;
    std::vector<std::pair<std::string, std::string>> Headers;
    std::string Form;            // body of a urlencoded form, or of JSON
    std::vector<TRawPart> Parts; // of a multipart form
    bool Https = false;          // a trusted proxy says that the client came by it
    bool Json = false;           // Form is
};

/// The value of the first header of that name; empty when it was not sent.
[[nodiscard]] std::string_view RawHeader(const TRawRequest& Raw, std::string_view Name);

/// Why a request is not let through to its module.
struct TRefusal {
    int Status = 400;
    std::u16string Note; // told to the user; must not hold the value that was refused
    std::u16string Log;  // for the log
};

/// Asked before each module whose route does not say `filter = false`, on the worker thread, with the session
/// in place. Nothing lets the request through.
using TRequestFilter = std::function<std::optional<TRefusal>(const TWebRequest&)>;

/// What the application adds to pages. All are called on worker threads, several at once; all but the filters
/// may be empty.
struct TPageHooks {
    std::vector<TRequestFilter> Filters; // asked in order before each module
    TSignInHook SignIn;                  // empty: there are no users
    /// The stamp that sessions of a user must have (TSignedInUser); nothing when he is gone or disabled.
    std::function<std::optional<std::int64_t>(std::u16string_view User)> UserStamp;
    /// Whether something is kept for a session that has to be dropped at its end.
    std::function<bool(std::u16string_view SID)> HoldsSomething;
    std::shared_ptr<TSecurityManager> Security = Services().Security; // who is an administrator
    /// For whoever works on the application: the last lines of the log. When it is given, a page that failed
    /// shows them, with the traceback, the sources and the request.
    std::function<std::vector<std::u16string>()> RecentLog{};
};

/// An answer and what the log tells about it.
struct TPageResult {
    TReply Reply;
    std::u16string SID;
    std::u16string LanguageID;
    std::u16string User; // empty: nobody
    bool Delay = false;  // whoever guesses passwords is to wait for it
};

class TPageHandler {
public:
    /// Everything must outlive the handler.
    TPageHandler(const TWebConfig& Config, TSessions& Sessions, TAddressGate& Gate, TLogger& Logger,
                 TLocalizatorTable& Localizer, const TPageHooks& Hooks);

    /// Runs the page. Never throws but for want of memory: what went wrong is in the reply and in the log.
    [[nodiscard]] TPageResult Handle(const TRawRequest& Raw, const TRoute& Route, TWorker& Worker) const;

    /// The language of an answer that has no session.
    [[nodiscard]] std::u16string LanguageWithoutSession(const TRawRequest& Raw) const;

private:
    /// What is known of the page that is asked for.
    struct TCall {
        const TRawRequest& Raw;
        const TRoute& Route;
        TWebRequest& Request;
        TWorker& Worker;
        bool Readable; // the fields were
    };
    /// Why the page is not the module's.
    struct TFault {
        int Status;
        std::u16string_view Cause{}; // of ErrorWords
        std::u16string Note{};
        std::string Detail{}; // HTML below it
    };
    [[nodiscard]] TReply Answer(const TCall& Call, const TSessionState& Session) const;
    /// The answer for somebody who may not see the page; nothing for the others.
    [[nodiscard]] std::optional<TReply> Barred(const TCall& Call, const TSessionState& Session) const;
    /// Whether the rights of the user, who is signed in, are those of the route. @throws what the database
    /// does.
    [[nodiscard]] bool HasRights(const TRoute& Route, std::u16string_view User) const;
    /// A page in the application's frame that says why, leads back and keeps what was typed.
    [[nodiscard]] TReply Sorry(const TCall& Call, const TFault& Fault) const;
    /// Ends the session when its user is not the one who signed in any more.
    void CheckUser(TSessionLease& Lease) const;
    [[nodiscard]] TFault Failed(const TRoute& Route, std::u16string_view What) const;
    [[nodiscard]] TReply RunModule(const TCall& Call) const;

    const TWebConfig& FConfig;
    TSessions& FSessions;
    TLogger& FLogger;
    TLocalizatorTable& FLocalizer;
    TAddressGate& FGate;
    const TPageHooks& FHooks;
};

} // namespace zutools::server
