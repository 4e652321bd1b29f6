// Numbers and dates as a language writes them: by ICU, and by NLS on Windows.

#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <string_view>

namespace zutools::platform {

/// `Digits` is a number as std::to_chars writes it, also with an exponent; `Least` and `Most` digits stand
/// behind the decimal mark, rounded half to even. `Language` is a BCP 47 tag ("ru"); one that the system does
/// not know gets the system's neutral form.
/// @throws std::runtime_error with the system's word when it cannot.
[[nodiscard]] std::u16string FormatDecimal(std::string_view Language, std::string_view Digits, int Least,
                                           int Most);

/// The number that a text in the language is, the whole text; nothing for others. Thousands marks may be left
/// out, and stand in their places when they are not.
[[nodiscard]] std::optional<double> ParseDecimal(std::string_view Language, std::u16string_view Text);

enum class TDateStyle {
    Day,  // 05.03.2026
    Long, // 5 March 2026
    Time  // 09:41, of 24 hours
};

/// A moment of the calendar, in no time zone.
/// @throws std::runtime_error with the system's word when it cannot.
[[nodiscard]] std::u16string FormatDate(std::string_view Language,
                                        std::chrono::sys_time<std::chrono::minutes> Moment, TDateStyle Style);

} // namespace zutools::platform
