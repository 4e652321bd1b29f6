// Scripts at their real work: templates and parameter lists.
#include "tests/server/lua/Things.h"

#include "core/Lparams.h"
#include "platform/Text.h"
#include "server/lua/LuaLibraryNames.h"
#include "templates/Ztstmplcache.h"
#include "tests/support/TempFolder.h"

namespace zutools::server::tests {
namespace {

using zutools::tests::TTempFolder;

class LuaTemplates : public LuaTest {
protected:
    LuaTemplates() {
        RegisterLparams(ScriptRegistry());
        RegisterLtemplt(ScriptRegistry());
        ZTSTemplateCache = std::make_unique<TZTSTemplateCache>();
        TLuaOptions Options;
        Options.Sandboxed = true; // as pages of a service are
        Start(std::move(Options));
    }
    ~LuaTemplates() override {
        Engine.reset();
        ZTSTemplateCache.reset();
        UnregisterLtemplt(ScriptRegistry());
        UnregisterLparams(ScriptRegistry());
    }
    TTempFolder Folder;
};

TEST_F(LuaTemplates, PageWithRepeatedPart) {
    Folder.Write(u"page.html", "<h1>[[TITLE]]</h1>[[ROWS]][[!ROW]]<p>[[NAME]]: [[SUM]]</p>[[/]]");
    ZTSTemplateCache->SetTemplateDirectory(Folder.Path());
    ZTSTemplateCache->SetEnabled(true);
    EXPECT_EQ(Result(R"(
        local params = zu.create("TParamsList")
        params:Add("TITLE", "Заказы")
        params.Value["unknown"] = "is passed over"
        local page = zu.create("TTemplate")
        page.Name = "page.html"
        page:FillTemplate(params)
        local row, rows = page.Part["ROW"], {}
        for i, name in ipairs { "Анна", "Bob" } do
            row:Clear()
            row.Tag["NAME"] = zu.html_escape(name)
            row.SUM = i * 1.5
            rows[i] = row:BuildTemplate()
        end
        page.Tag["ROWS"] = table.concat(rows)
        thing.Value = page:BuildTemplate())"),
              "<h1>Заказы</h1><p>Анна: 1.5</p><p>Bob: 3</p>");
}

TEST_F(LuaTemplates, PartOutlivesTheVariableButNotTheText) {
    EXPECT_EQ(Result(R"(
        local function part()
            local page = zu.create("TTemplate")
            page.Body = "[[!P]][[!INNER]]x[[T]][[/]][[/]]"
            return page.Part["P"].Part[1]
        end
        local inner = part()
        collectgarbage() collectgarbage()
        inner.T = "alive"
        thing.Value = inner:BuildTemplate())"),
              "xalive");
    EXPECT_EQ(Error("local page = zu.create('TTemplate') page.Body = '[[!P]]x[[/]]'\n"
                    "local part = page.Part.P\npage.Body = 'other'\npart:BuildTemplate()"),
              "test.lua:4: the object is gone (TTemplate)");
    EXPECT_EQ(Result("local page = zu.create('TTemplate') page.Body = 'x' thing.Value = "
                     "tostring(page.Part[0] == page)"),
              "true");
}

TEST_F(LuaTemplates, WeighInTheCollectorAndEndWithTheRun) {
    TLuaOptions Options;
    Options.Sandboxed = true;
    Options.MemoryLimit = 16 << 20;
    Start(std::move(Options));
    // A hundred megabytes, of which little is alive at a time.
    EXPECT_EQ(Result("local text = ('x'):rep(1 << 20) for i = 1, 50 do local t = zu.create('TTemplate') "
                     "t.Body = text .. i end thing.Value = 'done'"),
              "done");
    EXPECT_THAT(Error("local text, all = ('x'):rep(1 << 20), {} for i = 1, 50 do "
                      "all[i] = zu.create('TTemplate') all[i].Body = text end"),
                testing::HasSubstr("not enough memory"));
}

TEST_F(LuaTemplates, CacheIsReachable) {
    EXPECT_EQ(
        Error("zu.cache.TemplateDirectory = '/etc'"),
        "test.lua:1: zu.cache is not for pages to change: the configuration names the folder of templates");
    Start({});
    EXPECT_EQ(Result("zu.cache.TemplateDirectory = '/шаблоны' zu.cache.Enabled = true zu.cache:Clear() "
                     "thing.Value = zu.cache.TemplateDirectory .. tostring(zu.cache.Enabled)"),
              "/шаблоныtrue");
    EXPECT_EQ(Error("zu.cache.Size = 1"), "test.lua:1: zu.cache has no property \"Size\" to write");
    EXPECT_EQ(Error("local x = zu.cache.Size"), "test.lua:1: zu.cache has no property \"Size\"");
    ZTSTemplateCache.reset();
    EXPECT_EQ(Error("local x = zu.cache.Enabled"),
              "test.lua:1: there is no template cache: the package is not started");
}

TEST_F(LuaTemplates, ExamplesOfTheReferenceAreLuaAndTellTheTruth) {
    for (const TLibraryName& Each : LibraryNames()) {
        const std::string Example = platform::Utf16ToUtf8(Each.Example);
        const std::size_t Arrow = Example.find(" --> ");
        if (Arrow == Example.npos) {
            EXPECT_EQ(Result("thing.Value = tostring(load([==[" + Example + "]==]) ~= nil)"), "true")
                << Example;
        } else {
            EXPECT_EQ(Result("thing.Value = tostring(" + Example.substr(0, Arrow) + ")"),
                      Example.substr(Arrow + 5))
                << Example;
        }
    }
}

TEST_F(LuaTemplates, PagesAreFilledFromTables) {
    Folder.Write(u"list.html",
                 "[[!TITLE]]List of [[WHO]][[/]]<h1>[[NAME]]</h1>[[NEW]][[!NEW]]<a>new</a>[[/]]"
                 "[[ROW]][[!ROW]]<p>[[NAME]] [[SUM]][[ITEM]][[!ITEM]]<i>[[X]]</i>[[/]]</p>[[/]]");
    Folder.Write(u"cut.html", "[[A]][[!P]]never closed");
    ZTSTemplateCache->SetTemplateDirectory(Folder.Path());
    struct TCase {
        const char* Script;
        const char* Text; // a part of the message for what is refused
    };
    const TCase Cases[] = {
        {R"(return zu.fill("list.html", { NAME = "a<b" }))", "<h1>a&lt;b</h1>"},
        {R"(return zu.fill("list.html", { name = zu.raw "<b>" .. "&" }))", "<h1><b>&amp;</h1>"},
        {R"(return zu.fill("list.html", { NEW = true, ROW = {} }))", "<h1></h1><a>new</a>"},
        {R"(return zu.fill("list.html", { NEW = false, NAME = db.null, ROW = { NAME = 1 } }))",
         "<h1></h1><p>1 </p>"},
        {R"(return zu.fill("list.html", { ROW = { { NAME = "x", SUM = 1.5, ITEM = { { X = 1 }, { X = 2 } } },
            { SUM = "y" } } }))",
         "<h1></h1><p>x 1.5<i>1</i><i>2</i></p><p> y</p>"},
        {R"(return select(2, zu.fill("list.html", { TITLE = { WHO = "<me>" } })))", "List of &lt;me&gt;"},
        {R"(return zu.fill("list.html", { NAME = "s" }, { NAME = "o", OTHER = 1 }))", "<h1>s</h1>"},
        {R"(return zu.fill("list.html", { NMAE = 1 }))", "list.html has no tag \"NMAE\"; is it NAME?"},
        {R"(return zu.fill("list.html", { ROW = { { SUN = 1 } } }))",
         "the part ROW of list.html has no tag \"SUN\""},
        {R"(return zu.fill("list.html", { NAME = true }))", "list.html has no part \"NAME\""},
        {R"(return zu.fill("list.html", { ROW = { 1 } }))", "row 1 of ROW is a number, not a table"},
        {R"(return zu.fill("list.html", { NAME = print }))", "the value of NAME is a function"},
        {R"(return zu.fill("cut.html", {}))", "Not found close tags"},
        {R"(return zu.fill("list.html", { NAME = "\xFF" }))", "malformed UTF-8 at byte 1"},
        {R"(return zu.text("Hello, [[NAME]] [[x]]", { NAME = 7 }))", "Hello, 7 [[x]]"},
        {R"(return zu.json { b = { 1, 2.5, "\"" }, a = true, n = db.null, e = {} })",
         R"({"a":true,"b":[1,2.5,"\""],"e":[],"n":null})"},
        {R"(local v = zu.parse_json '{"a":[1,null,{"b":"\\u0416"}]}' return v.a[3].b .. #v.a .. tostring(v.a[2] == db.null))",
         "Ж3true"},
        {R"(return tostring(zu.parse_json "{") .. type(select(2, zu.parse_json "{")))", "nilstring"},
        {R"(local t = {} t.t = t return zu.json(t))", "a table in itself"},
        {R"(return zu.csv({ { A = 1, B = 'x "y", z' }, { B = db.null } }, { "A", "B" }))",
         "A,B\r\n1,\"x \"\"y\"\", z\"\r\n,\r\n"},
        {R"(return zu.address("/a?z=1", { { "q", "ж&" }, { "e", "" }, b = 2 }))", "/a?z=1&b=2&q=%D0%B6%26"},
        {R"(return zu.money(-123456789, "ru"))", "-1\u00A0234\u00A0567,89"},
        {R"(return zu.money(5, "en") .. zu.number(1234.5, nil, "en") .. zu.number(2, 1, "en"))",
         "0.051,234.52.0"},
        {R"(return zu.date("2026-03-05", "day", "ru") .. zu.date("2026-03-05 09:41:00", "minute", "ru") .. zu.date("?"))",
         "05.03.202605.03.2026 09:41?"},
        {R"(local out = {}
            for _, case in ipairs { { "1 234,5", "ru" }, { "1.5", "ru" }, { "1,234", "en" }, { "1,5", "en" }, { "-7", "en" },
                { "x", "en" }, { "", "ru" }, { "1e9", "ru" } } do
              out[#out + 1] = tostring(zu.parse_number(case[1], case[2]))
            end
            return table.concat(out, " "))",
         "1234.5 1.5 1234 nil -7 nil nil nil"},
    };
    for (const TCase& Case : Cases) {
        const std::string Script = "local ok, text = pcall(function() " + std::string(Case.Script) +
                                   " end) " + "thing.Value = (ok and '' or '!') .. tostring(text)";
        const std::string Text = Result(Script);
        if (Text.starts_with('!')) {
            EXPECT_NE(Text.find(Case.Text), Text.npos) << Case.Script << " " << Text;
        } else {
            EXPECT_EQ(Text, Case.Text) << Case.Script;
        }
    }
}

} // namespace
} // namespace zutools::server::tests
