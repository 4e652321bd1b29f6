// Filters: how rules are kept, compiled, serialised, and what scripts do with them on many threads.

#include "checking/Chekprms.h"
#include "host/ScriptObjects.h"
#include "tests/checking/RecordingDatabase.h"
#include "tests/support/Raised.h"

#include <atomic>
#include <thread>

namespace zutools {
namespace {

using namespace std::string_literals;

/// The rules in one line.
std::string Dump(const TParamsConfig& Config) {
    std::string Result;
    for (int Index = 0; Index < Config.ParamsCfgCount(); ++Index) {
        const TParamsCfg& Rule = *Config.ParamsCfg(Index);
        Result +=
            platform::Utf16ToUtf8(Rule.Params + u"=" + Rule.WrongValues + u"||" + Rule.RightValues + u";");
    }
    return Result;
}

/// The same behind the identity and the switch.
std::string DumpAll(const TParamsConfig& Config) {
    return std::to_string(Config.FilterID) + (Config.Enabled ? " on " : " off ") +
           platform::Utf16ToUtf8(Config.FilterName + u"/" + Config.FilterDescribe + u": ") + Dump(Config);
}

TEST(ParamsConfig, RulesForTheSameNamesAreOne) {
    TParamsConfig Config;
    TStringList Lines;
    for (const auto* Line : {u"a, b= <,> ||a-z", u"A,B=x=y||p||q", u"b,a", u"a,b,=>", u"a,,b=3"})
        Lines.Add(Line);
    Config.AddParams(Lines);
    EXPECT_EQ(Dump(Config), "a, b=>||;b,a=||;a,,b=3||;");
    Config.AddParams(u"B, A", u"x=y", u"p||q");
    EXPECT_EQ(Dump(Config), "a, b=>||;b,a=x=y||p||q;a,,b=3||;");
    EXPECT_EQ(Config.ParamsCfg(-1), nullptr);
    EXPECT_EQ(Config.ParamsCfg(3), nullptr);
    Lines.Clear();
    Lines.Add(u"c= <,> ||p||q"); // nothing is trimmed, and the first marks cut
    Config.ClearParams();
    Config.AddParams(Lines);
    EXPECT_EQ(Dump(Config), "c= <,> ||p||q;");
}

TEST(ParamsConfig, KeptIsAssignedWholeOrItsRulesOnlyAndClearedToTheIdZero) {
    TParamsConfig Source, Target;
    Source.AddParams(u"a", u"<", u"x");
    Source.FilterName = u"n";
    Source.FilterDescribe = u"d";
    Source.FilterID = 5;
    Source.Enabled = false;
    EXPECT_EQ(DumpAll(Target), "-1 on /: ");
    Target.AddParams(u"old", u"", u"");
    Target.AssignParams(Source);
    EXPECT_EQ(DumpAll(Target), "-1 on /: a=<||x;");
    Target.Assign(&Source);
    Target.Assign(&Target);
    Target.AssignParams(Target);
    EXPECT_EQ(DumpAll(Target), "5 off n/d: a=<||x;");
    Target.Assign(nullptr);
    Source.Clear();
    for (const auto* const Each : {&Source, &Target}) EXPECT_EQ(DumpAll(*Each), "0 on /: ");
}

TEST(ParamsConfigAsString, HasTheBytesAsWrittenAndReadsBadOnesAsEmptyTexts) {
    TParamsConfig Config;
    Config.FilterID = 7;
    EXPECT_EQ(Config.AsString(), "\1\7\0\0\0\0\0\0\0\0\0\0\0"s);
    Config.FilterName = u"\u0416";
    Config.AddParams(u"a", u"", u"b");
    const std::string Bytes = "\1\7\0\0\0\1\0\0\0\x16\x04\0\0\0\0\1\0\0\0a\0\0\0\0\0\1\0\0\0b\0"s;
    EXPECT_EQ(Config.AsString(), Bytes);
    const std::pair<std::string, std::string> Rows[] = {
        {Bytes, "7 on Ж/: a=||b;"},
        {"", "7 on Ж/: a=||b;"}, // no bytes change nothing
        {"\1", "0 on /: "},
        {"\1\0\0\0\0\xFF\xFF\xFF\x7Fx\0y\0"s, "0 on xy/: "}, // a huge count takes what is there
        {"\1\0\0\0\0\xFF\xFF\xFF\xFF\0\0\0\0\1\0\0\0a\0"s, "0 on /: a=||;"}, // a negative one nothing
        {"\0\0\0\0\0\0\0\0\0\0\0\0\0z"s, "0 off /: "},                       // one byte left is no rule
    };
    for (const auto& [Given, Expected] : Rows) {
        Config.SetAsString(Given);
        EXPECT_EQ(DumpAll(Config), Expected);
    }
}

TEST(ParamsChecker, PassesEverythingUntilLoaded) {
    TParamsChecker Checker;
    EXPECT_FALSE(Checker.Enabled);
    for (const auto* Names : {u"a", u"<default>"}) Checker.AddParams(Names, u"<", u"");
    EXPECT_TRUE(Checker.CheckParamValue(u"a", u"<", true));
    Checker.Enabled = true;
    EXPECT_FALSE(Checker.CheckParamValue(u"a", u"<", false));
    Checker.Clear();
    EXPECT_TRUE(Checker.Enabled);
    for (const auto* Name : {u"a", u"other"}) EXPECT_TRUE(Checker.CheckParamValue(Name, u"<", true));
}

TEST(ParamsChecker, KeptNamesOfOneCallShareAChecker) {
    TParamsChecker Checker;
    Checker.Clear();
    Checker.AddParams(u"a, b", u"<", u"");
    EXPECT_FALSE(Checker.CheckParamValue(u"B", u"x<y", false));
    Checker.AddParams(u"a", u">", u"x-z,>");
    EXPECT_TRUE(Checker.CheckParamValue(u"b", u"xy", false));
    EXPECT_FALSE(Checker.CheckParamValue(u"b", u"x>y", false));
    EXPECT_FALSE(Checker.CheckParamValue(u"b", u"x1", false)) << "the right values count too";
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
    EXPECT_EQ(tests::Raised<EParamValueChecker>([&] { return Checker.CheckParamValue(u"q", u"a<b", true); }),
              "Error check param \"q\" value: Value \"A<B\" contain wrong symbol \"<\" at position 2.");
}

class ParamsCheckerScripts : public testing::Test {
protected:
    ParamsCheckerScripts() { RegisterChekprms(Registry); }
    TKXVariant Call(std::u16string_view Name, std::vector<TKXVariant> Args = {}) {
        return Registry.Find(Checker.ClassInfo(), Name)->Invoke(Checker, Args);
    }
    static const TPropInfo& Property(std::u16string_view Name) {
        return *TParamsChecker::StaticClass().FindProperty(Name);
    }
    TScriptRegistry Registry;
    TParamsChecker Checker;
};

TEST_F(ParamsCheckerScripts, ChangeAndAsk) {
    Call(u"Clear");
    Call(u"AddParams", {u"a,b", u"<", u"x-z,<"});
    EXPECT_EQ(DumpAll(Checker), "0 on /: a,b=<||x-z,<;");
    EXPECT_EQ(Call(u"CheckParamValue", {u"B", u"xyz", true}), TKXVariant(true));
    EXPECT_EQ(Call(u"CheckParamValue", {u"b", u"<", false}), TKXVariant(false));
    EXPECT_THROW(Call(u"CheckParamValue", {u"b", u"a", true}), EParamValueChecker);
    EXPECT_EQ(Property(u"paramscfgcount").Get(Checker), TKXVariant(1));
    EXPECT_EQ(Property(u"ParamsCfgCount").Set, nullptr);
    const std::pair<std::u16string_view, TKXVariant> Values[] = {
        {u"Enabled", false}, {u"FilterID", 7}, {u"FilterName", u"n"}, {u"FilterDescribe", u"d"}};
    for (const auto& [Name, Value] : Values) {
        Property(Name).Set(Checker, Value);
        EXPECT_EQ(Property(Name).Get(Checker), Value);
    }
    EXPECT_EQ(DumpAll(Checker), "7 off n/d: a,b=<||x-z,<;");
    EXPECT_NE(ObjectCast<TParamsChecker>(Registry.FindClass(u"tparamschecker")->Create().get()), nullptr);
    UnregisterChekprms(Registry);
    EXPECT_EQ(Registry.FindClass(u"TParamsChecker"), nullptr);
}

TEST_F(ParamsCheckerScripts, LoadAFilterOfTheDatabase) {
    tests::TRecordingDatabase Database;
    SetServices({.ApplicationManager = std::make_shared<tests::TDatabaseManager>(&Database),
                 .Localizer = {},
                 .Logger = {}});
    const auto Answer = [&Database](std::u16string_view Wrong) {
        Database.Answers.push_back({{{u"Name", u"n"}, {u"FilterDescribe", u"d"}}});
        Database.Answers.push_back({{{u"Params", u"a"}, {u"WrongValues", Wrong}, {u"RightValues", u""}}});
    };
    for (const auto* Wrong : {u"<", u">", u">"}) Answer(Wrong); // somebody stores it anew while it is loaded
    EXPECT_EQ(Call(u"LoadFilter", {9}), TKXVariant(true));
    EXPECT_EQ(DumpAll(Checker), "9 on n/d: a=>||;");
    EXPECT_EQ(Database.Answers.size(), 0U);
    EXPECT_EQ(Call(u"LoadFilter", {10}), TKXVariant(false)) << "there is no such filter";
    EXPECT_EQ(DumpAll(Checker), "9 on n/d: a=>||;");
    SetServices({});
}

// Both filters refuse the one value and let the other through; half a filter would not. Nor has either a name
// that is half the other's.
TEST_F(ParamsCheckerScripts, SeeTheOldFilterOrTheNewOneWhileItIsReplaced) {
    TParamsConfig First, Second;
    First.AddParams(u"a", u"one", u"");
    First.AddParams(u"b,c", u"x", u"");
    First.FilterName = First.FilterDescribe = std::u16string(300, u'1');
    Second.AddParams(u"<Default>", u"two", u"");
    Second.FilterName = Second.FilterDescribe = std::u16string(200, u'2');
    Checker.LoadFrom(First);

    constexpr int Replacements = 5'000;
    std::atomic<bool> Done = false;
    std::atomic<int> Mixtures = 0;
    std::vector<std::jthread> Readers;
    for (int Index = 0; Index < 3; ++Index) {
        Readers.emplace_back([&] {
            while (!Done) {
                if (Call(u"CheckParamValue", {u"a", u"-one-two-", false}).AsBoolean()) ++Mixtures;
                if (!Call(u"CheckParamValue", {u"a", u"three", false}).AsBoolean()) ++Mixtures;
                for (const auto* Name : {u"FilterName", u"FilterDescribe"}) {
                    const std::u16string Text = Property(Name).Get(Checker).AsString();
                    if (Text != First.FilterName && Text != Second.FilterName) ++Mixtures;
                }
                static_cast<void>(Property(u"ParamsCfgCount").Get(Checker));
                static_cast<void>(Property(u"Enabled").Get(Checker));
                Property(u"FilterID").Set(Checker, 3);
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
