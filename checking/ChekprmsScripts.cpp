// What scripts see of the value checker: its published properties and its registered names.

#include "checking/Chekprms.h"
#include "checking/Dbchprms.h"
#include "host/ScriptObjects.h"

#include <mutex>
#include <shared_mutex>
#include <string>
#include <utility>

namespace zutools {

namespace {

TParamsChecker& Checker(TObject& Target) {
    return static_cast<TParamsChecker&>(Target);
}

// Scripts run while requests are checked and other scripts change the filter: reading takes the read side, a
// change the write side.

template <auto Field>
TKXVariant Get(const TObject& Target) {
    const auto& Config = static_cast<const TParamsConfig&>(Target);
    const std::shared_lock Reading(Config);
    return TKXVariant(Config.*Field);
}

template <auto Field, auto Convert>
void Set(TObject& Target, const TKXVariant& Value) {
    auto& Config = static_cast<TParamsConfig&>(Target);
    const auto New = (Value.*Convert)();
    const std::scoped_lock Writing(Config);
    Config.*Field = New;
}

TKXVariant GetParamsCfgCount(const TObject& Target) {
    const auto& Config = static_cast<const TParamsConfig&>(Target);
    const std::shared_lock Reading(Config);
    return TKXVariant(Config.ParamsCfgCount());
}

constexpr TPropInfo Properties[] = {
    {u"Enabled", TTypeKind::tkEnumeration, u"Boolean", Get<&TParamsConfig::Enabled>,
     Set<&TParamsConfig::Enabled, &TKXVariant::AsBoolean>, u"whether values are checked at all"},
    {u"FilterID", TTypeKind::tkInteger, u"Integer", Get<&TParamsConfig::FilterID>,
     Set<&TParamsConfig::FilterID, &TKXVariant::AsInteger>, u"the number of the filter that was loaded"},
    {u"FilterName", TTypeKind::tkUString, u"string", Get<&TParamsConfig::FilterName>,
     Set<&TParamsConfig::FilterName, &TKXVariant::AsString>, u"its name"},
    {u"FilterDescribe", TTypeKind::tkUString, u"string", Get<&TParamsConfig::FilterDescribe>,
     Set<&TParamsConfig::FilterDescribe, &TKXVariant::AsString>, u"what it is for"},
    {u"ParamsCfgCount", TTypeKind::tkInteger, u"Integer", GetParamsCfgCount, nullptr,
     u"how many rules it has"},
};

TKXVariant F_CheckParamValue(TObject& Target, TScriptArgs Args) {
    return Checker(Target).CheckParamValue(Args[0].AsString(), Args[1].AsString(), Args[2].AsBoolean());
}

void P_AddParams(TObject& Target, TScriptArgs Args) {
    const std::u16string Params = Args[0].AsString();
    const std::u16string Wrong = Args[1].AsString();
    const std::u16string Right = Args[2].AsString();
    const std::scoped_lock Writing(Checker(Target));
    Checker(Target).AddParams(Params, Wrong, Right);
}

void P_Clear(TObject& Target, TScriptArgs) {
    const std::scoped_lock Writing(Checker(Target));
    Checker(Target).Clear();
}

// Loads a filter of the database aside and swaps it in; false, and no change, when there is none of that ID.
// Of two scripts that load at once, the one that read first may swap last: each looks once more whether what
// it swapped in is what is stored.
TKXVariant F_LoadFilter(TObject& Target, TScriptArgs Args) {
    const TCheckParamsDBConfig Filters;
    const int ID = Args[0].AsInteger();
    TParamsConfig Stored;
    std::string Loaded;
    while (Filters.ReadCheckParamsByID(ID, Stored, TCheckParamsDBConfig::All)) {
        std::string Bytes = Stored.AsString();
        if (Bytes == Loaded) break;
        Checker(Target).LoadFrom(Stored);
        Loaded = std::move(Bytes);
    }
    return !Loaded.empty();
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
