#include "core/Lparams.h"

#include "host/Strings.h"
#include "tests/support/Raised.h"

#include <gtest/gtest.h>

#include <atomic>
#include <functional>
#include <string>
#include <thread>
#include <vector>

namespace zutools {
namespace {

using tests::Raised;

void Fill(TParamsList& List, std::u16string_view Text) {
    List.SetAsString(Text);
}

TEST(ParamsList, ReadsAndWritesItsText) {
    const struct {
        const char* Name;
        std::u16string_view In;
        std::u16string_view Out;
        int Count;
    } Rows[] = {
        {"the last value at the first place", u"b=2\r\na=1\r\nb=3", u"b=3\r\na=1", 2},
        {"names without case, spelled as first", u"Name=1\r\nNAME=2", u"Name=2", 1},
        {"a value with the sign", u"x=y=z", u"x=y=z", 1},
        {"no sign", u"alone", u"alone=", 1},
        {"empty lines and empty names", u"\r\n\r\n=v\r\na=\r\n", u"a=", 1},
        {"a lone line feed is no line end", u"a=1\nb=2", u"a=1\nb=2", 1},
        {"nothing is trimmed", u" a = 1 ", u" a = 1 ", 1},
        {"empty", u"", u"", 0},
        {"Cyrillic", u"\u0426\u0435\u043D\u0430=1\r\n\u0446\u0415\u043D\u0430=2",
         u"\u0426\u0435\u043D\u0430=2", 1},
    };
    for (const auto& Row : Rows) {
        SCOPED_TRACE(Row.Name);
        TParamsList List;
        Fill(List, u"old=1");
        Fill(List, Row.In);
        EXPECT_EQ(List.GetAsString(), Row.Out);
        EXPECT_EQ(List.GetCount(), Row.Count);
        TParamsList Again;
        Fill(Again, List.AsString());
        EXPECT_EQ(Again.AsString(), Row.Out);
    }
}

TEST(ParamsList, AddsAndReadsByNameAndIndex) {
    TParamsList List;
    List.Add(u"", u"ignored");
    List.AddStr(u"b::1::2", u"::");
    List.SetPLValueByName(u"a", u"3");
    List.Add(u"B", u"4");
    EXPECT_EQ(List.GetCount(), 2);
    EXPECT_EQ(List.GetPLName(0), u"b");
    EXPECT_EQ(List.GetPLValueByIndex(0), u"4");
    EXPECT_EQ(List.GetParamObject(0)->FInitValue, u"1::2");
    EXPECT_EQ(List.GetPLValueByName(u"A"), u"3");
    EXPECT_EQ(List.GetPLNameIndex(u"A"), 1);
    EXPECT_EQ(List.GetPLNameIndex(u"c"), -1);
    TParamsList Cyrillic;
    Fill(Cyrillic, u"x=1\r\n\u0446\u0415\u043D\u0430=2");
    EXPECT_EQ(Cyrillic.GetPLNameIndex(u"\u0426\u0435\u043D\u0430"), 1) << "case of every alphabet";
    List.SetPLValueByIndex(1, u"5");
    EXPECT_EQ(List.Value(u"a"), u"5");
    EXPECT_EQ(List.GetDebugInfo(), u"Number elements: 2");
    List.Delete(2);
    List.Delete(-1);
    List.Delete(0);
    EXPECT_EQ(List.AsString(), u"a=5");
    EXPECT_EQ(List.GetPLValueByName(u"b"), u"");
}

TEST(ParamsList, OutOfRangeIsEmptyOrRaises) {
    TParamsList List;
    Fill(List, u"a=1");
    for (const int Index : {-1, 1, 1000000}) {
        const std::string Number = std::to_string(Index);
        EXPECT_EQ(List.GetPLValueByIndex(Index), u"");
        EXPECT_EQ(List.GetParamObject(Index), nullptr);
        EXPECT_EQ(Raised<EParamsList>([&] { return List.GetPLName(Index); }),
                  "Error name index: " + Number + " in Params.");
        EXPECT_EQ(Raised<EParamsList>([&] { List.SetPLValueByIndex(Index, u"x"); }),
                  "Error value index: " + Number + " in Params.");
    }
}

TEST(ParamsList, EventsVetoStoresAndBlankReads) {
    TParamsList List;
    std::vector<std::u16string> Seen;
    Fill(List, u"old=1");
    List.SetOnSetParamValue([&](std::u16string_view Name, std::u16string_view Value, bool& CanSet) {
        EXPECT_TRUE(CanSet);
        Seen.push_back(std::u16string(Name) + u"=" + std::u16string(Value));
        CanSet = Value != u"no";
    });
    List.Add(u"new", u"no");
    List.Add(u"OLD", u"no");
    List.SetPLValueByIndex(0, u"no");
    List.Add(u"", u"2");
    EXPECT_EQ(List.GetAsString(), u"old=1");
    List.Add(u"old", u"2");
    EXPECT_EQ(Seen, (std::vector<std::u16string>{u"new=no", u"OLD=no", u"old=no", u"old=2"}));

    Seen.clear();
    List.SetOnGetParamValue([&](std::u16string_view Name, std::u16string_view Value, bool& CanSet) {
        Seen.push_back(std::u16string(Name) + u"=" + std::u16string(Value));
        CanSet = false;
    });
    EXPECT_EQ(List.GetPLValueByName(u"OLD"), u"");
    EXPECT_EQ(List.GetPLValueByIndex(0), u"");
    EXPECT_EQ(List.GetPLValueByName(u"none"), u"");
    EXPECT_EQ(Seen, (std::vector<std::u16string>{u"OLD=2", u"old=2"}))
        << "by name the name that was asked for";
    EXPECT_EQ(List.GetAsString(), u"old=2") << "the text form asks no event";
}

TEST(ParamsList, AnEventMayRemoveTheEntryItIsAskedAbout) {
    TParamsList List;
    Fill(List, u"a=1");
    List.SetOnGetParamValue([&](std::u16string_view, std::u16string_view, bool&) { List.Clear(); });
    EXPECT_EQ(List.GetPLValueByName(u"a"), u"1");
    Fill(List, u"a=1");
    List.SetOnSetParamValue([&](std::u16string_view, std::u16string_view, bool&) {
        List.SetOnSetParamValue(nullptr);
        List.Clear();
    });
    EXPECT_THROW(List.SetPLValueByIndex(0, u"2"), EParamsList);
}

TEST(ParamsList, LoadsAndStoresStringLists) {
    TStringList Lines;
    Lines.Add(u"b:2");
    Lines.Add(u"a:1");
    TParamsList List;
    Fill(List, u"x=0");
    List.FromStrings(&Lines, u":", false);
    EXPECT_EQ(List.AsString(), u"x=0\r\nb=2\r\na=1");
    List.FromStrings(nullptr, u":", false);
    List.ToStrings(nullptr, u":", true);
    List.LoadStrings(nullptr);
    List.ToStrings(&Lines, u"->", false);
    ASSERT_EQ(Lines.Count(), 5);
    EXPECT_EQ(Lines.Strings(4), u"a->1");
    List.ToStrings(&Lines, u"=", true);
    EXPECT_EQ(Lines.Text(), u"x=0\r\nb=2\r\na=1\r\n");
    List.FromStrings(nullptr, u":", true);
    EXPECT_EQ(List.GetCount(), 0);
    List.LoadStrings(&Lines);
    List.LoadStrings(&Lines);
    EXPECT_EQ(List.AsString(), u"x=0\r\nb=2\r\na=1");
}

TEST(ParamsList, ConcateAddsInTheOtherListsOrder) {
    TParamsList List;
    Fill(List, u"b=1\r\nc=1");
    TParamsList Other;
    Fill(Other, u"d=2\r\nB=2");
    List.Concate(&Other);
    List.Concate(nullptr);
    EXPECT_EQ(List.AsString(), u"b=2\r\nc=1\r\nd=2");
    List.Concate(&List);
    EXPECT_EQ(List.AsString(), u"b=2\r\nc=1\r\nd=2");
}

TEST(ParamsList, TakesItsOwnValuesAsArguments) {
    TParamsList List;
    Fill(List, u"a=b=1");
    List.SetAsString(List.GetParamObject(0)->FValue);
    EXPECT_EQ(List.AsString(), u"b=1");
}

TEST(ParamsList, BothViewsStayEqualWhenAnEntryIsRenamed) {
    TParamsList List;
    Fill(List, u"a=1\r\nb=2\r\nc=3");
    List.GetParamObject(0)->FName = u"z";
    EXPECT_EQ(List.GetPLName(0), u"z");
    List.Delete(0);
    List.Delete(0);
    EXPECT_EQ(List.AsString(), u"c=3");
    EXPECT_EQ(List.Value(u"c"), u"3");
}

// ---- as scripts see it

class ParamsListScript : public testing::Test {
protected:
    ParamsListScript() { RegisterLparams(ScriptRegistry()); }
    ~ParamsListScript() override { UnregisterLparams(ScriptRegistry()); }

    TKXVariant Get(std::u16string_view Name, std::vector<TKXVariant> Args) {
        TKXVariant Result;
        EXPECT_TRUE(FList.GetPropertyInternal(Name, Args, static_cast<int>(Args.size()), Result));
        return Result;
    }
    void Set(std::u16string_view Name, std::vector<TKXVariant> ArgsAndValue) {
        EXPECT_TRUE(FList.SetPropertyInternal(Name, ArgsAndValue, static_cast<int>(ArgsAndValue.size()) - 1));
    }

    TParamsList FList;
};

TEST_F(ParamsListScript, CreatesTheClassByName) {
    const TClassInfo* const Class = ScriptRegistry().FindClass(u"TParamsList");
    ASSERT_NE(Class, nullptr);
    ASSERT_NE(Class->Create, nullptr);
    EXPECT_NE(ObjectCast<TParamsList>(Class->Create().get()), nullptr);
}

TEST_F(ParamsListScript, NamesAndValuesByNameAndIndex) {
    Get(u"Add", {u"b", u"1"});
    Get(u"Add", {u"a", 2});
    EXPECT_EQ(Get(u"Name", {1}), TKXVariant(u"a"));
    EXPECT_EQ(Get(u"Err", {0}), TKXVariant(u"b"));
    EXPECT_EQ(Get(u"Index", {u"A"}), TKXVariant(1));
    EXPECT_EQ(Get(u"Index", {u"none"}), TKXVariant(-1));
    EXPECT_EQ(Get(u"Value", {u"a"}), TKXVariant(u"2"));
    EXPECT_EQ(Get(u"Value", {0}), TKXVariant(u"1"));
    EXPECT_EQ(Get(u"ErrMessage", {TKXVariant::AnsiString("b")}), TKXVariant(u"1"))
        << "both string kinds are names";
    EXPECT_EQ(Get(u"Value", {7}), TKXVariant(u""));
    EXPECT_THROW(Get(u"Name", {7}), EParamsList);
    Set(u"Value", {0, u"3"});
    Set(u"ErrMessage", {u"c", 4});
    EXPECT_EQ(FList.AsString(), u"b=3\r\na=2\r\nc=4");
    EXPECT_THROW(Set(u"Value", {7, u"x"}), EParamsList);
    EXPECT_THROW(Set(u"Name", {0, u"x"}), EIObjectError) << "read-only";
    EXPECT_THROW(Get(u"Name", {}), EIObjectError) << "the number of arguments is checked";
    EXPECT_EQ(Get(u"Count", {}), TKXVariant(3));
    EXPECT_EQ(Get(u"DebugInfo", {}), TKXVariant(u"Number elements: 3"));
}

TEST_F(ParamsListScript, HandlersWaitForTheLockUnlessTheListHasNone) {
    Fill(FList, u"a=1");
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
        [&] { Get(u"Any", {}); },
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
    EXPECT_EQ(FList.Value(u"a"), u"4");
}

TEST_F(ParamsListScript, WhatAHandlerLockedItUnlocksThoughUseCriticalChanges) {
    Fill(FList, u"a=1");
    FList.SetOnGetParamValue([&](auto, auto, bool&) { FList.UseCritical = false; });
    EXPECT_EQ(Get(u"Value", {u"a"}), TKXVariant(u"1"));
    FList.UseCritical = true;
    std::jthread([&] { FList.Add(u"b", u"2"); }).join(); // would never end
    EXPECT_EQ(FList.GetCount(), 2);
}

TEST_F(ParamsListScript, UnknownNamesAreParameters) {
    Set(u"Customer", {42});
    EXPECT_EQ(FList.AsString(), u"Customer=42");
    EXPECT_EQ(Get(u"customer", {}), TKXVariant(u"42"));
    EXPECT_EQ(Get(u"Nobody", {}), TKXVariant(u""));
}

TEST_F(ParamsListScript, CallsThatChangeTheList) {
    const struct {
        std::u16string_view Before, Name;
        std::vector<TKXVariant> Args;
        std::u16string_view After;
    } Rows[] = {
        {u"", u"LoadString", {u"a=1;;b=2;c;=x", u";"}, u"a=1\r\nb=2\r\nc="},
        {u"a=1", u"LoadString", {u"d=1;e", u""}, u"a=1\r\nd=1;e"}, // an empty delimiter is never found
        {u"a=1\r\nb=2\r\nc=3", u"Delete", {u"B"}, u"a=1\r\nc=3"},
        {u"a=1\r\nb=2", u"Delete", {u"none"}, u"a=1\r\nb=2"},
        {u"a=1\r\nb=2", u"Delete", {5}, u"a=1\r\nb=2"},
        {u"a=1\r\nb=2", u"Delete", {0}, u"b=2"},
        {u"a=1\r\nb=2", u"Clear", {}, u""},
    };
    for (const auto& Row : Rows) {
        Fill(FList, Row.Before);
        Get(Row.Name, Row.Args);
        EXPECT_EQ(FList.AsString(), Row.After);
    }
}

TEST_F(ParamsListScript, LoadParamsTakesAListAndRefusesTheRest) {
    Fill(FList, u"a=1");
    TParamsList Other;
    Fill(Other, u"b=2\r\nA=3");
    Get(u"LoadParams", {PointerAsLVar(&Other)});
    Get(u"LoadParams", {PointerAsLVar(&FList)});
    Get(u"LoadParams", {PointerAsLVar(nullptr)});
    EXPECT_EQ(FList.AsString(), u"a=3\r\nb=2");
    TObject Stranger;
    EXPECT_THROW(Get(u"LoadParams", {PointerAsLVar(&Stranger)}), EIObjectError);
    EXPECT_THROW(Get(u"LoadParams", {5}), EVariantError);
    EXPECT_EQ(FList.AsString(), u"a=3\r\nb=2");
    EXPECT_EQ(FList.GetPLName(0), u"a") << "the lock is free again";
}

} // namespace
} // namespace zutools
