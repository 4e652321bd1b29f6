// Pages from tables: `zu.fill` puts a Lua table into a template, `zu.raw` marks what is HTML already,
// `zu.text` gives a text of the page's language. The prelude builds `zu.page` on them.

#include "host/Exception.h"
#include "host/Format.h"
#include "host/Session.h"
#include "platform/Text.h"
#include "platform/TextTools.h"
#include "server/lua/LuaGlobals.h"
#include "server/lua/LuaNames.h"
#include "server/lua/LuaState.h"
#include "server/lua/LuaValues.h"
#include "server/lua/SessionControl.h"
#include "templates/Ltemplt.h"

#include <utility>
#include <vector>

namespace zutools::server {

namespace {

constexpr const char* RawName = "zu.raw";

bool IsRaw(lua_State* L, int Index) {
    return lua_type(L, Index) == LUA_TUSERDATA && luaL_testudata(L, Index, RawName) != nullptr;
}

int Raw(lua_State* L) {
    if (IsRaw(L, 1)) {
        lua_settop(L, 1);
        return 1;
    }
    luaL_checkstring(L, 1);
    lua_newuserdatauv(L, 0, 1);
    lua_pushvalue(L, 1);
    lua_tostring(L, -1);
    lua_setiuservalue(L, -2, 1);
    luaL_setmetatable(L, RawName);
    return 1;
}

int RawText(lua_State* L) {
    lua_getiuservalue(L, 1, 1);
    return 1;
}

/// Both sides as HTML: raw as it is, anything else escaped.
int JoinRaw(lua_State* L) {
    std::string Html;
    for (int Index = 1; Index <= 2; ++Index) {
        if (IsRaw(L, Index)) {
            lua_getiuservalue(L, Index, 1);
            Html += StringAt(L, -1);
            lua_pop(L, 1);
        } else {
            luaL_checkstring(L, Index);
            Html += platform::HtmlEscape(StringAt(L, Index));
        }
    }
    lua_settop(L, 0);
    PushString(L, Html);
    return Raw(L);
}

/// What fills every template of a page that has such a tag.
struct TOwnValues {
    std::u16string FormToken;
    std::u16string Language;
};

TOwnValues OwnValues(lua_State* L) {
    const auto& Options = StateOf(L).Options;
    TOwnValues Own;
    TSessionControl* const Session = Options.Session ? Options.Session() : nullptr;
    if (Session != nullptr) Own.FormToken = Session->FormToken();
    if (Options.Services.ApplicationManager != nullptr)
        Own.Language = Options.Services.ApplicationManager->GetSessionLanguageID();
    return Own;
}

/// One table on its way into one template, or into one of its parts, row by row.
class TFilling {
public:
    TFilling(lua_State* L, TTemplate& Target, std::u16string_view Whole, const TOwnValues& Own)
        : FL(L)
        , FTarget(Target)
        , FWhole(Whole)
        , FOwn(Own)
        , FToken(Target.FindTag(u"FORM_TOKEN"))
        , FLanguage(Target.FindTag(u"LANGUAGE")) {}

    /// The table at `Table`; names that the template lacks are errors unless they are optional.
    void Fill(int Table, bool Optional) {
        if (FToken) FTarget.SetTagValue(FToken, FOwn.FormToken);
        if (FLanguage) FTarget.SetTagValue(FLanguage, FOwn.Language);
        luaL_checkstack(FL, 8, "tables in tables");
        lua_pushnil(FL);
        while (lua_next(FL, Table) != 0) {
            if (lua_type(FL, -2) != LUA_TSTRING) {
                throw EIObjectError(Format(u"%s: names are texts, one is a %s",
                                           {Place(), platform::Utf8ToUtf16(luaL_typename(FL, -2))}));
            }
            FillOne(NameAt(-2), lua_gettop(FL), Optional);
            lua_pop(FL, 1);
        }
    }

private:
    struct TName {
        const char* Key; // Lua keeps one copy of a short text: its address tells it
        std::u16string Text;
        TTagHandle Tag;
    };

    TName& NameAt(int Index) {
        const char* const Key = lua_tostring(FL, Index);
        for (TName& Each : FNames)
            if (Each.Key == Key) return Each;
        std::u16string Text = ToText(FL, Index, {u"", u"name of a value", -1});
        const TTagHandle Tag = FTarget.FindTag(Text);
        return FNames.emplace_back(TName{Key, std::move(Text), Tag});
    }

    void FillOne(const TName& Name, int Value, bool Optional) {
        switch (lua_type(FL, Value)) {
        case LUA_TSTRING:
        case LUA_TNUMBER:
            if (!Name.Tag) return Unknown(Name.Text, Optional);
            return Set(Name.Tag, Escaped(Value));
        case LUA_TBOOLEAN: {
            TTemplate* const Part = PartOf(Name, Optional);
            if (Part == nullptr || lua_toboolean(FL, Value) == 0) return;
            Part->Clear();
            lua_newtable(FL);
            TFilling(FL, *Part, FWhole, FOwn).Fill(lua_gettop(FL), false);
            lua_pop(FL, 1);
            return Set(Name.Tag, Part->BuildTemplate());
        }
        case LUA_TTABLE:
            return FillTable(Name, Value, Optional);
        case LUA_TLIGHTUSERDATA: // db.null
            if (!Name.Tag) Unknown(Name.Text, Optional);
            return;
        default:
            break;
        }
        if (!IsRaw(FL, Value)) {
            throw EIObjectError(
                Format(u"%s: the value of %s is a %s",
                       {Place(), Name.Text, platform::Utf8ToUtf16(luaL_typename(FL, Value))}));
        }
        if (!Name.Tag) return Unknown(Name.Text, Optional);
        lua_getiuservalue(FL, Value, 1);
        Set(Name.Tag, ToText(FL, -1, {FWhole, Name.Text, 0}));
        lua_pop(FL, 1);
    }

    void FillTable(const TName& Name, int Table, bool Optional) {
        TTemplate* const Part = PartOf(Name, Optional);
        if (Part == nullptr) return;
        std::u16string Copies;
        TFilling Filling(FL, *Part, FWhole, FOwn);
        const auto Rows = static_cast<lua_Integer>(lua_rawlen(FL, Table));
        if (Rows == 0) {
            lua_pushnil(FL);
            if (lua_next(FL, Table) == 0) return Set(Name.Tag, std::u16string_view()); // an empty list
            lua_pop(FL, 2);
            Part->Clear();
            Filling.Fill(Table, Optional);
            Part->AppendTemplate(Copies);
        }
        for (lua_Integer Row = 1; Row <= Rows; ++Row) {
            if (lua_rawgeti(FL, Table, Row) != LUA_TTABLE) {
                throw EIObjectError(Format(u"%s: row %d of %s is a %s, not a table",
                                           {Place(), static_cast<int>(Row), Name.Text,
                                            platform::Utf8ToUtf16(luaL_typename(FL, -1))}));
            }
            Part->Clear();
            Filling.Fill(lua_gettop(FL), Optional);
            Part->AppendTemplate(Copies);
            lua_pop(FL, 1);
        }
        Set(Name.Tag, std::move(Copies));
    }

    template <class TText>
    void Set(TTagHandle Tag, TText&& Text) {
        FTarget.SetTagValue(Tag, Text);
    }

    std::u16string Escaped(int Value) {
        if (lua_type(FL, Value) == LUA_TNUMBER) {
            lua_pushvalue(FL, Value); // the number itself must stay one: lua_next goes on from it
            const auto Text = platform::Utf8ToUtf16(StringAt(FL, -1));
            lua_pop(FL, 1);
            return Text;
        }
        const std::string_view Text = StringAt(FL, Value);
        const auto Result = platform::Utf8ToUtf16Strict(platform::HtmlEscape(Text));
        if (Result.Error) (void)ToText(FL, Value, {FWhole, u"value", 0}); // tells the byte
        return Result.Text;
    }

    /// The part that a table or a boolean is for; its copies go to the tag of its name.
    TTemplate* PartOf(const TName& Name, bool Optional) {
        TTemplate* const Part = FTarget.GetPartByName(Name.Text);
        if (Part == nullptr) {
            Unknown(Name.Text, Optional);
        } else if (!Name.Tag) {
            if (Name.Text == u"TITLE") return nullptr; // of the page, for its frame
            throw EIObjectError(Format(u"%s: the part %s has no tag [[%s]] where it would go",
                                       {Place(), Name.Text, Name.Text}));
        }
        return Part;
    }

    void Unknown(std::u16string_view Name, bool Optional) {
        if (Optional) return;
        std::vector<std::u16string> Known;
        for (int Index = 0; Index < FTarget.GetNumTags(); ++Index) Known.push_back(FTarget.GetTagName(Index));
        for (const TTemplate* Part : FTarget.LParts()) Known.push_back(Part->PartName());
        const std::vector<std::u16string_view> Views(Known.begin(), Known.end());
        const bool IsTag = static_cast<bool>(FTarget.FindTag(Name));
        throw EIObjectError(Format(u"%s has no %s \"%s\"%s",
                                   {Place(), IsTag ? u"part" : u"tag", Name, IsItOne(Name, Views)}));
    }

    std::u16string Place() const {
        const std::u16string& Part = FTarget.PartName();
        return Part.empty() ? FWhole : u"the part " + Part + u" of " + FWhole;
    }

    lua_State* const FL;
    TTemplate& FTarget;
    const std::u16string FWhole;
    const TOwnValues& FOwn;
    const TTagHandle FToken, FLanguage;
    std::vector<TName> FNames;
};

/// What stands in the page's title: a tag TITLE, or a part of that name.
std::u16string TitleOf(lua_State* L, TTemplate& Page, std::u16string_view Name, const TOwnValues& Own) {
    if (const TTagHandle Tag = Page.FindTag(u"TITLE")) return Page.GetTagValue(u"TITLE");
    TTemplate* const Part = Page.GetPartByName(u"TITLE");
    if (Part == nullptr) return {};
    if (lua_getfield(L, 2, "TITLE") == LUA_TTABLE) {
        Part->Clear();
        TFilling(L, *Part, Name, Own).Fill(lua_gettop(L), false);
    }
    lua_pop(L, 1);
    return Part->BuildTemplate();
}

/// (name, values [, optional values]): the text, and the title in it, as HTML.
int Fill(lua_State* L) {
    const std::u16string Name = ToText(L, 1, {u"", u"zu.fill", 1});
    if (lua_isnoneornil(L, 2)) {
        lua_settop(L, 1);
        lua_newtable(L);
    }
    luaL_checktype(L, 2, LUA_TTABLE);
    if (!lua_isnoneornil(L, 3)) luaL_checktype(L, 3, LUA_TTABLE);
    TTemplate Page;
    Page.SetTemplateName(Name);
    Page.SetRaiseException(false);
    if (!Page.LastError().empty()) throw EIObjectError(Page.LastError());
    if (std::u16string Fault = Page.Fault(); !Fault.empty()) throw EIObjectError(Fault);
    const TOwnValues Own = OwnValues(L);
    TFilling Filling(L, Page, Name, Own);
    if (lua_istable(L, 3)) Filling.Fill(3, true);
    Filling.Fill(2, false);
    const std::u16string Title = TitleOf(L, Page, Name, Own);
    PushText(L, Page.BuildTemplate(), {u"", u"zu.fill", 0});
    PushText(L, Title, {u"", u"zu.fill", 0});
    return 2;
}

/// The text with [[NAME]] replaced by the values of the table at 2.
std::u16string WithValues(lua_State* L, std::u16string_view Text) {
    std::u16string Result;
    for (;;) {
        const std::size_t Open = Text.find(u"[[");
        const std::size_t Close = Open == Text.npos ? Text.npos : Text.find(u"]]", Open + 2);
        if (Close == Text.npos) return Result.append(Text);
        Result += Text.substr(0, Open);
        PushText(L, Text.substr(Open + 2, Close - Open - 2), {u"", u"zu.text", 0});
        lua_rawget(L, 2);
        if (lua_isnil(L, -1)) {
            Result += Text.substr(Open, Close + 2 - Open);
        } else {
            std::size_t Length = 0;
            const char* const Value = luaL_tolstring(L, -1, &Length);
            Result += platform::Utf8ToUtf16({Value, Length});
            lua_pop(L, 1);
        }
        lua_pop(L, 1);
        Text.remove_prefix(Close + 2);
    }
}

/// (key [, values [, language]])
int Text(lua_State* L) {
    const auto& Services = StateOf(L).Options.Services;
    const std::u16string Key = ToText(L, 1, {u"", u"zu.text", 1});
    const std::u16string Language =
        lua_isnoneornil(L, 3) ? OwnValues(L).Language : ToText(L, 3, {u"", u"zu.text", 3});
    std::u16string Found = Services.Localizer != nullptr ? Services.Localizer->GetString(Key, Language) : Key;
    if (lua_istable(L, 2)) Found = WithValues(L, Found);
    PushText(L, Found, {u"", u"zu.text", 0});
    return 1;
}

int Language(lua_State* L) {
    PushText(L, OwnValues(L).Language, {u"", u"zu.language", 0});
    return 1;
}

int Log(lua_State* L) {
    static const char* const Levels[] = {"debug", "info", "warning", "error", nullptr};
    const auto Level = static_cast<TLogLevel>(luaL_checkoption(L, 1, nullptr, Levels));
    StateOf(L).Options.Services.Logger->Log(Level, ToText(L, 2, {u"", u"zu.log", 2}));
    return 0;
}

// ---- methods of `response` whose values are no text

TByteAnswer& AnswerAt(lua_State* L) {
    auto* const Answer = dynamic_cast<TByteAnswer*>(ObjectAt(L, 1));
    if (Answer == nullptr) throw EIObjectError(u"there is no response to write to");
    return *Answer;
}

/// (bytes [, name [, type]])
int SendFile(lua_State* L) {
    luaL_checkstring(L, 2);
    const std::u16string Name = lua_isnoneornil(L, 3) ? u"" : ToText(L, 3, {u"", u"response:File", 2});
    const std::u16string Type =
        lua_isnoneornil(L, 4) ? u"application/octet-stream" : ToText(L, 4, {u"", u"response:File", 3});
    AnswerAt(L).SendBytes(std::string(StringAt(L, 2)), Name, Type);
    return 0;
}

/// (value)
int SendJson(lua_State* L) {
    luaL_checkany(L, 2);
    AnswerAt(L).SendBytes(JsonText(L, 2), {}, u"application/json");
    return 0;
}

} // namespace

const TClassInfo& TTextList::StaticClass() {
    static constexpr TClassInfo Info{.Name = u"TTextList", .Parent = &TObject::StaticClass};
    return Info;
}

void AddMethods(lua_State* L) {
    auto& Objects = StateOf(L).Objects;
    if (const TClassInfo* const Response = ScriptRegistry().FindClass(u"TWebResponse")) {
        lua_pushcfunction(L, Border<SendFile>);
        Objects.SetMethod(L, *Response, "File");
        lua_pushcfunction(L, Border<SendJson>);
        Objects.SetMethod(L, *Response, "Json");
    }
    if (const TClassInfo* const Blocker = ScriptRegistry().FindClass(u"TZURecordBlockerInterface")) {
        // GetLockRecord begins a record for an empty ID, and so for a parameter that got lost.
        if (luaL_loadstring(L, "local self, name = ... "
                               "if type(name) ~= 'string' or name == '' then "
                               "error('RecordBlocker:NewRecord takes the name of a table', 2) end "
                               "return self:GetLockRecord(name, '')") != LUA_OK)
            lua_error(L);
        Objects.SetMethod(L, *Blocker, "NewRecord");
    }
}

void AddPages(lua_State* L) {
    luaL_newmetatable(L, RawName);
    lua_pushcfunction(L, Border<RawText>);
    lua_setfield(L, -2, "__tostring");
    lua_pushcfunction(L, Border<JoinRaw>);
    lua_setfield(L, -2, "__concat");
    lua_pushboolean(L, 0);
    lua_setfield(L, -2, "__metatable");
    lua_pop(L, 1);
    const luaL_Reg Functions[] = {{"raw", Border<Raw>},   {"fill", Border<Fill>},
                                  {"text", Border<Text>}, {"language", Border<Language>},
                                  {"log", Border<Log>},   {nullptr, nullptr}};
    luaL_setfuncs(L, Functions, 0);
}

} // namespace zutools::server
