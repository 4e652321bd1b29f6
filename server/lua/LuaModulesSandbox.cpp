// What web modules get of Lua's own libraries, and the guards on it.
#include "platform/Text.h"
#include "server/lua/LuaModules.h"
#include "server/lua/LuaState.h"

#include <initializer_list>
#include <string>

namespace zutools::server {

namespace {

void Remove(lua_State* L, std::initializer_list<const char*> Names) {
    for (const char* Name : Names) {
        lua_pushnil(L);
        lua_setfield(L, -2, Name);
    }
}

// A service's standard output belongs to its log.
int Print(lua_State* L) {
    std::string Line;
    const int Count = lua_gettop(L);
    for (int I = 1; I <= Count; ++I) {
        std::size_t Length = 0;
        const char* const Text = luaL_tolstring(L, I, &Length);
        if (I > 1) Line += '\t';
        Line.append(Text, Length);
        lua_pop(L, 1);
    }
    StateOf(L).Options.Services.Logger->Log(TLogLevel::Info, platform::Utf8ToUtf16(Line));
    return 0;
}

// The pieces that a function gives one by one, joined.
void JoinPieces(lua_State* L, int Function) {
    luaL_Buffer Buffer;
    luaL_buffinit(L, &Buffer);
    for (;;) {
        lua_pushvalue(L, Function);
        lua_call(L, 0, 1);
        if (lua_isnil(L, -1) || (lua_type(L, -1) == LUA_TSTRING && lua_rawlen(L, -1) == 0)) break;
        if (lua_type(L, -1) != LUA_TSTRING) luaL_error(L, "reader function must return a string");
        luaL_addvalue(&Buffer);
    }
    lua_pop(L, 1);
    luaL_pushresult(&Buffer);
}

// `load` takes texts only (bytecode can break the machine), and globals of the run unless others are given.
int Load(lua_State* L) {
    const char* const Name = luaL_optstring(L, 2, nullptr);
    const bool HasGlobals = !lua_isnone(L, 4);
    lua_settop(L, 4);
    if (lua_type(L, 1) == LUA_TFUNCTION) {
        JoinPieces(L, 1);
        lua_replace(L, 1);
    }
    std::size_t Length = 0;
    const char* const Text = luaL_checklstring(L, 1, &Length);
    if (luaL_loadbufferx(L, Text, Length, Name != nullptr ? Name : "=(load)", "t") != LUA_OK) {
        lua_pushnil(L);
        lua_insert(L, -2);
        return 2;
    }
    if (HasGlobals) {
        lua_pushvalue(L, 4);
    } else {
        StateOf(L).Modules.PushGlobals(L);
    }
    lua_setupvalue(L, -2, 1);
    return 1;
}

// A finaliser runs when no limit can stop it, in a later run or another session.
int SetMetatable(lua_State* L) {
    if (lua_type(L, 2) == LUA_TTABLE) {
        lua_pushliteral(L, "__gc");
        if (lua_rawget(L, 2) != LUA_TNIL) luaL_error(L, "__gc is not available to modules");
        lua_pop(L, 1);
    }
    lua_pushvalue(L, lua_upvalueindex(1));
    lua_insert(L, 1);
    lua_call(L, lua_gettop(L) - 1, 1);
    return 1;
}

int CollectGarbage(lua_State* L) {
    static const char* const Options[] = {"collect", "count", "step", nullptr};
    switch (luaL_checkoption(L, 1, "collect", Options)) {
    case 0:
        lua_gc(L, LUA_GCCOLLECT);
        lua_pushinteger(L, 0);
        return 1;
    case 1:
        lua_pushnumber(L, lua_gc(L, LUA_GCCOUNT) + lua_gc(L, LUA_GCCOUNTB) / 1024.0);
        return 1;
    default:
        lua_pushboolean(L, lua_gc(L, LUA_GCSTEP, 0));
        return 1;
    }
}

} // namespace

void SetLuaGuard(lua_State* L, const char* Name, lua_CFunction Guard) {
    lua_getfield(L, -1, Name);
    lua_pushcclosure(L, Guard, 1);
    lua_setfield(L, -2, Name);
}

void OpenSandbox(lua_State* L, TLuaModules& Modules) {
    luaL_requiref(L, LUA_GNAME, luaopen_base, 1);
    Remove(L, {"_G", "dofile", "loadfile", "warn"});
    SetLuaGuard(L, "print", Border<Print>);
    SetLuaGuard(L, "load", Border<Load>);
    SetLuaGuard(L, "setmetatable", Border<SetMetatable>);
    SetLuaGuard(L, "collectgarbage", Border<CollectGarbage>);
    lua_pop(L, 1);

    luaL_requiref(L, LUA_STRLIBNAME, luaopen_string, 0);
    Remove(L, {"dump"});
    lua_pushliteral(L, "");
    lua_getmetatable(L, -1);
    lua_pushboolean(L, 0);
    lua_setfield(L, -2, "__metatable"); // or a module could change the methods of all strings
    lua_pop(L, 2);
    Modules.AddLibrary(L, LUA_STRLIBNAME);

    luaL_requiref(L, LUA_OSLIBNAME, luaopen_os, 0);
    Remove(L, {"execute", "exit", "getenv", "remove", "rename", "setlocale", "tmpname"});
    Modules.AddLibrary(L, LUA_OSLIBNAME);

    const luaL_Reg Whole[] = {{LUA_TABLIBNAME, luaopen_table},
                              {LUA_MATHLIBNAME, luaopen_math},
                              {LUA_UTF8LIBNAME, luaopen_utf8},
                              {LUA_COLIBNAME, luaopen_coroutine}};
    for (const luaL_Reg& Library : Whole) {
        luaL_requiref(L, Library.name, Library.func, 0);
        Modules.AddLibrary(L, Library.name);
    }
}

} // namespace zutools::server
