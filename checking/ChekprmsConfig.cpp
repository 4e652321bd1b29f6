#include "checking/Chekprms.h"

#include "host/StringHelpers.h"

#include <algorithm>
#include <utility>

namespace zutools {

namespace {

/// The parameter list as rules are compared by: every piece trimmed; a comma at the end adds nothing.
std::u16string Normalised(std::u16string_view Params) {
    std::u16string Result;
    std::u16string Name;
    for (bool First = true; KX_GetNextParam(Params, u",", Name); First = false) {
        if (!First) Result += u',';
        Result += Trim(Name);
    }
    return Result;
}

void PutInteger(std::string& Target, std::int32_t Value) {
    const auto Bits = static_cast<std::uint32_t>(Value);
    for (int Shift = 0; Shift < 32; Shift += 8) Target += static_cast<char>((Bits >> Shift) & 0xFF);
}

void PutString(std::string& Target, std::u16string_view Value) {
    PutInteger(Target, static_cast<std::int32_t>(Value.size()));
    for (const char16_t Unit : Value) {
        Target += static_cast<char>(Unit & 0xFF);
        Target += static_cast<char>(Unit >> 8);
    }
}

/// Reads what PutInteger and PutString wrote. Never fails: bytes that are missing read as empty.
class TByteReader {
public:
    explicit TByteReader(std::string_view Bytes)
        : FBytes(Bytes) {}

    [[nodiscard]] std::size_t Left() const { return FBytes.size() - std::min(FPosition, FBytes.size()); }

    std::uint8_t Byte() {
        return Left() == 0 ? std::uint8_t{0} : static_cast<std::uint8_t>(FBytes[FPosition++]);
    }

    std::int32_t Integer() {
        std::uint32_t Bits = 0;
        if (Left() >= 4) {
            for (std::size_t Index = 4; Index-- > 0;) {
                Bits = Bits << 8 | static_cast<std::uint8_t>(FBytes[FPosition + Index]);
            }
        }
        FPosition += 4; // moves on even when nothing was left to read
        return static_cast<std::int32_t>(Bits);
    }

    std::u16string String() {
        const std::int64_t Count = Integer();
        // A lone byte at the end of cut data is no character.
        const auto Units = static_cast<std::size_t>(
            std::clamp<std::int64_t>(Count, 0, static_cast<std::int64_t>(Left() / 2)));
        std::u16string Result(Units, u'\0');
        for (std::size_t Index = 0; Index < Units; ++Index) {
            const auto Low = static_cast<std::uint8_t>(FBytes[FPosition + 2 * Index]);
            const auto High = static_cast<std::uint8_t>(FBytes[FPosition + 2 * Index + 1]);
            Result[Index] = static_cast<char16_t>(High << 8 | Low);
        }
        FPosition += Count > 0 ? std::min<std::size_t>(static_cast<std::size_t>(Count) * 2, Left()) : 0;
        return Result;
    }

private:
    std::string_view FBytes;
    std::size_t FPosition = 0;
};

} // namespace

const TParamsCfg* TParamsConfig::ParamsCfg(int Index) const {
    if (Index < 0 || Index >= ParamsCfgCount()) return nullptr;
    return FParamsCfgList[static_cast<std::size_t>(Index)].get();
}

int TParamsConfig::ParamsCfgCount() const {
    return static_cast<int>(FParamsCfgList.size());
}

void TParamsConfig::AddParams(std::u16string_view Params, std::u16string_view WrongValues,
                              std::u16string_view RightValues) {
    TParamsCfg& Rule = AddParamsCfg(Params);
    Rule.WrongValues = WrongValues;
    Rule.RightValues = RightValues;
}

TParamsCfg& TParamsConfig::AddParamsCfg(std::u16string_view Params) {
    const std::u16string Wanted = Normalised(Params);
    for (const auto& Rule : FParamsCfgList) {
        if (AnsiCompareText(Wanted, Normalised(Rule->Params)) == 0) return *Rule;
    }
    FParamsCfgList.push_back(std::make_unique<TParamsCfg>());
    FParamsCfgList.back()->Params = Params;
    return *FParamsCfgList.back();
}

void TParamsConfig::AddParams(const TStrings& Source) {
    for (int Index = 0; Index < Source.Count(); ++Index) {
        const std::u16string& Line = Source.Strings(Index);
        std::u16string_view Rest = Line;
        std::u16string Params;
        std::u16string Wrong;
        KX_GetNextParam(Rest, u"=", Params);
        KX_GetNextParam(Rest, u"||", Wrong);
        AddParams(Params, Wrong, Rest);
    }
}

void TParamsConfig::ClearParams() {
    FParamsCfgList.clear();
}

void TParamsConfig::Clear() {
    ClearParams();
    FilterName.clear();
    FilterDescribe.clear();
    FilterID = 0; // Kept on purpose: not the -1 of a new configuration.
    Enabled = true;
}

void TParamsConfig::Assign(const TParamsConfig* Source) {
    if (Source == this) return; // clearing first would lose the rules
    Clear();
    if (Source == nullptr) return;
    FilterName = Source->FilterName;
    FilterID = Source->FilterID;
    FilterDescribe = Source->FilterDescribe;
    Enabled = Source->Enabled;
    AssignParams(*Source);
}

void TParamsConfig::AssignParams(const TParamsConfig& Source) {
    if (&Source == this) return;
    ClearParams();
    for (const auto& Rule : Source.FParamsCfgList) {
        AddParams(Rule->Params, Rule->WrongValues, Rule->RightValues);
    }
}

void TParamsConfig::SwapConfig(TParamsConfig& Other) noexcept {
    std::swap(Enabled, Other.Enabled);
    std::swap(FilterName, Other.FilterName);
    std::swap(FilterID, Other.FilterID);
    std::swap(FilterDescribe, Other.FilterDescribe);
    std::swap(FParamsCfgList, Other.FParamsCfgList);
}

std::string TParamsConfig::AsString() const {
    std::size_t Size = 1 + 4 + 4 + 2 * FilterName.size() + 4 + 2 * FilterDescribe.size();
    for (const auto& Rule : FParamsCfgList) {
        Size += 12 + 2 * (Rule->Params.size() + Rule->WrongValues.size() + Rule->RightValues.size());
    }
    std::string Result;
    Result.reserve(Size);
    Result += Enabled ? '\1' : '\0';
    PutInteger(Result, FilterID);
    PutString(Result, FilterName);
    PutString(Result, FilterDescribe);
    for (const auto& Rule : FParamsCfgList) {
        PutString(Result, Rule->Params);
        PutString(Result, Rule->WrongValues);
        PutString(Result, Rule->RightValues);
    }
    return Result;
}

void TParamsConfig::SetAsString(std::string_view Bytes) {
    if (Bytes.empty()) return;
    TByteReader Reader(Bytes);
    Enabled = Reader.Byte() != 0;
    FilterID = Reader.Integer();
    FilterName = Reader.String();
    FilterDescribe = Reader.String();
    // Kept on purpose: not the virtual Clear, so compiled checkers of a descendant stay as they are.
    FParamsCfgList.clear();
    while (Reader.Left() > 1) {
        auto Rule = std::make_unique<TParamsCfg>();
        Rule->Params = Reader.String();
        Rule->WrongValues = Reader.String();
        Rule->RightValues = Reader.String();
        FParamsCfgList.push_back(std::move(Rule));
    }
}

} // namespace zutools
