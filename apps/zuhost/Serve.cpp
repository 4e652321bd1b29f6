// zuhost serve: the web host from its configuration file to its end by a signal.

#include "apps/zuhost/AdminAnswer.h"
#include "apps/zuhost/Application.h"
#include "apps/zuhost/Commands.h"
#include "apps/zuhost/Dev.h"
#include "apps/zuhost/HelperProcess.h"
#include "apps/zuhost/Reload.h"
#include "apps/zuhost/ServeChecks.h"
#include "apps/zuhost/ServiceManager.h"
#include "apps/zuhost/ServiceSignals.h"
#include "host/Exception.h"
#include "platform/Text.h"
#include "recordlock/Zurecblk.h"
#include "server/sql/SqlWork.h"
#include "server/web/AdminHttp.h"
#include "server/web/AdminSocket.h"
#include "server/web/Config.h"
#include "server/web/Metrics.h"
#include "server/web/Server.h"
#include "server/web/Sockets.h"
#include "server/web/SpdLogger.h"

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
  zuhost serve --config orders.toml --check
  zuhost serve --config orders.toml --dev)";

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

/// Called between two looks for signals, while somebody works on the application; empty for a service.
using TDevLook = std::function<void()>;

void WaitForStop(const TServiceSignals& Signals, const TServiceManager& ServiceManager,
                 const TConfigReader& Read, const TDevLook& DevLook, TLiveConfig& Live,
                 const TServices& Services, TDatabaseManager& Manager, TWebServer& Server,
                 TSpdLogger& Logger) {
    const std::string Status = "serving on " + Server.Url();
    ServiceManager.Ready(Status);
    while (true) {
        ServiceManager.Alive();
        if (DevLook) DevLook();
        constexpr std::chrono::seconds DevPause{1};
        switch (Signals.Wait(DevLook ? DevPause : WaitPause(Live.Get()->Session.Idle, ServiceManager))) {
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

void Serve(const TConfigReader& Read, std::u16string_view ConfigFile, bool Dev) {
    const TServiceManager ServiceManager;
    const TServiceSignals Signals;
    const TWebConfig Config = Read();
    const auto Logger = std::make_shared<TSpdLogger>(Config.Log.Level, Config.Log.File,
                                                     Config.Log.Json ? TLogFormat::Json : TLogFormat::Text);
    if (Dev) RequireLoopback(Config);
    const auto Recent = Dev ? std::make_shared<TRecentLog>(Logger) : nullptr;
    const std::shared_ptr<TLogger> Log = Dev ? std::shared_ptr<TLogger>(Recent) : Logger;
    const TApplication Application(Config, Log);
    if (Dev) CheckApplication(Config, *Log);
    const auto Watch = std::make_shared<TDatabaseWatch>(Config, *Logger);
    Application.CheckUsers();
    const TServices& Services = Application.Services;

    TWebServerHooks Hooks = Application.Hooks();
    Hooks.Available = [Watch] { return Watch->IsThere(); };
    Hooks.Access = [Logger](const TAccess& Access) { Logger->LogAccess(Access); };
    if (Dev) Hooks.RecentLog = [Recent] { return Recent->Lines(); };
    TWebServer Server(Config, std::move(Hooks), *Log, *Services.Localizer);
    if (Dev) Server.LoadSessions(ReadDevSessions(ConfigFile));
    Server.Start();
    std::vector<std::unique_ptr<THelperProcess>> Helpers;
    for (const THelperConfig& Each : Config.Helpers)
        Helpers.push_back(std::make_unique<THelperProcess>(Each, *Logger));
    auto Admin = StartAdmin(Config.Admin, ConfigFile, Server, *Logger);
    const auto Http = StartAdminHttp(Config.Admin, Server, *Logger);
    Complain(u"serving on " + Text(Server.Url()));
    TDevLook DevLook;
    if (Dev) {
        DevLook = [&, Stamp = SourceStamp(Config, ConfigFile)]() mutable {
            const std::uint64_t Now = SourceStamp(*Application.Live->Get(), ConfigFile);
            if (std::exchange(Stamp, Now) == Now) return;
            ReloadService(Read, *Application.Live, Services, Server, *Logger);
            CheckApplication(*Application.Live->Get(), *Log);
        };
    }
    WaitForStop(Signals, ServiceManager, Read, DevLook, *Application.Live, Services, *Application.Manager,
                Server, *Logger);

    if (Dev) WriteDevSessions(ConfigFile, Server.SaveSessions());
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
    bool Dev = false;
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
    Takes.Flag("--dev", Options->Dev,
               "For work on the application, on this machine only: errors with their sources and the log on "
               "the page, "
               "changes taken over at once, sessions that survive a restart");
    return [Options](const TArguments& Names) {
        RefuseNames(Names);
        const std::u16string File = Options->ConfigFile.empty() ? u"zuhost.toml" : Text(Options->ConfigFile);
        const TConfigReader Read = [&] {
            TWebConfig Config = LoadWebConfig(File);
            if (Options->Port) Config.Port = static_cast<std::uint16_t>(*Options->Port);
            return Config;
        };
        if (Options->Check) return CheckOnly(Read());
        Serve(Read, File, Options->Dev);
        return ExitGood;
    };
}

} // namespace zutools::zuhost
