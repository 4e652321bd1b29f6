#include "apps/zuhost/ServeChecks.h"

#include "host/Exception.h"
#include "platform/Text.h"
#include "server/rights/SqlSecurity.h"
#include "server/sql/SqlDatabase.h"
#include "server/strings/JsonLocalizator.h"

#include <sys/stat.h>

#include <filesystem>

namespace zutools::zuhost {

namespace {

using namespace zutools::server;

/// The path of a SQLite database; empty for others.
std::u16string DatabaseFile(std::u16string_view Url) {
    if (Url.empty()) return {};
    std::u16string File = ParseDatabaseUrl(Url).File;
    return File == u":memory:" ? std::u16string() : File;
}

bool IsThere(std::u16string_view File) {
    std::error_code Ignored;
    return std::filesystem::exists(std::filesystem::path(File), Ignored);
}

} // namespace

bool IsLoopback(const std::string& Address) {
    return Address.starts_with("127.") || Address == "::1";
}

void RequireDatabaseFile(const TWebConfig& Config) {
    const std::u16string File = DatabaseFile(Config.Database);
    if (File.empty() || Config.CreateDatabase || !AsksForUsers(Config) || IsThere(File)) return;
    throw Exception(
        u"there is no database " + File +
        u", and routes ask for its users: put it back, make it with `zuhost users`, or let the service "
        u"make it with `create = true` in [database]");
}

void RequireDatabaseFile(std::u16string_view Url) {
    const std::u16string File = DatabaseFile(Url);
    if (File.empty() || IsThere(File)) return;
    throw Exception(u"there is no database " + File +
                    u": correct the path, or make a new database there with --create");
}

void RequireUsers(const TWebConfig& Config, bool HasUsers) {
    if (HasUsers || Config.Session.WithoutUsers || !AsksForUsers(Config)) return;
    throw Exception(
        u"routes ask for users, and the database has none, so that everybody may do everything: make "
        u"one with `zuhost users ... add NAME --administrator`, or serve all the same with "
        u"`without_users = true` in [session]");
}

std::vector<std::u16string> FaultsBesideConfig(const TWebConfig& Config) {
    std::vector<std::u16string> Faults;
    const auto Try = [&](const auto& Check) {
        try {
            Check();
        } catch (const std::exception& Error) {
            Faults.push_back(MessageOf(Error));
        }
    };
    Try([&] { RequireDatabaseFile(Config); });
    const std::u16string File = DatabaseFile(Config.Database);
    const bool IsMade = File.empty() || IsThere(File);
    if (!Config.Database.empty() && IsMade) {
        Try([&] {
            TDatabasePool Pool(Config.Database, {}, Config.DatabaseTimeouts);
            const auto Database = [&Pool] { return static_cast<TDatabase*>(&Pool.Get()); };
            // The setup module may make the first users.
            const bool HasUsers =
                Pool.Get().TableExists(u"ZuUsers") && TSqlSecurityManager(Database).IsSetUp();
            if (Config.Setup.empty()) RequireUsers(Config, HasUsers);
        });
    }
    if (!Config.Strings.empty()) {
        Try([&] {
            const TJsonLocalizator Strings(Config.Strings);
            for (const std::u16string& Language : Config.Languages) {
                if (!Strings.HasLanguage(Language))
                    Faults.push_back(u"no texts for the language \"" + Language + u"\" in " + Config.Strings);
            }
        });
    }
    return Faults;
}

std::vector<std::u16string> Warnings(const TWebConfig& Config, bool HasDemoUsers) {
    std::vector<std::u16string> Result;
    if (!IsLoopback(Config.Address)) {
        const std::u16string Beyond =
            u"the service listens on " + platform::Utf8ToUtf16(Config.Address) + u", beyond this machine, ";
        if (!Config.Session.Secure)
            Result.push_back(Beyond +
                             u"without `secure = true` in [session]: cookies and passwords travel in the "
                             u"open unless something in front speaks HTTPS");
        if (HasDemoUsers) {
            Result.push_back(Beyond +
                             u"with demo users, whose passwords everybody may know: remove them with "
                             u"`zuhost users`");
        }
    }
    struct stat Status = {};
    const std::u16string File = DatabaseFile(Config.Database);
    if (!File.empty() && ::stat(platform::Utf16ToUtf8(File).c_str(), &Status) == 0 &&
        (Status.st_mode & (S_IRGRP | S_IWGRP | S_IROTH | S_IWOTH)) != 0) {
        Result.push_back(u"other users of this machine may read or write the database " + File +
                         u": chmod 600 it, and the files beside it");
    }
    return Result;
}

TDatabaseWatch::TDatabaseWatch(const TWebConfig& Config, TLogger& Logger)
    : FFile(DatabaseFile(Config.Database))
    , FLogger(Logger)
    , FFirst(Look()) {}

bool TDatabaseWatch::IsThere() {
    const bool There = Look() == FFirst;
    if (There != FThere) {
        FLogger.Log(
            There ? TLogLevel::Info : TLogLevel::Error,
            u"the database " + FFile +
                (There ? u" is the one that is open again; pages are served"
                       : u" was deleted or replaced while it is open: pages are refused, for what they write "
                         u"would be lost; put the file back, or restart the service to use the new one"));
    }
    FThere = There;
    return There;
}

TDatabaseWatch::TIdentity TDatabaseWatch::Look() const {
    struct stat Status = {};
    if (FFile.empty() || ::stat(platform::Utf16ToUtf8(FFile).c_str(), &Status) != 0) return {};
    return {static_cast<std::uint64_t>(Status.st_dev), static_cast<std::uint64_t>(Status.st_ino)};
}

} // namespace zutools::zuhost
