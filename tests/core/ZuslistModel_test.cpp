// Random work on the lists of parameters, step by step beside a plain reference that knows the rules and the
// collator only: whatever a list keeps to be quick must not change an answer.

#include "core/Zuslist.h"
#include "platform/Text.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <string>
#include <type_traits>
#include <vector>

namespace zutools {
namespace {

/// The rules, written down as plainly as they can be.
class TReference {
public:
    struct TItem {
        std::u16string Name, Value, InitValue;
    };
    std::vector<TItem> Items;
    TMethodID MethodID = midBinary;
    bool CaseSensitivity = false;

    bool FindForAdd(const std::u16string& Name, int& Index) const {
        const int Count = static_cast<int>(Items.size());
        if (MethodID == midBinary) {
            Index = 0;
            if (Count == 0) return false;
            int Low = 0;
            int High = Count - 1;
            while (Low < High) {
                const int Middle = (Low + High) / 2;
                if (Compare(Middle, Name) < 0)
                    Low = Middle + 1;
                else
                    High = Middle;
            }
            Index = Compare(Low, Name) < 0 ? Low + 1 : Low;
            return Compare(Low, Name) == 0;
        }
        Index = MethodID == midUnsortedNoDublicate ? Scan(Name) : -1;
        if (Index >= 0) return true;
        Index = Count;
        return false;
    }
    int Find(const std::u16string& Name) const {
        if (MethodID != midBinary) return Scan(Name);
        int Low = 0;
        int High = static_cast<int>(Items.size()) - 1;
        if (High < 0) return -1;
        while (true) {
            if (Low >= High) return Compare(Low, Name) == 0 ? Low : -1;
            const int Middle = (Low + High) / 2;
            const int Sign = Compare(Middle, Name);
            if (Sign == 0) return Middle;
            if (Sign < 0)
                Low = Middle + 1;
            else
                High = Middle;
        }
    }
    int Add(const std::u16string& Name, const std::u16string& Value) {
        int Index = -1;
        if (!FindForAdd(Name, Index)) Items.insert(Items.begin() + Index, {Name, Value, Value});
        Items[static_cast<std::size_t>(Index)].Value = Value;
        return Index;
    }

private:
    int Compare(int Index, const std::u16string& Name) const {
        return platform::UserCollator().Compare(Items[static_cast<std::size_t>(Index)].Name, Name,
                                                CaseSensitivity);
    }
    int Scan(const std::u16string& Name) const {
        for (int Index = 0; Index < static_cast<int>(Items.size()); ++Index)
            if (Compare(Index, Name) == 0) return Index;
        return -1;
    }
};

template <class TList>
class TWork {
public:
    using TText = typename TList::TText;
    using TItem = std::remove_pointer_t<decltype(std::declval<TList&>().FindParam({}))>;

    TWork(const std::vector<std::u16string>& Pool, unsigned Seed)
        : FPool(Pool)
        , FRandom(Seed) {}

    void Step() {
        const std::u16string Name = AnyName();
        const std::u16string Value = TKXVariant(FStep++).AsString();
        const std::size_t Kind = Number(100);
        if (Kind < 20) {
            EXPECT_EQ(FList.AddParam(T(Name), T(Value)), FReference.Add(Name, Value));
        } else if (Kind < 40) {
            FList.SetValue(T(Name), T(Value));
            FReference.Add(Name, Value);
        } else if (Kind < 52) {
            const int Index = FReference.Find(Name);
            FList.RemoveParam(T(Name));
            if (Index >= 0) Erase(Index);
        } else if (Kind < 55) {
            const int Index = static_cast<int>(Number(static_cast<std::size_t>(FList.Count()) + 2)) - 1;
            FList.SetValues(Index, T(Value)); // one step outside: ignored
            if (Index >= 0 && Index < FList.Count()) At(Index).Value = Value;
        } else if (Kind < 60 && FList.Count() > 0) {
            const int Index = AnyIndex();
            FList.Delete(Index);
            Erase(Index);
        } else if (Kind < 62) {
            // A caller who answers for the order, and mostly breaks it.
            const int Index = static_cast<int>(Number(static_cast<std::size_t>(FList.Count()) + 1));
            auto* const Item = new TItem;
            NameOf(*Item) = T(Name);
            FList.Insert(Index, Item);
            FReference.Items.insert(FReference.Items.begin() + Index, {Name, u"", u""});
        } else if (Kind < 64 && FList.Count() > 0) {
            // A name changed behind the list's back.
            const int Index = AnyIndex();
            NameOf(*static_cast<TItem*>(FList.Items(Index))) = T(Name);
            At(Index).Name = Name;
        } else if (Kind < 65) {
            FList.CaseSensitivity = FReference.CaseSensitivity = Number(2) == 0;
        } else if (Kind < 66) {
            FList.MethodID = FReference.MethodID = static_cast<TMethodID>(Number(3));
        } else if (Kind < 67 && FList.Count() > 6) {
            FList.Clear();
            FReference.Items.clear();
            FList.MethodID = FReference.MethodID = midBinary;
        } else if (Kind < 68) {
            if constexpr (requires { FList.ResetParamsValues(); }) {
                FList.ResetParamsValues();
                for (auto& Item : FReference.Items) Item.Value = Item.InitValue;
            }
        }
        Check(AnyName());
    }

    void CheckAll() {
        ASSERT_EQ(FList.Count(), static_cast<int>(FReference.Items.size()));
        for (int Index = 0; Index < FList.Count(); ++Index) {
            ASSERT_EQ(FList.Param(Index), T(At(Index).Name)) << Index;
            ASSERT_EQ(Shown(FList.Values(Index)), T(At(Index).Value)) << Index;
        }
        for (const int Outside : {-1, FList.Count()}) {
            EXPECT_EQ(FList.Param(Outside), TText());
            EXPECT_EQ(FList.Values(Outside), typename TList::TValue(TText())) << "also a variant is a text";
        }
    }

private:
    void Check(const std::u16string& Name) {
        const std::string Which = platform::Utf16ToUtf8(Name);
        int Index = -2;
        int Wanted = -2;
        const bool Found = FReference.FindForAdd(Name, Wanted);
        EXPECT_EQ(FList.AddElement(TKXVariant(Name), Index) != nullptr, Found) << Which;
        EXPECT_EQ(Index, Wanted) << Which;
        if constexpr (requires { FList.FindForAdd(Name, Index); }) {
            EXPECT_EQ(FList.FindForAdd(Name, Index) != nullptr, Found) << Which;
            EXPECT_EQ(Index, Wanted) << Which;
        }
        const int Position = FReference.Find(Name);
        EXPECT_EQ(FList.GetParamIndex(T(Name)), Position) << Which;
        EXPECT_EQ(FList.FindElementIndex(TKXVariant(Name)), Position) << Which;
        EXPECT_EQ(FList.FindParam(T(Name)), Position < 0 ? nullptr : FList.Items(Position)) << Which;
        EXPECT_EQ(Shown(FList.Value(T(Name))), T(Position < 0 ? u"" : At(Position).Value)) << Which;
    }
    static TText T(const std::u16string& Text) { return {Text.begin(), Text.end()}; }
    static TText Shown(const TText& Value) { return Value; }
    static TText Shown(const TKXVariant& Value)
        requires(!std::is_same_v<TText, std::string>)
    {
        return Value.AsString();
    }
    static auto& NameOf(TItem& Item) {
        if constexpr (requires { Item.FName; })
            return Item.FName;
        else
            return Item.Name;
    }
    std::size_t Number(std::size_t Limit) { return FRandom() % Limit; }
    int AnyIndex() { return static_cast<int>(Number(static_cast<std::size_t>(FList.Count()))); }
    std::u16string AnyName() { return FPool[Number(FPool.size())]; }
    TReference::TItem& At(int Index) { return FReference.Items[static_cast<std::size_t>(Index)]; }
    void Erase(int Index) { FReference.Items.erase(FReference.Items.begin() + Index); }

    const std::vector<std::u16string>& FPool;
    std::mt19937 FRandom;
    int FStep = 0;
    TList FList;
    TReference FReference;
};

std::vector<std::u16string> PoolOf(const std::vector<std::u16string>& Words) {
    std::vector<std::u16string> Pool;
    for (const std::u16string& Word : Words) {
        Pool.push_back(Word);
        Pool.push_back(platform::UpperCase(Word));
        Pool.push_back(Word + u"1");
    }
    return Pool;
}

template <class TList>
class SortedParamsModel : public testing::Test {};
using TLists = testing::Types<TZUSortedParams, TZUSortedVariantParams, TZUSortedParamsA>;
TYPED_TEST_SUITE(SortedParamsModel, TLists);

TYPED_TEST(SortedParamsModel, AnswersAsTheReference) {
    std::vector<std::vector<std::u16string>> Pools = {
        PoolOf({u"a", u"ab", u"abc", u"b", u"Ba", u"_", u"co-op", u"coop", u"10", u"9", u"", u"z z"})};
    if constexpr (!std::is_same_v<TypeParam, TZUSortedParamsA>) {
        Pools.push_back(PoolOf({u"\u0430", u"\u0430\u0431", u"\u0451\u0436", u"\u0435\u0436", u"\u0439",
                                u"\u0438\u0306", u"\u044F"}));
        Pools.push_back(PoolOf({u"a", u"stra\u00DFe", u"strasse", u"\u00E9", u"e\u0301", u"e", u"\u4E00",
                                u"\u0431", u"\u212B", u"\u00E5"}));
    }
    for (unsigned Seed = 1; Seed < 5; ++Seed)
        for (const auto& Pool : Pools) {
            TWork<TypeParam> Work(Pool, Seed);
            for (int Round = 0; Round < 1500 && !this->HasFailure(); ++Round) {
                Work.Step();
                if (Round % 50 == 0) Work.CheckAll();
            }
            Work.CheckAll();
        }
}

// Long enough for the index to grow and to be emptied in an order of its own.
TEST(SortedParams, ThousandsOfNamesComeAndGo) {
    std::mt19937 Random(7);
    TZUSortedParams List;
    std::vector<std::u16string> Names;
    for (int Number = 0; Number < 3000; ++Number) {
        Names.push_back((Number % 5 == 0 ? u"\u4E00" : u"param_") +
                        TKXVariant(Number * 7919 % 3000).AsString());
        List.AddParam(Names.back(), Names.back());
    }
    std::shuffle(Names.begin(), Names.end(), Random);
    while (!Names.empty()) {
        for (int Round = 0; Round < 3; ++Round) {
            const auto& Name = Names[Random() % Names.size()];
            ASSERT_EQ(List.Value(Name), Name);
            ASSERT_EQ(List.Param(List.GetParamIndex(Name)), Name);
        }
        List.RemoveParam(Names.back());
        ASSERT_EQ(List.GetParamIndex(Names.back()), -1);
        Names.pop_back();
        ASSERT_EQ(List.Count(), static_cast<int>(Names.size()));
    }
}

} // namespace
} // namespace zutools
