// TKXVariant, the tagged value that carries every script argument, result and property value.
//
// A value type: copies are independent. An object reference is not owned. Not shared between threads without
// a lock.

#pragma once

#include <concepts>
#include <cstdint>
#include <limits>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <variant>

namespace zutools {

class TObject;

/// Type codes; 9 to 13 are fixed by the script interfaces, which test them.
enum class TVariantKind : std::uint8_t {
    vkNull = 0,
    vkInteger = 1,     // 32-bit signed
    vkInt64 = 2,       // 64-bit signed
    vkFloat = 3,       // extended floating point
    vkDateTime = 4,    // days since 1899-12-30, the fraction is the time of day
    vkAnsiChar = 5,    // one 8-bit character
    vkWideChar = 6,    // one UTF-16 unit
    vkString = 9,      // UTF-16 text
    vkAnsiString = 10, // 8-bit text in the user's code page
    vkBoolean = 11,
    vkWordBool = 12, // 16-bit ordinal: zero is false
    vkObject = 13,   // object reference, may be null
};

/// The name of a kind for messages: "Integer", "String", "Object", ...
[[nodiscard]] std::u16string_view VariantKindName(TVariantKind Kind);

/// A moment as days since 1899-12-30T00:00 local time, counted evenly: -0.25 is 1899-12-29T18:00. Years 1 to
/// 9999 of the Gregorian calendar, also before its introduction.
struct TDateTime {
    double Days = 0;
    friend bool operator==(const TDateTime&, const TDateTime&) = default;
};

/// The integer types beside `int`, `std::int64_t`, the booleans and the characters.
template <class T>
concept TOtherInteger = std::integral<T> && !std::same_as<T, int> && !std::same_as<T, std::int64_t> &&
                        !std::same_as<T, bool> && !std::same_as<T, char> && !std::same_as<T, wchar_t> &&
                        !std::same_as<T, char8_t> && !std::same_as<T, char16_t> && !std::same_as<T, char32_t>;

class TKXVariant {
public:
    TKXVariant() = default; // null
    TKXVariant(int Value)
        : FKind(TVariantKind::vkInteger)
        , FValue(std::int64_t{Value}) {}
    TKXVariant(std::int64_t Value)
        : FKind(TVariantKind::vkInt64)
        , FValue(Value) {}
    TKXVariant(double Value)
        : FKind(TVariantKind::vkFloat)
        , FValue(Value) {}
    TKXVariant(TDateTime Value)
        : FKind(TVariantKind::vkDateTime)
        , FValue(Value.Days) {}
    TKXVariant(bool Value)
        : FKind(TVariantKind::vkBoolean)
        , FValue(std::int64_t{Value}) {}
    TKXVariant(char16_t Value)
        : FKind(TVariantKind::vkWideChar)
        , FValue(static_cast<std::int64_t>(Value)) {}
    TKXVariant(std::u16string Value)
        : FKind(TVariantKind::vkString)
        , FValue(std::move(Value)) {}
    TKXVariant(std::u16string_view Value)
        : TKXVariant(std::u16string(Value)) {}
    TKXVariant(const char16_t* Value)
        : TKXVariant(std::u16string(Value)) {}
    /// A text of another class that reads as one.
    template <std::convertible_to<std::u16string_view> TText>
    TKXVariant(const TText& Value)
        : TKXVariant(std::u16string_view(Value)) {}
    /// Any other integer: an Integer when every value of its type fits one, else an Int64.
    /// @throws EVariantError when it is greater than an Int64 can be.
    template <TOtherInteger TInteger>
    TKXVariant(TInteger Value)
        : FKind(std::in_range<std::int32_t>(std::numeric_limits<TInteger>::min()) &&
                        std::in_range<std::int32_t>(std::numeric_limits<TInteger>::max())
                    ? TVariantKind::vkInteger
                    : TVariantKind::vkInt64)
        , FValue(std::in_range<std::int64_t>(Value) ? static_cast<std::int64_t>(Value)
                                                    : FailTooLarge(static_cast<std::uint64_t>(Value))) {}
    TKXVariant(const void*) = delete; // a pointer must not turn into a boolean: use PointerAsLVar
    [[nodiscard]] static TKXVariant AnsiString(std::string Value);
    [[nodiscard]] static TKXVariant AnsiChar(char Value);
    [[nodiscard]] static TKXVariant WordBool(std::uint16_t Ordinal);
    [[nodiscard]] static TKXVariant Object(TObject* Value);

    [[nodiscard]] TVariantKind Kind() const { return FKind; }
    [[nodiscard]] bool IsNull() const { return FKind == TVariantKind::vkNull; }
    /// One of the two string kinds (9 and 10): what a handler takes as a name.
    [[nodiscard]] bool IsString() const {
        return FKind == TVariantKind::vkString || FKind == TVariantKind::vkAnsiString;
    }

    // Conversions. Each either gives the exact value asked for or raises EVariantError with a message that
    // names the value and the type, `Cannot convert String "abc" to Integer`; none guesses. Null converts to
    // the empty text only. A character counts as a text of one character.

    /// From integers and booleans (0, 1; a WordBool gives its ordinal) in range; from floats without a
    /// fraction; from text that is a whole decimal or $-hexadecimal number, a sign before it and blanks
    /// around it allowed.
    [[nodiscard]] std::int32_t AsInteger() const;
    [[nodiscard]] std::int64_t AsInt64() const;
    /// Signed and unsigned 8-bit and 16-bit ranges of the same rules.
    [[nodiscard]] std::int8_t AsShortInt() const;
    [[nodiscard]] std::uint8_t AsByte() const;
    [[nodiscard]] std::int16_t AsSmallInt() const;
    [[nodiscard]] std::uint16_t AsWord() const;
    [[nodiscard]] std::uint32_t AsLongWord() const;
    /// From numbers, date/time, and text with "." as the decimal separator; gives the nearest float. Text
    /// that names an infinity, is no number or lies outside the range fails.
    [[nodiscard]] double AsFloat() const;
    /// From booleans; numbers (zero is false); text "True"/"False" in any case, or a number.
    [[nodiscard]] bool AsBoolean() const;
    /// From date/time, numbers (days), and text `YYYY-MM-DD` or `DD.MM.YYYY`, alone or followed by a blank or
    /// "T" and `HH:MM[:SS[.mmm]]`; impossible dates and times fail.
    [[nodiscard]] TDateTime AsDateTime() const;
    /// Any kind but an object: decimal integers, shortest floats that read back the same, "True"/"False",
    /// `YYYY-MM-DD HH:MM:SS` to the nearest millisecond (with .mmm when there are any); null gives the empty
    /// text. A non-null object fails; a null one gives the empty text.
    [[nodiscard]] std::u16string AsString() const;
    /// The text without a copy when the kind is vkString; empty view otherwise.
    [[nodiscard]] std::u16string_view StringView() const;
    /// 8-bit text in the user's code page; a character that it lacks fails.
    [[nodiscard]] std::string AsAnsiString() const;
    /// The first character of a text of one character, or of a character kind.
    [[nodiscard]] char16_t AsWideChar() const;
    /// The same in the user's code page.
    [[nodiscard]] char AsAnsiChar() const;
    /// The object reference; null for null; any other kind fails.
    [[nodiscard]] TObject* AsObject() const;

    /// Same kind and same value; no conversion is made.
    friend bool operator==(const TKXVariant&, const TKXVariant&) = default;

private:
    template <class TValue>
    TKXVariant(TVariantKind Kind, TValue Value)
        : FKind(Kind)
        , FValue(std::move(Value)) {}

    [[noreturn]] void Fail(std::u16string_view Wanted) const;
    [[noreturn]] static std::int64_t FailTooLarge(std::uint64_t Value);
    [[nodiscard]] std::int64_t Ordinal() const { return std::get<std::int64_t>(FValue); }
    [[nodiscard]] double Float() const { return std::get<double>(FValue); }
    [[nodiscard]] bool IsText() const;
    [[nodiscard]] std::optional<std::u16string> TryText() const;
    template <class TValue>
    [[nodiscard]] std::optional<TValue> Parsed(std::optional<TValue> (*Parse)(std::u16string_view)) const;
    [[nodiscard]] std::int64_t Whole(std::u16string_view Wanted, std::int64_t Lowest,
                                     std::int64_t Highest) const;
    template <class TInteger>
    [[nodiscard]] TInteger Whole(std::u16string_view Wanted) const;

    TVariantKind FKind = TVariantKind::vkNull;
    std::variant<std::int64_t, double, std::u16string, std::string, TObject*> FValue;
};

/// An object reference as a script value; null gives a null object reference, not a null value.
[[nodiscard]] TKXVariant PointerAsLVar(TObject* Object);

} // namespace zutools
