// The session of the page that runs: its object on the thread, and what the page may do with it.

#pragma once

#include "host/Services.h"
#include "host/Session.h"
#include "server/lua/SessionControl.h"
#include "server/web/AddressGate.h"
#include "server/web/Sessions.h"
#include "server/web/WebObjects.h"

#include <chrono>
#include <functional>
#include <string>
#include <string_view>

namespace zutools::server {

/// The parameter of the sign-in page that tells where the user wanted to go.
inline constexpr std::u16string_view BackParam = u"back";

/// Checks a password, and tells the user as stored when it is right; on worker threads, several at once. May
/// raise, and may take its time.
using TSignInHook =
    std::function<TSignInResult(std::u16string_view User, std::u16string_view Password, TSignedInUser& Who)>;

/// While it lives the calling thread serves the session of the lease: it stands in ThreadObjects(), and
/// `Request` knows it. At the end everything that is kept for the thread is dropped. Everything must outlive
/// it.
class TPageSession : public TSessionControl {
public:
    /// Tries to sign in pass `Gate`, which counts them by the request's address.
    TPageSession(TSessionLease& Lease, TWebRequest& Request, const TSignInHook& Hook, TAddressGate& Gate,
                 std::chrono::seconds Idle, TLogger& Logger);
    ~TPageSession() override;
    TPageSession(const TPageSession&) = delete;
    TPageSession& operator=(const TPageSession&) = delete;

    [[nodiscard]] TSignInResult SignIn(std::u16string_view User, std::u16string_view Password) override;
    void SignOut() override;
    [[nodiscard]] std::u16string Back() const override;
    [[nodiscard]] std::u16string FormToken() const override { return FRequest.FormToken; }
    [[nodiscard]] std::optional<std::u16string> Value(std::u16string_view Name) const override;
    void SetValue(std::u16string_view Name, std::optional<std::u16string> Value) override;
    [[nodiscard]] std::chrono::seconds Idle() const override { return FIdle; }
    /// Whether somebody was not let in.
    [[nodiscard]] bool WasRefused() const { return FRefused; }

private:
    void CheckThread() const;
    void Renew(const TSignedInUser& User);

    TSessionLease& FLease;
    TWebRequest& FRequest;
    const TSignInHook& FHook;
    TAddressGate& FGate;
    const std::chrono::seconds FIdle;
    TLogger& FLogger;
    TSession* FSession; // in ThreadObjects()
    bool FRefused = false;
};

} // namespace zutools::server
