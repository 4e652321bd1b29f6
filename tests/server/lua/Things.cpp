#include "tests/server/lua/Things.h"

#include "host/Exception.h"
#include "host/ScriptExecutor.h"
#include "host/Session.h"
#include "platform/Text.h"

namespace zutools::server::tests {

namespace {

TThing& Thing(TObject& Object) {
    return static_cast<TThing&>(Object);
}

std::u16string Key(TScriptArgs Args) {
    std::u16string Result;
    for (const TKXVariant& Arg : Args) Result += Arg.AsString() + u";";
    return Result;
}

TKXVariant Find(const std::map<std::u16string, TKXVariant>& Items, const std::u16string& Name) {
    const auto Found = Items.find(Name);
    return Found == Items.end() ? TKXVariant() : Found->second;
}

constexpr TPropInfo Properties[] = {
    {u"Weight", TTypeKind::tkFloat, u"Double",
     [](const TObject& Self) { return TKXVariant(static_cast<const TThing&>(Self).Weight); },
     [](TObject& Self, const TKXVariant& Value) { Thing(Self).Weight = Value.AsFloat(); }},
    {u"Size", TTypeKind::tkInteger, u"Integer", [](const TObject&) { return TKXVariant(7); }, nullptr},
};

constexpr TParamInfo TwiceParams[] = {{u"Number", TTypeKind::tkInteger, u"Integer"}};
constexpr TParamInfo OutParams[] = {
    {.Name = u"Out", .Kind = TTypeKind::tkInteger, .TypeName = u"Integer", .ByReference = true}};
constexpr TMethodInfo Methods[] = {
    {u"Twice", TVisibility::mvPublished, TwiceParams,
     [](TObject&, TScriptArgs Args) { return TKXVariant(Args[0].AsInteger() * 2); }},
    {u"GiveOut", TVisibility::mvPublished, OutParams, [](TObject&, TScriptArgs) { return TKXVariant(); }},
    {u"Hidden", TVisibility::mvPublic, {}, [](TObject&, TScriptArgs) { return TKXVariant(); }},
};

std::unique_ptr<TObject> MakeThing() {
    return std::make_unique<TThing>();
}

} // namespace

const TClassInfo& TThing::StaticClass() {
    static constexpr TClassInfo Info{u"TThing", &TIObject::StaticClass, Properties, Methods, MakeThing};
    return Info;
}

const TClassInfo& TFixed::StaticClass() {
    static constexpr TClassInfo Info{u"TFixed", &TObject::StaticClass};
    return Info;
}

bool TThing::GetPropertyInternal(std::u16string_view Name, TScriptArgs, int, TKXVariant& Result) {
    if (!Name.starts_with(u"Tag")) return false;
    Result = Find(Items, std::u16string(Name));
    return true;
}

bool TThing::SetPropertyInternal(std::u16string_view Name, TScriptArgs Args, int) {
    if (!Name.starts_with(u"Tag")) return false;
    Items[std::u16string(Name)] = Args.back();
    return true;
}

void RegisterThings() {
    auto& Registry = ScriptRegistry();
    const TClassInfo& Class = TThing::StaticClass();
    const auto GetItem = [](TObject& Self, TScriptArgs Args) { return Find(Thing(Self).Items, Key(Args)); };
    const auto SetItem = [](TObject& Self, TScriptArgs Index, const TKXVariant& Value) {
        Thing(Self).Items[Key(Index)] = Value;
    };
    Registry.RegisterProperty(
        Class, u"Value", 0, [](TObject& Self, TScriptArgs) { return Thing(Self).Value; },
        [](TObject& Self, TScriptArgs, const TKXVariant& Value) { Thing(Self).Value = Value; }, false);
    Registry.RegisterProperty(
        Class, u"Fixed", 0, [](TObject&, TScriptArgs) { return TKXVariant(u"fixed"); }, nullptr, true);
    Registry.RegisterProperty(Class, u"Item", 1, GetItem, SetItem, false);
    Registry.RegisterProperty(Class, u"Cell", 2, GetItem, SetItem, false);
    Registry.RegisterProperty(Class, u"Any", -1, GetItem, SetItem, false);
    Registry.RegisterProperty(
        Class, u"Child", 0,
        [](TObject& Self, TScriptArgs) {
            auto& Child = Thing(Self).Child;
            if (!Child) Child = std::make_unique<TThing>();
            return PointerAsLVar(Child.get());
        },
        nullptr, true);
    Registry.RegisterProperty(
        Class, u"Itself", 0, [](TObject& Self, TScriptArgs) { return PointerAsLVar(&Self); }, nullptr, true);
    Registry.RegisterFunction(Class, u"Echo", 1, [](TObject&, TScriptArgs Args) { return Args[0]; });
    Registry.RegisterFunction(Class, u"Count", -1, [](TObject&, TScriptArgs Args) {
        return TKXVariant(static_cast<int>(Args.size()));
    });
    Registry.RegisterFunction(Class, u"KindOf", 1, [](TObject&, TScriptArgs Args) {
        return TKXVariant(VariantKindName(Args[0].Kind()));
    });
    Registry.RegisterFunction(Class, u"Special", 1, [](TObject&, TScriptArgs Args) -> TKXVariant {
        switch (Args[0].AsInteger()) {
        case 0:
            return TDateTime{45000.5};
        case 1:
            return PointerAsLVar(nullptr);
        case 2:
            return TKXVariant::WordBool(2);
        case 3:
            return u'ж';
        case 4:
            return std::u16string(1, char16_t{0xD800});
        default:
            return TKXVariant(std::int64_t{1} << 40);
        }
    });
    Registry.RegisterFunction(Class, u"CallStack", 0, [](TObject&, TScriptArgs) {
        return TKXVariant(CurrentScriptExecutor()->CallStack());
    });
    Registry.RegisterProcedure(Class, u"Fail", 0, [](TObject&, TScriptArgs) { throw Exception(u"сбой"); });
    Registry.RegisterProcedure(Class, u"DropChild", 0,
                               [](TObject& Self, TScriptArgs) { Thing(Self).Child.reset(); });
    Registry.RegisterClass(TFixed::StaticClass());
    Registry.RegisterClass(TSession::StaticClass()); // for the global Session
}

void UnregisterThings() {
    ScriptRegistry().UnregisterClass(TThing::StaticClass());
    ScriptRegistry().UnregisterClass(TFixed::StaticClass());
    ScriptRegistry().UnregisterClass(TSession::StaticClass());
}

std::string LuaTest::Result(std::string_view Script) {
    Thing.Value = TKXVariant(u"nothing written");
    Engine->RunText(Script, "test.lua");
    return platform::Utf16ToUtf8(Thing.Value.AsString());
}

std::string LuaTest::Error(std::string_view Script) {
    try {
        Engine->RunText(Script, "test.lua");
    } catch (const EScriptError& Failure) {
        return Failure.what();
    }
    return "no error";
}

} // namespace zutools::server::tests
