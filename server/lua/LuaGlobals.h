// The globals that every engine has. For the sources of this folder.

#pragma once

#include <lua.hpp>

#include <string>

namespace zutools::server {

/// `zu`: objects, the template cache, sessions, texts. Inside a protected call, as the next.
void OpenZu(lua_State* L);
/// `db`: the calling thread's database.
void OpenDatabase(lua_State* L);
/// Leaves `zu.blocks` on the stack: who has which record.
void PushBlocks(lua_State* L);
/// Leaves `zu.pipe_client` on the stack: a client of a named pipe.
void PushPipeClient(lua_State* L);
/// Adds `html`, `com` and `automation` to the table on the stack.
void AddAutomation(lua_State* L);
/// Adds `fill`, `raw`, `text`, `language` and `log` to the table on the stack.
void AddPages(lua_State* L);
/// Adds `json`, `parse_json`, `number`, `money`, `date` and `parse_number` to it.
void AddFormats(lua_State* L);
/// The value as JSON. @throws EIObjectError for what it cannot hold.
[[nodiscard]] std::string JsonText(lua_State* L, int Index);
/// Gives classes that are registered their methods beside the registered names: `response:File` and
/// `response:Json`, whose values are no text, and `RecordBlocker:NewRecord`.
void AddMethods(lua_State* L);
/// Runs the files of prelude/, after all others. Their shared table stands in Lua's registry.
void LoadPrelude(lua_State* L);
inline constexpr const char* HostTableName = "zu.host";
/// `session`: signing in and out, for engines of pages.
void OpenSession(lua_State* L);
/// Pushes an object named `Name` in messages whose names `Read` gives; `Write` may be null for one that is
/// not written. Not a table: a module could write fields into that past any guard, and the next would see
/// them.
void PushGuarded(lua_State* L, const char* Name, lua_CFunction Read, lua_CFunction Write);
/// Message handler of protected calls: turns any error into its text, and notes the traceback.
int HandleMessage(lua_State* L);

} // namespace zutools::server
