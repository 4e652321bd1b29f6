// zuhost users: the users of a database, their profiles and rights.

#include "apps/zuhost/Commands.h"
#include "apps/zuhost/DatabaseManager.h"
#include "apps/zuhost/PasswordInput.h"
#include "apps/zuhost/ServeChecks.h"
#include "apps/zuhost/SetupUsers.h"

#include "host/Exception.h"
#include "host/StringHelpers.h"
#include "platform/Text.h"
#include "server/rights/Profiles.h"
#include "server/rights/SqlSecurity.h"
#include "server/rights/Users.h"
#include "server/sql/Schema.h"
#include "server/web/Config.h"

#include <nlohmann/json.hpp>

#include <algorithm>

namespace zutools::zuhost {

namespace {

using TJson = nlohmann::ordered_json;
using namespace zutools::server;

constexpr const char* Footer =
    R"(ACTION is one of
  list                     the users, with profile and attributes
  add USER                 a new user, with --profile and --administrator
  password USER            another password
  profile USER [PROFILE]   another profile; without PROFILE none
  set USER NAME [VALUE]    an attribute, such as Department; without VALUE none
  administrator USER yes|no  whether the user may do everything
  disable USER             the user can neither sign in nor do anything
  enable USER              the user can again
  remove USER              the user is gone
  profiles                 the profiles
  rights PROFILE           what the profile's users may do
  grant PROFILE TABLE OPERATION  one more right, for the records of --filter
  revoke PROFILE TABLE [OPERATION]  takes rights on the table away
  remove-profile PROFILE   the profile is gone; no user may have it

Passwords are asked for, or are one line of standard input. TABLE may be "*", every
table; OPERATION is view, edit, delete, insert or all. As long as a database has no
user, everybody may do everything. The tables are made when there are none.

Examples:
  zuhost users --database sqlite3://orders.db --create grant Clerks Orders view
  zuhost users --database sqlite3://orders.db grant Clerks Orders edit \
      --filter "Department = :Department"
  zuhost users --database sqlite3://orders.db add anna --profile Clerks
  zuhost users --database sqlite3://orders.db set anna Department Sales)";

struct TOptions {
    std::string Database;
    std::string ConfigFile;
    std::string Profile;
    std::string Filter;
    bool Create = false;
    bool Administrator = false;
    bool Json = false;
};

[[nodiscard]] std::string Utf8(std::u16string_view Value) {
    return platform::Utf16ToUtf8(Value);
}

void RequireFound(bool Found, std::string_view User) {
    if (!Found) throw Exception(u"there is no user \"" + Text(User) + u"\"");
}

void RequireProfile(const TProfiles& Profiles, std::string_view Profile) {
    if (!Profiles.Exists(Text(Profile))) throw Exception(u"there is no profile \"" + Text(Profile) + u"\"");
}

void ListUsers(const TUsers& Users, const TOptions& Options) {
    TJson Json = TJson::array();
    std::u16string Lines;
    for (const TStoredUser& User : Users.List()) {
        TJson Attributes = TJson::object();
        Lines += Cell(User.Name) + u"\t" + (User.Profile.empty() ? u"-" : Cell(User.Profile));
        if (User.Administrator) Lines += u"\tadministrator";
        if (User.Disabled) Lines += u"\tdisabled";
        for (const auto& [Name, Value] : User.Attributes) {
            Attributes[Utf8(Name)] = Utf8(Value);
            Lines += u"\t" + Cell(Name) + u"=" + Cell(Value);
        }
        Lines += u"\n";
        Json.push_back({{"name", Utf8(User.Name)},
                        {"profile", Utf8(User.Profile)},
                        {"administrator", User.Administrator},
                        {"disabled", User.Disabled},
                        {"attributes", Attributes}});
    }
    if (Options.Json) {
        WriteOut(Json.dump(2) + "\n");
    } else {
        WriteOut(Lines);
    }
}

void ListProfiles(const TProfiles& Profiles, const TOptions& Options) {
    TJson Json = TJson::array();
    std::u16string Lines;
    for (const std::u16string& Name : Profiles.List()) {
        Json.push_back(Utf8(Name));
        Lines += Cell(Name) + u"\n";
    }
    if (Options.Json) {
        WriteOut(Json.dump(2) + "\n");
    } else {
        WriteOut(Lines);
    }
}

void ListRights(const TProfiles& Profiles, const std::string& Profile, const TOptions& Options) {
    RequireProfile(Profiles, Profile);
    TJson Json = TJson::array();
    std::u16string Lines;
    for (const TPrivilege& Line : Profiles.Rights(Text(Profile))) {
        const std::u16string Right(RecordRightName(Line.Right));
        Json.push_back({{"table", Utf8(Line.TableName)},
                        {"operation", Utf8(Right)},
                        {"filter", Utf8(Line.RecordFilter)}});
        Lines += Cell(Line.TableName) + u"\t" + Right;
        if (!Line.RecordFilter.empty()) Lines += u"\t" + Cell(Line.RecordFilter);
        Lines += u"\n";
    }
    if (Options.Json) {
        WriteOut(Json.dump(2) + "\n");
    } else {
        WriteOut(Lines);
    }
}

void Add(TUsers& Users, const std::string& Name, const TOptions& Options) {
    if (Users.Find(Text(Name))) throw Exception(u"there is a user \"" + Text(Name) + u"\" already");
    TTypedPassword Password;
    ReadPassword(Text(Name), Password);
    Users.Add(Text(Name), Password.Text, Text(Options.Profile), Options.Administrator);
}

void ChangePassword(TUsers& Users, const std::string& Name) {
    const auto User = Users.Find(Text(Name));
    RequireFound(User.has_value(), Name); // before somebody types
    TTypedPassword Password;
    ReadPassword(Text(Name), Password);
    RequireFound(Users.SetPassword(Text(Name), Password.Text), Name);
    if (HasSetupPassword(*User)) Users.SetAttribute(Text(Name), SetupPasswordAttribute, {});
}

void SetAttribute(TUsers& Users, const TArguments& Words) {
    RequireFound(Users.Find(Text(Words[1])).has_value(), Words[1]);
    if (Words.size() == 4) {
        RequireFound(Users.SetAttribute(Text(Words[1]), Text(Words[2]), Text(Words[3])), Words[1]);
    } else if (!Users.RemoveAttribute(Text(Words[1]), Text(Words[2]))) {
        throw Exception(u"the user \"" + Text(Words[1]) + u"\" has no attribute \"" + Text(Words[2]) + u"\"");
    }
}

[[nodiscard]] bool ReadYesNo(const std::string& Word) {
    if (Word == "yes") return true;
    if (Word == "no") return false;
    throw EUsage("\"" + Word + "\" is neither yes nor no");
}

[[nodiscard]] std::vector<TRecordRight> ReadOperations(const std::string& Word) {
    if (SameText(Text(Word), u"all")) {
        return {TRecordRight::View, TRecordRight::Edit, TRecordRight::Delete, TRecordRight::Insert};
    }
    if (const auto Right = RecordRightOfName(Text(Word))) return {*Right};
    throw EUsage("\"" + Word + "\" is no operation, which is view, edit, delete, insert or all");
}

void Remove(TUsers& Users, TSqlSecurityManager& Security, const std::string& Name) {
    RequireFound(Users.Remove(Text(Name)), Name);
    if (!Security.IsSetUp()) Complain(u"warning: no user is left, so everybody may do everything now");
}

void Revoke(TProfiles& Profiles, const TArguments& Words) {
    RequireProfile(Profiles, Words[1]);
    int Lines = 0;
    if (Words.size() == 3) {
        Lines = Profiles.Revoke(Text(Words[1]), Text(Words[2]), std::nullopt);
    } else {
        for (const TRecordRight Right : ReadOperations(Words[3])) {
            Lines += Profiles.Revoke(Text(Words[1]), Text(Words[2]), Right);
        }
    }
    if (Lines == 0) throw Exception(u"the profile has no such right");
}

/// The action's arguments, or wrong usage.
void Expect(const TArguments& Words, std::size_t Least, std::size_t Most, std::string_view Form) {
    if (Words.size() <= Least || Words.size() > Most + 1) throw EUsage("use it as: " + std::string(Form));
}

void RunAction(const TArguments& Words, const TOptions& Options, const TDatabaseOfThread& Database) {
    TUsers Users(Database);
    TProfiles Profiles(Database);
    TSqlSecurityManager Security(Database);
    const std::string& Action = Words.front();
    if (Action == "list") {
        Expect(Words, 0, 0, "list");
        ListUsers(Users, Options);
    } else if (Action == "add") {
        Expect(Words, 1, 1, "add USER [--profile PROFILE] [--administrator]");
        Add(Users, Words[1], Options);
    } else if (Action == "password") {
        Expect(Words, 1, 1, "password USER");
        ChangePassword(Users, Words[1]);
    } else if (Action == "profile") {
        Expect(Words, 1, 2, "profile USER [PROFILE]");
        RequireFound(Users.SetProfile(Text(Words[1]), Words.size() > 2 ? Text(Words[2]) : u""), Words[1]);
    } else if (Action == "set") {
        Expect(Words, 2, 3, "set USER NAME [VALUE]");
        SetAttribute(Users, Words);
    } else if (Action == "administrator") {
        Expect(Words, 2, 2, "administrator USER yes|no");
        RequireFound(Users.SetAdministrator(Text(Words[1]), ReadYesNo(Words[2])), Words[1]);
    } else if (Action == "disable" || Action == "enable") {
        Expect(Words, 1, 1, Action + " USER");
        RequireFound(Users.SetDisabled(Text(Words[1]), Action == "disable"), Words[1]);
    } else if (Action == "remove") {
        Expect(Words, 1, 1, "remove USER");
        Remove(Users, Security, Words[1]);
    } else if (Action == "profiles") {
        Expect(Words, 0, 0, "profiles");
        ListProfiles(Profiles, Options);
    } else if (Action == "rights") {
        Expect(Words, 1, 1, "rights PROFILE");
        ListRights(Profiles, Words[1], Options);
    } else if (Action == "grant") {
        Expect(Words, 3, 3, "grant PROFILE TABLE OPERATION [--filter TEXT]");
        for (const TRecordRight Right : ReadOperations(Words[3])) {
            Profiles.Grant(Text(Words[1]), {Text(Words[2]), Right, Text(Options.Filter)});
        }
    } else if (Action == "revoke") {
        Expect(Words, 2, 3, "revoke PROFILE TABLE [OPERATION]");
        Revoke(Profiles, Words);
    } else if (Action == "remove-profile") {
        Expect(Words, 1, 1, "remove-profile PROFILE");
        RequireProfile(Profiles, Words[1]);
        Profiles.Remove(Text(Words[1]));
    } else {
        throw EUsage("unknown action \"" + Action + "\"");
    }
}

int RunUsers(const TOptions& Options, const TArguments& Words) {
    if (Words.empty()) throw EUsage("the action is missing");
    if (Options.Database.empty() == Options.ConfigFile.empty()) {
        throw EUsage(Options.Database.empty() ? "--database or --config is missing"
                                              : "take --database or --config");
    }

    const std::u16string Url = Options.ConfigFile.empty() ? Text(Options.Database)
                                                          : LoadWebConfig(Text(Options.ConfigFile)).Database;
    if (Url.empty())
        throw Exception(u"the configuration \"" + Text(Options.ConfigFile) + u"\" names no database");
    // A service's configuration says where its database is to be; an argument may be a slip of the pen.
    if (!Options.Create && Options.ConfigFile.empty()) RequireDatabaseFile(Url);
    TDatabaseManager Manager(u"en", Url);
    UpgradeSchema(Manager.Connection());
    RunAction(Words, Options, [&Manager] { return &Manager.Connection(); });
    return ExitGood;
}

} // namespace

TJob DeclareUsers(TDeclaration& Takes) {
    const auto Options = std::make_shared<TOptions>();
    Takes.Footer(Footer);
    Takes.Option("--database", Options->Database, "URL",
                 "sqlite3://FILE or postgresql://user@host:port/name");
    Takes.Flag("--create", Options->Create, "make the SQLite file of --database when it is not there");
    Takes.Option("--config", Options->ConfigFile, "FILE", "take the database of a service's configuration");
    Takes.Option("--profile", Options->Profile, "PROFILE", "add: the user's profile");
    Takes.Flag("--administrator", Options->Administrator, "add: the user may do everything");
    Takes.Option("--filter", Options->Filter, "TEXT", "grant: the records, such as \"Department = 'Sales'\"");
    Takes.Flag("--json", Options->Json, "list, profiles, rights: print JSON");
    return [Options](const TArguments& Words) { return RunUsers(*Options, Words); };
}

} // namespace zutools::zuhost
