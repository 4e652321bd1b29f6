#include "platform/TextTools.h"

#include <gtest/gtest.h>

using namespace zutools::platform;

namespace {

TEST(TextTools, AsciiHasNoOtherLettersAndDigits) {
    EXPECT_TRUE(EqualAsciiNoCase(u"Content-TYPE", u"content-type"));
    EXPECT_TRUE(EqualAsciiNoCase("", ""));
    EXPECT_FALSE(EqualAsciiNoCase(u"abc", u"abcd"));
    EXPECT_FALSE(EqualAsciiNoCase("@[", "`{")) << "the neighbours of the letters";
    EXPECT_FALSE(EqualAsciiNoCase(u"Ж", u"ж"));
    EXPECT_FALSE(EqualAsciiNoCase(u"K", u"\u212A")) << "the Kelvin sign";
    EXPECT_EQ(LowerAsciiText(std::u16string(u"@AZ[ az Ж")), u"@az[ az Ж");
    std::string Letters, Digits, Hex;
    for (int Byte = -128; Byte < 128; ++Byte) {
        const auto Character = static_cast<char>(Byte);
        if (IsAsciiLetter(Character) && UpperAscii(Character) == Character) Letters += Character;
        if (IsAsciiDigit(Character)) Digits += Character;
        if (HexValue(Character) >= 0) AppendHex(Hex, static_cast<unsigned char>(HexValue(Character)));
    }
    EXPECT_EQ(Letters, "ABCDEFGHIJKLMNOPQRSTUVWXYZ");
    EXPECT_EQ(Digits, "0123456789");
    EXPECT_EQ(Hex, "000102030405060708090a0b0c0d0e0f0a0b0c0d0e0f");
}

TEST(TextTools, TextsAreMadeFitToBeShown) {
    const std::u16string Pair = u"\U0001F600"; // two units
    EXPECT_EQ(WholeStart(u"a" + Pair, 2), u"a");
    EXPECT_EQ(WholeStart(u"a" + Pair, 3), u"a" + Pair);
    EXPECT_EQ(Shortened(Pair + u"b", 1), u"...");
    EXPECT_EQ(Shortened(Pair + u"b", 2), Pair + u"...");
    EXPECT_EQ(Shortened(Pair + u"b", 3), Pair + u"b");
    EXPECT_EQ(Shortened(std::u16string(2, u'\xD800'), 1), std::u16string(1, u'\xD800') + u"...");
    const std::u16string Steering = u"\x01\x1B\x7F\x9F\u2028\u202E\u2066\u2069";
    EXPECT_EQ(Masked(Steering + u"\n\u2027\u202F\u2065\u206A\xA0 " + Pair, u'?', u"\n"),
              std::u16string(8, u'?') + u"\n\u2027\u202F\u2065\u206A\xA0 " + Pair);
    EXPECT_EQ(Masked(std::u16string{u'a', u'\xD83D', u'b', u'\xDE00'}), u"a\uFFFDb\uFFFD");
}

TEST(TextTools, MarksReferencesAndDistances) {
    EXPECT_EQ(WithoutByteOrderMark("\xEF\xBB\xBF\xEF\xBB\xBFx"), "\xEF\xBB\xBFx");
    EXPECT_EQ(WithoutByteOrderMark("\xEF\xBB"), "\xEF\xBB");
    EXPECT_EQ(HtmlEscape("<a href=\"x\">'Ж' & co</a>"),
              "&lt;a href=&quot;x&quot;&gt;&#39;Ж&#39; &amp; co&lt;/a&gt;");
    EXPECT_EQ(EditDistance("kitten", "sitting"), 3U);
    EXPECT_EQ(EditDistance("", "abc"), 3U);
    EXPECT_EQ(EditDistance("same", "same"), 0U);
}

} // namespace
