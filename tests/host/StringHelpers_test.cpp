#include "host/StringHelpers.h"

#include "host/Numbers.h"

#include <gtest/gtest.h>

#include <limits>

namespace zutools {
namespace {

TEST(StringHelpers, PosTextFindsIgnoringCase) {
    const struct {
        const char16_t* Sought;
        const char16_t* Text;
        int Start;
        bool WholeWord;
        int Expected;
    } Rows[] = {
        {u"script", u"xScRiPt", 1, false, 2},
        {u"\u043C\u0438\u0440", u"\u041F\u0440\u0438\u0432\u0435\u0442, \u041C\u0418\u0420", 1, false, 9},
        {u"a", u"aXa", 2, false, 3},
        {u"a", u"aXa", 3, false, 3},
        {u"a", u"aXa", 4, false, 0},
        {u"a", u"a", 0, false, 0},
        {u"a", u"a", std::numeric_limits<int>::max(), false, 0},
        {u"", u"a", 1, false, 0},
        {u"ab", u"a", 1, false, 0},
        {u"aab", u"aaaab", 1, false, 3},
        {u"\u00DF", u"stra\u00DFe", 1, false, 5}, // its upper case is two letters: it stands for itself
        {u"ss", u"stra\u00DFe", 1, false, 0},
        {u"cat", u"concat, cat.", 1, true, 9},
        {u"cat", u"cat5 \u0416cat cat\u0416 cat", 1, true, 16},
        {u"cat", u"cats", 1, true, 0},
    };
    for (const auto& Row : Rows) {
        EXPECT_EQ(KX_PosText(Row.Sought, Row.Text, Row.Start, Row.WholeWord), Row.Expected)
            << testing::PrintToString(Row.Sought) << " in " << testing::PrintToString(Row.Text);
    }
}

TEST(StringHelpers, UpCaseTableMapsOneUnitToOne) {
    EXPECT_EQ(KX_UpChar(u'z'), u'Z');
    EXPECT_EQ(KX_UpChar(u'\n'), u'\n');
    EXPECT_EQ(KX_UpChar(u'\0'), u'\0');
    EXPECT_EQ(KX_UpChar(u'\u044F'), u'\u042F');
    EXPECT_EQ(KX_UpChar(u'\u00DF'), u'\u00DF');
    EXPECT_EQ(KX_UpChar(char16_t{0xD800}), char16_t{0xD800});
    EXPECT_EQ(KX_UpChar(char16_t{0xFF5A}), char16_t{0xFF3A}); // past the surrogates, and still in step
    EXPECT_EQ(KX_UpChar(char16_t{0xFFFF}), char16_t{0xFFFF});
}

TEST(StringHelpers, CopyCutsOffWhatLiesOutside) {
    constexpr int Huge = std::numeric_limits<int>::max();
    constexpr int Least = std::numeric_limits<int>::min();
    const struct {
        int Start;
        int Count;
        const char16_t* Expected;
    } Rows[] = {
        {2, 2, u"bc"}, {2, Huge, u"bcd"}, {4, 1, u"d"}, {5, 1, u""},        {Huge, Huge, u""}, {0, 2, u"a"},
        {-1, 2, u""},  {1, 0, u""},       {1, -5, u""}, {Least, Huge, u""}, {3, Least, u""},
    };
    for (const auto& Row : Rows)
        EXPECT_EQ(KX_CopyStr(u"abcd", Row.Start, Row.Count), Row.Expected) << Row.Start;
}

TEST(StringHelpers, NextParamCutsItemByItem) {
    const struct {
        const char16_t* Text;
        const char16_t* Delimiter;
        std::vector<std::u16string> Items;
    } Rows[] = {
        {u"a=1;b=2", u";", {u"a=1", u"b=2"}},
        {u"a;;b;", u";", {u"a", u"", u"b"}}, // nothing is left behind the last delimiter
        {u";", u";", {u""}},
        {u"a\r\nb\nc", u"\r\n", {u"a", u"b\nc"}},
        {u"whole", u"", {u"whole"}},
        {u"", u";", {}},
    };
    for (const auto& Row : Rows) {
        std::u16string_view Rest = Row.Text;
        std::vector<std::u16string> Items;
        std::u16string Item = u"old";
        while (KX_GetNextParam(Rest, Row.Delimiter, Item)) Items.push_back(Item);
        EXPECT_EQ(Items, Row.Items);
        EXPECT_EQ(Item, u"");
    }
}

TEST(StringHelpers, WordsStandBetweenSeparators) {
    TKXCharSet Separators;
    Separators.Include(u' ');
    Separators.Append(u',', u'.');
    EXPECT_EQ(KX_WordCount(u" a,-bc  d. ", Separators), 3);
    EXPECT_EQ(KX_WordCount(u"-.", Separators), 0);
    EXPECT_EQ(KX_WordCount(u"one", TKXCharSet()), 1);
    EXPECT_EQ(KX_ExtractWord(2, u" a,-bc  d. ", Separators), u"bc");
    for (const int None : {0, -1, 4}) EXPECT_EQ(KX_ExtractWord(None, u" a,-bc  d. ", Separators), u"");
}

TEST(StringHelpers, PathsAreJoinedWithOneSeparator) {
    EXPECT_EQ(KX_SplitPathName(u"", u"/n"), u"/n");
    for (const char16_t* Directory : {u"d", u"d/"}) {
        for (const char16_t* Name : {u"n", u"/n"}) EXPECT_EQ(KX_SplitPathName(Directory, Name), u"d/n");
    }
}

TEST(StringHelpers, OrdinalComparisonKnowsTheLettersAToZOnly) {
    EXPECT_TRUE(SameText(u"aZ_9", u"Az_9"));
    EXPECT_FALSE(SameText(u"\u044F", u"\u042F"));
    EXPECT_FALSE(SameText(u"[", u"{")); // 0x20 apart, but no letters
    EXPECT_FALSE(SameText(u"a", u"ab"));
    EXPECT_GT(CompareText(u"b", u"A"), 0);
    EXPECT_LT(CompareText(u"A", u"ab"), 0);
    EXPECT_LT(CompareText(u"z", u"_"), 0); // letters compare as capitals
    EXPECT_EQ(LowerCase(u"AZ[\u042F"), u"az[\u042F");
}

TEST(StringHelpers, LocaleAwareComparison) {
    EXPECT_EQ(AnsiCompareText(u"\u043C\u0438\u0440", u"\u041C\u0418\u0420"), 0);
    EXPECT_NE(AnsiCompareStr(u"\u043C\u0438\u0440", u"\u041C\u0418\u0420"), 0);
    EXPECT_LT(AnsiCompareText(u"apple", u"Banana"), 0);
}

TEST(StringHelpers, TrimTakesEverythingUpToTheBlank) {
    EXPECT_EQ(Trim(u"\r\n\t a b \0"), u"a b");
    EXPECT_EQ(Trim(u" \x01 "), u"");
    EXPECT_EQ(Trim(u"\u00A0"), u"\u00A0");
}

TEST(CharSet, HoldsCharactersAndRanges) {
    TKXCharSet Set;
    EXPECT_FALSE(Set.NOTEmpty());
    EXPECT_FALSE(Set.Exists(u'a'));
    Set.Append(u'z', u'a');
    EXPECT_FALSE(Set.NOTEmpty());
    Set.Append(u'\0', u'\uFFFF');
    EXPECT_TRUE(Set.Exists(u'\0'));
    EXPECT_TRUE(Set.Exists(u'\uFFFF'));
    Set.Clear();
    Set.Include(u'a');
    TKXCharSet Copy = Set;
    Copy.Include(u'b');
    EXPECT_FALSE(Set.Exists(u'b'));
    EXPECT_TRUE(Copy.Exists(u'a'));
    const TKXCharSet Moved = std::move(Copy);
    EXPECT_TRUE(Moved.Exists(u'b'));
    Set = TKXCharSet();
    EXPECT_FALSE(Set.NOTEmpty());
}

TEST(Numbers, DefaultsForWhatIsNoInteger) {
    EXPECT_EQ(StrToIntDef(u"-2147483648", 1), std::numeric_limits<int>::min());
    for (const char16_t* Text : {u"", u"xx", u"2147483648", u"1.5", u"$"})
        EXPECT_EQ(StrToIntDef(Text, -1), -1);
}

TEST(Numbers, GivesNoMoreDigitsThanAskedFor) {
    EXPECT_EQ(FloatToStr(0.1f, 7), u"0.1");
    EXPECT_EQ(FloatToStr(1.0 / 3, 15), u"0.333333333333333");
    EXPECT_EQ(FloatToStr(0.1, 99), u"0.10000000000000001");
    EXPECT_EQ(FloatToStr(std::numeric_limits<double>::denorm_min(), 0), u"5e-324");
}

} // namespace
} // namespace zutools
