// `zu.html`, `zu.com` and `zu.automation`: documents and automation objects.

#include "host/Exception.h"
#include "host/Format.h"
#include "host/Strings.h"
#include "platform/Html.h"
#include "platform/Text.h"
#include "scripting/Recording.h"
#include "scripting/Zucomole.h"
#include "server/lua/LuaAutomation.h"
#include "server/lua/LuaGlobals.h"
#include "server/lua/LuaLibraryNames.h"
#include "server/lua/LuaState.h"

#include <limits>

namespace zutools::server {

using platform::TAutomationPtr;
using platform::TAutomationValue;

namespace {

TAutomationPtr ObjectArgument(lua_State* L, std::u16string_view Function) {
    return AutomationAt(L, 1, {u"", Function, 1});
}

std::u16string TextArgument(lua_State* L, int Index, std::u16string_view Function) {
    return ToText(L, Index, {u"", Function, Index});
}

int IntegerArgument(lua_State* L, int Index, std::u16string_view Function, int Default) {
    if (lua_isnoneornil(L, Index)) return Default;
    int IsInteger = 0;
    const lua_Integer Value = lua_tointegerx(L, Index, &IsInteger);
    if (IsInteger == 0 || lua_type(L, Index) != LUA_TNUMBER || Value < std::numeric_limits<int>::min() ||
        Value > std::numeric_limits<int>::max())
        throw EIObjectError(Format(u"argument %d of %s: a whole number is wanted", {Index, Function}));
    return static_cast<int>(Value);
}

// What reaches files or starts programs is not for the pages of a web host.
void RefuseInModules(lua_State* L, std::u16string_view Function) {
    if (StateOf(L).Options.Sandboxed)
        throw EIObjectError(Format(u"%s is not there for web modules", {Function}));
}

/// (text)
int Html(lua_State* L) {
    const std::u16string Text = TextArgument(L, 1, u"zu.html");
    platform::THtmlLimits Limits;
    if (StateOf(L).Options.Sandboxed) { // a page must not hold up or fill the host
        Limits.Bytes = 1024 * 1024;
        Limits.Memory = 64 * 1024 * 1024;
        Limits.Milliseconds = 1000;
    }
    PushAutomation(L, platform::ParseHtml(Text, Limits));
    // The tree is out of the collector's sight: let it work as if so many kilobytes were taken.
    constexpr std::size_t Share = 64;
    lua_gc(L, LUA_GCSTEP, static_cast<int>(Text.size() / Share) + 1);
    return 1;
}

/// (progid)
int Com(lua_State* L) {
    const std::u16string ProgramId = TextArgument(L, 1, u"zu.com");
    RefuseInModules(L, u"zu.com");
    PushAutomation(L, platform::CreateAutomationObject(ProgramId));
    return 1;
}

/// (object, name [, raise])
int Get(lua_State* L) {
    constexpr std::u16string_view Function = u"zu.automation.get";
    const TAutomationPtr Object = ObjectArgument(L, Function);
    const std::u16string Name = TextArgument(L, 2, Function);
    PushAutomationValue(L, GetPropertyValue(Object, Name, lua_toboolean(L, 3) != 0), {Function, Name, 0});
    return 1;
}

/// (object, name, ...)
int Exec(lua_State* L) {
    constexpr std::u16string_view Function = u"zu.automation.exec";
    const TAutomationPtr Object = ObjectArgument(L, Function);
    const std::u16string Name = TextArgument(L, 2, Function);
    std::vector<TAutomationValue> Args;
    for (int I = 3; I <= lua_gettop(L); ++I) Args.push_back(AutomationValueAt(L, I, {u"", Function, I}));
    PushAutomationValue(L, ExecMethod(Object, Name, Args), {Function, Name, 0});
    return 1;
}

/// (object, text, open, close)
int FormatText(lua_State* L) {
    constexpr std::u16string_view Function = u"zu.automation.format";
    const TAutomationPtr Object = ObjectArgument(L, Function);
    const std::u16string Text = TextArgument(L, 2, Function), Open = TextArgument(L, 3, Function),
                         Close = TextArgument(L, 4, Function);
    PushText(L, FormatInterfacePropertyString(Object, Text, Open, Close), {u"", Function, 0});
    return 1;
}

/// (object [, selector])
int Members(lua_State* L) {
    constexpr std::u16string_view Function = u"zu.automation.members";
    TStringList List;
    GetInterfaceProperties(ObjectArgument(L, Function), List, IntegerArgument(L, 2, Function, 0));
    lua_createtable(L, List.Count(), 0);
    for (int I = 0; I < List.Count(); ++I) {
        PushText(L, List.Strings(I), {u"", Function, 0});
        lua_rawseti(L, -2, I + 1);
    }
    return 1;
}

/// (document, name, property)
int Element(lua_State* L) {
    constexpr std::u16string_view Function = u"zu.automation.element";
    const TAutomationPtr Document = ObjectArgument(L, Function);
    const std::u16string Name = TextArgument(L, 2, Function), Property = TextArgument(L, 3, Function);
    PushText(L, GetElementPropertyValue(Document, Name, Property), {Function, Property, 0});
    return 1;
}

/// (document, name, property, position [, raise])
int EnabledElement(lua_State* L) {
    constexpr std::u16string_view Function = u"zu.automation.enabled_element";
    const TAutomationPtr Document = ObjectArgument(L, Function);
    const std::u16string Name = TextArgument(L, 2, Function), Property = TextArgument(L, 3, Function);
    int Position = IntegerArgument(L, 4, Function, 0);
    PushText(L, GetEnabledElementPropertyValue(Document, Name, Property, Position, lua_toboolean(L, 5) != 0),
             {Function, Property, 0});
    lua_pushinteger(L, Position);
    return 2;
}

/// (document, form)
int FormEntries(lua_State* L) {
    constexpr std::u16string_view Function = u"zu.automation.form_entries";
    const TAutomationPtr Document = ObjectArgument(L, Function);
    platform::THtmlForm Form = 0;
    if (lua_type(L, 2) == LUA_TSTRING) {
        Form = TextArgument(L, 2, Function);
    } else {
        Form = IntegerArgument(L, 2, Function, 0);
    }
    const auto Entries = SuccessfulFormEntries(Document, Form);
    if (!Entries) {
        const auto* const Name = std::get_if<std::u16string>(&Form);
        throw EIObjectError(Name != nullptr ? Format(u"the document has no form \"%s\"", {*Name})
                                            : Format(u"the document has no form %d", {std::get<int>(Form)}));
    }
    const TValuePlace Place{u"", Function, 0};
    lua_createtable(L, static_cast<int>(Entries->size()), 0);
    for (std::size_t I = 0; I < Entries->size(); ++I) {
        lua_createtable(L, 0, 2);
        PushText(L, (*Entries)[I].Name, Place);
        lua_setfield(L, -2, "name");
        PushText(L, (*Entries)[I].Value, Place);
        lua_setfield(L, -2, "value");
        lua_rawseti(L, -2, static_cast<lua_Integer>(I) + 1);
    }
    return 1;
}

/// (table)
int Object(lua_State* L) {
    luaL_checktype(L, 1, LUA_TTABLE);
    PushTableObject(L, 1);
    return 1;
}

/// (object, file)
int Record(lua_State* L) {
    constexpr std::u16string_view Function = u"zu.automation.record";
    RefuseInModules(L, Function);
    const TAutomationPtr Target = ObjectArgument(L, Function);
    if (Target == nullptr)
        throw EIObjectError(u"argument 1 of zu.automation.record: an automation object is wanted");
    PushAutomation(L, RecordAutomation(Target, TextArgument(L, 2, Function)));
    return 1;
}

// ---- replay

constexpr const char* ReplayName = "automation replay";

int CollectReplay(lua_State* L) {
    static_cast<TAutomationReplay*>(lua_touserdata(L, 1))->~TAutomationReplay();
    return 0;
}

/// The calls that have not come yet; the recording is the upvalue.
int Remaining(lua_State* L) {
    const auto& Replay = *static_cast<TAutomationReplay*>(lua_touserdata(L, lua_upvalueindex(1)));
    const std::vector<std::u16string> Lines = Replay.Remaining();
    lua_createtable(L, static_cast<int>(Lines.size()), 0);
    for (std::size_t I = 0; I < Lines.size(); ++I) {
        PushText(L, Lines[I], {u"", u"a recorded call", -1});
        lua_rawseti(L, -2, static_cast<lua_Integer>(I) + 1);
    }
    return 1;
}

/// (file)
int Replay(lua_State* L) {
    constexpr std::u16string_view Function = u"zu.automation.replay";
    RefuseInModules(L, Function);
    const std::u16string File = TextArgument(L, 1, Function);
    auto* const Made = new (lua_newuserdatauv(L, sizeof(TAutomationReplay), 0)) TAutomationReplay(File);
    luaL_setmetatable(L, ReplayName);
    PushAutomation(L, Made->Object());
    lua_insert(L, -2);
    lua_pushcclosure(L, Border<Remaining>, 1);
    return 2;
}

struct TFunction {
    TLibraryName Name;
    lua_CFunction Function;
    const char* Field;
};

constexpr TFunction ZuFunctions[] = {
    {{u"zu.html", u"text", u"a document, to use with the names below"}, Border<Html>, "html"},
    {{u"zu.com", u"progid", u"an automation object of the system (Windows; elsewhere an error that says so)"},
     Border<Com>,
     "com"},
};

constexpr TFunction AutomationFunctions[] = {
    {{u"zu.automation.get", u"object, name [, raise]",
      u"the value of a property; nil for an unknown name, an error with raise"},
     Border<Get>,
     "get"},
    {{u"zu.automation.exec", u"object, name, ...",
      u"calls a method; the arguments in the object's order, the last one first"},
     Border<Exec>,
     "exec"},
    {{u"zu.automation.format", u"object, text, open, close",
      u"the text with the names between the delimiters replaced by the object's properties"},
     Border<FormatText>,
     "format"},
    {{u"zu.automation.members", u"object [, selector]",
      u"the type's name and a line name=id for each member; selector 1 variables only, 2 functions only"},
     Border<Members>,
     "members"},
    {{u"zu.automation.element", u"document, name, property",
      u"a property of the first element with that name or id; empty without one"},
     Border<Element>,
     "element"},
    {{u"zu.automation.enabled_element", u"document, name, property, position [, raise]",
      u"the property of the next element that a form would send, and the position to go on from"},
     Border<EnabledElement>,
     "enabled_element"},
    {{u"zu.automation.form_entries", u"document, form",
      u"what a browser would send: a list of {name=, value=}; the form is a name, an id or a place from 0"},
     Border<FormEntries>,
     "form_entries"},
    {{u"zu.automation.object", u"table", u"a table as an automation object, its functions as methods"},
     Border<Object>,
     "object"},
    {{u"zu.automation.record", u"object, file", u"a stand-in that writes every call and its answer"},
     Border<Record>,
     "record"},
    {{u"zu.automation.replay", u"file",
      u"an object that answers from a recording, and a function that lists the calls that have not come"},
     Border<Replay>,
     "replay"},
};

int ReadAutomation(lua_State* L) {
    const std::u16string Name = TextArgument(L, 2, u"zu.automation");
    for (const TFunction& Each : AutomationFunctions) {
        if (Name != platform::Utf8ToUtf16(Each.Field)) continue;
        lua_pushcfunction(L, Each.Function);
        return 1;
    }
    throw EIObjectError(Format(u"there is no zu.automation.%s", {Name}));
}

} // namespace

std::vector<TLibraryName> AutomationNames() {
    std::vector<TLibraryName> Names;
    for (const TFunction& Each : ZuFunctions) Names.push_back(Each.Name);
    for (const TFunction& Each : AutomationFunctions) Names.push_back(Each.Name);
    return Names;
}

void AddAutomation(lua_State* L) {
    OpenAutomationObjects(L);
    luaL_newmetatable(L, ReplayName);
    lua_pushcfunction(L, CollectReplay);
    lua_setfield(L, -2, "__gc");
    lua_pop(L, 1);
    for (const TFunction& Each : ZuFunctions) {
        lua_pushcfunction(L, Each.Function);
        lua_setfield(L, -2, Each.Field);
    }
    PushGuarded(L, "automation", Border<ReadAutomation>, nullptr);
    lua_setfield(L, -2, "automation");
}

} // namespace zutools::server
