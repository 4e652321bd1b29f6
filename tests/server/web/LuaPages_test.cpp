// Modules in Lua behind the page handler: what scripts see of the request and the response.

#include "templates/Ztstmplcache.h"
#include "tests/server/web/PageBench.h"

using namespace zutools;
using namespace zutools::server;
using testing::HasSubstr;
using testing::Not;

namespace {

class LuaPagesTest : public TPageBench {
protected:
    LuaPagesTest() {
        Config.Limits.Instructions = 1'000'000;
        Config.Limits.ResponseBytes = 1000;
        Raw.Query = "q=%D0%96&n=1";
        Cookie = "a=b";
    }
};

TEST_F(LuaPagesTest, TheRequestByItsNames) {
    EXPECT_EQ(Body(R"(
        response:Write(request.Method .. request.Path .. request.Params.Value["q"] .. request.Params.n)
        response:Write(" " .. request.Language .. " " .. request.RemoteAddress .. " " .. #request.FormToken)
        response:Write(" " .. request:Header("x-one") .. "[" .. request:Header("none") .. request:Header("COOKIE") .. "]")
        response:Write(" " .. #Session.SID .. " " .. request.Files.Count)
    )"),
              "GET/pageЖ1 en 127.0.0.1 32 1[] 16 0");
}

TEST_F(LuaPagesTest, UploadedFilesByIndexAndField) {
    Raw.Parts = {{true, "doc", "a.txt", "text/plain", "\xEF\xBB\xBFЖ"}, {true, "bin", "b", "", "\xFF\x01"}};
    EXPECT_EQ(Body(R"(
        local f = request.Files
        response:Write(f.Count .. f.Name[0] .. f.FileName["doc"] .. f.ContentType[0] .. f.Size[0] .. f.Content["doc"])
        response:Write(f.ContentBase64["bin"])
        response:Write(tostring(pcall(function() return f.Content["bin"] end)))
        response:Write(tostring(pcall(function() return f.Size[2] end)) .. tostring(pcall(function() return f.Size["x"] end)))
    )"),
              "2doca.txttext/plain5Ж/wE=falsefalsefalse");
}

TEST_F(LuaPagesTest, AModuleRefusesWhatNoPageWouldSend) {
    for (const char* Script : {"response:Write('half') response:Refuse(400, 'field x')",
                               "pcall(response.Refuse, response, 400, 'field x') response:Write('on')"}) {
        const TReply Reply = Run(Script);
        EXPECT_EQ(Reply.Status, 400);
        EXPECT_THAT(Reply.Body, testing::AllOf(HasSubstr("field x"), Not(HasSubstr("half"))));
    }
    EXPECT_THAT(Logger.Text(), HasSubstr("request refused by page1.lua: field x"));
    EXPECT_EQ(Run("response:Refuse(200, 'x')").Status, 500);
}

TEST_F(LuaPagesTest, TheResponseByItsNames) {
    const TReply Reply = Run(R"(
        response.Status = 404
        response.ContentType = "text/plain"
        response:SetHeader("X-Two", "2")
        response:SetHeader("x-two", "3")
        response:Write(7)
        response:Write(response.Status .. response.ContentType)
    )");
    EXPECT_EQ(Reply.Status, 404);
    EXPECT_EQ(Reply.ContentType, "text/plain");
    EXPECT_EQ(Reply.Body, "7404text/plain");
    EXPECT_THAT(Reply.Headers, testing::Contains(testing::Pair("x-two", "3")));
    EXPECT_THAT(Reply.Headers, Not(testing::Contains(testing::Pair("X-Two", "2"))));
}

TEST_F(LuaPagesTest, WhatAResponseRefuses) {
    const std::pair<std::string_view, std::string_view> Cases[] = {
        {"response:Redirect('//other/')", "Redirect: the target is no address of a page on this host."},
        {"response:Redirect('/a\\r\\nX: y')", "Redirect: the target is no address of a page on this host."},
        {"response:RedirectOutside('javascript:x')", "RedirectOutside: the target is no address of a page."},
        {"response:SetHeader('X', 'a\\r\\nY: b')", "SetHeader: the value of \"X\" must be printable ASCII."},
        {"response:SetHeader('X\\r\\nY', 'b')", "SetHeader: the name is no header name."},
        {"response:SetHeader('set-cookie', 'b')", "SetHeader: \"set-cookie\" is the server's own."},
        {"response:SetHeader('Content-Length', '1')", "SetHeader: \"Content-Length\" is the server's own."},
        {"response.ContentType = 'a\\nb'", "ContentType: the value must be printable ASCII."},
        {"response.Status = 100", "Status: 100 is not between 200 and 599."},
        {"for i = 1, 11 do response:Write(('x'):rep(100)) end", "Write: the page is larger than 1000 bytes."},
        {"request.Method = 'POST'", "Method"},
    };
    for (const auto& [Script, Message] : Cases) {
        EXPECT_EQ(Run(Script).Status, 500) << Script;
        EXPECT_THAT(Logger.Last(), HasSubstr(Message)) << Script;
    }
    EXPECT_EQ(Run("response:RedirectOutside('https://other/')").Status, 303);
}

TEST_F(LuaPagesTest, AScriptErrorKeepsItsInsidesInTheLog) {
    const TReply Reply = Run("local function deep() local x = nil; return x.y end\n\nresponse:Write(deep())");
    EXPECT_EQ(Reply.Status, 500);
    EXPECT_THAT(Reply.Body, Not(HasSubstr("lua")));
    EXPECT_THAT(Logger.Last(), HasSubstr("page1.lua:1: attempt to index a nil value"));
    EXPECT_THAT(Logger.Last(), HasSubstr("page1.lua:3:"));
    EXPECT_EQ(Body("response:Write('next')"), "next");
}

TEST_F(LuaPagesTest, AModuleWithoutEndIsEnded) {
    EXPECT_EQ(Run("while true do end").Status, 500);
    EXPECT_THAT(Logger.Last(), HasSubstr("page1.lua:1:"));
    EXPECT_EQ(Body("response:Write('next')"), "next");
}

TEST_F(LuaPagesTest, NothingThatAScriptKeptIsThereInTheNextPage) {
    constexpr std::string_view Kept = "response:Write(tostring(string.kept ~= nil) .. tostring(kept ~= nil))";
    EXPECT_EQ(Body("string.kept = request; kept = request; " + std::string(Kept)), "truetrue");
    EXPECT_EQ(Body(Kept), "falsefalse");
}

TEST_F(LuaPagesTest, ModulesAreShutIn) {
    EXPECT_EQ(Body("response:Write(tostring(io) .. tostring(os.execute) .. tostring(debug))"), "nilnilnil");
}

TEST_F(LuaPagesTest, AllValuesOfANameBodiesAndBytes) {
    Route.FormToken = false;
    Raw.Method = "POST";
    Raw.Query = "n=0&m=9";
    Raw.Form = "n=1&N=%D0%96";
    EXPECT_EQ(
        Body("response:Write(table.concat(request.Params.Values['n'], ',') .. #request.Params.Values['x'] .. "
             "request.Params.Values['m'][1] .. request.Body)"),
        "1,Ж09n=1&N=%D0%96");
    Raw.Json = true;
    Raw.Form = R"({"a":[1,"Ж"]})";
    EXPECT_EQ(Body("response:Write(zu.parse_json(request.Body).a[2] .. request.Params.Count)"), "Ж2");
    const TReply File = Run("response:File('\\xFF\\0x', 'счёт 1.bin', 'application/pdf')");
    EXPECT_EQ(File.Body, std::string("\xFF\0x", 3));
    EXPECT_EQ(File.ContentType, "application/pdf");
    EXPECT_THAT(HeaderOf(File, "Content-Disposition"), HasSubstr("filename*=UTF-8''%D1%81%D1%87"));
    const TReply Json = Run("response:Json { a = 1 }");
    EXPECT_EQ(Json.ContentType + Json.Body, "application/json{\"a\":1}");
    Raw.Form = "\xFF";
    EXPECT_EQ(Run("").Status, 400);
}

TEST_F(LuaPagesTest, SessionsKeepValuesAndAFlashIsShownOnce) {
    EXPECT_EQ(Body("session.values.n = 1.5 session.values.t = 'Ж' session.values.b = true session.flash('a') "
                   "session.flash('b') response:Write(#session.take_flash() .. session.values.t)"),
              "2Ж");
    EXPECT_EQ(Body("session.flash('later') response:Write(tostring(session.values.n) .. "
                   "tostring(session.values.b))"),
              "1.5true");
    EXPECT_EQ(Body("response:Write(session.take_flash()[1] .. #session.take_flash())"), "later0");
    EXPECT_EQ(Body("session.values.t = nil response:Write(tostring(session.values.t))"), "nil");
    EXPECT_EQ(Run("session.values.x = ('x'):rep(20000)").Status, 500);
    EXPECT_EQ(Run("session.values.x = {}").Status, 500);
    Cookie.clear();
    EXPECT_EQ(Body("response:Write(tostring(session.values.n))"), "nil") << "another session";
}

TEST_F(LuaPagesTest, PagesAndFaultsStandInTheFrame) {
    RegisterLtemplt(ScriptRegistry());
    ZTSTemplateCache = std::make_unique<TZTSTemplateCache>();
    ZTSTemplateCache->SetTemplateDirectory(Folder.Path());
    Folder.Write(
        u"frame.html",
        "<title>[[TITLE]]</title>[[LANGUAGES]][[!LANGUAGES]]<a href=\"[[URL]]\"[[CURRENT]]>[[TEXT]]</a>"
        "[[/]][[FLASH]][[!FLASH]]<b>[[TEXT]]</b>[[/]][[SIGNED_OUT]][[!SIGNED_OUT]]out[[/]]<main>[[CONTENT]]</"
        "main>");
    Folder.Write(u"page.html", "[[!TITLE]]A &amp; B[[/]]<p>[[X]]</p><i>[[FORM_TOKEN]]</i>");
    Config.Frame = u"frame.html";
    Config.Languages = {u"en", u"ru"};
    Worker = std::make_unique<TWorker>(Factory);
    const std::string Page = Body("session.flash('hi') zu.page('page.html', { X = '<' })");
    EXPECT_EQ(Logger.Text(), "");
    EXPECT_THAT(Page, HasSubstr("<title>A &amp; B</title><a href=\"/page?q=%D0%96&amp;n=1&amp;lang=en\" "
                                "aria-current=\"true\">en</a>"));
    EXPECT_THAT(Page, testing::ContainsRegex("<b>hi</b>out<main><p>&lt;</p><i>[0-9a-f]{32}</i></main>"));
    EXPECT_EQ(Body("zu.page('page.html', {}, false)").find("<title>"), std::string::npos);
    EXPECT_THAT(Body("zu.page('page.html', {}, { TITLE = 'T' })"), HasSubstr("<title>T</title>"));
    const TReply Fault = Run("error('x')");
    EXPECT_EQ(Fault.Status, 500);
    EXPECT_THAT(Fault.Body, testing::AllOf(HasSubstr("<title>Something went wrong</title>"),
                                           HasSubstr("<main><div class=\"fault\">")));
    Worker.reset();
    ZTSTemplateCache.reset();
    UnregisterLtemplt(ScriptRegistry());
}

} // namespace
