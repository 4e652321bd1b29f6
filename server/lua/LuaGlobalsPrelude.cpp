// The part of `zu` and `db` that is written in Lua: prelude/*.lua, compiled into the program.

#include "server/lua/LuaGlobals.h"
#include "server/lua/LuaState.h"

#include "platform/Text.h"

#include <string_view>

namespace zutools::server {

namespace {

struct TPreludeFile {
    const char* Name;
    std::string_view Text;
};

constexpr TPreludeFile Files[] = {
#include "server/lua/Prelude.inc"
};

void SetText(lua_State* L, const char* Name, std::u16string_view Text) {
    PushString(L, platform::Utf16ToUtf8(Text));
    lua_setfield(L, -2, Name);
}

/// What the files share, and the service tells them.
void PushHost(lua_State* L) {
    const TPageOptions& Pages = StateOf(L).Options.Pages;
    lua_createtable(L, 0, 8);
    SetText(L, "frame", Pages.Frame);
    SetText(L, "sign_in", Pages.SignIn);
    lua_createtable(L, static_cast<int>(Pages.Languages.size()), 0);
    lua_Integer Number = 0;
    for (const std::u16string& Language : Pages.Languages) {
        PushString(L, platform::Utf16ToUtf8(Language));
        lua_rawseti(L, -2, ++Number);
    }
    lua_setfield(L, -2, "languages");
}

} // namespace

void LoadPrelude(lua_State* L) {
    auto& Modules = StateOf(L).Modules;
    PushHost(L);
    const int Host = lua_gettop(L);
    // Globals of the files: the libraries as no page can change them, and what each page brings.
    Modules.PushAllLibraries(L);
    const int Globals = lua_gettop(L);
    for (const TPreludeFile& File : Files) {
        const std::string Name = std::string("=zu/") + File.Name;
        if (luaL_loadbufferx(L, File.Text.data(), File.Text.size(), Name.c_str(), "t") != LUA_OK)
            lua_error(L);
        lua_pushvalue(L, Globals);
        lua_setupvalue(L, -2, 1);
        Modules.PushLibrary(L, "zu");
        lua_pushvalue(L, Host);
        lua_call(L, 2, 0);
    }
    lua_pushvalue(L, Host);
    lua_setfield(L, LUA_REGISTRYINDEX, HostTableName);
    lua_settop(L, Host - 1);
}

} // namespace zutools::server
