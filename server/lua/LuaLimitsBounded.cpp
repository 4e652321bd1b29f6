// Replacements for the functions of Lua's libraries whose work has no bound: a call of theirs would go on
// when a limit was passed, since Lua looks at limits between its own instructions only.
//
// They do what Lua's own do, with the same results and errors, and charge their work as instructions.
#include "platform/FindBytes.h"
#include "server/lua/LuaModules.h"
#include "server/lua/LuaPatterns.h"
#include "server/lua/LuaState.h"

#include <algorithm>
#include <cstring>
#include <new>

namespace zutools::server {

namespace {

/// Counts the rounds of a loop, and charges them now and then.
class TRounds {
public:
    explicit TRounds(lua_State* L)
        : FState(L) {}
    void Count() {
        constexpr unsigned Often = 1024;
        if (++FCount < Often) return;
        FCount = 0;
        StateOf(FState).Limits.Work(FState, Often);
    }

private:
    lua_State* const FState;
    unsigned FCount = 0;
};

// ---- table

enum TAccess : unsigned { Reads = 1, Writes = 2, Length = 4 };

void CheckTable(lua_State* L, int Index, unsigned Access) {
    if (lua_type(L, Index) == LUA_TTABLE) return;
    const auto Has = [L](const char* Name, int Depth) {
        lua_pushstring(L, Name);
        return lua_rawget(L, -Depth) != LUA_TNIL;
    };
    int Pushed = 1;
    if (lua_getmetatable(L, Index) != 0 && ((Access & Reads) == 0 || Has("__index", ++Pushed)) &&
        ((Access & Writes) == 0 || Has("__newindex", ++Pushed)) &&
        ((Access & Length) == 0 || Has("__len", ++Pushed))) {
        return lua_pop(L, Pushed);
    }
    luaL_checktype(L, Index, LUA_TTABLE); // raises
}

lua_Integer LengthOf(lua_State* L, int Index, unsigned Access) {
    CheckTable(L, Index, Access | Length);
    return luaL_len(L, Index);
}

lua_Unsigned Distance(lua_Integer From, lua_Integer To) {
    return static_cast<lua_Unsigned>(To) - static_cast<lua_Unsigned>(From);
}

void Copy(lua_State* L, int From, lua_Integer FromPlace, int To, lua_Integer ToPlace) {
    lua_geti(L, From, FromPlace);
    lua_seti(L, To, ToPlace);
}

int Insert(lua_State* L) {
    const lua_Integer End =
        static_cast<lua_Integer>(static_cast<lua_Unsigned>(LengthOf(L, 1, Reads | Writes)) + 1U);
    lua_Integer Place = End;
    switch (lua_gettop(L)) {
    case 2:
        break;
    case 3: {
        Place = luaL_checkinteger(L, 2);
        luaL_argcheck(L, Distance(1, Place) < static_cast<lua_Unsigned>(End), 2, "position out of bounds");
        TRounds Rounds(L);
        for (lua_Integer I = End; I > Place; --I) {
            Rounds.Count();
            Copy(L, 1, I - 1, 1, I);
        }
        break;
    }
    default:
        return luaL_error(L, "wrong number of arguments to 'insert'");
    }
    lua_seti(L, 1, Place);
    return 0;
}

int Remove(lua_State* L) {
    const lua_Integer Size = LengthOf(L, 1, Reads | Writes);
    lua_Integer Place = luaL_optinteger(L, 2, Size);
    if (Place != Size) {
        luaL_argcheck(L, Distance(1, Place) <= static_cast<lua_Unsigned>(Size), 1, "position out of bounds");
    }
    lua_geti(L, 1, Place);
    TRounds Rounds(L);
    for (; Place < Size; ++Place) {
        Rounds.Count();
        Copy(L, 1, Place + 1, 1, Place);
    }
    lua_pushnil(L);
    lua_seti(L, 1, Place);
    return 1;
}

int Move(lua_State* L) {
    const lua_Integer From = luaL_checkinteger(L, 2);
    const lua_Integer Last = luaL_checkinteger(L, 3);
    const lua_Integer To = luaL_checkinteger(L, 4);
    const int Target = !lua_isnoneornil(L, 5) ? 5 : 1;
    CheckTable(L, 1, Reads);
    CheckTable(L, Target, Writes);
    if (Last >= From) {
        luaL_argcheck(L, From > 0 || Last < LUA_MAXINTEGER + From, 3, "too many elements to move");
        const lua_Integer Count = Last - From + 1;
        luaL_argcheck(L, To <= LUA_MAXINTEGER - Count + 1, 4, "destination wrap around");
        const bool Forward =
            To > Last || To <= From || (Target != 1 && lua_compare(L, 1, Target, LUA_OPEQ) == 0);
        TRounds Rounds(L);
        for (lua_Integer Done = 0; Done < Count; ++Done) {
            Rounds.Count();
            const lua_Integer I = Forward ? Done : Count - 1 - Done;
            Copy(L, 1, From + I, Target, To + I);
        }
    }
    lua_pushvalue(L, Target);
    return 1;
}

void AddField(lua_State* L, luaL_Buffer& Buffer, lua_Integer I) {
    lua_geti(L, 1, I);
    if (lua_isstring(L, -1) == 0) {
        luaL_error(L, "invalid value (%s) at index %I in table for 'concat'", luaL_typename(L, -1),
                   static_cast<LUAI_UACINT>(I));
    }
    luaL_addvalue(&Buffer);
}

int Concat(lua_State* L) {
    const lua_Integer Size = LengthOf(L, 1, Reads);
    std::size_t SeparatorSize = 0;
    const char* const Separator = luaL_optlstring(L, 2, "", &SeparatorSize);
    lua_Integer I = luaL_optinteger(L, 3, 1);
    const lua_Integer Last = luaL_optinteger(L, 4, Size);
    luaL_Buffer Buffer;
    luaL_buffinit(L, &Buffer);
    TRounds Rounds(L);
    for (; I < Last; ++I) {
        Rounds.Count();
        AddField(L, Buffer, I);
        luaL_addlstring(&Buffer, Separator, SeparatorSize);
    }
    if (I == Last) AddField(L, Buffer, I);
    luaL_pushresult(&Buffer);
    return 1;
}

/// Calls the function that is the first upvalue.
int CallOriginal(lua_State* L) {
    lua_pushvalue(L, lua_upvalueindex(1));
    lua_insert(L, 1);
    lua_call(L, lua_gettop(L) - 1, LUA_MULTRET);
    return lua_gettop(L);
}

/// An order of Lua's or of a C function, which is the upvalue; counted.
int Compare(lua_State* L) {
    StateOf(L).Limits.Work(L, 1);
    if (lua_isnil(L, lua_upvalueindex(1))) {
        lua_pushboolean(L, lua_compare(L, 1, 2, LUA_OPLT));
        return 1;
    }
    lua_settop(L, 2);
    return CallOriginal(L);
}

/// A Lua function as the order looks at the limits itself; few elements need no looks.
int Sort(lua_State* L) {
    constexpr lua_Integer Few = 10'000;
    const lua_Integer Size = LengthOf(L, 1, Reads | Writes);
    const bool Given = !lua_isnoneornil(L, 2);
    if (Size > 1 && Given) luaL_checktype(L, 2, LUA_TFUNCTION);
    if (lua_iscfunction(L, 2) != 0 || (!Given && Size > Few)) {
        lua_settop(L, 2);
        lua_pushcclosure(L, Border<Compare>, 1);
    }
    return CallOriginal(L);
}

// ---- string

int Repeat(lua_State* L) {
    std::size_t Size = 0;
    std::size_t SeparatorSize = 0;
    luaL_checklstring(L, 1, &Size);
    luaL_checkinteger(L, 2);
    luaL_optlstring(L, 3, "", &SeparatorSize);
    if (Size + SeparatorSize != 0) return CallOriginal(L);
    lua_pushliteral(L, "");
    return 1;
}

std::size_t PlaceOf(lua_Integer Position, std::size_t Size) {
    if (Position > 0) return static_cast<std::size_t>(Position) - 1;
    if (Position == 0 || Position < -static_cast<lua_Integer>(Size)) return 0;
    return Size - static_cast<std::size_t>(-Position);
}

bool IsPlain(std::string_view Pattern) {
    return Pattern.find_first_of("^$*+?.([%-") == std::string_view::npos;
}

int FindPlain(lua_State* L, std::string_view Subject, std::string_view Wanted, std::size_t From) {
    const std::size_t Found = platform::FindBytes(Subject.substr(From), Wanted);
    StateOf(L).Limits.Work(L, (Subject.size() - From) / 1024);
    if (Found == std::string_view::npos) {
        luaL_pushfail(L);
        return 1;
    }
    lua_pushinteger(L, static_cast<lua_Integer>(From + Found + 1));
    lua_pushinteger(L, static_cast<lua_Integer>(From + Found + Wanted.size()));
    return 2;
}

int FindOrMatch(lua_State* L, bool Find) {
    luaL_checkstring(L, 1);
    luaL_checkstring(L, 2);
    const std::string_view Subject = StringAt(L, 1);
    std::string_view Pattern = StringAt(L, 2);
    const std::size_t From = PlaceOf(luaL_optinteger(L, 3, 1), Subject.size());
    if (From > Subject.size()) {
        luaL_pushfail(L);
        return 1;
    }
    if (Find && (lua_toboolean(L, 4) != 0 || IsPlain(Pattern))) return FindPlain(L, Subject, Pattern, From);
    const bool Anchored = Pattern.starts_with('^');
    if (Anchored) Pattern.remove_prefix(1);
    TLuaMatcher Matcher(L, Subject, Pattern);
    const char* const End = Subject.data() + Subject.size();
    const char* At = Subject.data() + From;
    do {
        const char* const To = Matcher.Match(At);
        if (To == nullptr) continue;
        if (!Find) return Matcher.PushCaptures(At, To);
        lua_pushinteger(L, At - Subject.data() + 1);
        lua_pushinteger(L, To - Subject.data());
        return Matcher.PushCaptures(nullptr, nullptr) + 2;
    } while (At++ < End && !Anchored);
    luaL_pushfail(L);
    return 1;
}

int Find(lua_State* L) {
    return FindOrMatch(L, true);
}

int Match(lua_State* L) {
    return FindOrMatch(L, false);
}

/// What gmatch gives: the subject, the pattern, where to go on, where the last match ended.
int NextMatch(lua_State* L) {
    const std::string_view Subject = StringAt(L, lua_upvalueindex(1));
    TLuaMatcher Matcher(L, Subject, StringAt(L, lua_upvalueindex(2)));
    const char* const End = Subject.data() + Subject.size();
    const lua_Integer Last = lua_tointeger(L, lua_upvalueindex(4));
    for (const char* At = Subject.data() + lua_tointeger(L, lua_upvalueindex(3)); At <= End; ++At) {
        const char* const To = Matcher.Match(At);
        if (To == nullptr || To - Subject.data() == Last) continue;
        lua_pushinteger(L, To - Subject.data());
        lua_copy(L, -1, lua_upvalueindex(3));
        lua_replace(L, lua_upvalueindex(4));
        return Matcher.PushCaptures(At, To);
    }
    return 0;
}

int EachMatch(lua_State* L) {
    luaL_checkstring(L, 1);
    luaL_checkstring(L, 2);
    const std::size_t Size = StringAt(L, 1).size();
    const std::size_t From = std::min(PlaceOf(luaL_optinteger(L, 3, 1), Size), Size + 1);
    lua_settop(L, 2);
    lua_pushinteger(L, static_cast<lua_Integer>(From));
    lua_pushinteger(L, -1);
    lua_pushcclosure(L, Border<NextMatch>, 4);
    return 1;
}

/// The replacement at 3 with its %0 to %9.
void AddText(lua_State* L, luaL_Buffer& Buffer, TLuaMatcher& Matcher, const char* From, const char* To) {
    std::string_view Text = StringAt(L, 3);
    for (std::size_t Mark = 0; (Mark = Text.find('%')) != std::string_view::npos;
         Text.remove_prefix(Mark + 2)) {
        luaL_addlstring(&Buffer, Text.data(), Mark);
        const char Next = Mark + 1 < Text.size() ? Text[Mark + 1] : '\0';
        if (Next == '%') {
            luaL_addchar(&Buffer, Next);
        } else if (Next == '0') {
            luaL_addlstring(&Buffer, From, static_cast<std::size_t>(To - From));
        } else if (Next >= '1' && Next <= '9') {
            Matcher.PushCapture(Next - '1', From, To);
            luaL_tolstring(L, -1, nullptr);
            lua_remove(L, -2);
            luaL_addvalue(&Buffer);
        } else {
            luaL_error(L, "invalid use of '%c' in replacement string", '%');
        }
    }
    luaL_addlstring(&Buffer, Text.data(), Text.size());
}

/// False when the match stays as it is.
bool AddReplacement(lua_State* L, luaL_Buffer& Buffer, TLuaMatcher& Matcher, const char* From,
                    const char* To) {
    switch (lua_type(L, 3)) {
    case LUA_TFUNCTION:
        lua_pushvalue(L, 3);
        lua_call(L, Matcher.PushCaptures(From, To), 1);
        break;
    case LUA_TTABLE:
        Matcher.PushCapture(0, From, To);
        lua_gettable(L, 3);
        break;
    default:
        AddText(L, Buffer, Matcher, From, To);
        return true;
    }
    if (lua_toboolean(L, -1) == 0) {
        lua_pop(L, 1);
        luaL_addlstring(&Buffer, From, static_cast<std::size_t>(To - From));
        return false;
    }
    if (lua_isstring(L, -1) == 0) luaL_error(L, "invalid replacement value (a %s)", luaL_typename(L, -1));
    luaL_addvalue(&Buffer);
    return true;
}

int Replace(lua_State* L) {
    luaL_checkstring(L, 1);
    luaL_checkstring(L, 2);
    const std::string_view Subject = StringAt(L, 1);
    std::string_view Pattern = StringAt(L, 2);
    const int Type = lua_type(L, 3);
    const lua_Integer Most = luaL_optinteger(L, 4, static_cast<lua_Integer>(Subject.size()) + 1);
    luaL_argexpected(
        L, Type == LUA_TNUMBER || Type == LUA_TSTRING || Type == LUA_TFUNCTION || Type == LUA_TTABLE, 3,
        "string/function/table");
    if (Type == LUA_TNUMBER) lua_tolstring(L, 3, nullptr);
    const bool Anchored = Pattern.starts_with('^');
    if (Anchored) Pattern.remove_prefix(1);
    TLuaMatcher Matcher(L, Subject, Pattern);
    luaL_Buffer Buffer;
    luaL_buffinit(L, &Buffer);
    const char* At = Subject.data();
    const char* const End = At + Subject.size();
    const char* Last = nullptr; // where the last match ended
    bool Changed = false;
    lua_Integer Count = 0;
    TRounds Rounds(L);
    while (Count < Most) {
        Rounds.Count();
        const char* const To = Matcher.Match(At);
        if (To != nullptr && To != Last) {
            ++Count;
            Changed = AddReplacement(L, Buffer, Matcher, At, To) || Changed;
            At = Last = To;
        } else if (At < End) {
            luaL_addchar(&Buffer, *At++);
        } else {
            break;
        }
        if (Anchored) break;
    }
    if (Changed) {
        luaL_addlstring(&Buffer, At, static_cast<std::size_t>(End - At));
        luaL_pushresult(&Buffer);
    } else {
        lua_pushvalue(L, 1);
    }
    lua_pushinteger(L, Count);
    return 2;
}

// ---- others

/// A whole collection looks at everything that there is.
int CollectAll(lua_State* L) {
    constexpr std::uint64_t AsInstructions = 1000;
    StateOf(L).Limits.Work(L, AsInstructions);
    return CallOriginal(L);
}

} // namespace

void BoundLibraries(lua_State* L, const TLuaModules& Modules) {
    Modules.PushBase(L);
    SetLuaGuard(L, "collectgarbage", Border<CollectAll>);
    lua_pop(L, 1);
    Modules.PushLibrary(L, LUA_STRLIBNAME);
    SetLuaGuard(L, "rep", Border<Repeat>);
    SetLuaGuard(L, "find", Border<Find>);
    SetLuaGuard(L, "match", Border<Match>);
    SetLuaGuard(L, "gmatch", Border<EachMatch>);
    SetLuaGuard(L, "gsub", Border<Replace>);
    lua_pop(L, 1);
    Modules.PushLibrary(L, LUA_TABLIBNAME);
    SetLuaGuard(L, "insert", Border<Insert>);
    SetLuaGuard(L, "remove", Border<Remove>);
    SetLuaGuard(L, "move", Border<Move>);
    SetLuaGuard(L, "concat", Border<Concat>);
    SetLuaGuard(L, "sort", Border<Sort>);
    lua_pop(L, 1);
}

} // namespace zutools::server
