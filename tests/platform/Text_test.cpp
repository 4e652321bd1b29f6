// One contract for both systems: what differs between them (order of signs, of scripts) is not asked here.

#include "platform/Text.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>
#include <vector>

using namespace zutools::platform;

namespace {

// ---- letter case

TEST(LetterCase, ChangesLettersOfTheUsersLocale) {
    struct TRow {
        std::u16string_view Lower;
        std::u16string_view Upper;
    };
    const TRow Rows[] = {
        {u"", u""},
        {u"order 15/b", u"ORDER 15/B"},
        {u"@[`{ 0-9", u"@[`{ 0-9"}, // the neighbours of the letters
        {u"привет, ёж", u"ПРИВЕТ, ЁЖ"},
        {u"a long text of plain letters, then ї and é", u"A LONG TEXT OF PLAIN LETTERS, THEN Ї AND É"},
        {u"ωmega", u"ΩMEGA"},
    };
    for (const TRow& Row : Rows) {
        EXPECT_EQ(UpperCase(Row.Lower), Row.Upper);
        EXPECT_EQ(LowerCase(Row.Upper), Row.Lower);
    }
}

TEST(LetterCase, UnpairedSurrogatesPassThrough) {
    const std::u16string Text{u'\u0436', char16_t{0xD83D}, u'z', char16_t{0xDE42}};
    const std::u16string Upper{u'\u0416', char16_t{0xD83D}, u'Z', char16_t{0xDE42}};
    EXPECT_EQ(UpperCase(Text), Upper);
    EXPECT_EQ(LowerCase(Upper), Text);
}

TEST(LetterCase, TextThatGrowsIsWhole) {
    // "ß" becomes "SS" or stays, as the system has it; nothing is cut and nothing is left over.
    const std::u16string Upper = UpperCase(u"ßßßß");
    EXPECT_TRUE(Upper == u"SSSSSSSS" || Upper == u"ßßßß" || Upper == u"ẞẞẞẞ")
        << testing::PrintToString(Upper);
}

TEST(LetterCase, LettersAndDigitsOfEveryScript) {
    for (const char16_t Character : std::u16string_view(u"aZ09éßжЁїω中ש"))
        EXPECT_TRUE(IsLetterOrDigit(Character)) << std::hex << int{Character};
    const std::u16string Others =
        std::u16string(u" _-.\"[\u00A0\u2014\u20AC\uFFFD") + char16_t{0xD83D} + u'\0';
    for (const char16_t Character : Others)
        EXPECT_FALSE(IsLetterOrDigit(Character)) << std::hex << int{Character};
}

// ---- collation

enum class TSign { Less, Equal };

struct TOrder {
    std::u16string_view Left;
    std::u16string_view Right;
    TSign NoCase;
    TSign WithCase;
};

const TOrder Orders[] = {
    {u"", u"", TSign::Equal, TSign::Equal},
    {u"", u"a", TSign::Less, TSign::Less},
    {u"a", u"A", TSign::Equal, TSign::Less},
    {u"a", u"B", TSign::Less, TSign::Less},
    {u"A", u"b", TSign::Less, TSign::Less},
    {u"ab", u"ABC", TSign::Less, TSign::Less},
    {u"мир", u"МИР", TSign::Equal, TSign::Less},
    {u"Анна", u"борис", TSign::Less, TSign::Less},
    {u"е", u"ё", TSign::Less, TSign::Less},
    {u"ё", u"ж", TSign::Less, TSign::Less},
    {u"и", u"й", TSign::Less, TSign::Less},
    {u"й", u"к", TSign::Less, TSign::Less},
    {u"10", u"2", TSign::Less, TSign::Less},
    {u"cote", u"coté", TSign::Less, TSign::Less},
    {u"\u00E9", u"e\u0301", TSign::Equal, TSign::Equal},
    {u"e\u0301", u"\u00C9", TSign::Equal, TSign::Less},
    {u"\u0439", u"\u0438\u0306", TSign::Equal, TSign::Equal},
    {u"co-op", u"co-op ", TSign::Less, TSign::Less},
};

int SignOf(int Value) {
    return (Value > 0) - (Value < 0);
}

class Collation : public testing::TestWithParam<const char*> {};

TEST_P(Collation, OrdersAsPeopleDo) {
    const TCollator Collator(GetParam());
    EXPECT_EQ(Collator.Locale(), GetParam());
    for (const TOrder& Row : Orders) {
        for (const bool CaseSensitive : {false, true}) {
            SCOPED_TRACE(testing::PrintToString(Row.Left) + " " + testing::PrintToString(Row.Right) +
                         (CaseSensitive ? " with case" : " without case"));
            const int Expected = (CaseSensitive ? Row.WithCase : Row.NoCase) == TSign::Less ? -1 : 0;
            EXPECT_EQ(SignOf(Collator.Compare(Row.Left, Row.Right, CaseSensitive)), Expected);
            EXPECT_EQ(SignOf(Collator.Compare(Row.Right, Row.Left, CaseSensitive)), -Expected);
        }
    }
}

TEST_P(Collation, RejectsNothing) {
    const TCollator Collator(GetParam());
    const std::u16string High(1, char16_t{0xD83D});
    const std::u16string Low(1, char16_t{0xDE42});
    for (const bool CaseSensitive : {false, true}) {
        EXPECT_EQ(Collator.Compare(High, High, CaseSensitive), 0);
        EXPECT_EQ(SignOf(Collator.Compare(High + u"a", High + u"b", CaseSensitive)), -1);
        EXPECT_EQ(SignOf(Collator.Compare(Low, High, CaseSensitive)),
                  -SignOf(Collator.Compare(High, Low, CaseSensitive)));
        EXPECT_EQ(Collator.Compare({}, {}, CaseSensitive), 0) << "views without an address";
    }
}

INSTANTIATE_TEST_SUITE_P(Locales, Collation, testing::Values("", "ru-RU", "en-US", "de-DE"),
                         [](const auto& Info) {
                             const std::string Name = Info.param;
                             return Name.empty() ? "root" : Name.substr(0, 2);
                         });

TEST_P(Collation, SortKeysAreTheSameExactlyForEqualTexts) {
    const TCollator Collator(GetParam());
    const std::u16string_view Texts[] = {u"",  u"a",      u"A",      u"\u00E4",      u"a\u0308", u"ae",
                                         u"b", u"\u0451", u"\u0401", u"stra\u00DFe", u"strasse", u"a b"};
    for (const bool CaseSensitive : {false, true})
        for (const std::u16string_view Left : Texts)
            for (const std::u16string_view Right : Texts)
                EXPECT_EQ(Collator.SortKey(Left, CaseSensitive) == Collator.SortKey(Right, CaseSensitive),
                          Collator.Compare(Left, Right, CaseSensitive) == 0)
                    << Utf16ToUtf8(Left) << " and " << Utf16ToUtf8(Right) << " case " << CaseSensitive;
}

TEST(Collation, AnUnknownLocaleIsTheRoot) {
    const TCollator Root("");
    for (const char* const Locale : {"no such locale!", "en-US-posix", "en-US-u-va-posix"}) {
        const TCollator Collator(Locale);
        EXPECT_EQ(Collator.Compare(u"Order", u"oRDER", false), 0) << Locale;
        EXPECT_LT(Collator.Compare(u"a", u"B", true), 0) << Locale;
        EXPECT_LT(Collator.Compare(u"z", u"я", true), 0) << Locale;
    }
    EXPECT_LT(Root.Compare(u"z", u"я", true), 0) << "Latin before Cyrillic";
}

TEST(Collation, OneCollatorServesManyThreads) {
    const TCollator Collator("ru-RU");
    std::atomic<int> Wrong = 0;
    std::vector<std::thread> Threads;
    for (int Index = 0; Index < 4; ++Index) {
        Threads.emplace_back([&] {
            for (int Round = 0; Round < 2000; ++Round) {
                if (Collator.Compare(u"Привет", u"пРИВЕТ", false) != 0) ++Wrong;
                if (Collator.Compare(u"\u0438\u0306од", u"йод", true) != 0) ++Wrong;
                if (Collator.Compare(u"coop", u"крот", true) == 0) ++Wrong;
            }
        });
    }
    for (std::thread& Thread : Threads) Thread.join();
    EXPECT_EQ(Wrong, 0);
}

TEST(Collation, TheUsersCollatorIsOfTheUsersLocale) {
    EXPECT_EQ(UserCollator().Locale(), UserLocale());
}

// ---- code pages

TEST(CodePages, ConvertBothWays) {
    struct TRow {
        unsigned CodePage;
        std::string Bytes;
        std::u16string Text;
    };
    const TRow Rows[] = {
        {1251, "\xCF\xF0\xE8\xE2\xE5\xF2 \xA8\xB8 \x88\xB9", u"Привет Ёё €№"},
        {1252, "na\xEFve \x80\x9F\xFF", u"naïve €Ÿÿ"},
        {1250, "\xF8\xE1\x9D", u"řáť"},
        {1253, "\xC1\xF9", u"Αω"},
        {1254, "\xDD\xFD\xDE", u"İıŞ"},
        {1255, "\xE0\xFA", u"את"},
        {1256, "\xC7\xE4", u"ان"},
        {1257, "\xE0\xFB", u"ąū"},
        {1258, "\xD0\xFE", u"Đ₫"},
        {866, "\x8F\xE0\xA8\xA2\xA5\xE2 \xF0\xFC", u"Привет Ё№"},
        {437, "\x81\xE1\xDB", u"üß█"},
        {65001, "\xD0\xB6", u"ж"},
    };
    for (TRow Row : Rows) {
        SCOPED_TRACE(Row.CodePage);
        for (char16_t Ascii = 0; Ascii < 0x80; ++Ascii) { // controls too: they are no line graphics
            Row.Bytes.push_back(static_cast<char>(Ascii));
            Row.Text.push_back(Ascii);
        }
        const auto Decoded = CodePageToUtf16(Row.Bytes, Row.CodePage);
        EXPECT_FALSE(Decoded.Error);
        EXPECT_EQ(Decoded.Text, Row.Text);
        const auto Encoded = Utf16ToCodePage(Row.Text, Row.CodePage);
        EXPECT_FALSE(Encoded.Error);
        EXPECT_EQ(Encoded.Text, Row.Bytes);
    }
}

TEST(CodePages, EveryByteThatDecodesEncodesBack) {
    for (const unsigned CodePage :
         {1250u, 1251u, 1252u, 1253u, 1254u, 1255u, 1256u, 1257u, 1258u, 866u, 437u}) {
        int Undefined = 0;
        for (int Byte = 0; Byte < 256; ++Byte) {
            const std::string Bytes(1, static_cast<char>(Byte));
            const auto Decoded = CodePageToUtf16(Bytes, CodePage);
            Undefined += Decoded.Error ? 1 : 0;
            if (!Decoded.Error) {
                EXPECT_EQ(Utf16ToCodePage(Decoded.Text, CodePage).Text, Bytes) << CodePage;
            }
        }
        EXPECT_LE(Undefined, 25) << CodePage;
    }
}

TEST(CodePages, NothingIsGuessed) {
    struct TRow {
        const char* Name;
        unsigned CodePage;
        std::u16string Text;
        std::size_t Offset;
    };
    const TRow Rows[] = {
        {"Cyrillic in the western page", 1252, u"a Ж", 2},
        {"best fit of a full-width letter", 1252, u"x\uFF21", 1},
        {"best fit of a letter with a macron", 1252, u"\u0101", 0},
        {"best fit of infinity in the old page", 866, u"\u221E", 0},
        {"emoji", 1251, u"ok \U0001F642", 3},
        {"unpaired surrogate in UTF-8", 65001, std::u16string{u'a', char16_t{0xD800}}, 1},
        {"unknown page", 12345, u"abc", 0},
    };
    for (const TRow& Row : Rows) {
        SCOPED_TRACE(Row.Name);
        const auto Encoded = Utf16ToCodePage(Row.Text, Row.CodePage);
        ASSERT_TRUE(Encoded.Error);
        EXPECT_EQ(Encoded.Error->Offset, Row.Offset);
        EXPECT_EQ(Encoded.Text.size(), Row.Offset);
    }
}

TEST(CodePages, UndefinedBytesAreMalformed) {
    const auto Greek = CodePageToUtf16("\xC1\xC2\xD2\xC3", 1253);
    ASSERT_TRUE(Greek.Error);
    EXPECT_EQ(Greek.Error->Offset, 2u);
    EXPECT_EQ(Greek.Text, u"ΑΒ");
    const auto Utf8 = CodePageToUtf16("ab\xFF", 65001);
    ASSERT_TRUE(Utf8.Error);
    EXPECT_EQ(Utf8.Error->Offset, 2u);
    const auto Unknown = CodePageToUtf16("abc", 12345);
    ASSERT_TRUE(Unknown.Error);
    EXPECT_EQ(Unknown.Error->Offset, 0u);
}

TEST(CodePages, TheUsersPageIsOneThatConverts) {
    EXPECT_EQ(CodePageToUtf16("ok", AnsiCodePage()).Text, u"ok");
}

} // namespace
