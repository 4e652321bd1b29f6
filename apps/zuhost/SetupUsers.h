// SetupUsers: the first users of an application and what they may do, for its setup module and for nobody
// else. Pages never see it.

#pragma once

#include "host/ScriptObjects.h"
#include "server/rights/Profiles.h"
#include "server/rights/Users.h"

#include <utility>

namespace zutools::zuhost {

/// The attribute of a user whose password stands in a setup module, until it is changed.
inline constexpr std::u16string_view SetupPasswordAttribute = u"SetupPassword";

/// Whether he could sign in with a password that stands in a setup module.
[[nodiscard]] bool HasSetupPassword(const server::TStoredUser& User);
[[nodiscard]] bool HasSetupUsers(const TDatabaseOfThread& Database);

/// Script names: .Count (of users), Add(name, password, profile, administrator),
/// SetAttribute(name, attribute, value), Grant(profile, table, operation, filter). Each raises what Users.h
/// and Profiles.h say.
class TSetupUsers : public TIObject {
public:
    explicit TSetupUsers(const TDatabaseOfThread& Database)
        : Users(Database)
        , Profiles(Database) {}
    static const TClassInfo& StaticClass();
    [[nodiscard]] const TClassInfo& ClassInfo() const override;

    server::TUsers Users;
    server::TProfiles Profiles;
};

} // namespace zutools::zuhost
