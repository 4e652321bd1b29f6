// The running script as record blocking sees it.

#include "host/ScriptExecutor.h"
#include "tests/server/lua/Things.h"

#include <algorithm>

namespace zutools::server::tests {
namespace {

using testing::AllOf;
using testing::EndsWith;
using testing::HasSubstr;
using testing::Le;
using testing::Not;
using testing::SizeIs;
using testing::StartsWith;

class LuaExecutor : public LuaTest {
protected:
    LuaExecutor() { Start(); }
};

TEST_F(LuaExecutor, CallStackNamesEveryCallWithItsPlace) {
    const std::pair<const char*, const char*> Cases[] = {
        {"local function inner() return thing:CallStack() end\n"
         "function outer() local s = inner() return s end\n"
         "local ok, s = pcall(function() local s = outer() return s end)\n"
         "thing.Value = s",
         "test.lua:1: in upvalue 'inner'\n"
         "test.lua:2: in global 'outer'\n"
         "test.lua:3: in function <3>\n"
         "test.lua:3: in main chunk"},
        {"local co = coroutine.wrap(function()\nlocal s = thing:CallStack()\nreturn s end)\nthing.Value = "
         "co()",
         "test.lua:2: in function <1>\ntest.lua:4: in main chunk"},
        {"local co = coroutine.wrap(function() thing:Echo(1) coroutine.yield() end)\nco()\n"
         "thing.Value = thing:CallStack()",
         "test.lua:3: in main chunk"},
        {"pcall(coroutine.wrap(function() thing:Fail() end))\nthing.Value = thing:CallStack()",
         "test.lua:2: in main chunk"},
        {"zu.as_session('s', 'u', function()\nthing.Value = thing:CallStack() end)",
         "test.lua:2: in function <1>\ntest.lua:1: in main chunk"},
    };
    for (const auto& [Script, Stack] : Cases) EXPECT_EQ(Result(Script), Stack) << Script;
}

TEST_F(LuaExecutor, CallStackIsBoundedAndEndsWithAWholeLine) {
    const std::string Stack = Result(R"(
        local function deep(n)
            if n == 0 then return thing:CallStack() end
            local s = deep(n - 1)
            return s
        end
        thing.Value = deep(5000))");
    EXPECT_THAT(Stack, AllOf(StartsWith("test.lua:3: in "), EndsWith("'deep'"), SizeIs(Le(4096U))));
    EXPECT_GT(std::ranges::count(Stack, '\n'), 50);
}

TEST_F(LuaExecutor, CallStackHasTheWholeNameOfAFile) {
    const std::string Name = std::string(80, 'd') + "/page.lua";
    Engine->RunText("thing.Value = thing:CallStack()", Name);
    EXPECT_EQ(Thing.Value.AsString(), std::u16string(80, u'd') + u"/page.lua:1: in main chunk");
}

TEST_F(LuaExecutor, IsBoundWhileAScriptRunsOnly) {
    EXPECT_EQ(CurrentScriptExecutor(), nullptr);
    EXPECT_THAT(Error("thing:CallStack() error('x')"), HasSubstr("x"));
    EXPECT_EQ(CurrentScriptExecutor(), nullptr);
}

} // namespace
} // namespace zutools::server::tests
