// What the presets let pass and what they stop, over the lists in tests/data/checking. A line may name a
// character as \{hexadecimal code}.

#include "checking/Presets.h"
#include "platform/Text.h"

#include <gtest/gtest.h>

#include <fstream>
#include <vector>

namespace zutools {
namespace {

std::u16string Unescaped(const std::u16string& Line) {
    std::u16string Result;
    for (std::size_t At = 0; At < Line.size();) {
        const std::size_t Close =
            Line.compare(At, 2, u"\\{") == 0 ? Line.find(u'}', At) : std::u16string::npos;
        const std::u16string Code = Close == std::u16string::npos ? u"" : Line.substr(At + 2, Close - At - 2);
        if (Code.size() < 2 || Code.find_first_not_of(u"0123456789ABCDEF") != std::u16string::npos) {
            Result += Line[At++];
            continue;
        }
        Result += static_cast<char16_t>(std::stoi(platform::Utf16ToUtf8(Code), nullptr, 16));
        At = Close + 1;
    }
    return Result;
}

struct TLine {
    std::string Written;
    std::u16string Value;
};

std::vector<TLine> Lines(const char* Name, std::size_t AtLeast) {
    std::ifstream File(std::string(ZU_TEST_DATA) + "/checking/" + Name);
    std::vector<TLine> Result;
    for (std::string Line; std::getline(File, Line);) {
        Result.push_back({Line, Unescaped(platform::Utf8ToUtf16(Line))});
    }
    EXPECT_GE(Result.size(), AtLeast) << Name;
    return Result;
}

class Presets : public testing::Test {
protected:
    void SetUp() override {
        TParamsConfig Config;
        LoadHighPreset(Config);
        High.LoadFrom(Config);
        LoadMediumPreset(Config);
        Medium.LoadFrom(Config);
        Config.Clear();
        Low.LoadFrom(Config);
    }
    static std::string Reason(const TParamsChecker& Checker, const std::u16string& Value) {
        try {
            static_cast<void>(Checker.CheckParamValue(u"any", Value, true));
            return {};
        } catch (const EParamValueChecker& Error) {
            return Error.what();
        }
    }
    TParamsChecker High, Medium, Low;
};

TEST_F(Presets, OrdinaryValuesPass) {
    for (const auto& [Written, Value] : Lines("accepted.txt", 150)) {
        EXPECT_EQ(Reason(High, Value), "");
        EXPECT_EQ(Reason(Medium, Value), "");
        EXPECT_EQ(Reason(Low, Value), "");
    }
}

TEST_F(Presets, FreeTextAndLinksPassMediumOnly) {
    for (const auto& [Written, Value] : Lines("accepted-medium.txt", 40)) {
        EXPECT_EQ(Reason(Medium, Value), "");
        EXPECT_NE(Reason(High, Value), "") << Written;
    }
}

TEST_F(Presets, AttacksAreStopped) {
    for (const auto& [Written, Value] : Lines("attacks-medium.txt", 100)) {
        EXPECT_NE(Reason(Medium, Value), "") << Written;
        EXPECT_NE(Reason(High, Value), "") << Written;
    }
    for (const auto& [Written, Value] : Lines("attacks-high.txt", 100)) {
        EXPECT_NE(Reason(High, Value), "") << Written;
    }
}

// A slip of the pen in a rule text (a lone quote, a dash in a word) makes one long word of what follows it,
// or a word that ordinary text holds.
TEST_F(Presets, RuleTextsReadAsMeant) {
    for (const auto& Text : {HighWrongValues(), MediumWrongValues()}) {
        TParamValueChecker Checker;
        Checker.SetWrongSymbolsAsString(Text);
        for (int Index = 0; Index < Checker.WrongWords.Count(); ++Index) {
            const std::u16string& Word = Checker.WrongWords.Strings(Index);
            const std::string Shown = platform::Utf16ToUtf8(Word);
            EXPECT_LE(Word.size(), 24U) << Shown;
            EXPECT_GE(Word.size(), 2U) << Shown;
            EXPECT_TRUE(Word == u"BASE64," || Word.find(u',') == std::u16string::npos) << Shown;
        }
        EXPECT_FALSE(Checker.WrongSymbols.Exists(u'\''));
        EXPECT_FALSE(Checker.WrongSymbols.Exists(u'&'));
    }
}

} // namespace
} // namespace zutools
