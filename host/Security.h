// Who may do what with which record.
//
// The record blocker asks in three steps: the user as stored now, what that user may do with a table, and
// whether that covers a record. Any thread may ask; implementations guard themselves.

#pragma once

#include "host/UserTables.h"

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace zutools {

struct TServices;

/// Operations on a record; the ordinals are those that rights are stored with.
enum class TRecordRight : std::uint8_t { View = 0, Edit = 1, Delete = 2, Insert = 3 };

/// "view", "edit", "delete", "insert".
[[nodiscard]] std::u16string_view RecordRightName(TRecordRight Right);
/// Ignores the case of A to Z.
[[nodiscard]] std::optional<TRecordRight> RecordRightOfName(std::u16string_view Name);

/// One line of a profile.
struct TPrivilege {
    std::u16string TableName; // "*" means every table
    TRecordRight Right = TRecordRight::View;
    std::u16string RecordFilter; // empty: every record
};

/// A user with profile and privileges, as read at one moment.
struct TUserInfo {
    std::u16string UserName;
    std::u16string Profile;
    bool Administrator = false;                          // may look at and release the blocks of others
    std::map<std::u16string, std::u16string> Attributes; // what record filters speak of: "Department", ...
    std::vector<TPrivilege> Privileges;
};

/// What one user may do with one table.
struct TTableRights {
    bool Granted = false;
    std::vector<std::u16string> RecordFilters; // one of them must cover the record; none: every record
    TUserInfo User;
    TRecordRight Right = TRecordRight::View; // the operation that was asked for
};

/// What becomes of a name and a password.
enum class TSignInResult : std::uint8_t {
    Ok,
    Refused, // wrong name or password, or a disabled user: which one is not told
    Wait,    // too many wrong passwords for this name, known or not, or too much to do: "try again later"
};

/// Whom a name and a password were right for.
struct TSignedInUser {
    std::u16string Name; // as stored
    /// Becomes another one when the user's sessions are to end: by a new password, when he is disabled or
    /// removed. A user made later under the same name has another one.
    std::int64_t Stamp = 0;
};

class TSecurityManager {
public:
    virtual ~TSecurityManager() = default;
    /// The user as stored now; an unknown one has no privileges. May raise.
    [[nodiscard]] virtual TUserInfo RefreshUserInfo(std::u16string_view UserName) = 0;
    /// What the user's privileges say about a table and an operation. May raise.
    [[nodiscard]] virtual TTableRights
    BuildTableRightsFilter(const TUserInfo& User, std::u16string_view Table, TRecordRight Right) = 0;
    /// Whether the rights cover the record: as it was read and as it is to be written. May raise.
    [[nodiscard]] virtual bool CheckRecordRights(const TTableRights& Rights, const TUserTable& Record) = 0;
};

/// Whether a user may do something with a record, by these services: what pages ask before they show one. The
/// empty name is nobody's. A record that is not there may not be viewed, edited or deleted, unless the user
/// may so with every one of the table, which is told without reading it. With an empty RecordID for Insert:
/// whether the user may insert records at all; the filters look at them when they are saved.
/// @throws whatever the services raise.
[[nodiscard]] bool UserMay(const TServices& Services, std::u16string_view UserName, TRecordRight Right,
                           std::u16string_view Table, std::u16string_view RecordID);

/// For applications without users: everybody may do everything.
class TOpenSecurityManager : public TSecurityManager {
public:
    [[nodiscard]] TUserInfo RefreshUserInfo(std::u16string_view UserName) override;
    [[nodiscard]] TTableRights BuildTableRightsFilter(const TUserInfo& User, std::u16string_view Table,
                                                      TRecordRight Right) override;
    [[nodiscard]] bool CheckRecordRights(const TTableRights& Rights, const TUserTable& Record) override;
};

} // namespace zutools
