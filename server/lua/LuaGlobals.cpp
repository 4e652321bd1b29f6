#include "server/lua/LuaGlobals.h"

#include "core/Lthdata.h"
#include "host/Exception.h"
#include "host/Format.h"
#include "host/Session.h"
#include "host/StringHelpers.h"
#include "host/ThreadContainer.h"
#include "host/WorkClock.h"
#include "platform/Text.h"
#include "platform/TextTools.h"
#include "server/lua/Escape.h"
#include "server/lua/LuaNames.h"
#include "server/lua/LuaState.h"
#include "server/lua/LuaValues.h"
#include "templates/Ztstmplcache.h"

#include <exception>
#include <memory>
#include <thread>
#include <vector>

namespace zutools::server {

namespace {

// The calls that led to the error at 1, beginning inside the session that it left, if any.
std::string TracebackOfError(lua_State* L) {
    const auto& State = StateOf(L);
    const bool LeftSession =
        lua_type(L, 1) == LUA_TSTRING && !State.SessionError.empty() && StringAt(L, 1) == State.SessionError;
    luaL_traceback(L, L, nullptr, 1);
    std::string Result = LeftSession ? State.SessionTraceback + '\n' : std::string();
    Result += StringAt(L, -1);
    lua_pop(L, 1);
    return Result;
}

// ---- zu.create

std::u16string NearClasses(std::u16string_view Name) {
    std::vector<std::u16string_view> Names;
    for (const TClassInfo* Class : ScriptRegistry().Classes()) {
        if (Class->Create != nullptr) Names.push_back(Class->Name);
    }
    if (std::u16string Near = IsItOne(Name, Names); !Near.empty()) return Near;
    std::u16string All;
    for (const std::u16string_view Each : Names)
        All.append(All.empty() ? u"; there are " : u", ").append(Each);
    return All.empty() ? std::u16string(u"; there is none to create") : All;
}

int Create(lua_State* L) {
    const std::u16string Name = ToText(L, 1, {u"", u"zu.create", 1});
    const TClassInfo* const Class = ScriptRegistry().FindClass(Name);
    if (Class == nullptr) throw EIObjectError(Format(u"unknown class \"%s\"%s", {Name, NearClasses(Name)}));
    if (Class->Create == nullptr) {
        throw EIObjectError(Format(u"objects of class %s cannot be made by scripts", {Class->Name}));
    }
    PushOwned(L, Class->Create());
    // What the object holds is out of the collector's sight: let it work as if so many kilobytes were taken.
    constexpr int Guess = 4;
    lua_gc(L, LUA_GCSTEP, Guess);
    return 1;
}

// ---- zu.cache

TZTSTemplateCache& Cache() {
    if (ZTSTemplateCache == nullptr)
        throw EIObjectError(u"there is no template cache: the package is not started");
    return *ZTSTemplateCache;
}

int ClearCache(lua_State*) {
    Cache().Clear();
    return 0;
}

int ReadCache(lua_State* L) {
    const std::u16string Name = ToText(L, 2, {u"", u"name of a property", -1});
    if (SameText(Name, u"Enabled")) {
        lua_pushboolean(L, Cache().GetEnabled() ? 1 : 0);
    } else if (SameText(Name, u"TemplateDirectory")) {
        PushText(L, Cache().GetTemplateDirectory(), {u"zu.cache", u"TemplateDirectory", 0});
    } else if (SameText(Name, u"Clear")) {
        lua_pushcfunction(L, Border<ClearCache>);
    } else {
        throw EIObjectError(Format(u"zu.cache has no property \"%s\"", {Name}));
    }
    return 1;
}

int WriteCache(lua_State* L) {
    const std::u16string Name = ToText(L, 2, {u"", u"name of a property", -1});
    const TKXVariant Value = ToVariant(L, 3, {u"zu.cache", Name, 0});
    if (StateOf(L).Options.Sandboxed) { // it would last for everybody
        throw EIObjectError(
            u"zu.cache is not for pages to change: the configuration names the folder of templates");
    }
    if (SameText(Name, u"Enabled")) {
        Cache().SetEnabled(Value.AsBoolean());
    } else if (SameText(Name, u"TemplateDirectory")) {
        Cache().SetTemplateDirectory(Value.AsString());
    } else {
        throw EIObjectError(Format(u"zu.cache has no property \"%s\" to write", {Name}));
    }
    return 0;
}

// ---- zu.as_session

// Message handler of a session's thread: leaves the error as it is.
int NoteSessionError(lua_State* L) {
    auto& State = StateOf(L);
    State.SessionTraceback = TracebackOfError(L);
    State.SessionError = lua_type(L, 1) == LUA_TSTRING ? StringAt(L, 1) : std::string_view();
    return 1;
}

// The work of a session's thread. The state is its own until it ends: the calling thread waits.
int RunSession(lua_State* L, int ArgCount, std::unique_ptr<TSession> Session) {
    ThreadObjects().Add(SessionObjectName, std::move(Session));
    const TScriptExecutorScope Executor(StateOf(L).Executor);
    const int Status = lua_pcall(L, ArgCount, LUA_MULTRET, 3);
    ReleaseCurrentThreadData();
    ThreadObjects().Clear();
    if (const auto& ThreadEnd = StateOf(L).Options.ThreadEnd) ThreadEnd();
    return Status;
}

int AsSession(lua_State* L) {
    auto Session = std::make_unique<TSession>();
    Session->SID = ToText(L, 1, {u"", u"zu.as_session", 1});
    Session->USR = ToText(L, 2, {u"", u"zu.as_session", 2});
    luaL_checktype(L, 3, LUA_TFUNCTION);
    if (const TSession* const Current = CurrentSession()) Session->LanguageID = Current->LanguageID;
    lua_pushcfunction(L, Border<NoteSessionError>);
    lua_insert(L, 3);
    const int ArgCount = lua_gettop(L) - 4;

    int Status = LUA_OK;
    std::exception_ptr Failure;
    std::thread([&, Clock = CurrentWorkClock()] {
        const TWorkClockScope Scope(Clock);
        try {
            Status = RunSession(L, ArgCount, std::move(Session));
        } catch (const std::exception&) {
            Failure = std::current_exception();
        }
    }).join();
    if (Failure) std::rethrow_exception(Failure);
    if (Status != LUA_OK) lua_error(L);
    return lua_gettop(L) - 3;
}

// ---- texts

int EscapeHtml(lua_State* L) {
    luaL_checkstring(L, 1);
    PushString(L, platform::HtmlEscape(StringAt(L, 1)));
    return 1;
}

int EscapeUrl(lua_State* L) {
    luaL_checkstring(L, 1);
    PushString(L, UrlEscape(StringAt(L, 1)));
    return 1;
}

int Lower(lua_State* L) {
    PushText(L, AnsiLowerCase(ToText(L, 1, {u"", u"zu.lower", 1})), {u"", u"zu.lower", 0});
    return 1;
}

int Upper(lua_State* L) {
    PushText(L, AnsiUpperCase(ToText(L, 1, {u"", u"zu.upper", 1})), {u"", u"zu.upper", 0});
    return 1;
}

} // namespace

void PushGuarded(lua_State* L, const char* Name, lua_CFunction Read, lua_CFunction Write) {
    lua_newuserdatauv(L, 0, 0);
    lua_createtable(L, 0, 4);
    lua_pushcfunction(L, Read);
    lua_setfield(L, -2, "__index");
    if (Write != nullptr) {
        lua_pushcfunction(L, Write);
        lua_setfield(L, -2, "__newindex");
    }
    lua_pushstring(L, Name);
    lua_setfield(L, -2, "__name");
    lua_pushboolean(L, 0);
    lua_setfield(L, -2, "__metatable");
    lua_setmetatable(L, -2);
}

void OpenZu(lua_State* L) {
    const luaL_Reg Functions[] = {{"create", Border<Create>},
                                  {"as_session", Border<AsSession>},
                                  {"html_escape", Border<EscapeHtml>},
                                  {"url_escape", Border<EscapeUrl>},
                                  {"lower", Border<Lower>},
                                  {"upper", Border<Upper>},
                                  {nullptr, nullptr}};
    luaL_newlib(L, Functions);
    PushGuarded(L, "template cache", Border<ReadCache>, Border<WriteCache>);
    lua_setfield(L, -2, "cache");
    PushBlocks(L);
    lua_setfield(L, -2, "blocks");
    PushPipeClient(L);
    lua_setfield(L, -2, "pipe_client");
    AddAutomation(L);
    AddPages(L);
    AddFormats(L);
    StateOf(L).Modules.AddLibrary(L, "zu");
}

int HandleMessage(lua_State* L) {
    auto& State = StateOf(L);
    if (lua_type(L, 1) != LUA_TSTRING) {
        if (luaL_callmeta(L, 1, "__tostring") == 0 || lua_type(L, -1) != LUA_TSTRING) {
            lua_pushfstring(L, "(error object is a %s value)", luaL_typename(L, 1));
        }
        lua_replace(L, 1);
        lua_settop(L, 1);
    }
    State.Traceback = TracebackOfError(L);
    return 1;
}

} // namespace zutools::server
