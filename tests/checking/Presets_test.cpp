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

std::vector<std::u16string> Lines(const char* Name, std::size_t AtLeast) {
    std::ifstream File(std::string(ZU_TEST_DATA) + "/checking/" + Name);
    std::vector<std::u16string> Result;
    for (std::string Line; std::getline(File, Line);)
        Result.push_back(Unescaped(platform::Utf8ToUtf16(Line)));
    EXPECT_GE(Result.size(), AtLeast) << Name;
    return Result;
}

class Presets : public testing::Test {
protected:
    Presets() {
        TParamsConfig Config;
        LoadHighPreset(Config);
        High.LoadFrom(Config);
        LoadMediumPreset(Config);
        Medium.LoadFrom(Config);
    }
    static void Expect(const TParamsChecker& Checker, const std::u16string& Value, bool Passes) {
        EXPECT_EQ(Checker.CheckParamValue(u"any", Value, false), Passes)
            << platform::Utf16ToUtf8(Checker.FilterName + u": " + Value);
    }
    TParamsChecker High, Medium;
};

TEST_F(Presets, OrdinaryValuesPass) {
    for (const auto& Value : Lines("accepted.txt", 150)) {
        Expect(High, Value, true);
        Expect(Medium, Value, true);
    }
    for (const auto& Value : Lines("accepted-medium.txt", 40)) {
        Expect(Medium, Value, true);
        Expect(High, Value, false);
    }
}

// In either case: names of elements, attributes and schemes have none, and in some languages the upper case
// of a letter is not the one that pages know.
TEST_F(Presets, AttacksAreStopped) {
    for (const auto& [Name, AtLeast] : {std::pair{"attacks-medium.txt", 100U}, {"attacks-high.txt", 100U}}) {
        for (std::u16string Value : Lines(Name, AtLeast)) {
            for (int Spelling = 0; Spelling < 2; ++Spelling) {
                Expect(High, Value, false);
                if (Name == std::string_view("attacks-medium.txt")) Expect(Medium, Value, false);
                for (char16_t& Unit : Value)
                    if (Unit >= u'a' && Unit <= u'z') Unit = static_cast<char16_t>(Unit - 0x20);
            }
        }
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
