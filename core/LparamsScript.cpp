// What TParamsList tells about itself, and its script names. A string argument is a name, anything else an
// index.

#include "core/Lparams.h"

namespace zutools {

namespace {

TParamsList& List(TObject& Target) {
    return static_cast<TParamsList&>(Target); // the registry calls with objects of the class only
}

TKXVariant PropertyFunc_GetPLName(TObject& Target, TScriptArgs Args) {
    return List(Target).GetPLName(Args[0].AsInteger());
}

TKXVariant PropertyFunc_GetPLIndex(TObject& Target, TScriptArgs Args) {
    const auto Guard = List(Target).Locked();
    return List(Target).GetPLNameIndex(Args[0].AsString());
}

TKXVariant PropertyFunc_GetPLValue(TObject& Target, TScriptArgs Args) {
    const auto Guard = List(Target).Locked();
    if (Args[0].IsString()) return List(Target).GetPLValueByName(Args[0].AsString());
    return List(Target).GetPLValueByIndex(Args[0].AsInteger());
}

void PropertyFunc_SetPLValue(TObject& Target, TScriptArgs Index, const TKXVariant& Value) {
    const auto Guard = List(Target).Locked();
    if (Index[0].IsString())
        List(Target).SetPLValueByName(Index[0].AsString(), Value.AsString());
    else
        List(Target).SetPLValueByIndex(Index[0].AsInteger(), Value.AsString());
}

void P_Add(TObject& Target, TScriptArgs Args) {
    List(Target).Add(Args[0].AsString(), Args[1].AsString());
}

void P_LoadParams(TObject& Target, TScriptArgs Args) {
    List(Target).LoadParams(Args[0].AsObject());
}

void P_LoadString(TObject& Target, TScriptArgs Args) {
    List(Target).LoadString(Args[0].AsString(), Args[1].AsString());
}

void P_Clear(TObject& Target, TScriptArgs /*Args*/) {
    List(Target).Clear();
}

void P_Delete(TObject& Target, TScriptArgs Args) {
    const auto Guard = List(Target).Locked();
    if (Args[0].IsString())
        List(Target).DeleteByName(Args[0].AsString());
    else
        List(Target).Delete(Args[0].AsInteger());
}

constexpr TPropInfo Properties[] = {
    {u"Count", TTypeKind::tkInteger, u"Integer",
     [](const TObject& Self) { return TKXVariant(static_cast<const TParamsList&>(Self).GetCount()); },
     nullptr, u"how many entries there are"},
    {u"DebugInfo", TTypeKind::tkUString, u"string",
     [](const TObject& Self) { return TKXVariant(static_cast<const TParamsList&>(Self).GetDebugInfo()); },
     nullptr, u"the number of entries in words"},
};

constexpr TScriptMember ScriptNames[] = {
    ScriptProperty(u"Name", 1, PropertyFunc_GetPLName, nullptr, u"the name of an entry, by its index from 0"),
    ScriptProperty(u"Index", 1, PropertyFunc_GetPLIndex, nullptr,
                   u"the index of an entry, by its name; -1 when there is none"),
    ScriptProperty(u"Value", 1, PropertyFunc_GetPLValue, PropertyFunc_SetPLValue,
                   u"the value of an entry, by name or index; writing an unknown name adds it"),
    // An error list keeps the code in the name and the text in the value: the same handlers in its own words.
    ScriptProperty(u"Err", 1, PropertyFunc_GetPLName, nullptr,
                   u"the code in a list of errors: the same as Name"),
    ScriptProperty(u"ErrMessage", 1, PropertyFunc_GetPLValue, PropertyFunc_SetPLValue,
                   u"the text in a list of errors: the same as Value"),
    ScriptProcedure(u"Add", 2, P_Add, u"(name, value): adds an entry, or changes the one of that name"),
    ScriptProcedure(u"LoadParams", 1, P_LoadParams, u"(list): adds every entry of another TParamsList"),
    ScriptProcedure(u"LoadString", 2, P_LoadString,
                    u"(text, delimiter): adds the name=value items that the delimiter parts"),
    ScriptProcedure(u"Clear", 0, P_Clear, u"takes all entries out"),
    ScriptProcedure(u"Delete", 1, P_Delete, u"(name or index): takes one entry out"),
};

} // namespace

const TClassInfo& TParamsList::StaticClass() {
    static constexpr TClassInfo Info{
        .Name = u"TParamsList",
        .Parent = &TIObject::StaticClass,
        .Properties = Properties,
        .Create = [] { return std::unique_ptr<TObject>(std::make_unique<TParamsList>()); },
        .Script = ScriptNames,
        .Help = u"Names with values, in the order in which they were added. Any other name is an entry's."};
    return Info;
}
const TClassInfo& TParamsList::ClassInfo() const {
    return StaticClass();
}

void RegisterLparams(TScriptRegistry& Registry) {
    Registry.RegisterClass(TParamsList::StaticClass());
}

void UnregisterLparams(TScriptRegistry& Registry) {
    Registry.UnregisterClass(TParamsList::StaticClass());
}

} // namespace zutools
