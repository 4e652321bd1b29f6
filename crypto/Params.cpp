#include "crypto/Params.h"

#include "host/SecretNames.h"
#include "host/StringHelpers.h"

#include <algorithm>

namespace zutools {

TCryptoParam SplitParam(std::u16string_view Line) {
    const std::size_t Equals = Line.find(u'=');
    if (Equals == Line.npos) return {std::u16string(Line), {}};
    return {std::u16string(Line.substr(0, Equals)), std::u16string(Line.substr(Equals + 1))};
}

bool IsSecretParam(std::u16string_view Name) {
    return LooksSecret(Name, {u"key", u"keys", u"ключ", u"ключа", u"ключи"});
}

std::u16string MaskedValue(const TCryptoParam& Param) {
    if (Param.Value.empty() || !IsSecretParam(Param.Name)) return Param.Value;
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
