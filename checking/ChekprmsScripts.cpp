// What scripts see of the value checker: its published properties and its registered names.

#include "checking/Chekprms.h"
#include "checking/Dbchprms.h"
#include "host/ScriptObjects.h"

namespace zutools {

namespace {

TParamsConfig& Config(TObject& Target) {
    return static_cast<TParamsConfig&>(Target);
}

const TParamsConfig& Config(const TObject& Target) {
    return static_cast<const TParamsConfig&>(Target);
}

TParamsChecker& Checker(TObject& Target) {
    return static_cast<TParamsChecker&>(Target);
}

// Scripts run while requests are checked, so a change takes the write side.
template <class TChange>
void Change(TObject& Target, TChange Work) {
    const std::scoped_lock Writing(Config(Target));
    Work();
}

constexpr TPropInfo Properties[] = {
    {u"Enabled", TTypeKind::tkEnumeration, u"Boolean",
     [](const TObject& Target) { return TKXVariant(Config(Target).Enabled); },
     [](TObject& Target, const TKXVariant& Value) {
         Change(Target, [&, On = Value.AsBoolean()] { Config(Target).Enabled = On; });
     },
     u"whether values are checked at all"},
    {u"FilterID", TTypeKind::tkInteger, u"Integer",
     [](const TObject& Target) { return TKXVariant(Config(Target).FilterID); },
     [](TObject& Target, const TKXVariant& Value) {
         Change(Target, [&, ID = Value.AsInteger()] { Config(Target).FilterID = ID; });
     },
     u"the number of the filter that was loaded"},
    {u"FilterName", TTypeKind::tkUString, u"string",
     [](const TObject& Target) { return TKXVariant(Config(Target).FilterName); },
     [](TObject& Target, const TKXVariant& Value) {
         Change(Target, [&, Name = Value.AsString()] { Config(Target).FilterName = Name; });
     },
     u"its name"},
    {u"FilterDescribe", TTypeKind::tkUString, u"string",
     [](const TObject& Target) { return TKXVariant(Config(Target).FilterDescribe); },
     [](TObject& Target, const TKXVariant& Value) {
         Change(Target, [&, Text = Value.AsString()] { Config(Target).FilterDescribe = Text; });
     },
     u"what it is for"},
    {u"ParamsCfgCount", TTypeKind::tkInteger, u"Integer",
     [](const TObject& Target) { return TKXVariant(Config(Target).ParamsCfgCount()); }, nullptr,
     u"how many rules it has"},
};

TKXVariant F_CheckParamValue(TObject& Target, TScriptArgs Args) {
    return Checker(Target).CheckParamValue(Args[0].AsString(), Args[1].AsString(), Args[2].AsBoolean());
}

void P_AddParams(TObject& Target, TScriptArgs Args) {
    const std::u16string Params = Args[0].AsString();
    const std::u16string Wrong = Args[1].AsString();
    const std::u16string Right = Args[2].AsString();
    Change(Target, [&] { Checker(Target).AddParams(Params, Wrong, Right); });
}

void P_Clear(TObject& Target, TScriptArgs) {
    Change(Target, [&] { Checker(Target).Clear(); });
}

// Loads a filter of the database aside and swaps it in; false, and no change, when there is none of that ID.
TKXVariant F_LoadFilter(TObject& Target, TScriptArgs Args) {
    TParamsConfig Loaded;
    if (!TCheckParamsDBConfig().ReadCheckParamsByID(Args[0].AsInteger(), Loaded, TCheckParamsDBConfig::All)) {
        return false;
    }
    Checker(Target).LoadFrom(Loaded);
    return true;
}

constexpr TScriptMember ScriptNames[] = {
    ScriptFunction(
        u"CheckParamValue", 3, F_CheckParamValue,
        u"(name, value, raise): whether the value passes the parameter's rule; refused, it raises or "
        u"gives false"),
    ScriptFunction(u"LoadFilter", 1, F_LoadFilter,
                   u"(ID): takes over a filter of the database; false when there is none"),
    ScriptProcedure(u"AddParams", 3, P_AddParams,
                    u"(names, wrong, right): a rule for the parameters of these names"),
    ScriptProcedure(u"Clear", 0, P_Clear, u"forgets every rule, and the name of the filter"),
};

} // namespace

const TClassInfo& TParamsConfig::StaticClass() {
    static constexpr TClassInfo Info{
        .Name = u"TParamsConfig", .Parent = &TObject::StaticClass, .Properties = Properties};
    return Info;
}

const TClassInfo& TParamsConfig::ClassInfo() const {
    return StaticClass();
}

const TClassInfo& TParamsChecker::StaticClass() {
    static constexpr TClassInfo Info{
        .Name = u"TParamsChecker",
        .Parent = &TParamsConfig::StaticClass,
        .Create = []() -> std::unique_ptr<TObject> { return std::make_unique<TParamsChecker>(); },
        .Script = ScriptNames,
        .Global = {u"ParamsChecker", []() -> TObject* { return ParamsChecker.get(); },
                   u"the checker of request values"},
        .Help = u"Checks values against rules by the parameter's name."};
    return Info;
}

const TClassInfo& TParamsChecker::ClassInfo() const {
    return StaticClass();
}

void RegisterChekprms(TScriptRegistry& Registry) {
    Registry.RegisterClass(TParamsChecker::StaticClass());
}

void UnregisterChekprms(TScriptRegistry& Registry) {
    Registry.UnregisterClass(TParamsChecker::StaticClass());
}

} // namespace zutools
