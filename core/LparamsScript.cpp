// The script names of TParamsList. A string argument is a name, anything else an index.

#include "core/Lparams.h"

namespace zutools {

namespace {

/// A list under its own lock for the time of one call.
class TLocked {
public:
    explicit TLocked(TObject& Target)
        : FList(static_cast<TParamsList&>(Target)) { // the registry calls with objects of the class only
        FList.Lock();
    }
    ~TLocked() { FList.UnLock(); }
    TLocked(const TLocked&) = delete;
    TLocked& operator=(const TLocked&) = delete;
    TParamsList* operator->() const { return &FList; }

private:
    TParamsList& FList;
};

TKXVariant PropertyFunc_GetPLName(TObject& Target, TScriptArgs Args) {
    return static_cast<TParamsList&>(Target).GetPLName(Args[0].AsInteger());
}

TKXVariant PropertyFunc_GetPLIndex(TObject& Target, TScriptArgs Args) {
    const TLocked List(Target);
    return List->GetPLNameIndex(Args[0].AsString());
}

TKXVariant PropertyFunc_GetPLValue(TObject& Target, TScriptArgs Args) {
    const TLocked List(Target);
    if (Args[0].IsString()) return List->GetPLValueByName(Args[0].AsString());
    return List->GetPLValueByIndex(Args[0].AsInteger());
}

void PropertyFunc_SetPLValue(TObject& Target, TScriptArgs Index, const TKXVariant& Value) {
    const TLocked List(Target);
    if (Index[0].IsString())
        List->SetPLValueByName(Index[0].AsString(), Value.AsString());
    else
        List->SetPLValueByIndex(Index[0].AsInteger(), Value.AsString());
}

void P_Add(TObject& Target, TScriptArgs Args) {
    static_cast<TParamsList&>(Target).Add(Args[0].AsString(), Args[1].AsString());
}

void P_LoadParams(TObject& Target, TScriptArgs Args) {
    static_cast<TParamsList&>(Target).LoadParams(Args[0].AsObject());
}

void P_LoadString(TObject& Target, TScriptArgs Args) {
    static_cast<TParamsList&>(Target).LoadString(Args[0].AsString(), Args[1].AsString());
}

void P_Clear(TObject& Target, TScriptArgs /*Args*/) {
    static_cast<TParamsList&>(Target).Clear();
}

void P_Delete(TObject& Target, TScriptArgs Args) {
    const TLocked List(Target);
    if (Args[0].IsString())
        List->DeleteByName(Args[0].AsString());
    else
        List->Delete(Args[0].AsInteger());
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
