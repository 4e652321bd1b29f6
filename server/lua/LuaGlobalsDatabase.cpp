// `db`: statements on the calling thread's database, with named parameters.
#include "host/DatabaseFault.h"
#include "host/Exception.h"
#include "host/Format.h"
#include "host/Queries.h"
#include "platform/Text.h"
#include "platform/TextTools.h"
#include "server/lua/LuaGlobals.h"
#include "server/lua/LuaState.h"
#include "server/lua/LuaValues.h"

#include <string>
#include <vector>

namespace zutools::server {

namespace {

TDatabase& Database(lua_State* L) {
    TDatabase* const Result = StateOf(L).Options.Database.Get();
    if (Result == nullptr) throw EDatabaseError(u"there is no database: none was named at the start");
    return *Result;
}

// `db.null` stands for SQL NULL where a table cannot hold nil.
bool IsNull(lua_State* L, int Index) {
    return lua_type(L, Index) == LUA_TLIGHTUSERDATA && lua_touserdata(L, Index) == nullptr;
}

// Texts up to the common limit of character columns are bound as such.
constexpr std::size_t LongestShortText = 4000;

void BindOne(TQuery& Query, std::u16string_view Name, lua_State* L, int Index) {
    if (IsNull(L, Index)) return Query.SetNull(Name);
    switch (lua_type(L, Index)) {
    case LUA_TNUMBER:
        if (lua_isinteger(L, Index)) return Query.SetInteger(Name, lua_tointeger(L, Index));
        return Query.SetFloat(Name, lua_tonumber(L, Index));
    case LUA_TBOOLEAN:
        return Query.SetInteger(Name, lua_toboolean(L, Index));
    case LUA_TSTRING: {
        const std::u16string Text = ToText(L, Index, {u"", Name, 0});
        if (Text.size() <= LongestShortText) return Query.SetString(Name, Text);
        return Query.SetLongText(Name, Text);
    }
    default:
        throw EDatabaseError(Format(u"value of parameter %s: a %s cannot be given",
                                    {Name, platform::Utf8ToUtf16(luaL_typename(L, Index))}));
    }
}

// (sql [, values])
void Prepare(TQuery& Query, lua_State* L) {
    Query.SetSQL(ToText(L, 1, {u"db", u"select and db.exec", 1}));
    if (lua_isnoneornil(L, 2)) return;
    luaL_checktype(L, 2, LUA_TTABLE);
    lua_settop(L, 2);
    lua_pushnil(L);
    while (lua_next(L, 2) != 0) {
        const std::u16string Name = ToText(L, 3, {u"", u"name of a parameter", -1});
        BindOne(Query, Name, L, 4);
        lua_pop(L, 1);
    }
}

// A row's miss: the name in another letter case, which databases change at will; SQL NULL stays nil.
int ReadField(lua_State* L) {
    if (lua_type(L, 2) != LUA_TSTRING) return 0;
    PushString(L, platform::LowerAsciiText(std::string(StringAt(L, 2))));
    lua_rawget(L, lua_upvalueindex(1)); // the name as the row has it
    if (lua_isnil(L, -1)) return 1;
    lua_rawget(L, 1);
    return 1;
}

// Leaves the names of the fields on the stack, and on top of them the metatable of the rows.
void PushFields(lua_State* L, const TSelectQuery& Query) {
    const int Count = Query.FieldCount();
    luaL_checkstack(L, Count + 10, "too many fields");
    for (int I = 0; I < Count; ++I) PushText(L, Query.FieldName(I), {u"", u"name of a field", -1});
    const int First = lua_gettop(L) - Count + 1;
    lua_createtable(L, 0, 2);
    lua_createtable(L, 0, Count);
    for (int I = 0; I < Count; ++I) {
        PushString(L, platform::LowerAsciiText(std::string(StringAt(L, First + I))));
        lua_pushvalue(L, First + I);
        lua_rawset(L, -3);
    }
    lua_pushcclosure(L, Border<ReadField>, 1);
    lua_setfield(L, -2, "__index");
    lua_pushboolean(L, 0);
    lua_setfield(L, -2, "__metatable");
}

int Select(lua_State* L) {
    const auto Query = Database(L).CreateSelectQuery();
    Prepare(*Query, L);
    Query->Open();
    lua_newtable(L);
    const int Rows = lua_gettop(L);
    PushFields(L, *Query);
    const int Count = Query->FieldCount();
    for (lua_Integer Row = 1; Query->Step(); ++Row) {
        lua_createtable(L, 0, Count);
        for (int I = 0; I < Count; ++I) {
            const TKXVariant Value = Query->FieldValue(I);
            if (Value.IsNull()) continue;
            lua_pushvalue(L, Rows + 1 + I);
            PushVariant(L, Value, 0, {u"", u"field", -1});
            lua_rawset(L, -3);
        }
        lua_pushvalue(L, Rows + 1 + Count);
        lua_setmetatable(L, -2);
        lua_rawseti(L, Rows, Row);
    }
    lua_settop(L, Rows);
    return 1;
}

int ExecStatement(lua_State* L) {
    const auto Query = Database(L).CreateExecQuery();
    Prepare(*Query, L);
    Query->Execute();
    lua_pushinteger(L, Query->RowsAffected());
    return 1;
}

// The error of `fn` passes through as it is and takes the transaction back on its way.
int Transaction(lua_State* L) {
    luaL_checktype(L, 1, LUA_TFUNCTION);
    TTransaction Guard(Database(L));
    lua_call(L, lua_gettop(L) - 1, LUA_MULTRET);
    Guard.Commit();
    return lua_gettop(L);
}

/// Why the thread's last statement or record was refused: {kind=, table=, column=}; nil when it was not, or
/// for another reason.
int LastError(lua_State* L) {
    const TDatabaseFault* const Fault = LastDatabaseFault();
    if (Fault == nullptr) return 0;
    static constexpr const char* Kinds[] = {"unique", "reference", "check", "required", "changed", "busy"};
    lua_createtable(L, 0, 3);
    lua_pushstring(L, Kinds[static_cast<std::size_t>(Fault->Kind)]);
    lua_setfield(L, -2, "kind");
    for (const auto& [Name, Text] :
         {std::pair("table", &Fault->Table), std::pair("column", &Fault->Column)}) {
        if (Text->empty()) continue;
        PushText(L, *Text, {u"", u"db.last_error", 0});
        lua_setfield(L, -2, Name);
    }
    return 1;
}

int ClearError(lua_State*) {
    ClearDatabaseFault();
    return 0;
}

} // namespace

void OpenDatabase(lua_State* L) {
    const luaL_Reg Functions[] = {{"select", Border<Select>},           {"exec", Border<ExecStatement>},
                                  {"transaction", Border<Transaction>}, {"last_error", Border<LastError>},
                                  {"clear_error", Border<ClearError>},  {nullptr, nullptr}};
    luaL_newlib(L, Functions);
    lua_pushlightuserdata(L, nullptr);
    lua_setfield(L, -2, "null");
    PushString(L, StateOf(L).Options.DatabaseKind);
    lua_setfield(L, -2, "kind");
    StateOf(L).Modules.AddLibrary(L, "db");
}

} // namespace zutools::server
