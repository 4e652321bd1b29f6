// What one engine keeps beside its Lua state, and the border between C++ and Lua. For the sources of this
// folder.
//
// Lua is linked as C++: its errors are exceptions of its own, and destructors run on their way. Every
// function that Lua calls goes through Border, which turns the library's exceptions into Lua errors; nothing
// here catches Lua's own.

#pragma once

#include "host/ScriptExecutor.h"
#include "server/lua/ChunkNames.h"
#include "server/lua/LuaEngine.h"
#include "server/lua/LuaLimits.h"
#include "server/lua/LuaModules.h"
#include "server/lua/LuaObjects.h"

#include <lua.hpp>

#include <string>
#include <string_view>
#include <utility>

namespace zutools::server {

/// The running script as the package sees it: the calls at this moment, from where the script left for C++.
class TLuaExecutor : public TScriptExecutor {
public:
    explicit TLuaExecutor(const TChunkNames& Names)
        : FNames(Names) {}
    /// At most 4096 units, whole lines, the innermost calls. Asks Lua for nothing that could raise.
    [[nodiscard]] std::u16string CallStack() override;

    lua_State* Main = nullptr;    // of the engine
    lua_State* Current = nullptr; // the state or coroutine that called C++ last; null: none

private:
    const TChunkNames& FNames;
};

struct TLuaEngine::TImpl {
    explicit TImpl(TLuaOptions AOptions);
    ~TImpl();
    TImpl(const TImpl&) = delete;
    TImpl& operator=(const TImpl&) = delete;

    const TLuaOptions Options;
    TLuaLimits Limits;
    TChunkNames ChunkNames;
    TObjectBridge Objects;
    TLuaModules Modules;
    TLuaExecutor Executor{ChunkNames};
    bool Running = false;
    int Function = LUA_NOREF;     // of LoadFunction
    std::string FunctionFile;     // where it came from
    std::string Traceback;        // of the run's last uncaught error
    std::string SessionTraceback; // of the last error that left a zu.as_session,
    std::string SessionError;     // and its message, to know it again
    lua_State* L = nullptr;
};

/// The engine of a state or of any coroutine in it.
[[nodiscard]] inline TLuaEngine::TImpl& StateOf(lua_State* L) {
    return **static_cast<TLuaEngine::TImpl**>(lua_getextraspace(L));
}

/// While C++ that Lua called is running.
class TCallScope {
public:
    explicit TCallScope(lua_State* L)
        : FCurrent(StateOf(L).Executor.Current)
        , FBefore(std::exchange(FCurrent, L)) {}
    ~TCallScope() { FCurrent = FBefore; }
    TCallScope(const TCallScope&) = delete;
    TCallScope& operator=(const TCallScope&) = delete;

private:
    lua_State*& FCurrent;
    lua_State* const FBefore;
};

/// Leaves the text of an exception on the stack, with the place in the script that made the call.
void PushError(lua_State* L, const std::exception& Error);

/// The one border: `Body` may raise exceptions of the library as well as Lua errors.
template <int (*Body)(lua_State*)>
int Border(lua_State* L) {
    try {
        const TCallScope Scope(L);
        return Body(L);
    } catch (const std::exception& Error) {
        PushError(L, Error);
    }
    return lua_error(L); // nothing is alive here that needs a destructor
}

/// A view of a Lua string on the stack; valid while it stays there.
[[nodiscard]] inline std::string_view StringAt(lua_State* L, int Index) {
    std::size_t Length = 0;
    const char* const Text = lua_tolstring(L, Index, &Length);
    return {Text, Length};
}

inline void PushString(lua_State* L, std::string_view Text) {
    lua_pushlstring(L, Text.data(), Text.size());
}

} // namespace zutools::server
