#include "host/Session.h"

#include "host/ThreadContainer.h"

namespace zutools {

namespace {

constexpr TPropInfo Properties[] = {
    {u"SID", TTypeKind::tkUString, u"string",
     [](const TObject& Self) { return TKXVariant(static_cast<const TSession&>(Self).SID); }, nullptr,
     u"the session's ID"},
    {u"USR", TTypeKind::tkUString, u"string",
     [](const TObject& Self) { return TKXVariant(static_cast<const TSession&>(Self).USR); }, nullptr,
     u"the user's name; empty when nobody signed in"},
};

} // namespace

const TClassInfo& TSession::StaticClass() {
    static constexpr TClassInfo Info{
        .Name = u"TSession",
        .Parent = &TIObject::StaticClass,
        .Properties = Properties,
        .Global = {u"Session", []() -> TObject* { return CurrentSession(); },
                   u"the session of the calling thread; its names are nil without one"},
        .Help = u"Who the calling thread works for."};
    return Info;
}

const TClassInfo& TSession::ClassInfo() const {
    return StaticClass();
}

TSession* CurrentSession() {
    return ObjectCast<TSession>(ThreadObjects().Get(SessionObjectName));
}

} // namespace zutools
