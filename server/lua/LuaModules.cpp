#include "server/lua/LuaModules.h"

#include "host/Exception.h"
#include "host/Format.h"
#include "platform/File.h"
#include "platform/Text.h"
#include "platform/TextTools.h"
#include "server/lua/LuaState.h"
#include "server/lua/LuaValues.h"

#include <algorithm>

namespace zutools::server {

namespace {

// A place in the registry that can be filled later without memory.
int NewPlace(lua_State* L) {
    lua_pushboolean(L, 0);
    return luaL_ref(L, LUA_REGISTRYINDEX);
}

void CopyTable(lua_State* L, int From) {
    lua_createtable(L, 0, 16);
    lua_pushnil(L);
    while (lua_next(L, From) != 0) {
        lua_pushvalue(L, -2);
        lua_insert(L, -2);
        lua_rawset(L, -4);
    }
}

// Notices a module that requires itself; the name goes again with an error, so that the module can be asked
// for again.
class TLoading {
public:
    TLoading(std::vector<std::u16string>& Names, const std::u16string& Name)
        : FNames(Names) {
        if (std::find(Names.begin(), Names.end(), Name) != Names.end()) {
            throw EIObjectError(Format(u"module '%s' requires itself", {Name}));
        }
        FNames.push_back(Name);
    }
    ~TLoading() { FNames.pop_back(); }
    TLoading(const TLoading&) = delete;
    TLoading& operator=(const TLoading&) = delete;

private:
    std::vector<std::u16string>& FNames;
};

} // namespace

std::string ReadScript(std::u16string_view File) {
    std::string Text = platform::TReadFile(File).ReadAll();
    if (Text.starts_with(platform::Utf8ByteOrderMark)) Text.erase(0, platform::Utf8ByteOrderMark.size());
    if (Text.starts_with('#')) Text.erase(0, std::min(Text.find('\n'), Text.size()));
    return Text;
}

void TLuaModules::Open(lua_State* L, bool Sandboxed) {
    FSandboxed = Sandboxed;
    FGlobals = NewPlace(L);
    FLoaded = NewPlace(L);
    FHolder = NewPlace(L);
    lua_createtable(L, 0, 8);
    FLibraries = luaL_ref(L, LUA_REGISTRYINDEX);

    if (luaL_loadstring(L, "local globals = ... return function() return globals end") != LUA_OK)
        lua_error(L);
    FMaker = luaL_ref(L, LUA_REGISTRYINDEX);

    lua_pushglobaltable(L);
    FBase = luaL_ref(L, LUA_REGISTRYINDEX);
    if (Sandboxed) {
        OpenSandbox(L, *this);
        PushBase(L);
        lua_pushcfunction(L, Border<Require>);
        lua_setfield(L, -2, "require");
        lua_createtable(L, 0, 1);
        lua_pushcfunction(L, Border<FindLibrary>);
        lua_setfield(L, -2, "__index");
        lua_setmetatable(L, -2);
        lua_pop(L, 1);
    } else {
        luaL_openlibs(L);
    }

    lua_createtable(L, 0, 2);
    PushBase(L);
    lua_setfield(L, -2, "__index");
    lua_pushboolean(L, 0);
    lua_setfield(L, -2, "__metatable");
    FMeta = luaL_ref(L, LUA_REGISTRYINDEX);
}

void TLuaModules::AddLibrary(lua_State* L, const char* Name) {
    lua_rawgeti(L, LUA_REGISTRYINDEX, FSandboxed ? FLibraries : FBase);
    lua_insert(L, -2);
    lua_setfield(L, -2, Name);
    lua_pop(L, 1);
}

void TLuaModules::PushLibrary(lua_State* L, const char* Name) const {
    lua_rawgeti(L, LUA_REGISTRYINDEX, FSandboxed ? FLibraries : FBase);
    lua_getfield(L, -1, Name);
    lua_remove(L, -2);
}

void TLuaModules::PushAllLibraries(lua_State* L) const {
    if (FSandboxed) {
        lua_rawgeti(L, LUA_REGISTRYINDEX, FLibraries);
        CopyTable(L, lua_gettop(L));
        lua_remove(L, -2);
    } else {
        lua_newtable(L);
    }
    lua_rawgeti(L, LUA_REGISTRYINDEX, FMeta);
    lua_setmetatable(L, -2);
}

void TLuaModules::BeginRun(lua_State* L, bool FreshGlobals) {
    FFresh = FreshGlobals || FSandboxed;
    lua_newtable(L);
    lua_rawseti(L, LUA_REGISTRYINDEX, FLoaded);
    if (!FFresh) {
        PushBase(L);
        return lua_rawseti(L, LUA_REGISTRYINDEX, FGlobals);
    }
    lua_createtable(L, 0, 16);
    const int Globals = lua_gettop(L);
    lua_pushvalue(L, Globals);
    lua_setfield(L, Globals, "_G");
    lua_rawgeti(L, LUA_REGISTRYINDEX, FMeta);
    lua_setmetatable(L, Globals);
    lua_rawgeti(L, LUA_REGISTRYINDEX, FMaker);
    lua_pushvalue(L, Globals);
    lua_call(L, 1, 1);
    lua_rawseti(L, LUA_REGISTRYINDEX, FHolder);
    lua_rawseti(L, LUA_REGISTRYINDEX, FGlobals);
}

// A name that neither the run nor the engine has may be that of a library, of which the run gets a copy of
// its own: most pages use one or two of them.
int TLuaModules::FindLibrary(lua_State* L) {
    const TLuaModules& Modules = StateOf(L).Modules;
    lua_settop(L, 2);
    lua_rawgeti(L, LUA_REGISTRYINDEX, Modules.FLibraries);
    lua_pushvalue(L, 2);
    if (lua_rawget(L, 3) == LUA_TNIL) return 1;
    const void* const Library = lua_topointer(L, 4);
    Modules.PushGlobals(L);
    if (!lua_istable(L, 5)) return 0; // no run: nobody may get at the table itself
    lua_rawgeti(L, LUA_REGISTRYINDEX, Modules.FLoaded);
    if (lua_rawgetp(L, 6, Library) != LUA_TNIL) return 0; // the run had it, and dropped it
    CopyTable(L, 4);
    lua_pushvalue(L, -1);
    lua_rawsetp(L, 6, Library);
    lua_pushvalue(L, 2);
    lua_pushvalue(L, -2);
    lua_rawset(L, 5);
    return 1;
}

void TLuaModules::EndRun(lua_State* L) const {
    for (const int Place : {FGlobals, FLoaded, FHolder}) {
        lua_pushboolean(L, 0);
        lua_rawseti(L, LUA_REGISTRYINDEX, Place);
    }
}

// Not lua_setupvalue: functions of an earlier run share the chunk's upvalue and would see the new globals.
void TLuaModules::GiveGlobals(lua_State* L) const {
    if (!FFresh) return;
    lua_rawgeti(L, LUA_REGISTRYINDEX, FHolder);
    lua_upvaluejoin(L, -2, 1, -1, 1);
    lua_pop(L, 1);
}

void TLuaModules::PushText(lua_State* L, std::string_view Text, std::string_view File) {
    const std::string Name = StateOf(L).ChunkNames.ForLua(File);
    if (luaL_loadbufferx(L, Text.data(), Text.size(), Name.c_str(), "t") != LUA_OK) lua_error(L);
    GiveGlobals(L);
}

void TLuaModules::Refresh(std::u16string_view File) {
    const std::optional<platform::TFileStamp> Stamp = platform::FileStamp(File);
    const auto Known = FModules.find(std::u16string(File));
    if (Known != FModules.end() && Stamp && Known->second.Stamp == Stamp) return;
    std::string Text = ReadScript(File); // later than the stamp, so a change in between is seen next time
    TModule& Module = Known != FModules.end() ? Known->second : FModules[std::u16string(File)];
    Module.Text = std::move(Text);
    Module.Stamp = Stamp;
}

void TLuaModules::PushFile(lua_State* L, std::u16string_view File) {
    TModule& Module = FModules.at(std::u16string(File));
    if (Module.Text) {
        PushText(L, *Module.Text, platform::Utf16ToUtf8(File));
        lua_pushvalue(L, -1);
        const int Function = luaL_ref(L, LUA_REGISTRYINDEX);
        luaL_unref(L, LUA_REGISTRYINDEX, Module.Function);
        Module.Function = Function;
        Module.Text.reset();
        return;
    }
    lua_rawgeti(L, LUA_REGISTRYINDEX, Module.Function);
    GiveGlobals(L);
}

// `require` of web modules: Lua files below the module folder, run once in each run that asks for them.
int TLuaModules::Require(lua_State* L) {
    auto& State = StateOf(L);
    const std::u16string Name = ToText(L, 1, {u"", u"require", 1});
    lua_settop(L, 1);
    lua_rawgeti(L, LUA_REGISTRYINDEX, State.Modules.FLoaded);
    lua_pushvalue(L, 1);
    if (lua_rawget(L, 2) != LUA_TNIL) return 1;

    std::u16string Relative = Name;
    std::replace(Relative.begin(), Relative.end(), u'.', u'/');
    const std::u16string_view Unsafe = platform::UnsafeNameReason(Relative);
    if (!Unsafe.empty()) throw EIObjectError(Format(u"module '%s' cannot be required: %s", {Name, Unsafe}));
    if (State.Options.ModuleDirectory.empty()) {
        throw EIObjectError(Format(u"module '%s' cannot be required: there is no module folder", {Name}));
    }
    const std::u16string File = platform::JoinPath(State.Options.ModuleDirectory, Relative + u".lua");
    try {
        State.Modules.Refresh(File);
    } catch (const platform::TSystemError& Error) {
        throw EIObjectError(Format(u"module '%s' not found: %s", {Name, Error.Message()}));
    }

    const TLoading Loading(State.Modules.FLoading, Name);
    lua_settop(L, 2);
    State.Modules.PushFile(L, File);
    lua_pushvalue(L, 1);
    server::PushText(L, File, {u"", u"file", -1});
    lua_call(L, 2, 1);
    if (lua_isnil(L, 3)) {
        lua_pushboolean(L, 1);
        lua_replace(L, 3);
    }
    lua_pushvalue(L, 1);
    lua_pushvalue(L, 3);
    lua_rawset(L, 2);
    return 1;
}

} // namespace zutools::server
