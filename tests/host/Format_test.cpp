#include "host/Format.h"

#include "host/Exception.h"
#include "platform/Text.h"
#include "tests/support/Raised.h"

#include <gtest/gtest.h>

#include <limits>
#include <vector>

namespace zutools {
namespace {

using tests::Raised;

struct TRow {
    const char16_t* Pattern;
    std::vector<TFormatArg> Args;
    const char16_t* Expected;
};

TEST(Format, ReplacesPlaceholders) {
    const TRow Rows[] = {
        {u"", {}, u""},
        {u"no placeholder", {1}, u"no placeholder"},
        {u"100%%", {}, u"100%"},
        {u"%s=%d;", {u"a", -7}, u"a=-7;"},
        {u"%S %D %U %X %G", {u"a", 1, 2, 255, 0.5}, u"a 1 2 FF 0.5"},
        {u"%5s|%-5s|", {u"ab", u"cd"}, u"   ab|cd   |"},
        {u"%.2s|%-4.1s|%.9s", {u"abc", u"xyz", u"q"}, u"ab|x   |q"},
        {u"%.1s", {u"\U0001F600"}, u""}, // half of a pair is no character
        {u"%.3d|%.3d|%6.3d|%-6.3d|", {5, -5, 5, -5}, u"005|-005|   005|-005  |"},
        {u"%d", {std::numeric_limits<std::int64_t>::min()}, u"-9223372036854775808"},
        {u"%u", {-1}, u"18446744073709551615"},
        {u"%x|%.8X", {-1, 0xBEEF}, u"FFFFFFFFFFFFFFFF|0000BEEF"},
        {u"%g|%g|%g", {0.1, 1e22, 3}, u"0.1|1e+22|3"},
        {u"%.3g|%.15g|%10.2g|", {1234.5, 0.1 + 0.2, 2.5}, u"1.23e+03|0.3|       2.5|"},
        {u"%1:s %0:s", {u"a", u"b"}, u"b a"},
        {u"%1:s%s %0:s%s", {u"a", u"b", u"c"}, u"bc ab"},
        {u"%1:-3d|", {0, 7}, u"7  |"},
        {u"\u0416%s\u0416", {u"\u044F"}, u"\u0416\u044F\u0416"},
    };
    for (const TRow& Row : Rows) EXPECT_EQ(Format(Row.Pattern, Row.Args), Row.Expected);
}

TEST(Format, RaisesOnWhatDoesNotFit) {
    const TRow Rows[] = {
        {u"%s", {}, u""},       {u"%s%s", {u"a"}, u""},
        {u"%1:s", {u"a"}, u""}, {u"%s", {1}, u""},
        {u"%s", {1.0}, u""},    {u"%d", {u"1"}, u""},
        {u"%d", {1.0}, u""},    {u"%u", {u"1"}, u""},
        {u"%x", {1.0}, u""},    {u"%g", {u"1"}, u""},
        {u"%q", {1}, u""},      {u"%", {1}, u""},
        {u"%5", {1}, u""},      {u"%-", {1}, u""},
        {u"%.d", {1}, u""},     {u"%5%", {1}, u""},
        {u"%:s", {u"a"}, u""},  {u"%--5d", {1}, u""},
        {u"% d", {1}, u""},     {u"%*d", {5, 1}, u""},
        {u"%65536d", {1}, u""}, {u"%.99999999999999999999d", {1}, u""},
    };
    for (const TRow& Row : Rows) {
        EXPECT_EQ(Raised<EFormatError>([&] { return Format(Row.Pattern, Row.Args); }),
                  "Format \"" + platform::Utf16ToUtf8(Row.Pattern) +
                      "\" invalid or incompatible with argument");
    }
}

TEST(Exceptions, CarriesItsMessageInBothEncodings) {
    const Exception Error(u"\u041D\u0435\u0442");
    EXPECT_STREQ(Error.what(), "\xD0\x9D\xD0\xB5\xD1\x82");
    EXPECT_EQ(MessageOf(Error), u"\u041D\u0435\u0442");
    EXPECT_EQ(MessageOf(std::runtime_error("\xD0\x9D")), u"\u041D");
}

} // namespace
} // namespace zutools
