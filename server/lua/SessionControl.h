// What scripts of a web page may do with the session that they run in, for the global `session`.

#pragma once

#include "host/Object.h"
#include "host/Security.h"

#include <chrono>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace zutools::server {

/// An answer that takes bytes, which need not be text. Implemented by the object `response`.
class TByteAnswer {
public:
    virtual ~TByteAnswer() = default;
    /// In place of what was written. `FileName` is the one that browsers save it under; empty: they show it.
    virtual void SendBytes(std::string Bytes, std::u16string_view FileName,
                           std::u16string_view ContentType) = 0;
};

/// Texts that scripts see as a table, made anew each time.
class TTextList : public TObject {
public:
    static const TClassInfo& StaticClass();
    [[nodiscard]] const TClassInfo& ClassInfo() const override { return StaticClass(); }

    std::vector<std::u16string> Items;
};

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
    /// For the hidden field form_token of forms that write.
    [[nodiscard]] virtual std::u16string FormToken() const { return {}; }
    /// What pages keep for the session: a text by name; nothing when there is none.
    [[nodiscard]] virtual std::optional<std::u16string> Value(std::u16string_view /*Name*/) const {
        return {};
    }
    /// Nothing takes it out. @throws EIObjectError when that is more than a session may hold.
    virtual void SetValue(std::u16string_view /*Name*/, std::optional<std::u16string> /*Value*/) {}
    /// The session ends when nothing was asked for so long; zero: not known.
    [[nodiscard]] virtual std::chrono::seconds Idle() const { return {}; }
};

} // namespace zutools::server
