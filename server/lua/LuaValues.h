// Values on their way between Lua and the library. For the sources of this folder.
//
// Lua -> library: integers become vkInteger (vkInt64 when they need it), floats vkFloat, booleans vkBoolean,
// strings vkString (strictly UTF-8), objects references, nil null. Library -> Lua: the same way back;
// characters and 8-bit text become strings, date/time the text `YYYY-MM-DD HH:MM:SS`, null and null
// references nil.

#pragma once

#include "host/Variant.h"

#include <lua.hpp>

#include <string>
#include <string_view>

namespace zutools::server {

/// Where a value stands, for messages.
struct TValuePlace {
    std::u16string_view Owner;  // class or table; may be empty
    std::u16string_view Member; // name of the property or function
    int Argument = 0;           // 1-based; 0 is the value itself, -1 what Member says

    [[nodiscard]] std::u16string Text() const;
};

/// The text of a Lua string (numbers are no texts here).
/// @throws EIObjectError naming the place, and the byte (1-based) where UTF-8 is malformed.
[[nodiscard]] std::u16string ToText(lua_State* L, int Index, const TValuePlace& Place);

/// @throws EIObjectError for tables, functions and the like, malformed UTF-8, and objects that are gone.
[[nodiscard]] TKXVariant ToVariant(lua_State* L, int Index, const TValuePlace& Place);

/// @throws EIObjectError for an unpaired surrogate.
void PushText(lua_State* L, std::u16string_view Text, const TValuePlace& Place);

/// `Owner` is the stack index of the object that the value was reached through, which stays alive as long as
/// an object in `Value` is held; 0 for none.
void PushVariant(lua_State* L, const TKXVariant& Value, int Owner, const TValuePlace& Place);

} // namespace zutools::server
