#include "checking/RuleText.h"

#include "platform/Text.h"

#include <gtest/gtest.h>

namespace zutools {
namespace {

/// A compiled rule in one line: the characters as ranges of hexadecimal codes, then the words.
std::string Dump(std::u16string_view Text) {
    TKXCharSet Symbols;
    TKXStringList Words;
    CompileRuleText(Text, Symbols, Words);
    std::string Result;
    char Code[16];
    for (unsigned First = 0; First < 0x10000; ++First) {
        if (!Symbols.Exists(static_cast<char16_t>(First))) continue;
        unsigned Last = First;
        while (Last + 1 < 0x10000 && Symbols.Exists(static_cast<char16_t>(Last + 1))) ++Last;
        std::snprintf(Code, sizeof Code, First == Last ? "%X " : "%X-%X ", First, Last);
        Result += Code;
        First = Last;
    }
    Result += '|';
    for (int Index = 0; Index < Words.Count(); ++Index) {
        Result += ' ' + platform::Utf16ToUtf8(Words.Strings(Index)) + ';';
    }
    return Result;
}

struct TRow {
    const char* Name;
    std::u16string_view Text;
    const char* Expected;
};

class RuleText : public testing::TestWithParam<TRow> {};

TEST_P(RuleText, Compiles) {
    EXPECT_EQ(Dump(GetParam().Text), GetParam().Expected);
}

INSTANTIATE_TEST_SUITE_P(
    Items, RuleText,
    testing::Values(
        TRow{"Nothing", u"", "|"}, TRow{"OneCharacter", u"<", "3C |"}, TRow{"LetterIsRaised", u"a", "41 |"},
        TRow{"List", u"<, >", "3C 3E |"}, TRow{"Code", u"#60", "3C |"},
        TRow{"CodeIsNotRaised", u"#97", "61 |"}, TRow{"ShortCodeIsWord", u"#5", "| #5;"},
        TRow{"BadCodeIsTheLastCharacter", u"#xx", "FFFF |"}, TRow{"CodeIsSixteenBits", u"#65601", "41 |"},
        TRow{"QuotedComma", u"',',b", "2C 42 |"}, TRow{"QuotedBlank", u"\" \"", "20 |"},
        TRow{"QuotedDash", u"'-'", "2D |"}, TRow{"QuotedWord", u"'on load',x", "58 | ON LOAD;"},
        TRow{"TextBehindQuoteIsDropped", u"'ab'cd,e", "45 | AB;"}, TRow{"LoneQuote", u"',a", "27 41 |"},
        TRow{"EmptyPairIsEmptyWord", u"''", "| ;"}, TRow{"Range", u"a-c", "41-43 |"},
        TRow{"CodeRange", u"#48-#57", "30-39 |"}, TRow{"FallingRangeIsItsEnds", u"c-a", "41 43 |"},
        TRow{"HalfRangeIsDropped", u"-ab,x", "58 |"}, TRow{"RangeWithWord", u"a-bcd", "41 | BCD;"},
        TRow{"DashSplitsAWord", u"wrong-word", "| WRONG; WORD;"},
        TRow{"QuotedRangeIsItsFirst", u"'a'-'z'", "41 |"}, TRow{"DashAlone", u"-", "2D |"},
        TRow{"CommaInFrontTakesTheRest", u"a,,b", "41 | ,B;"},
        TRow{"BlankItemTakesTheRest", u"a, ,b", "41 | ,B;"},
        TRow{"WordsKeepTheirOrder", u"script,iframe,script", "| SCRIPT; IFRAME; SCRIPT;"}),
    [](const auto& Info) { return Info.param.Name; });

TEST(RuleTextTargets, AreEmptiedFirst) {
    TKXCharSet Symbols;
    TKXStringList Words;
    CompileRuleText(u"a,word", Symbols, Words);
    CompileRuleText(u"", Symbols, Words);
    EXPECT_FALSE(Symbols.NOTEmpty());
    EXPECT_EQ(Words.Count(), 0);
}

} // namespace
} // namespace zutools
