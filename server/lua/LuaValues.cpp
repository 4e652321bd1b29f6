#include "server/lua/LuaValues.h"

#include "host/Format.h"
#include "platform/Text.h"
#include "server/lua/LuaState.h"
#include "server/lua/SessionControl.h"

#include <algorithm>
#include <limits>

namespace zutools::server {

std::u16string TValuePlace::Text() const {
    if (Argument < 0) return std::u16string(Member);
    std::u16string Result = Argument > 0 ? Format(u"argument %d of ", {Argument}) : u"value of ";
    if (!Owner.empty()) Result.append(Owner).append(u".");
    return Result.append(Member);
}

std::u16string ToText(lua_State* L, int Index, const TValuePlace& Place) {
    if (lua_type(L, Index) != LUA_TSTRING) {
        throw EIObjectError(Format(u"%s: a string is wanted, not a %s",
                                   {Place.Text(), platform::Utf8ToUtf16(luaL_typename(L, Index))}));
    }
    const std::string_view Text = StringAt(L, Index);
    constexpr std::size_t Short = 64; // most are, and need no counting beforehand
    if (Text.size() <= Short &&
        std::all_of(Text.begin(), Text.end(), [](char C) { return static_cast<unsigned char>(C) < 0x80; }))
        return {Text.begin(), Text.end()};
    auto Result = platform::Utf8ToUtf16Strict(Text);
    if (Result.Error) {
        throw EIObjectError(
            Format(u"%s: malformed UTF-8 at byte %d", {Place.Text(), Result.Error->Offset + 1}));
    }
    return std::move(Result.Text);
}

TKXVariant ToVariant(lua_State* L, int Index, const TValuePlace& Place) {
    switch (lua_type(L, Index)) {
    case LUA_TNIL:
        return {};
    case LUA_TBOOLEAN:
        return lua_toboolean(L, Index) != 0;
    case LUA_TNUMBER: {
        if (!lua_isinteger(L, Index)) return static_cast<double>(lua_tonumber(L, Index));
        const std::int64_t Value = lua_tointeger(L, Index);
        if (Value < std::numeric_limits<int>::min() || Value > std::numeric_limits<int>::max()) return Value;
        return static_cast<int>(Value);
    }
    case LUA_TSTRING:
        return ToText(L, Index, Place);
    case LUA_TUSERDATA:
        if (IsObject(L, Index)) return PointerAsLVar(ObjectAt(L, Index));
        if (const TEntry* const Entry = IndexedAt(L, Index)) {
            throw EIObjectError(
                Format(u"%s: %s wants an index: object.%s[...]", {Place.Text(), Entry->Name, Entry->Name}));
        }
        break;
    default:
        break;
    }
    throw EIObjectError(
        Format(u"%s: a %s cannot be given", {Place.Text(), platform::Utf8ToUtf16(luaL_typename(L, Index))}));
}

void PushText(lua_State* L, std::u16string_view Text, const TValuePlace& Place) {
    constexpr std::size_t Short = 128;
    if (Text.size() <= Short && std::all_of(Text.begin(), Text.end(), [](char16_t C) { return C < 0x80; })) {
        char Bytes[Short];
        std::transform(Text.begin(), Text.end(), Bytes, [](char16_t C) { return static_cast<char>(C); });
        lua_pushlstring(L, Bytes, Text.size());
        return;
    }
    const auto Result = platform::Utf16ToUtf8Strict(Text);
    if (Result.Error) {
        throw EIObjectError(
            Format(u"%s: unpaired surrogate at position %d", {Place.Text(), Result.Error->Offset + 1}));
    }
    PushString(L, Result.Text);
}

void PushVariant(lua_State* L, const TKXVariant& Value, int Owner, const TValuePlace& Place) {
    switch (Value.Kind()) {
    case TVariantKind::vkNull:
        return lua_pushnil(L);
    case TVariantKind::vkInteger:
    case TVariantKind::vkInt64:
        return lua_pushinteger(L, Value.AsInt64());
    case TVariantKind::vkFloat:
        return lua_pushnumber(L, Value.AsFloat());
    case TVariantKind::vkBoolean:
    case TVariantKind::vkWordBool:
        return lua_pushboolean(L, Value.AsBoolean() ? 1 : 0);
    case TVariantKind::vkString:
        return PushText(L, Value.StringView(), Place);
    case TVariantKind::vkAnsiString:
    case TVariantKind::vkAnsiChar:
    case TVariantKind::vkWideChar:
    case TVariantKind::vkDateTime:
        return PushText(L, Value.AsString(), Place);
    case TVariantKind::vkObject:
        break;
    }
    TObject* const Object = Value.AsObject();
    if (Object == nullptr) return lua_pushnil(L);
    if (&Object->ClassInfo() == &TTextList::StaticClass()) {
        lua_newtable(L);
        lua_Integer Number = 0;
        for (const std::u16string& Text : static_cast<const TTextList&>(*Object).Items) {
            PushText(L, Text, Place);
            lua_rawseti(L, -2, ++Number);
        }
        return;
    }
    PushObject(L, *Object, Owner);
}

} // namespace zutools::server
