// Scripts at their real work: templates and parameter lists.
#include "tests/server/lua/Things.h"

#include "core/Lparams.h"
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

} // namespace
} // namespace zutools::server::tests
