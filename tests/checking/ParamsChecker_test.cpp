// Filters: how rules are kept, compiled, serialised, and checked by many threads.

#include "checking/Chekprms.h"

#include "platform/Text.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>

namespace zutools {
namespace {

using namespace std::string_literals;

std::string Dump(const TParamsConfig& Config) {
    std::string Result;
    for (int Index = 0; Index < Config.ParamsCfgCount(); ++Index) {
        const TParamsCfg& Rule = *Config.ParamsCfg(Index);
        Result +=
            platform::Utf16ToUtf8(Rule.Params + u"=" + Rule.WrongValues + u"||" + Rule.RightValues + u";");
    }
    return Result;
}

TEST(ParamsConfig, RulesForTheSameNamesAreOne) {
    TParamsConfig Config;
    Config.AddParams(u"a, b", u"<", u"");
    Config.AddParams(u"A,B", u">", u"x");
    Config.AddParams(u"b,a", u"1", u"");
    Config.AddParams(u"a,b,", u"2", u"");
    Config.AddParams(u"a,,b", u"3", u"");
    EXPECT_EQ(Dump(Config), "a, b=2||;b,a=1||;a,,b=3||;");
    EXPECT_EQ(Config.ParamsCfg(-1), nullptr);
    EXPECT_EQ(Config.ParamsCfg(3), nullptr);
}

TEST(ParamsConfig, LinesAreCutAtTheFirstMarks) {
    TParamsConfig Config;
    TStringList Lines;
    for (const auto* Line : {u"a= <,> ||a-z", u"b", u"c=x=y||p||q", u"d=only"}) Lines.Add(Line);
    Config.AddParams(Lines);
    EXPECT_EQ(Dump(Config), "a= <,> ||a-z;b=||;c=x=y||p||q;d=only||;");
}

TEST(ParamsConfig, KeptClearSetsTheIdToZeroAndSwitchesOn) {
    TParamsConfig Config;
    EXPECT_EQ(Config.FilterID, -1);
    Config.Enabled = false;
    Config.FilterName = u"x";
    Config.Clear();
    EXPECT_EQ(Config.FilterID, 0);
    EXPECT_TRUE(Config.Enabled);
    EXPECT_EQ(Config.FilterName, u"");
}

TEST(ParamsConfig, AssignTakesAllAndNothingFromItself) {
    TParamsConfig Source;
    Source.AddParams(u"a", u"<", u"");
    Source.FilterName = u"n";
    Source.FilterID = 5;
    Source.Enabled = false;
    TParamsConfig Target;
    Target.Assign(&Source);
    Target.Assign(&Target);
    EXPECT_EQ(Dump(Target), "a=<||;");
    EXPECT_EQ(Target.FilterID, 5);
    EXPECT_FALSE(Target.Enabled);
    Target.Assign(nullptr);
    EXPECT_EQ(Target.ParamsCfgCount(), 0);
}

TEST(ParamsConfigAsString, HasTheBytesAsWritten) {
    TParamsConfig Config;
    Config.FilterID = 7;
    EXPECT_EQ(Config.AsString(), "\1\7\0\0\0\0\0\0\0\0\0\0\0"s);
    Config.FilterName = u"\u0416";
    Config.AddParams(u"a", u"", u"b");
    EXPECT_EQ(Config.AsString(), "\1\7\0\0\0\1\0\0\0\x16\x04\0\0\0\0\1\0\0\0a\0\0\0\0\0\1\0\0\0b\0"s);
    TParamsConfig Copy;
    Copy.SetAsString(Config.AsString());
    EXPECT_EQ(Copy.AsString(), Config.AsString());
}

TEST(ParamsConfigAsString, BadBytesGiveEmptyTexts) {
    TParamsConfig Config;
    Config.AddParams(u"a", u"b", u"c");
    Config.SetAsString("");
    EXPECT_EQ(Dump(Config), "a=b||c;") << "no bytes change nothing";
    Config.SetAsString("\1");
    EXPECT_EQ(Dump(Config), "");
    Config.SetAsString("\1\0\0\0\0\xFF\xFF\xFF\x7Fx\0y\0"s);
    EXPECT_EQ(Config.FilterName, u"xy") << "a huge count takes what is there";
    Config.SetAsString("\1\0\0\0\0\xFF\xFF\xFF\xFF\0\0\0\0\1\0\0\0a\0"s);
    EXPECT_EQ(Dump(Config), "a=||;") << "a negative count is an empty text";
    Config.SetAsString("\1\0\0\0\0\0\0\0\0\0\0\0\0z"s);
    EXPECT_EQ(Dump(Config), "") << "one byte left is no rule";
}

TEST(ParamsChecker, PassesEverythingUntilLoaded) {
    TParamsChecker Checker;
    EXPECT_FALSE(Checker.Enabled);
    Checker.AddParams(u"a", u"<", u"");
    EXPECT_TRUE(Checker.CheckParamValue(u"a", u"<", true));
    Checker.Clear();
    EXPECT_TRUE(Checker.Enabled);
    EXPECT_TRUE(Checker.CheckParamValue(u"a", u"<", true)) << "cleared: no rule";
}

TEST(ParamsChecker, KeptNamesOfOneCallShareAChecker) {
    TParamsChecker Checker;
    Checker.Clear();
    Checker.AddParams(u"a, b", u"<", u"");
    EXPECT_FALSE(Checker.CheckParamValue(u"B", u"x<y", false));
    Checker.AddParams(u"a", u">", u"");
    EXPECT_TRUE(Checker.CheckParamValue(u"b", u"x<y", false));
    EXPECT_FALSE(Checker.CheckParamValue(u"b", u"x>y", false));
    EXPECT_TRUE(Checker.CheckParamValue(u"other", u"<>", false));
    Checker.AddParams(u"<DEFAULT>", u"<", u"");
    EXPECT_FALSE(Checker.CheckParamValue(u"other", u"<>", false));
}

TEST(ParamsChecker, KeptBytesDoNotRecompile) {
    TParamsConfig Source;
    Source.AddParams(u"a", u"<", u"");
    TParamsChecker Checker;
    Checker.SetAsString(Source.AsString());
    EXPECT_EQ(Checker.ParamsCfgCount(), 1);
    EXPECT_TRUE(Checker.CheckParamValue(u"a", u"<", false));
    Checker.Assign(&Source);
    EXPECT_FALSE(Checker.CheckParamValue(u"a", u"<", false));
}

TEST(ParamsChecker, RaisesWithTheParameterAndTheReason) {
    TParamsChecker Checker;
    Checker.Clear();
    Checker.AddParams(u"q", u"<", u"");
    try {
        static_cast<void>(Checker.CheckParamValue(u"q", u"a<b", true));
        FAIL() << "the value was let through";
    } catch (const EParamValueChecker& Error) {
        EXPECT_STREQ(
            Error.what(),
            "Error check param \"q\" value: Value \"A<B\" contain wrong symbol \"<\" at position 2.");
    }
}

// Both filters refuse the one value and let the other through; half a filter would not.
TEST(ParamsCheckerThreads, SeeTheOldRulesOrTheNewOnes) {
    TParamsConfig First;
    First.AddParams(u"a", u"one", u"");
    First.AddParams(u"b,c", u"x", u"");
    TParamsConfig Second;
    Second.AddParams(u"<Default>", u"two", u"");
    TParamsChecker Checker;
    Checker.LoadFrom(First);

    constexpr int Replacements = 10'000;
    std::atomic<bool> Done = false;
    std::atomic<int> Mixtures = 0;
    std::vector<std::jthread> Readers;
    for (int Index = 0; Index < 3; ++Index) {
        Readers.emplace_back([&] {
            while (!Done) {
                if (Checker.CheckParamValue(u"a", u"-one-two-", false)) ++Mixtures;
                if (!Checker.CheckParamValue(u"a", u"three", false)) ++Mixtures;
            }
        });
    }
    for (int Round = 0; Round < Replacements; ++Round) Checker.LoadFrom(Round % 2 == 0 ? Second : First);
    Done = true;
    Readers.clear();
    EXPECT_EQ(Mixtures, 0);
}

} // namespace
} // namespace zutools
