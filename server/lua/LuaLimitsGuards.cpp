// Replacements for the library functions that would let a script run on after a limit was passed.
//
// A limit is raised from Lua's count hook, and Lua calls no hook again until the error was caught. What it
// calls before that (an xpcall's handler, the closing of a coroutine that the error ended) would run without
// any limit.
#include "server/lua/LuaLimits.h"
#include "server/lua/LuaState.h"

namespace zutools::server {

namespace {

// The handler of an xpcall, which is the upvalue.
int GuardedHandler(lua_State* L) {
    if (!StateOf(L).Limits.Passed().empty()) return 1;
    lua_pushvalue(L, lua_upvalueindex(1));
    lua_insert(L, 1);
    lua_call(L, lua_gettop(L) - 1, LUA_MULTRET);
    return lua_gettop(L);
}

int AllResults(lua_State* L, int, lua_KContext) {
    return lua_gettop(L);
}

// xpcall, which is the upvalue; what it calls may yield.
int GuardedXpcall(lua_State* L) {
    luaL_checktype(L, 2, LUA_TFUNCTION);
    lua_pushvalue(L, 2);
    lua_pushcclosure(L, Border<GuardedHandler>, 1);
    lua_replace(L, 2);
    lua_pushvalue(L, lua_upvalueindex(1));
    lua_insert(L, 1);
    lua_callk(L, lua_gettop(L) - 1, LUA_MULTRET, 0, AllResults);
    return lua_gettop(L);
}

// coroutine.close, which is the upvalue.
int GuardedClose(lua_State* L) {
    const std::string Passed = StateOf(L).Limits.Passed();
    if (!Passed.empty()) luaL_error(L, "%s", Passed.c_str());
    lua_pushvalue(L, lua_upvalueindex(1));
    lua_insert(L, 1);
    lua_call(L, lua_gettop(L) - 1, LUA_MULTRET);
    return lua_gettop(L);
}

int GuardedCreate(lua_State* L) {
    luaL_checktype(L, 1, LUA_TFUNCTION);
    StateOf(L).Limits.ChargeCoroutine();
    lua_State* const Coroutine = lua_newthread(L);
    lua_pushvalue(L, 1);
    lua_xmove(L, Coroutine, 1);
    return 1;
}

// The function that coroutine.wrap gives; the coroutine is the upvalue.
int ResumeWrapped(lua_State* L) {
    lua_State* const Coroutine = lua_tothread(L, lua_upvalueindex(1));
    const int Args = lua_gettop(L);
    if (lua_checkstack(Coroutine, Args) == 0) luaL_error(L, "too many arguments to resume");
    lua_xmove(L, Coroutine, Args);
    int Results = 0;
    const int Status = lua_resume(Coroutine, L, Args, &Results);
    if (Status == LUA_OK || Status == LUA_YIELD) {
        if (lua_checkstack(L, Results + 1) == 0) {
            lua_pop(Coroutine, Results);
            luaL_error(L, "too many results to resume");
        }
        lua_xmove(Coroutine, L, Results);
        return Results;
    }
    const int After = lua_status(Coroutine);
    const bool Died = After != LUA_OK && After != LUA_YIELD; // else it was not in a state to be resumed
    if (Died && StateOf(L).Limits.Passed().empty()) lua_resetthread(Coroutine); // leaves an error on top, too
    luaL_checkstack(L, 3, nullptr);
    lua_xmove(Coroutine, L, 1);
    if (Status != LUA_ERRMEM && lua_type(L, -1) == LUA_TSTRING) {
        luaL_where(L, 1);
        lua_insert(L, -2);
        lua_concat(L, 2);
    }
    return lua_error(L);
}

int GuardedWrap(lua_State* L) {
    GuardedCreate(L);
    lua_pushcclosure(L, Border<ResumeWrapped>, 1);
    return 1;
}

} // namespace

void GuardLibraries(lua_State* L, const TLuaModules& Modules) {
    Modules.PushBase(L);
    lua_getfield(L, -1, "xpcall");
    lua_pushcclosure(L, Border<GuardedXpcall>, 1);
    lua_setfield(L, -2, "xpcall");
    lua_pop(L, 1);

    Modules.PushLibrary(L, LUA_COLIBNAME);
    lua_getfield(L, -1, "close");
    lua_pushcclosure(L, Border<GuardedClose>, 1);
    lua_setfield(L, -2, "close");
    lua_pushcfunction(L, Border<GuardedCreate>);
    lua_setfield(L, -2, "create");
    lua_pushcfunction(L, Border<GuardedWrap>);
    lua_setfield(L, -2, "wrap");
    lua_pop(L, 1);
}

} // namespace zutools::server
