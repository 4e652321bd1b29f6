// Automation objects as Lua sees them. For the sources of this folder.
//
// One userdata per object and state, so that the same object is the same value. An object that stands for one
// of the library's is that object's own handle. Lua -> automation: nil is null, integers, floats, booleans
// and texts as they are, a list is an array. Automation -> Lua: nothing, null and null objects are nil,
// amounts floats, dates the text `YYYY-MM-DD HH:MM:SS`, errors their text, arrays lists.

#pragma once

#include "platform/Automation.h"
#include "server/lua/LuaValues.h"

#include <lua.hpp>

namespace zutools::server {

/// Makes the tables; inside a protected call.
void OpenAutomationObjects(lua_State* L);

void PushAutomation(lua_State* L, const platform::TAutomationPtr& Object);
void PushAutomationValue(lua_State* L, const platform::TAutomationValue& Value, const TValuePlace& Place);

/// Null for nil; an object of the library stands for itself.
/// @throws EIObjectError for anything else that is no automation object.
[[nodiscard]] platform::TAutomationPtr AutomationAt(lua_State* L, int Index, const TValuePlace& Place);
/// @throws EIObjectError for functions, tables that are no lists or hold themselves, malformed UTF-8.
[[nodiscard]] platform::TAutomationValue AutomationValueAt(lua_State* L, int Index, const TValuePlace& Place);

/// Leaves the table at `Index` on the stack as an automation object: its functions are methods and are given
/// the table first, everything else are properties. It lives as long as its script value; whoever holds it
/// longer finds it gone.
void PushTableObject(lua_State* L, int Index);

} // namespace zutools::server
