// The users of an application: who they are, and whether somebody is who he says.
//
// Kept in the host's own tables ZuUsers and ZuUserAttributes. Names of users compare ignoring letter case;
// the name as it was given at first is the canonical one. What a user may do is told by the profile
// (Profiles.h).
//
//     TUsers Users([&Pool] { return &Pool.Get(); });
//     std::u16string User;
//     switch (Users.SignIn(Name, Password, User)) { ... }

#pragma once

#include "host/Security.h"
#include "platform/Clock.h"
#include "server/rights/HashThreads.h"
#include "server/rights/Passwords.h"
#include "server/rights/RightsTables.h"

#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace zutools::server {

/// A user as stored. The password's hash stays inside.
struct TStoredUser {
    std::u16string Name;
    std::u16string Profile; // empty: none
    bool Administrator = false;
    bool Disabled = false;
    std::map<std::u16string, std::u16string> Attributes;
};

/// Any thread may call. Everything that changes runs in one transaction, or in the one that the calling
/// thread has open. Every method @throws EDatabaseError from the database and ERightsError without one.
class TUsers {
public:
    /// Wrong passwords in a row before a name has to wait.
    static constexpr int FreeFailures = 5;

    /// `Database` gives the calling thread's connection, its tables upgraded. `Clock` outlives this object.
    /// `Places` of those who sign in at once; hashes run on threads of their own.
    explicit TUsers(TDatabaseOfThread Database, const platform::TClock& Clock = platform::SystemClock(),
                    THashCost Cost = THashCost::Interactive(), unsigned Places = 4);

    /// Ok: `Who` is the user; otherwise it is empty. Takes the time of a hash, whether the user exists or
    /// not, except for Wait, which comes at once: also when every place is taken. After FreeFailures wrong
    /// passwords for a name it has to wait, 5 seconds at first, twice as long after each further one, 15
    /// minutes at most; a good sign-in or an hour without failures starts anew. The try is counted before the
    /// password is looked at, so that tries at once are not more than tries in a row.
    /// @throws ERightsError inside a transaction, where the count could be rolled back, and without memory.
    [[nodiscard]] TSignInResult SignIn(std::u16string_view Name, std::u16string_view Password,
                                       TSignedInUser& Who);
    /// The stamp that a session of this user must have; nothing when there is no such user or he is disabled.
    [[nodiscard]] std::optional<std::int64_t> SessionStamp(std::u16string_view Name) const;

    /// @throws ERightsError when there is a user of that name, for a name or password that cannot be one, and
    /// for an unknown profile; an empty profile is none.
    void Add(std::u16string_view Name, std::u16string_view Password, std::u16string_view Profile,
             bool Administrator);
    // The rest is false when there is no such user.
    /// Ends the user's sessions.
    bool Remove(std::u16string_view Name);
    /// Ends the user's sessions, and his waiting. @throws ERightsError for what cannot be a password.
    bool SetPassword(std::u16string_view Name, std::u16string_view Password);
    /// @throws ERightsError for an unknown profile; an empty one is none.
    bool SetProfile(std::u16string_view Name, std::u16string_view Profile);
    bool SetAdministrator(std::u16string_view Name, bool Administrator);
    /// A disabled user cannot sign in and may do nothing; his sessions end.
    bool SetDisabled(std::u16string_view Name, bool Disabled);
    /// What record filters speak of: `:Department`. Names of attributes ignore the case of A to Z.
    /// @throws ERightsError for a name that is no word of letters, digits and "_", or is UserName or Profile.
    bool SetAttribute(std::u16string_view Name, std::u16string_view Attribute, std::u16string_view Value);
    /// False also when the user has no such attribute.
    bool RemoveAttribute(std::u16string_view Name, std::u16string_view Attribute);

    [[nodiscard]] std::optional<TStoredUser> Find(std::u16string_view Name) const;
    /// In the order of the names.
    [[nodiscard]] std::vector<TStoredUser> List() const;

private:
    [[nodiscard]] TSqlDatabase& Database() const { return RightsDatabase(FDatabase); }
    [[nodiscard]] std::int64_t Now() const;
    [[nodiscard]] bool CountTry(TSqlDatabase& Database, std::u16string_view Key);
    bool Update(std::u16string_view Name, std::u16string_view Assignment, const TKXVariant& Value);
    void RequireProfile(TSqlDatabase& Database, std::u16string_view Profile) const;
    [[nodiscard]] std::vector<TStoredUser> Read(std::u16string_view Where, TRightsParams Params) const;

    const TDatabaseOfThread FDatabase;
    const platform::TClock& FClock;
    TPasswordHasher FHasher;
    THashThreads FThreads;
};

} // namespace zutools::server
