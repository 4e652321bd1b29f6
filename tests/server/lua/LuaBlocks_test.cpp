// RecordBlocker and zu.blocks, on the process's blocker.

#include "host/Security.h"
#include "host/Services.h"
#include "host/Session.h"
#include "host/ThreadContainer.h"
#include "recordlock/Zurecblk.h"
#include "tests/server/lua/Things.h"

namespace zutools::server::tests {
namespace {

using testing::HasSubstr;
using testing::MatchesRegex;

class TSomeUsers : public TOpenSecurityManager {
public:
    TUserInfo RefreshUserInfo(std::u16string_view UserName) override {
        TUserInfo User;
        User.UserName = UserName;
        User.Administrator = UserName == u"Anna";
        return User;
    }
};

class LuaBlocks : public LuaTest {
protected:
    LuaBlocks() {
        SetServices({.ApplicationManager = nullptr,
                     .Localizer = nullptr,
                     .Logger = nullptr,
                     .Security = std::make_shared<TSomeUsers>()});
        ZURecordBlocker = std::make_unique<TZURecordBlocker>();
        RegisterZurecblk(ScriptRegistry());
        Start();
        Engine->RunText(R"(
            function as(user, fn, ...) return zu.as_session("sid of " .. user, user, fn, ...) end
            function lock(name) return RecordBlocker:LockTable(name) ~= nil end)",
                        "setup.lua");
    }
    ~LuaBlocks() override {
        Engine.reset();
        ThreadObjects().Clear();
        UnregisterZurecblk(ScriptRegistry());
        ZURecordBlocker.reset();
        SetServices({});
    }
};

TEST_F(LuaBlocks, ListIsForAdministrators) {
    EXPECT_THAT(Result(R"(
        assert(as("Boris", lock, "Orders"))
        local b = as("Anna", zu.blocks.list)
        assert(#b == 1 and #b[1].id == 32 and b[1].history[1]:find("setup.lua:3:", 1, true))
        thing.Value = table.concat({b[1].table, b[1].record, b[1].user, b[1].sid, b[1].action, b[1].since}, "|"))"),
                MatchesRegex("Orders\\|\\|Boris\\|sid of Boris\\|LockTable\\|....-..-.. ..:..:...*"));
    EXPECT_THAT(Error("as('Boris', zu.blocks.list)"), HasSubstr("zu.blocks.list is for administrators"));
    EXPECT_THAT(Error("zu.blocks.list()"), HasSubstr("zu.blocks.list is for administrators"));
}

TEST_F(LuaBlocks, ListGoesOnBehindAnID) {
    EXPECT_EQ(Result(R"(
        for i = 1, 5 do assert(as("Boris", lock, "T" .. i)) end
        local seen, count, after = {}, 0, nil
        repeat
            local page = as("Anna", zu.blocks.list, {after = after, limit = 2})
            for _, block in ipairs(page) do
                assert(not seen[block.table])
                seen[block.table], count, after = true, count + 1, block.id
            end
        until #page == 0
        thing.Value = count)"),
              "5");
    for (const char* const Limit : {"0", "1001", "1.5", "'x'"}) {
        EXPECT_THAT(Error("as('Anna', zu.blocks.list, {limit = " + std::string(Limit) + "})"),
                    HasSubstr("limit is a whole number from 1 to 1000"))
            << Limit;
    }
}

TEST_F(LuaBlocks, HolderTellsAnybodyWhoAndSinceWhenButNoSession) {
    EXPECT_EQ(Result(R"(
        assert(as("Boris", lock, "Orders"))
        local h, names = as("Vera", zu.blocks.holder, "Orders", "1"), {}
        for name in pairs(h) do names[#names + 1] = name end
        table.sort(names)
        thing.Value = h.user .. h.action .. table.concat(names) .. tostring(zu.blocks.holder("Other", "1")))"),
              "BorisLockTableactionsinceusernil");
}

TEST_F(LuaBlocks, ReleaseIsForAdministrators) {
    EXPECT_EQ(Result(R"(
        local block
        assert(as("Boris", function() block = RecordBlocker:LockTable("Orders") return true end))
        local id = block.ID
        local refused = not pcall(as, "Boris", zu.blocks.release, id)
        local there = #as("Anna", zu.blocks.list)
        local first, second = as("Anna", zu.blocks.release, id), as("Anna", zu.blocks.release, id)
        thing.Value = tostring(refused) .. there .. tostring(first) .. tostring(second) ..
            #as("Anna", zu.blocks.list) .. tostring(block))"),
              "true1truefalse0TZURecordBlockerTableObject (gone)");
}

TEST_F(LuaBlocks, CannotBeChangedByScripts) {
    EXPECT_THAT(Error("zu.blocks.list = 1"), HasSubstr("attempt to index"));
    EXPECT_THAT(Error("local x = zu.blocks.nobody"), HasSubstr("zu.blocks has no function \"nobody\""));
}

} // namespace
} // namespace zutools::server::tests
