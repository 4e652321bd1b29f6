// The script names of TParamsList. A string argument is a name, anything else an index.

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

} // namespace

void RegisterLparams(TScriptRegistry& Registry) {
    const TClassInfo& Class = TParamsList::StaticClass();
    Registry.RegisterClass(Class);
    Registry.RegisterProperty(Class, u"Name", 1, PropertyFunc_GetPLName, nullptr, true);
    Registry.RegisterProperty(Class, u"Index", 1, PropertyFunc_GetPLIndex, nullptr, true);
    Registry.RegisterProperty(Class, u"Value", 1, PropertyFunc_GetPLValue, PropertyFunc_SetPLValue, false);
    // An error list keeps the code in the name and the text in the value: the same handlers in its own words.
    Registry.RegisterProperty(Class, u"Err", 1, PropertyFunc_GetPLName, nullptr, true);
    Registry.RegisterProperty(Class, u"ErrMessage", 1, PropertyFunc_GetPLValue, PropertyFunc_SetPLValue,
                              false);
    Registry.RegisterProcedure(Class, u"Add", 2, P_Add);
    Registry.RegisterProcedure(Class, u"LoadParams", 1, P_LoadParams);
    Registry.RegisterProcedure(Class, u"LoadString", 2, P_LoadString);
    Registry.RegisterProcedure(Class, u"Clear", 0, P_Clear);
    Registry.RegisterProcedure(Class, u"Delete", 1, P_Delete);
}

void UnregisterLparams(TScriptRegistry& Registry) {
    Registry.UnregisterClass(TParamsList::StaticClass());
}

} // namespace zutools
