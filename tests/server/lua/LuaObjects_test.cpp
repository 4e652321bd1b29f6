#include "tests/server/lua/Things.h"

#include "platform/Text.h"

#include <memory>

namespace zutools::server::tests {
namespace {

using testing::HasSubstr;

struct TRow {
    const char* Script;
    const char* Expected;
};

class LuaObjects : public LuaTest {
protected:
    LuaObjects() { Start(); }
};

TEST_F(LuaObjects, WhatScriptsRead) {
    const TRow Rows[] = {
        {"thing.Value = 'a'; thing.Value = thing.Value .. 'b'", "ab"},
        {"thing.vALUE = thing.fixed", "fixed"},
        {"thing.weight = 2.5; thing.Value = thing.Weight + thing.Size", "9.5"},
        {"thing.Value = thing:Echo('x')", "x"},
        {"thing.Value = thing:Count(1, nil, 3, 4, 5, 6)", "6"},
        {"thing.Value = thing:Twice(21)", "42"},
        {"thing.TagX = 'seen'; thing.Value = thing.TagX", "seen"},
        {"thing.TagX = 'seen'; thing.Value = tostring(thing.Tagx)", "nil"},
        {"for i = 1, 3000 do thing['Tag' .. i] = i end; thing.Value = thing.Tag2999 + thing.Tag1", "3000"},
        {"thing.Item['a'] = 1; thing.Item.b = 2; thing.Value = thing.Item.a + thing.Item['b']", "3"},
        {"thing.Item[0] = 'zero'; thing.Value = thing.Item[0]", "zero"},
        {"thing.Item[3] = 'x'; thing.Value = thing.Item(3) .. thing:Item(3)", "xx"},
        {"local i = thing.Item; i.a = 'x'; thing.Value = i.a", "x"},
        {"thing.Cell[1]['b'] = 'x'; thing.Value = thing.Cell[1].b .. thing.Cell(1, 'b')", "xx"},
        {"thing.Any[1] = 'x'; thing.Value = thing.Any(1) .. tostring(thing.Any(1, 2))", "xnil"},
        {"thing.Value = tostring(thing.Itself == thing and thing.Child == thing.Child)", "true"},
        {"thing.Value = tostring(thing.Child == thing)", "false"},
        {"thing.Value = tostring(thing:Echo(thing) == thing)", "true"},
        {"thing.Value = tostring(thing)", "TThing"},
        {"local s = ('Ж€😀'):rep(1000); thing.Value = tostring(thing:Echo(s) == s)", "true"},
        {"function kinds(first, ...) return thing:KindOf(first) .. (select('#', ...) > 0 and ' ' .. "
         "kinds(...) or '') end "
         "thing.Value = kinds(2147483647, 2147483648, 1.0, false, '', thing, nil)",
         "Integer Int64 Float Boolean String Object Null"},
        {"thing.Value = math.type(thing:Echo(1.0))", "float"},
        {"thing.Value = math.type(thing:Special(9)) .. thing:Special(9)", "integer1099511627776"},
        {"thing.Value = thing:Special(0)", "2023-03-15 12:00:00"},
        {"thing.Value = tostring(thing:Special(1))", "nil"},
        {"thing.Value = tostring(thing:Special(2))", "true"},
        {"thing.Value = thing:Special(3)", "ж"},
        {"thing.Value = tostring(thing:Echo('a\\0b') == 'a\\0b')", "true"},
    };
    for (const auto& [Script, Expected] : Rows) EXPECT_EQ(Result(Script), Expected) << Script;
}

TEST_F(LuaObjects, WhatScriptsAreRefused) {
    const TRow Rows[] = {
        {"local x = thing.Wieght", "class TThing has no property \"Wieght\"; is it Weight?"},
        {"thing.Nothing = 1", "class TThing has no property \"Nothing\""},
        {"thing:Hidden()", "class TThing has no property \"Hidden\""},
        {"local x = thing[1]", "an object of class TThing has names, no element [number]"},
        {"thing.Fixed = 1", "Property 'Fixed' of class 'TThing' is read-only"},
        {"thing.Size = 1", "Property 'Size' of class 'TThing' is read-only"},
        {"thing.Echo = 1", "Echo of class TThing is called, not written"},
        {"thing.Item = 1", "Item of class TThing is written with an index: object.Item[...] = value"},
        {"thing:Echo(thing.Item)", "argument 1 of TThing.Echo: Item wants an index: object.Item[...]"},
        {"thing.Cell[1] = 2", "Cell of class TThing wants 2 indices"},
        {"thing.DropChild()",
         "DropChild is called with a colon on an object of class TThing: object:DropChild(...)"},
        {"thing.Echo('x')", "Echo is called with a colon on an object of class TThing: object:Echo(...)"},
        {"thing:Echo(1, 2)",
         "Invalid number of arguments for function 'Echo' of class 'TThing': 2 given, 1 wanted"},
        {"thing:Twice()", "Invalid number of arguments for method 'Twice' of class 'TThing'"},
        {"thing:GiveOut(1)",
         "Var parameters not supported. Class 'TThing', method 'GiveOut', parameter 0(zero based) 'Out'"},
        {"thing:Fail()", "сбой"},
        {"zu.create('TThnig')", "unknown class \"TThnig\"; is it TThing?"},
        {"zu.create('Document')", "unknown class \"Document\"; there are TThing"},
        {"zu.create('tfixed')", "objects of class TFixed cannot be made by scripts"},
        {"thing.Value = {}", "value of TThing.Value: a table cannot be given"},
        {"thing:Echo(print)", "argument 1 of TThing.Echo: a function cannot be given"},
        {"thing:Count('x', 'ab\\xFFc')", "argument 2 of TThing.Count: malformed UTF-8 at byte 3"},
        {"thing.Item.x = '\\xC0\\x80'", "value of TThing.Item: malformed UTF-8 at byte 1"},
        {"thing.Cell[1]['\\x80'] = 1", "argument 2 of TThing.Cell: malformed UTF-8 at byte 1"},
        {"local x = thing['\\xED\\xA0\\x80']", "name of a property: malformed UTF-8 at byte 1"},
        {"thing:Special(4)", "value of TThing.Special: unpaired surrogate at position 1"},
    };
    for (const auto& [Script, Expected] : Rows)
        EXPECT_EQ(Error(Script), std::string("test.lua:1: ") + Expected) << Script;
}

// ---- lifetimes

using LuaLifetime = LuaObjects;

TEST_F(LuaLifetime, CreatedObjectDiesWithItsHandle) {
    EXPECT_EQ(Result("local t = zu.create('TThing'); t.Value = 'own'; thing.Value = t.Value"), "own");
    EXPECT_EQ(
        Error("for i = 1, 100 do zu.create('TThing').Child.Value = i end collectgarbage() collectgarbage()"),
        "no error");
    EXPECT_EQ(TThing::Living, 1);
}

TEST_F(LuaLifetime, PartKeepsItsOwnerAlive) {
    EXPECT_EQ(Result(R"(
        local part = zu.create('TThing').Child.Child
        part.Value = 'alive'
        collectgarbage() collectgarbage()
        thing.Value = part.Value)"),
              "alive");
    EXPECT_EQ(Result(R"(
        local item = zu.create('TThing').Item
        item.x = 'alive'
        collectgarbage() collectgarbage()
        thing.Value = item.x)"),
              "alive");
}

TEST_F(LuaLifetime, DeadHandleRaises) {
    const char* const Expected = "test.lua:3: the object is gone (TThing)";
    EXPECT_EQ(Error("part = thing.Child\nthing:DropChild()\npart.Value = 1"), Expected);
    EXPECT_EQ(Error("part = thing.Child\nthing:DropChild()\nlocal x = part.Fixed"), Expected);
    EXPECT_EQ(Error("part = thing.Child\nthing:DropChild()\nthing:Echo(part)"), Expected);
    EXPECT_EQ(
        Error("part = thing.Child item, call = part.Item, part.Echo\nthing:DropChild()\nlocal x = item[1]"),
        Expected);
    EXPECT_EQ(Error("part = thing.Child item, call = part.Item, part.Echo\nthing:DropChild()\ncall(part, 1)"),
              Expected);
    EXPECT_EQ(Result("thing.Value = tostring(part)"), "TThing (gone)");
}

TEST_F(LuaLifetime, NewObjectAtAnOldAddressIsAnother) {
    // The allocator is likely, not certain, to give the address again within these rounds.
    EXPECT_EQ(Result(R"(
        local dead = {}
        for i = 1, 50 do
            dead[i] = thing.Child
            thing.Child.Value = i
            thing:DropChild()
        end
        local fresh, alive = thing.Child, 0
        for i = 1, 50 do
            if dead[i] == fresh or pcall(function() return dead[i].Value end) then alive = alive + 1 end
        end
        fresh.Value = 'usable'
        thing.Value = fresh.Value .. alive)"),
              "usable0");
}

TEST_F(LuaLifetime, GlobalDestroyedByItsOwner) {
    auto Other = std::make_unique<TThing>();
    Engine->SetGlobal("other", *Other);
    EXPECT_EQ(Result("kept = other; thing.Value = other.Fixed"), "fixed");
    Other.reset();
    EXPECT_EQ(Error("local x = other.Fixed"), "test.lua:1: the object is gone (TThing)");
    EXPECT_EQ(Error("local x = kept.Fixed"), "test.lua:1: the object is gone (TThing)");
    Engine->ClearGlobal("other");
    EXPECT_EQ(Result("thing.Value = tostring(other)"), "nil");
}

TEST_F(LuaLifetime, ErrorsCrossWithoutLosingObjects) {
    EXPECT_EQ(Error(R"(
        for i = 1, 200 do
            local t = zu.create('TThing')
            pcall(t.Fail, t)
            pcall(t.Echo, t, 'bad \xFF text', ('long'):rep(1000))
            pcall(t.Count, t, ('long'):rep(1000), 'x', 'y', 'z', 'more', {})
            pcall(function() t.Cell[('long'):rep(1000)][{}] = 1 end)
        end
        collectgarbage() collectgarbage())"),
              "no error");
    EXPECT_EQ(TThing::Living, 1);
}

TEST_F(LuaLifetime, EngineFreesWhatScriptsMade) {
    Engine->RunText("kept = {} for i = 1, 10 do kept[i] = zu.create('TThing') end", "test.lua");
    EXPECT_EQ(TThing::Living, 11);
    Engine.reset();
    EXPECT_EQ(TThing::Living, 1);
}

TEST_F(LuaLifetime, FinaliserFindsDeadHandles) {
    // Finalisers run in the reverse order of their marking: the handle's first, as it is made last.
    EXPECT_EQ(Result(R"(
        do
            local held = setmetatable({}, {__gc = function(self)
                seen, text = pcall(function() return self.thing.Fixed end) end})
            held.thing = zu.create('TThing')
        end
        collectgarbage() collectgarbage()
        thing.Value = tostring(seen) .. text:match('gone.*'))"),
              "falsegone (TThing)");
    EXPECT_EQ(TThing::Living, 1);
}

TEST_F(LuaLifetime, MetatablesOutOfReach) {
    EXPECT_EQ(Result("thing.Value = tostring(getmetatable(thing)) .. tostring(getmetatable(thing.Item))"),
              "falsefalse");
    EXPECT_THAT(Error("setmetatable(thing, {})"), HasSubstr("table expected"));
    // With the debug library they are in reach, and still take nothing for an object that is none.
    EXPECT_THAT(Error("debug.getmetatable(thing).__index(io.stdout, 'Fixed')"),
                HasSubstr("an object is wanted"));
    EXPECT_THAT(Error("debug.getmetatable(thing.Item).__index(thing, 1)"),
                HasSubstr("with an index is wanted"));
    EXPECT_THAT(Error("local t = zu.create('TThing') debug.getmetatable(t).__gc(t) t:Echo(1)"),
                HasSubstr("gone (TThing)"));
}

TEST_F(LuaLifetime, ObjectOfTheThreadIsAskedAtEachUse) {
    TThing First, Second;
    TObject* Current = nullptr;
    Engine->SetGlobal("data", [&] { return Current; });
    EXPECT_EQ(Result("thing.Value = tostring(data.Fixed)"), "nil");
    EXPECT_EQ(Error("data.Value = 1"), "test.lua:1: this thread has no data to write to");
    Current = &First;
    Engine->RunText("item = data.Item; data.Value = 'first'; item.x = 'x'", "test.lua");
    Current = &Second;
    Engine->RunText("data.Value = data:Echo('second'); item.x = 'y'; thing.Value = data", "test.lua");
    EXPECT_EQ(First.Value, TKXVariant(u"first"));
    EXPECT_EQ(Second.Value, TKXVariant(u"second"));
    EXPECT_EQ(Thing.Value.AsObject(), &Second);
    EXPECT_EQ(Second.Items.begin()->second, TKXVariant(u"y"));
}

} // namespace
} // namespace zutools::server::tests
