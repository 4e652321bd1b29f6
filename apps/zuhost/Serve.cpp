#include "apps/zuhost/Serve.h"

#include "apps/zuhost/DatabaseManager.h"
#include "checking/Chekprms.h"
#include "checking/Dbchprms.h"
#include "checking/Presets.h"
#include "host/Exception.h"
#include "host/Services.h"
#include "hosting/lua/LuaEngine.h"
#include "hosting/sql/Schema.h"
#include "hosting/strings/JsonLocalizator.h"
#include "hosting/web/Config.h"
#include "hosting/web/LuaModuleRunner.h"
#include "hosting/web/Server.h"
#include "hosting/web/SpdLogger.h"
#include "hosting/web/ValueFilter.h"
#include "hosting/web/WebObjects.h"
#include "package/ZuTools.h"
#include "platform/Text.h"
#include "templates/Ztstmplcache.h"

#include <pthread.h>
#include <signal.h>

#include <cerrno>
#include <cstdlib>
#include <ctime>
#include <iostream>
#include <memory>
#include <utility>

namespace zutools::zuhost {

namespace {

using namespace zutools::hosting;

void Tell(std::string_view Message) {
    std::cerr << "zuhost: " << Message << std::endl;
}

/// SIGINT and SIGTERM come to whoever waits for them here; made before all threads, which inherit it.
class TStopSignals {
public:
    TStopSignals() {
        sigemptyset(&FSignals);
        sigaddset(&FSignals, SIGINT);
        sigaddset(&FSignals, SIGTERM);
        pthread_sigmask(SIG_BLOCK, &FSignals, nullptr);
        // A reader that went away is an error of its write, not the end of the service.
        signal(SIGPIPE, SIG_IGN);
    }

    /// Blocks until one comes, calling `EachMinute` now and then.
    template <class TFunction>
    void Wait(const TFunction& EachMinute) const {
        const timespec Minute{60, 0};
        while (sigtimedwait(&FSignals, nullptr, &Minute) < 0) {
            if (errno == EAGAIN) EachMinute();
        }
    }

private:
    sigset_t FSignals;
};

/// The library with its services while it lives.
class TLibraryScope {
public:
    explicit TLibraryScope(TServices Given) {
        SetServices(std::move(Given));
        StartZuTools();
        RegisterWebObjects(ScriptRegistry());
    }
    ~TLibraryScope() {
        UnregisterWebObjects(ScriptRegistry());
        StopZuTools();
        SetServices({});
    }
    TLibraryScope(const TLibraryScope&) = delete;
    TLibraryScope& operator=(const TLibraryScope&) = delete;
};

std::shared_ptr<TLocalizatorTable> MakeLocalizer(const TWebConfig& Config, TLogger& Logger) {
    if (Config.Strings.empty()) return std::make_shared<TEmptyLocalizatorTable>();
    auto Strings = std::make_shared<TJsonLocalizator>(Config.Strings);
    for (const std::u16string& Language : Config.Languages) {
        if (!Strings->HasLanguage(Language)) {
            Logger.Log(TLogLevel::Warning, u"no strings for the language \"" + Language + u"\"");
        }
    }
    return Strings;
}

TLuaOptions LuaOptions(const TWebConfig& Config, TDatabaseManager& Manager) {
    TLuaOptions Options = WebLuaOptions(Config);
    Options.Database = [&Manager] { return Manager.GetDatabase(); };
    Options.ThreadEnd = [&Manager] { Manager.ReleaseThread(); };
    return Options;
}

/// The host's own tables, the reserved filters, and the filter that is to be used.
void PrepareDatabase(const TWebConfig& Config, TDatabaseManager& Manager) {
    if (Config.Database.empty()) return;
    UpgradeSchema(Manager.Connection());
    SeedReservedFilters(TCheckParamsDBConfig(Manager));
    if (!Config.Filter.empty()) LoadValueFilter(*ParamsChecker, Config.Filter);
    Manager.ReleaseThread();
}

/// The application's own preparations: as a module, but without a request and without an end to its work.
void RunSetup(const TWebConfig& Config, TDatabaseManager& Manager) {
    if (Config.Setup.empty()) return;
    TLuaOptions Options = LuaOptions(Config, Manager);
    Options.InstructionLimit = 0;
    TLuaEngine(std::move(Options)).RunModule(Config.Setup);
    Manager.ReleaseThread();
}

void Serve(TWebConfig Config) {
    const TStopSignals Signals;
    const auto Logger = std::make_shared<TSpdLogger>(Config.Log.Level, Config.Log.File);
    const auto Manager = std::make_shared<TDatabaseManager>(Config.DefaultLanguage, Config.Database);
    const auto Localizer = MakeLocalizer(Config, *Logger);
    const TLibraryScope Library({Manager, Localizer, Logger});
    if (!Config.Templates.empty()) ZTSTemplateCache->SetTemplateDirectory(Config.Templates);
    ZTSTemplateCache->SetEnabled(true);
    PrepareDatabase(Config, *Manager);
    RunSetup(Config, *Manager);

    TWebServerHooks Hooks;
    if (!Config.Filter.empty()) Hooks.Filters.push_back(MakeValueFilter(*ParamsChecker, *Localizer));
    Hooks.MakeRunner = [Config, Manager] {
        return std::make_unique<TLuaModuleRunner>(LuaOptions(Config, *Manager));
    };
    TWebServer Server(std::move(Config), std::move(Hooks), *Logger, *Localizer);
    Server.Start();
    Tell("serving on " + Server.Url());
    Signals.Wait([&Server] { Server.SweepSessions(); });

    if (!Server.Stop()) {
        // A module that does not end cannot be taken off its thread: the process takes it along.
        Logger->Log(TLogLevel::Warning, u"stopped while a page was still being made");
        std::_Exit(0);
    }
    Logger->Log(TLogLevel::Info, u"stopped");
}

} // namespace

int RunServe(const TServeOptions& Options) {
    try {
        TWebConfig Config = LoadWebConfig(Options.ConfigFile);
        if (Options.Port) Config.Port = *Options.Port;
        Serve(std::move(Config));
        return 0;
    } catch (const EScriptError& Error) {
        Tell(platform::Utf16ToUtf8(Error.Message() + u"\n" + Error.Traceback()));
    } catch (const std::exception& Error) {
        Tell(Error.what());
    }
    return 1;
}

} // namespace zutools::zuhost
