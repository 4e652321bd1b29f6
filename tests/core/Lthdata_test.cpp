#include "core/Lthdata.h"

#include "tests/core/Probe.h"
#include "tests/support/Raised.h"

#include <gtest/gtest.h>

#include <thread>

using namespace zutools;
using tests::Raised;

namespace {

using TPublished = TProbe<TIRegObject>;

class Lthdata : public testing::Test {
protected:
    Lthdata() {
        Data.Params.AddParam(u"Department", u"7");
        Data.SetIRegObject(u"Order", &Order, 2);
        Data.SetIRegObject(u"Empty", nullptr, 0);
    }
    static int Entries(const TZUThreadDataInterface& Space) {
        return Space.Params.Count() + Space.Objects.Count() + Space.CustomObjects.Count();
    }

    int Deaths = 0;
    TPublished Order{Deaths};
    TZUThreadDataInterface Data;
};

TEST_F(Lthdata, KeptOnPurposeScriptsReadNullForUnknownNamesAndTheirWritesAreDropped) {
    const struct {
        std::string Name;
        TObject* Read;
        std::string Written;
    } Rows[] = {
        {"Order", &Order, "You cannot change static object Order."},
        {"ORDER", &Order, "You cannot change static object ORDER."},
        {"Empty", nullptr, "You cannot change static object Empty."},
        {"department", nullptr, "You cannot change the value of the static param department."},
        {"Nobody", nullptr, "nothing raised"},
        {"", nullptr, "nothing raised"},
    };
    for (const auto& Row : Rows) {
        const std::u16string Name = platform::Utf8ToUtf16(Row.Name);
        const TKXVariant Value(5);
        EXPECT_EQ(Raised<EZUThreadData>(
                      [&] { EXPECT_TRUE(Data.SetPropertyInternal(Name, TScriptArgs(&Value, 1), 0)); }),
                  Row.Written);
        TKXVariant Result;
        EXPECT_TRUE(Data.GetPropertyInternal(Name, {}, 0, Result));
        EXPECT_EQ(Result, PointerAsLVar(Row.Read)) << Row.Name;
    }
    EXPECT_EQ(Data.Params.AsString(), u"Department=7\r\n");
    EXPECT_EQ(Entries(Data), 3);
}

TEST_F(Lthdata, RegisteredNamesComeBeforeObjectsAndParameters) {
    const TClassInfo& Class = TZUThreadDataInterface::StaticClass();
    static TKXVariant Written;
    ScriptRegistry().RegisterProperty(
        Class, u"Department", 0, [](TObject&, TScriptArgs) { return TKXVariant(1); },
        [](TObject&, TScriptArgs, const TKXVariant& Value) { Written = Value; }, false);
    TKXVariant Result;
    const TKXVariant Value(5);
    EXPECT_TRUE(Data.GetPropertyInternal(u"department", {}, 0, Result));
    EXPECT_TRUE(Data.SetPropertyInternal(u"department", TScriptArgs(&Value, 1), 0));
    ScriptRegistry().UnregisterClass(Class);
    EXPECT_EQ(Result, TKXVariant(1));
    EXPECT_EQ(Written, Value);
}

TEST_F(Lthdata, AnObjectCannotTakeTheNameOfAParameter) {
    for (const std::u16string_view Name : {u"Department", u"DEPARTMENT"})
        EXPECT_EQ(Raised<EZUThreadData>([&] { Data.SetIRegObject(Name, &Order, 0); }),
                  "Error set object " + platform::Utf16ToUtf8(Name) +
                      " already exists param with this name.");
    EXPECT_EQ(Entries(Data), 3);
    EXPECT_EQ(Deaths, 0);
}

TEST_F(Lthdata, WhoFreesAnObject) {
    for (const auto& [DelObject, Freed] : {std::pair{std::uint8_t{0}, 1}, {1, 1}, {2, 0}, {255, 0}}) {
        int Count = 0;
        auto Object = std::make_unique<TPublished>(Count);
        Data.SetIRegObject(u"Given", Object.get(), DelObject);
        Data.Clear();
        EXPECT_EQ(Count, Freed) << int{DelObject};
        if (Freed != 0) static_cast<void>(Object.release());
        EXPECT_EQ(Entries(Data), 0);
    }
    int Count = 0;
    TProbeObject Lent(Count);
    Data.CustomObjects.AddObject(u"Lent", &Lent, 0);
    Data.CustomObjects.AddObject(u"Given", new TProbeObject(Count), 1);
    Data.Clear();
    EXPECT_EQ(Count, 1) << "custom objects stay their owners' unless given";
    for (const auto& Value :
         {PointerAsLVar(new TProbeObject(Count)), PointerAsLVar(nullptr), TKXVariant(u"x")})
        TZUCustomObject().Value = Value;
    EXPECT_EQ(Count, 2) << "an object in a value is its own";
}

TEST_F(Lthdata, KeptOnPurposeAssignTakesOverEveryListButASpaceOfItselfIsEmptied) {
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
    Other.Assign(Other);
    EXPECT_EQ(Entries(Other), 0);
    EXPECT_EQ(Deaths, 0) << "the byte 2 came along";
}

TEST_F(Lthdata, PublishedObjectsGoLastAndTheSpaceIsAnnouncedWhileItLives) {
    struct TWitness : TIRegObject {
        TWitness(TZUThreadDataInterface& AData, int& AFound)
            : Data(AData)
            , Found(AFound) {}
        ~TWitness() override { Found = Data.Params.Count() + Data.CustomObjects.Count(); }
        TZUThreadDataInterface& Data;
        int& Found;
    };
    int Found = -1;
    auto Space = std::make_unique<TZUThreadDataInterface>();
    const TIRegObject& Gone = *Space; // asked by its address only
    EXPECT_TRUE(IsInterfaceObjectRegistered(Gone));
    Space->Params.AddParam(u"A", u"1");
    Space->CustomObjects.AddObject(u"B", nullptr, 0);
    Space->SetIRegObject(u"Witness", new TWitness(*Space, Found), 0);
    Space.reset();
    EXPECT_EQ(Found, 0);
    EXPECT_FALSE(IsInterfaceObjectRegistered(Gone));
}

TEST_F(Lthdata, EveryThreadHasItsOwnSpaceUntilTheContainerGoes) {
    auto Container = std::make_unique<TZUThreadDataContainer>();
    TZUThreadDataInterface* const Mine = Container->CurrentData();
    Mine->Params.AddParam(u"Who", u"main");
    std::thread([&] {
        TZUThreadDataInterface* const Theirs = Container->CurrentData();
        EXPECT_NE(Theirs, Mine);
        EXPECT_EQ(Theirs, Container->CurrentData());
        EXPECT_EQ(Theirs->Params.Count(), 0);
        Theirs->SetIRegObject(u"Object", new TPublished(Deaths), 0);
        Container->ReleaseThreadData();
        EXPECT_EQ(Deaths, 1);
        EXPECT_EQ(Container->CurrentData()->Objects.Count(), 0);
        Container->CurrentData()->SetIRegObject(u"Left", new TPublished(Deaths), 0);
    }).join();
    EXPECT_EQ(Container->CurrentData(), Mine);
    EXPECT_EQ(Mine->Params.Value(u"who"), u"main");
    EXPECT_EQ(Deaths, 1);
    Container.reset();
    EXPECT_EQ(Deaths, 2);
}

TEST_F(Lthdata, AnItemOfAnotherClassIsRefused) {
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

} // namespace
