// Plain rules about names of locales and system texts: no system call, so they are the same code and the same
// tests everywhere. For platform/ itself; other folders use Text.h and File.h.

#pragma once

#include <string>
#include <string_view>

namespace zutools::platform {

/// The BCP 47 tag of a POSIX locale name: "ru_RU.UTF-8" gives "ru-RU", "sr_RS@latin" gives "sr-Latn-RS".
/// Empty for
/// "", "C", "POSIX" (with or without an encoding) and for everything that is no locale name.
[[nodiscard]] std::string LocaleTagOfPosixName(std::string_view Name);

/// The lower-case language of a tag: "tr" of "tr-TR"; empty for the empty tag.
[[nodiscard]] std::string_view LanguageOfTag(std::string_view Tag);

/// True when the letter case of A to Z is the plain one in a language; Turkish, Azeri and Lithuanian have
/// their own i.
[[nodiscard]] bool HasPlainAsciiCase(std::string_view Language);

/// The 8-bit Windows code page customary for a language: 1251 for the Cyrillic ones of our users, else 1252.
[[nodiscard]] unsigned CodePageOfLanguage(std::string_view Language);

/// A system's sentence without the blanks, line ends and the full stop at its end.
[[nodiscard]] std::u16string_view TrimSystemText(std::u16string_view Text);

/// `Text` in capital or small letters when all of it is ASCII; false, and `Result` untouched, when it is not.
[[nodiscard]] bool TryAsciiUpperCase(std::u16string_view Text, std::u16string& Result);
[[nodiscard]] bool TryAsciiLowerCase(std::u16string_view Text, std::u16string& Result);

} // namespace zutools::platform
