// The compiled checker against a plain reference, and the messages.

#include "tests/checking/Reference.h"

#include "checking/FoldPass.h"
#include "checking/WordScan.h"

#include <gtest/gtest.h>

#include <random>

namespace zutools {
namespace {

using tests::Message;
using tests::ReferenceMessage;

TEST(CheckValue, SaysWhatIsWrong) {
    const struct {
        std::u16string_view Wrong, Right, Value;
        const char* Expected;
    } Rows[] = {
        {u"<", u"a,must", u"", ""},
        {u"", u"", u"<script>", ""},
        {u"<,>", u"", u"a<b", "Value \"A<B\" contain wrong symbol \"<\" at position 2."},
        {u"script", u"", u"xScRiPt", "Value \"XSCRIPT\" contain wrong word \"SCRIPT\" at position 2."},
        {u"", u"a-z,0-9", u"Ab9", ""},
        {u"", u"a-z,0-9", u"a b", "Value \"A B\" contain not a right symbol \" \" at position 2."},
        {u"#97", u"", u"aA", ""}, // a small letter, which no upper-cased value holds
        {u"", u"alpha,'b c'", u"alpha", "Value \"ALPHA\" not contain right words: \"ALPHA,\"B C\"\"."},
        {u"", u"''", u"x", "Value \"X\" not contain right words: \"\"\"\"."}, // the empty word is never found
        // The order of the list, then words before symbols before right words before right symbols.
        {u"late,early", u"", u"early late",
         "Value \"EARLY LATE\" contain wrong word \"LATE\" at position 7."},
        {u"<,word", u"", u"<word", "Value \"<WORD\" contain wrong word \"WORD\" at position 2."},
        {u"<", u"must", u"<", "Value \"<\" contain wrong symbol \"<\" at position 1."},
        {u"", u"must,a", u"b", "Value \"B\" not contain right words: \"MUST\"."},
        {u"скрипт", u"", u"мой Скрипт", "Value \"МОЙ СКРИПТ\" contain wrong word \"СКРИПТ\" at position 5."},
        // Long s and dotless i are raised to letters of ASCII.
        {u"script", u"", u"\u017Fcr\u0131pt",
         "Value \"SCRIPT\" contain wrong word \"SCRIPT\" at position 1."},
    };
    for (const auto& Row : Rows) {
        TParamValueChecker Checker;
        Checker.SetWrongSymbolsAsString(Row.Wrong);
        Checker.SetRightSymbolsAsString(Row.Right);
        EXPECT_EQ(Message(Checker, Row.Value), Row.Expected);
    }
}

TEST(CheckValueFields, ChangedByHandAreHonoured) {
    TParamValueChecker Checker;
    Checker.SetWrongSymbolsAsString(u"<");
    EXPECT_EQ(Message(Checker, u"evil"), "");
    Checker.WrongWords.Add(u"EVIL");
    EXPECT_NE(Message(Checker, u"evil"), "");
    Checker.WrongWords.Clear();
    Checker.WrongSymbols.Clear();
    Checker.RightSymbols.Append(u'A', u'Z');
    EXPECT_EQ(Message(Checker, u"evil"), "");
    EXPECT_NE(Message(Checker, u"e1"), "");
}

/// Text out of few letters, so that words meet, with characters that upper-casing treats in odd ways.
std::u16string RandomText(std::mt19937& Random, std::size_t Longest, std::u16string_view Alphabet) {
    std::u16string Text(std::uniform_int_distribution<std::size_t>(0, Longest)(Random), u' ');
    for (char16_t& Unit : Text) {
        Unit = Alphabet[std::uniform_int_distribution<std::size_t>(0, Alphabet.size() - 1)(Random)];
    }
    return Text;
}

// With a NUL, the last character, halves of a pair with a case (Deseret) and of one without (emoji), ß, and
// what Turkish, Lithuanian and Greek upper-case in ways of their own.
constexpr char16_t OddUnits[] =
    u"aAbBcCxyz \u0431\u0411\u0451\u0401\u017F\u0131\u00DF\uFFFF\xD801\xDC28\xD83D\xDE00\x0000\u0149"
    u"iIj\u0130\u0307\u0301\u03AE\u03C2\u2126";
constexpr std::u16string_view Odd(OddUnits, std::size(OddUnits) - 1);

TEST(CheckValueDifferential, CompiledAgreesWithTheReference) {
    constexpr std::u16string_view Plain = u"abcABC";
    for (unsigned Seed = 1; Seed <= 600; ++Seed) {
        SCOPED_TRACE(Seed);
        std::mt19937 Random(Seed);
        const std::u16string_view Alphabet = Seed % 3 == 0 ? Odd : Plain;
        TParamValueChecker Checker;
        const auto Words = Random() % 12;
        for (std::size_t Index = 0; Index < Words; ++Index) {
            Checker.WrongWords.Add(AnsiUpperCase(RandomText(Random, 1 + Random() % 9, Alphabet)));
        }
        if (Random() % 4 == 0) Checker.RightWords.Add(AnsiUpperCase(RandomText(Random, 3, Alphabet)));
        if (Random() % 3 == 0) Checker.WrongSymbols.Include(Alphabet[Random() % Alphabet.size()]);
        Checker.Compile();
        for (int Round = 0; Round < 40; ++Round) {
            // Short ones, and some longer than the pieces that a value is folded in.
            const std::u16string Value = RandomText(Random, Round % 10 == 0 ? 2600 : 40, Alphabet);
            ASSERT_EQ(Message(Checker, Value), ReferenceMessage(Checker, Value))
                << platform::Utf16ToUtf8(Value);
        }
    }
}

TEST(CheckValueDifferential, NearMissesLongWordsAndPairs) {
    const std::u16string Long(1500, u'a');
    std::u16string Misses;
    for (int Index = 0; Index < 2000; ++Index) Misses += u"abcdefg";
    TParamValueChecker Checker;
    Checker.SetWrongSymbolsAsString(Long + u"b,abcdefgh,\U00010428x");
    const std::u16string Clean[] = {Misses, std::u16string(9000, u'a'), u"\U00010400\U00010428"};
    const std::u16string_view Ends[] = {u"h", u"b", u"X"};
    for (std::size_t Index = 0; Index < 3; ++Index) {
        EXPECT_EQ(Message(Checker, Clean[Index]), "") << Index;
        const std::u16string Value = Clean[Index] + std::u16string(Ends[Index]);
        EXPECT_EQ(Message(Checker, Value), ReferenceMessage(Checker, Value)) << Index;
        EXPECT_NE(Message(Checker, Value), "") << Index;
    }
}

TEST(WordScan, EachOfManyWordsIsFound) {
    TParamValueChecker Checker;
    TKXStringList& Words = Checker.WrongWords;
    for (char16_t First = u'A'; First <= u'Z'; ++First)
        for (char16_t Second = u'A'; Second <= u'Z'; ++Second)
            Words.Add(std::u16string{First, u'Q', Second, First, Second, u'_'});
    for (int Index = 0; Index < Words.Count(); ++Index) {
        EXPECT_FALSE(Checker.Passes(u"a " + Words.Strings(Index))) << Index;
        EXPECT_TRUE(Checker.Passes(Words.Strings(Index).substr(1))) << Index;
    }
}

// A long text is run through in lanes: no place may fall between two of them.
TEST(WordScan, AutomatonFindsAWordAtEveryPlace) {
    TKXStringList Words;
    Words.Add(u"needles");
    Words.Add(u"ab");
    const checking::TWordScan Scan(Words);
    for (const std::size_t Length : {7U, 60U, 61U, 62U, 63U, 64U, 200U}) {
        const std::u16string Clean(Length, u'n');
        EXPECT_FALSE(Scan.AnyFoundByAutomaton(Clean));
        for (std::size_t At = 0; At + 7 <= Length; ++At) {
            std::u16string Text = Clean;
            EXPECT_TRUE(Scan.AnyFoundByAutomaton(Text.replace(At, 7, u"NeeDLeS"))) << Length << ' ' << At;
        }
    }
}

TEST(FoldPass, BothPathsAgree) {
    std::mt19937 Random(7);
    for (int Round = 0; Round < 300; ++Round) {
        TKXCharSet Bad;
        for (auto Count = Random() % 4; Count > 0; --Count)
            Bad.Include(static_cast<char16_t>(Random() % 2 * 0x400 + Random() % 0x180));
        const checking::TFoldPass Pass(Bad);
        std::u16string Text = RandomText(
            Random, 70, u"abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ 0123456789<>{}~`@[^");
        if (Round % 3 == 0) Text += RandomText(Random, 40, Odd);
        std::u16string Cyrillic = RandomText(Random, Round % 2 == 0 ? 0 : 60, u" ");
        for (char16_t& Unit : Cyrillic)
            Unit = static_cast<char16_t>(Random() % 4 == 0 ? u',' : 0x400 + Random() % 0x80);
        Text += Cyrillic + RandomText(Random, 20, u"abc{}");
        std::vector<std::uint8_t> Fast(Text.size() + checking::FoldPadding);
        std::vector<std::uint8_t> Plain(Text.size() + checking::FoldPadding);
        const auto FastFlags = Pass.Run(Text, Fast.data());
        const auto PlainFlags = Pass.RunPlain(Text, Plain.data());
        ASSERT_EQ(FastFlags.Bad, PlainFlags.Bad) << platform::Utf16ToUtf8(Text);
        ASSERT_EQ(FastFlags.Special, PlainFlags.Special) << platform::Utf16ToUtf8(Text);
        Fast.resize(Text.size());
        Plain.resize(Text.size());
        ASSERT_EQ(Fast, Plain) << platform::Utf16ToUtf8(Text);
    }
}

TEST(FoldPass, FoldingIsUpperCasingUnlessSpecial) {
    const char16_t* const Upper = KX_UpCaseTable();
    for (unsigned Code = 0; Code < 0x10000; ++Code) {
        const auto Unit = static_cast<char16_t>(Code);
        if (checking::IsSpecial(Unit) || (Unit >= 0xD800 && Unit < 0xE000)) continue;
        ASSERT_EQ(platform::UpperCase(std::u16string(1, Unit)), std::u16string(1, Upper[Unit]))
            << std::hex << Code;
        ASSERT_EQ(Upper[Upper[Unit]], Upper[Unit]) << std::hex << Code;
    }
}

} // namespace
} // namespace zutools
