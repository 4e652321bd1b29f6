// What scripts of a web page may do with the session that they run in, for the global `session`.

#pragma once

#include "host/Security.h"

#include <chrono>
#include <string>
#include <string_view>

namespace zutools::server {

/// The session of one page; used on the thread of that page only, and gone after it.
class TSessionControl {
public:
    virtual ~TSessionControl() = default;
    /// Ok: from now on the calling thread's session is the user's, under another SID.
    /// @throws EIObjectError when there are no users, or the calling thread's session is not the page's.
    [[nodiscard]] virtual TSignInResult SignIn(std::u16string_view User, std::u16string_view Password) = 0;
    /// From now on the session is nobody's, under another SID. @throws as SignIn.
    virtual void SignOut() = 0;
    /// Where the user wanted to go before he was asked to sign in: a path on this host, "/" when nothing good
    /// was sent.
    [[nodiscard]] virtual std::u16string Back() const = 0;
    /// The session ends when nothing was asked for so long; zero: not known.
    [[nodiscard]] virtual std::chrono::seconds Idle() const { return {}; }
};

} // namespace zutools::server
