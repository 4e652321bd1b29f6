// zuhost run: a Lua script with the library's objects, for one job.

#include "apps/zuhost/Commands.h"
#include "apps/zuhost/DatabaseManager.h"
#include "apps/zuhost/Library.h"

#include "host/Session.h"
#include "host/ThreadContainer.h"
#include "server/lua/LuaEngine.h"
#include "server/web/Config.h"

#include <optional>

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

/// Beside the configuration: an empty value means none of it.
struct TOptions {
    std::string ConfigFile;
    std::optional<std::string> Templates;
    std::optional<std::string> Strings;
    std::optional<std::string> Database;
};

int RunScript(const TOptions& Options, TArguments Script) {
    if (Script.empty()) throw EUsage("the script's name is missing");
    const std::u16string File = Text(Script.front());
    Script.erase(Script.begin());

    server::TWebConfig Config;
    if (!Options.ConfigFile.empty()) Config = server::LoadWebConfig(Text(Options.ConfigFile));
    if (Options.Templates) Config.Templates = Text(*Options.Templates);
    if (Options.Strings) Config.Strings = Text(*Options.Strings);
    if (Options.Database) {
        Config.Database = Text(*Options.Database);
        if (!Config.Database.empty()) CheckDatabase(Config.Database);
    }

    const auto Manager =
        std::make_shared<TDatabaseManager>(Config.DefaultLanguage, Config.Database, Config.DatabaseTimeouts);
    const TServices Services = MakeServices(Manager, std::make_shared<TShellLogger>(), Config.Strings);
    const TLibrary Library(Services, Config.Templates, Config.Libraries);
    const TSessionScope Session;
    server::TLuaOptions Lua;
    Lua.Services = Services;
    Lua.Database = [&Manager] { return Manager->GetDatabase(); };
    Lua.ThreadEnd = [&Manager] { Manager->ReleaseThread(); };
    Lua.Publish = Library.Publisher();
    server::TLuaEngine Engine(std::move(Lua));
    Engine.RunFile(File, Script);
    return ExitGood;
}

} // namespace

TJob DeclareRun(TDeclaration& Takes) {
    const auto Options = std::make_shared<TOptions>();
    Takes.Footer(Footer);
    Takes.Option("--config", Options->ConfigFile, "FILE",
                 "Configuration of `zuhost serve`, whose templates, strings, database and libraries hold");
    Takes.Option("--templates", Options->Templates, "DIR",
                 "Folder of the templates; the current one when not given");
    Takes.Option("--strings", Options->Strings, "DIR", "Folder of the language files, <language>.json each");
    Takes.Option("--database", Options->Database, "URL",
                 "sqlite3://FILE or postgresql://user@host:port/name");
    Takes.NamesEndOptions(); // what follows the script is the script's
    return [Options](const TArguments& Script) { return RunScript(*Options, Script); };
}

} // namespace zutools::zuhost
