#include "tests/server/lua/Things.h"

#include "host/Session.h"
#include "host/ThreadContainer.h"
#include "host/WorkClock.h"
#include "platform/File.h"
#include "platform/Text.h"
#include "tests/support/TempFolder.h"

#include <algorithm>
#include <filesystem>
#include <functional>
#include <thread>
#include <vector>

namespace zutools::server::tests {
namespace {

using testing::EndsWith;
using testing::HasSubstr;
using testing::StartsWith;
using zutools::tests::TTempFolder;

// ---- errors

class LuaErrors : public LuaTest {
protected:
    LuaErrors() { Start(); }
    TTempFolder Folder;
};

TEST_F(LuaErrors, MessageOfEveryKindOfError) {
    EXPECT_EQ(Error("\nerror('boom')"), "test.lua:2: boom");
    EXPECT_EQ(Error("error('boom', 0)"), "boom");
    EXPECT_EQ(Error("error({})"), "test.lua: (error object is a table value)");
    EXPECT_EQ(Error("error()"), "test.lua: (error object is a nil value)");
    EXPECT_EQ(Error("error(setmetatable({}, {__tostring = function() return 'own text' end}))"), "own text");
    EXPECT_EQ(Error("error(setmetatable({}, {__tostring = function() return {} end}))"),
              "test.lua: (error object is a table value)");
    EXPECT_EQ(Error("x ="), "test.lua:1: unexpected symbol near <eof>");
    EXPECT_EQ(Error("local x = nil .. 'a'"), "test.lua:1: attempt to concatenate a nil value");
    EXPECT_EQ(Error("error('плохой \\xFF байт', 0)"), "плохой \xEF\xBF\xBD байт");
    EXPECT_THAT(Error("local function f() return f() + 1 end f()"), HasSubstr("stack overflow"));
}

TEST_F(LuaErrors, ScriptCatchesTheLibrarysErrorsAsText) {
    EXPECT_EQ(Result("local ok, e = pcall(thing.Fail, thing) thing.Value = tostring(ok) .. e"), "falseсбой");
    EXPECT_EQ(Result("local ok, e = pcall(function()\n thing:Fail() end) thing.Value = e"),
              "test.lua:2: сбой");
}

/// The error that `Call()` ends with.
EScriptError Failed(const std::function<void()>& Call) {
    try {
        Call();
    } catch (const EScriptError& Error) {
        return Error;
    }
    ADD_FAILURE() << "no error";
    return EScriptError(u"", u"");
}

TEST_F(LuaErrors, TracebackNamesFilesAndLines) {
    const std::u16string File = Folder.Write(u"заказ.lua", "local function вложенная() end\n"
                                                           "local function inner() thing:Fail() end\n"
                                                           "inner()\n");
    const std::string Name = platform::Utf16ToUtf8(File);
    // The name of a function must be ASCII, so that script does not compile; its place is right all the same.
    const EScriptError Compiled = Failed([&] { Engine->RunFile(File); });
    EXPECT_THAT(Compiled.what(), StartsWith(Name + ":1: "));
    EXPECT_EQ(Compiled.Traceback(), u"");
    Folder.Write(u"заказ.lua", "\xEF\xBB\xBF#!/usr/bin/zuhost run\n"
                               "local function inner() thing:Fail() end\n"
                               "inner()\n");
    const EScriptError Failure = Failed([&] { Engine->RunFile(File); });
    EXPECT_EQ(Failure.Message(), File + u":2: сбой");
    const std::string Traceback = platform::Utf16ToUtf8(Failure.Traceback());
    EXPECT_THAT(Traceback, HasSubstr(Name + ":2: in local 'inner'"));
    EXPECT_THAT(Traceback, EndsWith(Name + ":3: in main chunk"));
}

TEST_F(LuaErrors, LongCyrillicFileNamesAreWhole) {
    const std::u16string File =
        Folder.Write(u"очень длинное имя папки с модулями/ещё одно длинное имя папки/модуль.lua",
                     "message = select(2, pcall(function() error('x') end))\nerror('boom')");
    const EScriptError Failure = Failed([&] { Engine->RunFile(File); });
    EXPECT_EQ(Failure.Message(), File + u":2: boom");
    EXPECT_THAT(platform::Utf16ToUtf8(Failure.Traceback()), HasSubstr(platform::Utf16ToUtf8(File) + ":2:"));
    // Inside the script Lua's own limit shortens it, but never inside a character: that would be refused
    // here.
    const std::string Message = Result("thing.Value = message");
    EXPECT_THAT(Message, StartsWith("..."));
    EXPECT_THAT(Message, EndsWith("/модуль.lua:1: x"));
}

TEST_F(LuaErrors, EngineIsNotEnteredTwice) {
    Engine->SetGlobal("other", [this]() -> TObject* {
        Engine->RunText("", "inner.lua");
        return nullptr;
    });
    EXPECT_EQ(Error("local x = other.Value"), "test.lua:1: The script engine is running a script already");
    EXPECT_EQ(Error(""), "no error");
}

TEST_F(LuaErrors, ArgumentsAsStandAloneLuaHasThem) {
    const std::u16string File = Folder.Write(
        u"a.lua",
        "thing.Value = #arg .. arg[1] .. arg[2] .. select('#', ...) .. tostring(arg[0]:match('a.lua$'))");
    Engine->RunFile(File, {"один", ""});
    EXPECT_EQ(Thing.Value, TKXVariant(u"2один2a.lua"));
    EXPECT_THROW(Engine->RunFile(Folder.File(u"none.lua")), platform::TSystemError);
}

// ---- sessions and texts

class LuaSessions : public LuaTest {
protected:
    LuaSessions() {
        TLuaOptions Options;
        Options.ThreadEnd = [this] { ++ThreadEnds; };
        Start(std::move(Options));
        auto Session = std::make_unique<TSession>();
        Session->SID = u"sid-1";
        Session->USR = u"Анна";
        ThreadObjects().Add(SessionObjectName, std::move(Session));
    }
    ~LuaSessions() override { ThreadObjects().Clear(); }
    int ThreadEnds = 0;
};

TEST_F(LuaSessions, SessionIsTheThreads) {
    EXPECT_EQ(Result("thing.Value = Session.SID .. Session.USR"), "sid-1Анна");
    EXPECT_EQ(Error("Session.SID = 'x'"), "test.lua:1: Property 'SID' of class 'TSession' is read-only");
    ThreadObjects().Remove(SessionObjectName);
    EXPECT_EQ(Result("thing.Value = tostring(Session.SID)"), "nil");
}

TEST_F(LuaSessions, AsSessionGivesResultsAndComesBack) {
    EXPECT_EQ(Result(R"(
        local s = Session
        local function whose(...) return s.SID .. s.USR, select('#', ...), ... end
        local a, n, x, y = zu.as_session('sid-2', 'Борис', whose, nil, 'y')
        local inner = zu.as_session('sid-2', 'Б', function()
            return zu.as_session('sid-3', 'В', whose) .. s.SID
        end)
        thing.Value = a .. n .. tostring(x) .. y .. inner .. s.SID)"),
              "sid-2Борис2nilysid-3Вsid-2sid-1");
    EXPECT_EQ(ThreadEnds, 3);
}

TEST_F(LuaSessions, AsSessionRaisesTheErrorItself) {
    EXPECT_EQ(Result("local e = {} local ok, x = pcall(zu.as_session, 'a', 'b', error, e) thing.Value = "
                     "tostring(x == e)"),
              "true");
    const EScriptError Failure = Failed([&] {
        Engine->RunText(
            "local function inner() error('boom') end\nzu.as_session('a', 'b', function()\ninner() end)",
            "s.lua");
    });
    EXPECT_STREQ(Failure.what(), "s.lua:1: boom");
    const std::string Traceback = platform::Utf16ToUtf8(Failure.Traceback());
    EXPECT_THAT(Traceback, HasSubstr("s.lua:1: in upvalue 'inner'"));
    EXPECT_THAT(Traceback, HasSubstr("s.lua:2: in main chunk"));
    EXPECT_EQ(ThreadEnds, 2);
    EXPECT_EQ(Result("thing.Value = Session.SID"), "sid-1");
}

TEST_F(LuaSessions, AsSessionRefuses) {
    EXPECT_THAT(Error("zu.as_session('a', 'b')"), HasSubstr("bad argument #3"));
    EXPECT_THAT(Error("zu.as_session(1, 'b', print)"),
                HasSubstr("argument 1 of zu.as_session: a string is wanted"));
    EXPECT_THAT(Error("coroutine.wrap(function() zu.as_session('a', 'b', coroutine.yield) end)()"),
                HasSubstr("attempt to yield across a C-call boundary"));
}

TEST_F(LuaSessions, Texts) {
    EXPECT_EQ(Result("thing.Value = zu.html_escape([[<a href=\"x\">'&'</a>ж]])"),
              "&lt;a href=&quot;x&quot;&gt;&#39;&amp;&#39;&lt;/a&gt;ж");
    EXPECT_EQ(Result("thing.Value = zu.url_escape('a-Z_0.~ /&?ж+%')"), "a-Z_0.~%20%2F%26%3F%D0%B6%2B%25");
    EXPECT_EQ(Result("thing.Value = zu.lower('ЗаКаЗ X') .. zu.upper('заказ x')"), "заказ xЗАКАЗ X");
}

// ---- web modules

class LuaModule : public LuaTest {
protected:
    LuaModule() {
        TLuaOptions Options;
        Options.Sandboxed = true;
        Options.ModuleDirectory = Folder.Path();
        Start(std::move(Options));
    }
    std::string Module(std::string_view Text) {
        Thing.Value = TKXVariant(u"nothing written");
        const std::u16string File = Folder.Write(u"main.lua", Text);
        try {
            Engine->RunModule(File);
        } catch (const EScriptError& Failure) {
            const std::string Path = platform::Utf16ToUtf8(Folder.Path()) + "/";
            std::string Message = platform::Utf16ToUtf8(Failure.Message());
            for (auto At = Message.find(Path); At != std::string::npos; At = Message.find(Path))
                Message.erase(At, Path.size());
            return Message;
        }
        return platform::Utf16ToUtf8(Thing.Value.AsString());
    }
    TTempFolder Folder;
};

TEST_F(LuaModule, GlobalsDoNotStay) {
    const char* const Script = "left = (left or 0) + 1\n"
                               "string.rep = 1 + #string.rep('x', 2) - 2\n"
                               "function print() end\n"
                               "zu.mine = zu.mine and 'stayed' or 'fresh'\n"
                               "string = nil; local again = string\n"
                               "thing.Value = left .. zu.mine .. tostring(again)";
    EXPECT_EQ(Module(Script), "1freshnil");
    EXPECT_EQ(Module(Script), "1freshnil");
    EXPECT_EQ(Module("_G.x = 'set'; thing.Value = x .. tostring(_G._G == _G)"), "settrue");
    EXPECT_EQ(Module("load('from_load = 1')() thing.Value = from_load"), "1");
    EXPECT_EQ(Module("thing.Value = tostring(from_load) .. tostring(x)"), "nilnil");
}

TEST_F(LuaModule, CompiledModuleSeesTheGlobalsOfTheRun) {
    Folder.Write(u"part.lua", "return function() return tostring(name) end");
    EXPECT_EQ(Module("name = 'first'; thing.Value = require('part')()"), "first");
    EXPECT_EQ(Module("thing.Value = require('part')()"), "nil");
}

TEST_F(LuaModule, FunctionOfAnEarlierRunKeepsItsGlobals) {
    Start(); // not sandboxed, so that something can stay
    const std::u16string File =
        Folder.Write(u"m.lua", "local loaded = package.loaded\n"
                               "loaded.runs = (loaded.runs or 0) + 1\n"
                               "name = 'run ' .. loaded.runs\n"
                               "loaded.kept = loaded.kept or function() return name end\n"
                               "thing.Value = name .. loaded.kept()");
    Engine->RunModule(File);
    Engine->RunModule(File);
    EXPECT_EQ(Thing.Value, TKXVariant(u"run 2run 1"));
}

TEST_F(LuaModule, IsCompiledAgainWhenTheFileChanges) {
    const std::u16string File = Folder.Write(u"m.lua", "thing.Value = 'first'");
    const std::filesystem::path Path(platform::Utf16ToUtf8(File));
    // Whole seconds: some systems set no others.
    const auto Time = std::chrono::floor<std::chrono::seconds>(std::filesystem::last_write_time(Path));
    std::filesystem::last_write_time(Path, Time);
    Engine->RunModule(File);
    EXPECT_EQ(Thing.Value, TKXVariant(u"first"));
    Folder.Write(u"m.lua", "thing.Value = 'other'"); // the same size
    std::filesystem::last_write_time(Path, Time);
    Engine->RunModule(File);
    EXPECT_EQ(Thing.Value, TKXVariant(u"first")) << "compiled once while nothing tells of a change";
    std::filesystem::last_write_time(Path, Time + std::chrono::seconds(1));
    Engine->RunModule(File);
    EXPECT_EQ(Thing.Value, TKXVariant(u"other"));
    Folder.Write(u"m.lua", "thing.Value = 'longer text'");
    std::filesystem::last_write_time(Path, Time + std::chrono::seconds(1));
    Engine->RunModule(File);
    EXPECT_EQ(Thing.Value, TKXVariant(u"longer text"));
    Folder.Write(u"m.lua", "thing.Value =");
    EXPECT_THROW(Engine->RunModule(File), EScriptError);
    EXPECT_THROW(Engine->RunModule(File), EScriptError);
    Folder.Write(u"m.lua", "thing.Value = 'repaired'");
    Engine->RunModule(File);
    EXPECT_EQ(Thing.Value, TKXVariant(u"repaired"));
    std::filesystem::remove(Path);
    EXPECT_THROW(Engine->RunModule(File), platform::TSystemError);
}

TEST_F(LuaModule, Require) {
    Folder.Write(u"sub/page.lua", "count = (count or 0) + 1 return {text = 'page', name = ...}");
    Folder.Write(u"loop.lua", "require 'loop'");
    Folder.Write(u"half.lua", "if not ready then error('not yet') end");
    EXPECT_EQ(Module("local p = require 'sub.page' thing.Value = p.text .. p.name .. count .. "
                     "tostring(require('sub.page') == p)"),
              "pagesub.page1true");
    EXPECT_EQ(Module("local p = require 'sub.page' thing.Value = count"), "1") << "run again in the next run";
    EXPECT_EQ(Module("require 'loop'"), "loop.lua:1: module 'loop' requires itself");
    EXPECT_EQ(Module("local ok = pcall(require, 'half') ready = true thing.Value = tostring(ok) .. "
                     "tostring(require 'half')"),
              "falsetrue");
    EXPECT_THAT(Module("require 'none'"), StartsWith("main.lua:1: module 'none' not found: "));
    for (const char* Name : {"..sub.page", "/etc/passwd", "C:x", "a\\0b", "", "con"}) {
        EXPECT_THAT(Module(std::string("require '") + Name + "'"), HasSubstr("' cannot be required: "))
            << Name;
    }
}

TEST_F(LuaModule, SandboxHoldsNothingDangerous) {
    for (const char* Name : {"io", "debug", "package", "dofile", "loadfile", "os.execute", "os.exit",
                             "os.remove", "os.rename", "os.tmpname", "os.getenv", "os.setlocale",
                             "string.dump", "getmetatable('').__index", "getmetatable(_G)"}) {
        EXPECT_EQ(Module(std::string("thing.Value = tostring((function() return ") + Name + " end)())"),
                  std::string(Name) == "getmetatable(_G)" ? "false"
                  : std::string(Name) == "getmetatable('').__index"
                      ? "main.lua:1: attempt to index a boolean value"
                      : "nil")
            << Name;
    }
    EXPECT_EQ(Module("thing.Value = os.date('!%Y', 0) .. math.type(os.time())"), "1970integer");
    EXPECT_EQ(Module("local f, e = load('\\27Lua') thing.Value = tostring(f) .. e"),
              "nilattempt to load a binary chunk (mode is 't')");
    EXPECT_EQ(Module("thing.Value = load(coroutine.wrap(function() coroutine.yield 'return ' coroutine.yield "
                     "'x' end), "
                     "'=n', 'b', {x = 'own'})()"),
              "own");
    EXPECT_THAT(Module("setmetatable({}, {__gc = print})"), HasSubstr("__gc is not available to modules"));
    EXPECT_THAT(Module("collectgarbage('stop')"), HasSubstr("invalid option 'stop'"));
    EXPECT_EQ(Module("thing.Value = collectgarbage() .. math.type(collectgarbage('count'))"), "0float");
    EXPECT_EQ(Module("rawset(_G, 'y', 1) thing.Value = y"), "1");
    EXPECT_EQ(Module("thing.Value = tostring(y)"), "nil");
}

TEST_F(LuaModule, RunStaysOpenToStandardLua) {
    Engine.reset();
    Start();
    Folder.Write(u"lib.lua", "return 'found'");
    EXPECT_EQ(
        Result(
            "thing.Value = type(io.open) .. type(os.execute) .. type(debug.traceback) .. type(string.dump)"),
        "functionfunctionfunctionfunction");
    EXPECT_EQ(Error("kept = 1"), "no error");
    EXPECT_EQ(Result("thing.Value = kept"), "1");
    TLuaOptions Options;
    Options.ModuleDirectory = Folder.Path();
    Start(std::move(Options));
    EXPECT_EQ(Result("thing.Value = require 'lib'"), "found");
}

// ---- limits

class LuaLimits : public LuaTest {
protected:
    void Start(std::uint64_t Instructions, std::size_t Bytes) {
        TLuaOptions Options;
        Options.Sandboxed = true;
        Options.InstructionLimit = Instructions;
        Options.MemoryLimit = Bytes;
        LuaTest::Start(std::move(Options));
    }
};

TEST_F(LuaLimits, InstructionsOfAnyLoop) {
    Start(100'000, 0);
    const std::string Expected = "the script took more than 100000 instructions";
    for (const char* Script :
         {"while true do end", "while true do pcall(function() while true do end end) end",
          "while true do xpcall(error, function() while true do end end) end",
          "while true do coroutine.wrap(function() for i = 1, 300 do end end)() end",
          "local c = coroutine.create(function() while true do end end) while true do coroutine.resume(c) "
          "end",
          "zu.as_session('a', 'b', function() while true do end end)",
          "xpcall(function() while true do end end, function() while true do end end)",
          "local mt = {} mt.__close = function() while true do end end "
          "while true do coroutine.wrap(function() local c <close> = setmetatable({}, mt) while true do end "
          "end)() end",
          "local mt = {} mt.__close = function() while true do end end local c = coroutine.create(function() "
          "local c <close> = setmetatable({}, mt) while true do end end) coroutine.resume(c) "
          "coroutine.close(c)",
          "local t = setmetatable({}, {__index = function(t) return t.x end}) while true do pcall(function() "
          "return t.x end) end",
          // Inside functions of the libraries, which would never come back.
          "table.move({}, 1, 1 << 62, 2)", "table.move({}, 1, 1 << 62, 2, {})",
          "local huge = setmetatable({}, {__len = function() return 1 << 62 end}) table.insert(huge, 1, 1)",
          "local huge = setmetatable({}, {__len = function() return 1 << 62 end}) table.remove(huge, 1)",
          "local huge = setmetatable({}, {__len = function() return 1 << 30 end}) table.sort(huge, "
          "math.type)",
          "table.concat(setmetatable({}, {__index = table.concat}), '', 1, 1 << 62)",
          "local s = ('a'):rep(3000) s:find('.-.-.-.-b')", "local s = ('a'):rep(3000) s:match('a*a*a*a*b')",
          "local s = ('a'):rep(3000) for x in s:gmatch('a-a-a-a-b') do end",
          "local s = ('a'):rep(3000) s:gsub('(.*)(.*)(.*)%1%2b', '')",
          "local s = ('('):rep(20000) s:gsub('%b()', '')", "while true do pcall(collectgarbage) end"}) {
        const std::string Message = Error(Script);
        EXPECT_THAT(Message, StartsWith("test.lua:")) << Script;
        EXPECT_THAT(Message, HasSubstr(Expected)) << Script;
        EXPECT_EQ(Result("for i = 1, 10000 do end thing.Value = 'usable'"), "usable");
    }
}

TEST_F(LuaLimits, MemoryOfAnyKind) {
    constexpr std::size_t Limit = 2 << 20;
    Start(50'000'000, Limit);
    const std::string Expected = "not enough memory: a script may hold " + std::to_string(Limit) + " bytes";
    for (const char* Script :
         {"local s = ('x'):rep(1 << 24)", "local t = {} for i = 1, 1 << 30 do t[i] = {} end",
          "while true do pcall(string.rep, 'x', 1 << 24) end",
          "local t = {} while true do pcall(function() t[#t + 1] = ('y'):rep(1e5 + #t) end) end",
          "pcall(string.rep, 'x', 1 << 24)",
          "local t = {} while true do t[#t + 1] = coroutine.create(print) end"}) {
        const std::string Message = Error(Script);
        EXPECT_THAT(Message, StartsWith("test.lua:")) << Script;
        EXPECT_THAT(Message, EndsWith(Expected)) << Script;
        EXPECT_EQ(Result("local t = {} for i = 1, 1000 do t[i] = {i} end thing.Value = #t"), "1000")
            << Script;
    }
}

TEST_F(LuaLimits, GuardedFunctionsWorkAsLuasOwn) {
    Start(100'000, 0);
    EXPECT_EQ(Result("thing.Value = select(2, xpcall(error, function(e) return e .. '!' end, 'x'))"), "x!");
    EXPECT_EQ(
        Result("local w = coroutine.wrap(function(...) local a = coroutine.yield(...) "
               "xpcall(coroutine.yield, print, a + 1) return 'end', select('#', ...) end) "
               "local x, y = w(1, 2) local z = w(10) local e, n = w() thing.Value = x .. y .. z .. e .. n"),
        "1211end2");
    EXPECT_EQ(Error("local w = coroutine.wrap(function() end) w() w()"),
              "test.lua:1: cannot resume dead coroutine");
    EXPECT_EQ(
        Result("local closed = '' local w = coroutine.wrap(function() local c <close> = setmetatable({}, "
               "{__close = function() closed = 'closed' end}) error('x', 0) end) "
               "thing.Value = select(2, pcall(w)) .. closed"),
        "xclosed");
    EXPECT_EQ(Result("local c = coroutine.create(coroutine.yield) coroutine.resume(c) "
                     "thing.Value = tostring(coroutine.close(c)) .. coroutine.status(c)"),
              "truedead");
}

TEST_F(LuaLimits, BoundedFunctionsDoWhatLuasOwnDo) {
    // The same calls in an engine without and one with them: results and errors are the same to the letter.
    constexpr std::string_view Script = R"(
        math.randomseed(7)
        local out = {}
        local function note(f, ...)
            local r = table.pack(pcall(f, ...))
            for i = 1, r.n do r[i] = tostring(r[i]) end
            out[#out + 1] = table.concat(r, ',')
        end
        local function pick(list) return list[math.random(#list)] end
        local function text(pieces, most)
            local t = {}
            for i = 1, math.random(0, most) do t[i] = pick(pieces) end
            return table.concat(t)
        end
        local letters = {'a', 'b', 'ab', '(', ')', ' ', '.', '\0', '1', '%', '\xe4', 'B'}
        local items = {'a', 'b', '.', '%a', '%A', '%d', '%s', '%%', '[ab]', '[^a]', '[%a%-]', '[a-c]', '[]]', '[^]]',
            '(', ')', '()', '%1', '%2', '%b()', '%f[%a]', '$', '^', '*', '+', '-', '?', '%', '[', '%f', '%b', '%z', '\0'}
        local repl = {'', 'x', '%0', '%1%%', '%2', '%', '<%1>', function(a) return a ~= 'a' and a or nil end,
            {a = 'A', b = false, [' '] = 7}, 5}
        for i = 1, 6000 do
            local s, p = text(letters, 8), text(items, 6)
            local init = math.random(-9, 9)
            note(string.find, s, p, init) note(string.match, s, p, init) note(string.find, s, p, init, true)
            note(string.gsub, s, p, pick(repl), pick{nil, 0, 1, 2, 9})
            note(function()
                local all = {}
                for a, b in s:gmatch(p, init) do all[#all + 1] = tostring(a) .. '/' .. tostring(b) end
                return table.concat(all, ';')
            end)
        end
        note(string.find, 'x', ('x?'):rep(300)) note(string.find, ('x'):rep(300), ('x?'):rep(300))
        note(string.match, 'x', ('()'):rep(33)) note(string.gsub, 'x', 'x', true) note(string.gsub, 'x', 'x')
        note(string.gsub, 'x', 'x', function() return {} end) note(string.find) note(string.match, 'x')
        note(string.gsub, 'x', '()', '%1') note(string.rep, 'ab', 3, '-') note(string.rep, '', 9) note(string.rep, 'a', 1 << 60)
        for i = 1, 2000 do
            local t = {}
            for k = 1, math.random(0, 5) do t[k] = pick{1, 2, 'z', 2.5} end
            if i % 9 == 0 then t[math.random(5)] = nil end
            local a, b, c = math.random(-3, 7), math.random(-3, 7), math.random(-3, 7)
            note(table.insert, t, a, 'n') note(table.remove, t, b) note(table.concat, t, '-', a, b)
            note(table.insert, t, 'last') note(table.remove, t) note(table.concat, t)
            note(table.move, t, a, b, c) note(table.concat, t, ';', 1, 4) note(table.sort, t)
            note(table.move, t, a, b, c, {}) note(table.insert, t, a, b, c) note(table.concat, t, '-')
        end
        for _, bad in ipairs { 1, 'x', setmetatable({}, {__len = function() return 2 end, __index = function(_, k) return k end,
                __newindex = function() end}) } do
            for _, f in ipairs { table.insert, table.remove, table.concat, table.move, table.sort } do note(f, bad, 1, 2, 3) note(f, bad) end
        end
        local words = {}
        for i = 1, 12000 do words[i] = math.random(1 << 40) end
        table.sort(words) note(table.concat, words, ' ')
        table.sort(words, function(x, y) return x > y end) note(table.concat, words, ' ', 1, 9)
        note(table.sort, words, math.max)
        thing.Value = table.concat(out, '\n'):gsub(': 0?x?%x+', ': address'):gsub('[\0-\9\11-\31\128-\255]', '?')
    )";
    LuaTest::Start();
    const std::string Own = Result(Script);
    Start(0, 0);
    const std::string Bounded = Result(Script);
    ASSERT_GT(Own.size(), 100'000U);
    const auto [Left, Right] = std::ranges::mismatch(Own, Bounded);
    EXPECT_TRUE(Own == Bounded) << "Lua's:   " << std::string(Left, std::min(Left + 200, Own.end()))
                                << "\nbounded: " << std::string(Right, std::min(Right + 200, Bounded.end()));
}

TEST_F(LuaLimits, TheTimeOfTheWorkEndsARunThatCatchesEverything) {
    Start(0, 0);
    TWorkClock Clock;
    const TWorkClockScope Scope(&Clock);
    EXPECT_EQ(Result("thing.Value = 'in time'"), "in time");
    std::thread Stop([&Clock] { Clock.Stopped = true; });
    const std::string Message =
        Error("while true do pcall(zu.as_session, 'a', 'b', function() while true do end end) end");
    Stop.join();
    EXPECT_THAT(Message, HasSubstr("the time of the page is over"));
}

TEST_F(LuaLimits, GarbageIsNotHeld) {
    EXPECT_THROW(Start(0, 10'000), EScriptError) << "too small for the libraries";
    Start(0, 2 << 20);
    EXPECT_EQ(Result("for i = 1, 2000 do local s = ('x'):rep(1e5 + i) end thing.Value = 'done'"), "done");
}

// ---- threads

TEST(LuaThreads, EveryThreadHasItsOwnEngine) {
    RegisterThings();
    TTempFolder Folder;
    const std::u16string File = Folder.Write(u"m.lua", R"(
        local t = zu.create('TThing')
        for i = 1, 200 do t.Tag = i; t.Item[i] = t:Echo('ж' .. i) end
        zu.as_session('s', 'u', function() t.Tag = Session.SID end)
        assert(t.Tag == 's' and not pcall(t.Fail, t)))");
    std::vector<std::thread> Threads;
    std::atomic<int> Good = 0;
    for (int I = 0; I < 4; ++I) {
        Threads.emplace_back([&] {
            TLuaOptions Options;
            Options.Sandboxed = true;
            TLuaEngine Engine(std::move(Options));
            for (int Run = 0; Run < 10; ++Run) Engine.RunModule(File);
            ++Good;
        });
    }
    for (std::thread& Thread : Threads) Thread.join();
    EXPECT_EQ(Good, 4);
    UnregisterThings();
}

} // namespace
} // namespace zutools::server::tests
