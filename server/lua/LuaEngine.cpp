#include "server/lua/LuaEngine.h"

#include "host/ScriptObjects.h"
#include "platform/Text.h"
#include "server/lua/LuaGlobals.h"
#include "server/lua/LuaState.h"

#include <functional>
#include <new>
#include <utility>

namespace zutools::server {

namespace {

using TJob = std::function<int(lua_State*)>;

int DoJob(lua_State* L) {
    const TJob& Job = *static_cast<const TJob*>(lua_touserdata(L, 1));
    lua_settop(L, 0);
    return Job(L);
}

// Every use of the state that may raise goes through here: without a protected call Lua would end the
// process. An error's text stays on the stack.
int Protected(lua_State* L, const TJob& Job, bool WithTraceback) {
    lua_settop(L, 0);
    lua_pushcfunction(L, Border<HandleMessage>);
    lua_pushcfunction(L, Border<DoJob>);
    lua_pushlightuserdata(L, const_cast<TJob*>(&Job));
    return lua_pcall(L, 1, 0, WithTraceback ? 1 : 0);
}

// The text of the error on top of the stack, by no means that could raise again.
std::string ErrorText(lua_State* L, std::string_view Script) {
    if (lua_type(L, -1) == LUA_TSTRING) return std::string(StringAt(L, -1));
    return std::string(Script) + ": (error object is a " + luaL_typename(L, -1) + " value)";
}

// Without the frame of the engine itself at the bottom; empty when no other is there.
std::string OwnTraceback(std::string_view Traceback) {
    constexpr std::string_view Bottom = "\n\t[C]: in ?";
    if (Traceback.ends_with(Bottom)) Traceback.remove_suffix(Bottom.size());
    return Traceback.find('\n') == std::string_view::npos ? std::string() : std::string(Traceback);
}

EScriptError MakeError(TLuaEngine::TImpl& State, int Status, std::string_view Script) {
    std::string Text = Status != LUA_OK ? ErrorText(State.L, Script) : std::string();
    const std::string Passed = State.Limits.Passed();
    if (!Passed.empty() && Text.find(Passed) == std::string::npos) Text = std::string(Script) + ": " + Passed;
    if (Text.starts_with("(error object is a ")) Text.insert(0, std::string(Script) + ": ");
    return {platform::Utf8ToUtf16(State.ChunkNames.Restored(std::move(Text))),
            platform::Utf8ToUtf16(State.ChunkNames.Restored(OwnTraceback(State.Traceback)))};
}

// Marks an engine as in use.
class TRunning {
public:
    explicit TRunning(bool& Flag)
        : FFlag(Flag) {
        if (Flag) throw Exception(u"The script engine is running a script already");
        FFlag = true;
    }
    ~TRunning() { FFlag = false; }
    TRunning(const TRunning&) = delete;
    TRunning& operator=(const TRunning&) = delete;

private:
    bool& FFlag;
};

// What a run ends with whose work its `Push` has done.
int DoNothing(lua_State*) {
    return 0;
}

// One run: `Push` leaves a function and its arguments, and tells how many.
void Run(TLuaEngine::TImpl& State, std::string_view Script, bool FreshGlobals, const TJob& Push) {
    lua_State* const L = State.L;
    State.Traceback.clear();
    State.SessionError.clear();
    State.Limits.Start(L);
    const TScriptExecutorScope Executor(State.Executor);
    const int Status = Protected(
        L,
        [&](lua_State*) {
            State.Modules.BeginRun(L, FreshGlobals);
            lua_call(L, Push(L), 0);
            return 0;
        },
        true);
    lua_sethook(L, nullptr, 0, 0);
    const bool Failed = Status != LUA_OK || !State.Limits.Passed().empty();
    std::optional<EScriptError> Error;
    if (Failed) Error = MakeError(State, Status, Script);
    lua_settop(L, 0);
    State.Modules.EndRun(L);
    if (State.Options.Sandboxed) State.Objects.EndOwned(L); // nothing of the run stays
    if (!Failed) return;
    if (!State.Limits.Passed().empty())
        lua_gc(L, LUA_GCCOLLECT); // the next run begins with what this one held
    throw EScriptError(*Error);
}

// For work between runs, where an error is the caller's.
void Do(TLuaEngine::TImpl& State, const TJob& Job) {
    const TRunning Running(State.Running);
    const int Status = Protected(State.L, Job, false);
    if (Status != LUA_OK) throw EScriptError(MakeError(State, Status, "engine"));
    lua_settop(State.L, 0);
}

// Gives a global of all runs the value that `Push` leaves.
template <class TPush>
void SetBase(TLuaEngine::TImpl& State, std::string_view Name, TPush Push) {
    Do(State, [&](lua_State* L) {
        State.Modules.PushBase(L);
        PushString(L, Name);
        Push(L);
        lua_rawset(L, -3);
        return 0;
    });
}

// What stand-alone Lua finds in package.path stays, behind the module folder.
void AddModuleDirectory(lua_State* L, std::string_view Directory) {
    lua_getglobal(L, LUA_LOADLIBNAME);
    lua_getfield(L, -1, "path");
    std::string Path(Directory);
    Path.append("/?.lua;").append(StringAt(L, -1));
    PushString(L, Path);
    lua_setfield(L, -3, "path");
    lua_pop(L, 2);
}

void SetArg(lua_State* L, std::string_view Script, const std::vector<std::string>& Args) {
    lua_createtable(L, static_cast<int>(Args.size()), 1);
    PushString(L, Script);
    lua_rawseti(L, -2, 0);
    lua_Integer Number = 0;
    for (const std::string& Arg : Args) {
        PushString(L, Arg);
        lua_rawseti(L, -2, ++Number);
    }
}

} // namespace

void PushError(lua_State* L, const std::exception& Error) {
    lua_settop(L, 0);
    if (dynamic_cast<const EScriptError*>(&Error) == nullptr) luaL_where(L, 1);
    try {
        PushString(L, platform::Utf16ToUtf8(MessageOf(Error)));
    } catch (const std::bad_alloc&) {
        lua_pushliteral(L, "not enough memory");
    }
    lua_concat(L, lua_gettop(L));
}

TLuaEngine::TImpl::TImpl(TLuaOptions AOptions)
    : Options(std::move(AOptions))
    , Limits(Options.InstructionLimit, Options.MemoryLimit)
    , L(luaL_newstate()) {
    if (L == nullptr) throw std::bad_alloc();
    *static_cast<TImpl**>(lua_getextraspace(L)) = this;
    Executor.Main = L;
}

TLuaEngine::TImpl::~TImpl() {
    if (L != nullptr) lua_close(L);
}

TLuaEngine::TLuaEngine(TLuaOptions Options)
    : FImpl(std::make_unique<TImpl>(std::move(Options))) {
    TImpl& State = *FImpl;
    State.Limits.Watch(State.L);
    Do(State, [&](lua_State* L) {
        // A run of a module leaves little behind but its garbage: looking for it when the state has grown to
        // four times of what is in use finds as much with half the work of Lua's usual two.
        constexpr int Pause = 400;
        if (State.Options.Sandboxed) lua_gc(L, LUA_GCINC, Pause, 0, 0);
        State.Objects.Open(L);
        State.Modules.Open(L, State.Options.Sandboxed);
        if (State.Limits.Any() || State.Options.Sandboxed) GuardLibraries(L, State.Modules);
        if (State.Options.Sandboxed) BoundLibraries(L, State.Modules);
        if (!State.Options.Sandboxed && !State.Options.ModuleDirectory.empty()) {
            AddModuleDirectory(L, platform::Utf16ToUtf8(State.Options.ModuleDirectory));
        }
        OpenZu(L);
        OpenDatabase(L);
        if (State.Options.Session) OpenSession(L);
        AddMethods(L);
        LoadPrelude(L);
        return 0;
    });
    for (const TClassInfo* Class : ScriptRegistry().Classes()) {
        const TScriptGlobal& Global = Class->Global;
        if (Global.Get != nullptr) SetGlobal(platform::Utf16ToUtf8(Global.Name), Global.Get);
    }
    if (State.Options.Publish) State.Options.Publish(*this);
}

TLuaEngine::~TLuaEngine() = default;

void TLuaEngine::SetGlobal(std::string_view Name, TObject& Object) {
    SetBase(*FImpl, Name, [&](lua_State* L) { PushObject(L, Object, 0); });
}

void TLuaEngine::SetGlobal(std::string_view Name, std::function<TObject*()> Object) {
    SetBase(*FImpl, Name, [&](lua_State* L) {
        FImpl->Objects.Dynamic[std::string(Name)] = std::move(Object);
        PushDynamic(L, Name);
    });
}

void TLuaEngine::Publish(std::string_view Name, TObject& Object, bool ReadOnly) {
    SetBase(*FImpl, Name, [&](lua_State* L) { PushPublished(L, Object, ReadOnly); });
}

void TLuaEngine::Publish(std::string_view Name, std::unique_ptr<TObject> Object, bool ReadOnly) {
    SetBase(*FImpl, Name, [&](lua_State* L) { PushPublished(L, std::move(Object), ReadOnly); });
}

void TLuaEngine::ClearGlobal(std::string_view Name) {
    SetBase(*FImpl, Name, [](lua_State* L) { lua_pushnil(L); });
}

void TLuaEngine::RunFile(std::u16string_view File, const std::vector<std::string>& Args) {
    const TRunning Running(FImpl->Running);
    const std::string Text = ReadScript(File);
    const std::string Script = platform::Utf16ToUtf8(File);
    Run(*FImpl, Script, false, [&](lua_State* L) {
        FImpl->Modules.PushGlobals(L);
        lua_pushliteral(L, "arg");
        SetArg(L, Script, Args);
        lua_rawset(L, -3);
        lua_pop(L, 1);
        FImpl->Modules.PushText(L, Text, Script);
        luaL_checkstack(L, static_cast<int>(Args.size()), "too many arguments");
        for (const std::string& Arg : Args) PushString(L, Arg);
        return static_cast<int>(Args.size());
    });
}

void TLuaEngine::RunModule(std::u16string_view File) {
    const TRunning Running(FImpl->Running);
    FImpl->Modules.Refresh(File);
    Run(*FImpl, platform::Utf16ToUtf8(File), true, [&](lua_State* L) {
        FImpl->Modules.PushFile(L, File);
        return 0;
    });
}

void TLuaEngine::CheckFile(std::u16string_view File) {
    const std::string Text = ReadScript(File);
    const std::string Name = FImpl->ChunkNames.ForLua(platform::Utf16ToUtf8(File));
    Do(*FImpl, [&](lua_State* L) {
        if (luaL_loadbufferx(L, Text.data(), Text.size(), Name.c_str(), "t") != LUA_OK) lua_error(L);
        return 0;
    });
}

bool TLuaEngine::CallOwn(const char* Function, const std::vector<std::string>& Args) {
    const TRunning Running(FImpl->Running);
    bool Result = false;
    Run(*FImpl, Function, true, [&](lua_State* L) {
        lua_getfield(L, LUA_REGISTRYINDEX, HostTableName);
        lua_getfield(L, -1, Function);
        for (const std::string& Arg : Args) PushString(L, Arg);
        lua_call(L, static_cast<int>(Args.size()), 1);
        Result = lua_toboolean(L, -1) != 0;
        lua_pushcfunction(L, Border<DoNothing>);
        return 0;
    });
    return Result;
}

void TLuaEngine::LoadFunction(std::u16string_view File) {
    const TRunning Running(FImpl->Running);
    const std::string Text = ReadScript(File);
    FImpl->FunctionFile = platform::Utf16ToUtf8(File);
    Run(*FImpl, FImpl->FunctionFile, false, [&](lua_State* L) {
        FImpl->Modules.PushText(L, Text, FImpl->FunctionFile);
        lua_call(L, 0, 1);
        if (!lua_isfunction(L, -1)) {
            luaL_error(L, "%s: must return a function, returned a %s value", FImpl->FunctionFile.c_str(),
                       luaL_typename(L, -1));
        }
        luaL_unref(L, LUA_REGISTRYINDEX, FImpl->Function);
        FImpl->Function = luaL_ref(L, LUA_REGISTRYINDEX);
        lua_pushcfunction(L, DoNothing);
        return 0;
    });
}

std::string TLuaEngine::CallFunction(std::string_view Bytes) {
    const TRunning Running(FImpl->Running);
    std::string Result;
    Run(*FImpl, FImpl->FunctionFile, false, [&](lua_State* L) {
        lua_rawgeti(L, LUA_REGISTRYINDEX, FImpl->Function);
        PushString(L, Bytes);
        lua_call(L, 1, 1);
        if (lua_type(L, -1) != LUA_TSTRING) {
            luaL_error(L, "%s: the function must return a string, returned a %s value",
                       FImpl->FunctionFile.c_str(), luaL_typename(L, -1));
        }
        Result = StringAt(L, -1);
        lua_pushcfunction(L, DoNothing);
        return 0;
    });
    return Result;
}

void TLuaEngine::RunText(std::string_view Text, std::string_view ChunkName) {
    const TRunning Running(FImpl->Running);
    Run(*FImpl, ChunkName, false, [&](lua_State* L) {
        FImpl->Modules.PushText(L, Text, ChunkName);
        return 0;
    });
}

} // namespace zutools::server
