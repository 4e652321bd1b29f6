#include "controls/ParamFields.h"

#include "checking/Chekprms.h"
#include "core/Lparams.h"
#include "host/Numbers.h"
#include "host/SecretNames.h"
#include "platform/Text.h"
#include "platform/TextTools.h"

#include <algorithm>
#include <chrono>

namespace zutools {

namespace {

bool IsNumberOfDigits(std::u16string_view Text, std::size_t Digits) {
    return Text.size() == Digits &&
           std::ranges::all_of(Text, [](char16_t Digit) { return platform::IsAsciiDigit(Digit); });
}

bool IsDate(std::u16string_view Text) {
    if (Text.size() != 10 || Text[4] != u'-' || Text[7] != u'-') return false;
    const auto Year = Text.substr(0, 4);
    const auto Month = Text.substr(5, 2);
    const auto Day = Text.substr(8);
    if (!IsNumberOfDigits(Year, 4) || !IsNumberOfDigits(Month, 2) || !IsNumberOfDigits(Day, 2)) return false;
    const std::chrono::year_month_day Date{std::chrono::year(StrToIntDef(Year, 0)),
                                           std::chrono::month(static_cast<unsigned>(StrToIntDef(Month, 0))),
                                           std::chrono::day(static_cast<unsigned>(StrToIntDef(Day, 0)))};
    return Date.ok() && Date.year() >= std::chrono::year(1);
}

bool IsColor(std::u16string_view Text) {
    return Text.size() == 7 && Text[0] == u'#' &&
           std::ranges::all_of(Text.substr(1), [](char16_t Digit) { return platform::HexValue(Digit) >= 0; });
}

TParamFault NumberFault(const TParamField& Field, std::u16string_view Value) {
    const auto Number = TryStrToFloat(Value);
    if (!Number) return {TParamFaultKind::NotNumber};
    if (Field.Least && *Number < *Field.Least) return {TParamFaultKind::TooSmall, FloatToStr(*Field.Least)};
    if (Field.Most && *Number > *Field.Most) return {TParamFaultKind::TooLarge, FloatToStr(*Field.Most)};
    return {};
}

TParamFault KindFault(const TParamField& Field, std::u16string_view Value) {
    const auto Unless = [](bool Fits, TParamFaultKind Kind) {
        return Fits ? TParamFault() : TParamFault{Kind};
    };
    switch (Field.Kind) {
    case TParamKind::Number:
        return NumberFault(Field, Value);
    case TParamKind::Date:
        return Unless(IsDate(Value), TParamFaultKind::NotDate);
    case TParamKind::Choice:
        return Unless(std::ranges::find(Field.Choices, Value) != Field.Choices.end(),
                      TParamFaultKind::NotChoice);
    case TParamKind::Color:
        return Unless(IsColor(Value), TParamFaultKind::NotColor);
    case TParamKind::YesNo:
        return Unless(YesOrNo(Value).has_value(), TParamFaultKind::NotYesNo);
    case TParamKind::Text:
    case TParamKind::File:
    case TParamKind::Secret:
        break;
    }
    return {};
}

TParamFault RuleFault(const TParamField& Field, const TParamValueChecker* Checker,
                      std::u16string_view Value) {
    if (Checker == nullptr || Checker->Passes(Value)) return {};
    if (Field.Kind == TParamKind::Secret) return {TParamFaultKind::Refused};
    try {
        Checker->CheckValue(Value);
    } catch (const EParamValueChecker& Error) {
        return {TParamFaultKind::Refused, Error.Message()};
    }
    return {};
}

} // namespace

TParamFields::TParamFields() = default;
TParamFields::TParamFields(TParamFields&&) noexcept = default;
TParamFields& TParamFields::operator=(TParamFields&&) noexcept = default;
TParamFields::~TParamFields() = default;

TParamFields::TParamFields(std::vector<TParamField> Fields)
    : FFields(std::move(Fields)) {
    for (const TParamField& Field : FFields) {
        FByKey.try_emplace(Key(Field.Name), FCheckers.size());
        auto& Checker = FCheckers.emplace_back();
        if (Field.WrongValues.empty() && Field.RightValues.empty()) continue;
        Checker = std::make_unique<TParamValueChecker>();
        Checker->SetWrongSymbolsAsString(Field.WrongValues);
        Checker->SetRightSymbolsAsString(Field.RightValues);
    }
}

std::string TParamFields::Key(std::u16string_view Name) {
    return platform::UserCollator().SortKey(Name, false);
}

const TParamField* TParamFields::FindByKey(const std::string& Key) const {
    const auto Found = FByKey.find(Key);
    return Found == FByKey.end() ? nullptr : &FFields[Found->second];
}

TParamKind TParamFields::Kind(std::u16string_view Name, const std::string& Key) const {
    if (const TParamField* const Field = FindByKey(Key)) return Field->Kind;
    return LooksSecret(Name) ? TParamKind::Secret : TParamKind::Text;
}

TParamFault TParamFields::CheckByKey(const std::string& Key, std::u16string_view Value) const {
    const auto Found = FByKey.find(Key);
    const TParamField* const Field = Found == FByKey.end() ? nullptr : &FFields[Found->second];
    if (Value.empty())
        return {Field != nullptr && Field->Required ? TParamFaultKind::ValueWanted : TParamFaultKind::None};
    if (Value.find_first_of(u"\r\n") != Value.npos) return {TParamFaultKind::LineBreak};
    if (Field == nullptr) return {};
    TParamFault Fault = KindFault(*Field, Value);
    return Fault ? Fault : RuleFault(*Field, FCheckers[Found->second].get(), Value);
}

std::vector<TParamField> FieldsFor(const TParamsList& List, std::vector<TParamField> Fields) {
    const TParamFields Known(Fields);
    for (int Index = 0; Index < List.GetCount(); ++Index) {
        const std::u16string Name = List.GetPLName(Index);
        if (Known.Find(Name) == nullptr) Fields.push_back({.Name = Name, .Kind = Known.Kind(Name)});
    }
    return Fields;
}

void StoreAnswers(TParamsList& List, std::span<const TParamField> Fields,
                  std::span<const std::u16string> Values) {
    for (std::size_t I = 0; I < Fields.size(); ++I) {
        const std::u16string Before = List.GetPLValueByName(Fields[I].Name);
        const bool Known = List.GetPLNameIndex(Fields[I].Name) >= 0;
        const bool Same = Before == Values[I] || (Fields[I].Kind == TParamKind::YesNo && YesOrNo(Before) &&
                                                  YesOrNo(Before) == YesOrNo(Values[I]));
        if (!Known || !Same) List.Add(Fields[I].Name, Values[I]);
    }
}

std::optional<bool> YesOrNo(std::u16string_view Value) {
    if (platform::EqualAsciiNoCase(Value, u"True")) return true;
    if (platform::EqualAsciiNoCase(Value, u"False")) return false;
    if (Value == u"1") return true;
    if (Value == u"0") return false;
    return std::nullopt;
}

} // namespace zutools
