#include "host/Variant.h"

#include "host/Exception.h"
#include "host/Object.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

namespace zutools {
namespace {

using TText = std::u16string;

// What a conversion gave: its value as text, or the message it failed with.
template <class TCall>
TText Outcome(TCall Call) {
    try {
        return Call();
    } catch (const EVariantError& Error) {
        return Error.Message();
    }
}

TText ToInt64(const TKXVariant& Value) {
    return Outcome([&] { return TKXVariant(Value.AsInt64()).AsString(); });
}

TEST(Variant, ConvertsToIntegersExactlyOrFails) {
    constexpr double TwoTo63 = 9223372036854775808.0;
    const struct {
        TKXVariant Value;
        const char16_t* Expected;
    } Rows[] = {
        {7, u"7"},
        {true, u"1"},
        {TKXVariant::WordBool(0xFFFF), u"65535"},
        {-3.0, u"-3"},
        {2.5, u"Cannot convert Float \"2.5\" to Int64"},
        {-TwoTo63, u"-9223372036854775808"},
        {TwoTo63, u"Cannot convert Float \"9.223372036854776e+18\" to Int64"},
        {std::nan(""), u"Cannot convert Float \"nan\" to Int64"},
        {u" 42\t", u"42"},
        {u"+5", u"5"},
        {u"$fF", u"255"},
        {u"-$10", u"-16"},
        {u"-9223372036854775808", u"-9223372036854775808"},
        {u"9223372036854775808", u"Cannot convert String \"9223372036854775808\" to Int64"},
        {u"$8000000000000000", u"Cannot convert String \"$8000000000000000\" to Int64"},
        {TKXVariant::AnsiString("12"), u"12"},
        {u'9', u"9"},
        {u"", u"Cannot convert String \"\" to Int64"},
        {u"-", u"Cannot convert String \"-\" to Int64"},
        {u"--1", u"Cannot convert String \"--1\" to Int64"},
        {u"1 2", u"Cannot convert String \"1 2\" to Int64"},
        {u"1.0", u"Cannot convert String \"1.0\" to Int64"},
        {u"\u0661", u"Cannot convert String \"\u0661\" to Int64"},
        {TDateTime{1}, u"Cannot convert DateTime \"1899-12-31 00:00:00\" to Int64"},
        {TKXVariant(), u"Cannot convert Null to Int64"},
        {TKXVariant::Object(nullptr), u"Cannot convert Object to Int64"},
    };
    for (const auto& Row : Rows) EXPECT_EQ(ToInt64(Row.Value), Row.Expected);
}

TEST(Variant, EachIntegerTypeHasItsOwnRange) {
    EXPECT_EQ(TKXVariant(u"-2147483648").AsInteger(), std::numeric_limits<std::int32_t>::min());
    EXPECT_THROW((void)TKXVariant(std::int64_t{2147483648}).AsInteger(), EVariantError);
    EXPECT_EQ(TKXVariant(255).AsByte(), 255);
    EXPECT_THROW((void)TKXVariant(256).AsByte(), EVariantError);
    EXPECT_THROW((void)TKXVariant(-1).AsByte(), EVariantError);
    EXPECT_EQ(TKXVariant(65535).AsWord(), 65535);
    EXPECT_THROW((void)TKXVariant(65536).AsWord(), EVariantError);
    EXPECT_EQ(TKXVariant(4294967295.0).AsLongWord(), 4294967295U);
    EXPECT_THROW((void)TKXVariant(4294967296.0).AsLongWord(), EVariantError);
}

TEST(Variant, ConvertsToFloats) {
    const struct {
        TKXVariant Value;
        const char16_t* Expected; // as text again
    } Rows[] = {
        {u"1.5", u"1.5"},
        {u" -.5e1 ", u"-5"},
        {u"0.1", u"0.1"},
        {std::int64_t{1} << 40, u"1099511627776"},
        {TDateTime{1.25}, u"1.25"},
        {u"1,5", u"Cannot convert String \"1,5\" to Float"},
        {u"inf", u"Cannot convert String \"inf\" to Float"},
        {u"nan", u"Cannot convert String \"nan\" to Float"},
        {u"1e999", u"Cannot convert String \"1e999\" to Float"},
        {u"0x10", u"Cannot convert String \"0x10\" to Float"},
        {true, u"Cannot convert Boolean \"True\" to Float"},
        {TKXVariant(), u"Cannot convert Null to Float"},
    };
    for (const auto& Row : Rows) {
        EXPECT_EQ(Outcome([&] { return TKXVariant(Row.Value.AsFloat()).AsString(); }), Row.Expected);
    }
}

TEST(Variant, FloatsAsTextAreShortAndReadBackTheSame) {
    const struct {
        double Value;
        const char16_t* Text;
    } Rows[] = {
        {0.0, u"0"},        {100000.0, u"100000"}, {123456789012345.0, u"123456789012345"}, {1e15, u"1e+15"},
        {1e-5, u"0.00001"}, {1e-6, u"1e-06"},      {0.1 + 0.2, u"0.30000000000000004"},     {-2.5, u"-2.5"},
        {1e22, u"1e+22"},   {5e-324, u"5e-324"},
    };
    for (const auto& Row : Rows) {
        const TText Text = TKXVariant(Row.Value).AsString();
        EXPECT_EQ(Text, Row.Text);
        EXPECT_EQ(TKXVariant(Text).AsFloat(), Row.Value);
    }
}

TEST(Variant, ConvertsToBoolean) {
    const struct {
        TKXVariant Value;
        const char16_t* Expected;
    } Rows[] = {
        {u"tRuE", u"True"},
        {u" false ", u"False"},
        {u"0.0", u"False"},
        {u"-1", u"True"},
        {0, u"False"},
        {0.5, u"True"},
        {TKXVariant::WordBool(2), u"True"},
        {u"yes", u"Cannot convert String \"yes\" to Boolean"},
        {u"", u"Cannot convert String \"\" to Boolean"},
        {std::nan(""), u"Cannot convert Float \"nan\" to Boolean"},
        {TKXVariant(), u"Cannot convert Null to Boolean"},
    };
    for (const auto& Row : Rows) {
        EXPECT_EQ(Outcome([&] { return TKXVariant(Row.Value.AsBoolean()).AsString(); }), Row.Expected);
    }
}

TEST(Variant, ConvertsToDatesAndBack) {
    const struct {
        TKXVariant Value;
        const char16_t* Expected;
    } Rows[] = {
        {u"1899-12-30", u"1899-12-30 00:00:00"},
        {u"2024-02-29 23:59:58.007", u"2024-02-29 23:59:58.007"},
        {u"2024-02-29T06:07", u"2024-02-29 06:07:00"},
        {u"01.02.2003 04:05:06", u"2003-02-01 04:05:06"},
        {u" 9999-12-31 23:59:59.999 ", u"9999-12-31 23:59:59.999"},
        {u"0001-01-01", u"0001-01-01 00:00:00"},
        {45000, u"2023-03-15 00:00:00"},
        {-0.25, u"1899-12-29 18:00:00"},
        {0.9999999999, u"1899-12-31 00:00:00"}, // rounded up into the next day
        {u"2023-02-29", u"Cannot convert String \"2023-02-29\" to DateTime"},
        {u"1900-02-29", u"Cannot convert String \"1900-02-29\" to DateTime"},
        {u"0000-01-01", u"Cannot convert String \"0000-01-01\" to DateTime"},
        {u"2023-1-01", u"Cannot convert String \"2023-1-01\" to DateTime"},
        {u"2023-01-01 24:00", u"Cannot convert String \"2023-01-01 24:00\" to DateTime"},
        {u"2023-01-01 10:00:60", u"Cannot convert String \"2023-01-01 10:00:60\" to DateTime"},
        {u"2023-01-01 10:00:00.5", u"Cannot convert String \"2023-01-01 10:00:00.5\" to DateTime"},
        {u"2023-01-01  10:00", u"Cannot convert String \"2023-01-01  10:00\" to DateTime"},
        {u"2023-01-01 10:00x", u"Cannot convert String \"2023-01-01 10:00x\" to DateTime"},
        {u"10:60", u"Cannot convert String \"10:60\" to DateTime"},
        {u"2023-01-0110:00", u"Cannot convert String \"2023-01-0110:00\" to DateTime"},
        {u"202301-01", u"Cannot convert String \"202301-01\" to DateTime"},
        {u"20", u"Cannot convert String \"20\" to DateTime"},
        {u"2023-01-01 10:60", u"Cannot convert String \"2023-01-01 10:60\" to DateTime"},
        {u"1.5", u"Cannot convert String \"1.5\" to DateTime"},
        {3000000.0, u"Cannot convert Float \"3000000\" to DateTime"},
        {std::nan(""), u"Cannot convert Float \"nan\" to DateTime"},
        {true, u"Cannot convert Boolean \"True\" to DateTime"},
    };
    for (const auto& Row : Rows) {
        EXPECT_EQ(Outcome([&] { return TKXVariant(Row.Value.AsDateTime()).AsString(); }), Row.Expected);
    }
    // A date/time is not checked when it is made: it fails when it is shown.
    EXPECT_THROW((void)TKXVariant(TDateTime{1e9}).AsString(), EVariantError);
}

TEST(Variant, ConvertsToText) {
    TObject Object;
    EXPECT_EQ(TKXVariant().AsString(), u"");
    EXPECT_EQ(TKXVariant(false).AsString(), u"False");
    EXPECT_EQ(TKXVariant::AnsiChar('z').AsString(), u"z");
    EXPECT_EQ(PointerAsLVar(nullptr).AsString(), u"");
    EXPECT_EQ(Outcome([&] { return PointerAsLVar(&Object).AsString(); }), u"Cannot convert Object to String");
}

TEST(Variant, AnsiTextHoldsOnlyWhatTheCodePageHas) {
    EXPECT_EQ(TKXVariant(u"a1").AsAnsiString(), "a1");
    EXPECT_EQ(TKXVariant(12).AsAnsiString(), "12");
    EXPECT_EQ(TKXVariant::AnsiString("\xFF\x80").AsAnsiString(), "\xFF\x80");
    EXPECT_THROW((void)TKXVariant(u"\u6F22").AsAnsiString(), EVariantError);
}

TEST(Variant, ACharacterIsATextOfLengthOne) {
    EXPECT_EQ(TKXVariant(u"\u0416").AsWideChar(), u'\u0416');
    EXPECT_EQ(TKXVariant::AnsiChar('q').AsWideChar(), u'q');
    EXPECT_THROW((void)TKXVariant(u"ab").AsWideChar(), EVariantError);
    EXPECT_THROW((void)TKXVariant(u"\U0001F600").AsWideChar(), EVariantError);
    EXPECT_THROW((void)TKXVariant(5).AsWideChar(), EVariantError);
}

TEST(Variant, ObjectReferences) {
    TObject Object;
    EXPECT_EQ(PointerAsLVar(&Object).AsObject(), &Object);
    EXPECT_EQ(PointerAsLVar(nullptr).Kind(), TVariantKind::vkObject);
    EXPECT_EQ(TKXVariant().AsObject(), nullptr);
    EXPECT_EQ(Outcome([] { return TText(TKXVariant(u"x").AsObject() == nullptr ? u"null" : u"some"); }),
              u"Cannot convert String \"x\" to Object");
}

TEST(Variant, LongValuesAreCutInMessages) {
    EXPECT_EQ(ToInt64(TText(100, u'x')), u"Cannot convert String \"" + TText(64, u'x') + u"...\" to Int64");
    // A surrogate pair is not torn apart.
    EXPECT_EQ(ToInt64(TText(63, u'x') + u"\U0001F600y"),
              u"Cannot convert String \"" + TText(63, u'x') + u"...\" to Int64");
}

TEST(Variant, EqualityAsksForTheSameKind) {
    EXPECT_EQ(TKXVariant(u"a"), TKXVariant(TText(u"a")));
    EXPECT_FALSE(TKXVariant(1) == TKXVariant(std::int64_t{1}));
    EXPECT_FALSE(TKXVariant(1) == TKXVariant(true));
}

TEST(Variant, IsMadeOfEveryKindOfInteger) {
    using TKind = TVariantKind;
    const struct {
        TKXVariant Value;
        TKind Kind;
        const char16_t* Text;
    } Rows[] = {
        {std::int8_t{-1}, TKind::vkInteger, u"-1"},
        {std::uint16_t{65535}, TKind::vkInteger, u"65535"},
        {std::uint32_t{4294967295U}, TKind::vkInt64, u"4294967295"},
        {-5LL, TKind::vkInt64, u"-5"},
        {std::numeric_limits<std::uint64_t>::max() / 2, TKind::vkInt64, u"9223372036854775807"},
    };
    for (const auto& Row : Rows) {
        EXPECT_EQ(Row.Value.Kind(), Row.Kind);
        EXPECT_EQ(Row.Value.AsString(), Row.Text);
    }
    EXPECT_EQ(Outcome([] { return TKXVariant(std::uint64_t{1} << 63).AsString(); }),
              u"Cannot convert 9223372036854775808 to Int64");
}

TEST(Variant, KindCodesAreThoseOfTheScriptInterfaces) {
    EXPECT_EQ(static_cast<int>(TKXVariant(u"").Kind()), 9);
    EXPECT_EQ(static_cast<int>(TKXVariant::AnsiString("").Kind()), 10);
    EXPECT_EQ(static_cast<int>(TKXVariant(true).Kind()), 11);
    EXPECT_EQ(static_cast<int>(TKXVariant::WordBool(1).Kind()), 12);
    EXPECT_EQ(static_cast<int>(PointerAsLVar(nullptr).Kind()), 13);
    EXPECT_TRUE(TKXVariant::AnsiString("").IsString());
    EXPECT_FALSE(TKXVariant(u'c').IsString());
}

} // namespace
} // namespace zutools
