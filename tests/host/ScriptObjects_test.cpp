#include "host/ScriptObjects.h"

#include "host/Exception.h"
#include "tests/support/Raised.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>

namespace zutools {
namespace {

using tests::Raised;
using TText = std::u16string;

class TThing : public TIObject {
public:
    static const TClassInfo& StaticClass();
    [[nodiscard]] const TClassInfo& ClassInfo() const override { return StaticClass(); }
    int Size = 3;
    TText Last;
};

class TSpecial : public TThing {
public:
    static const TClassInfo& StaticClass();
    [[nodiscard]] const TClassInfo& ClassInfo() const override { return StaticClass(); }
};

constexpr TPropInfo ThingProperties[] = {
    {u"Size", TTypeKind::tkInteger, u"Integer",
     [](const TObject& Self) { return TKXVariant(static_cast<const TThing&>(Self).Size); },
     [](TObject& Self, const TKXVariant& Value) { static_cast<TThing&>(Self).Size = Value.AsInteger(); }},
    {u"Fixed", TTypeKind::tkInteger, u"Integer", [](const TObject&) { return TKXVariant(1); }, nullptr},
};

const TClassInfo& TThing::StaticClass() {
    static constexpr TClassInfo Info{
        .Name = u"TThing",
        .Parent = &TIObject::StaticClass,
        .Properties = ThingProperties,
        .Create = [] { return std::unique_ptr<TObject>(std::make_unique<TThing>()); },
    };
    return Info;
}
const TClassInfo& TSpecial::StaticClass() {
    static constexpr TClassInfo Info{u"TSpecial", &TThing::StaticClass};
    return Info;
}

TKXVariant GetItem(TObject&, TScriptArgs Args) {
    return Args[0];
}
TKXVariant Answer(TObject&, TScriptArgs) {
    return TKXVariant(42);
}
TKXVariant CountArgs(TObject&, TScriptArgs Args) {
    return TKXVariant(static_cast<int>(Args.size()));
}
void SetItem(TObject& Target, TScriptArgs Index, const TKXVariant& Value) {
    static_cast<TThing&>(Target).Last = Index[0].AsString() + u"=" + Value.AsString();
}
void Remember(TObject& Target, TScriptArgs Args) {
    static_cast<TThing&>(Target).Last = Args[0].AsString();
}

TEST(ScriptRegistry, FindsNamesIgnoringCaseAndInBases) {
    TScriptRegistry Registry;
    Registry.RegisterFunction(TThing::StaticClass(), u"Answer", 0, &Answer);
    const TScriptMember* Inherited = Registry.Find(TSpecial::StaticClass(), u"ANSWER");
    ASSERT_NE(Inherited, nullptr);
    EXPECT_EQ(Inherited->Name, u"Answer");
    EXPECT_EQ(Registry.Find(TIObject::StaticClass(), u"Answer"), nullptr);
    EXPECT_EQ(Registry.Find(TThing::StaticClass(), u"Answe"), nullptr);

    Registry.RegisterFunction(TSpecial::StaticClass(), u"answer", -1, &CountArgs);
    EXPECT_EQ(Registry.Find(TSpecial::StaticClass(), u"Answer")->Name, u"answer");
    EXPECT_EQ(Registry.Find(TThing::StaticClass(), u"Answer"), Inherited);

    Registry.UnregisterClass(TSpecial::StaticClass());
    Registry.UnregisterClass(TSpecial::StaticClass());
    EXPECT_EQ(Registry.Find(TSpecial::StaticClass(), u"Answer"), Inherited);
}

TEST(ScriptRegistry, ASecondRegistrationReplacesTheFirstInItsPlace) {
    TScriptRegistry Registry;
    Registry.RegisterFunction(TThing::StaticClass(), u"A", 0, &Answer);
    Registry.RegisterFunction(TThing::StaticClass(), u"B", 0, &Answer);
    const TScriptMember* const Old = Registry.Find(TThing::StaticClass(), u"A");
    Registry.RegisterFunction(TThing::StaticClass(), u"a", 2, &CountArgs);
    const auto Members = Registry.Members(TThing::StaticClass());
    ASSERT_EQ(Members.size(), 2U);
    EXPECT_EQ(Members[0]->ArgCount, 2);
    EXPECT_EQ(Members[0], Registry.Find(TThing::StaticClass(), u"A"));
    EXPECT_EQ(Old->ArgCount, 0); // whoever holds the old one may finish
}

TEST(ScriptRegistry, KnowsClassesByName) {
    TScriptRegistry Registry;
    Registry.RegisterClass(TThing::StaticClass());
    Registry.RegisterClass(TSpecial::StaticClass());
    EXPECT_EQ(Registry.FindClass(u"tthing"), &TThing::StaticClass());
    EXPECT_EQ(Registry.FindClass(u"TIObject"), nullptr);
    EXPECT_EQ(Registry.Classes(), (std::vector{&TSpecial::StaticClass(), &TThing::StaticClass()}));
    const auto Made = Registry.FindClass(u"TThing")->Create();
    EXPECT_EQ(Made->ClassName(), u"TThing");
}

TEST(ScriptRegistry, RefusesContradictoryRegistrations) {
    TScriptRegistry Registry;
    const TClassInfo& Thing = TThing::StaticClass();
    EXPECT_THROW(Registry.RegisterProperty(Thing, u"P", 0, &Answer, &SetItem, true), Exception);
    EXPECT_THROW(Registry.RegisterProperty(Thing, u"P", 0, &Answer, nullptr, false), Exception);
    EXPECT_THROW(Registry.RegisterProperty(Thing, u"P", 0, nullptr, &SetItem, false), Exception);
    EXPECT_THROW(Registry.RegisterFunction(Thing, u"F", -2, &Answer), Exception);
    EXPECT_THROW(Registry.RegisterProcedure(Thing, u"", 0, &Remember), Exception);
    EXPECT_TRUE(Registry.Classes().empty());
}

TEST(ScriptMember, ChecksTheNumberOfArguments) {
    TScriptRegistry Registry;
    TThing Thing;
    Registry.RegisterProperty(TThing::StaticClass(), u"Item", 1, &GetItem, &SetItem, false);
    Registry.RegisterFunction(TThing::StaticClass(), u"Any", -1, &CountArgs);
    Registry.RegisterProcedure(TThing::StaticClass(), u"Keep", 1, &Remember);
    const TKXVariant Args[] = {u"x", 2};
    const auto& Item = *Registry.Find(TThing::StaticClass(), u"Item");
    const auto& Keep = *Registry.Find(TThing::StaticClass(), u"Keep");

    EXPECT_EQ(Item.Invoke(Thing, TScriptArgs(Args, 1)), TKXVariant(u"x"));
    Item.Write(Thing, TScriptArgs(Args, 1), 5);
    EXPECT_EQ(Thing.Last, u"x=5");
    EXPECT_EQ(Registry.Find(TThing::StaticClass(), u"Any")->Invoke(Thing, Args), TKXVariant(2));
    EXPECT_TRUE(Keep.Invoke(Thing, TScriptArgs(Args, 1)).IsNull());
    EXPECT_EQ(Thing.Last, u"x");

    EXPECT_EQ(Raised<EIObjectError>([&] { (void)Item.Invoke(Thing, Args); }),
              "Invalid number of arguments for property 'Item' of class 'TThing': 2 given, 1 wanted");
    EXPECT_EQ(Raised<EIObjectError>([&] { Item.Write(Thing, {}, 5); }),
              "Invalid number of arguments for property 'Item' of class 'TThing': 0 given, 1 wanted");
    EXPECT_EQ(Raised<EIObjectError>([&] { (void)Keep.Invoke(Thing, {}); }),
              "Invalid number of arguments for procedure 'Keep' of class 'TThing': 0 given, 1 wanted");
    EXPECT_EQ(Raised<EIObjectError>([&] { Keep.Write(Thing, {}, 5); }),
              "'Keep' of class 'TThing' is no property but a procedure");
}

// Names of the process's registry, taken back at the end of the test.
class ScriptObject : public testing::Test {
protected:
    ScriptObject() {
        ScriptRegistry().RegisterProperty(TThing::StaticClass(), u"Item", 1, &GetItem, &SetItem, false);
        ScriptRegistry().RegisterProperty(TThing::StaticClass(), u"Answer", 0, &Answer, nullptr, true);
        ScriptRegistry().RegisterProcedure(TThing::StaticClass(), u"Keep", 1, &Remember);
    }
    ~ScriptObject() override { ScriptRegistry().UnregisterClass(TThing::StaticClass()); }

    bool Get(std::u16string_view Name, TScriptArgs Args) {
        return Thing.GetPropertyInternal(Name, Args, static_cast<int>(Args.size()), Result);
    }
    bool Set(std::u16string_view Name, TScriptArgs Args) {
        return Thing.SetPropertyInternal(Name, Args, static_cast<int>(Args.size()) - 1);
    }

    TSpecial Thing;
    TKXVariant Result = u"untouched";
    const TKXVariant One[1] = {7};
    const TKXVariant Two[2] = {u"key", 7};
};

TEST_F(ScriptObject, ReadsRegisteredNamesThenPublishedProperties) {
    EXPECT_FALSE(Get(u"Nobody", One));
    EXPECT_EQ(Result, TKXVariant(u"untouched"));
    EXPECT_TRUE(Get(u"answer", {}));
    EXPECT_EQ(Result, TKXVariant(42));
    EXPECT_TRUE(Get(u"size", {}));
    EXPECT_EQ(Result, TKXVariant(3));
    EXPECT_TRUE(Get(u"Keep", One));
    EXPECT_TRUE(Result.IsNull());
    EXPECT_EQ(Raised<EIObjectError>([&] { Get(u"Size", One); }),
              "Invalid number of arguments for property 'Size' of class 'TSpecial'");
}

TEST_F(ScriptObject, WritesRegisteredNamesThenPublishedProperties) {
    EXPECT_FALSE(Set(u"Nobody", One));
    EXPECT_TRUE(Set(u"item", Two));
    EXPECT_EQ(Thing.Last, u"key=7");
    EXPECT_TRUE(Set(u"SIZE", One));
    EXPECT_EQ(Thing.Size, 7);
    EXPECT_EQ(Raised<EIObjectError>([&] { Set(u"Size", Two); }),
              "Invalid number of arguments for property 'Size' of class 'TSpecial'");
    EXPECT_EQ(Raised<EIObjectError>([&] { Set(u"Answer", One); }),
              "Property 'Answer' of class 'TSpecial' is read-only");
    EXPECT_EQ(Raised<EIObjectError>([&] { Set(u"Fixed", One); }),
              "Property 'Fixed' of class 'TSpecial' is read-only");
    EXPECT_EQ(Raised<EIObjectError>([&] { Set(u"Size", {}); }),
              "Invalid number of arguments for property 'Size' of class 'TSpecial'");
}

TEST(InterfaceObjects, AreAnnouncedUntilTheyDie) {
    auto Object = std::make_unique<TIRegObject>();
    const TIRegObject& Seen = *Object;
    EXPECT_FALSE(IsInterfaceObjectRegistered(Seen));
    RegisterInterfaceObject(*Object);
    EXPECT_TRUE(IsInterfaceObjectRegistered(Seen));
    alignas(TIRegObject) std::byte Place[sizeof(TIRegObject)];
    auto* const Second = new (Place) TIRegObject;
    RegisterInterfaceObject(*Second);
    Second->~TIRegObject();
    auto* const Third = new (Place) TIRegObject; // the same address, never announced
    EXPECT_FALSE(IsInterfaceObjectRegistered(*Third));
    Third->~TIRegObject();
}

TEST(ScriptRegistry, LooksUpWhileOtherClassesComeAndGo) {
    TScriptRegistry Registry;
    Registry.RegisterFunction(TThing::StaticClass(), u"Answer", 0, &Answer);
    std::atomic<int> Misses{0};
    {
        std::vector<std::jthread> Readers;
        for (int Reader = 0; Reader < 2; ++Reader) {
            Readers.emplace_back([&] {
                TThing Thing;
                for (int Round = 0; Round < 2000; ++Round) {
                    const TScriptMember* Member = Registry.Find(TThing::StaticClass(), u"answer");
                    if (Member == nullptr || Member->Invoke(Thing, {}) != TKXVariant(42)) ++Misses;
                }
            });
        }
        for (int Round = 0; Round < 200; ++Round) {
            Registry.RegisterFunction(TSpecial::StaticClass(), u"Other", 0, &Answer);
            Registry.RegisterFunction(TThing::StaticClass(), u"Answer", 0, &Answer);
            Registry.UnregisterClass(TSpecial::StaticClass());
        }
    }
    EXPECT_EQ(Misses, 0);
}

} // namespace
} // namespace zutools
