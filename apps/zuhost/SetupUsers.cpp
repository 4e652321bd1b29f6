#include "apps/zuhost/SetupUsers.h"

#include "host/Exception.h"
#include "host/Format.h"

namespace zutools::zuhost {

namespace {

using namespace zutools::server;

TSetupUsers& Self(TObject& Target) {
    return static_cast<TSetupUsers&>(Target);
}

void Add(TObject& Target, TScriptArgs Args) {
    Self(Target).Users.Add(Args[0].AsString(), Args[1].AsString(), Args[2].AsString(), Args[3].AsBoolean());
}

void SetAttribute(TObject& Target, TScriptArgs Args) {
    const std::u16string Name = Args[0].AsString();
    if (Self(Target).Users.SetAttribute(Name, Args[1].AsString(), Args[2].AsString())) return;
    throw EIObjectError(Format(u"there is no user \"%s\"", {Name}));
}

void Grant(TObject& Target, TScriptArgs Args) {
    const std::u16string Operation = Args[2].AsString();
    const auto Right = RecordRightOfName(Operation);
    if (!Right) throw EIObjectError(Format(u"\"%s\" is neither view, edit, delete nor insert", {Operation}));
    Self(Target).Profiles.Grant(Args[0].AsString(), {Args[1].AsString(), *Right, Args[3].AsString()});
}

} // namespace

const TClassInfo& TSetupUsers::StaticClass() {
    static constexpr TClassInfo Info{u"TSetupUsers", &TIObject::StaticClass};
    return Info;
}

const TClassInfo& TSetupUsers::ClassInfo() const {
    return StaticClass();
}

void RegisterSetupUsers(TScriptRegistry& Registry) {
    const TClassInfo& Class = TSetupUsers::StaticClass();
    Registry.RegisterClass(Class);
    Registry.RegisterProperty(
        Class, u"Count", 0,
        [](TObject& Target, TScriptArgs) -> TKXVariant {
            return static_cast<std::int64_t>(Self(Target).Users.List().size());
        },
        nullptr, true);
    Registry.RegisterProcedure(Class, u"Add", 4, Add);
    Registry.RegisterProcedure(Class, u"SetAttribute", 3, SetAttribute);
    Registry.RegisterProcedure(Class, u"Grant", 4, Grant);
}

void UnregisterSetupUsers(TScriptRegistry& Registry) {
    Registry.UnregisterClass(TSetupUsers::StaticClass());
}

} // namespace zutools::zuhost
