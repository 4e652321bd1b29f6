#include "platform/TextRules.h"

#include <algorithm>
#include <array>

namespace zutools::platform {

namespace {

constexpr bool IsLetter(char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
}
constexpr bool IsDigit(char c) {
    return c >= '0' && c <= '9';
}

bool IsLanguage(std::string_view Text) {
    return (Text.size() == 2 || Text.size() == 3) && std::all_of(Text.begin(), Text.end(), IsLetter);
}

bool IsRegion(std::string_view Text) {
    return (Text.size() == 2 && std::all_of(Text.begin(), Text.end(), IsLetter)) ||
           (Text.size() == 3 && std::all_of(Text.begin(), Text.end(), IsDigit));
}

// The modifiers that change the script; "@euro" and its like say nothing about order or case.
std::string_view ScriptOfModifier(std::string_view Modifier) {
    if (Modifier == "latin") return "Latn";
    if (Modifier == "cyrillic") return "Cyrl";
    return {};
}

// Maps `Text` unit by unit; the test for ASCII is made over all of it at once, so both loops vectorise.
bool TryMapAscii(std::u16string_view Text, std::u16string& Result, char16_t First, char16_t Last) {
    char16_t All = 0;
    for (const char16_t Unit : Text) All = static_cast<char16_t>(All | Unit);
    if (All >= 0x80) return false;
    Result.resize(Text.size());
    std::transform(Text.begin(), Text.end(), Result.begin(), [First, Last](char16_t Unit) {
        return static_cast<char16_t>(Unit ^ (Unit >= First && Unit <= Last ? 0x20 : 0));
    });
    return true;
}

} // namespace

std::string LocaleTagOfPosixName(std::string_view Name) {
    std::string_view Modifier;
    if (const std::size_t At = Name.find('@'); At != Name.npos) {
        Modifier = Name.substr(At + 1);
        Name = Name.substr(0, At);
    }
    Name = Name.substr(0, Name.find('.'));
    std::string_view Region;
    if (const std::size_t Mark = Name.find('_'); Mark != Name.npos) {
        Region = Name.substr(Mark + 1);
        Name = Name.substr(0, Mark);
        if (!IsRegion(Region)) return {};
    }
    if (!IsLanguage(Name)) return {};

    std::string Tag(Name);
    if (const std::string_view Script = ScriptOfModifier(Modifier); !Script.empty())
        Tag.append("-").append(Script);
    if (!Region.empty()) Tag.append("-").append(Region);
    return Tag;
}

std::string_view LanguageOfTag(std::string_view Tag) {
    return Tag.substr(0, Tag.find('-'));
}

bool HasPlainAsciiCase(std::string_view Language) {
    return Language != "tr" && Language != "az" && Language != "lt";
}

unsigned CodePageOfLanguage(std::string_view Language) {
    static constexpr std::array<std::string_view, 4> Cyrillic{"ru", "uk", "be", "bg"};
    return std::find(Cyrillic.begin(), Cyrillic.end(), Language) != Cyrillic.end() ? 1251 : 1252;
}

std::u16string_view TrimSystemText(std::u16string_view Text) {
    const auto Surplus = [](char16_t Unit) { return Unit <= u' ' || Unit == u'.'; };
    while (!Text.empty() && Surplus(Text.back())) Text.remove_suffix(1);
    while (!Text.empty() && Text.front() <= u' ') Text.remove_prefix(1);
    return Text;
}

bool TryAsciiUpperCase(std::u16string_view Text, std::u16string& Result) {
    return TryMapAscii(Text, Result, u'a', u'z');
}

bool TryAsciiLowerCase(std::u16string_view Text, std::u16string& Result) {
    return TryMapAscii(Text, Result, u'A', u'Z');
}

} // namespace zutools::platform
