// `zu.pipe_client`: scripts ask helper processes over named pipes.

#include "host/Exception.h"
#include "host/Format.h"
#include "host/WorkClock.h"
#include "pipes/Namepipe.h"
#include "platform/Text.h"
#include "server/lua/LuaGlobals.h"
#include "server/lua/LuaState.h"
#include "server/lua/LuaValues.h"

#include <algorithm>
#include <limits>
#include <new>

namespace zutools::server {

namespace {

constexpr const char* ClassName = "pipe client";

// What comes from outside has a clock: a page must not wait for ever because nobody told it how long.
constexpr std::int32_t DefaultAnswerTimeout = 30'000;

TNamedPipeClient& ClientAt(lua_State* L, int Index) {
    void* const Data = luaL_checkudata(L, Index, ClassName);
    return *static_cast<TNamedPipeClient*>(Data);
}

/// An answer is waited for no longer than the work that wants it may take.
void KeepTime(TNamedPipeClient& Client) {
    const TWorkClock* const Clock = CurrentWorkClock();
    if (Clock == nullptr || Clock->Deadline == std::chrono::steady_clock::time_point::max()) return;
    const auto Left = std::chrono::duration_cast<std::chrono::milliseconds>(Clock->Deadline -
                                                                            std::chrono::steady_clock::now());
    const auto Most = static_cast<std::int32_t>(
        std::clamp<std::int64_t>(Left.count(), 1, std::numeric_limits<std::int32_t>::max()));
    constexpr std::int32_t Slack = 1000; // a change connects anew
    const std::int32_t Set = Client.AnswerWaitTimeout();
    if (Set == 0 || Set - Slack > Most) Client.SetAnswerWaitTimeout(Most);
    Client.Timeout = std::min(Client.Timeout, Most);
}

/// (client, text)
int Request(lua_State* L) {
    TNamedPipeClient& Client = ClientAt(L, 1);
    luaL_checktype(L, 2, LUA_TSTRING);
    KeepTime(Client);
    if (!Client.Connected()) Client.Establish();
    std::string Answer;
    Client.Request(std::string(StringAt(L, 2)), Answer);
    PushString(L, Answer);
    return 1;
}

/// (client)
int Close(lua_State* L) {
    ClientAt(L, 1).Close();
    return 0;
}

int Collect(lua_State* L) {
    ClientAt(L, 1).~TNamedPipeClient();
    return 0;
}

int Read(lua_State* L) {
    const TNamedPipeClient& Client = ClientAt(L, 1);
    const std::u16string Name = ToText(L, 2, {u"", u"name of a member", -1});
    if (Name == u"request") {
        lua_pushcfunction(L, Border<Request>);
    } else if (Name == u"close") {
        lua_pushcfunction(L, Border<Close>);
    } else if (Name == u"connected") {
        lua_pushboolean(L, Client.Connected() ? 1 : 0);
    } else {
        throw EIObjectError(
            Format(u"a pipe client has no \"%s\"; there are request, connected and close", {Name}));
    }
    return 1;
}

int RefuseWrite(lua_State*) {
    throw EIObjectError(u"the settings of a pipe client are given when it is made, to zu.pipe_client");
}

std::int32_t Number(lua_State* L, int Index, std::u16string_view Name, lua_Integer Least) {
    int IsInteger = 0;
    const lua_Integer Value = lua_tointegerx(L, Index, &IsInteger);
    if (IsInteger == 0 || lua_type(L, Index) != LUA_TNUMBER || Value < Least ||
        Value > std::numeric_limits<std::int32_t>::max()) {
        throw EIObjectError(Format(u"zu.pipe_client: %s must be a whole number from %d to 2147483647",
                                   {Name, static_cast<long long>(Least)}));
    }
    return static_cast<std::int32_t>(Value);
}

void Set(lua_State* L, TNamedPipeClient& Client, std::u16string_view Name) {
    if (Name == u"name") {
        Client.PipeName = ToText(L, -1, {u"zu.pipe_client", u"name", 0});
    } else if (Name == u"timeout") {
        Client.Timeout = Number(L, -1, Name, 0);
    } else if (Name == u"answer_timeout") {
        Client.SetAnswerWaitTimeout(Number(L, -1, Name, 0));
    } else if (Name == u"buffer") {
        constexpr lua_Integer Least = 16;
        Client.SetBuffSize(Number(L, -1, Name, Least));
    } else {
        throw EIObjectError(Format(u"zu.pipe_client has no setting \"%s\"; there are name, timeout, "
                                   u"answer_timeout and buffer",
                                   {Name}));
    }
}

/// ({name = , timeout = , answer_timeout = , buffer = })
int New(lua_State* L) {
    luaL_checktype(L, 1, LUA_TTABLE);
    lua_settop(L, 1);
    auto* const Client = new (lua_newuserdatauv(L, sizeof(TNamedPipeClient), 0)) TNamedPipeClient;
    luaL_setmetatable(L, ClassName); // from here on the collector ends it
    Client->SetAnswerWaitTimeout(DefaultAnswerTimeout);
    lua_pushnil(L);
    while (lua_next(L, 1) != 0) {
        Set(L, *Client, ToText(L, -2, {u"", u"name of a setting", -1}));
        lua_pop(L, 1);
    }
    if (Client->PipeName.empty()) throw EIObjectError(u"zu.pipe_client: the pipe's name is missing");
    return 1;
}

} // namespace

void PushPipeClient(lua_State* L) {
    luaL_newmetatable(L, ClassName);
    lua_pushcfunction(L, Border<Read>);
    lua_setfield(L, -2, "__index");
    lua_pushcfunction(L, Border<RefuseWrite>);
    lua_setfield(L, -2, "__newindex");
    lua_pushcfunction(L, Collect);
    lua_setfield(L, -2, "__gc");
    lua_pushboolean(L, 0);
    lua_setfield(L, -2, "__metatable");
    lua_pop(L, 1);
    lua_pushcfunction(L, Border<New>);
}

} // namespace zutools::server
