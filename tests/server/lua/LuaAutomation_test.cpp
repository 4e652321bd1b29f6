// Documents, automation objects, and recordings of them, in scripts.
#include "tests/server/lua/Things.h"

#include "platform/Text.h"
#include "tests/support/TempFolder.h"

namespace zutools::server::tests {
namespace {

using testing::HasSubstr;
using zutools::tests::TTempFolder;

class LuaAutomation : public LuaTest {
protected:
    LuaAutomation() { Start(); }
    /// Windows lends its engine for pages, and Wine may have none.
    bool HasPages() { return Error("zu.html('')").find("(0x8") == std::string::npos; }
    TTempFolder Folder;
};

constexpr const char* Order = R"(
    local order = zu.automation.object{
        No = 5, Paid = true, Lines = { "чай", 2.5, {} },
        Price = function(self, zone, factor) return zone .. self.No * factor end,
        Fail = function() error("отказ") end,
    }
    local a = zu.automation
)";

TEST_F(LuaAutomation, ATableIsAnObject) {
    const std::pair<const char*, const char*> Rows[] = {
        {"a.get(order, 'no')", "5"},
        {"a.get(order, 'Paid')", "true"},
        {"a.get(order, 'Lines')[1] .. #a.get(order, 'Lines')[3]", "чай0"},
        {"a.exec(order, 'Price', 3, 'зона ')", "зона 15"}, // the last argument first
        {"a.get(order, 'Nothing')", "nil"},
        {"a.exec(order, 'Fail')", "nil"},
        {"a.exec(order, 'Nothing')", "nil"},
        {"a.get(nil, 'x', true)", "nil"},
        {"a.format(order, '[No]/[PAID]', '[', ']')", "5/True"},
        {"a.format(order, '10[No', '[', ']')", "15"},
        {"table.concat(a.members(order), ' '):gsub('=%d+', '')", "table Fail Price Lines No Paid"},
        {"table.concat(a.members(order, 1), ' '):gsub('=%d+', '')", "table Lines No Paid"},
        {"#a.members(nil)", "0"},
        {"a.get(a.object{ inner = order }, 'inner') == order", "true"},
        {"a.get(a.object{ thing = thing }, 'thing') == thing", "true"},
        {"a.get(thing, 'Weight')", "1.5"}, // an object of the library
    };
    for (const auto& [Expression, Value] : Rows)
        EXPECT_EQ(Result(std::string(Order) + "thing.Value = tostring((" + Expression + "))"), Value)
            << Expression;
}

TEST_F(LuaAutomation, ErrorsNameWhatIsWrong) {
    const std::pair<const char*, const char*> Rows[] = {
        {"a.get(order, 'Nothing', true)", "Unknown name: Nothing."},
        {"a.format(order, '[Nothing]', '[', ']')", "Unknown name: Nothing."},
        {"a.get(1, 'x')", "argument 1 of zu.automation.get: an automation object is wanted, not a number"},
        {"a.exec(order, 'Price', print)", "argument 3 of zu.automation.exec: a function cannot be given"},
        {"a.exec(order, 'Price', { x = 1 })", "a table that is no list cannot be given"},
        {"local t = {} t[1] = t a.exec(order, 'Price', t)", "lists are nested too deep"},
        {"a.nothing()", "there is no zu.automation.nothing"},
        {"zu.com('ZuTools.NoSuchThing')", "Cannot create the automation object \"ZuTools.NoSuchThing\""},
        {"zu.html('a\\xff')", "malformed UTF-8 at byte 2"},
    };
    for (const auto& [Script, Message] : Rows)
        EXPECT_THAT(Error(std::string(Order) + Script), HasSubstr(Message));
}

TEST_F(LuaAutomation, PagesAreRead) {
    if (!HasPages()) GTEST_SKIP() << "no HTML engine here";
    EXPECT_THAT(Error("zu.automation.form_entries(zu.html(''), 'f')"),
                HasSubstr("the document has no form \"f\""));
    EXPECT_THAT(Error("zu.automation.form_entries(zu.html(''), 1)"), HasSubstr("the document has no form 1"));
    EXPECT_EQ(Result(R"(
        local page = zu.html("<form id=f><input name=имя value='Анна'><input type=checkbox name=opt value=1 checked>" ..
                             "<input type=checkbox name=opt value=2></form>")
        local a, seen = zu.automation, {}
        for _, entry in ipairs(a.form_entries(page, "f")) do seen[#seen + 1] = entry.name .. "=" .. entry.value end
        local value, next = a.enabled_element(page, "opt", "value", 0)
        local none, last = a.enabled_element(page, "opt", "value", next)
        thing.Value = table.concat(seen, "&") .. " " .. a.element(page, "имя", "value") .. value .. next .. none .. last
            .. a.get(a.get(page, "body"), "tagName") .. #a.form_entries(page, 0))"),
              "имя=Анна&opt=1 Анна112BODY2");
}

TEST_F(LuaAutomation, RecordingsAnswerAsTheObjectDid) {
    const std::string File = platform::Utf16ToUtf8(Folder.File(u"order.rec"));
    const std::string Drive = R"(
        local function drive(o)
            local lines = a.get(o, "Lines")
            return a.exec(o, "Price", 3, "z") .. lines[1] .. tostring(a.exec(o, "Fail")) .. #a.members(o)
                .. a.get(a.exec(o, "Self"), "No") .. a.exec(o, "Price", 2, "\t\"\\ё")
        end
        local order = a.object{ No = 5, Lines = { "чай" }, Price = function(s, z, f) return z .. f end,
                                Fail = function() error("no") end }
        local self = order
        order = a.object{ No = 5, Lines = { "чай" }, Price = function(s, z, f) return z .. f end,
                          Fail = function() error("no") end, Self = function() return self end }
    )";
    const std::string Head = std::string("local a = zu.automation local file = [[") + File + "]]" + Drive;
    EXPECT_EQ(Result(Head + "thing.Value = drive(a.record(order, file)) collectgarbage()"),
              "z3чайnil65\t\"\\ё2");
    EXPECT_EQ(Result(Head + "local o, rest = a.replay(file) thing.Value = drive(o) .. #rest()"),
              "z3чайnil65\t\"\\ё20");
    EXPECT_EQ(Result(Head + "local o, rest = a.replay(file) a.get(o, 'Lines') thing.Value = rest()[1]"),
              "0 find \"Price\"");
    EXPECT_THAT(Error(Head + "local o = a.replay(file) a.get(o, 'Lines') a.get(o, 'No')"),
                HasSubstr("order.rec:4: 0 find \"Price\" is recorded, but 0 find \"No\" came"));
    EXPECT_THAT(Error(Head + "local o = a.replay(file) a.get(o, 'Lines') a.exec(o, 'Price', 4, 'z')"),
                HasSubstr("order.rec:5: 0 method-or-get \"Price\" int 3 \"z\" is recorded, but"));
    EXPECT_THAT(Error(Head + "local o = a.replay(file) drive(o) a.get(o, 'No')"),
                HasSubstr("the recording ends here"));

    const std::pair<const char*, const char*> Broken[] = {
        {"something else\n", ":1: this is no automation recording"},
        {"ZuTools automation recording 1\n0 find \"x\"\n", ":2: a question and its answer are wanted"},
        {"ZuTools automation recording 1\n0 find \"x\" = 1x\n", ":2: 1x is no answer"},
        {"ZuTools automation recording 1\n0 find \"x\" = 1\n0 get \"x\" = done 0 [ int 1\n",
         ":3: done 0 [ int 1 is no answer"}};
    for (const auto& [Text, Message] : Broken) {
        const std::u16string Name = Folder.Write(u"broken.rec", Text);
        EXPECT_THAT(Error("local o = zu.automation.replay([[" + platform::Utf16ToUtf8(Name) +
                          "]]) zu.automation.get(o, 'x')"),
                    HasSubstr(Message));
    }
}

// A table that another engine's object holds longer than its script is gone, and nothing is touched.
TEST_F(LuaAutomation, NothingOutlivesItsScript) {
    EXPECT_EQ(
        Result("local o = zu.automation.object{} local w = setmetatable({ o }, { __mode = 'v' }) o = nil "
               "collectgarbage() collectgarbage() thing.Value = tostring(w[1])"),
        "nil");
    EXPECT_THAT(Error("getmetatable(zu.automation.object{}).x = 1"), HasSubstr("boolean"));
}

TEST_F(LuaAutomation, WebModulesReachNoFilesAndProgramsThroughIt) {
    TLuaOptions Options;
    Options.Sandboxed = true;
    Start(std::move(Options));
    for (const char* Script :
         {"zu.automation.record(zu.automation.object{}, 'x')", "zu.automation.replay('x')", "zu.com('x')"})
        EXPECT_THAT(Error(Script), HasSubstr("is not there for web modules"));
    if (HasPages()) {
        EXPECT_EQ(Error("zu.automation.get(zu.html('<p>'), 'title')"), "no error");
    }
    EXPECT_NE(Error("zu.automation.get = print"), "no error");
}

} // namespace
} // namespace zutools::server::tests
