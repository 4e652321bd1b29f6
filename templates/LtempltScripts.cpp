// What scripts see of a template: its published properties and its registered names.

#include "core/Lparams.h"
#include "host/Format.h"
#include "templates/Ltemplt.h"

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
    const std::u16string Name = TagNameOf(Target, Index[0]);
    Self(Target).SetTagValue(Name, Value.AsString());
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
    Self(Target).SetTemplateName(Value.AsString());
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
     [](const TObject& Target) { return TKXVariant(Self(Target).GetNumTags()); }, nullptr},
    {u"PartsCount", TTypeKind::tkInteger, u"Integer",
     [](const TObject& Target) { return TKXVariant(Self(Target).GetNumParts()); }, nullptr},
    {u"LanguageID", TTypeKind::tkUString, u"string",
     [](const TObject& Target) { return TKXVariant(Self(Target).LanguageID()); },
     [](TObject& Target, const TKXVariant& Value) { Self(Target).SetLanguageID(Value.AsString()); }},
    {u"PartName", TTypeKind::tkUString, u"string",
     [](const TObject& Target) { return TKXVariant(Self(Target).PartName()); }, nullptr},
    {u"DebugInfo", TTypeKind::tkUString, u"string",
     [](const TObject& Target) { return TKXVariant(Self(Target).GetDebugInfo()); }, nullptr},
    {u"RaiseException", TTypeKind::tkEnumeration, u"Boolean",
     [](const TObject& Target) { return TKXVariant(Self(Target).RaiseException()); },
     [](TObject& Target, const TKXVariant& Value) { Self(Target).SetRaiseException(Value.AsBoolean()); }},
    {u"LastError", TTypeKind::tkUString, u"string",
     [](const TObject& Target) { return TKXVariant(Self(Target).LastError()); },
     [](TObject& Target, const TKXVariant& Value) { Self(Target).SetLastError(Value.AsString()); }},
};

std::unique_ptr<TObject> Make() {
    return std::make_unique<TTemplate>();
}

} // namespace

const TClassInfo& TTemplate::StaticClass() {
    static constexpr TClassInfo Info{u"TTemplate", &TIObject::StaticClass, Properties, {}, Make};
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
    const TClassInfo& Class = TTemplate::StaticClass();
    Registry.RegisterClass(Class);
    Registry.RegisterProperty(Class, u"TagName", 1, PropertyFunc_GetTagName, nullptr, true);
    Registry.RegisterProperty(Class, u"TagIndex", 1, PropertyFunc_GetTagIndex, nullptr, true);
    Registry.RegisterProperty(Class, u"Tag", 1, PropertyFunc_GetTag, PropertyFunc_SetTag, false);
    Registry.RegisterProperty(Class, u"Part", 1, PropertyFunc_GetPart, nullptr, true);
    Registry.RegisterProperty(Class, u"Body", 0, PropertyFunc_GetBody, PropertyFunc_SetBody, false);
    Registry.RegisterProperty(Class, u"Name", 0, PropertyFunc_GetName, PropertyFunc_SetName, false);
    Registry.RegisterFunction(Class, u"PartExist", 1, F_PartExist);
    Registry.RegisterFunction(Class, u"BuildTemplate", 0, F_BuildTemplate);
    Registry.RegisterFunction(Class, u"ReCreateTemplate", 0, F_ReCreateTemplate);
    Registry.RegisterProcedure(Class, u"FillTemplate", 1, P_FillTemplate);
    Registry.RegisterProcedure(Class, u"ReadTemplate", 0, P_ReadTemplate);
    Registry.RegisterProcedure(Class, u"Clear", 0, P_Clear);
}

void UnregisterLtemplt(TScriptRegistry& Registry) {
    Registry.UnregisterClass(TTemplate::StaticClass());
}

} // namespace zutools
