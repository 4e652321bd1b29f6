#include "host/Session.h"

#include "host/ThreadContainer.h"

namespace zutools {

namespace {

constexpr TPropInfo Properties[] = {
    {u"SID", TTypeKind::tkUString, u"string",
     [](const TObject& Self) { return TKXVariant(static_cast<const TSession&>(Self).SID); }, nullptr},
    {u"USR", TTypeKind::tkUString, u"string",
     [](const TObject& Self) { return TKXVariant(static_cast<const TSession&>(Self).USR); }, nullptr},
};

} // namespace

const TClassInfo& TSession::StaticClass() {
    static constexpr TClassInfo Info{u"TSession", &TIObject::StaticClass, Properties};
    return Info;
}

const TClassInfo& TSession::ClassInfo() const {
    return StaticClass();
}

TSession* CurrentSession() {
    return ObjectCast<TSession>(ThreadObjects().Get(SessionObjectName));
}

} // namespace zutools
