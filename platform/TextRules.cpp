#include "platform/TextRules.h"

#include "platform/TextTools.h"

#include <algorithm>
#include <array>

namespace zutools::platform {

namespace {

bool IsLanguage(std::string_view Text) {
    return (Text.size() == 2 || Text.size() == 3) &&
           std::all_of(Text.begin(), Text.end(), IsAsciiLetter<char>);
}

bool IsRegion(std::string_view Text) {
    return (Text.size() == 2 && std::all_of(Text.begin(), Text.end(), IsAsciiLetter<char>)) ||
           (Text.size() == 3 && std::all_of(Text.begin(), Text.end(), IsAsciiDigit<char>));
}

// The modifiers that change the script; "@euro" and its like say nothing about order or case.
std::string_view ScriptOfModifier(std::string_view Modifier) {
    if (Modifier == "latin") return "Latn";
    if (Modifier == "cyrillic") return "Cyrl";
    return {};
}

// Maps `Text` unit by unit; the test for ASCII is made over all of it at once, so both loops vectorise.
template <class TMap>
bool TryMapAscii(std::u16string_view Text, std::u16string& Result, TMap Map) {
    char16_t All = 0;
    for (const char16_t Unit : Text) All = static_cast<char16_t>(All | Unit);
    if (All >= 0x80) return false;
    Result.resize(Text.size());
    std::transform(Text.begin(), Text.end(), Result.begin(), Map);
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
    return TryMapAscii(Text, Result, [](char16_t Unit) { return UpperAscii(Unit); });
}

bool TryAsciiLowerCase(std::u16string_view Text, std::u16string& Result) {
    return TryMapAscii(Text, Result, [](char16_t Unit) { return LowerAscii(Unit); });
}

} // namespace zutools::platform
