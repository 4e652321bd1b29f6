// `session`: signing in and out, and what the user may do, for pages.

#include "host/Exception.h"
#include "host/Format.h"
#include "host/Numbers.h"
#include "host/Security.h"
#include "host/Session.h"
#include "host/StringHelpers.h"
#include "platform/Text.h"
#include "server/lua/LuaGlobals.h"
#include "server/lua/LuaState.h"
#include "server/lua/LuaValues.h"
#include "server/lua/SessionControl.h"

#include <algorithm>

namespace zutools::server {

namespace {

TSessionControl& Control(lua_State* L) {
    TSessionControl* const Result = StateOf(L).Options.Session();
    if (Result == nullptr) throw EIObjectError(u"session: no page is running");
    return *Result;
}

int SignIn(lua_State* L) {
    const std::u16string User = ToText(L, 1, {u"", u"session.sign_in", 1});
    const std::u16string Password = ToText(L, 2, {u"", u"session.sign_in", 2});
    switch (Control(L).SignIn(User, Password)) {
    case TSignInResult::Ok:
        lua_pushliteral(L, "ok");
        break;
    case TSignInResult::Refused:
        lua_pushliteral(L, "refused");
        break;
    case TSignInResult::Wait:
        lua_pushliteral(L, "wait");
        break;
    }
    return 1;
}

int SignOut(lua_State* L) {
    Control(L).SignOut();
    return 0;
}

TRecordRight RightOf(std::u16string_view Name) {
    if (const auto Right = RecordRightOfName(Name)) return *Right;
    throw EIObjectError(Format(
        u"session.may: \"%s\" is no right; take \"view\", \"edit\", \"delete\" or \"insert\"", {Name}));
}

int May(lua_State* L) {
    const TRecordRight Right = RightOf(ToText(L, 1, {u"", u"session.may", 1}));
    const std::u16string Table = ToText(L, 2, {u"", u"session.may", 2});
    std::u16string RecordID;
    if (lua_isinteger(L, 3)) {
        RecordID = IntToStr(lua_tointeger(L, 3));
    } else if (!lua_isnoneornil(L, 3)) {
        RecordID = ToText(L, 3, {u"", u"session.may", 3});
    }
    const TSession* const Session = CurrentSession();
    lua_pushboolean(L, UserMay(StateOf(L).Options.Services, Session != nullptr ? Session->USR : u"", Right,
                               Table, RecordID)
                           ? 1
                           : 0);
    return 1;
}

// ---- session.values: texts, numbers and booleans, kept as texts that begin with their kind

int ReadValue(lua_State* L) {
    const auto Kept = Control(L).Value(ToText(L, 2, {u"", u"name of a value", -1}));
    if (!Kept || Kept->empty()) return 0;
    const std::u16string Text = Kept->substr(1);
    switch (Kept->front()) {
    case u'b':
        lua_pushboolean(L, Text == u"1" ? 1 : 0);
        return 1;
    case u'n':
        lua_stringtonumber(L, platform::Utf16ToUtf8(Text).c_str());
        return 1;
    default:
        PushText(L, Text, {u"session", u"values", 0});
        return 1;
    }
}

int WriteValue(lua_State* L) {
    const std::u16string Name = ToText(L, 2, {u"", u"name of a value", -1});
    std::optional<std::u16string> Value;
    switch (lua_type(L, 3)) {
    case LUA_TNIL:
        break;
    case LUA_TBOOLEAN:
        Value = lua_toboolean(L, 3) != 0 ? u"b1" : u"b0";
        break;
    case LUA_TNUMBER:
        lua_tostring(L, 3);
        Value = u"n" + ToText(L, 3, {u"session", u"values", 0});
        break;
    case LUA_TSTRING:
        Value = u"s" + ToText(L, 3, {u"session", u"values", 0});
        break;
    default:
        throw EIObjectError(
            Format(u"session.values holds texts, numbers, true and false, not a %s; zu.json makes a "
                   u"text of a table",
                   {platform::Utf8ToUtf16(luaL_typename(L, 3))}));
    }
    Control(L).SetValue(Name, std::move(Value));
    return 0;
}

constexpr std::u16string_view FlashName = u"zu.flash";

/// (text): for the next page that shows it.
int Flash(lua_State* L) {
    std::u16string Text = ToText(L, 1, {u"", u"session.flash", 1});
    std::ranges::replace(Text, u'\n', u' ');
    Control(L).SetValue(FlashName, Control(L).Value(FlashName).value_or(u"") + Text + u"\n");
    return 0;
}

/// The lines, which are gone with that.
int TakeFlash(lua_State* L) {
    const auto Kept = Control(L).Value(FlashName);
    lua_newtable(L);
    if (!Kept) return 1;
    Control(L).SetValue(FlashName, std::nullopt);
    lua_Integer Number = 0;
    std::u16string_view Rest = *Kept;
    for (std::size_t End = Rest.find(u'\n'); End != Rest.npos; End = Rest.find(u'\n')) {
        PushText(L, Rest.substr(0, End), {u"session", u"flash", 0});
        lua_rawseti(L, -2, ++Number);
        Rest.remove_prefix(End + 1);
    }
    return 1;
}

int ReadSession(lua_State* L) {
    const std::u16string Name = ToText(L, 2, {u"", u"name of a property", -1});
    const TSession* const Session = CurrentSession();
    const std::u16string User = Session != nullptr ? Session->USR : std::u16string();
    if (SameText(Name, u"user")) {
        PushText(L, User, {u"session", u"user", 0});
    } else if (SameText(Name, u"administrator")) {
        const bool Is =
            !User.empty() && StateOf(L).Options.Services.Security->RefreshUserInfo(User).Administrator;
        lua_pushboolean(L, Is ? 1 : 0);
    } else if (SameText(Name, u"back")) {
        PushText(L, Control(L).Back(), {u"session", u"back", 0});
    } else if (SameText(Name, u"idle_seconds")) {
        lua_pushinteger(L, Control(L).Idle().count());
    } else if (SameText(Name, u"sign_in")) {
        lua_pushcfunction(L, Border<SignIn>);
    } else if (SameText(Name, u"sign_out")) {
        lua_pushcfunction(L, Border<SignOut>);
    } else if (SameText(Name, u"profile")) {
        const TUserInfo Info =
            User.empty() ? TUserInfo() : StateOf(L).Options.Services.Security->RefreshUserInfo(User);
        PushText(L, Info.Profile, {u"session", u"profile", 0});
    } else if (SameText(Name, u"values")) {
        PushGuarded(L, "session.values", Border<ReadValue>, Border<WriteValue>);
    } else if (SameText(Name, u"flash")) {
        lua_pushcfunction(L, Border<Flash>);
    } else if (SameText(Name, u"take_flash")) {
        lua_pushcfunction(L, Border<TakeFlash>);
    } else if (SameText(Name, u"may")) {
        lua_pushcfunction(L, Border<May>);
    } else {
        throw EIObjectError(Format(u"session has no property \"%s\"", {Name}));
    }
    return 1;
}

int WriteSession(lua_State* L) {
    throw EIObjectError(
        Format(u"session has no property \"%s\" to write", {ToText(L, 2, {u"", u"name of a property", -1})}));
}

} // namespace

void OpenSession(lua_State* L) {
    StateOf(L).Modules.PushBase(L);
    PushGuarded(L, "session", Border<ReadSession>, Border<WriteSession>);
    lua_setfield(L, -2, "session");
    lua_pop(L, 1);
}

} // namespace zutools::server
