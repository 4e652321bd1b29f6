// zuhost test: Lua test files that ask an application for its pages, each on a database of its own.

#include "apps/zuhost/Application.h"
#include "apps/zuhost/Commands.h"

#include "host/Exception.h"
#include "host/Published.h"
#include "platform/Random.h"
#include "platform/Text.h"
#include "server/lua/LuaEngine.h"
#include "server/web/HttpText.h"
#include "server/web/PageHandler.h"

#include <algorithm>
#include <array>
#include <filesystem>
#include <optional>

namespace zutools::zuhost {

namespace {

using namespace zutools::server;
namespace fs = std::filesystem;

constexpr const char* Footer =
    R"(DIR is the folder of an application; its configuration is the one *.toml file there.
Runs the files of DIR/tests that end in .lua, in the order of their names, each
on a fresh database: a temporary SQLite file, or with --database a database of its
own on that PostgreSQL server, which is dropped afterwards. Pages run in this
process, no port is opened; helpers are not started. Exits with 1 when a test
fails. docs/testing.md tells what a test can ask.

Examples:
  zuhost test shop
  zuhost test shop --only sign
  zuhost test shop --database postgresql://me@127.0.0.1:5432/postgres)";

constexpr std::string_view Testing =
#include "apps/zuhost/Testing.inc"
    ;

/// Pages without a network: what a browser would send, and what it would get.
class TTestService : public TObject {
public:
    static const TClassInfo& StaticClass();
    const TClassInfo& ClassInfo() const override { return StaticClass(); }

    explicit TTestService(const TApplication& Application)
        : FConfig(*Application.Live->Get())
        , FHooks(Application.Hooks())
        , FServices(Application.Services)
        , FSessions({FConfig.Session.Idle, FConfig.Session.Count, FConfig.Session.Longest},
                    std::chrono::steady_clock::now, FHooks.SessionEnded)
        , FHandler(FConfig, FSessions, FGate, *FServices.Logger, *FServices.Localizer, FHooks)
        , FWorker(std::in_place, FHooks.MakeRunner) {}

    void Ask(std::u16string_view Method, std::u16string_view Target, std::u16string_view Form,
             std::u16string_view Headers) {
        TRawRequest Raw;
        Raw.Method = platform::Utf16ToUtf8(Method);
        Raw.RemoteAddress = "127.0.0.1";
        Raw.Form = platform::Utf16ToUtf8(Form);
        Raw.Headers = {{"Host", "test"}, {"Sec-Fetch-Site", "same-origin"}};
        const std::string Lines = platform::Utf16ToUtf8(Headers);
        for (std::string_view Rest = Lines; !Rest.empty();) {
            const std::string_view Line = CutNext(Rest, '\n');
            const std::size_t Colon = std::min(Line.find(':'), Line.size());
            Raw.Headers.emplace_back(Line.substr(0, Colon),
                                     TrimBlanks(Line.substr(std::min(Colon + 1, Line.size()))));
        }
        Raw.Json = RawHeader(Raw, "Content-Type") == "application/json";
        const std::string Bytes = platform::Utf16ToUtf8(Target);
        const auto Parts = SplitTarget(Bytes);
        const auto Path = Parts ? DecodePath(Parts->Path) : std::nullopt;
        const TRoute* const Route = Path ? FindRoute(FConfig.Routes, *Path) : nullptr;
        if (Route == nullptr) {
            FReply = ErrorReply(Path ? 404 : 400, *FServices.Localizer, FConfig.DefaultLanguage);
            return;
        }
        Raw.Path = *Path;
        Raw.Query = Parts->Query;
        FReply = FHandler.Handle(Raw, *Route, *FWorker).Reply;
    }

    int Failed = 0; // tests

    [[nodiscard]] int Status() const { return FReply.Status; }
    [[nodiscard]] std::u16string Body() const { return platform::Utf8ToUtf16(FReply.Body); }
    [[nodiscard]] std::u16string ContentType() const { return platform::Utf8ToUtf16(FReply.ContentType); }
    /// A line each.
    [[nodiscard]] std::u16string Headers() const {
        std::string Lines;
        for (const auto& [Name, Value] : FReply.Headers)
            Lines.append(Name).append(": ").append(Value).append("\n");
        return platform::Utf8ToUtf16(Lines);
    }
    [[nodiscard]] std::u16string SignInPath() const { return FConfig.Session.SignIn; }

private:
    const TWebConfig FConfig;
    const TWebServerHooks FHooks;
    const TServices FServices;
    TSessions FSessions;
    TAddressGate FGate;
    TPageHandler FHandler;
    std::optional<TWorker> FWorker;
    TReply FReply;
};

constexpr TPropInfo Properties[] = {
    PublishedProperty<&TTestService::Failed>(u"Failed", u"how many tests failed"),
    PublishedProperty<&TTestService::Status>(u"Status", u"of the last answer, as the next ones"),
    PublishedProperty<&TTestService::Body>(u"Body", u"its text"),
    PublishedProperty<&TTestService::ContentType>(u"ContentType", u"its kind"),
    PublishedProperty<&TTestService::Headers>(u"Headers", u"a line each"),
    PublishedProperty<&TTestService::SignInPath>(u"SignInPath", u"where users sign in"),
};
constexpr TMethodInfo Methods[] = {
    PublishedMethod<&TTestService::Ask, u"Method", u"Target", u"Form", u"Headers">(u"Ask",
                                                                                   u"asks for a page"),
};

const TClassInfo& TTestService::StaticClass() {
    static constexpr TClassInfo Info{.Name = u"TTestService",
                                     .Parent = &TObject::StaticClass,
                                     .Properties = Properties,
                                     .Methods = Methods,
                                     .Help = u"pages without a network"};
    return Info;
}

std::string RandomName() {
    std::array<std::byte, 8> Bytes{};
    platform::FillRandom(Bytes);
    return "zuhost_test_" + HexText(Bytes);
}

void Execute(std::u16string_view Url, const std::string& Statement) {
    TDatabasePool Pool(Url);
    const auto Query = Pool.Get().CreateExecQuery();
    Query->SetSQL(Text(Statement));
    Query->Execute();
}

/// A database that is gone afterwards.
class TTestDatabase {
public:
    explicit TTestDatabase(const std::string& Server)
        : FName(RandomName())
        , FServer(Text(Server))
        , FFolder(fs::temp_directory_path() / FName) {
        if (!FServer.empty()) {
            Execute(FServer, "CREATE DATABASE " + FName);
        } else {
            fs::create_directory(FFolder);
            fs::permissions(FFolder, fs::perms::owner_all);
        }
    }
    ~TTestDatabase() {
        try {
            if (!FServer.empty()) {
                Execute(FServer, "DROP DATABASE " + FName + " WITH (FORCE)");
            } else {
                fs::remove_all(FFolder);
            }
        } catch (const std::exception& Error) {
            Complain(u"the database of the test stays: " + MessageOf(Error));
        }
    }
    TTestDatabase(const TTestDatabase&) = delete;
    TTestDatabase& operator=(const TTestDatabase&) = delete;

    [[nodiscard]] std::u16string Url() const {
        if (FServer.empty()) return u"sqlite3://" + (FFolder / "test.db").u16string();
        const std::size_t Slash = FServer.find(u'/', FServer.find(u"://") + 3);
        const std::size_t Query = std::min(FServer.find(u'?'), FServer.size());
        return FServer.substr(0, std::min(Slash, Query)) + u"/" + Text(FName) + FServer.substr(Query);
    }

private:
    const std::string FName;
    const std::u16string FServer;
    const fs::path FFolder;
};

/// The log of the tests, told when one fails.
class TQuietLogger : public TLogger {
public:
    void Log(TLogLevel Level, std::u16string_view Text) noexcept override {
        if (Level >= TLogLevel::Warning && Lines.size() < MostLines) Lines.emplace_back(Text);
    }
    std::vector<std::u16string> Lines;

private:
    static constexpr std::size_t MostLines = 200;
};

/// Sorted; none in a folder that is not there.
std::vector<fs::path> FilesIn(const fs::path& Folder, std::string_view Extension) {
    std::vector<fs::path> Found;
    if (!fs::is_directory(Folder)) return Found;
    for (const auto& Each : fs::directory_iterator(Folder))
        if (Each.path().extension() == Extension) Found.push_back(Each.path());
    std::ranges::sort(Found);
    return Found;
}

fs::path ConfigOf(const fs::path& Folder) {
    const std::vector<fs::path> Found = FilesIn(Folder, ".toml");
    if (Found.size() == 1) return Found.front();
    throw EUsage(Found.empty() ? "there is no *.toml in " + Folder.string()
                               : "there are several *.toml in " + Folder.string() + ": take --config");
}

struct TOptions {
    std::string Config;
    std::string Database;
    std::string Only;
};

/// How many tests failed.
int RunTests(const fs::path& File, const fs::path& ConfigFile, const TOptions& Options) {
    const TTestDatabase Database(Options.Database);
    TWebConfig Config = LoadWebConfig(ConfigFile.u16string());
    Config.Database = Database.Url();
    Config.CreateDatabase = true;
    Config.Limits.PageSeconds = 0;
    const auto Logger = std::make_shared<TQuietLogger>();
    const TApplication Application(Config, Logger);
    Logger->Lines.clear();
    TTestService Service(Application);
    TLuaOptions Lua;
    Lua.Services = Application.Services;
    Lua.Database = [&Application] { return Application.Manager->GetDatabase(); };
    Lua.ModuleDirectory = File.parent_path().u16string();
    TLuaEngine Engine(std::move(Lua));
    Engine.Publish("service", Service);
    Engine.RunText(Testing, "=zu/testing.lua");
    Engine.RunFile(File.u16string());
    Engine.RunText("run_tests('" + Options.Only + "')", "=zu/testing.lua");
    FlushOut();
    const int Failed = Service.Failed;
    if (Failed > 0)
        for (const std::u16string& Line : Logger->Lines) Complain(u"log: " + Line);
    return Failed;
}

int Test(const TOptions& Options, const TArguments& Names) {
    if (Names.size() != 1) throw EUsage("the folder of the application is missing");
    if (!std::ranges::all_of(Options.Only, [](char C) { return C != '\'' && C != '\\' && C != '\n'; }))
        throw EUsage("--only takes a part of a test's name, without quotes");
    const fs::path Folder(Names.front());
    if (!fs::is_directory(Folder)) throw EUsage("there is no folder " + Folder.string());
    const fs::path Config = Options.Config.empty() ? ConfigOf(Folder) : fs::path(Options.Config);
    const std::vector<fs::path> Files = FilesIn(Folder / "tests", ".lua");
    if (Files.empty()) throw EUsage("there are no tests/*.lua in " + Folder.string());
    int Failed = 0;
    for (const fs::path& File : Files) {
        WriteOut(File.filename().u16string() + u"\n");
        Failed += RunTests(File, Config, Options);
    }
    if (Failed > 0)
        Complain(Text(std::to_string(Failed)) + (Failed == 1 ? u" test failed" : u" tests failed"));
    return Failed == 0 ? ExitGood : ExitFailed;
}

} // namespace

TJob DeclareTest(TDeclaration& Takes) {
    const auto Options = std::make_shared<TOptions>();
    Takes.Footer(Footer);
    Takes.Option("--config", Options->Config, "FILE", "Configuration; the one *.toml of DIR when not given");
    Takes.Option("--database", Options->Database, "URL", "A PostgreSQL server to make databases on");
    Takes.Option("--only", Options->Only, "TEXT", "Only tests whose names hold the text");
    return [Options](const TArguments& Names) { return Test(*Options, Names); };
}

} // namespace zutools::zuhost
