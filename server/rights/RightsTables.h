// What the units of this folder share: keys of user names, and statements on the rights tables.
//
// The tables are made by server/sql/Schema.cpp.

#pragma once

#include "server/rights/Passwords.h"
#include "server/sql/SqlDatabase.h"

#include <cstddef>
#include <initializer_list>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace zutools::server {

/// The most characters in the name of a user, profile, table or attribute.
inline constexpr std::size_t MaxRightsName = 100;

/// What user names are compared by: letter case and the ways to compose a character do not count, on every
/// system alike. None for a name that no user can have: empty, too long, blanks at an end, control
/// characters, half of a character pair.
[[nodiscard]] std::optional<std::u16string> UserKey(std::u16string_view Name);

/// @throws ERightsError for a name that cannot be stored; `Kind` is "user", "profile", ...
void RequireGoodName(std::u16string_view Kind, std::u16string_view Name);

/// @throws ERightsError when there is no database.
[[nodiscard]] TSqlDatabase& RightsDatabase(const TDatabaseOfThread& Database);

struct TRightsParam {
    std::u16string_view Name;
    TKXVariant Value; // a text or a whole number
};
using TRightsParams = std::initializer_list<TRightsParam>;

/// Runs a statement; the number of rows affected. @throws EDatabaseError.
int ExecRights(TSqlDatabase& Database, std::u16string_view Statement, TRightsParams Params);
/// An open query. @throws EDatabaseError.
[[nodiscard]] std::unique_ptr<TSelectQuery> OpenRights(TSqlDatabase& Database, std::u16string_view Statement,
                                                       TRightsParams Params = {});

} // namespace zutools::server
