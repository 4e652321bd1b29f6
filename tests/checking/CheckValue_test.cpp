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

std::string Utf8(std::u16string_view Text) {
    return platform::Utf16ToUtf8(Text);
}

struct TRow {
    const char* Name;
    std::u16string_view Wrong;
    std::u16string_view Right;
    std::u16string_view Value;
    const char* Expected;
};

class CheckValue : public testing::TestWithParam<TRow> {};

TEST_P(CheckValue, Says) {
    TParamValueChecker Checker;
    Checker.SetWrongSymbolsAsString(GetParam().Wrong);
    Checker.SetRightSymbolsAsString(GetParam().Right);
    EXPECT_EQ(Message(Checker, GetParam().Value), GetParam().Expected);
}

INSTANTIATE_TEST_SUITE_P(
    Rules, CheckValue,
    testing::Values(TRow{"EmptyValue", u"<", u"a", u"", ""}, TRow{"EmptyRule", u"", u"", u"<script>", ""},
                    TRow{"WrongSymbol", u"<,>", u"", u"a<b",
                         "Value \"A<B\" contain wrong symbol \"<\" at position 2."},
                    TRow{"WrongWord", u"script", u"", u"xScRiPt",
                         "Value \"XSCRIPT\" contain wrong word \"SCRIPT\" at position 2."},
                    TRow{"RightSymbolsPass", u"", u"a-z,0-9", u"Ab9", ""},
                    TRow{"NotARightSymbol", u"", u"a-z,0-9", u"a b",
                         "Value \"A B\" contain not a right symbol \" \" at position 2."},
                    TRow{"LowerCaseCodeNeverMatches", u"#97", u"", u"aA", ""},
                    TRow{"RightWordMissing", u"", u"alpha,'b c'", u"alpha",
                         "Value \"ALPHA\" not contain right words: \"ALPHA,\"B C\"\"."},
                    TRow{"EmptyRightWordIsNeverFound", u"", u"''", u"x",
                         "Value \"X\" not contain right words: \"\"\"\"."},
                    TRow{"ListOrderWins", u"late,early", u"", u"early late",
                         "Value \"EARLY LATE\" contain wrong word \"LATE\" at position 7."},
                    TRow{"WordsBeforeSymbols", u"<,word", u"", u"<word",
                         "Value \"<WORD\" contain wrong word \"WORD\" at position 2."},
                    TRow{"SymbolsBeforeRightWords", u"<", u"must", u"<",
                         "Value \"<\" contain wrong symbol \"<\" at position 1."},
                    TRow{"Cyrillic", u"скрипт", u"", u"мой Скрипт",
                         "Value \"МОЙ СКРИПТ\" contain wrong word \"СКРИПТ\" at position 5."},
                    TRow{"LongSRaisesToS", u"script", u"", u"\u017Fcript",
                         "Value \"SCRIPT\" contain wrong word \"SCRIPT\" at position 1."},
                    TRow{"DotlessIRaisesToI", u"script", u"", u"scr\u0131pt",
                         "Value \"SCRIPT\" contain wrong word \"SCRIPT\" at position 1."}),
    [](const auto& Info) { return Info.param.Name; });

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

// With a NUL, the last character, a pair with a case (Deseret), one without (emoji), unpaired halves, and ß.
constexpr char16_t OddUnits[] =
    u"aAbBcCxyz \u0431\u0411\u0451\u0401\u017F\u0131\u00DF\uFFFF\xD801\xDC28\xD83D\xDE00\x0000\u0149";
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
        TParamValueChecker Compiled;
        Compiled.SetSymbolsAsString(1, u"");
        for (int Index = 0; Index < Checker.WrongWords.Count(); ++Index) {
            Compiled.WrongWords.Add(Checker.WrongWords.Strings(Index));
        }
        Compiled.WrongSymbols = Checker.WrongSymbols;
        Compiled.RightWords.Assign(Checker.RightWords);
        Compiled.Compile();
        for (int Round = 0; Round < 40; ++Round) {
            // Short ones, and some longer than the pieces that a value is folded in.
            const std::u16string Value = RandomText(Random, Round % 10 == 0 ? 2600 : 40, Alphabet);
            ASSERT_EQ(Message(Compiled, Value), ReferenceMessage(Checker, Value)) << Utf8(Value);
        }
    }
}

TEST(CheckValueDifferential, NearMissesAndLongWords) {
    TKXStringList Words;
    std::u16string Long(1500, u'A');
    Words.Add(Long + u'B');
    Words.Add(u"ABCDEFGH");
    TParamValueChecker Checker;
    Checker.WrongWords.Assign(Words);
    Checker.Compile();
    std::u16string Misses;
    for (int Index = 0; Index < 2000; ++Index) Misses += u"abcdefg";
    EXPECT_EQ(Message(Checker, Misses), "");
    EXPECT_NE(Message(Checker, Misses + u"h"), "");
    EXPECT_EQ(Message(Checker, std::u16string(9000, u'a')), "");
    EXPECT_NE(Message(Checker, std::u16string(9000, u'a') + u"b"), "");
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
        ASSERT_EQ(FastFlags.Bad, PlainFlags.Bad) << Utf8(Text);
        ASSERT_EQ(FastFlags.Special, PlainFlags.Special) << Utf8(Text);
        Fast.resize(Text.size());
        Plain.resize(Text.size());
        ASSERT_EQ(Fast, Plain) << Utf8(Text);
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
