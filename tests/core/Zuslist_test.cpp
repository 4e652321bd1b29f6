#include "core/Zuslist.h"

#include "host/Exception.h"
#include "host/Format.h"
#include "host/Strings.h"
#include "tests/core/Probe.h"

#include <gtest/gtest.h>

#include <limits>
#include <memory>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

namespace zutools {
namespace {

using TNames = std::vector<std::u16string>;

template <class TList>
TNames NamesOf(const TList& List) {
    TNames Result;
    for (int Index = 0; Index < List.Count(); ++Index) {
        if constexpr (requires { List.Param(Index); })
            Result.emplace_back(List.Param(Index).begin(), List.Param(Index).end());
        else
            Result.push_back(List.Names(Index));
    }
    return Result;
}

constexpr auto InvalidMode = static_cast<TMethodID>(7);

// ---- the generic list

class TNumber : public TObject {
public:
    explicit TNumber(int Number)
        : FNumber(Number) {}
    const int FNumber;
};

std::intptr_t CompareNumber(TObject* Item, const TKXVariant& Value) {
    return static_cast<TNumber*>(Item)->FNumber - Value.AsInteger();
}

TEST(SortedObjectList, FindsByModeAndTieBreak) {
    const struct {
        const char* Name;
        TMethodID Mode;
        std::vector<int> Items;
        int Key;
        int AddIndex;
        bool AddFinds;
        int FindIndex;
    } Rows[] = {
        {"empty", midBinary, {}, 5, 0, false, -1},
        {"only one, equal", midBinary, {5}, 5, 0, true, 0},
        {"before the first", midBinary, {5, 7}, 4, 0, false, -1},
        {"between", midBinary, {5, 7}, 6, 1, false, -1},
        {"behind the last", midBinary, {5, 7}, 8, 2, false, -1},
        {"equal keys: add finds the first, find the middle one", midBinary, {5, 5, 5, 5, 5}, 5, 0, true, 2},
        {"equal keys at the end", midBinary, {1, 5, 5}, 5, 1, true, 1},
        {"out of order: by the search as it goes", midBinary, {9, 1, 5}, 9, 3, false, -1},
        {"unsorted with duplicates: append", midUnsortedDublicate, {9, 1, 9}, 9, 3, false, 0},
        {"unsorted with duplicates, absent", midUnsortedDublicate, {9, 1}, 5, 2, false, -1},
        {"unsorted without: the first", midUnsortedNoDublicate, {9, 1, 1}, 1, 1, true, 1},
        {"unsorted without, absent", midUnsortedNoDublicate, {9, 1}, 5, 2, false, -1},
        {"invalid mode", InvalidMode, {5}, 5, -1, false, -1},
        {"invalid mode, empty", InvalidMode, {}, 5, -1, false, -1},
    };
    for (const auto& Row : Rows) {
        SCOPED_TRACE(Row.Name);
        TZUSortedObjectList List;
        List.SetCompareFunc(CompareNumber);
        List.MethodID = Row.Mode;
        for (const int Item : Row.Items) List.Add(new TNumber(Item));
        int Index = 77;
        TObject* const Found = List.AddElement(Row.Key, Index);
        EXPECT_EQ(Index, Row.AddIndex);
        EXPECT_EQ(Found, Row.AddFinds ? List.Items(Row.AddIndex) : nullptr);
        EXPECT_EQ(List.FindElementIndex(Row.Key), Row.FindIndex);
        EXPECT_EQ(List.FindElement(Row.Key), Row.FindIndex < 0 ? nullptr : List.Items(Row.FindIndex));
        List.RemoveElement(Row.Key);
        EXPECT_EQ(List.Count(), static_cast<int>(Row.Items.size()) - (Row.FindIndex < 0 ? 0 : 1));
    }
}

TEST(SortedObjectList, WithoutComparisonFindsNothing) {
    TZUSortedObjectList List;
    List.Add(new TNumber(1));
    int Index = 0;
    EXPECT_EQ(List.AddElement(1, Index), nullptr);
    EXPECT_EQ(Index, 1);
    EXPECT_EQ(List.FindElementIndex(1), -1);
}

TEST(ObjectList, TellsOfEveryItemThatLeavesBeforeItDies) {
    class TTelling : public TObjectList {
    public:
        TTelling(std::vector<int>& DeathsSeen, int& Deaths)
            : FSeen(DeathsSeen)
            , FDeaths(Deaths) {}
        ~TTelling() override { Clear(); }

    protected:
        void Notify(TObject* Item, TListNotification Action) override {
            if (Action == TListNotification::lnDeleted) FSeen.push_back(FDeaths);
            TObjectList::Notify(Item, Action);
        }

    private:
        std::vector<int>& FSeen;
        int& FDeaths;
    };
    int Deaths = 0;
    std::vector<int> Seen;
    {
        TTelling List(Seen, Deaths);
        for (int Number = 0; Number < 4; ++Number) List.Add(new TProbeObject(Deaths));
        List.Delete(1);
        EXPECT_EQ(Seen, std::vector<int>({0}));
        List.Clear();
        EXPECT_EQ(Seen, std::vector<int>({0, 1, 2, 3}));
        List.Add(new TProbeObject(Deaths));
    }
    EXPECT_EQ(Seen, std::vector<int>({0, 1, 2, 3, 4}));
    EXPECT_EQ(Deaths, 5);
}

TEST(ObjectList, BadPositionsRaiseAndLeaveTheObjectToItsOwner) {
    TObjectList List;
    auto Object = std::make_unique<TObject>();
    for (const int Index : {-1, 1}) EXPECT_THROW(List.Insert(Index, Object.get()), Exception) << Index;
    EXPECT_THROW(List.Delete(0), Exception);
    EXPECT_THROW((void)List.Items(0), Exception);
    EXPECT_EQ(List.Count(), 0);
}

// ---- by identity

TEST(SortedObjects, KeepsEachObjectOnceAndFreesIt) {
    int Deaths = 0;
    {
        TZUSortedObjects List;
        TObject* const One = new TProbeObject(Deaths);
        TObject* const Other = new TProbeObject(Deaths);
        EXPECT_EQ(List.AddObject(One), 0);
        EXPECT_EQ(List.AddObject(Other), Other < One ? 0 : 1);
        EXPECT_EQ(List.AddObject(One), Other < One ? 1 : 0);
        EXPECT_EQ(List.Count(), 2);
        int Index = -1;
        EXPECT_TRUE(List.FindObject(Other, Index));
        EXPECT_EQ(List.Items(Index), Other);
        EXPECT_EQ(List.FindElementIndex(PointerAsLVar(Other)), Index);
        List.RemoveObject(One);
        EXPECT_EQ(Deaths, 1);
        List.RemoveObject(nullptr);
        EXPECT_EQ(List.Count(), 1);
    }
    EXPECT_EQ(Deaths, 2);
}

TEST(SortedObjects, ComparesWholeAddresses) {
    // These differ above the lowest 32 bits only.
    TZUSortedObjects List;
    List.OwnsObjects = false;
    if constexpr (sizeof(void*) == 8) {
        const auto At = [](std::uintptr_t Address) { return reinterpret_cast<const TObject*>(Address); };
        alignas(16) static char Place[16];
        const auto Base = reinterpret_cast<std::uintptr_t>(Place);
        auto* const Real = reinterpret_cast<TObject*>(Place); // never looked into
        List.AddObject(Real);
        int Index = -1;
        EXPECT_FALSE(List.FindObject(At(Base + (std::uintptr_t{1} << 32)), Index));
        EXPECT_EQ(Index, 1);
        EXPECT_FALSE(List.FindObject(At(Base ^ (std::uintptr_t{1} << 63)), Index));
        EXPECT_TRUE(List.FindObject(Real, Index));
    }
    List.Clear();
}

// ---- by integer

TEST(SortedIDObjects, OrdersAndFindsByID) {
    TZUSortedIDObjects List;
    TObject Objects[3];
    EXPECT_EQ(List.AddObject(20, &Objects[0]), 0);
    EXPECT_EQ(List.AddObject(-5, &Objects[1]), 0);
    EXPECT_EQ(List.AddObject(7, &Objects[2]), 1);
    EXPECT_EQ(List.ID(0), -5);
    EXPECT_EQ(List.ID(1), 7);
    EXPECT_EQ(List.ID(2), 20);
    EXPECT_EQ(List.ObjectByID(20), &Objects[0]);
    EXPECT_EQ(List.ObjectByID(21), nullptr);
    int Index = -1;
    EXPECT_FALSE(List.FindObject(8, Index));
    EXPECT_EQ(Index, 2) << "the insertion position";
    List.RemoveObject(7);
    EXPECT_EQ(List.Count(), 2);
    for (const int Outside : {-1, 2}) {
        EXPECT_EQ(List.ID(Outside), 0);
        EXPECT_EQ(List.Objects(Outside), nullptr);
        List.SetObjects(Outside, &Objects[2]);
    }
    EXPECT_EQ(List.Objects(1), &Objects[0]);
}

TEST(SortedIDObjects, KeptOnPurpose_IDsOfOppositeSignThatOverflowOrderWrongly) {
    constexpr std::int32_t Low = std::numeric_limits<std::int32_t>::min();
    constexpr std::int32_t High = std::numeric_limits<std::int32_t>::max();
    TZUSortedIDObjects List;
    List.AddObject(Low, nullptr);
    EXPECT_EQ(List.AddObject(High, nullptr), 0)
        << "Low - High wraps round to 1: Low counts as the greater one";
    EXPECT_EQ(List.ID(1), Low);
}

TEST(SortedIDObjects, KeptOnPurpose_ReplacingAnObjectByItselfFreesIt) {
    int Deaths = 0;
    TZUSortedIDObjects List;
    List.FlagDestroyObject = true;
    TObject* const Object = new TProbeObject(Deaths);
    List.AddObject(1, Object);
    List.AddObject(1, Object);
    EXPECT_EQ(Deaths, 1);
    List.FlagDestroyObject = false; // it is gone
}

TEST(SortedIDObjects, FreesObjectsOnlyWhileTheFlagIsSet) {
    for (const bool Flag : {false, true}) {
        int Deaths = 0;
        std::vector<std::unique_ptr<TObject>> Kept;
        const auto Fresh = [&] {
            TObject* const Object = new TProbeObject(Deaths);
            if (!Flag) Kept.emplace_back(Object);
            return Object;
        };
        {
            TZUSortedIDObjects List;
            List.FlagDestroyObject = Flag;
            List.AddObject(1, Fresh());
            List.AddObject(1, Fresh());
            EXPECT_EQ(Deaths, Flag ? 1 : 0);
            List.SetObjects(0, Fresh());
            EXPECT_EQ(Deaths, Flag ? 2 : 0);
            List.InsertObject(1, 0, Fresh());
            List.RemoveObject(1);
            EXPECT_EQ(Deaths, Flag ? 3 : 0);
        }
        EXPECT_EQ(Deaths, Flag ? 4 : 0);
    }
}

// ---- by name

TEST(SortedNamedObjects, FreesByTheRuleOfTheEntry) {
    const struct {
        std::uint8_t DelObject;
        bool Flag;
        bool Frees;
    } Rows[] = {{0, false, false}, {0, true, true},  {1, false, true},
                {1, true, true},   {2, true, false}, {255, true, false}};
    for (const auto& Row : Rows) {
        SCOPED_TRACE(testing::Message() << "DelObject " << int{Row.DelObject} << ", flag " << Row.Flag);
        int Deaths = 0;
        std::vector<std::unique_ptr<TObject>> Kept;
        const auto Fresh = [&] {
            TObject* const Object = new TProbeObject(Deaths);
            if (!Row.Frees) Kept.emplace_back(Object);
            return Object;
        };
        int Wanted = 0;
        const auto ExpectOneMore = [&](const char* What) {
            Wanted += Row.Frees;
            EXPECT_EQ(Deaths, Wanted) << What;
        };
        {
            TZUSortedNamedObjects List;
            List.FlagDestroyObject = Row.Flag;
            List.AddObject(u"a", Fresh(), Row.DelObject);
            List.AddObject(u"A", Fresh(), Row.DelObject);
            ExpectOneMore("replaced by AddObject");
            List.SetObjects(0, Fresh());
            ExpectOneMore("replaced by SetObjects");
            List.RemoveObject(u"a");
            ExpectOneMore("removed");
            List.AddObject(u"b", Fresh(), Row.DelObject);
            List.Clear();
            ExpectOneMore("cleared");
            List.AddObject(u"c", Fresh(), Row.DelObject);
        }
        ExpectOneMore("destroyed");
    }
}

TEST(SortedNamedObjects, KeptOnPurpose_ReplacingAnObjectByItselfFreesItByTheOldRule) {
    int Deaths = 0;
    TZUSortedNamedObjects List;
    TObject* const Object = new TProbeObject(Deaths);
    List.AddObject(u"a", Object, 1);
    List.AddObject(u"a", Object, 2);
    EXPECT_EQ(Deaths, 1);
}

TEST(SortedNamedObjects, FindsNamesAndTakesOverAnotherList) {
    TObject One;
    TObject Two;
    TZUSortedNamedObjects List;
    List.AddObject(u"beta", &Two, 2);
    EXPECT_EQ(List.AddObject(u"Alpha", &One, 2), 0);
    int Index = -1;
    EXPECT_TRUE(List.FindObject(u"BETA", Index));
    EXPECT_EQ(Index, 1);
    EXPECT_FALSE(List.FindObject(u"azimuth", Index));
    EXPECT_EQ(Index, 1);
    EXPECT_EQ(List.ObjectByName(u"alpha"), &One);
    EXPECT_EQ(List.ObjectByName(u"gamma"), nullptr);
    EXPECT_EQ(List.Names(-1) + List.Names(2), u"");

    TZUSortedNamedObjects Copy;
    Copy.AddObject(u"gone", nullptr, 0);
    Copy.Assign(List);
    EXPECT_EQ(NamesOf(Copy), TNames({u"Alpha", u"beta"}));
    EXPECT_EQ(Copy.Objects(1), &Two);
    Copy.Assign(Copy);
    Copy.Assign(TZUSortedParams());
    EXPECT_EQ(Copy.Count(), 2);
}

// ---- parameters

/// What the two lists of texts have in common, each in its kind of text.
template <class TList>
class ParamsOfBothTexts : public testing::Test {
protected:
    using TItem = std::conditional_t<std::is_same_v<TList, TZUSortedParams>, TZUParamObject, TZUParamObjectA>;
    using TText = decltype(TItem::FValue);
    static TText T(std::string_view Ascii) { return {Ascii.begin(), Ascii.end()}; }

    TList FList;
};
using TBothTexts = testing::Types<TZUSortedParams, TZUSortedParamsA>;
TYPED_TEST_SUITE(ParamsOfBothTexts, TBothTexts);

TYPED_TEST(ParamsOfBothTexts, KeepTheFirstValueBesideTheCurrentOne) {
    auto& List = this->FList;
    const auto T = [](std::string_view Ascii) { return TestFixture::T(Ascii); };
    EXPECT_EQ(List.AddParamValue(T(" b = 1 "), T("=")), 0);
    EXPECT_EQ(List.AddParam(T("a"), T("2")), 0);
    EXPECT_EQ(List.AddParam(T("B"), T("3")), 1);
    EXPECT_EQ(List.Param(1), T("b")) << "spelled as first";
    EXPECT_EQ(List.Value(T("B")), T("3"));
    EXPECT_EQ(List.FindElementIndex(u"B"), 1);
    List.SetValue(T("c"), T("4"));
    List.SetValue(T("c"), T("5"));
    EXPECT_EQ(List.GetParamIndex(T("C")), 2);
    List.ResetParamsValues();
    EXPECT_EQ(List.Values(1), T("1"));
    EXPECT_EQ(List.Value(T("c")), T("4")) << "written under an unknown name, it is the initial value too";
    List.SetValues(1, T("6"));
    for (const int Outside : {-1, 3}) {
        List.SetValues(Outside, T("7"));
        EXPECT_EQ(List.Values(Outside) + List.Param(Outside), T(""));
    }
    EXPECT_EQ(List.Values(1), T("6"));
    EXPECT_EQ(List.GetParamIndex(T("none")), -1);
    EXPECT_EQ(List.Value(T("none")), T(""));
    List.RemoveParam(T("A"));
    List.RemoveParam(T("none"));
    List.CaseSensitivity = true;
    List.AddParam(T("B"), T("8"));
    EXPECT_EQ(NamesOf(List), TNames({u"b", u"B", u"c"}));
}

TYPED_TEST(ParamsOfBothTexts, AssignTakesItsThreeSourcesAndNothingElse) {
    auto& List = this->FList;
    const auto T = [](std::string_view Ascii) { return TestFixture::T(Ascii); };
    TypeParam Source;
    Source.AddParam(T("a"), T("1"));
    Source.AddParam(T("a"), T("2"));
    List.Assign(Source);
    List.SetValue(T("a"), T("3"));
    List.ResetParamsValues();
    EXPECT_EQ(List.Value(T("a")), T("2")) << "the source's current value is the copy's initial one";

    TStringList Lines;
    Lines.SetText(u"b = x = 1 \r\n c ");
    List.Assign(Lines);
    EXPECT_EQ(NamesOf(List), TNames({u" c ", u"b"}));
    EXPECT_EQ(List.Value(T("b")), T("x = 1"));

    // A list that holds this very list's items: they are read before they are freed.
    TObjectList Items;
    Items.OwnsObjects = false;
    Items.Add(List.Items(1));
    List.Assign(Items);
    Items.Clear();

    TObjectList Mixed;
    Mixed.Add(new typename TestFixture::TItem);
    Mixed.Add(new TObject);
    EXPECT_THROW(List.Assign(Mixed), EIObjectError);
    List.Assign(TObject());
    List.Assign(TObjectList());
    List.Assign(TZUSortedVariantParams());
    List.Assign(List);
    EXPECT_EQ(NamesOf(List), TNames({u"b"}));
}

TEST(SortedParams, SplitsTextsAtTheDelimiter) {
    const struct {
        std::u16string_view Text, Delimiter, Name, Value;
    } Rows[] = {
        {u" x = 1 ", u"=", u"x", u"1"},
        {u"x", u"=", u"x", u""},
        {u" x ", u"=", u" x ", u""},
        {u"x=y=z", u"=", u"x", u"y=z"},
        {u"x :: 1\t", u"::", u"x", u"1"},
        {u"=v", u"=", u"", u"v"},
        {u"a=b", u"", u"a=b", u""},
        {u"", u"=", u"", u""},
        {u"\u0446\u0435\u043D\u0430=\u0434\u0430", u"=", u"\u0446\u0435\u043D\u0430", u"\u0434\u0430"},
    };
    for (const auto& Row : Rows) {
        TZUSortedParams List;
        EXPECT_EQ(List.AddParamValue(Row.Text, Row.Delimiter), 0);
        EXPECT_EQ(List.Param(0), Row.Name);
        EXPECT_EQ(List.Values(0), Row.Value);
    }
}

TEST(SortedParams, WritesAndReadsItsText) {
    TZUSortedParams List;
    EXPECT_EQ(List.AsString(), u"");
    List.AddParam(u"b", u"2");
    List.AddParam(u"a", u"1");
    EXPECT_EQ(List.AsString(), u"a=1\r\nb=2\r\n");
    List.SetAsString(u"z = 26\ry=25\nx\r\nz=27");
    EXPECT_EQ(List.AsString(), u"x=\r\ny=25\r\nz=27\r\n");
}

TEST(SortedParams, MakesItsItemsInOnePlace) {
    class TOwnParam : public TZUParamObject {
    public:
        int Mark = 17;
    };
    class TOwnParams : public TZUSortedParams {
    protected:
        std::unique_ptr<TZUParamObject> CreateObject() const override {
            return std::make_unique<TOwnParam>();
        }
    };
    TOwnParams List;
    List.SetAsString(u"a=1");
    auto* const Item = dynamic_cast<TOwnParam*>(List.Items(0));
    ASSERT_NE(Item, nullptr);
    EXPECT_EQ(Item->Mark, 17);
    EXPECT_EQ(Item->FValue, u"1");
}

TEST(SortedParams, PublishesItsItemsFields) {
    TZUParamObject Item;
    for (const std::u16string_view Name : {u"Name", u"Value", u"InitValue"}) {
        const TPropInfo* const Property = Item.ClassInfo().FindProperty(Name);
        ASSERT_NE(Property, nullptr);
        Property->Set(Item, TKXVariant(Name));
        EXPECT_EQ(Property->Get(Item).AsString(), Name);
    }
    EXPECT_EQ(Item.FName, u"Name");
    EXPECT_EQ(Item.FInitValue, u"InitValue");
}

TEST(SortedParams, RefusesItemsOfAnotherClass) {
    TZUSortedParams List;
    auto Stranger = std::make_unique<TObject>();
    EXPECT_THROW(List.Insert(0, Stranger.get()), EIObjectError);
    EXPECT_THROW(List.Add(nullptr), EIObjectError);
    EXPECT_EQ(List.Count(), 0);
}

TEST(SortedParams, InvalidModeAddsAndFindsNothing) {
    TZUSortedParams List;
    List.AddParam(u"a", u"1");
    List.MethodID = InvalidMode;
    EXPECT_THROW(List.AddParam(u"a", u"2"), Exception);
    EXPECT_EQ(List.GetParamIndex(u"a"), -1);
    EXPECT_EQ(List.Value(u"a"), u"");
    EXPECT_EQ(List.Count(), 1);
}

TEST(SortedParams, ACallersComparisonReplacesItsOwn) {
    TZUSortedParams List;
    List.SetCompareFunc([](TObject* Item, const TKXVariant& Value) -> std::intptr_t {
        return Value.AsString().compare(static_cast<TZUParamObject*>(Item)->FName.Text()); // falling
    });
    List.AddParam(u"a", u"1");
    List.AddParam(u"c", u"1");
    List.AddParam(u"b", u"1");
    EXPECT_EQ(NamesOf(List), TNames({u"c", u"b", u"a"}));
    EXPECT_EQ(List.GetParamIndex(u"b"), 1);
    EXPECT_EQ(List.GetParamIndex(u"B"), -1);
}

TEST(SortedParamsA, RefusesLinesThatTheCodePageLacks) {
    TZUSortedParamsA List;
    List.AddParam("q", "1");
    TStringList Lines;
    Lines.SetText(u"q=\u4E00");
    EXPECT_THROW(List.Assign(Lines), EVariantError);
    EXPECT_EQ(List.Value("q"), "1");
}

TEST(SortedVariantParams, KeepsVariantsByName) {
    TZUSortedVariantParams List;
    List.AddParam(u"b", 5);
    List.AddParam(u"a", 1.5);
    List.SetValue(u"B", true);
    EXPECT_EQ(List.Value(u"b"), TKXVariant(true));
    EXPECT_TRUE(List.Value(u"none").IsNull());
    EXPECT_EQ(List.Values(0), TKXVariant(1.5));
    for (const int Outside : {-1, 2}) {
        EXPECT_EQ(List.Values(Outside), TKXVariant(u"")) << "an empty text, not null";
        List.SetValues(Outside, 9);
    }
    List.SetValues(0, u"x");
    EXPECT_EQ(List.Value(u"a"), TKXVariant(u"x"));
    List.RemoveParam(u"a");
    EXPECT_EQ(List.GetParamIndex(u"b"), 0);
}

TEST(SortedVariantParams, AssignTakesTexts) {
    TZUSortedParams Texts;
    Texts.AddParam(u"a", u"1");
    TZUSortedVariantParams List;
    List.Assign(Texts);
    EXPECT_EQ(List.Value(u"a"), TKXVariant(u"1"));
    TStringList Lines;
    Lines.Add(u"b = 2");
    List.Assign(Lines);
    EXPECT_EQ(NamesOf(List), TNames({u"b"}));
    EXPECT_EQ(List.Value(u"b"), TKXVariant(u"2"));
}

TEST(SortedVariantParams, KeptOnPurpose_AListOfTheSameClassIsNoSource) {
    TZUSortedVariantParams Source;
    Source.AddParam(u"a", 1);
    TZUSortedVariantParams List;
    List.AddParam(u"b", 2);
    List.Assign(Source);
    EXPECT_EQ(NamesOf(List), TNames({u"b"}));
}

TEST(SortedVariantParams, ClearsTheValueOfAnEntryThatLeaves) {
    TZUSortedVariantParams List;
    List.OwnsObjects = false;
    TZUParamVariantObject Item;
    Item.Name = u"a";
    Item.Value = 1;
    List.Add(&Item);
    List.RemoveParam(u"a");
    EXPECT_TRUE(Item.Value.IsNull());
}

TEST(ObjectList, AnErrorOfNotifyLeavesTheListAsItWas) {
    struct TPicky : TZUSortedParams {
        bool Refuses = false;
        void Notify(TObject* Item, TListNotification Action) override {
            if (Refuses && Action == TListNotification::lnAdded) throw Exception(u"refused");
            TZUSortedParams::Notify(Item, Action);
        }
    } List;
    List.AddParam(u"b", u"1");
    List.Refuses = true;
    EXPECT_THROW(List.AddParam(u"a", u"2"), Exception);
    EXPECT_EQ(List.AsString(), u"b=1\r\n");
    EXPECT_EQ(List.GetParamIndex(u"a"), -1);
    EXPECT_EQ(List.GetParamIndex(u"b"), 0);
    List.Refuses = false;
    EXPECT_EQ(List.AddParam(u"A", u"3"), 0);
    EXPECT_EQ(List.Value(u"a"), u"3");
}

TEST(ItemName, IsATextForItsReaders) {
    TZUParamObject Param;
    Param.FName = u"b";
    const std::u16string Text = u"b";
    EXPECT_TRUE(Param.FName == Text && Text == Param.FName && Param.FName == u"b" && u"b" == Param.FName);
    EXPECT_TRUE(Param.FName == Param.FName && Param.FName != u"c" && Param.FName < u"c" &&
                u"a" < Param.FName);
    EXPECT_EQ(u"a" + Param.FName + u"c" + Param.FName, u"abcb");
    EXPECT_EQ(Param.FName + Text + (Text + Param.FName) + (Param.FName + u'!'), u"bbbbb!");
    EXPECT_EQ(Format(u"<%s>", {Param.FName}), u"<b>");
    EXPECT_EQ(TKXVariant(Param.FName), TKXVariant(u"b"));
}

} // namespace
} // namespace zutools
