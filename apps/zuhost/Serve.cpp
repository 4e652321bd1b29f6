// zuhost serve: the web host from its configuration file to its end by a signal.

#include "apps/zuhost/AdminAnswer.h"
#include "apps/zuhost/Commands.h"
#include "apps/zuhost/DatabaseManager.h"
#include "apps/zuhost/HelperProcess.h"
#include "apps/zuhost/Library.h"
#include "apps/zuhost/Reload.h"
#include "apps/zuhost/ServeChecks.h"
#include "apps/zuhost/ServiceManager.h"
#include "apps/zuhost/ServiceSignals.h"
#include "apps/zuhost/SetupUsers.h"
#include "checking/Chekprms.h"
#include "checking/Dbchprms.h"
#include "checking/Presets.h"
#include "host/Exception.h"
#include "platform/Text.h"
#include "recordlock/Zurecblk.h"
#include "server/lua/LuaEngine.h"
#include "server/rights/SqlSecurity.h"
#include "server/rights/Users.h"
#include "server/sql/Schema.h"
#include "server/sql/SqlWork.h"
#include "server/strings/JsonLocalizator.h"
#include "server/web/AdminHttp.h"
#include "server/web/AdminSocket.h"
#include "server/web/Config.h"
#include "server/web/LuaModuleRunner.h"
#include "server/web/Metrics.h"
#include "server/web/Server.h"
#include "server/web/Sockets.h"
#include "server/web/SpdLogger.h"
#include "server/web/ValueFilter.h"
#include "templates/Ztstmplcache.h"

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <functional>
#include <memory>
#include <optional>
#include <utility>

namespace zutools::zuhost {

namespace {

using namespace zutools::server;

constexpr const char* Footer =
    R"(Answers web requests with the script modules that the configuration names, until
it is interrupted (Ctrl+C) or told to end (SIGTERM, SIGQUIT); requests that have
arrived are finished, a second signal ends it at once. SIGHUP reads configuration,
languages and templates anew, SIGUSR1 reopens the log, which goes to standard
error unless the configuration names a file.

Examples:
  zuhost serve --config orders.toml
  zuhost serve --config orders.toml --port 8081
  zuhost serve --config orders.toml --check)";

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

/// A service without the endpoint still serves.
std::unique_ptr<TAdminSocket> StartAdmin(const TAdminConfig& Admin, std::u16string_view ConfigFile,
                                         TWebServer& Server, TLogger& Logger) {
    if (!Admin.Enabled) return nullptr;
    try {
        std::u16string Path = Admin.Socket.empty() ? DefaultAdminSocket(ConfigFile) : Admin.Socket;
        return std::make_unique<TAdminSocket>(
            std::move(Path),
            [&Server, &Logger](std::string_view Question, const std::u16string& User) {
                return AnswerAdmin(Server, Logger, Question, User);
            },
            Logger);
    } catch (const std::exception& Error) {
        Logger.Log(TLogLevel::Warning, u"no administrative endpoint: " + MessageOf(Error));
        return nullptr;
    }
}

std::string MetricsText(const TWebServer& Server) {
    const TSqlWork Work = SqlWorkOfProcess();
    const auto Counter = [](std::string_view Name, std::string_view Help, double Value) {
        return MetricText(Name, "counter", Help, Value);
    };
    return Server.MetricsText() +
           MetricText("zuhost_record_blocks", "gauge", "Record blocks that are held.",
                      static_cast<double>(ZURecordBlocker->BlockCount())) +
           Counter("zuhost_database_statements_total", "Statements run.",
                   static_cast<double>(Work.Statements)) +
           Counter("zuhost_database_failures_total", "Statements and commits that failed.",
                   static_cast<double>(Work.Failures)) +
           Counter("zuhost_database_seconds_total",
                   "Time in the database and waiting for it, of all threads.",
                   std::chrono::duration<double>(Work.Time).count());
}

/// Told in the log, since the port may be any free one. @throws what TAdminHttp does: who watches a service
/// relies on it.
std::unique_ptr<TAdminHttp> StartAdminHttp(const TAdminConfig& Admin, TWebServer& Server, TLogger& Logger) {
    if (Admin.HttpAddress.empty()) return nullptr;
    auto Http = std::make_unique<TAdminHttp>(
        Admin.HttpAddress, Admin.HttpPort,
        [&Server](std::string_view Path) -> TAdminAnswer {
            if (Path == "/metrics") return {200, MetricsText(Server)};
            if (Path != "/healthz") return {404, "there are /healthz and /metrics\n"};
            const bool Healthy = Server.IsHealthy();
            return {Healthy ? 200 : 503, Healthy ? "ok\n" : "no pages now, the log tells why\n"};
        },
        Logger);
    Logger.Log(TLogLevel::Info, u"health and metrics on " + AddressText(Admin.HttpAddress, Http->Port()));
    return Http;
}

/// Between two looks for sessions that are over: short against their time.
std::chrono::seconds SweepPause(std::chrono::seconds Idle) {
    return std::clamp(Idle / 4, std::chrono::seconds(1), std::chrono::seconds(15));
}

/// The same, and short against the watchdog's time.
std::chrono::seconds WaitPause(std::chrono::seconds Idle, const TServiceManager& ServiceManager) {
    const std::chrono::seconds Pause = SweepPause(Idle);
    const auto Alive = std::chrono::floor<std::chrono::seconds>(ServiceManager.AlivePause());
    return ServiceManager.AlivePause().count() == 0 ? Pause
                                                    : std::clamp(Alive, std::chrono::seconds(1), Pause);
}

/// `serve --check`: everything that is wrong, a line each on standard error.
int CheckOnly(const TWebConfig& Config) {
    for (const std::u16string& Warning : Warnings(Config, false)) Complain(u"warning: " + Warning);
    const std::vector<std::u16string> Faults = FaultsBesideConfig(Config);
    for (const std::u16string& Fault : Faults) Complain(Fault);
    if (!Faults.empty()) return ExitFailed;
    WriteOut(std::string_view("ok\n"));
    return ExitGood;
}

/// The configuration as its file says now, with what the command line says.
using TConfigReader = std::function<TWebConfig()>;

/// What a stop leaves for the last words, beyond the time of pages.
constexpr std::chrono::milliseconds LastWords{250};

void WaitForStop(const TServiceSignals& Signals, const TServiceManager& ServiceManager,
                 const TConfigReader& Read, TLiveConfig& Live, const TServices& Services,
                 TDatabaseManager& Manager, TWebServer& Server, TSpdLogger& Logger) {
    const std::string Status = "serving on " + Server.Url();
    ServiceManager.Ready(Status);
    while (true) {
        ServiceManager.Alive();
        switch (Signals.Wait(WaitPause(Live.Get()->Session.Idle, ServiceManager))) {
        case TServiceSignals::TAsked::Stop:
            ServiceManager.Stopping();
            return Signals.EndWithin(std::chrono::seconds(Live.Get()->Limits.StopSeconds) + LastWords);
        case TServiceSignals::TAsked::Reload:
            ServiceManager.Reloading();
            ReloadService(Read, Live, Services, Server, Logger);
            Manager.ReleaseThread();
            ServiceManager.Ready(Status);
            break;
        case TServiceSignals::TAsked::ReopenLog:
            ReopenLog(Live.Get()->Log, Logger);
            break;
        case TServiceSignals::TAsked::Unknown:
            Logger.Log(TLogLevel::Info, u"SIGUSR2 came, for which nothing is to be done");
            break;
        case TServiceSignals::TAsked::Nothing:
            Server.SweepSessions();
            break;
        }
    }
}

void Serve(const TConfigReader& Read, std::u16string_view ConfigFile) {
    const TServiceManager ServiceManager;
    const TServiceSignals Signals;
    const TWebConfig Config = Read();
    const auto Live = std::make_shared<TLiveConfig>(Config);
    const auto Logger = std::make_shared<TSpdLogger>(Config.Log.Level, Config.Log.File,
                                                     Config.Log.Json ? TLogFormat::Json : TLogFormat::Text);
    const auto Manager =
        std::make_shared<TDatabaseManager>(Config.DefaultLanguage, Config.Database, Config.DatabaseTimeouts,
                                           /*Confined=*/true);
    const auto Security = std::make_shared<TSqlSecurityManager>(DatabaseOf(Manager));
    Manager->SetGuard([Live, Security](std::u16string_view Table) {
        Security->RequireUser(Table, Live->Get()->AnonymousTables);
    });
    const TServices Services = MakeServices(Manager, Logger, Config.Strings);
    WarnOfLanguages(Config, Services);
    const TLibrary Library(Services, Config.Templates, Config.Libraries);
    const TPublisher Publisher = Library.Publisher();
    ZTSTemplateCache->SetEnabled(true);
    RequireDatabaseFile(Config);
    Prepare(Config, Services, Manager, Publisher);
    const auto Watch = std::make_shared<TDatabaseWatch>(Config, *Logger);
    CheckUsers(Config, Manager, *Logger);
    Manager->ReleaseThread();

    TWebServerHooks Hooks;
    if (!Config.Filter.empty()) Hooks.Filters.push_back(MakeValueFilter(*ParamsChecker, *Services.Localizer));
    Hooks.MakeRunner = [Live, Services, Manager, Publisher] {
        return std::make_unique<TLuaModuleRunner>(LuaOptions(*Live->Get(), Services, *Manager, Publisher));
    };
    Hooks.SessionEnded = [](const TSessionState& Session) { ZURecordBlocker->DoneBySID(Session.SID); };
    Hooks.Available = [Watch] { return Watch->IsThere(); };
    Hooks.Access = [Logger](const TAccess& Access) { Logger->LogAccess(Access); };
    Hooks.HoldsSomething = [](std::u16string_view SID) { return ZURecordBlocker->HasBlocks(SID); };
    AddUsers(Hooks, Config, Manager);
    Hooks.Security = Services.Security;
    TWebServer Server(Config, std::move(Hooks), *Logger, *Services.Localizer);
    Server.Start();
    std::vector<std::unique_ptr<THelperProcess>> Helpers;
    for (const THelperConfig& Each : Config.Helpers)
        Helpers.push_back(std::make_unique<THelperProcess>(Each, *Logger));
    auto Admin = StartAdmin(Config.Admin, ConfigFile, Server, *Logger);
    const auto Http = StartAdminHttp(Config.Admin, Server, *Logger);
    Complain(u"serving on " + Text(Server.Url()));
    WaitForStop(Signals, ServiceManager, Read, *Live, Services, *Manager, Server, *Logger);

    if (!Server.Stop()) {
        // A module that does not end cannot be taken off its thread: the process takes it along.
        Logger->Log(TLogLevel::Warning, u"stopped while a page was still being made");
        std::_Exit(0);
    }
    Admin.reset();
    Logger->Log(TLogLevel::Info, u"stopped");
}

struct TOptions {
    std::string ConfigFile;
    std::optional<int> Port;
    bool Check = false;
};

} // namespace

TJob DeclareServe(TDeclaration& Takes) {
    const auto Options = std::make_shared<TOptions>();
    Takes.Footer(Footer);
    Takes.Option("--config", Options->ConfigFile, "FILE", "Configuration; zuhost.toml when not given");
    Takes.Option("--port", Options->Port, {0, 65535}, "N",
                 "Port in place of the configured one; 0 takes any free one");
    Takes.Flag("--check", Options->Check,
               "Tell everything that is wrong with the configuration and what it names, and exit");
    return [Options](const TArguments& Names) {
        RefuseNames(Names);
        const std::u16string File = Options->ConfigFile.empty() ? u"zuhost.toml" : Text(Options->ConfigFile);
        const TConfigReader Read = [&] {
            TWebConfig Config = LoadWebConfig(File);
            if (Options->Port) Config.Port = static_cast<std::uint16_t>(*Options->Port);
            return Config;
        };
        if (Options->Check) return CheckOnly(Read());
        Serve(Read, File);
        return ExitGood;
    };
}

} // namespace zutools::zuhost
