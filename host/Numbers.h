// Numbers to text and back in the one form that stored data and scripts share: no thousands separators, "."
// before the fraction, whatever the user's locale. Plain functions for any thread.

#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace zutools {

/// A whole number: an optional sign, then decimal digits or "$" and hexadecimal digits, characters up to
/// U+0020 around it allowed. Empty for anything else and outside the 64-bit range.
[[nodiscard]] std::optional<std::int64_t> TryStrToInt64(std::u16string_view Text);

/// The same in the 32-bit range, and `Default` for anything else.
[[nodiscard]] int StrToIntDef(std::u16string_view Text, int Default);

/// A decimal number with optional sign, fraction and exponent ("-1.5e3"), characters up to U+0020 around it
/// allowed; the nearest float. Empty for anything else, for "inf" and "nan", and for what a float cannot
/// hold.
[[nodiscard]] std::optional<double> TryStrToFloat(std::u16string_view Text);

[[nodiscard]] std::u16string IntToStr(std::int64_t Value);

/// The fewest digits that read back the same: "0.1", "100000", "1e+22". An exponent stands from 1e15 on and
/// below 1e-5.
[[nodiscard]] std::u16string FloatToStr(double Value);
/// At most `Digits` significant digits (1 to 17, others are brought into that range), trailing zeros cut.
[[nodiscard]] std::u16string FloatToStr(double Value, int Digits);

} // namespace zutools
