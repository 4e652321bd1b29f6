#include "host/Numbers.h"

#include "host/StringHelpers.h"
#include "platform/TextTools.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <limits>
#include <system_error>

namespace zutools {

namespace {

std::u16string Widened(const char* First, const char* Last) {
    return std::u16string(First, Last);
}

// The text in ASCII; empty when it holds anything else.
std::string Narrowed(std::u16string_view Text) {
    std::string Result;
    Result.reserve(Text.size());
    for (const char16_t Character : Text) {
        if (Character > 0x7F) return {};
        Result.push_back(static_cast<char>(Character));
    }
    return Result;
}

// Takes a sign off the front; true for a minus.
bool TakeSign(std::u16string_view& Text) {
    if (Text.empty() || (Text.front() != u'-' && Text.front() != u'+')) return false;
    const bool Negative = Text.front() == u'-';
    Text.remove_prefix(1);
    return Negative;
}

} // namespace

std::optional<std::int64_t> TryStrToInt64(std::u16string_view Text) {
    Text = Trim(Text);
    const bool Negative = TakeSign(Text);
    int Base = 10;
    if (!Text.empty() && Text.front() == u'$') {
        Base = 16;
        Text.remove_prefix(1);
    }
    const std::string Digits = Narrowed(Text);
    const char* const End = Digits.data() + Digits.size();
    // Unsigned, so that from_chars takes no second sign, and -2^63 is in reach.
    std::uint64_t Magnitude = 0;
    const auto [Stop, Error] = std::from_chars(Digits.data(), End, Magnitude, Base);
    if (Error != std::errc{} || Stop != End) return std::nullopt;
    constexpr std::uint64_t Limit = std::uint64_t{1} << 63;
    if (Negative) {
        if (Magnitude > Limit) return std::nullopt;
        return static_cast<std::int64_t>(0 - Magnitude);
    }
    if (Magnitude >= Limit) return std::nullopt;
    return static_cast<std::int64_t>(Magnitude);
}

int StrToIntDef(std::u16string_view Text, int Default) {
    const auto Value = TryStrToInt64(Text);
    if (!Value || *Value < std::numeric_limits<int>::min() || *Value > std::numeric_limits<int>::max())
        return Default;
    return static_cast<int>(*Value);
}

std::optional<double> TryStrToFloat(std::u16string_view Text) {
    Text = Trim(Text);
    const bool Negative = TakeSign(Text);
    // from_chars would read "inf", "nan" and a second sign.
    if (Text.empty() || (!platform::IsAsciiDigit(Text.front()) && Text.front() != u'.')) return std::nullopt;
    const std::string Digits = Narrowed(Text);
    const char* const End = Digits.data() + Digits.size();
    double Value = 0;
    const auto [Stop, Error] = std::from_chars(Digits.data(), End, Value);
    if (Error != std::errc{} || Stop != End) return std::nullopt;
    return Negative ? -Value : Value;
}

std::u16string IntToStr(std::int64_t Value) {
    char Buffer[24];
    return Widened(Buffer, std::to_chars(Buffer, Buffer + sizeof Buffer, Value).ptr);
}

std::u16string FloatToStr(double Value) {
    char Buffer[64]; // 17 digits, sign, point, and at most 15 places before or 5 zeros behind the point
    const double Magnitude = std::fabs(Value);
    const bool Fixed = Magnitude == 0 || (Magnitude >= 1e-5 && Magnitude < 1e15);
    // Left to itself to_chars writes 100000 as 1e+05, the shorter form by one character.
    const auto Form = Fixed ? std::chars_format::fixed : std::chars_format::scientific;
    return Widened(Buffer, std::to_chars(Buffer, Buffer + sizeof Buffer, Value, Form).ptr);
}

std::u16string FloatToStr(double Value, int Digits) {
    char Buffer[64];
    return Widened(Buffer, std::to_chars(Buffer, Buffer + sizeof Buffer, Value, std::chars_format::general,
                                         std::clamp(Digits, 1, 17))
                               .ptr);
}

} // namespace zutools
