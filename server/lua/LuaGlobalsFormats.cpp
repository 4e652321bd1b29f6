// Values as text and back: JSON, and dates and numbers as the page's language writes them.

#include "host/Exception.h"
#include "host/Format.h"
#include "platform/LanguageFormat.h"
#include "platform/Text.h"
#include "platform/TextTools.h"
#include "server/lua/LuaGlobals.h"
#include "server/lua/LuaState.h"
#include "server/lua/LuaValues.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <array>
#include <charconv>
#include <chrono>
#include <cmath>
#include <map>
#include <optional>

namespace zutools::server {

namespace {

using TJson = nlohmann::ordered_json;

constexpr int MostDepth = 100; // of tables in tables

// ---- JSON

TJson ToJson(lua_State* L, int Index, int Depth);

TJson TableToJson(lua_State* L, int Index, int Depth) {
    if (Depth >= MostDepth)
        throw EIObjectError(u"zu.json: more than 100 tables in each other, or a table in itself");
    luaL_checkstack(L, 4, "tables in tables");
    const auto Count = static_cast<lua_Integer>(lua_rawlen(L, Index));
    lua_pushnil(L);
    const bool Empty = lua_next(L, Index) == 0;
    if (!Empty) lua_pop(L, 2);
    if (Count > 0 || Empty) {
        TJson List = TJson::array();
        for (lua_Integer Place = 1; Place <= Count; ++Place) {
            lua_rawgeti(L, Index, Place);
            List.push_back(ToJson(L, lua_gettop(L), Depth + 1));
            lua_pop(L, 1);
        }
        return List;
    }
    std::map<std::string, TJson> Sorted; // the same text for the same table
    lua_pushnil(L);
    while (lua_next(L, Index) != 0) {
        if (lua_type(L, -2) != LUA_TSTRING)
            throw EIObjectError(u"zu.json: names are texts, or the table is a list");
        (void)ToText(L, -2, {u"", u"zu.json", 1});
        Sorted.emplace(StringAt(L, -2), ToJson(L, lua_gettop(L), Depth + 1));
        lua_pop(L, 1);
    }
    TJson Object = TJson::object();
    for (auto& [Name, Value] : Sorted) Object[Name] = std::move(Value);
    return Object;
}

TJson ToJson(lua_State* L, int Index, int Depth) {
    switch (lua_type(L, Index)) {
    case LUA_TNIL:
        return nullptr;
    case LUA_TBOOLEAN:
        return lua_toboolean(L, Index) != 0;
    case LUA_TNUMBER:
        if (lua_isinteger(L, Index)) return lua_tointeger(L, Index);
        if (!std::isfinite(lua_tonumber(L, Index)))
            throw EIObjectError(u"zu.json: a number that is none, or infinite");
        return lua_tonumber(L, Index);
    case LUA_TSTRING:
        (void)ToText(L, Index, {u"", u"zu.json", 1});
        return StringAt(L, Index);
    case LUA_TTABLE:
        return TableToJson(L, Index, Depth);
    case LUA_TLIGHTUSERDATA: // db.null
        return nullptr;
    default:
        throw EIObjectError(
            Format(u"zu.json: a %s cannot be written", {platform::Utf8ToUtf16(luaL_typename(L, Index))}));
    }
}

int WriteJson(lua_State* L) {
    luaL_checkany(L, 1);
    PushString(L, JsonText(L, 1));
    return 1;
}

void PushJson(lua_State* L, const TJson& Value, int Depth) {
    if (Depth >= MostDepth) throw EIObjectError(u"zu.parse_json: more than 100 values in each other");
    luaL_checkstack(L, 4, "values in values");
    if (Value.is_boolean()) return lua_pushboolean(L, Value.get<bool>() ? 1 : 0);
    if (Value.is_number_unsigned() && Value.get<std::uint64_t>() > INT64_MAX)
        return lua_pushnumber(L, Value.get<double>());
    if (Value.is_number_integer()) return lua_pushinteger(L, Value.get<std::int64_t>());
    if (Value.is_number()) return lua_pushnumber(L, Value.get<double>());
    if (Value.is_string()) return PushString(L, Value.get_ref<const std::string&>());
    if (!Value.is_structured()) return lua_pushlightuserdata(L, nullptr); // db.null
    lua_createtable(L, 0, 0);
    lua_Integer Place = 0;
    for (const auto& [Name, Each] : Value.items()) {
        PushJson(L, Each, Depth + 1);
        if (Value.is_array()) {
            lua_rawseti(L, -2, ++Place);
        } else {
            PushString(L, Name);
            lua_insert(L, -2);
            lua_rawset(L, -3);
        }
    }
}

/// (text): the value; nil and why for a text that is no JSON.
int ParseJson(lua_State* L) {
    luaL_checkstring(L, 1);
    try {
        const TJson Value = TJson::parse(StringAt(L, 1));
        PushJson(L, Value, 0);
        return 1;
    } catch (const nlohmann::json::exception& Error) {
        lua_pushnil(L);
        PushString(L, Error.what());
        return 2;
    }
}

// ---- by language

std::string LanguageOf(lua_State* L, int Index) {
    if (!lua_isnoneornil(L, Index)) return std::string(luaL_checkstring(L, Index));
    const auto& Manager = StateOf(L).Options.Services.ApplicationManager;
    return Manager != nullptr ? platform::Utf16ToUtf8(Manager->GetSessionLanguageID()) : "en";
}

void PushNumber(lua_State* L, const std::string& Language, std::string_view Digits, int Least, int Most) {
    PushText(L, platform::FormatDecimal(Language, Digits, Least, Most), {u"", u"zu.number", 0});
}

/// (number [, digits behind the comma [, language]])
int Number(lua_State* L) {
    luaL_checknumber(L, 1);
    const int Digits = static_cast<int>(luaL_optinteger(L, 2, -1));
    if (Digits > 20) throw EIObjectError(u"zu.number: at most 20 digits behind the comma");
    const std::string Language = LanguageOf(L, 3);
    std::array<char, 400> Text{};
    const auto End = lua_isinteger(L, 1)
                         ? std::to_chars(Text.data(), Text.data() + Text.size(), lua_tointeger(L, 1)).ptr
                         : std::to_chars(Text.data(), Text.data() + Text.size(), lua_tonumber(L, 1)).ptr;
    PushNumber(L, Language, {Text.data(), static_cast<std::size_t>(End - Text.data())}, std::max(Digits, 0),
               Digits < 0 ? 10 : Digits);
    return 1;
}

/// (hundredths [, language])
int Money(lua_State* L) {
    const lua_Integer Minor = luaL_checkinteger(L, 1);
    PushNumber(L, LanguageOf(L, 2), std::to_string(Minor) + "E-2", 2, 2);
    return 1;
}

bool IsPlainNumber(std::string_view Text) {
    if (!Text.empty() && (Text.front() == '-' || Text.front() == '+')) Text.remove_prefix(1);
    const std::size_t Dot = std::min(Text.find('.'), Text.size());
    const auto Digits = [](std::string_view Part) {
        return !Part.empty() && std::ranges::all_of(Part, [](char C) { return platform::IsAsciiDigit(C); });
    };
    return Digits(Text.substr(0, Dot)) && (Dot == Text.size() || Digits(Text.substr(Dot + 1)));
}

int NoNumber(lua_State* L) {
    lua_pushnil(L);
    return 1;
}

/// (text [, language]): the number, whole when it is; nil when the text is none.
int ParseNumber(lua_State* L) {
    std::u16string Text = ToText(L, 1, {u"", u"zu.parse_number", 1});
    const std::string Language = LanguageOf(L, 2);
    std::erase_if(Text, [](char16_t C) { return C == u' ' || C == u'\u00A0' || C == u'\u202F'; });
    std::ranges::replace(Text, u'\u2212', u'-');
    // Nobody types 1e9 and means it.
    if (Text.size() > 100 || std::ranges::any_of(Text, platform::IsAsciiLetter<char16_t>)) return NoNumber(L);
    double Value = 0;
    if (const std::optional<double> Parsed = platform::ParseDecimal(Language, Text)) {
        Value = *Parsed;
    } else {
        const std::string Plain = platform::Utf16ToUtf8(Text);
        if (!IsPlainNumber(Plain)) return NoNumber(L);
        Value = std::strtod(Plain.c_str(), nullptr);
    }
    if (!std::isfinite(Value)) return NoNumber(L);
    if (Value == std::floor(Value) && std::abs(Value) < 9e15) {
        lua_pushinteger(L, static_cast<lua_Integer>(Value));
    } else {
        lua_pushnumber(L, Value);
    }
    return 1;
}

/// (`YYYY-MM-DD` or `YYYY-MM-DD HH:MM:SS` [, "day", "long" or "minute" [, language]]); a text that is no date
/// stays.
int Date(lua_State* L) {
    static const char* const Styles[] = {"day", "long", "minute", nullptr};
    luaL_checkstring(L, 1);
    const int Style = luaL_checkoption(L, 2, "day", Styles);
    const std::string Language = LanguageOf(L, 3);
    const std::string Given(StringAt(L, 1));
    int Year = 0, Month = 0, Day = 0, Hour = 0, Minute = 0;
    const int Found =
        std::sscanf(Given.c_str(), "%4d-%2d-%2d%*1[ T]%2d:%2d", &Year, &Month, &Day, &Hour, &Minute);
    using namespace std::chrono;
    const year_month_day Calendar(year(Year), month(static_cast<unsigned>(Month)),
                                  day(static_cast<unsigned>(Day)));
    if (Found < 3 || !Calendar.ok() || Hour > 23 || Minute > 59) {
        lua_settop(L, 1);
        return 1;
    }
    const sys_time<minutes> Moment = sys_days(Calendar) + hours(Hour) + minutes(Minute);
    using platform::TDateStyle;
    std::u16string Text =
        platform::FormatDate(Language, Moment, Style == 1 ? TDateStyle::Long : TDateStyle::Day);
    if (Style == 2) Text += u" " + platform::FormatDate(Language, Moment, TDateStyle::Time);
    PushText(L, Text, {u"", u"zu.date", 0});
    return 1;
}

} // namespace

std::string JsonText(lua_State* L, int Index) {
    return ToJson(L, Index, 0).dump();
}

void AddFormats(lua_State* L) {
    const luaL_Reg Functions[] = {{"json", Border<WriteJson>}, {"parse_json", Border<ParseJson>},
                                  {"number", Border<Number>},  {"money", Border<Money>},
                                  {"date", Border<Date>},      {"parse_number", Border<ParseNumber>},
                                  {nullptr, nullptr}};
    luaL_setfuncs(L, Functions, 0);
}

} // namespace zutools::server
