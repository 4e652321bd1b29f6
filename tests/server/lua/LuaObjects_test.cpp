#include "tests/server/lua/Things.h"

#include "platform/Text.h"

#include <memory>

namespace zutools::server::tests {
namespace {

using testing::HasSubstr;
using testing::StartsWith;

struct TRow {
    const char* Name;
    const char* Script;
    const char* Expected;
};

void PrintTo(const TRow& Row, std::ostream* Out) {
    *Out << Row.Name;
}

std::string NameOf(const testing::TestParamInfo<TRow>& Info) {
    return Info.param.Name;
}

class LuaObjects : public LuaTest, public testing::WithParamInterface<TRow> {
protected:
    LuaObjects() { Start(); }
};

class ScriptReads : public LuaObjects {};
TEST_P(ScriptReads, TheValue) {
    EXPECT_EQ(Result(GetParam().Script), GetParam().Expected);
}

INSTANTIATE_TEST_SUITE_P(
    Names, ScriptReads,
    testing::Values(
        TRow{"Property", "thing.Value = 'a'; thing.Value = thing.Value .. 'b'", "ab"},
        TRow{"LetterCaseOfRegisteredNames", "thing.vALUE = thing.fixed", "fixed"},
        TRow{"PublishedProperty", "thing.weight = 2.5; thing.Value = thing.Weight + thing.Size", "9.5"},
        TRow{"Function", "thing.Value = thing:Echo('x')", "x"},
        TRow{"UncheckedCount", "thing.Value = thing:Count(1, nil, 3, 4, 5, 6)", "6"},
        TRow{"PublishedMethod", "thing.Value = thing:Twice(21)", "42"},
        TRow{"Hook", "thing.TagX = 'seen'; thing.Value = thing.TagX", "seen"},
        TRow{"HookKeepsLetterCase", "thing.TagX = 'seen'; thing.Value = tostring(thing.Tagx)", "nil"},
        TRow{"HookAfterManyNames",
             "for i = 1, 3000 do thing['Tag' .. i] = i end; thing.Value = thing.Tag2999 + thing.Tag1",
             "3000"},
        TRow{"IndexByName",
             "thing.Item['a'] = 1; thing.Item.b = 2; thing.Value = thing.Item.a + thing.Item['b']", "3"},
        TRow{"IndexByNumber", "thing.Item[0] = 'zero'; thing.Value = thing.Item[0]", "zero"},
        TRow{"IndexCalled", "thing.Item[3] = 'x'; thing.Value = thing.Item(3) .. thing:Item(3)", "xx"},
        TRow{"IndexKept", "local i = thing.Item; i.a = 'x'; thing.Value = i.a", "x"},
        TRow{"TwoIndices", "thing.Cell[1]['b'] = 'x'; thing.Value = thing.Cell[1].b .. thing.Cell(1, 'b')",
             "xx"},
        TRow{"AnyIndices", "thing.Any[1] = 'x'; thing.Value = thing.Any(1) .. tostring(thing.Any(1, 2))",
             "xnil"},
        TRow{"SameHandle", "thing.Value = tostring(thing.Itself == thing and thing.Child == thing.Child)",
             "true"},
        TRow{"OtherHandle", "thing.Value = tostring(thing.Child == thing)", "false"},
        TRow{"ObjectAsArgument", "thing.Value = tostring(thing:Echo(thing) == thing)", "true"},
        TRow{"Text", "thing.Value = tostring(thing)", "TThing"},
        TRow{"LongTextOutsideAscii",
             "local s = ('Ж€😀'):rep(1000); thing.Value = tostring(thing:Echo(s) == s)", "true"}),
    NameOf);

INSTANTIATE_TEST_SUITE_P(
    Values, ScriptReads,
    testing::Values(TRow{"Integer", "thing.Value = thing:KindOf(2147483647)", "Integer"},
                    TRow{"Int64", "thing.Value = thing:KindOf(2147483648)", "Int64"},
                    TRow{"Float", "thing.Value = thing:KindOf(1.0)", "Float"},
                    TRow{"Boolean", "thing.Value = thing:KindOf(false)", "Boolean"},
                    TRow{"String", "thing.Value = thing:KindOf('')", "String"},
                    TRow{"Object", "thing.Value = thing:KindOf(thing)", "Object"},
                    TRow{"Nil", "thing.Value = thing:KindOf(nil)", "Null"},
                    TRow{"FloatStaysOne", "thing.Value = math.type(thing:Echo(1.0))", "float"},
                    TRow{"LargeInteger", "thing.Value = math.type(thing:Special(9)) .. thing:Special(9)",
                         "integer1099511627776"},
                    TRow{"DateTime", "thing.Value = thing:Special(0)", "2023-03-15 12:00:00"},
                    TRow{"NullObject", "thing.Value = tostring(thing:Special(1))", "nil"},
                    TRow{"WordBool", "thing.Value = tostring(thing:Special(2))", "true"},
                    TRow{"Character", "thing.Value = thing:Special(3)", "ж"},
                    TRow{"TextWithZero", "thing.Value = tostring(thing:Echo('a\\0b') == 'a\\0b')", "true"}),
    NameOf);

class ScriptFails : public LuaObjects {};
TEST_P(ScriptFails, WithTheReason) {
    EXPECT_EQ(Error(GetParam().Script), std::string("test.lua:1: ") + GetParam().Expected);
}

INSTANTIATE_TEST_SUITE_P(
    Names, ScriptFails,
    testing::Values(
        TRow{"UnknownName", "local x = thing.Wieght",
             "class TThing has no property \"Wieght\"; is it Weight?"},
        TRow{"UnknownNameWritten", "thing.Nothing = 1", "class TThing has no property \"Nothing\""},
        TRow{"MethodThatIsNotPublished", "thing:Hidden()", "class TThing has no property \"Hidden\""},
        TRow{"NumberAsName", "local x = thing[1]",
             "an object of class TThing has names, no element [number]"},
        TRow{"ReadOnly", "thing.Fixed = 1", "Property 'Fixed' of class 'TThing' is read-only"},
        TRow{"ReadOnlyPublished", "thing.Size = 1", "Property 'Size' of class 'TThing' is read-only"},
        TRow{"FunctionWritten", "thing.Echo = 1", "Echo of class TThing is called, not written"},
        TRow{"IndexMissing", "thing.Item = 1",
             "Item of class TThing is written with an index: object.Item[...] = value"},
        TRow{"IndexMissingInArgument", "thing:Echo(thing.Item)",
             "argument 1 of TThing.Echo: Item wants an index: object.Item[...]"},
        TRow{"SecondIndexMissing", "thing.Cell[1] = 2", "Cell of class TThing wants 2 indices"},
        TRow{"Dot", "thing.DropChild()",
             "DropChild is called with a colon on an object of class TThing: object:DropChild(...)"},
        TRow{"DotWithArgument", "thing.Echo('x')",
             "Echo is called with a colon on an object of class TThing: object:Echo(...)"},
        TRow{"TooManyArguments", "thing:Echo(1, 2)",
             "Invalid number of arguments for function 'Echo' of class 'TThing': 2 given, 1 wanted"},
        TRow{"MethodArguments", "thing:Twice()",
             "Invalid number of arguments for method 'Twice' of class 'TThing'"},
        TRow{"ResultParameter", "thing:GiveOut(1)",
             "Var parameters not supported. Class 'TThing', method 'GiveOut', parameter 0(zero based) 'Out'"},
        TRow{"ErrorOfTheObject", "thing:Fail()", "сбой"},
        TRow{"UnknownClass", "zu.create('TThnig')", "unknown class \"TThnig\"; is it TThing?"},
        TRow{"ClassFarFromAny", "zu.create('Document')", "unknown class \"Document\"; there are TThing"},
        TRow{"ClassNotCreatable", "zu.create('tfixed')",
             "objects of class TFixed cannot be made by scripts"}),
    NameOf);

INSTANTIATE_TEST_SUITE_P(Values, ScriptFails,
                         testing::Values(TRow{"Table", "thing.Value = {}",
                                              "value of TThing.Value: a table cannot be given"},
                                         TRow{"FunctionAsArgument", "thing:Echo(print)",
                                              "argument 1 of TThing.Echo: a function cannot be given"},
                                         TRow{"MalformedArgument", "thing:Count('x', 'ab\\xFFc')",
                                              "argument 2 of TThing.Count: malformed UTF-8 at byte 3"},
                                         TRow{"MalformedValue", "thing.Item.x = '\\xC0\\x80'",
                                              "value of TThing.Item: malformed UTF-8 at byte 1"},
                                         TRow{"MalformedIndex", "thing.Cell[1]['\\x80'] = 1",
                                              "argument 2 of TThing.Cell: malformed UTF-8 at byte 1"},
                                         TRow{"MalformedName", "local x = thing['\\xED\\xA0\\x80']",
                                              "name of a property: malformed UTF-8 at byte 1"},
                                         TRow{"UnpairedSurrogate", "thing:Special(4)",
                                              "value of TThing.Special: unpaired surrogate at position 1"}),
                         NameOf);

// ---- lifetimes

class LuaLifetime : public LuaTest {
protected:
    LuaLifetime() { Start(); }
};

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
