#include "platform/Text.h"

#include <gtest/gtest.h>

using namespace zutools::platform;

namespace {

// The library is asked at every alignment and distance from the block size: runs of ASCII go 8 or 16 at a
// time.
constexpr std::size_t Paddings = 35;

struct TPair {
    const char* Name;
    std::string Utf8;
    std::u16string Utf16;
};

const TPair WellFormed[] = {
    {"ascii", "plain text", u"plain text"},
    {"nul inside", std::string("a\0b", 3), std::u16string(u"a\0b", 3)},
    {"first and last of two bytes", "\xC2\x80\xDF\xBF", u"\u0080\u07FF"},
    {"first and last of three bytes", "\xE0\xA0\x80\xEF\xBF\xBF", u"\u0800\uFFFF"},
    {"first and last of four bytes", "\xF0\x90\x80\x80\xF4\x8F\xBF\xBF", u"\U00010000\U0010FFFF"},
    {"around the surrogates", "\xED\x9F\xBF\xEE\x80\x80", u"\uD7FF\uE000"},
    {"byte-order mark is kept", "\xEF\xBB\xBFx", u"\uFEFFx"},
    {"mixed", "Привет, мир! €5 \xF0\x9F\x99\x82.", u"Привет, мир! €5 \U0001F642."},
};

TEST(Utf, ConvertsWellFormedTextBothWays) {
    for (const TPair& Row : WellFormed) {
        for (std::size_t Before = 0; Before < Paddings; ++Before) {
            for (const std::size_t After : {std::size_t{0}, Before, Paddings - Before}) {
                SCOPED_TRACE(testing::Message() << Row.Name << ' ' << Before << ' ' << After);
                const std::string Utf8 = std::string(Before, 'a') + Row.Utf8 + std::string(After, 'z');
                const std::u16string Utf16 =
                    std::u16string(Before, u'a') + Row.Utf16 + std::u16string(After, u'z');
                const auto Decoded = Utf8ToUtf16Strict(Utf8);
                EXPECT_FALSE(Decoded.Error);
                EXPECT_EQ(Decoded.Text, Utf16);
                const auto Encoded = Utf16ToUtf8Strict(Utf16);
                EXPECT_FALSE(Encoded.Error);
                EXPECT_EQ(Encoded.Text, Utf8);
                EXPECT_EQ(Utf8ToUtf16(Utf8), Utf16);
                EXPECT_EQ(Utf16ToUtf8(Utf16), Utf8);
            }
        }
    }
}

TEST(Utf, CountsLongTextWithoutOverflow) {
    // Long enough that the sums of the first pass are folded more than once.
    std::string Utf8;
    std::u16string Utf16;
    for (int Index = 0; Index < 60'000; ++Index) {
        Utf8 += "a\xD0\xB6\xE2\x82\xAC\xF0\x9F\x99\x82";
        Utf16 += u"a\u0436\u20AC\U0001F642";
    }
    EXPECT_TRUE(Utf8ToUtf16Strict(Utf8).Text == Utf16);
    EXPECT_TRUE(Utf16ToUtf8Strict(Utf16).Text == Utf8);
    EXPECT_EQ(Utf8ToUtf16Strict(std::string(100'000, 'x')).Text.size(), 100'000u);
    EXPECT_EQ(Utf16ToUtf8Strict(std::u16string(300'000, u'x')).Text.size(), 300'000u);
}

struct TBroken {
    const char* Name;
    std::string Bytes; // the malformed sequence only
    std::size_t Replacements;
};

const TBroken MalformedUtf8[] = {
    {"lone continuation", "\x80", 1},
    {"two lone continuations", "\x80\xBF", 2},
    {"overlong of two bytes", "\xC0\xAF", 2},
    {"overlong of two bytes, last", "\xC1\xBF", 2},
    {"overlong of three bytes", "\xE0\x9F\xBF", 3},
    {"overlong of four bytes", "\xF0\x8F\xBF\xBF", 4},
    {"first surrogate", "\xED\xA0\x80", 3},
    {"last surrogate", "\xED\xBF\xBF", 3},
    {"above the last character", "\xF4\x90\x80\x80", 4},
    {"lead of five bytes", "\xF8\x88\x80\x80\x80", 5},
    {"no lead at all", "\xFE\xFF", 2},
    {"two bytes cut after one", "\xD0", 1},
    {"three bytes cut after two", "\xE2\x82", 1},
    {"four bytes cut after three", "\xF0\x9F\x99", 1},
    {"cut, then another cut", "\xE2\x82\xF0\x9F", 2},
};

TEST(Utf, ReportsTheFirstMalformedByteAndKeepsWhatStoodBefore) {
    for (const TBroken& Row : MalformedUtf8) {
        for (std::size_t Before = 0; Before < Paddings; ++Before) {
            for (const char* const After : {"", "b", " and a long tail of plain text; 0123456789"}) {
                SCOPED_TRACE(testing::Message() << Row.Name << ' ' << Before << ' ' << After);
                const std::string Start = std::string(Before, 'a') + "\xD0\xB6";
                const auto Decoded = Utf8ToUtf16Strict(Start + Row.Bytes + After);
                ASSERT_TRUE(Decoded.Error);
                EXPECT_EQ(Decoded.Error->Offset, Start.size());
                EXPECT_EQ(Decoded.Text, std::u16string(Before, u'a') + u'\u0436');
            }
        }
    }
}

TEST(Utf, ReplacesEveryMalformedSequenceForDisplay) {
    for (const TBroken& Row : MalformedUtf8) {
        SCOPED_TRACE(Row.Name);
        EXPECT_EQ(Utf8ToUtf16("a" + Row.Bytes + "b"),
                  u"a" + std::u16string(Row.Replacements, u'\uFFFD') + u"b");
    }
}

TEST(Utf, UnpairedSurrogatesAreTheErrorOfUtf16) {
    const std::u16string Halves[] = {std::u16string(1, char16_t{0xD800}), std::u16string(1, char16_t{0xDBFF}),
                                     std::u16string(1, char16_t{0xDC00}),
                                     std::u16string(1, char16_t{0xDFFF})};
    for (const std::u16string& Half : Halves) {
        for (std::size_t Before = 0; Before < Paddings; ++Before) {
            for (const char16_t* const After : {u"", u"b", u"\uE000 and a long tail of text"}) {
                const std::u16string Start = std::u16string(Before, u'a') + u"\U0001F642";
                const auto Encoded = Utf16ToUtf8Strict(Start + Half + After);
                ASSERT_TRUE(Encoded.Error);
                EXPECT_EQ(Encoded.Error->Offset, Start.size());
                EXPECT_EQ(Encoded.Text, std::string(Before, 'a') + "\xF0\x9F\x99\x82");
                EXPECT_EQ(Utf16ToUtf8(Half + u"b"), "\xEF\xBF\xBD"
                                                    "b");
            }
        }
    }
    EXPECT_EQ(Utf16ToUtf8(Halves[2] + Halves[0]), "\xEF\xBF\xBD\xEF\xBF\xBD") << "a pair the wrong way round";
}

} // namespace
