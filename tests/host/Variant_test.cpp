#include "host/Variant.h"

#include "host/Exception.h"
#include "host/Object.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <string>
#include <vector>

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

using TConversion = TText (*)(const TKXVariant&);

TText ToInt64(const TKXVariant& Value) {
    return Outcome([&] { return TKXVariant(Value.AsInt64()).AsString(); });
}
TText ToFloat(const TKXVariant& Value) {
    return Outcome([&] { return TKXVariant(Value.AsFloat()).AsString(); });
}
TText ToBoolean(const TKXVariant& Value) {
    return Outcome([&] { return TKXVariant(Value.AsBoolean()).AsString(); });
}
TText ToDateTime(const TKXVariant& Value) {
    return Outcome([&] { return TKXVariant(Value.AsDateTime()).AsString(); });
}

TEST(Variant, ConvertsExactlyOrFails) {
    constexpr double TwoTo63 = 9223372036854775808.0;
    const struct {
        TConversion Convert;
        TKXVariant Value;
        const char16_t* Expected; // as text again
    } Rows[] = {
        {ToInt64, 7, u"7"},
        {ToInt64, true, u"1"},
        {ToInt64, TKXVariant::WordBool(0xFFFF), u"65535"},
        {ToInt64, -3.0, u"-3"},
        {ToInt64, 2.5, u"Cannot convert Float \"2.5\" to Int64"},
        {ToInt64, -TwoTo63, u"-9223372036854775808"},
        {ToInt64, TwoTo63, u"Cannot convert Float \"9.223372036854776e+18\" to Int64"},
        {ToInt64, std::nan(""), u"Cannot convert Float \"nan\" to Int64"},
        {ToInt64, u" 42\t", u"42"},
        {ToInt64, u"+5", u"5"},
        {ToInt64, u"$fF", u"255"},
        {ToInt64, u"-$10", u"-16"},
        {ToInt64, u"-9223372036854775808", u"-9223372036854775808"},
        {ToInt64, TKXVariant::AnsiString("12"), u"12"},
        {ToInt64, u'9', u"9"},
        {ToInt64, TDateTime{1}, u"Cannot convert DateTime \"1899-12-31 00:00:00\" to Int64"},
        {ToInt64, TKXVariant(), u"Cannot convert Null to Int64"},
        {ToInt64, TKXVariant::Object(nullptr), u"Cannot convert Object to Int64"},
        {ToFloat, u"1.5", u"1.5"},
        {ToFloat, u" -.5e1 ", u"-5"},
        {ToFloat, u"0.1", u"0.1"},
        {ToFloat, std::int64_t{1} << 40, u"1099511627776"},
        {ToFloat, TDateTime{1.25}, u"1.25"},
        {ToFloat, true, u"Cannot convert Boolean \"True\" to Float"},
        {ToFloat, TKXVariant(), u"Cannot convert Null to Float"},
        {ToBoolean, u"tRuE", u"True"},
        {ToBoolean, u" false ", u"False"},
        {ToBoolean, u"0.0", u"False"},
        {ToBoolean, u"-1", u"True"},
        {ToBoolean, 0, u"False"},
        {ToBoolean, 0.5, u"True"},
        {ToBoolean, TKXVariant::WordBool(2), u"True"},
        {ToBoolean, std::nan(""), u"Cannot convert Float \"nan\" to Boolean"},
        {ToBoolean, TKXVariant(), u"Cannot convert Null to Boolean"},
        {ToDateTime, u"1899-12-30", u"1899-12-30 00:00:00"},
        {ToDateTime, u"2024-02-29 23:59:58.007", u"2024-02-29 23:59:58.007"},
        {ToDateTime, u"2024-02-29T06:07", u"2024-02-29 06:07:00"},
        {ToDateTime, u"01.02.2003 04:05:06", u"2003-02-01 04:05:06"},
        {ToDateTime, u" 9999-12-31 23:59:59.999 ", u"9999-12-31 23:59:59.999"},
        {ToDateTime, u"0001-01-01", u"0001-01-01 00:00:00"},
        {ToDateTime, 45000, u"2023-03-15 00:00:00"},
        {ToDateTime, -0.25, u"1899-12-29 18:00:00"},
        {ToDateTime, 0.9999999999, u"1899-12-31 00:00:00"}, // rounded up into the next day
        {ToDateTime, 2958466.0, u"Cannot convert Float \"2958466\" to DateTime"}, // the year 10000
        {ToDateTime, std::nan(""), u"Cannot convert Float \"nan\" to DateTime"},
        {ToDateTime, true, u"Cannot convert Boolean \"True\" to DateTime"},
    };
    for (const auto& Row : Rows) EXPECT_EQ(Row.Convert(Row.Value), Row.Expected);
    // A date/time is not checked when it is made: it fails when it is shown.
    for (const double Days : {1e9, 2958465.9999999995}) // the second is rounded up into the year 10000
        EXPECT_THROW((void)TKXVariant(TDateTime{Days}).AsString(), EVariantError);
}

TEST(Variant, RefusesTextsOfAnotherForm) {
    const struct {
        TConversion Convert;
        std::u16string Kind;
        std::vector<std::u16string> Texts;
    } Rows[] = {
        {ToInt64,
         u"Int64",
         {u"9223372036854775808", u"$8000000000000000", u"", u"-", u"--1", u"1 2", u"1.0", u"\u0661"}},
        {ToFloat, u"Float", {u"1,5", u"inf", u"nan", u"1e999", u"0x10"}},
        {ToBoolean, u"Boolean", {u"yes", u""}},
        {ToDateTime,
         u"DateTime",
         {u"2023-02-29", u"1900-02-29", u"0000-01-01", u"2023-1-01", u"2023-01-01 24:00",
          u"2023-01-01 10:00:60", u"2023-01-01 10:00:00.5", u"2023-01-01  10:00", u"2023-01-01 10:00x",
          u"10:60", u"2023-01-0110:00", u"202301-01", u"20", u"2023-01-01 10:60", u"1.5"}},
    };
    for (const auto& Row : Rows)
        for (const std::u16string& Text : Row.Texts)
            EXPECT_EQ(Row.Convert(Text), u"Cannot convert String \"" + Text + u"\" to " + Row.Kind);
}

TEST(Variant, EachIntegerTypeHasItsOwnRange) {
    const auto Taken = [](const TKXVariant& Value) { // by AsInteger, AsByte, AsWord and AsLongWord
        std::string Result;
        const auto Try = [&](auto Convert) {
            try {
                Result += static_cast<double>(Convert()) == Value.AsFloat() ? "+" : "?";
            } catch (const EVariantError&) {
                Result += "-";
            }
        };
        Try([&] { return Value.AsInteger(); });
        Try([&] { return Value.AsByte(); });
        Try([&] { return Value.AsWord(); });
        Try([&] { return Value.AsLongWord(); });
        return Result;
    };
    for (const auto& [Value, Expected] : {std::pair{-2147483649.0, "----"},
                                          {-2147483648.0, "+---"},
                                          {-1.0, "+---"},
                                          {255.0, "++++"},
                                          {256.0, "+-++"},
                                          {65535.0, "+-++"},
                                          {65536.0, "+--+"},
                                          {2147483647.0, "+--+"},
                                          {2147483648.0, "---+"},
                                          {4294967295.0, "---+"},
                                          {4294967296.0, "----"}})
        EXPECT_EQ(Taken(Value), Expected) << Value;
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
