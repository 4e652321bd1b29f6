// `zu.blocks`: who has which record, for pages of administrators and for whoever finds a record taken.

#include "host/Exception.h"
#include "host/Format.h"
#include "host/Security.h"
#include "host/Session.h"
#include "host/StringHelpers.h"
#include "recordlock/Zurecblk.h"
#include "server/lua/LuaGlobals.h"
#include "server/lua/LuaState.h"
#include "server/lua/LuaValues.h"

namespace zutools::server {

namespace {

TZURecordBlocker& Blocker() {
    if (!ZURecordBlocker) throw EIObjectError(u"there is no record blocker: the package is not started");
    return *ZURecordBlocker;
}

/// The user of the session, who must be an administrator.
std::u16string Administrator(lua_State* L, std::u16string_view Function) {
    const TSession* const Session = CurrentSession();
    std::u16string User = Session != nullptr ? Session->USR : std::u16string();
    if (!StateOf(L).Options.Services.Security->RefreshUserInfo(User).Administrator) {
        throw EIObjectError(Format(u"%s is for administrators", {Function}));
    }
    return User;
}

void SetField(lua_State* L, const char* Name, const TKXVariant& Value) {
    PushVariant(L, Value, 0, {u"", u"field of a block", -1});
    lua_setfield(L, -2, Name);
}

/// Leaves a table with what anybody may know.
void PushHolder(lua_State* L, const TZUBlockInfo& Block) {
    lua_createtable(L, 0, 8);
    SetField(L, "user", Block.UserName);
    SetField(L, "action", ObjectTypeToStr(Block.RecAction));
    SetField(L, "since", Block.CreateTime);
}

/// ([{after = id, limit = count}])
int List(lua_State* L) {
    static_cast<void>(Administrator(L, u"zu.blocks.list"));
    constexpr lua_Integer MostBlocks = 1000;
    lua_Integer Limit = 100;
    std::u16string After;
    if (!lua_isnoneornil(L, 1)) {
        luaL_checktype(L, 1, LUA_TTABLE);
        if (lua_getfield(L, 1, "after") != LUA_TNIL) After = ToText(L, -1, {u"zu.blocks.list", u"after", 0});
        if (lua_getfield(L, 1, "limit") != LUA_TNIL) {
            int IsInteger = 0;
            Limit = lua_tointegerx(L, -1, &IsInteger);
            if (IsInteger == 0 || Limit < 1 || Limit > MostBlocks) {
                throw EIObjectError(u"zu.blocks.list: limit is a whole number from 1 to 1000");
            }
        }
    }
    const std::vector<TZUBlockInfo> Blocks = Blocker().ListBlocks(After, static_cast<std::size_t>(Limit));
    lua_createtable(L, static_cast<int>(Blocks.size()), 0);
    lua_Integer Number = 0;
    for (const TZUBlockInfo& Block : Blocks) {
        PushHolder(L, Block);
        SetField(L, "id", Block.ID);
        SetField(L, "table", Block.TableName);
        SetField(L, "record", Block.RecordID);
        SetField(L, "sid", Block.SID);
        lua_createtable(L, static_cast<int>(Block.History.size()), 0);
        lua_Integer Entry = 0;
        for (const std::u16string& Text : Block.History) {
            PushText(L, Text, {u"", u"history of a block", -1});
            lua_rawseti(L, -2, ++Entry);
        }
        lua_setfield(L, -2, "history");
        lua_rawseti(L, -2, ++Number);
    }
    return 1;
}

/// (table, record)
int Holder(lua_State* L) {
    const std::u16string Table = ToText(L, 1, {u"", u"zu.blocks.holder", 1});
    const std::u16string Record = ToText(L, 2, {u"", u"zu.blocks.holder", 2});
    if (const auto Block = Blocker().FindHolder(Table, Record)) {
        PushHolder(L, *Block);
    } else {
        lua_pushnil(L);
    }
    return 1;
}

/// (id)
int Release(lua_State* L) {
    const std::u16string User = Administrator(L, u"zu.blocks.release");
    const std::u16string ID = ToText(L, 1, {u"", u"zu.blocks.release", 1});
    lua_pushboolean(L, Blocker().ReleaseBlock(ID, User.empty() ? u"a script" : User) ? 1 : 0);
    return 1;
}

int ReadBlocks(lua_State* L) {
    const std::u16string Name = ToText(L, 2, {u"", u"name of a function", -1});
    if (SameText(Name, u"list")) {
        lua_pushcfunction(L, Border<List>);
    } else if (SameText(Name, u"holder")) {
        lua_pushcfunction(L, Border<Holder>);
    } else if (SameText(Name, u"release")) {
        lua_pushcfunction(L, Border<Release>);
    } else {
        throw EIObjectError(Format(u"zu.blocks has no function \"%s\"", {Name}));
    }
    return 1;
}

} // namespace

void PushBlocks(lua_State* L) {
    PushGuarded(L, "zu.blocks", Border<ReadBlocks>, nullptr);
}

} // namespace zutools::server
