// Random work on a list of parameters, from C++ and from scripts, beside a plain reference; then what that
// cannot say: texts of errors, events, locks.

#include "core/Lparams.h"

#include "host/StringHelpers.h"
#include "host/Strings.h"
#include "tests/support/Raised.h"

#include <gtest/gtest.h>

#include <atomic>
#include <functional>
#include <random>
#include <string>
#include <thread>
#include <vector>

namespace zutools {
namespace {

using tests::Raised;
using TText = std::u16string;

class ParamsList : public testing::Test {
protected:
    ParamsList() { RegisterLparams(ScriptRegistry()); }
    ~ParamsList() override { UnregisterLparams(ScriptRegistry()); }

    TKXVariant Get(std::u16string_view Name, std::vector<TKXVariant> Args = {}) {
        TKXVariant Result;
        EXPECT_TRUE(FList.GetPropertyInternal(Name, Args, static_cast<int>(Args.size()), Result));
        return Result;
    }
    void Set(std::u16string_view Name, std::vector<TKXVariant> ArgsAndValue) {
        EXPECT_TRUE(FList.SetPropertyInternal(Name, ArgsAndValue, static_cast<int>(ArgsAndValue.size()) - 1));
    }

    TParamsList FList;
};

/// The entries in the order of their coming. The set event of the list lets no value "no" through.
class ParamsListModel : public ParamsList {
protected:
    struct TEntry {
        TText Name, Value, InitValue;
    };
    ParamsListModel() {
        FList.SetOnSetParamValue(
            [](auto, std::u16string_view Value, bool& CanSet) { CanSet = Value != u"no"; });
    }
    int Find(const TText& Name) const {
        for (std::size_t At = 0; At < FEntries.size(); ++At)
            if (AnsiCompareText(FEntries[At].Name, Name) == 0) return static_cast<int>(At);
        return -1;
    }
    void Add(const TText& Name, const TText& Value) {
        if (Name.empty() || Value == u"no") return;
        if (const int At = Find(Name); At >= 0)
            FEntries[static_cast<std::size_t>(At)].Value = Value;
        else
            FEntries.push_back({Name, Value, Value});
    }
    void AddSplit(const TText& Line, const TText& Sign) {
        const std::size_t At = Sign.empty() ? TText::npos : Line.find(Sign);
        Add(Line.substr(0, At), At == TText::npos ? TText() : Line.substr(At + Sign.size()));
    }
    void Delete(int Index) {
        if (Index >= 0 && Index < static_cast<int>(FEntries.size())) FEntries.erase(FEntries.begin() + Index);
    }
    TText Joined(const TText& Sign, const TText& Between) const {
        TText Result;
        for (const TEntry& Entry : FEntries)
            Result += (Result.empty() ? TText() : Between) + Entry.Name + Sign + Entry.Value;
        return Result;
    }

    void Step() {
        const TText Name = Any({u"", u"a", u"A", u"b=", u" c ", u"цена", u"ЦЕНА", u"Count", u"straße"});
        const TText Value = Any({u"", u"1", u"x=y", u"no", u" z "});
        const TText Sign = Any({u"=", u"::", u"", u"a"});
        const TText Line = Any({u"", u"a=1", u"B::2=3", u"a=no", u"цена", u"=v", u" a = 1 ", u"d=a\nb=c"});
        const int Index = static_cast<int>(Number(8)) - 2;
        const bool Inside = Index >= 0 && Index < static_cast<int>(FEntries.size());
        const bool Clears = Number(2) == 0;
        TStringList Lines;
        for (std::size_t Count = Number(3); Count > 0; --Count) Lines.Add(Line);
        const std::function<void()> Calls[] = {
            [&] { FList.Add(Name, Value), Add(Name, Value); },
            [&] { FList.SetPLValueByName(Name, Value), Add(Name, Value); },
            [&] { Get(u"Add", {Name, Value}), Add(Name, Value); },
            [&] { Set(u"ErrMessage", {Name, Value}), Add(Name, Value); },
            [&] { Set(u"Value", {TKXVariant::AnsiString("q"), Value}), Add(u"q", Value); },
            [&] { Set(u"Customer", {Value}), Add(u"Customer", Value); }, // an unknown name is a parameter
            [&] { FList.AddStr(Line, Sign), AddSplit(Line, Sign); },
            [&] {
                const bool Script = Number(2) == 0;
                const auto Write = [&] {
                    Script ? Set(u"Value", {Index, Value}) : FList.SetPLValueByIndex(Index, Value);
                };
                if (!Inside) {
                    EXPECT_THROW(Write(), EParamsList);
                } else {
                    Write();
                    if (Value != u"no") FEntries[static_cast<std::size_t>(Index)].Value = Value;
                }
            },
            [&] { FList.Delete(Index), Delete(Index); },
            [&] { Get(u"Delete", {Index}), Delete(Index); },
            [&] { Get(u"Delete", {Name}), Delete(Find(Name)); },
            [&] { FList.DeleteByName(Name), Delete(Find(Name)); },
            [&] {
                FList.FromStrings(&Lines, Sign, Clears);
                FList.FromStrings(nullptr, Sign, false);
                FList.LoadStrings(&Lines);
                FList.LoadStrings(nullptr);
                if (Clears) FEntries.clear();
                for (int At = 0; At < Lines.Count(); ++At) AddSplit(Line, Sign);
                for (int At = 0; At < Lines.Count(); ++At) AddSplit(Line, u"=");
            },
            [&] {
                FList.SetAsString(Line + u"\r\n\r\n" + Line + u"2\r\n");
                FEntries.clear();
                AddSplit(Line, u"=");
                AddSplit(Line + u"2", u"=");
            },
            [&] {
                Get(u"LoadString", {Line + u";;" + Name, u";"});
                AddSplit(Line, u"=");
                AddSplit(Name, u"=");
            },
            [&] {
                TParamsList Other;
                Other.SetAsString(Line);
                Number(2) == 0 ? FList.Concate(&Other) : (void)Get(u"LoadParams", {PointerAsLVar(&Other)});
                if (Other.GetCount() > 0) Add(Other.GetPLName(0), Other.Values(0));
                FList.Concate(Number(2) == 0 ? &FList : nullptr);
                Get(u"LoadParams", {PointerAsLVar(Number(2) == 0 ? &FList : nullptr)});
            },
            [&] {
                if (Number(6) == 0) Number(2) == 0 ? FList.Clear() : (void)Get(u"Clear"), FEntries.clear();
            },
        };
        Calls[Number(std::size(Calls))]();
        Check(Name, Index);
    }

    void Check(const TText& Name, int Index) {
        ASSERT_EQ(FList.GetAsString(), Joined(u"=", u"\r\n"));
        ASSERT_EQ(FList.Count(), static_cast<int>(FEntries.size()));
        const int At = Find(Name);
        const auto ValueOf = [this](int Place) {
            return Place >= 0 && Place < FList.Count() ? FEntries[static_cast<std::size_t>(Place)].Value
                                                       : TText();
        };
        EXPECT_EQ(FList.GetPLNameIndex(Name), At);
        EXPECT_EQ(Get(u"Index", {Name}), TKXVariant(At));
        EXPECT_EQ(FList.Value(Name), ValueOf(At));
        EXPECT_EQ(Get(u"ErrMessage", {Name}), TKXVariant(ValueOf(At)));
        EXPECT_EQ(FList.GetPLValueByIndex(Index), ValueOf(Index));
        EXPECT_EQ(Get(u"Value", {Index}), TKXVariant(ValueOf(Index)));
        EXPECT_EQ(Get(u"Customer"), TKXVariant(ValueOf(Find(u"Customer"))));
        EXPECT_EQ(Get(u"Count"), TKXVariant(FList.Count()));
        if (Index >= 0 && Index < FList.Count()) {
            EXPECT_EQ(FList.GetPLName(Index), FEntries[static_cast<std::size_t>(Index)].Name);
            EXPECT_EQ(Get(u"Err", {Index}), TKXVariant(FList.GetParamObject(Index)->FName));
            EXPECT_EQ(FList.GetParamObject(Index)->FInitValue,
                      FEntries[static_cast<std::size_t>(Index)].InitValue);
        } else {
            EXPECT_EQ(FList.GetParamObject(Index), nullptr);
            EXPECT_THROW((void)FList.GetPLName(Index), EParamsList);
        }
        TStringList Written;
        Written.Add(u"first");
        FList.ToStrings(&Written, u"->", Index > 0);
        FList.ToStrings(nullptr, u"->", true);
        EXPECT_EQ(Written.Text(), (Index > 0 ? u"" : u"first\r\n") + Joined(u"->", u"\r\n") +
                                      (FEntries.empty() ? u"" : u"\r\n"));
    }

    TText Any(std::initializer_list<const char16_t*> Texts) { return Texts.begin()[Number(Texts.size())]; }
    std::size_t Number(std::size_t Limit) { return FRandom() % Limit; }

    std::vector<TEntry> FEntries;
    std::mt19937 FRandom{11};
};

TEST_F(ParamsListModel, AnswersAsTheReference) {
    for (int Round = 0; Round < 4000 && !HasFailure(); ++Round) {
        SCOPED_TRACE(Round);
        Step();
    }
}

TEST_F(ParamsList, ErrorsNameTheIndexAndTheClass) {
    FList.SetAsString(u"a=1");
    EXPECT_EQ(Raised<EParamsList>([&] { return FList.GetPLName(-1); }), "Error name index: -1 in Params.");
    EXPECT_EQ(Raised<EParamsList>([&] { return Get(u"Name", {1}); }), "Error name index: 1 in Params.");
    EXPECT_EQ(Raised<EParamsList>([&] { FList.SetPLValueByIndex(1, u"x"); }),
              "Error value index: 1 in Params.");
    EXPECT_THROW(Set(u"Name", {0, u"x"}), EIObjectError) << "read-only";
    EXPECT_THROW(Get(u"Name"), EIObjectError) << "the number of arguments is checked";
    TObject Stranger;
    EXPECT_THROW(Get(u"LoadParams", {PointerAsLVar(&Stranger)}), EIObjectError);
    EXPECT_THROW(Get(u"LoadParams", {5}), EVariantError);
    EXPECT_EQ(Get(u"DebugInfo"), TKXVariant(u"Number elements: 1")) << "the lock is free again";
    EXPECT_NE(ObjectCast<TParamsList>(ScriptRegistry().FindClass(u"TParamsList")->Create().get()), nullptr);
    // Its own text as the argument.
    FList.SetAsString(u"a=b=1");
    FList.SetAsString(FList.GetParamObject(0)->FValue);
    EXPECT_EQ(FList.AsString(), u"b=1");
}

TEST_F(ParamsList, EventsAreToldTheNameThatIsAskedFor) {
    std::vector<TText> Seen;
    FList.SetAsString(u"old=1");
    const auto Veto = [&](std::u16string_view Name, std::u16string_view Value, bool& CanSet) {
        EXPECT_TRUE(CanSet);
        Seen.push_back(TText(Name) + u"=" + TText(Value));
        CanSet = false;
    };
    FList.SetOnSetParamValue(Veto);
    FList.Add(u"new", u"2");
    FList.Add(u"OLD", u"2");
    FList.SetPLValueByIndex(0, u"2");
    FList.Add(u"", u"2");
    FList.SetOnGetParamValue(Veto);
    for (const TText& Read :
         {FList.GetPLValueByName(u"Old"), FList.GetPLValueByIndex(0), FList.Value(u"none")})
        EXPECT_EQ(Read, u"");
    EXPECT_EQ(Seen, (std::vector<TText>{u"new=2", u"OLD=2", u"old=2", u"Old=1", u"old=1"}));
    EXPECT_EQ(FList.GetAsString(), u"old=1") << "the text form asks no event";
}

TEST_F(ParamsList, AnEventMayRemoveTheEntryItIsAskedAbout) {
    FList.SetAsString(u"a=1");
    FList.SetOnGetParamValue([&](auto, auto, bool&) { FList.Clear(); });
    EXPECT_EQ(FList.GetPLValueByName(u"a"), u"1");
    FList.SetAsString(u"a=1");
    FList.SetOnSetParamValue([&](auto, auto, bool&) {
        FList.SetOnSetParamValue(nullptr);
        FList.Clear();
    });
    EXPECT_THROW(FList.SetPLValueByIndex(0, u"2"), EParamsList);
}

TEST_F(ParamsList, BothViewsStayEqualWhenAnEntryIsRenamed) {
    FList.SetAsString(u"a=1\r\nb=2\r\nc=3");
    FList.GetParamObject(0)->FName = u"z";
    EXPECT_EQ(FList.GetPLName(0), u"z");
    FList.Delete(0);
    FList.Delete(0);
    EXPECT_EQ(FList.AsString(), u"c=3");
    EXPECT_EQ(FList.Value(u"c"), u"3");
}

TEST_F(ParamsList, HandlersWaitForTheLockUnlessTheListHasNone) {
    FList.SetAsString(u"a=1");
    TParamsList Other;
    const std::vector<std::function<void()>> Calls = {
        [&] { Get(u"Name", {0}); },
        [&] { Get(u"Index", {u"a"}); },
        [&] { Get(u"Value", {u"a"}); },
        [&] { Set(u"Value", {u"a", u"2"}); },
        [&] { Get(u"Add", {u"a", u"2"}); },
        [&] { Get(u"Delete", {u"none"}); },
        [&] { Get(u"LoadString", {u"a=3", u";"}); },
        [&] { Get(u"LoadParams", {PointerAsLVar(&Other)}); },
        [&] { Get(u"Any"); },
        [&] { Set(u"a", {u"2"}); },
    };
    std::atomic<std::size_t> Begun = 0;
    std::atomic<std::size_t> Done = 0;
    {
        std::vector<std::jthread> Threads;
        FList.Lock();
        for (const auto& Call : Calls)
            Threads.emplace_back([&] {
                ++Begun;
                Call();
                ++Done;
            });
        while (Begun < Calls.size()) std::this_thread::yield();
        for (int Round = 0; Round < 2000; ++Round) std::this_thread::yield();
        EXPECT_EQ(Done, 0U);
        FList.UnLock();
    }
    EXPECT_EQ(Done, Calls.size());
    FList.UseCritical = false;
    FList.Lock(); // nothing
    std::jthread([&] { Get(u"Add", {u"a", u"4"}); }).join();
    FList.UseCritical = true;
    FList.SetOnGetParamValue([&](auto, auto, bool&) { FList.UseCritical = false; });
    EXPECT_EQ(Get(u"Value", {u"a"}), TKXVariant(u"4"));
    FList.UseCritical = true;
    std::jthread([&] { FList.Add(u"b", u"2"); }).join(); // never ends when the handler left its lock behind
    EXPECT_EQ(FList.GetCount(), 2);
}

} // namespace
} // namespace zutools
