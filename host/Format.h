// Message texts from a pattern, in the classic form.
//
//     Format(u"Error name index: %d in Params.", {Index})
//
// Placeholders: %[index:][-][width][.precision]type with type s, d, u, x, g or an upper-case form of them,
// and %% for one "%". %s takes text (precision cuts it), %d and %u integers (precision is the least number of
// digits), %x an integer in hexadecimal, %g a float or an integer (precision is the most significant digits;
// without one as many as read back the same). %u and %x take a negative integer as 64 bits. Widths count
// UTF-16 units and pad with blanks, to the right with "-". An index is 0-based and moves the order:
// placeholders after it go on from there.

#pragma once

#include <concepts>
#include <cstdint>
#include <initializer_list>
#include <span>
#include <string>
#include <string_view>
#include <variant>

namespace zutools {

/// One argument: text, integer or float. Borrowed text must outlive the call only.
class TFormatArg {
public:
    /// A text of any class that reads as one.
    template <std::convertible_to<std::u16string_view> TText>
    TFormatArg(const TText& Value)
        : FValue(std::u16string_view(Value)) {}
    TFormatArg(char16_t) = delete; // ambiguous: give a text or an integer
    TFormatArg(bool) = delete;
    TFormatArg(int Value)
        : FValue(std::int64_t{Value}) {}
    TFormatArg(unsigned Value)
        : FValue(std::int64_t{Value}) {}
    TFormatArg(long Value)
        : FValue(std::int64_t{Value}) {}
    TFormatArg(long long Value)
        : FValue(std::int64_t{Value}) {}
    TFormatArg(unsigned long Value)
        : FValue(static_cast<std::int64_t>(Value)) {}
    TFormatArg(unsigned long long Value)
        : FValue(static_cast<std::int64_t>(Value)) {}
    TFormatArg(double Value)
        : FValue(Value) {}

    [[nodiscard]] const std::variant<std::u16string_view, std::int64_t, double>& Value() const {
        return FValue;
    }

private:
    std::variant<std::u16string_view, std::int64_t, double> FValue;
};

/// The pattern with its placeholders replaced in order. Surplus arguments are ignored.
/// @throws EFormatError when an argument is missing or of the wrong type for its placeholder, or the pattern
/// is
///         malformed: `Format "..." invalid or incompatible with argument`.
[[nodiscard]] std::u16string Format(std::u16string_view Pattern, std::span<const TFormatArg> Args);
[[nodiscard]] std::u16string Format(std::u16string_view Pattern, std::initializer_list<TFormatArg> Args);

} // namespace zutools
