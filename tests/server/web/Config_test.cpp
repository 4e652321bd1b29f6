#include "server/web/Config.h"

#include "platform/File.h"
#include "platform/Text.h"
#include "tests/support/TempFolder.h"

#include <gtest/gtest.h>

#include <filesystem>

using namespace zutools;
using namespace zutools::server;

namespace {

class ConfigTest : public testing::Test {
protected:
    ConfigTest() {
        Folder.Write(u"modules/orders.lua", "");
        Folder.Write(u"modules/sub/hook.lua", "");
        Folder.Write(u"static/a.css", "");
        Folder.Write(u"templates/a.html", "");
        Folder.Write(u"strings/ru.json", "");
    }

    TWebConfig Parse(std::string_view Text) const { return ParseWebConfig(Text, File()); }

    /// The message without the folder in front, or "accepted".
    std::string Error(std::string_view Text) const {
        try {
            static_cast<void>(Parse(Text));
            return "accepted";
        } catch (const EConfigError& Caught) {
            std::string Message = Caught.what();
            const std::string Where = platform::Utf16ToUtf8(Folder.Path()) + "/";
            return Message.starts_with(Where) ? Message.substr(Where.size()) : Message;
        }
    }

    std::u16string File() const { return Folder.File(u"site.toml"); }

    tests::TTempFolder Folder;
};

TEST_F(ConfigTest, AnEmptyFileGivesTheDefaults) {
    const TWebConfig Config = Parse("");
    EXPECT_EQ(Config.Address, "127.0.0.1");
    EXPECT_EQ(Config.Port, 8080);
    EXPECT_EQ(Config.Languages, std::vector<std::u16string>{u"en"});
    EXPECT_TRUE(Config.Routes.empty());
    EXPECT_TRUE(Config.Templates.empty());
}

TEST_F(ConfigTest, EverythingIsRead) {
    const TWebConfig Config = Parse(R"(
address = "::1"
port = 0
templates = "templates"
strings = "strings"
modules = "modules"
setup = "orders.lua"
database = "sqlite3://data.db"
languages = ["ru", "en"]
default_language = "en"

[routes]
"/orders" = "orders.lua"
"/hooks/*" = { module = "sub/hook.lua", form_token = false }
"/mine" = { module = "orders.lua", user = true }
"/all" = { module = "orders.lua", admin = true }
"/add" = { module = "orders.lua", right = "main.Orders.Insert", profile = "Clerks", methods = ["POST"] }

[rights]
anonymous = ["Feedback"]

[static]
folder = "static"
prefix = "/files/"
max_age = 60

[limits]
body_bytes = 1
threads = 2

[session]
idle_minutes = 5
secure = true
sign_in = "/orders"

[admin]
enabled = false
socket = "run/admin.socket"

[security]
content_security_policy = "default-src 'none'"

[log]
level = "warning"
file = "site.log"
)");
    EXPECT_EQ(Config.Address, "::1");
    EXPECT_EQ(Config.Port, 0);
    EXPECT_EQ(Config.Templates, Folder.File(u"templates"));
    EXPECT_EQ(Config.Strings, Folder.File(u"strings"));
    EXPECT_EQ(Config.Setup, Folder.File(u"modules/orders.lua"));
    EXPECT_EQ(Config.Database, u"sqlite3://" + Folder.File(u"data.db"));
    EXPECT_EQ(Config.DefaultLanguage, u"en");
    ASSERT_EQ(Config.Routes.size(), 5U);
    const TRoute& Add = *FindRoute(Config.Routes, u"/add");
    EXPECT_EQ(Add.Right, TRecordRight::Insert);
    EXPECT_EQ(Add.RightTable + u"|" + Add.Profile + u"|" + Add.Methods.at(0), u"main.Orders|Clerks|POST");
    EXPECT_TRUE(Add.AsksForUser());
    EXPECT_EQ(Config.AnonymousTables, std::vector<std::u16string>{u"Feedback"});
    EXPECT_TRUE(FindRoute(Config.Routes, u"/mine")->User);
    EXPECT_FALSE(FindRoute(Config.Routes, u"/mine")->Administrator);
    EXPECT_TRUE(FindRoute(Config.Routes, u"/all")->Administrator);
    EXPECT_EQ(Config.Session.SignIn, u"/orders");
    EXPECT_FALSE(Config.Admin.Enabled);
    EXPECT_EQ(Config.Admin.Socket, Folder.File(u"run/admin.socket"));
    const TRoute* Hook = FindRoute(Config.Routes, u"/hooks/a/b");
    ASSERT_NE(Hook, nullptr);
    EXPECT_EQ(Hook->ModuleFile, Folder.File(u"modules/sub/hook.lua"));
    EXPECT_FALSE(Hook->FormToken);
    EXPECT_TRUE(FindRoute(Config.Routes, u"/orders")->FormToken);
    EXPECT_EQ(Config.Static.Folder, Folder.File(u"static"));
    EXPECT_EQ(Config.Static.Prefix, u"/files/");
    EXPECT_EQ(Config.Static.MaxAge, 60U);
    EXPECT_EQ(Config.Limits.BodyBytes, 1U);
    EXPECT_EQ(Config.Limits.Threads, 2U);
    EXPECT_EQ(Config.Session.Idle, std::chrono::minutes(5));
    EXPECT_TRUE(Config.Session.Secure);
    EXPECT_EQ(Config.ContentSecurityPolicy, "default-src 'none'");
    EXPECT_EQ(Config.Log.Level, TLogLevel::Warning);
    EXPECT_EQ(Config.Log.File, Folder.File(u"site.log"));
}

TEST_F(ConfigTest, TheDocumentedExampleHoldsTheDefaults) {
    const auto File = std::filesystem::path(ZU_DOCS "/configuration.md");
    const std::string Page = platform::TReadFile(File.u16string()).ReadAll();
    const std::size_t Begin = Page.find("```toml\n") + 8;
    const std::string Example = Page.substr(Begin, Page.find("```", Begin) - Begin);
    // Whatever modules it names are there.
    for (std::size_t End = 0; (End = Example.find(".lua\"", End)) != std::string::npos; End += 5) {
        const std::size_t Quote = Example.rfind('"', End);
        Folder.Write(u"modules/" + platform::Utf8ToUtf16(Example.substr(Quote + 1, End + 3 - Quote)), "");
    }
    Folder.Write(u"templates/frame.html", "");
    Folder.Write(u"migrations/001-x.sql", "");
    const TWebConfig Written = Parse(Example);
    EXPECT_FALSE(Written.Routes.empty());
    const TWebConfig Default;
    EXPECT_EQ(Written.Address, Default.Address);
    EXPECT_EQ(Written.Port, Default.Port);
    EXPECT_EQ(Written.Languages, Default.Languages);
    EXPECT_EQ(Written.DefaultLanguage, Default.DefaultLanguage);
    EXPECT_EQ(Written.ContentSecurityPolicy, Default.ContentSecurityPolicy);
    EXPECT_EQ(Written.Static.Prefix, Default.Static.Prefix);
    EXPECT_EQ(Written.Static.MaxAge, Default.Static.MaxAge);
    EXPECT_EQ(Written.Session.Idle, Default.Session.Idle);
    EXPECT_EQ(Written.Session.Count, Default.Session.Count);
    EXPECT_EQ(Written.Session.Secure, Default.Session.Secure);
    EXPECT_EQ(Written.Log.Level, Default.Log.Level);
    EXPECT_EQ(Written.Limits, Default.Limits);
}

TEST_F(ConfigTest, AbsoluteNamesStayAsTheyAre) {
    const TWebConfig Timed = Parse("[database]\nurl = \"postgresql://zu:x@h/d\"\nlock_timeout = 3");
    EXPECT_EQ(Timed.Database, u"postgresql://zu:x@h/d");
    EXPECT_EQ(Timed.DatabaseTimeouts.Lock, std::chrono::seconds(3));
    EXPECT_EQ(Timed.DatabaseTimeouts.Statement, std::chrono::seconds(30));
    const TWebConfig Config = Parse("database = \"sqlite3:///var/data.db\"\ntemplates = \"/\"");
    EXPECT_EQ(Config.Database, u"sqlite3:///var/data.db");
    EXPECT_EQ(Config.Templates, u"/");
}

TEST_F(ConfigTest, WhatIsWrongIsToldWithItsPlace) {
    const struct {
        std::string_view Text;
        std::string_view Message;
    } Cases[] = {
        {"prot = 80", "site.toml:1:1: unknown key \"prot\"; the nearest known one is \"port\""},
        {"port = 1\n[limits]\nbody_byte = 1",
         "site.toml:3:1: unknown key \"limits.body_byte\"; the nearest known one is \"limits.body_bytes\""},
        {"[limit]\nthreads = 1", "site.toml:1:2: unknown key \"limit\"; the nearest known one is \"limits\""},
        {"modles = \"modules\"\n[routes]\n\"/\" = \"orders.lua\"",
         "site.toml:1:1: unknown key \"modles\"; the nearest known one is \"modules\""},
        {"port = \"80\"", "site.toml:1:8: \"port\" must be a whole number from 0 to 65535, not a text"},
        {"port = 65536", "site.toml:1:8: \"port\" must be a whole number from 0 to 65535, not 65536"},
        {"port = 80.5",
         "site.toml:1:8: \"port\" must be a whole number from 0 to 65535, not a number with a fraction"},
        {"address = \"localhost\"",
         "site.toml:1:11: \"address\" must be an IPv4 or IPv6 address, not \"localhost\""},
        {"limits = 5", "site.toml:1:10: \"limits\" must be a table, not a whole number"},
        {"[limits]\nthreads = 0",
         "site.toml:2:11: \"limits.threads\" must be a whole number from 1 to 256, not 0"},
        {"\n  templates = \"nowhere\"", "site.toml:2:15: \"templates\": there is no folder \"nowhere\""},
        {"templates = \"modules/orders.lua\"",
         "site.toml:1:13: \"templates\": there is no folder \"modules/orders.lua\""},
        {"templates = true", "site.toml:1:13: \"templates\" must be a text, not true or false"},
        {"languages = []", "site.toml:1:13: \"languages\" must be a list of language tags, not a list"},
        {"languages = [\"ru\", 1]",
         "site.toml:1:20: \"languages\" must be a list of language tags, not a whole number"},
        {"languages = [\"r/u\"]", "site.toml:1:14: \"languages\": \"r/u\" is no language tag"},
        {"default_language = \"ru\"",
         "site.toml:1:20: \"default_language\": \"ru\" is not among \"languages\""},
        {"database = \"mysql://root:secret@h/d\"",
         "site.toml:1:12: \"database\": Database URL (mysql): an "
         "unknown kind of database. The right form is sqlite3://FILE, for example sqlite3://data/orders.db, "
         "or "
         "postgresql://user@host:port/name, for example postgresql://zu@127.0.0.1:5432/orders."},
        {"[database]\nlock_timeout = 3", "site.toml:1:1: the key \"database.url\" is missing"},
        {"database = {url = \"sqlite3://a\", lock_timeout = -1}",
         "site.toml:1:49: \"database.lock_timeout\" must be a whole number from 0 to 86400, not -1"},
        {"[routes]\n\"/\" = \"orders.lua\"",
         "site.toml:2:7: module \"orders.lua\" needs the key \"modules\", the folder of the modules"},
        {"modules = \"modules\"\n[routes]\n\"/\" = \"order.lua\"",
         "site.toml:3:7: there is no module \"order.lua\" in the folder \"modules\""},
        {"modules = \"modules\"\nroutes.\"/\" = 1",
         "site.toml:2:14: \"routes.\"/\"\" must be a module's name or a table, not a whole number"},
        {"modules = \"modules\"\n[routes]\norders = \"orders.lua\"",
         "site.toml:3:1: route \"orders\" must be a path that begins with \"/\", without \"?\", \"#\" and "
         "\"%\""},
        {"modules = \"modules\"\n[routes]\n\"/\" = { form_token = false }",
         "site.toml:3:7: route \"/\" has no \"module\""},
        {"modules = \"modules\"\n[routes]\n\"/\" = { module = \"orders.lua\", form_tokens = false }",
         "site.toml:3:32: unknown key \"routes.\"/\".form_tokens\"; the nearest known one is "
         "\"routes.\"/\".form_token\""},
        {"modules = \"modules\"\n[routes]\n\"/\" = { module = \"orders.lua\", usr = true }",
         "site.toml:3:32: unknown key \"routes.\"/\".usr\"; the nearest known one is \"routes.\"/\".user\""},
        {"modules = \"modules\"\n[routes]\n\"/\" = { module = \"orders.lua\", right = \"Orders\" }",
         "site.toml:3:40: \"right\" must be a table and view, edit, delete or insert, like "
         "\"Orders.insert\", not \"Orders\""},
        {"modules = \"modules\"\n[routes]\n\"/\" = { module = \"orders.lua\", methods = [\"PUT\"] }",
         "site.toml:3:42: \"methods\" must be of GET and POST"},
        {"modules = \"modules\"\n[routes]\n\"/\" = { module = \"orders.lua\", admin = true }",
         "site.toml:3:7: route \"/\" is for users and needs the key \"session.sign_in\", the path to sign in "
         "at"},
        {"[[library]]", "site.toml:1:1: \"library.file\" must name a library with classes for scripts"},
        {"[[library]]\nfile = \"\"",
         "site.toml:2:8: \"library.file\" must name a library with classes for scripts"},
        {"library = [1]",
         "site.toml:1:12: \"library\" must be tables, each written [[library]], not a whole number"},
        {"helper = [1]",
         "site.toml:1:11: \"helper\" must be tables, each written [[helper]], not a whole number"},
        {"[[helper]]\npipe = \"p\"",
         "site.toml:1:1: \"helper.command\" must be a list of texts: the program and its arguments"},
        {"[[helper]]\ncommand = []\npipe = \"p\"",
         "site.toml:2:11: \"helper.command\" must be a list of texts: the program and its arguments"},
        {"[[helper]]\ncommand = [\"a\", 1]\npipe = \"p\"",
         "site.toml:2:17: \"helper.command\" must be a list of texts, not a whole number"},
        {"[[helper]]\ncommand = [\"a\\u0000b\"]\npipe = \"p\"",
         "site.toml:2:12: \"helper.command\": a word cannot have a zero byte in it"},
        {"[[helper]]\ncommand = [\"a\"]",
         "site.toml:1:1: \"helper.pipe\" must be the name of a pipe, without slashes"},
        {"[[helper]]\ncommand = [\"a\"]\npipe = \"../p\"",
         "site.toml:3:8: \"helper.pipe\" must be the name of a pipe, without slashes"},
        {"[[helper]]\ncommand = [\"a\"]\npipe = \"p\"\nrestart_ms = 0",
         "site.toml:4:14: \"helper.restart_ms\" must be a whole number from 1 to 86400000, not 0"},
        {"[[helper]]\ncommand = [\"a\"]\npipe = \"p\"\nrestart = 1",
         "site.toml:4:1: unknown key \"helper.restart\"; the nearest known one is \"helper.restart_ms\""},
        {"[session]\nsign_in = \"signin\"",
         "site.toml:2:11: \"session.sign_in\" must be a path that begins with \"/\", not \"signin\""},
        {"[session]\nsign_in = \"//host/\"",
         "site.toml:2:11: \"session.sign_in\" must be a path that begins with \"/\", not \"//host/\""},
        {"[session]\nsign_in = \"/signin\"", "site.toml:2:11: \"session.sign_in\": \"/signin\" has no route"},
        {"modules = \"modules\"\nsession.sign_in = \"/\"\n[routes]\n\"/\" = { module = \"orders.lua\", user "
         "= true }",
         "site.toml:2:19: \"session.sign_in\": \"/\" must not be for users only"},
        {"[session]\nidle_minutes = 1\nidle_seconds = 1",
         "site.toml:3:16: \"session.idle_seconds\" and \"session.idle_minutes\" exclude each other"},
        {"[session]\nidle_seconds = 0",
         "site.toml:2:16: \"session.idle_seconds\" must be a whole number from 1 to 2678400, not 0"},
        {"[admin]\nsocket = \"\"", "site.toml:2:10: \"admin.socket\" must not be empty"},
        {"[admin]\nenable = false",
         "site.toml:2:1: unknown key \"admin.enable\"; the nearest known one is \"admin.enabled\""},
        {"[static]\nprefix = \"static\"",
         "site.toml:2:10: \"static.prefix\" must begin and end with \"/\", not \"static\""},
        {"[security]\ncontent_security_policy = \"a\\r\\nb\"",
         "site.toml:2:27: \"security.content_security_policy\" must be printable ASCII on one line"},
        {"[log]\nlevel = \"loud\"",
         "site.toml:2:9: \"log.level\" must be debug, info, warning or error, not \"loud\""},
        {"[log]\nfile = \"nowhere/a.log\"",
         "site.toml:2:8: \"log.file\": there is no folder for \"nowhere/a.log\""},
    };
    for (const auto& Case : Cases) EXPECT_EQ(Error(Case.Text), Case.Message) << Case.Text;
}

TEST_F(ConfigTest, ModulesCannotLeaveTheirFolder) {
    Folder.Write(u"outside.lua", "");
    for (const std::string_view Name :
         {"../outside.lua", "/etc/passwd", "sub/../../outside.lua", "C:orders.lua"}) {
        const std::string Text = "modules = \"modules\"\n[routes]\n\"/\" = \"" + std::string(Name) + "\"";
        EXPECT_TRUE(Error(Text).starts_with("site.toml:3:7: module \"" + std::string(Name) + "\": "))
            << Error(Text);
    }
}

TEST_F(ConfigTest, BadTomlNamesItsPlace) {
    EXPECT_TRUE(Error("port = 1\nport = 2").starts_with("site.toml:2:")) << Error("port = 1\nport = 2");
    EXPECT_TRUE(Error("a = ").starts_with("site.toml:1:"));
    EXPECT_TRUE(Error("a = \"\xFF\"").starts_with("site.toml:1:"));
}

TEST(Routes, ExactBeforeTheLongestAbove) {
    const auto Route = [](std::u16string Path, bool Below) {
        TRoute Made;
        Made.Path = std::move(Path);
        Made.Below = Below;
        return Made;
    };
    const std::vector<TRoute> Routes{Route(u"", true), Route(u"/a", true), Route(u"/a/b", true),
                                     Route(u"/a", false), Route(u"/", false)};
    EXPECT_EQ(FindRoute(Routes, u"/"), &Routes[4]);
    EXPECT_EQ(FindRoute(Routes, u"/a"), &Routes[3]);
    EXPECT_EQ(FindRoute(Routes, u"/a/"), &Routes[1]);
    EXPECT_EQ(FindRoute(Routes, u"/a/c"), &Routes[1]);
    EXPECT_EQ(FindRoute(Routes, u"/a/b/c"), &Routes[2]);
    EXPECT_EQ(FindRoute(Routes, u"/ab"), &Routes[0]);
    EXPECT_EQ(FindRoute(Routes, u"/A"), &Routes[0]);
    EXPECT_EQ(FindRoute({}, u"/a"), nullptr);
}

} // namespace
