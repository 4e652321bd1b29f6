#include "host/Variant.h"

#include "host/Exception.h"
#include "host/Format.h"
#include "host/Numbers.h"
#include "host/StringHelpers.h"
#include "platform/Text.h"
#include "platform/TextTools.h"

#include <chrono>
#include <cmath>
#include <limits>
#include <optional>

namespace zutools {

namespace {

constexpr std::int64_t DayMilliseconds = 86'400'000;
constexpr std::size_t ShownUnits = 64; // of a value in a message

// ---- dates

constexpr std::chrono::sys_days Epoch = std::chrono::year{1899} / 12 / 30;
constexpr std::int64_t FirstDay = (std::chrono::sys_days(std::chrono::year{1} / 1 / 1) - Epoch).count();
constexpr std::int64_t LastDay = (std::chrono::sys_days(std::chrono::year{9999} / 12 / 31) - Epoch).count();

bool IsDateInRange(double Days) {
    return Days >= static_cast<double>(FirstDay) && Days < static_cast<double>(LastDay + 1);
}

// Takes exactly `Count` digits off the front.
std::optional<unsigned> TakeDigits(std::u16string_view& Text, std::size_t Count) {
    if (Text.size() < Count) return std::nullopt;
    unsigned Number = 0;
    for (const char16_t Character : Text.substr(0, Count)) {
        if (Character < u'0' || Character > u'9') return std::nullopt;
        Number = Number * 10 + (Character - u'0');
    }
    Text.remove_prefix(Count);
    return Number;
}

bool TakeMark(std::u16string_view& Text, char16_t Mark) {
    if (Text.empty() || Text.front() != Mark) return false;
    Text.remove_prefix(1);
    return true;
}

// YYYY-MM-DD or DD.MM.YYYY off the front, as days since the epoch.
std::optional<std::int64_t> TakeDate(std::u16string_view& Text) {
    const bool DayFirst = Text.size() > 2 && Text[2] == u'.';
    const char16_t Mark = DayFirst ? u'.' : u'-';
    const auto First = TakeDigits(Text, DayFirst ? 2 : 4);
    if (!First || !TakeMark(Text, Mark)) return std::nullopt;
    const auto Month = TakeDigits(Text, 2);
    if (!Month || !TakeMark(Text, Mark)) return std::nullopt;
    const auto Last = TakeDigits(Text, DayFirst ? 4 : 2);
    if (!Last) return std::nullopt;
    const auto Year = static_cast<int>(DayFirst ? *Last : *First);
    const std::chrono::year_month_day Date{std::chrono::year{Year}, std::chrono::month{*Month},
                                           std::chrono::day{DayFirst ? *First : *Last}};
    if (Year == 0 || !Date.ok()) return std::nullopt;
    return (std::chrono::sys_days(Date) - Epoch).count();
}

// HH:MM[:SS[.mmm]] off the front, in milliseconds.
std::optional<unsigned> TakeTime(std::u16string_view& Text) {
    const auto Hours = TakeDigits(Text, 2);
    if (!Hours || *Hours > 23 || !TakeMark(Text, u':')) return std::nullopt;
    const auto Minutes = TakeDigits(Text, 2);
    if (!Minutes || *Minutes > 59) return std::nullopt;
    const unsigned Whole = (*Hours * 60 + *Minutes) * 60'000;
    if (!TakeMark(Text, u':')) return Whole;
    const auto Seconds = TakeDigits(Text, 2);
    if (!Seconds || *Seconds > 59) return std::nullopt;
    if (!TakeMark(Text, u'.')) return Whole + *Seconds * 1000;
    const auto Milliseconds = TakeDigits(Text, 3);
    if (!Milliseconds) return std::nullopt;
    return Whole + *Seconds * 1000 + *Milliseconds;
}

std::optional<double> TryStrToDateTime(std::u16string_view Text) {
    Text = Trim(Text);
    const auto Day = TakeDate(Text);
    if (!Day) return std::nullopt;
    unsigned Time = 0;
    if (!Text.empty()) {
        if (!TakeMark(Text, u' ') && !TakeMark(Text, u'T')) return std::nullopt;
        const auto Taken = TakeTime(Text);
        if (!Taken || !Text.empty()) return std::nullopt;
        Time = *Taken;
    }
    return static_cast<double>(*Day) + static_cast<double>(Time) / static_cast<double>(DayMilliseconds);
}

// Empty outside the years 1 to 9999.
std::optional<std::u16string> TryDateTimeToStr(double Days) {
    if (!IsDateInRange(Days)) return std::nullopt; // not a number is outside, too
    const double WholeDays = std::floor(Days);
    auto Day = static_cast<std::int64_t>(WholeDays);
    std::int64_t Time = std::llround((Days - WholeDays) * static_cast<double>(DayMilliseconds));
    if (Time == DayMilliseconds) {
        Time = 0;
        if (++Day > LastDay) return std::nullopt;
    }
    const std::chrono::year_month_day Date{Epoch + std::chrono::days(Day)};
    std::u16string Text =
        Format(u"%.4d-%.2d-%.2d %.2d:%.2d:%.2d",
               {static_cast<int>(Date.year()), static_cast<unsigned>(Date.month()),
                static_cast<unsigned>(Date.day()), Time / 3'600'000, Time / 60'000 % 60, Time / 1000 % 60});
    if (Time % 1000 != 0) Text += Format(u".%.3d", {Time % 1000});
    return Text;
}

// ---- numbers

std::optional<std::int64_t> WholeNumber(double Value) {
    // 2^63 is the first float that does not fit; a value that is no number fails every comparison.
    constexpr double Limit = 9223372036854775808.0;
    if (!(Value >= -Limit && Value < Limit) || std::trunc(Value) != Value) return std::nullopt;
    return static_cast<std::int64_t>(Value);
}

std::optional<bool> TryStrToBoolean(std::u16string_view Text) {
    Text = Trim(Text);
    if (SameText(Text, u"True")) return true;
    if (SameText(Text, u"False")) return false;
    const auto Number = TryStrToFloat(Text);
    if (!Number) return std::nullopt;
    return *Number != 0;
}

// ---- 8-bit text

std::optional<std::u16string> TryDecode(std::string_view Bytes) {
    auto Decoded = platform::CodePageToUtf16(Bytes, platform::AnsiCodePage());
    if (Decoded.Error) return std::nullopt;
    return std::move(Decoded.Text);
}

} // namespace

std::u16string_view VariantKindName(TVariantKind Kind) {
    switch (Kind) {
    case TVariantKind::vkNull:
        return u"Null";
    case TVariantKind::vkInteger:
        return u"Integer";
    case TVariantKind::vkInt64:
        return u"Int64";
    case TVariantKind::vkFloat:
        return u"Float";
    case TVariantKind::vkDateTime:
        return u"DateTime";
    case TVariantKind::vkAnsiChar:
        return u"AnsiChar";
    case TVariantKind::vkWideChar:
        return u"WideChar";
    case TVariantKind::vkString:
        return u"String";
    case TVariantKind::vkAnsiString:
        return u"AnsiString";
    case TVariantKind::vkBoolean:
        return u"Boolean";
    case TVariantKind::vkWordBool:
        return u"WordBool";
    case TVariantKind::vkObject:
        return u"Object";
    }
    return u"Unknown";
}

TKXVariant TKXVariant::AnsiString(std::string Value) {
    return TKXVariant(TVariantKind::vkAnsiString, std::move(Value));
}

TKXVariant TKXVariant::AnsiChar(char Value) {
    return TKXVariant(TVariantKind::vkAnsiChar, std::int64_t{static_cast<unsigned char>(Value)});
}

TKXVariant TKXVariant::WordBool(std::uint16_t Ordinal) {
    return TKXVariant(TVariantKind::vkWordBool, std::int64_t{Ordinal});
}

TKXVariant TKXVariant::Object(TObject* Value) {
    return TKXVariant(TVariantKind::vkObject, Value);
}

TKXVariant PointerAsLVar(TObject* Object) {
    return TKXVariant::Object(Object);
}

std::int64_t TKXVariant::FailTooLarge(std::uint64_t Value) {
    throw EVariantError(u"Cannot convert " + platform::Utf8ToUtf16(std::to_string(Value)) + u" to Int64");
}

void TKXVariant::Fail(std::u16string_view Wanted) const {
    std::u16string Shown(VariantKindName(FKind));
    // An object is not looked at: the reference may be all that is left of it.
    if (FKind != TVariantKind::vkNull && FKind != TVariantKind::vkObject) {
        Shown += u" \"" + platform::Shortened(TryText().value_or(u"?"), ShownUnits) + u"\"";
    }
    throw EVariantError(Format(u"Cannot convert %s to %s", {Shown, Wanted}));
}

// The text of any kind but a non-null object; empty when there is none.
std::optional<std::u16string> TKXVariant::TryText() const {
    switch (FKind) {
    case TVariantKind::vkNull:
        return std::u16string();
    case TVariantKind::vkInteger:
    case TVariantKind::vkInt64:
        return IntToStr(Ordinal());
    case TVariantKind::vkFloat:
        return FloatToStr(Float());
    case TVariantKind::vkDateTime:
        return TryDateTimeToStr(Float());
    case TVariantKind::vkAnsiChar:
        return TryDecode(std::string(1, static_cast<char>(Ordinal())));
    case TVariantKind::vkWideChar:
        return std::u16string(1, static_cast<char16_t>(Ordinal()));
    case TVariantKind::vkString:
        return std::get<std::u16string>(FValue);
    case TVariantKind::vkAnsiString:
        return TryDecode(std::get<std::string>(FValue));
    case TVariantKind::vkBoolean:
    case TVariantKind::vkWordBool:
        return Ordinal() != 0 ? u"True" : u"False";
    case TVariantKind::vkObject:
        break;
    }
    if (std::get<TObject*>(FValue) != nullptr) return std::nullopt;
    return std::u16string();
}

bool TKXVariant::IsText() const {
    return IsString() || FKind == TVariantKind::vkWideChar || FKind == TVariantKind::vkAnsiChar;
}

template <class TValue>
std::optional<TValue> TKXVariant::Parsed(std::optional<TValue> (*Parse)(std::u16string_view)) const {
    if (FKind == TVariantKind::vkString) return Parse(StringView());
    const auto Text = TryText();
    return Text ? Parse(*Text) : std::nullopt;
}

std::int64_t TKXVariant::Whole(std::u16string_view Wanted, std::int64_t Lowest, std::int64_t Highest) const {
    std::optional<std::int64_t> Value;
    switch (FKind) {
    case TVariantKind::vkInteger:
    case TVariantKind::vkInt64:
    case TVariantKind::vkBoolean:
    case TVariantKind::vkWordBool:
        Value = Ordinal();
        break;
    case TVariantKind::vkFloat:
        Value = WholeNumber(Float());
        break;
    default:
        if (IsText()) Value = Parsed(TryStrToInt64);
    }
    if (!Value || *Value < Lowest || *Value > Highest) Fail(Wanted);
    return *Value;
}

template <class TInteger>
TInteger TKXVariant::Whole(std::u16string_view Wanted) const {
    using TLimits = std::numeric_limits<TInteger>;
    return static_cast<TInteger>(Whole(Wanted, TLimits::min(), TLimits::max()));
}

std::int32_t TKXVariant::AsInteger() const {
    return Whole<std::int32_t>(u"Integer");
}
std::int64_t TKXVariant::AsInt64() const {
    return Whole<std::int64_t>(u"Int64");
}
std::int8_t TKXVariant::AsShortInt() const {
    return Whole<std::int8_t>(u"ShortInt");
}
std::int16_t TKXVariant::AsSmallInt() const {
    return Whole<std::int16_t>(u"SmallInt");
}
std::uint8_t TKXVariant::AsByte() const {
    return Whole<std::uint8_t>(u"Byte");
}
std::uint16_t TKXVariant::AsWord() const {
    return Whole<std::uint16_t>(u"Word");
}
std::uint32_t TKXVariant::AsLongWord() const {
    return Whole<std::uint32_t>(u"LongWord");
}

double TKXVariant::AsFloat() const {
    switch (FKind) {
    case TVariantKind::vkInteger:
    case TVariantKind::vkInt64:
        return static_cast<double>(Ordinal());
    case TVariantKind::vkFloat:
    case TVariantKind::vkDateTime:
        return Float();
    default:
        break;
    }
    const auto Value = IsText() ? Parsed(TryStrToFloat) : std::nullopt;
    if (!Value) Fail(u"Float");
    return *Value;
}

bool TKXVariant::AsBoolean() const {
    switch (FKind) {
    case TVariantKind::vkInteger:
    case TVariantKind::vkInt64:
    case TVariantKind::vkBoolean:
    case TVariantKind::vkWordBool:
        return Ordinal() != 0;
    case TVariantKind::vkFloat:
        if (std::isnan(Float())) Fail(u"Boolean");
        return Float() != 0;
    default:
        break;
    }
    const auto Value = IsText() ? Parsed(TryStrToBoolean) : std::nullopt;
    if (!Value) Fail(u"Boolean");
    return *Value;
}

TDateTime TKXVariant::AsDateTime() const {
    std::optional<double> Days;
    switch (FKind) {
    case TVariantKind::vkInteger:
    case TVariantKind::vkInt64:
        Days = static_cast<double>(Ordinal());
        break;
    case TVariantKind::vkFloat:
    case TVariantKind::vkDateTime:
        Days = Float();
        break;
    default:
        if (IsText()) Days = Parsed(TryStrToDateTime);
    }
    if (!Days || !IsDateInRange(*Days)) Fail(u"DateTime");
    return TDateTime{*Days};
}

std::u16string TKXVariant::AsString() const {
    auto Text = TryText();
    if (!Text) Fail(u"String");
    return std::move(*Text);
}

std::u16string_view TKXVariant::StringView() const {
    const auto* Text = std::get_if<std::u16string>(&FValue);
    return Text != nullptr ? std::u16string_view(*Text) : std::u16string_view();
}

std::string TKXVariant::AsAnsiString() const {
    if (FKind == TVariantKind::vkAnsiString) return std::get<std::string>(FValue);
    if (FKind == TVariantKind::vkAnsiChar) return std::string(1, static_cast<char>(Ordinal()));
    const auto Text = TryText();
    if (!Text) Fail(u"AnsiString");
    auto Encoded = platform::Utf16ToCodePage(*Text, platform::AnsiCodePage());
    if (Encoded.Error) Fail(u"AnsiString");
    return std::move(Encoded.Text);
}

char16_t TKXVariant::AsWideChar() const {
    const auto Text = IsText() ? TryText() : std::nullopt;
    if (!Text || Text->size() != 1) Fail(u"WideChar");
    return Text->front();
}

char TKXVariant::AsAnsiChar() const {
    if (FKind == TVariantKind::vkAnsiChar) return static_cast<char>(Ordinal());
    const auto Text = IsText() ? TryText() : std::nullopt;
    const auto Encoded = platform::Utf16ToCodePage(Text.value_or(u""), platform::AnsiCodePage());
    if (Encoded.Error || Encoded.Text.size() != 1) Fail(u"AnsiChar");
    return Encoded.Text.front();
}

TObject* TKXVariant::AsObject() const {
    if (FKind == TVariantKind::vkNull) return nullptr;
    if (FKind != TVariantKind::vkObject) Fail(u"Object");
    return std::get<TObject*>(FValue);
}

} // namespace zutools
