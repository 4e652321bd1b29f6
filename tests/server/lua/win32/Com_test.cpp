// Objects of Windows in scripts; the first lines are docs/automation.md's.
#include "tests/server/lua/Things.h"

namespace zutools::server::tests {
namespace {

using testing::HasSubstr;

class LuaCom : public LuaTest {
protected:
    LuaCom() { Start(); }
};

TEST_F(LuaCom, ScriptsUseObjectsOfTheSystem) {
    EXPECT_EQ(Result(R"(
        local words = zu.com("Scripting.Dictionary")
        zu.automation.exec(words, "Add", "чай", "tea")       -- Add(Key, Item): the item, then the key
        local inner = zu.automation.object{ Cups = 3 }
        zu.automation.exec(words, "Add", inner, "cups")
        zu.automation.exec(words, "Add", thing, "thing")
        local a = zu.automation
        thing.Value = a.get(words, "Count") .. a.exec(words, "Item", "tea") .. a.get(a.exec(words, "Item", "cups"), "Cups")
            .. a.get(a.exec(words, "Item", "thing"), "Weight") .. tostring(a.exec(words, "Exists", "none"))
            .. tostring(a.get(words, "Nothing")))"),
              "3чай31.5falsenil");
    EXPECT_THAT(Error("zu.automation.get(zu.com('Scripting.Dictionary'), 'Nothing', true)"),
                HasSubstr("Unknown name: Nothing."));
    EXPECT_THAT(Error("zu.com('ZuTools.NoSuchThing')"),
                HasSubstr("Cannot create the automation object \"ZuTools.NoSuchThing\""));
}

} // namespace
} // namespace zutools::server::tests
