#include "apps/zuhost/Application.h"

#include "apps/zuhost/ServeChecks.h"
#include "apps/zuhost/SetupUsers.h"
#include "checking/Chekprms.h"
#include "checking/Dbchprms.h"
#include "checking/Presets.h"
#include "recordlock/Zurecblk.h"
#include "server/lua/LuaEngine.h"
#include "server/rights/SqlSecurity.h"
#include "server/rights/Users.h"
#include "server/sql/Migrations.h"
#include "server/sql/Schema.h"
#include "server/strings/JsonLocalizator.h"
#include "server/web/LuaModuleRunner.h"
#include "server/web/ValueFilter.h"
#include "templates/Ztstmplcache.h"

#include <algorithm>
#include <optional>
#include <utility>

namespace zutools::zuhost {

namespace {

using namespace zutools::server;

/// Keys without texts come out as they are, which is hard to tell from missing files.
void WarnOfLanguages(const TWebConfig& Config, const TServices& Services) {
    const auto* const Strings = dynamic_cast<const TJsonLocalizator*>(Services.Localizer.get());
    if (Strings == nullptr) return;
    for (const std::u16string& Language : Config.Languages) {
        if (Strings->HasLanguage(Language)) continue;
        Services.Logger->Log(TLogLevel::Warning, u"no strings for the language \"" + Language + u"\"");
    }
}

/// What the configuration's libraries publish to an engine.
using TPublisher = std::function<void(TScriptPublisher&)>;

TLuaOptions LuaOptions(const TWebConfig& Config, const TServices& Services, TDatabaseManager& Manager,
                       const TPublisher& Publisher) {
    TLuaOptions Options = WebLuaOptions(Config);
    Options.Publish = Publisher;
    Options.Services = Services;
    Options.Database = [&Manager] { return Manager.GetDatabase(); };
    Options.ThreadEnd = [&Manager] { Manager.ReleaseThread(); };
    return Options;
}

/// The application's own preparations: as a module, but without a request and without an end to its work, and
/// with SetupUsers to make the first users.
void RunSetup(const TWebConfig& Config, const TServices& Services,
              const std::shared_ptr<TDatabaseManager>& Manager, const TPublisher& Publisher) {
    if (Config.Setup.empty()) return;
    TLuaOptions Options = LuaOptions(Config, Services, *Manager, Publisher);
    Options.InstructionLimit = 0;
    TLuaEngine Engine(std::move(Options));
    std::optional<TSetupUsers> Users;
    if (!Config.Database.empty()) Engine.SetGlobal("SetupUsers", Users.emplace(DatabaseOf(Manager)));
    Engine.RunModule(Config.Setup);
}

/// The host's own tables, the reserved filters, what the application prepares, and the filter that is to be
/// used: by one program at a time, so that the first starts of several do it once.
void Prepare(const TWebConfig& Config, const TServices& Services,
             const std::shared_ptr<TDatabaseManager>& Manager, const TPublisher& Publisher) {
    std::optional<TSchemaLock> Lock;
    if (!Config.Database.empty()) {
        Lock.emplace(Manager->Connection());
        UpgradeSchema(*Lock);
        if (!Config.Migrations.empty()) RunAppMigrations(*Lock, Config.Migrations);
        SeedReservedFilters(TCheckParamsDBConfig(*Manager));
        if (!Config.Filter.empty()) LoadValueFilter(*ParamsChecker, Config.Filter);
    }
    RunSetup(Config, Services, Manager, Publisher);
}

/// The application's preparations may have made users, so it is asked after them.
void CheckUsers(const TWebConfig& Config, const std::shared_ptr<TDatabaseManager>& Manager, TLogger& Logger) {
    const bool HasUsers = !Config.Database.empty() && TSqlSecurityManager(DatabaseOf(Manager)).IsSetUp();
    RequireUsers(Config, HasUsers);
    if (!Config.Database.empty() && !HasUsers) {
        Logger.Log(TLogLevel::Warning,
                   u"the database has no users, so everybody may do everything with its records; "
                   u"make users with `zuhost users`");
    }
    for (const std::u16string& Warning : Warnings(Config, HasUsers && HasSetupUsers(DatabaseOf(Manager))))
        Logger.Log(TLogLevel::Warning, Warning);
}

/// Passwords are those of the users in the database.
void AddUsers(TWebServerHooks& Hooks, const TWebConfig& Config,
              const std::shared_ptr<TDatabaseManager>& Manager) {
    if (Config.Database.empty()) return;
    // Pages wait for their hashes: some workers are always left for others.
    const unsigned Places = std::max(1U, Config.Limits.Threads / 2);
    const auto Users = std::make_shared<TUsers>(DatabaseOf(Manager), platform::SystemClock(),
                                                THashCost::Interactive(), Places);
    Hooks.SignIn = [Users](std::u16string_view User, std::u16string_view Password, TSignedInUser& Who) {
        return Users->SignIn(User, Password, Who);
    };
    Hooks.UserStamp = [Users](std::u16string_view User) { return Users->SessionStamp(User); };
    Hooks.SweepThreadEnd = [Manager] { Manager->ReleaseThread(); };
}

/// Visitors have no records once there are users. The configuration is asked each time: it may be read anew.
void GuardTables(TDatabaseManager& Manager, const std::shared_ptr<TSecurityManager>& Users,
                 const std::shared_ptr<TLiveConfig>& Live) {
    // Weak: the users ask their database of this manager. Without them nothing opens.
    const std::weak_ptr<TSqlSecurityManager> Known = std::dynamic_pointer_cast<TSqlSecurityManager>(Users);
    Manager.SetGuard([Live, Known](std::u16string_view Table) {
        std::shared_ptr<TSqlSecurityManager>(Known)->RequireUser(Table, Live->Get()->AnonymousTables);
    });
}

} // namespace

TApplication::TApplication(const TWebConfig& Config, const std::shared_ptr<TLogger>& Logger)
    : Live(std::make_shared<TLiveConfig>(Config))
    , Manager(std::make_shared<TDatabaseManager>(Config.DefaultLanguage, Config.Database,
                                                 Config.DatabaseTimeouts,
                                                 /*Confined=*/true))
    , Services(MakeServices(Manager, Logger, Config.Strings))
    , FLibrary(Services, Config.Templates, Config.Libraries)
    , FPublisher(FLibrary.Publisher()) {
    GuardTables(*Manager, Services.Security, Live);
    WarnOfLanguages(Config, Services);
    ZTSTemplateCache->SetEnabled(true);
    RequireDatabaseFile(Config);
    Prepare(Config, Services, Manager, FPublisher);
}

void TApplication::CheckUsers() const {
    zuhost::CheckUsers(*Live->Get(), Manager, *Services.Logger);
    Manager->ReleaseThread();
}

TWebServerHooks TApplication::Hooks() const {
    const TWebConfig Config = *Live->Get();
    TWebServerHooks Hooks;
    if (!Config.Filter.empty()) Hooks.Filters.push_back(MakeValueFilter(*ParamsChecker, *Services.Localizer));
    Hooks.MakeRunner = [Live = Live, Services = Services, Manager = Manager, Publisher = FPublisher] {
        return std::make_unique<TLuaModuleRunner>(LuaOptions(*Live->Get(), Services, *Manager, Publisher));
    };
    Hooks.SessionEnded = [](const TSessionState& Session) { ZURecordBlocker->DoneBySID(Session.SID); };
    Hooks.HoldsSomething = [](std::u16string_view SID) { return ZURecordBlocker->HasBlocks(SID); };
    AddUsers(Hooks, Config, Manager);
    Hooks.Security = Services.Security;
    return Hooks;
}

} // namespace zutools::zuhost
