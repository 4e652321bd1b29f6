#include "core/Lthdata.h"

#include "tests/core/Probe.h"
#include "tests/support/Raised.h"

#include <gtest/gtest.h>

#include <thread>

using namespace zutools;
using tests::Raised;

namespace {

using TPublished = TProbe<TIRegObject>;

class LthdataTest : public testing::Test {
protected:
    LthdataTest() {
        Data.Params.AddParam(u"Department", u"7");
        Data.SetIRegObject(u"Order", &Order, 2);
    }

    TKXVariant Read(std::u16string_view Name) {
        TKXVariant Result;
        EXPECT_TRUE(Data.GetPropertyInternal(Name, {}, 0, Result));
        return Result;
    }

    std::string Write(std::u16string_view Name) {
        const TKXVariant Value(5);
        return Raised<EZUThreadData>(
            [&] { EXPECT_TRUE(Data.SetPropertyInternal(Name, TScriptArgs(&Value, 1), 0)); });
    }

    int Deaths = 0;
    TPublished Order{Deaths};
    TZUThreadDataInterface Data;
};

TEST_F(LthdataTest, ScriptsReadPublishedObjectsInAnyLetterCase) {
    for (const std::u16string_view Name : {u"Order", u"ORDER", u"order"}) {
        EXPECT_EQ(Read(Name).AsObject(), &Order);
    }
}

TEST_F(LthdataTest, KeptOnPurposeAnUnknownNameIsANullObjectAndNoError) {
    for (const std::u16string_view Name : {u"Nobody", u"", u"Department"}) {
        EXPECT_EQ(Read(Name), PointerAsLVar(nullptr));
    }
}

TEST_F(LthdataTest, WhatScriptsWrite) {
    EXPECT_EQ(Write(u"department"), "You cannot change the value of the static param department.");
    EXPECT_EQ(Write(u"ORDER"), "You cannot change static object ORDER.");
    EXPECT_EQ(Data.Params.Value(u"Department"), u"7");
    EXPECT_EQ(Read(u"Order").AsObject(), &Order);
    Data.SetIRegObject(u"Empty", nullptr, 0);
    EXPECT_EQ(Read(u"Empty"), PointerAsLVar(nullptr));
    EXPECT_EQ(Write(u"Empty"), "You cannot change static object Empty.");
}

TEST_F(LthdataTest, KeptOnPurposeAWriteToAnUnknownNameIsDropped) {
    EXPECT_EQ(Write(u"Nobody"), "nothing raised");
    EXPECT_EQ(Read(u"Nobody"), PointerAsLVar(nullptr));
    EXPECT_EQ(Data.Params.Count(), 1);
    EXPECT_EQ(Data.Objects.Count(), 1);
}

TEST_F(LthdataTest, AnObjectCannotTakeTheNameOfAParameter) {
    for (const std::u16string_view Name : {u"Department", u"DEPARTMENT", u"department"}) {
        EXPECT_EQ(Raised<EZUThreadData>([&] { Data.SetIRegObject(Name, &Order, 0); }),
                  "Error set object " + platform::Utf16ToUtf8(Name) +
                      " already exists param with this name.");
    }
    EXPECT_EQ(Data.Objects.Count(), 1);
    EXPECT_EQ(Deaths, 0);
}

TEST_F(LthdataTest, WhoFreesAPublishedObject) {
    for (const auto& [DelObject, Freed] : {std::pair{std::uint8_t{0}, 1}, {1, 1}, {2, 0}, {255, 0}}) {
        int Count = 0;
        auto Object = std::make_unique<TPublished>(Count);
        Data.SetIRegObject(u"Given", Object.get(), DelObject);
        Data.Clear();
        EXPECT_EQ(Count, Freed) << int{DelObject};
        if (Freed != 0) static_cast<void>(Object.release());
        EXPECT_EQ(Data.Params.Count() + Data.Objects.Count() + Data.CustomObjects.Count(), 0);
    }
}

TEST_F(LthdataTest, CustomObjectsStayTheirOwnersUnlessGiven) {
    int Count = 0;
    TProbeObject Lent(Count);
    Data.CustomObjects.AddObject(u"Lent", &Lent, 0);
    Data.CustomObjects.AddObject(u"Given", new TProbeObject(Count), 1);
    Data.Clear();
    EXPECT_EQ(Count, 1);
}

TEST_F(LthdataTest, AssignTakesOverEveryListAndDropsWhatWasThere) {
    int Count = 0;
    TProbeObject Further(Count);
    Data.CustomObjects.AddObject(u"Further", &Further, 0);
    TZUThreadDataInterface Other;
    Other.SetIRegObject(u"Old", new TPublished(Count), 0);
    Other.Assign(Data);
    EXPECT_EQ(Count, 1);
    EXPECT_EQ(Other.Params.Value(u"Department"), u"7");
    EXPECT_EQ(Other.Objects.ObjectByName(u"Order"), &Order);
    EXPECT_EQ(Other.CustomObjects.ObjectByName(u"Further"), &Further);
    Other.Clear();
    EXPECT_EQ(Deaths, 0); // the byte 2 came along
}

TEST_F(LthdataTest, KeptOnPurposeAssigningASpaceToItselfEmptiesIt) {
    Data.Assign(Data);
    EXPECT_EQ(Data.Params.Count() + Data.Objects.Count(), 0);
}

TEST(Lthdata, ASpaceIsAnnouncedWhileItLives) {
    auto Data = std::make_unique<TZUThreadDataInterface>();
    EXPECT_TRUE(IsInterfaceObjectRegistered(*Data));
    const TIRegObject& Gone = *Data;
    Data.reset();
    EXPECT_FALSE(IsInterfaceObjectRegistered(Gone)); // asked by its address only
}

TEST(Lthdata, PublishedObjectsGoWhenTheOtherListsAreEmpty) {
    struct TWitness : TIRegObject {
        TWitness(TZUThreadDataInterface& AData, int& AFound)
            : Data(AData)
            , Found(AFound) {}
        ~TWitness() override { Found = Data.Params.Count() + Data.CustomObjects.Count(); }
        TZUThreadDataInterface& Data;
        int& Found;
    };
    int Found = -1;
    auto Data = std::make_unique<TZUThreadDataInterface>();
    Data->Params.AddParam(u"A", u"1");
    Data->CustomObjects.AddObject(u"B", nullptr, 0);
    Data->SetIRegObject(u"Witness", new TWitness(*Data, Found), 0);
    Data.reset();
    EXPECT_EQ(Found, 0);
}

TEST(Lthdata, EveryThreadHasItsOwnSpace) {
    TZUThreadDataContainer Container;
    int Deaths = 0;
    TZUThreadDataInterface* const Mine = Container.CurrentData();
    ASSERT_NE(Mine, nullptr);
    Mine->Params.AddParam(u"Who", u"main");
    std::thread([&] {
        TZUThreadDataInterface* const Theirs = Container.CurrentData();
        EXPECT_NE(Theirs, Mine);
        EXPECT_EQ(Theirs, Container.CurrentData());
        EXPECT_EQ(Theirs->Params.Count(), 0);
        Theirs->SetIRegObject(u"Object", new TPublished(Deaths), 0);
        Container.ReleaseThreadData();
        EXPECT_EQ(Deaths, 1);
        EXPECT_EQ(Container.CurrentData()->Objects.Count(), 0);
        Container.ReleaseThreadData();
    }).join();
    EXPECT_EQ(Container.CurrentData(), Mine);
    EXPECT_EQ(Mine->Params.Value(u"who"), u"main");
}

TEST(Lthdata, TheContainerFreesWhatThreadsLeft) {
    int Deaths = 0;
    auto Container = std::make_unique<TZUThreadDataContainer>();
    std::thread([&] { Container->CurrentData()->SetIRegObject(u"Left", new TPublished(Deaths), 0); }).join();
    EXPECT_EQ(Deaths, 0);
    Container.reset();
    EXPECT_EQ(Deaths, 1);
}

TEST(Lthdata, AnItemOfAnotherClassIsRefused) {
    class TForeign : public TZUThreadDataContainer {
        std::unique_ptr<TThreadContainerParentObject> CreateData() override {
            return std::make_unique<TThreadContainerParentObject>();
        }
    } Foreign;
    EXPECT_EQ(Raised<EIObjectError>([&] { return Foreign.CurrentData(); }),
              "Invalid class typecast: TThreadContainerParentObject is no "
              "TThreadContainerZUInterfaceObject.");
    class TNothing : public TZUThreadDataContainer {
        std::unique_ptr<TThreadContainerParentObject> CreateData() override { return nullptr; }
    } Nothing;
    EXPECT_EQ(Nothing.CurrentData(), nullptr);
}

TEST(Lthdata, CustomObjectFreesTheObjectInItsValue) {
    int Deaths = 0;
    for (const bool WithObject : {true, false}) {
        TZUCustomObject Custom;
        Custom.Value = WithObject ? PointerAsLVar(new TProbeObject(Deaths)) : PointerAsLVar(nullptr);
    }
    {
        TZUCustomObject Custom;
        Custom.Value = u"text";
    }
    EXPECT_EQ(Deaths, 1);
}

} // namespace
