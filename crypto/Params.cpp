#include "crypto/Params.h"

#include "host/StringHelpers.h"
#include "platform/Text.h"

#include <algorithm>
#include <array>

namespace zutools {

namespace {

// Wherever they stand in a name.
constexpr std::array<std::u16string_view, 8> SecretParts{u"password",   u"passwd", u"passwort", u"passphrase",
                                                         u"credential", u"secret", u"парол",    u"секрет"};
// As words of their own.
constexpr std::array<std::u16string_view, 10> SecretWords{u"pin", u"puk",   u"key", u"keys", u"pass",
                                                          u"pwd", u"token", u"пин", u"ключ", u"токен"};

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

TCryptoParam SplitParam(std::u16string_view Line) {
    const std::size_t Equals = Line.find(u'=');
    if (Equals == Line.npos) return {std::u16string(Line), {}};
    return {std::u16string(Line.substr(0, Equals)), std::u16string(Line.substr(Equals + 1))};
}

bool LooksSecret(std::u16string_view Name) {
    const std::u16string Lower = platform::LowerCase(Name);
    if (std::ranges::any_of(SecretParts, [&](auto Part) { return Lower.find(Part) != Lower.npos; }))
        return true;
    return std::ranges::any_of(WordsOf(Name), [](const std::u16string& Word) {
        return std::ranges::find(SecretWords, Word) != SecretWords.end();
    });
}

std::u16string MaskedValue(const TCryptoParam& Param) {
    if (Param.Value.empty() || !LooksSecret(Param.Name)) return Param.Value;
    return std::u16string(8, u'\u2022'); // its length says nothing about the value's
}

const TCryptoParam* FindParam(const TCryptoParams& Params, std::u16string_view Name) {
    const auto Found = std::ranges::find_if(
        Params, [&](const TCryptoParam& Param) { return AnsiCompareText(Param.Name, Name) == 0; });
    return Found == Params.end() ? nullptr : &*Found;
}

TCryptoParams WithStored(TCryptoParams Params, const TCryptoParams& Stored) {
    for (TCryptoParam& Param : Params)
        if (const TCryptoParam* const Chosen = FindParam(Stored, Param.Name);
            Chosen != nullptr && !Chosen->Value.empty())
            Param.Value = Chosen->Value;
    return Params;
}

void TCryptoParamsModel::Reset(TState State) {
    FState = std::move(State);
    FSteps.assign(1, FState);
    FAt = 0;
}

void TCryptoParamsModel::Change(TState State) {
    if (State == FState) return;
    FState = std::move(State);
    FSteps.resize(FAt + 1);
    FSteps.push_back(FState);
    if (FSteps.size() > MaxSteps + 1) FSteps.erase(FSteps.begin());
    FAt = FSteps.size() - 1;
}

bool TCryptoParamsModel::SetValue(std::size_t Row, std::u16string_view Value) {
    if (Row >= FState.Rows.size() || FState.Rows[Row].Name.empty()) return false;
    TState Next = FState;
    Next.Rows[Row].Value = Value;
    Change(std::move(Next));
    return true;
}

void TCryptoParamsModel::Undo() {
    if (CanUndo()) FState = FSteps[--FAt];
}

void TCryptoParamsModel::Redo() {
    if (CanRedo()) FState = FSteps[++FAt];
}

std::vector<std::u16string> TCryptoParamsModel::Lines() const {
    std::vector<std::u16string> Result;
    for (const auto& [Name, Value] : FState.Rows)
        if (!Name.empty()) Result.push_back(Name + u"=" + Value);
    return Result;
}

} // namespace zutools
