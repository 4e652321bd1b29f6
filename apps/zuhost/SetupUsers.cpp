#include "apps/zuhost/SetupUsers.h"

#include "host/Exception.h"
#include "host/Format.h"
#include "host/StringHelpers.h"

#include <algorithm>

namespace zutools::zuhost {

namespace {

using namespace zutools::server;

TSetupUsers& Self(TObject& Target) {
    return static_cast<TSetupUsers&>(Target);
}

void Add(TObject& Target, TScriptArgs Args) {
    server::TUsers& Users = Self(Target).Users;
    Users.Add(Args[0].AsString(), Args[1].AsString(), Args[2].AsString(), Args[3].AsBoolean());
    Users.SetAttribute(Args[0].AsString(), SetupPasswordAttribute, u"yes");
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

constexpr TScriptMember ScriptNames[] = {
    ScriptProperty(
        u"Count", 0,
        [](TObject& Target, TScriptArgs) -> TKXVariant {
            return static_cast<std::int64_t>(Self(Target).Users.List().size());
        },
        nullptr, u"how many users there are"),
    ScriptProcedure(u"Add", 4, Add, u"(name, password, profile, administrator): a new user"),
    ScriptProcedure(u"SetAttribute", 3, SetAttribute,
                    u"(name, attribute, value): what record filters ask of a user"),
    ScriptProcedure(
        u"Grant", 4, Grant,
        u"(profile, table, operation, filter): what users of a profile may do with which records"),
};

} // namespace

bool HasSetupPassword(const TStoredUser& User) {
    return std::ranges::any_of(User.Attributes, [](const auto& Attribute) {
        return SameText(Attribute.first, SetupPasswordAttribute) && !Attribute.second.empty();
    });
}

bool HasSetupUsers(const TDatabaseOfThread& Database) {
    return std::ranges::any_of(TUsers(Database).List(), [](const TStoredUser& User) {
        return HasSetupPassword(User) && !User.Disabled;
    });
}

const TClassInfo& TSetupUsers::StaticClass() {
    static constexpr TClassInfo Info{
        .Name = u"TSetupUsers",
        .Parent = &TIObject::StaticClass,
        .Script = ScriptNames,
        .Global = {.Name = u"SetupUsers", .Help = u"in the setup module of a service with a database only"},
        .Help = u"The first users of an application, and what they may do."};
    return Info;
}

const TClassInfo& TSetupUsers::ClassInfo() const {
    return StaticClass();
}

} // namespace zutools::zuhost
