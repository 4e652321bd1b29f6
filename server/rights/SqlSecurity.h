// The rights of users as the host's database holds them.

#pragma once

#include "host/Security.h"
#include "server/rights/RightsTables.h"

#include <atomic>
#include <span>
#include <string>
#include <string_view>

namespace zutools::server {

/// Reads users, profiles and privileges anew for every question, so a change counts from the next one on. Any
/// thread may ask.
///
/// Rights are set up as soon as there is a user. Before that, and without a database or without the tables,
/// everybody may do everything, as with TOpenSecurityManager.
class TSqlSecurityManager : public TSecurityManager {
public:
    /// `Database` gives the calling thread's connection, or null.
    explicit TSqlSecurityManager(TDatabaseOfThread Database);

    /// Whether there are users. @throws EDatabaseError.
    [[nodiscard]] bool IsSetUp();

    /// Nothing for threads that serve no session, for a session with a user, for a table of `ForEverybody`
    /// and while there are no users: what is left, a visitor, has no records. @throws EUserTableError,
    /// EDatabaseError.
    void RequireUser(std::u16string_view Table, std::span<const std::u16string> ForEverybody);

    /// One query. A disabled user is as an unknown one: no privileges. @throws EDatabaseError.
    [[nodiscard]] TUserInfo RefreshUserInfo(std::u16string_view UserName) override;
    /// From the lines of the table and those of "*". An administrator may do everything.
    [[nodiscard]] TTableRights BuildTableRightsFilter(const TUserInfo& User, std::u16string_view Table,
                                                      TRecordRight Right) override;
    /// The record as it was read has to be covered by one of the filters, and, unless it is to be viewed or
    /// deleted, the record as it is to be written by the same or another one; of a record to be inserted only
    /// the latter. All filters are read, so a faulty one refuses even what another one covers.
    /// @throws ERecordFilter for a filter that cannot be used, EUserTableError from the record.
    [[nodiscard]] bool CheckRecordRights(const TTableRights& Rights, const TUserTable& Record) override;

private:
    [[nodiscard]] bool HasTables(TSqlDatabase& Database);

    const TDatabaseOfThread FDatabase;
    std::atomic<bool> FHasTables = false;
};

} // namespace zutools::server
