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
#include <tuple>
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

// ---- the generic list: see the model of the parameters too

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
        {"equal keys: add finds the first, find the middle one", midBinary, {5, 5, 5, 5, 5}, 5, 0, true, 2},
        {"out of order: by the search as it goes", midBinary, {9, 1, 5}, 9, 3, false, -1},
        {"unsorted with duplicates: append", midUnsortedDublicate, {9, 1, 9}, 9, 3, false, 0},
        {"unsorted without: the first", midUnsortedNoDublicate, {9, 1, 1}, 1, 1, true, 1},
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

// ---- by identity and by integer

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
        // Addresses that differ above the lowest 32 bits only are others.
        const auto Address = reinterpret_cast<std::uintptr_t>(Other);
        for (int Bit = 32; sizeof(void*) == 8 && Bit < 64; Bit += 31) {
            const auto* const Far = reinterpret_cast<const TObject*>(Address ^ (std::uintptr_t{1} << Bit));
            EXPECT_FALSE(List.FindObject(Far, Index));
        }
        List.RemoveObject(One);
        EXPECT_EQ(Deaths, 1);
        List.RemoveObject(nullptr);
        EXPECT_EQ(List.Count(), 1);
        for (int Time = 0; Time < 2; ++Time) EXPECT_EQ(List.AddObject(nullptr), 0) << "once too";
        EXPECT_EQ(List.Count(), 2);
    }
    EXPECT_EQ(Deaths, 2);
}

TEST(SortedIDObjects, OrdersAndFindsByID) {
    TZUSortedIDObjects List;
    TObject Objects[3];
    EXPECT_EQ(List.AddObject(20, &Objects[0]), 0);
    EXPECT_EQ(List.AddObject(-5, &Objects[1]), 0);
    EXPECT_EQ(List.AddObject(7, &Objects[2]), 1);
    EXPECT_EQ(List.ObjectByID(20), &Objects[0]);
    EXPECT_EQ(List.ObjectByID(21), nullptr);
    int Index = -1;
    EXPECT_FALSE(List.FindObject(8, Index));
    EXPECT_EQ(Index, 2) << "the insertion position";
    List.RemoveObject(7);
    const std::int32_t Rest[] = {0, -5, 20, 0}; // one step outside on either side
    for (int At = -1; At <= 2; ++At) EXPECT_EQ(List.ID(At), Rest[At + 1]);
    for (const int Outside : {-1, 2}) {
        List.SetObjects(Outside, &Objects[2]);
        EXPECT_EQ(List.Objects(Outside), nullptr);
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

// ---- who frees the objects

void Enter(TZUSortedIDObjects& List, int Key, TObject* Object, std::uint8_t) {
    List.AddObject(Key, Object);
}
void Enter(TZUSortedNamedObjects& List, int Key, TObject* Object, std::uint8_t DelObject) {
    List.AddObject(TKXVariant(Key).AsString(), Object, DelObject);
}

template <class TList>
void ExpectFreed(bool Flag, std::uint8_t DelObject, bool Frees) {
    SCOPED_TRACE(testing::Message() << "DelObject " << int{DelObject} << ", flag " << Flag);
    int Deaths = 0;
    std::vector<std::unique_ptr<TObject>> Kept;
    const auto Fresh = [&] {
        TObject* const Object = new TProbeObject(Deaths);
        if (!Frees) Kept.emplace_back(Object);
        return Object;
    };
    int Wanted = 0;
    const auto ExpectOneMore = [&](const char* What) {
        Wanted += Frees;
        EXPECT_EQ(Deaths, Wanted) << What;
    };
    {
        TList List;
        List.FlagDestroyObject = Flag;
        Enter(List, 1, Fresh(), DelObject);
        Enter(List, 1, Fresh(), DelObject);
        ExpectOneMore("replaced by AddObject");
        List.SetObjects(0, Fresh());
        ExpectOneMore("replaced by SetObjects");
        List.Delete(0);
        ExpectOneMore("deleted");
        Enter(List, 2, Fresh(), DelObject);
        List.Clear();
        ExpectOneMore("cleared");
        Enter(List, 3, Fresh(), DelObject);
        if (Frees) { // Kept on purpose: an object that replaces itself is freed, by the rule of its entry
            Enter(List, 3, List.Objects(0), 2);
            ExpectOneMore("replaced by itself");
            List.FlagDestroyObject = false; // it is gone
            return;
        }
    }
    ExpectOneMore("destroyed");
}

TEST(ListsOfObjects, KeptOnPurpose_FreeByTheRuleOfTheEntryTheSameObjectToo) {
    for (const auto& [DelObject, Flag, Frees] : {std::tuple{0, false, false},
                                                 {0, true, true},
                                                 {1, false, true},
                                                 {1, true, true},
                                                 {2, true, false},
                                                 {255, true, false}}) {
        ExpectFreed<TZUSortedNamedObjects>(Flag, static_cast<std::uint8_t>(DelObject), Frees);
        if (DelObject == 0) ExpectFreed<TZUSortedIDObjects>(Flag, 0, Frees);
    }
    int Deaths = 0;
    {
        TZUSortedNamedObjects List;
        List.AddObject(u"a", new TProbeObject(Deaths), 1);
    }
    EXPECT_EQ(Deaths, 1) << "destroyed with the list";
}

// ---- by name

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
    Copy.RemoveObject(u"none");
    Copy.RemoveObject(u"ALPHA");
    EXPECT_EQ(NamesOf(Copy), TNames({u"beta"}));
}

// The second list is not told of the new name of an item that the first one has too.
TEST(SortedNamedObjects, AnItemOfTwoListsIsFoundInBothByTheNameThatItHas) {
    TZUSortedNamedObjects Owner;
    TZUSortedNamedObjects Guest;
    Guest.OwnsObjects = false;
    Owner.AddObject(u"m", nullptr, 0);
    Guest.Add(Owner.Items(0));
    Guest.AddObject(u"p", nullptr, 2);
    const std::unique_ptr<TObject> Own(Guest.Items(1));
    EXPECT_EQ(Guest.FindNameIndex(u"M"), 0);
    static_cast<TZUNamedObject*>(Owner.Items(0))->Name = u"b";
    for (const auto* const List : {&Owner, &Guest}) {
        EXPECT_EQ(List->FindNameIndex(u"B"), 0);
        EXPECT_EQ(List->FindNameIndex(u"m"), -1);
    }
    Guest.Clear();
    static_cast<TZUNamedObject*>(Owner.Items(0))->Name = u"q";
    EXPECT_EQ(Owner.FindNameIndex(u"q"), 0) << "the first list still hears of it";
}

// ---- parameters: see the model too

template <class TList>
class ParamsOfBothTexts : public testing::Test {};
using TBothTexts = testing::Types<TZUSortedParams, TZUSortedParamsA>;
TYPED_TEST_SUITE(ParamsOfBothTexts, TBothTexts);

TYPED_TEST(ParamsOfBothTexts, AssignTakesItsThreeSourcesAndNothingElse) {
    TypeParam List;
    using TItem = std::remove_pointer_t<decltype(List.FindParam({}))>;
    const auto T = [](std::string_view Ascii) {
        return typename TypeParam::TText(Ascii.begin(), Ascii.end());
    };
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
    Mixed.Add(new TItem);
    Mixed.Add(new TObject);
    EXPECT_THROW(List.Assign(Mixed), EIObjectError);
    List.Assign(TObject());
    List.Assign(TObjectList());
    List.Assign(TZUSortedVariantParams());
    List.Assign(List);
    EXPECT_EQ(NamesOf(List), TNames({u"b"}));

    TObject Stranger;
    EXPECT_THROW(List.Insert(0, &Stranger), EIObjectError);
    EXPECT_THROW(List.Add(nullptr), EIObjectError);
    List.MethodID = InvalidMode;
    EXPECT_THROW(List.AddParam(T("b"), T("2")), Exception);
    EXPECT_EQ(List.GetParamIndex(T("b")), -1);
    EXPECT_EQ(List.Count(), 1);
    List.Assign(TypeParam());
    EXPECT_EQ(List.Count(), 0) << "an empty list of the class is a source";
}

TEST(SortedParams, SplitsTextsAtTheDelimiter) {
    const struct {
        std::string Text, Delimiter, Name, Value;
    } Rows[] = {
        {" x = 1 ", "=", "x", "1"},   {"x", "=", "x", ""},
        {" x ", "=", " x ", ""},      {"x=y=z", "=", "x", "y=z"},
        {"x :: 1\t", "::", "x", "1"}, {"=v", "=", "", "v"},
        {"a=b", "", "a=b", ""},       {"", "=", "", ""},
        {"!x! = !", "=", "!x!", "!"},
    };
    for (const auto& Row : Rows) {
        TZUSortedParamsA Narrow;
        EXPECT_EQ(Narrow.AddParamValue(Row.Text, Row.Delimiter), 0);
        EXPECT_EQ(Narrow.Param(0), Row.Name);
        EXPECT_EQ(Narrow.Values(0), Row.Value);
        TZUSortedParams Wide;
        Wide.AddParamValue(platform::Utf8ToUtf16(Row.Text), platform::Utf8ToUtf16(Row.Delimiter));
        EXPECT_EQ(Wide.AsString(), platform::Utf8ToUtf16(Row.Name + "=" + Row.Value + "\r\n"));
    }
    TZUSortedParams List;
    EXPECT_EQ(List.AsString(), u"");
    List.SetAsString(u"z = 26\ry=25\nx\r\nz=27");
    EXPECT_EQ(List.AsString(), u"x=\r\ny=25\r\nz=27\r\n");
    TZUSortedParamsA Narrow;
    Narrow.AddParam("q", "1");
    TStringList Lines;
    Lines.SetText(u"q=\u4E00");
    EXPECT_THROW(Narrow.Assign(Lines), EVariantError) << "the code page lacks it";
    EXPECT_EQ(Narrow.Value("q"), "1");
}

TEST(SortedParams, MakesItsItemsInOnePlace) {
    class TOwnParam : public TZUParamObject {};
    class TOwnParams : public TZUSortedParams {
    protected:
        std::unique_ptr<TZUParamObject> CreateObject() const override {
            return std::make_unique<TOwnParam>();
        }
    };
    TOwnParams List;
    List.SetAsString(u"a=1");
    EXPECT_NE(dynamic_cast<TOwnParam*>(List.Items(0)), nullptr);
    EXPECT_EQ(List.Value(u"a"), u"1");
}

TEST(SortedParams, PublishesItsItemsFields) {
    TZUParamObject Item;
    for (const std::u16string_view Name : {u"Name", u"Value", u"InitValue"}) {
        const TPropInfo* const Property = Item.ClassInfo().FindProperty(Name);
        ASSERT_NE(Property, nullptr);
        Property->Set(Item, TKXVariant(Name));
        EXPECT_EQ(Property->Get(Item).AsString(), Name);
    }
    EXPECT_EQ(Item.FName + Item.FValue + Item.FInitValue, u"NameValueInitValue");
}

TEST(SortedLists, ACallersComparisonReplacesTheirOwn) {
    TZUSortedParams List;
    List.SetCompareFunc([](TObject* Item, const TKXVariant& Value) -> std::intptr_t {
        return Value.AsString().compare(static_cast<TZUParamObject*>(Item)->FName.Text()); // falling
    });
    for (const auto* const Name : {u"a", u"c", u"b"}) List.AddParam(Name, u"1");
    EXPECT_EQ(NamesOf(List), TNames({u"c", u"b", u"a"}));
    EXPECT_EQ(List.GetParamIndex(u"b"), 1);
    EXPECT_EQ(List.GetParamIndex(u"B"), -1);
    EXPECT_EQ(List.Value(u"b") + List.Value(u"B"), u"1");

    TObject Two[2];
    TZUSortedObjects Objects;
    TZUSortedIDObjects IDs;
    Objects.OwnsObjects = false;
    for (TZUSortedObjectList* const Each : std::initializer_list<TZUSortedObjectList*>{&Objects, &IDs})
        Each->SetCompareFunc([](TObject*, const TKXVariant&) { return 0; }); // all are the same
    for (int Number = 0; Number < 2; ++Number) {
        EXPECT_EQ(Objects.AddObject(&Two[Number]), 0);
        EXPECT_EQ(IDs.AddObject(Number, &Two[Number]), 0);
    }
    EXPECT_EQ(IDs.ObjectByID(7), &Two[1]);
    Objects.RemoveObject(&Two[1]);
    IDs.RemoveObject(7);
    EXPECT_EQ(Objects.Count() + IDs.Count(), 0);
}

TEST(SortedVariantParams, KeptOnPurpose_TakesTextsButNoListOfItsClass) {
    TZUSortedParams Texts;
    Texts.AddParam(u"a", u"1");
    TZUSortedVariantParams List;
    List.Assign(Texts);
    EXPECT_EQ(List.Value(u"a"), TKXVariant(u"1"));
    EXPECT_TRUE(List.Value(u"none").IsNull()) << "not an empty text, as out of range";
    TStringList Lines;
    Lines.Add(u"b = 2");
    List.Assign(Lines);
    List.Assign(TZUSortedVariantParams());
    EXPECT_EQ(NamesOf(List), TNames({u"b"}));
    EXPECT_EQ(List.Value(u"b"), TKXVariant(u"2"));

    List.OwnsObjects = false;
    const std::unique_ptr<TZUParamVariantObject> Item(List.FindParam(u"b"));
    List.RemoveParam(u"b");
    EXPECT_TRUE(Item->Value.IsNull()) << "it left the list";
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
