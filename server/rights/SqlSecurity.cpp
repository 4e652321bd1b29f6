#include "server/rights/SqlSecurity.h"

#include "host/Format.h"
#include "host/Session.h"
#include "host/StringHelpers.h"
#include "server/rights/RecordFilter.h"

#include <algorithm>
#include <vector>

namespace zutools::server {

namespace {

// The user, the privileges, the attributes and whether there are users at all, as they are at one moment.
constexpr std::u16string_view ReadUser =
    u"SELECT 0 AS Kind, u.Name AS A, u.Profile AS B, u.Administrator AS N, 0 AS Place FROM ZuUsers u "
    u"WHERE u.NameKey = :Key AND u.Disabled = 0 "
    u"UNION ALL SELECT 1, p.TableName, p.RecordFilter, p.Operation, p.ID FROM ZuUsers u "
    u"JOIN ZuPrivileges p ON p.Profile = u.Profile WHERE u.NameKey = :Key AND u.Disabled = 0 "
    u"UNION ALL SELECT 2, a.Attribute, a.Value, 0, 0 FROM ZuUsers u "
    u"JOIN ZuUserAttributes a ON a.NameKey = u.NameKey WHERE u.NameKey = :Key AND u.Disabled = 0 "
    u"UNION ALL SELECT 3, '', '', 0, 0 WHERE NOT EXISTS (SELECT 1 FROM ZuUsers) "
    u"ORDER BY 1, 5";

[[nodiscard]] TUserInfo Anybody(std::u16string_view UserName) {
    return TOpenSecurityManager().RefreshUserInfo(UserName);
}

[[nodiscard]] bool AnyCovers(const std::vector<TRecordFilter>& Filters, const TTableRights& Rights,
                             const TUserTable& Record, TRecordState State) {
    bool Covered = false;
    for (const TRecordFilter& Filter : Filters) {
        if (Filter.Covers(Rights.User, Record, State)) Covered = true;
    }
    return Covered;
}

} // namespace

TSqlSecurityManager::TSqlSecurityManager(TDatabaseOfThread Database)
    : FDatabase(std::move(Database)) {}

bool TSqlSecurityManager::HasTables(TSqlDatabase& Database) {
    // Only that they are there is remembered: should they vanish, questions raise, and nothing is granted.
    if (!FHasTables) FHasTables = Database.TableExists(u"ZuUsers");
    return FHasTables;
}

bool TSqlSecurityManager::IsSetUp() {
    TSqlDatabase* const Database = SqlDatabaseOf(FDatabase);
    if (Database == nullptr || !HasTables(*Database)) return false;
    return OpenRights(*Database, u"SELECT Name FROM ZuUsers LIMIT 1")->Step();
}

void TSqlSecurityManager::RequireUser(std::u16string_view Table,
                                      std::span<const std::u16string> ForEverybody) {
    const TSession* const Session = CurrentSession();
    if (Session == nullptr || !Session->USR.empty()) return;
    if (std::ranges::any_of(ForEverybody, [Table](const auto& Each) { return SameText(Each, Table); }))
        return;
    if (!IsSetUp()) return;
    throw EUserTableError(
        Format(u"Records of %s are for users who have signed in; the configuration may open the "
               u"table to everybody: anonymous = [\"%s\"] in [rights]",
               {Table, Table}));
}

TUserInfo TSqlSecurityManager::RefreshUserInfo(std::u16string_view UserName) {
    TSqlDatabase* const Database = SqlDatabaseOf(FDatabase);
    if (Database == nullptr || !HasTables(*Database)) return Anybody(UserName);

    TUserInfo User;
    User.UserName = UserName;
    // A name that no user can have still learns whether there are users; no user has the empty key.
    const auto Query =
        OpenRights(*Database, ReadUser, {{u"Key", UserKey(UserName).value_or(std::u16string())}});
    while (Query->Step()) {
        const std::u16string A = Query->FieldAsString(u"A");
        const std::u16string B = Query->FieldAsString(u"B");
        switch (Query->FieldAsInteger(u"Kind")) {
        case 0:
            User.UserName = A;
            User.Profile = B;
            User.Administrator = Query->FieldAsInteger(u"N") != 0;
            break;
        case 1:
            User.Privileges.push_back({.TableName = A,
                                       .Right = static_cast<TRecordRight>(Query->FieldAsInteger(u"N")),
                                       .RecordFilter = B});
            break;
        case 2:
            User.Attributes[A] = B;
            break;
        default:
            return Anybody(UserName);
        }
    }
    return User;
}

TTableRights TSqlSecurityManager::BuildTableRightsFilter(const TUserInfo& User, std::u16string_view Table,
                                                         TRecordRight Right) {
    TTableRights Rights;
    Rights.User = User;
    Rights.Right = Right;
    if (User.Administrator) {
        Rights.Granted = true;
        return Rights;
    }
    bool EveryRecord = false;
    for (const TPrivilege& Line : User.Privileges) {
        if (Line.Right != Right || (Line.TableName != u"*" && !SameText(Line.TableName, Table))) continue;
        Rights.Granted = true;
        if (Line.RecordFilter.empty()) EveryRecord = true;
        Rights.RecordFilters.push_back(Line.RecordFilter);
    }
    if (EveryRecord) Rights.RecordFilters.clear();
    return Rights;
}

bool TSqlSecurityManager::CheckRecordRights(const TTableRights& Rights, const TUserTable& Record) {
    if (!Rights.Granted) return false;
    if (Rights.RecordFilters.empty()) return true;
    std::vector<TRecordFilter> Filters;
    Filters.reserve(Rights.RecordFilters.size());
    for (const std::u16string& Text : Rights.RecordFilters) Filters.emplace_back(Text);

    const bool IsNew = Rights.Right == TRecordRight::Insert;
    const bool IsWritten = IsNew || Rights.Right == TRecordRight::Edit;
    if (!IsNew && !AnyCovers(Filters, Rights, Record, TRecordState::Stored)) return false;
    return !IsWritten || AnyCovers(Filters, Rights, Record, TRecordState::Current);
}

} // namespace zutools::server
