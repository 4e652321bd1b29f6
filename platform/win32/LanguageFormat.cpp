#include "platform/LanguageFormat.h"

#include "platform/TextTools.h"
#include "platform/win32/Wide.h"

#include <algorithm>
#include <cstdlib>
#include <stdexcept>

#include <windows.h>

namespace zutools::platform {

namespace {

std::u16string LocaleOf(std::string_view Language) {
    std::u16string Name(Language.begin(), Language.end());
    return IsValidLocaleName(Wide(Name.c_str())) != 0 ? Name : std::u16string(); // the neutral one
}

std::u16string InfoOf(const std::u16string& Locale, LCTYPE Type) {
    wchar_t Text[16] = {};
    const int Length = GetLocaleInfoEx(Wide(Locale.c_str()), Type, Text, 16);
    if (Length <= 0) throw std::runtime_error("no locale data: error " + std::to_string(GetLastError()));
    return {Narrow(Text), static_cast<std::size_t>(Length - 1)};
}

struct TDecimal {
    bool Negative = false;
    std::string Whole, Fraction; // digits only
};

// What std::to_chars wrote, without its exponent.
TDecimal PlainDecimal(std::string_view Digits) {
    TDecimal Result;
    int Exponent = 0;
    if (const std::size_t At = Digits.find_first_of("eE"); At != Digits.npos) {
        Exponent = std::atoi(std::string(Digits.substr(At + 1)).c_str());
        Digits = Digits.substr(0, At);
    }
    Result.Negative = Digits.starts_with('-');
    if (Result.Negative) Digits.remove_prefix(1);
    const std::size_t Dot = std::min(Digits.find('.'), Digits.size());
    Result.Whole = Digits.substr(0, Dot);
    if (Dot < Digits.size()) Result.Fraction = Digits.substr(Dot + 1);
    for (; Exponent > 0; --Exponent) {
        if (Result.Fraction.empty()) Result.Fraction = "0";
        Result.Whole += Result.Fraction.front();
        Result.Fraction.erase(0, 1);
    }
    for (; Exponent < 0; ++Exponent) {
        if (Result.Whole.empty()) Result.Whole = "0";
        Result.Fraction.insert(Result.Fraction.begin(), Result.Whole.back());
        Result.Whole.pop_back();
    }
    Result.Whole.erase(0, Result.Whole.find_first_not_of('0'));
    if (Result.Whole.empty()) Result.Whole = "0";
    return Result;
}

void AddOne(TDecimal& Decimal) {
    for (std::string* Part : {&Decimal.Fraction, &Decimal.Whole}) {
        for (std::size_t Place = Part->size(); Place > 0; --Place) {
            char& Digit = (*Part)[Place - 1];
            if (Digit != '9') {
                ++Digit;
                return;
            }
            Digit = '0';
        }
    }
    Decimal.Whole.insert(Decimal.Whole.begin(), '1');
}

void Round(TDecimal& Decimal, int Least, int Most) {
    const auto Kept = static_cast<std::size_t>(Most);
    if (Decimal.Fraction.size() > Kept) {
        const std::string Rest = Decimal.Fraction.substr(Kept);
        Decimal.Fraction.resize(Kept);
        const char Last = Kept > 0 ? Decimal.Fraction.back() : Decimal.Whole.back();
        const bool IsHalf = Rest.front() == '5' && Rest.find_first_not_of('0', 1) == Rest.npos;
        if (IsHalf ? (Last - '0') % 2 == 1 : Rest.front() >= '5') AddOne(Decimal);
    }
    while (Decimal.Fraction.size() > static_cast<std::size_t>(Least) && Decimal.Fraction.ends_with('0'))
        Decimal.Fraction.pop_back();
    while (Decimal.Fraction.size() < static_cast<std::size_t>(Least)) Decimal.Fraction += '0';
}

constexpr std::size_t GroupSize = 3; // of the languages that have groups of one size

} // namespace

std::u16string FormatDecimal(std::string_view Language, std::string_view Digits, int Least, int Most) {
    const std::u16string Locale = LocaleOf(Language);
    TDecimal Decimal = PlainDecimal(Digits);
    Round(Decimal, Least, Most);
    std::u16string Text = Decimal.Negative ? u"-" : u"";
    const std::u16string Mark = InfoOf(Locale, LOCALE_STHOUSAND);
    for (std::size_t Place = 0; Place < Decimal.Whole.size(); ++Place) {
        if (Place > 0 && (Decimal.Whole.size() - Place) % GroupSize == 0) Text += Mark;
        Text += static_cast<char16_t>(Decimal.Whole[Place]);
    }
    if (!Decimal.Fraction.empty()) {
        Text += InfoOf(Locale, LOCALE_SDECIMAL);
        Text.append(Decimal.Fraction.begin(), Decimal.Fraction.end());
    }
    return Text;
}

std::optional<double> ParseDecimal(std::string_view Language, std::u16string_view Text) {
    const std::u16string Locale = LocaleOf(Language);
    const std::u16string Mark = InfoOf(Locale, LOCALE_STHOUSAND), Dot = InfoOf(Locale, LOCALE_SDECIMAL);
    std::string Plain;
    if (Text.starts_with(u'-')) {
        Plain = "-";
        Text.remove_prefix(1);
    }
    const std::size_t DotAt = std::min(Text.find(Dot), Text.size());
    std::u16string_view Whole = Text.substr(0, DotAt);
    bool Grouped = false;
    for (std::size_t Digits = 0; !Whole.empty();) {
        if (Whole.starts_with(Mark) && !Mark.empty()) {
            if (Digits == 0 || Digits > GroupSize || (Grouped && Digits != GroupSize)) return std::nullopt;
            Grouped = true;
            Digits = 0;
            Whole.remove_prefix(Mark.size());
            if (Whole.empty()) return std::nullopt;
            continue;
        }
        if (!IsAsciiDigit(Whole.front())) return std::nullopt;
        Plain += static_cast<char>(Whole.front());
        Whole.remove_prefix(1);
        ++Digits;
        if (Grouped && Whole.empty() && Digits != GroupSize) return std::nullopt;
    }
    if (DotAt < Text.size()) {
        Plain += '.';
        for (const char16_t Digit : Text.substr(DotAt + Dot.size())) {
            if (!IsAsciiDigit(Digit)) return std::nullopt;
            Plain += static_cast<char>(Digit);
        }
    }
    if (Plain.find_first_of("0123456789") == Plain.npos) return std::nullopt;
    return std::strtod(Plain.c_str(), nullptr);
}

std::u16string FormatDate(std::string_view Language, std::chrono::sys_time<std::chrono::minutes> Moment,
                          TDateStyle Style) {
    using namespace std::chrono;
    const std::u16string Locale = LocaleOf(Language);
    const auto Day = floor<days>(Moment);
    const year_month_day Date(Day);
    const auto Minutes = static_cast<WORD>((Moment - Day).count());
    SYSTEMTIME Time = {};
    Time.wYear = static_cast<WORD>(static_cast<int>(Date.year()));
    Time.wMonth = static_cast<WORD>(static_cast<unsigned>(Date.month()));
    Time.wDay = static_cast<WORD>(static_cast<unsigned>(Date.day()));
    Time.wHour = Minutes / 60;
    Time.wMinute = Minutes % 60;
    wchar_t Text[200] = {};
    const wchar_t* const Name = Wide(Locale.c_str());
    const int Length = Style == TDateStyle::Time
                           ? GetTimeFormatEx(Name, 0, &Time, L"HH:mm", Text, 200)
                           : GetDateFormatEx(Name, Style == TDateStyle::Day ? DATE_SHORTDATE : DATE_LONGDATE,
                                             &Time, nullptr, Text, 200, nullptr);
    if (Length <= 0) throw std::runtime_error("error " + std::to_string(GetLastError()));
    return {Narrow(Text), static_cast<std::size_t>(Length - 1)};
}

} // namespace zutools::platform
