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
/// The query parameter that switches the session's language.
inline constexpr std::u16string_view LanguageParam = u"lang";

/// A request as it came from the wire.
struct TRawRequest {
    std::string Method;
    std::u16string Path; // decoded
    std::string Query;   // escaped
    std::string RemoteAddress;
    std::vector<std::pair<std::string, std::string>> Headers;
    std::string Form;            // body of a urlencoded form
    std::vector<TRawPart> Parts; // of a multipart form
    bool Https = false;          // a trusted proxy says that the client came by it
};

/// Why a request is not let through to its module.
struct TRefusal {
    int Status = 400;
    std::u16string Note; // told to the user; must not hold the value that was refused
    std::u16string Log;  // for the log
};

/// Asked before each module whose route does not say `filter = false`, on the worker thread, with the session
/// in place. Nothing lets the request through.
using TRequestFilter = std::function<std::optional<TRefusal>(const TWebRequest&)>;

/// An answer and what the log tells about it.
struct TPageResult {
    TReply Reply;
    std::u16string SID;
    std::u16string LanguageID;
    std::u16string User; // empty: nobody
};

class TPageHandler {
public:
    /// Everything must outlive the handler.
    TPageHandler(const TWebConfig& Config, TSessions& Sessions, TLogger& Logger, TLocalizatorTable& Localizer,
                 std::vector<TRequestFilter> Filters, TSignInHook SignIn = {},
                 std::shared_ptr<TSecurityManager> Security = Services().Security);

    /// Runs the page. Never throws but for want of memory: what went wrong is in the reply and in the log.
    [[nodiscard]] TPageResult Handle(const TRawRequest& Raw, const TRoute& Route, TWorker& Worker) const;

    /// The language of an answer that has no session.
    [[nodiscard]] std::u16string LanguageWithoutSession(const TRawRequest& Raw) const;

private:
    /// The answer for somebody who may not see the page; nothing for the others.
    [[nodiscard]] std::optional<TReply> Barred(const TRoute& Route, const TRawRequest& Raw,
                                               const TWebRequest& Request,
                                               const TSessionState& Session) const;
    [[nodiscard]] TReply Failed(const TRoute& Route, const TWebRequest& Request,
                                std::u16string_view What) const;
    [[nodiscard]] TReply RunModule(const TRoute& Route, const TRawRequest& Raw, TWebRequest& Request,
                                   TWorker& Worker) const;

    const TWebConfig& FConfig;
    TSessions& FSessions;
    TLogger& FLogger;
    TLocalizatorTable& FLocalizer;
    const std::vector<TRequestFilter> FFilters;
    const TSignInHook FSignIn;
    const std::shared_ptr<TSecurityManager> FSecurity;
};

} // namespace zutools::server
