// Small tools for text that need no system: ASCII letters, hexadecimal digits, whole characters, texts made
// fit to be shown, marks at the front of files, HTML.
//
// One definition of each for all folders. Plain functions for any thread; nothing here depends on a locale.

#pragma once

#include <algorithm>
#include <cstddef>
#include <string>
#include <string_view>

namespace zutools::platform {

// ---- ASCII: A to Z, a to z and 0 to 9, and no other letter or digit, in any kind of character

template <class TChar>
[[nodiscard]] constexpr bool IsAsciiDigit(TChar Character) {
    return Character >= TChar{'0'} && Character <= TChar{'9'};
}
template <class TChar>
[[nodiscard]] constexpr TChar LowerAscii(TChar Character) {
    const bool Capital = Character >= TChar{'A'} && Character <= TChar{'Z'};
    return static_cast<TChar>(Capital ? Character + 0x20 : Character);
}
template <class TChar>
[[nodiscard]] constexpr TChar UpperAscii(TChar Character) {
    const bool Small = Character >= TChar{'a'} && Character <= TChar{'z'};
    return static_cast<TChar>(Small ? Character - 0x20 : Character);
}
template <class TChar>
[[nodiscard]] constexpr bool IsAsciiLetter(TChar Character) {
    return LowerAscii(Character) >= TChar{'a'} && LowerAscii(Character) <= TChar{'z'};
}

/// All of a text with A to Z made small: `LowerAsciiText(std::move(Text))`.
template <class TText>
[[nodiscard]] TText LowerAsciiText(TText Text) {
    for (auto& Character : Text) Character = LowerAscii(Character);
    return Text;
}

/// Alike but for the case of A to Z: names of our own making (file suffixes, HTTP headers, SQL names).
[[nodiscard]] constexpr bool EqualAsciiNoCase(std::u16string_view Left, std::u16string_view Right) {
    return std::equal(Left.begin(), Left.end(), Right.begin(), Right.end(),
                      [](char16_t A, char16_t B) { return A == B || LowerAscii(A) == LowerAscii(B); });
}
[[nodiscard]] constexpr bool EqualAsciiNoCase(std::string_view Left, std::string_view Right) {
    return std::equal(Left.begin(), Left.end(), Right.begin(), Right.end(),
                      [](char A, char B) { return A == B || LowerAscii(A) == LowerAscii(B); });
}

// ---- hexadecimal digits

inline constexpr std::string_view HexDigits = "0123456789abcdef";
inline constexpr std::string_view CapitalHexDigits = "0123456789ABCDEF";

/// 0 to 15 for a digit in either case, -1 for anything else.
template <class TChar>
[[nodiscard]] constexpr int HexValue(TChar Character) {
    if (IsAsciiDigit(Character)) return static_cast<int>(Character - TChar{'0'});
    const TChar Letter = LowerAscii(Character);
    return Letter >= TChar{'a'} && Letter <= TChar{'f'} ? static_cast<int>(Letter - TChar{'a'}) + 10 : -1;
}

/// Appends the two digits of a byte.
template <class TText>
void AppendHex(TText& Target, unsigned char Byte, std::string_view Digits = HexDigits) {
    using TChar = typename TText::value_type;
    Target += static_cast<TChar>(Digits[Byte >> 4U]);
    Target += static_cast<TChar>(Digits[Byte & 15U]);
}

// ---- whole characters

[[nodiscard]] constexpr bool IsSurrogate(char32_t Unit) {
    return (Unit & 0xFFFFF800) == 0xD800;
}
/// The first half of a pair.
[[nodiscard]] constexpr bool IsHighSurrogate(char32_t Unit) {
    return (Unit & 0xFFFFFC00) == 0xD800;
}
/// The second half of a pair.
[[nodiscard]] constexpr bool IsLowSurrogate(char32_t Unit) {
    return (Unit & 0xFFFFFC00) == 0xDC00;
}
/// A byte of UTF-8 that begins no character.
[[nodiscard]] constexpr bool IsUtf8Continuation(char Byte) {
    return (static_cast<unsigned char>(Byte) & 0xC0U) == 0x80U;
}

/// At most `MaxUnits` UTF-16 units of the front of a text; one less where the cut would part a pair.
[[nodiscard]] constexpr std::u16string_view WholeStart(std::u16string_view Text, std::size_t MaxUnits) {
    if (Text.size() <= MaxUnits) return Text;
    if (MaxUnits > 0 && IsHighSurrogate(Text[MaxUnits - 1]) && IsLowSurrogate(Text[MaxUnits])) --MaxUnits;
    return Text.substr(0, MaxUnits);
}

// ---- fit to be shown on a terminal, in a log or in a message

/// True for what would steer a terminal, begin a line of its own or turn the direction of what follows: the
/// control characters (U+0000 to U+001F, U+007F to U+009F), line and paragraph separators (U+2028, U+2029),
/// and the embeddings, overrides and isolates of writing direction (U+202A to U+202E, U+2066 to U+2069).
[[nodiscard]] constexpr bool IsControl(char16_t Character) {
    if (Character < 0x2028) return Character < 0x20 || (Character >= 0x7F && Character < 0xA0);
    return Character <= 0x202E || (Character >= 0x2066 && Character <= 0x2069);
}

/// `Text` with `Mark` in place of every control character, but for those in `Kept`, and of every half of a
/// pair that stands alone.
[[nodiscard]] std::u16string Masked(std::u16string_view Text, char16_t Mark = u'\uFFFD',
                                    std::u16string_view Kept = {});

/// A text that may be of any length, for a message: the WholeStart of it, and "..." when that is not all.
[[nodiscard]] std::u16string Shortened(std::u16string_view Text, std::size_t MaxUnits);

// ---- byte-order marks

inline constexpr char16_t ByteOrderMark = u'\uFEFF';
inline constexpr std::string_view Utf8ByteOrderMark = "\xEF\xBB\xBF";

/// The bytes of a UTF-8 file behind the mark in front, if there is one.
[[nodiscard]] constexpr std::string_view WithoutByteOrderMark(std::string_view Bytes) {
    return Bytes.starts_with(Utf8ByteOrderMark) ? Bytes.substr(Utf8ByteOrderMark.size()) : Bytes;
}

// ---- others

/// For HTML text and quoted attributes: & < > " ' as character references. UTF-8 passes unchanged.
[[nodiscard]] std::string HtmlEscape(std::string_view Text);

/// The fewest insertions, deletions and replacements of a character that turn one text into the other: for
/// "did you mean". Takes time by the product of the lengths.
[[nodiscard]] std::size_t EditDistance(std::string_view Left, std::string_view Right);

} // namespace zutools::platform
