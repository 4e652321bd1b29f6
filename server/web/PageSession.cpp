#include "server/web/PageSession.h"

#include "core/Lthdata.h"
#include "host/ThreadContainer.h"
#include "platform/Text.h"
#include "server/web/HttpText.h"

namespace zutools::server {

TPageSession::TPageSession(TSessionLease& Lease, TWebRequest& Request, const TSignInHook& Hook,
                           TAddressGate& Gate, std::chrono::seconds Idle, TLogger& Logger)
    : FLease(Lease)
    , FRequest(Request)
    , FHook(Hook)
    , FGate(Gate)
    , FIdle(Idle)
    , FLogger(Logger) {
    auto Session = std::make_unique<TSession>();
    FSession = Session.get();
    Session->SID = Lease.State().SID;
    Session->USR = Lease.State().USR;
    Session->LanguageID = Request.Language;
    ThreadObjects().Add(SessionObjectName, std::move(Session));
    Request.Session = this;
}

TPageSession::~TPageSession() {
    FRequest.Session = nullptr;
    // Nothing of one page is seen by the next: published objects, last errors, what keeps blocks alive.
    ReleaseCurrentThreadData();
    ThreadObjects().Clear();
}

TSignInResult TPageSession::SignIn(std::u16string_view User, std::u16string_view Password) {
    CheckThread();
    if (!FHook) throw EIObjectError(u"session.sign_in: this service has no users");
    const std::string Address = platform::Utf16ToUtf8(FRequest.RemoteAddress);
    TSignedInUser Who;
    TSignInResult Result = TSignInResult::Wait;
    if (FGate.TryTake(Address)) Result = FHook(User, Password, Who);
    FRefused = Result != TSignInResult::Ok;
    if (FRefused) {
        // Without the name: users type passwords there.
        FLogger.Log(TLogLevel::Warning,
                    u"sign-in " +
                        std::u16string(Result == TSignInResult::Wait ? u"has to wait" : u"refused") +
                        u", from " + FRequest.RemoteAddress);
        return Result;
    }
    FGate.GiveBack(Address);
    Renew(Who);
    FLogger.Log(TLogLevel::Info, u"signed in: " + Who.Name + u", session " + FLease.State().SID);
    return Result;
}

void TPageSession::SignOut() {
    CheckThread();
    const std::u16string User = FLease.State().USR;
    Renew({});
    if (!User.empty()) FLogger.Log(TLogLevel::Info, u"signed out: " + User);
}

std::u16string TPageSession::Back() const {
    const std::u16string Wanted = FRequest.Params.Value(BackParam);
    return IsLocalPath(Wanted) ? Wanted : u"/";
}

std::optional<std::u16string> TPageSession::Value(std::u16string_view Name) const {
    const auto& Values = FLease.State().Values;
    const auto Found = Values.find(Name);
    return Found == Values.end() ? std::nullopt : std::optional(Found->second);
}

void TPageSession::SetValue(std::u16string_view Name, std::optional<std::u16string> Value) {
    CheckThread();
    if (!FLease.SetValue(Name, std::move(Value)))
        throw EIObjectError(u"session.values: a session may hold 16384 characters of values");
}

void TPageSession::CheckThread() const {
    if (CurrentSession() == FSession) return;
    throw EIObjectError(u"session: only the page itself signs in and out, not zu.as_session");
}

void TPageSession::Renew(const TSignedInUser& User) {
    FLease.Renew(User);
    const TSessionState& State = FLease.State();
    FSession->SID = State.SID;
    FSession->USR = State.USR;
    FRequest.FormToken.assign(State.FormToken.begin(), State.FormToken.end());
}

} // namespace zutools::server
