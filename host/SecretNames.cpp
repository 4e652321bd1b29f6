#include "host/SecretNames.h"

#include "platform/Text.h"

#include <algorithm>
#include <array>
#include <string>
#include <vector>

namespace zutools {

namespace {

// Wherever they stand in a name.
constexpr std::array<std::u16string_view, 9> SecretParts{u"password",   u"passwd",   u"passwort",
                                                         u"passphrase", u"passcode", u"credential",
                                                         u"secret",     u"парол",    u"секрет"};
// As words of their own.
constexpr std::array<std::u16string_view, 7> SecretWords{u"pin",   u"puk", u"pass", u"pwd",
                                                         u"token", u"пин", u"токен"};

// Words end at what is no letter, and before a capital that begins one: "userPinCODE2" has user, Pin, CODE.
std::vector<std::u16string> WordsOf(std::u16string_view Name) {
    std::vector<std::u16string> Words(1);
    const std::u16string Lower = platform::LowerCase(Name);
    const std::u16string Upper = platform::UpperCase(Name);
    const bool Comparable = Lower.size() == Name.size() && Upper.size() == Name.size();
    const auto IsCapital = [&](std::size_t At) { return Comparable && Name[At] != Lower[At]; };
    const auto IsSmall = [&](std::size_t At) { return Comparable && Name[At] != Upper[At]; };
    for (std::size_t At = 0; At < Name.size(); ++At) {
        const bool Letter = platform::IsLetterOrDigit(Name[At]) && !platform::IsAsciiDigit(Name[At]);
        const bool Begins =
            IsCapital(At) && At > 0 && (IsSmall(At - 1) || (At + 1 < Name.size() && IsSmall(At + 1)));
        if ((!Letter || Begins) && !Words.back().empty()) Words.emplace_back();
        if (Letter) Words.back() += Comparable ? Lower[At] : Name[At];
    }
    return Words;
}

} // namespace

bool LooksSecret(std::u16string_view Name, std::initializer_list<std::u16string_view> More) {
    const std::u16string Lower = platform::LowerCase(Name);
    if (std::ranges::any_of(SecretParts, [&](auto Part) { return Lower.find(Part) != Lower.npos; }))
        return true;
    return std::ranges::any_of(WordsOf(Name), [&](const std::u16string& Word) {
        return std::ranges::find(SecretWords, Word) != SecretWords.end() ||
               std::ranges::find(More, Word) != More.end();
    });
}

} // namespace zutools
