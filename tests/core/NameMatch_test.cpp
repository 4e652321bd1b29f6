// Every answer of the tables is held against the collator itself.

#include "core/NameMatch.h"

#include <gtest/gtest.h>

#include <map>
#include <random>
#include <string>
#include <utility>
#include <vector>

namespace zutools {
namespace {

using platform::TCollator;

int Sign(int Value) {
    return (Value > 0) - (Value < 0);
}

/// Draws texts that are hard to compare: equal but for case, accents, one character, their ends.
class TPairs {
public:
    explicit TPairs(std::u16string Alphabet)
        : FAlphabet(std::move(Alphabet)) {}

    std::u16string Text() {
        std::u16string Result(Number(7), u'\0');
        for (char16_t& Unit : Result) Unit = Any();
        return Result;
    }
    std::u16string Variant(std::u16string Text) {
        for (std::size_t Changes = 1 + Number(3); Changes > 0 && !Text.empty(); --Changes) {
            const std::size_t At = Number(Text.size());
            switch (Number(5)) {
            case 0:
                Text[At] = Any();
                break;
            case 1:
                Text = Text.substr(0, At) + platform::UpperCase(Text.substr(At));
                break;
            case 2:
                Text.insert(At, 1, Any());
                break;
            case 3:
                Text.erase(At, 1);
                break;
            default:
                Text = platform::LowerCase(Text);
            }
        }
        return Text;
    }
    std::size_t Number(std::size_t Limit) { return FRandom() % Limit; }

private:
    char16_t Any() { return FAlphabet[Number(FAlphabet.size())]; }

    std::u16string FAlphabet;
    std::mt19937 FRandom{20240517};
};

void ExpectCollatorsAnswers(const TCollator& Collator, const TNameMatch& Match, bool CaseSensitive,
                            const std::u16string& Left, const std::u16string& Right) {
    const int Wanted = Sign(Collator.Compare(Left, Right, CaseSensitive));
    const auto Where = [&] { // asked for when something fails only
        return "locale '" + Collator.Locale() + "' case " + std::to_string(CaseSensitive) + " [" +
               platform::Utf16ToUtf8(Left) + "] [" + platform::Utf16ToUtf8(Right) + "]";
    };
    ASSERT_EQ(Match.Compare(Left, Right), Wanted) << Where();
    ASSERT_EQ(Match.Same(Left, Right), Wanted == 0) << Where();
    const auto LeftHash = Match.Hash(Left);
    const auto RightHash = Match.Hash(Right);
    if (LeftHash.Simple && RightHash.Simple) {
        ASSERT_EQ(Match.SameSimple(Left, Right), Wanted == 0) << Where();
        ASSERT_TRUE(Wanted != 0 || LeftHash.Value == RightHash.Value) << Where();
    }
    ASSERT_TRUE(Left != Right || LeftHash.Value == RightHash.Value) << Where();
}

class NameMatchOfLocale : public testing::TestWithParam<const char*> {};

TEST_P(NameMatchOfLocale, AnswersAsTheCollatorOnRandomPairs) {
    const TCollator Collator(GetParam());
    std::u16string Everything =
        u"\u4E00\U0001F600\u1E9E\u212B"; // and halves of a surrogate pair, drawn apart
    for (char16_t Character = 0; Character < 0x460; ++Character) Everything += Character;
    for (const bool CaseSensitive : {false, true}) {
        const TNameMatch Match(Collator, CaseSensitive);
        std::u16string Decidable;
        for (char16_t Character = 0; Character < 0x460; ++Character)
            if (Match.Decidable(Character)) Decidable += Character;
        std::u16string Beyond; // of every script a little
        for (char32_t Character = 0x460; Character < 0x10000; Character += 1 + Character % 61)
            if (Character < 0xD800 || Character > 0xDFFF) Beyond += static_cast<char16_t>(Character);
        const std::u16string Alphabets[] = {
            Everything,
            Decidable,
            // Letters that join their neighbours somewhere: ch, aa, dž, lj, nj, cs, sz, l·, ij, ss, й of two.
            u"aAcChHsSzZdDlLjJnNiIyYgGtT\u010D\u017E\u00B7\u00DF\u00E5\u0131\u0130'",
            u"abcABC\u0301\u0306\u0308\u030A\u0438\u0418\u0439\u0419\u0435\u0451\u00E4\u00E5-' ",
            // Letters worth two, and the two.
            u"sS\u00DF\u1E9E\u015B\u0161\u017FaeAE\u00E6\u00C6oe\u0153\u0152ijIJ\u0133\u0132\u00E9\u00E0",
            // Greek with accents, wide Latin, signs that equal letters.
            u"\u03B1\u03AC\u0391\u0386\u03C3\u03C2\u03A3\u03B9\u03CA\u0390\u0301\u0308aAbB\uFF21\uFF41\uFF42"
            u"\u212A\u212Bk\u00E5",
            // Kana in both shapes, with voice marks, narrow, long; ideographs and their doubles.
            u"\u304B\u304C\u30AB\u30AC\uFF76\uFF9E\u3099\u30FC\u309D\u3042\u30A2\u3041\u8BA2\u5355\u4E00"
            u"\uF900\u8C48\u3400",
            // Syllables and the letters that they consist of.
            u"\uAC00\uAC01\uAC04\uB098\u1100\u1161\u11A8\u11AB\u3131\u314F\uFFA1\uFFC2\u1102",
            // Letters that join, vowels that stand before, marks that count and marks that do not.
            u"\u0627\u0622\u0653\u0644\uFEFB\u0640\u064E\u05D0\u05B7\uFB2E\u0E01\u0E40\u0E02\u0E33\u0E4D"
            u"\u0E32\u0915\u093C\u0958\u00AD",
            Beyond,
        };
        for (const std::u16string& Alphabet : Alphabets) {
            TPairs Pairs(Alphabet);
            for (int Round = 0; Round < 600; ++Round) {
                const std::u16string Left = Pairs.Text();
                const std::u16string Right = Round % 3 == 0 ? Pairs.Text() : Pairs.Variant(Left);
                ExpectCollatorsAnswers(Collator, Match, CaseSensitive, Left, Right);
                if (HasFatalFailure()) return;
            }
        }
    }
}

TEST_P(NameMatchOfLocale, AnswersAsTheCollatorOnPairsOfCharacters) {
    const TCollator Collator(GetParam());
    const TNameMatch Match(Collator, false);
    for (char16_t Left = 0; Left < 0x460; ++Left)
        for (char16_t Right = Left % 17; Right < 0x460; Right = static_cast<char16_t>(Right + 17)) {
            ExpectCollatorsAnswers(Collator, Match, false, {Left}, {Right});
            // One character against two: what is worth two letters must not be decided as one.
            ExpectCollatorsAnswers(Collator, Match, false, {Left}, {Right, Left});
            if (HasFatalFailure()) return;
        }
}

// Every character above the tables of the order against the one whose fold it shares, and against its
// neighbours.
TEST_P(NameMatchOfLocale, AnswersAsTheCollatorBeyondTheOrdersTables) {
    const TCollator Collator(GetParam());
    const TNameMatch Match(Collator, false);
    std::map<std::uint64_t, char16_t> ByHash;
    for (char32_t Unit = 0; Unit < 0x10000; Unit += Unit >= 0x460 ? 1 + Unit % 5 : 1) {
        const auto Character = static_cast<char16_t>(Unit);
        const auto Hash = Match.Hash({&Character, 1});
        if (!Hash.Simple) continue;
        const char16_t Other = ByHash.try_emplace(Hash.Value, Character).first->second;
        for (const char16_t Right : {Other, static_cast<char16_t>(Character + 1), u'a'}) {
            ExpectCollatorsAnswers(Collator, Match, false, {Character}, {Right});
            ExpectCollatorsAnswers(Collator, Match, false, {Character, Right}, {Right, Character});
            if (HasFatalFailure()) return;
        }
    }
}

// Contractions (cs, da, hr, hu), letters of their own (da, sv), dotless i (tr), accents weighed from the end
// (fr-CA), digits as numbers (kn), letters worth two (phonebk), orders of ideographs (zh, ja, ko).
INSTANTIATE_TEST_SUITE_P(Locales, NameMatchOfLocale,
                         testing::Values("", "ru-RU", "cs-CZ", "tr-TR", "de-DE", "da-DK", "hr-HR", "hu-HU",
                                         "sv-SE", "fr-CA", "uk-UA", "lt-LT", "en-u-kn", "de-u-co-phonebk",
                                         "zh-CN", "ja-JP", "ko-KR", "ar", "el-GR", "th-TH", "vi-VN"),
                         [](const auto& Info) {
                             std::string Name;
                             for (const char Character : std::string(Info.param))
                                 if (Character != '-') Name += Character;
                             return Name.empty() ? std::string("root") : Name;
                         });

// Names of more than sixteen characters are hashed in another loop than short ones.
TEST(NameMatch, LongAsciiNamesInAnyCaseHaveOneHash) {
    const TNameMatch& Match = UserNameMatch(false);
    std::u16string Name;
    for (char16_t Unit = u'!'; Unit <= u'~'; ++Unit) {
        if (!Match.Decidable(Unit)) continue; // a few signs are left to the collator on Windows
        Name += Unit;
        const TNameMatch::THash Hash = Match.Hash(Name);
        EXPECT_TRUE(Hash.Simple);
        EXPECT_EQ(Match.Hash(platform::UpperCase(Name)).Value, Hash.Value) << Name.size();
        EXPECT_EQ(Match.Hash(platform::LowerCase(Name)).Value, Hash.Value) << Name.size();
        EXPECT_NE(Match.Hash(Name + u"!").Value, Hash.Value) << Name.size();
        EXPECT_TRUE(Match.SameSimple(platform::UpperCase(Name), platform::LowerCase(Name)));
        for (std::u16string Other = Name; char16_t& Changed : Other) {
            const char16_t Was = std::exchange(Changed, Changed == u'x' ? u'y' : u'x');
            EXPECT_EQ(Match.SameSimple(Name, Other), Was == u'X') << Name.size();
            Changed = Was;
        }
    }
    EXPECT_GT(Name.size(), 62U + 16U) << "letters, digits and most signs are decided";
    EXPECT_FALSE(Match.Hash(Name + u"\u0E40").Simple) << "a Thai vowel joins the letter behind it";
}

// The point of the tables: without this every name would be left to the collator, and all of the above would
// hold.
TEST(NameMatch, DecidesAboutCommonNames) {
    const TCollator Root("");
    const TNameMatch Match(Root, false);
    for (const std::u16string_view Name :
         {u"Customer_ID", u"order.lines[12]", u"x", u"", u"\u0417\u0430\u043A\u0430\u0437\u0447\u0438\u043A"})
        EXPECT_TRUE(Match.Hash(Name).Simple) << platform::Utf16ToUtf8(Name);
    for (const std::u16string_view Name : {u"e\u0301", u"\U0001F600", u"a\u0001", u"abc\u00ADd",
                                           u"abcd\u007F", u"abcdefghi\u00AD", u"abcdefghijklmnopqr\u00ADs"})
        EXPECT_FALSE(Match.Hash(Name).Simple) << platform::Utf16ToUtf8(Name);
    // Where the system tells what its letters weigh.
    if (Root.IsLoneLetter(u'a')) {
        for (const std::u16string_view Name :
             {u"stra\u00DFe", u"\u8BA2\u5355", u"\u03C4\u03B9\u03BC\u03AE", u"\uC8FC\uBB38", u"\u304B\u304C"})
            EXPECT_TRUE(Match.Hash(Name).Simple) << platform::Utf16ToUtf8(Name);
    }
    const TCollator Czech("cs-CZ");
    EXPECT_FALSE(TNameMatch(Czech, false).Hash(u"chyba").Simple);
    EXPECT_TRUE(TNameMatch(Czech, false).Hash(u"cena").Simple);
}

} // namespace
} // namespace zutools
