// Scripts as Lua functions: loading, the compiled modules, and the globals that one run sees. For the sources
// of this folder.
//
// A run with fresh globals gets a table of its own whose misses fall to the engine's globals. Modules are
// compiled once and given the globals of each run, so that nothing stays from one run to the next.

#pragma once

#include "platform/FileStamp.h"

#include <lua.hpp>

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace zutools::server {

class TLuaModules {
public:
    /// Makes the table of the engine's globals: Lua's own, or those for web modules. Inside a protected call.
    void Open(lua_State* L, bool Sandboxed);
    /// Pops a table of functions and makes it a global that a run cannot change for the next.
    void AddLibrary(lua_State* L, const char* Name);
    /// Pushes such a table as it stands in the engine.
    void PushLibrary(lua_State* L, const char* Name) const;
    /// Pushes a table of all such tables, whose misses fall to the engine's globals.
    void PushAllLibraries(lua_State* L) const;
    /// Pushes the table of the engine's globals.
    void PushBase(lua_State* L) const { lua_rawgeti(L, LUA_REGISTRYINDEX, FBase); }

    /// A run begins, with globals of its own when sandboxed or asked for. Inside a protected call.
    void BeginRun(lua_State* L, bool FreshGlobals);
    /// Forgets the run's globals. Raises nothing.
    void EndRun(lua_State* L) const;
    /// Pushes the globals of the run.
    void PushGlobals(lua_State* L) const { lua_rawgeti(L, LUA_REGISTRYINDEX, FGlobals); }

    /// Compiles a text (never bytecode) with the globals of the run and pushes the function; raises Lua's own
    /// error for a wrong text. `File` is the name for messages.
    void PushText(lua_State* L, std::string_view Text, std::string_view File);
    /// Reads the file when it is new or its time or size changed. @throws platform::TSystemError.
    void Refresh(std::u16string_view File);
    /// Pushes the function of a refreshed file, compiled at most once.
    void PushFile(lua_State* L, std::u16string_view File);

private:
    struct TModule {
        std::optional<platform::TFileStamp> Stamp;
        std::optional<std::string> Text; // read, not compiled yet
        int Function = LUA_NOREF;
    };
    static int Require(lua_State* L);
    static int FindLibrary(lua_State* L);
    void GiveGlobals(lua_State* L) const;

    bool FSandboxed = false;
    bool FFresh = false;
    std::unordered_map<std::u16string, TModule> FModules;
    std::vector<std::u16string> FLoading; // being required, the innermost last
    // Places in Lua's registry.
    int FBase = LUA_NOREF;      // globals of the engine
    int FLibraries = LUA_NOREF; // tables of which each run gets copies when it names them
    int FMeta = LUA_NOREF;      // of a run's globals
    int FGlobals = LUA_NOREF;   // of the run
    int FLoaded = LUA_NOREF;    // what the run has required
    int FMaker = LUA_NOREF;     // makes FHolder
    int FHolder = LUA_NOREF;    // a function whose first upvalue holds the globals of the run
};

/// The text of a script file without a byte-order mark and a first line that begins with "#"; lines keep
/// their numbers.
/// @throws platform::TSystemError.
[[nodiscard]] std::string ReadScript(std::u16string_view File);

/// Opens what web modules get of Lua's libraries (LuaModulesSandbox.cpp). Inside a protected call.
void OpenSandbox(lua_State* L, TLuaModules& Modules);

/// Puts `Guard` in the place of function `Name` of the table on the stack; it has the function as its
/// upvalue.
void SetLuaGuard(lua_State* L, const char* Name, lua_CFunction Guard);

} // namespace zutools::server
