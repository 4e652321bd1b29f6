#include "host/Object.h"

#include "host/Variant.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>

namespace zutools {
namespace {

class TAnimal : public TObject {
public:
    static const TClassInfo& StaticClass();
    [[nodiscard]] const TClassInfo& ClassInfo() const override { return StaticClass(); }
    int Legs = 4;
};

class TBird : public TAnimal {
public:
    static const TClassInfo& StaticClass();
    [[nodiscard]] const TClassInfo& ClassInfo() const override { return StaticClass(); }
};

constexpr TPropInfo AnimalProperties[] = {
    {u"Legs", TTypeKind::tkInteger, u"Integer",
     [](const TObject& Self) { return TKXVariant(static_cast<const TAnimal&>(Self).Legs); },
     [](TObject& Self, const TKXVariant& Value) { static_cast<TAnimal&>(Self).Legs = Value.AsInteger(); }},
    {u"name", TTypeKind::tkUString, u"string", [](const TObject&) { return TKXVariant(u"animal"); }, nullptr},
};
constexpr TParamInfo CallParams[] = {{u"Times", TTypeKind::tkInteger, u"Integer"}};
constexpr TMethodInfo AnimalMethods[] = {
    {u"Call", TVisibility::mvPublished, CallParams,
     [](TObject&, std::span<const TKXVariant> Args) { return Args[0]; }},
};
constexpr TPropInfo BirdProperties[] = {
    {.Name = u"Wings",
     .Kind = TTypeKind::tkInteger,
     .TypeName = u"Integer",
     .Get = {[](const TObject& Self, int Index) {
                 return TKXVariant(static_cast<const TAnimal&>(Self).Legs - Index);
             },
             2},
     .Set = nullptr},
    {u"LEGS", TTypeKind::tkInteger, u"Integer", [](const TObject&) { return TKXVariant(2); }, nullptr},
};

const TClassInfo& TAnimal::StaticClass() {
    static constexpr TClassInfo Info{u"TAnimal", &TObject::StaticClass, AnimalProperties, AnimalMethods};
    return Info;
}
const TClassInfo& TBird::StaticClass() {
    static constexpr TClassInfo Info{u"TBird", &TAnimal::StaticClass, BirdProperties};
    return Info;
}

TEST(ClassInfo, FindsOwnAndInheritedMembersIgnoringCase) {
    const TClassInfo& Bird = TBird::StaticClass();
    ASSERT_NE(Bird.FindProperty(u"wings"), nullptr);
    EXPECT_EQ(Bird.FindProperty(u"wings")->Get(TBird()).AsInteger(), 2); // an accessor of many, told which
    EXPECT_TRUE(Bird.FindProperty(u"wings")->Set == nullptr);
    EXPECT_EQ(Bird.FindProperty(u"legs"), &BirdProperties[1]); // the most derived wins
    EXPECT_EQ(TAnimal::StaticClass().FindProperty(u"legs"), &AnimalProperties[0]);
    EXPECT_EQ(Bird.FindProperty(u"NAME"), &AnimalProperties[1]);
    EXPECT_EQ(Bird.FindProperty(u"Leg"), nullptr);
    EXPECT_EQ(Bird.FindMethod(u"CALL"), &AnimalMethods[0]);
    EXPECT_EQ(Bird.FindMethod(u"Legs"), nullptr);
}

TEST(ClassInfo, ListsAllPropertiesByNameEachOnce) {
    std::vector<std::u16string_view> Names;
    for (const TPropInfo* Info : TBird::StaticClass().AllProperties()) Names.push_back(Info->Name);
    EXPECT_EQ(Names, (std::vector<std::u16string_view>{u"LEGS", u"name", u"Wings"}));
}

TEST(ClassInfo, CastsByInheritance) {
    TAnimal Animal;
    TBird Bird;
    TObject* const Nothing = nullptr;
    EXPECT_EQ(ObjectCast<TAnimal>(static_cast<TObject*>(&Bird)), &Bird);
    EXPECT_EQ(ObjectCast<TBird>(static_cast<TObject*>(&Animal)), nullptr);
    EXPECT_EQ(ObjectCast<TAnimal>(Nothing), nullptr);
    EXPECT_EQ(Bird.ClassName(), u"TBird");
}

TEST(Reference, NoticesTheDeathOfItsObject) {
    EXPECT_EQ(TObjectRef().Get(), nullptr);
    auto Object = std::make_unique<TAnimal>();
    const TObjectRef First = Object->Reference();
    const TObjectRef Second = Object->Reference();
    EXPECT_EQ(First.Get(), Object.get());
    EXPECT_EQ(Second.Get(), Object.get());
    Object.reset();
    EXPECT_EQ(First.Get(), nullptr);
    EXPECT_EQ(Second.Get(), nullptr);
}

TEST(Reference, SeveralThreadsAskAtOnce) {
    for (int Round = 0; Round < 200; ++Round) {
        auto Object = std::make_unique<TObject>();
        TObjectRef References[2];
        std::atomic<int> Ready{0}; // std::latch of GCC 12 hangs on Windows
        const auto Meet = [&Ready] {
            for (++Ready; Ready < 2;) std::this_thread::yield();
        };
        std::jthread Other([&] {
            Meet();
            References[0] = Object->Reference();
        });
        Meet();
        References[1] = Object->Reference();
        Other.join();
        Object.reset();
        // Both share one cell, or one of them would not have noticed.
        EXPECT_EQ(References[0].Get(), nullptr);
        EXPECT_EQ(References[1].Get(), nullptr);
    }
}

} // namespace
} // namespace zutools
