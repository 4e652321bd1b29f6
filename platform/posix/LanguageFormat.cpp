#include "platform/LanguageFormat.h"

#include <array>
#include <map>
#include <memory>
#include <stdexcept>

#include <unicode/udat.h>
#include <unicode/udatpg.h>
#include <unicode/unum.h>

namespace zutools::platform {

namespace {

void Require(UErrorCode Status) {
    if (U_FAILURE(Status)) throw std::runtime_error(u_errorName(Status));
}

struct TCloseNumbers {
    void operator()(void** Format) const { unum_close(Format); }
};
struct TCloseDates {
    void operator()(void** Format) const { udat_close(Format); }
};
using TNumbers = std::unique_ptr<void*, TCloseNumbers>;
using TDates = std::unique_ptr<void*, TCloseDates>;

/// Made once for a thread and language: that takes longer than to write a number.
UNumberFormat* NumbersOf(std::string_view Language) {
    thread_local std::map<std::string, TNumbers, std::less<>> Kept;
    const auto Found = Kept.find(Language);
    if (Found != Kept.end()) return Found->second.get();
    const std::string Name(Language);
    UErrorCode Status = U_ZERO_ERROR;
    TNumbers Numbers(unum_open(UNUM_DECIMAL, nullptr, 0, Name.c_str(), nullptr, &Status));
    Require(Status);
    unum_setAttribute(Numbers.get(), UNUM_LENIENT_PARSE, 0);
    return Kept.emplace(Name, std::move(Numbers)).first->second.get();
}

std::u16string_view SkeletonOf(TDateStyle Style) {
    switch (Style) {
    case TDateStyle::Day:
        return u"yMMdd";
    case TDateStyle::Long:
        return u"yMMMMd";
    case TDateStyle::Time:
        return u"HHmm";
    }
    return u"yMMdd";
}

UDateFormat* DatesOf(std::string_view Language, TDateStyle Style) {
    thread_local std::map<std::pair<std::string, TDateStyle>, TDates> Kept;
    TDates& Dates = Kept[{std::string(Language), Style}];
    if (Dates == nullptr) {
        const std::string Name(Language);
        const std::u16string_view Skeleton = SkeletonOf(Style);
        UErrorCode Status = U_ZERO_ERROR;
        UDateTimePatternGenerator* const Patterns = udatpg_open(Name.c_str(), &Status);
        std::array<char16_t, 100> Pattern{};
        const int Length = udatpg_getBestPattern(Patterns, Skeleton.data(), static_cast<int>(Skeleton.size()),
                                                 Pattern.data(), static_cast<int>(Pattern.size()), &Status);
        udatpg_close(Patterns);
        Dates.reset(
            udat_open(UDAT_PATTERN, UDAT_PATTERN, Name.c_str(), u"UTC", 3, Pattern.data(), Length, &Status));
        Require(Status);
    }
    return Dates.get();
}

} // namespace

std::u16string FormatDecimal(std::string_view Language, std::string_view Digits, int Least, int Most) {
    UNumberFormat* const Numbers = NumbersOf(Language);
    unum_setAttribute(Numbers, UNUM_MIN_FRACTION_DIGITS, Least);
    unum_setAttribute(Numbers, UNUM_MAX_FRACTION_DIGITS, Most);
    std::array<char16_t, 500> Text{};
    UErrorCode Status = U_ZERO_ERROR;
    const int Length = unum_formatDecimal(Numbers, Digits.data(), static_cast<int>(Digits.size()),
                                          Text.data(), static_cast<int>(Text.size()), nullptr, &Status);
    Require(Status);
    return {Text.data(), static_cast<std::size_t>(Length)};
}

std::optional<double> ParseDecimal(std::string_view Language, std::u16string_view Text) {
    UErrorCode Status = U_ZERO_ERROR;
    std::int32_t End = 0;
    const double Value =
        unum_parseDouble(NumbersOf(Language), Text.data(), static_cast<int>(Text.size()), &End, &Status);
    if (U_FAILURE(Status) || static_cast<std::size_t>(End) != Text.size() || Text.empty())
        return std::nullopt;
    return Value;
}

std::u16string FormatDate(std::string_view Language, std::chrono::sys_time<std::chrono::minutes> Moment,
                          TDateStyle Style) {
    using namespace std::chrono;
    std::array<char16_t, 200> Text{};
    UErrorCode Status = U_ZERO_ERROR;
    const auto Since = duration_cast<milliseconds>(Moment.time_since_epoch()).count();
    const int Length = udat_format(DatesOf(Language, Style), static_cast<double>(Since), Text.data(),
                                   static_cast<int>(Text.size()), nullptr, &Status);
    Require(Status);
    return {Text.data(), static_cast<std::size_t>(Length)};
}

} // namespace zutools::platform
