// What a service must find before it serves, and what its operator should know.

#pragma once

#include "host/Services.h"
#include "server/web/Config.h"

#include <cstdint>
#include <string>
#include <vector>

namespace zutools::zuhost {

/// Whether only this machine reaches the address.
[[nodiscard]] bool IsLoopback(const std::string& Address);

/// A database that ought to be there is not made anew, empty and open to everybody.
/// @throws Exception when the SQLite file is missing although routes ask for users, unless the configuration
/// says `database.create`.
void RequireDatabaseFile(const server::TWebConfig& Config);
/// @throws Exception when the URL names a SQLite file that is not there, which a slip of the pen would make;
/// EDatabaseError for a malformed URL.
void RequireDatabaseFile(std::u16string_view Url);
/// @throws Exception when routes ask for users and there are none, unless it says `session.without_users`.
void RequireUsers(const server::TWebConfig& Config, bool HasUsers);

/// What stands in the way of serving, a sentence each, and nothing is made or changed for it: the database
/// that cannot be reached or has no users, languages without texts. The configuration itself has been read.
[[nodiscard]] std::vector<std::u16string> FaultsBesideConfig(const server::TWebConfig& Config);

/// What is allowed and yet seldom meant, one sentence each: listening beyond loopback without `secure`, with
/// users whose passwords are known, with a database file that others may read.
[[nodiscard]] std::vector<std::u16string> Warnings(const server::TWebConfig& Config, bool HasDemoUsers);

/// Notices when the file of a SQLite database is deleted or replaced while the service has it open: what it
/// would write then is lost.
class TDatabaseWatch {
public:
    /// Takes the file as it is now. Nothing is watched when there is none.
    TDatabaseWatch(const server::TWebConfig& Config, TLogger& Logger);
    /// Whether it is still that file; tells the log when that changes. One thread.
    [[nodiscard]] bool IsThere();

private:
    struct TIdentity {
        std::uint64_t Device = 0;
        std::uint64_t Node = 0;
        friend bool operator==(const TIdentity&, const TIdentity&) = default;
    };
    [[nodiscard]] TIdentity Look() const;

    const std::u16string FFile; // empty: nothing to watch
    TLogger& FLogger;
    const TIdentity FFirst;
    bool FThere = true;
};

} // namespace zutools::zuhost
