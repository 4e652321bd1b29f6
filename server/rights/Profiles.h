// Profiles: what their users may do with which table. Kept in ZuProfiles and ZuPrivileges.

#pragma once

#include "host/Security.h"
#include "server/rights/RightsTables.h"

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace zutools::server {

/// Any thread may call. Changes run as those of TUsers do. Names of profiles compare exactly, names of tables
/// ignoring the case of A to Z. Every method @throws EDatabaseError from the database and ERightsError
/// without one.
class TProfiles {
public:
    explicit TProfiles(TDatabaseOfThread Database)
        : FDatabase(std::move(Database)) {}

    /// In the order of the database.
    [[nodiscard]] std::vector<std::u16string> List() const;
    [[nodiscard]] bool Exists(std::u16string_view Profile) const;
    /// A new profile without rights; false when there is one of that name. @throws ERightsError.
    bool Add(std::u16string_view Profile);
    /// With its rights; false when there is none. @throws ERightsError while users have it.
    bool Remove(std::u16string_view Profile);
    /// The lines in the order of their granting.
    [[nodiscard]] std::vector<TPrivilege> Rights(std::u16string_view Profile) const;
    /// One more line; the same line twice is one. Makes the profile when there is none.
    /// @throws ERightsError for names that cannot be stored, ERecordFilter for a filter that does not parse.
    void Grant(std::u16string_view Profile, const TPrivilege& Line);
    /// Takes the lines of a table, or those of one right of it; how many there were.
    int Revoke(std::u16string_view Profile, std::u16string_view Table, std::optional<TRecordRight> Right);

private:
    [[nodiscard]] TSqlDatabase& Database() const { return RightsDatabase(FDatabase); }
    const TDatabaseOfThread FDatabase;
};

} // namespace zutools::server
