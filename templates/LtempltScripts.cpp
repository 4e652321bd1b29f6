// What scripts see of a template: its published properties and its registered names.

#include "core/Lparams.h"
#include "host/Format.h"
#include "host/StringHelpers.h"
#include "templates/Ltemplt.h"

#include <algorithm>

namespace zutools {

namespace {

TTemplate& Self(TObject& Target) {
    return static_cast<TTemplate&>(Target);
}

const TTemplate& Self(const TObject& Target) {
    return static_cast<const TTemplate&>(Target);
}

TTemplate* FindPart(TObject& Target, const TKXVariant& NameOrIndex) {
    return NameOrIndex.IsString() ? Self(Target).GetPartByName(NameOrIndex.AsString())
                                  : Self(Target).GetPart(NameOrIndex.AsInteger());
}

std::u16string TagNameOf(const TObject& Target, const TKXVariant& NameOrIndex) {
    return NameOrIndex.IsString() ? NameOrIndex.AsString() : Self(Target).GetTagName(NameOrIndex.AsInteger());
}

TKXVariant PropertyFunc_GetTagName(TObject& Target, TScriptArgs Args) {
    return Self(Target).GetTagName(Args[0].AsInteger());
}

TKXVariant PropertyFunc_GetTagIndex(TObject& Target, TScriptArgs Args) {
    return Self(Target).GetTagIndex(Args[0].AsString());
}

TKXVariant PropertyFunc_GetTag(TObject& Target, TScriptArgs Args) {
    return Self(Target).GetTagValue(TagNameOf(Target, Args[0]));
}

void PropertyFunc_SetTag(TObject& Target, TScriptArgs Index, const TKXVariant& Value) {
    constexpr auto Text = TVariantKind::vkString; // most are, and need no copies
    if (Index[0].Kind() == Text && Value.Kind() == Text)
        return Self(Target).SetTagValue(Index[0].StringView(), Value.StringView());
    Self(Target).SetTagValue(TagNameOf(Target, Index[0]), Value.AsString());
}

TKXVariant PropertyFunc_GetPart(TObject& Target, TScriptArgs Args) {
    return PointerAsLVar(FindPart(Target, Args[0]));
}

TKXVariant PropertyFunc_GetBody(TObject& Target, TScriptArgs /*Args*/) {
    return Self(Target).FullBody();
}

void PropertyFunc_SetBody(TObject& Target, TScriptArgs /*Index*/, const TKXVariant& Value) {
    Self(Target).SetBody(Value.AsString());
}

TKXVariant PropertyFunc_GetName(TObject& Target, TScriptArgs /*Args*/) {
    return Self(Target).Name();
}

void PropertyFunc_SetName(TObject& Target, TScriptArgs /*Index*/, const TKXVariant& Value) {
    // A copy of the cache comes without errors and with a style of errors of its own. Scripts see no
    // difference: the style that they chose stays, and a text that is cut short is an error, from the cache
    // or not.
    TTemplate& Template = Self(Target);
    const bool Raise = Template.RaiseException();
    const std::u16string Name = Value.AsString();
    if (SameText(Name, Template.Name())) return;
    Template.SetRaiseException(false);
    Template.SetLastError({});
    try {
        Template.SetTemplateName(Name);
    } catch (...) {
        Template.SetRaiseException(Raise);
        throw;
    }
    Template.SetRaiseException(Raise);
    std::u16string Error = Template.LastError();
    if (Error.empty()) Error = Template.Fault();
    if (!Error.empty()) Template.HandleError(Error);
}

TKXVariant F_PartExist(TObject& Target, TScriptArgs Args) {
    try {
        return FindPart(Target, Args[0]) != nullptr;
    } catch (const std::exception&) {
        return false; // a script that asks does not want to be told by an error
    }
}

TKXVariant F_BuildTemplate(TObject& Target, TScriptArgs /*Args*/) {
    return Self(Target).BuildTemplate();
}

TKXVariant F_ReCreateTemplate(TObject& Target, TScriptArgs /*Args*/) {
    return Self(Target).ReBuildTemplate();
}

void P_FillTemplate(TObject& Target, TScriptArgs Args) {
    TObject* const Object = Args[0].AsObject();
    if (Object == nullptr) return;
    auto* const Params = ObjectCast<TParamsList>(Object);
    if (Params == nullptr) {
        throw EIObjectError(Format(u"FillTemplate takes a TParamsList, not a %s.", {Object->ClassName()}));
    }
    Self(Target).FillTemplatePL(*Params);
}

void P_ReadTemplate(TObject& Target, TScriptArgs /*Args*/) {
    // Kept on purpose: what is parsed again is the text without tags and parts, not the file.
    TTemplate& Template = Self(Target);
    std::u16string Text = Template.Body();
    Template.ClearTagsList();
    Template.ClearParts();
    Template.ComposeTemplate(1, std::move(Text), {});
}

void P_Clear(TObject& Target, TScriptArgs /*Args*/) {
    Self(Target).Clear();
}

constexpr TPropInfo Properties[] = {
    {u"TagsCount", TTypeKind::tkInteger, u"Integer",
     [](const TObject& Target) { return TKXVariant(Self(Target).GetNumTags()); }, nullptr,
     u"how many different tags there are"},
    {u"PartsCount", TTypeKind::tkInteger, u"Integer",
     [](const TObject& Target) { return TKXVariant(Self(Target).GetNumParts()); }, nullptr,
     u"how many parts there are, the template itself counted"},
    {u"LanguageID", TTypeKind::tkUString, u"string",
     [](const TObject& Target) { return TKXVariant(Self(Target).LanguageID()); },
     [](TObject& Target, const TKXVariant& Value) { Self(Target).SetLanguageID(Value.AsString()); },
     u"the language of its texts"},
    {u"PartName", TTypeKind::tkUString, u"string",
     [](const TObject& Target) { return TKXVariant(Self(Target).PartName()); }, nullptr,
     u"the name of this part; empty for a whole template"},
    {u"DebugInfo", TTypeKind::tkUString, u"string",
     [](const TObject& Target) { return TKXVariant(Self(Target).GetDebugInfo()); }, nullptr,
     u"the length of the text without tags and parts, in words"},
    {u"RaiseException", TTypeKind::tkEnumeration, u"Boolean",
     [](const TObject& Target) { return TKXVariant(Self(Target).RaiseException()); },
     [](TObject& Target, const TKXVariant& Value) { Self(Target).SetRaiseException(Value.AsBoolean()); },
     u"whether errors are raised, or kept in LastError only"},
    {u"LastError", TTypeKind::tkUString, u"string",
     [](const TObject& Target) { return TKXVariant(Self(Target).LastError()); },
     [](TObject& Target, const TKXVariant& Value) { Self(Target).SetLastError(Value.AsString()); },
     u"the text of the last error; empty when there was none"},
};

constexpr TScriptMember ScriptNames[] = {
    ScriptProperty(u"TagName", 1, PropertyFunc_GetTagName, nullptr,
                   u"the name of a tag, by its index from 0 in the order of names"),
    ScriptProperty(u"TagIndex", 1, PropertyFunc_GetTagIndex, nullptr,
                   u"the index of a tag, by its name; -1 when there is none"),
    ScriptProperty(u"Tag", 1, PropertyFunc_GetTag, PropertyFunc_SetTag,
                   u"the value of a tag, by name or index; writing an unknown name does nothing"),
    ScriptProperty(u"Part", 1, PropertyFunc_GetPart, nullptr,
                   u"a part, by name or number from 1; 0 is the template itself"),
    ScriptProperty(u"Body", 0, PropertyFunc_GetBody, PropertyFunc_SetBody,
                   u"the text last parsed; writing parses another text"),
    ScriptProperty(u"Name", 0, PropertyFunc_GetName, PropertyFunc_SetName,
                   u"the file of the template; writing loads one"),
    ScriptFunction(u"PartExist", 1, F_PartExist, u"(name or number): whether there is such a part"),
    ScriptFunction(u"BuildTemplate", 0, F_BuildTemplate, u"the text with the values of its tags"),
    ScriptFunction(u"ReCreateTemplate", 0, F_ReCreateTemplate,
                   u"the same, with empty tags written back as tags"),
    ScriptProcedure(u"FillTemplate", 1, P_FillTemplate, u"(list): sets the tags that a TParamsList names"),
    ScriptProcedure(u"ReadTemplate", 0, P_ReadTemplate,
                    u"parses the text between tags and parts again, which drops them; reads no file"),
    ScriptProcedure(u"Clear", 0, P_Clear, u"empties the tags of the template and of all its parts"),
};

std::unique_ptr<TObject> Make() {
    return std::make_unique<TTemplate>();
}

} // namespace

const TClassInfo& TTemplate::StaticClass() {
    static constexpr TClassInfo Info{.Name = u"TTemplate",
                                     .Parent = &TIObject::StaticClass,
                                     .Properties = Properties,
                                     .Create = Make,
                                     .Script = ScriptNames,
                                     .Help = u"A text with tags and parts. Any other name is a tag's."};
    return Info;
}

const TClassInfo& TTemplate::ClassInfo() const {
    return StaticClass();
}

bool TTemplate::GetPropertyInternal(std::u16string_view Name, TScriptArgs Args, int ArgCount,
                                    TKXVariant& Result) {
    if (TIObject::GetPropertyInternal(Name, Args, ArgCount, Result)) return true;
    if (ArgCount != 0) return false; // a call of an unknown function is no reading of a tag
    Result = GetTagValue(Name);
    return true;
}

bool TTemplate::SetPropertyInternal(std::u16string_view Name, TScriptArgs Args, int ArgCount) {
    if (TIObject::SetPropertyInternal(Name, Args, ArgCount)) return true;
    if (ArgCount != 0) return false;
    SetTagValue(Name, Args.back().AsString());
    return true;
}

void RegisterLtemplt(TScriptRegistry& Registry) {
    Registry.RegisterClass(TTemplate::StaticClass());
}

bool IsTemplateMember(std::u16string_view Name) {
    return TTemplate::StaticClass().FindProperty(Name) != nullptr ||
           std::ranges::any_of(ScriptNames,
                               [Name](const TScriptMember& Each) { return SameText(Each.Name, Name); });
}

void UnregisterLtemplt(TScriptRegistry& Registry) {
    Registry.UnregisterClass(TTemplate::StaticClass());
}

} // namespace zutools
