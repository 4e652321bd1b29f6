// Text services of the operating system, in our own words: encodings, letter case and the user's collation.
//
// Called from every floor, on any thread; nothing here blocks. posix/ stands on ICU, win32/ on the system's
// NLS calls; the same contract tests run over both. All text is UTF-16; positions and lengths count UTF-16
// units.

#pragma once

#include "platform/TextTools.h" // what needs no system comes along

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace zutools::platform {

/// Where an input stopped being valid in its encoding.
struct TMalformed {
    /// 0-based offset of the first unit of the malformed sequence: bytes for 8-bit input, UTF-16 units for
    /// UTF-16.
    std::size_t Offset = 0;
};

/// Result of a strict conversion: `Text` holds everything before the fault when `Error` is set.
template <class TString>
struct TConversion {
    TString Text;
    std::optional<TMalformed> Error;
};

/// Decodes UTF-8 strictly: no overlong forms, no surrogates, nothing above U+10FFFF. A byte-order mark is
/// kept as U+FEFF: whether it is one is for the caller to say.
[[nodiscard]] TConversion<std::u16string> Utf8ToUtf16Strict(std::string_view Bytes);

/// Encodes UTF-16 strictly: an unpaired surrogate is the error.
[[nodiscard]] TConversion<std::string> Utf16ToUtf8Strict(std::u16string_view Text);

/// Decodes UTF-8 for display: every malformed sequence gives one U+FFFD. For messages and logs, never for
/// data.
[[nodiscard]] std::u16string Utf8ToUtf16(std::string_view Bytes);

/// Encodes UTF-16 for display: every unpaired surrogate gives U+FFFD. For messages and logs, never for data.
[[nodiscard]] std::string Utf16ToUtf8(std::u16string_view Text);

/// The user's 8-bit ("ANSI") code page, as a Windows code page number that the two conversions below know. On
/// Windows the system's (1252 when it is not one of those); on POSIX 1251 for Russian, Ukrainian, Belarusian
/// and Bulgarian users and 1252 for all others.
[[nodiscard]] unsigned AnsiCodePage();

/// Decodes 8-bit text in a Windows code page (1250 to 1258, 866, 437, 65001). An unknown page is reported as
/// malformed at offset 0.
[[nodiscard]] TConversion<std::u16string> CodePageToUtf16(std::string_view Bytes, unsigned CodePage);

/// Encodes to a Windows code page; a character that the page lacks is the error (no best fit, no question
/// marks).
[[nodiscard]] TConversion<std::string> Utf16ToCodePage(std::u16string_view Text, unsigned CodePage);

/// The locale-aware letter case of the user's locale. Lengths may change: "ß" becomes "SS" where the system
/// says so (ICU does, NLS does not). An unpaired surrogate passes through unchanged.
[[nodiscard]] std::u16string UpperCase(std::u16string_view Text);
[[nodiscard]] std::u16string LowerCase(std::u16string_view Text);

/// True for a letter or decimal digit of any script; false for halves of surrogate pairs.
[[nodiscard]] bool IsLetterOrDigit(char16_t Character);

/// What a collation does not weigh character by character.
struct TCollationOddities {
    /// Sequences of two or more characters that are weighed together: Czech "ch", or a sign that changes its
    /// weight after a certain letter.
    std::vector<std::u16string> Sequences;
    /// Characters with more than one weight: "\u00DF" as two letters, but "\u00E9" as letter and accent too.
    /// May name more than there are.
    std::u16string Expansions;
};

/// An order of texts: the collation of one locale. Immutable after construction; safe to share between
/// threads.
class TCollator {
public:
    /// `Locale` is a BCP 47 tag ("ru-RU"); empty, or unknown to the system, means the root collation.
    explicit TCollator(std::string_view Locale);
    ~TCollator();
    TCollator(const TCollator&) = delete;
    TCollator& operator=(const TCollator&) = delete;

    /// Negative, zero or positive. Ignoring case, texts that differ in letter case only are equal, accents
    /// still count; a composed and a decomposed letter are equal either way.
    [[nodiscard]] int Compare(std::u16string_view Left, std::u16string_view Right, bool CaseSensitive) const;

    /// For those who build tables of single characters from this collation: what such a table cannot hold,
    /// among the characters below `Limit` (at most U+0460). Takes milliseconds.
    [[nodiscard]] TCollationOddities Oddities(char16_t Limit) const;
    /// Whether a character is one letter, with or without accents, wherever it stands: two texts of such
    /// characters compare equal exactly when they are of one length and their characters have the same keys
    /// one by one. False for all on systems that do not tell (NLS). The first call takes milliseconds.
    [[nodiscard]] bool IsLoneLetter(char16_t Character) const;
    /// Bytes that are the same for two texts exactly when these compare equal.
    [[nodiscard]] std::string SortKey(std::u16string_view Text, bool CaseSensitive) const;

    /// The tag this collator was made for; empty for the root collation.
    [[nodiscard]] const std::string& Locale() const;

private:
    struct TImpl;
    TImpl* FImpl; // owned; a plain pointer because the type is known to the back-end only
};

/// The tag of the user's locale, taken once at the first call ("ru-RU"); empty for an unset, C or POSIX
/// locale, which means the root collation (Latin before Cyrillic).
[[nodiscard]] const std::string& UserLocale();

/// The collator of the user's locale, made at the first call and kept to the end of the process.
[[nodiscard]] const TCollator& UserCollator();

} // namespace zutools::platform
