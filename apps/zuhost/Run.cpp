// zuhost run: a Lua script with the library's objects, for one job.

#include "apps/zuhost/Commands.h"
#include "apps/zuhost/DatabaseManager.h"
#include "apps/zuhost/Library.h"

#include "host/Session.h"
#include "host/ThreadContainer.h"
#include "server/lua/LuaEngine.h"
#include "server/web/Config.h"

#include <CLI/CLI.hpp>

namespace zutools::zuhost {

namespace {

constexpr const char* Footer =
    R"(Everything behind SCRIPT.lua is the script's, which finds it in the table arg.
The standard Lua libraries are open, print writes to standard output. An error
that the script does not catch is told with its traceback and gives exit code 1.
`zuhost api` lists the objects that scripts can use.

Examples:
  zuhost run letters.lua --all
  zuhost run --templates pages --strings texts --database sqlite3://orders.db letters.lua
  zuhost run --config orders.toml letters.lua)";

/// The session of the main thread while the script runs.
class TSessionScope {
public:
    TSessionScope() {
        auto Session = std::make_unique<TSession>();
        Session->SID = u"zuhost";
        ThreadObjects().Add(SessionObjectName, std::move(Session));
    }
    ~TSessionScope() { ThreadObjects().Clear(); }
    TSessionScope(const TSessionScope&) = delete;
    TSessionScope& operator=(const TSessionScope&) = delete;
};

void CheckDatabase(std::u16string_view Url) {
    try {
        static_cast<void>(server::ParseDatabaseUrl(Url));
    } catch (const EDatabaseError& Error) {
        throw EUsage(Error.what());
    }
}

} // namespace

int RunScript(const TArguments& Arguments) {
    std::string ConfigFile;
    std::string Templates;
    std::string Strings;
    std::string Database;
    CLI::App App("Run a Lua script with the library's objects");
    Describe(App, "zuhost run [OPTIONS] SCRIPT.lua [ARG ...]", Footer);
    App.add_option("--config", ConfigFile,
                   "Configuration of `zuhost serve`, whose templates, strings and database hold")
        ->type_name("FILE");
    App.add_option("--templates", Templates, "Folder of the templates; the current one when not given")
        ->type_name("DIR");
    App.add_option("--strings", Strings, "Folder of the language files, <language>.json each")
        ->type_name("DIR");
    App.add_option("--database", Database, "sqlite3://FILE or postgresql://user@host:port/name")
        ->type_name("URL");
    App.prefix_command();
    if (!Parse(App, Arguments)) return ExitGood;
    TArguments Script = App.remaining();
    if (!Script.empty() && Script.front() == "--") {
        Script.erase(Script.begin());
    } else if (!Script.empty() && Script.front().starts_with('-')) {
        throw EUsage("unknown option " + Script.front());
    }
    if (Script.empty()) throw EUsage("the script's name is missing");
    const std::u16string File = Text(Script.front());
    Script.erase(Script.begin());

    server::TWebConfig Config;
    if (!ConfigFile.empty()) Config = server::LoadWebConfig(Text(ConfigFile));
    if (!Templates.empty()) Config.Templates = Text(Templates);
    if (!Strings.empty()) Config.Strings = Text(Strings);
    if (!Database.empty()) {
        CheckDatabase(Text(Database));
        Config.Database = Text(Database);
    }

    const auto Manager = std::make_shared<TDatabaseManager>(Config.DefaultLanguage, Config.Database);
    const TLibrary Library(MakeServices(Manager, std::make_shared<TShellLogger>(), Config.Strings),
                           Config.Templates);
    const TSessionScope Session;
    server::TLuaOptions Options;
    Options.Database = [&Manager] { return Manager->GetDatabase(); };
    Options.ThreadEnd = [&Manager] { Manager->ReleaseThread(); };
    server::TLuaEngine Engine(std::move(Options));
    Engine.RunFile(File, Script);
    return ExitGood;
}

} // namespace zutools::zuhost
