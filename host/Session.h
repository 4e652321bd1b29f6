// The user session of the calling thread, as scripts and the record blocker see it.

#pragma once

#include "host/ScriptObjects.h"

#include <string>

namespace zutools {

/// Stands in ThreadObjects() under "Session" while a thread serves a session.
class TSession : public TIObject {
public:
    static const TClassInfo& StaticClass();
    [[nodiscard]] const TClassInfo& ClassInfo() const override;

    std::u16string SID;        // session identifier, published read-only
    std::u16string USR;        // user name, published read-only; empty before sign-in
    std::u16string LanguageID; // language chosen for this session; empty means the default
};

/// The name under which the session stands in ThreadObjects().
inline constexpr std::u16string_view SessionObjectName = u"Session";

/// The calling thread's session, or null.
[[nodiscard]] TSession* CurrentSession();

} // namespace zutools
