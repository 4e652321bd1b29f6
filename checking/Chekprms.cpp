#include "checking/Chekprms.h"

#include "checking/CompiledRule.h"
#include "checking/RuleText.h"
#include "host/Format.h"
#include "host/StringHelpers.h"

#include <algorithm>

namespace zutools {

namespace {

constexpr std::u16string_view WrongWordMessage = u"Value \"%s\" contain wrong word \"%s\" at position %d.";
constexpr std::u16string_view WrongSymbolMessage =
    u"Value \"%s\" contain wrong symbol \"%s\" at position %d.";
constexpr std::u16string_view RightWordsMessage = u"Value \"%s\" not contain right words: \"%s\".";
constexpr std::u16string_view RightSymbolMessage =
    u"Value \"%s\" contain not a right symbol \"%s\" at position %d.";
constexpr std::u16string_view ParamMessage = u"Error check param \"%s\" value: %s";
constexpr std::u16string_view DefaultName = u"<Default>";

bool RefusesNothing(const TParamValueChecker& Rule) {
    return !Rule.WrongSymbols.NOTEmpty() && !Rule.RightSymbols.NOTEmpty() && Rule.WrongWords.Count() == 0 &&
           Rule.RightWords.Count() == 0;
}

} // namespace

constinit std::unique_ptr<TParamsChecker> ParamsChecker;

TParamValueChecker::TParamValueChecker() = default;
TParamValueChecker::~TParamValueChecker() = default;

void TParamValueChecker::Clear() {
    WrongSymbols.Clear();
    RightSymbols.Clear();
    WrongWords.Clear();
    RightWords.Clear();
    FCompiled.reset();
}

void TParamValueChecker::SetSymbolsAsString(int Index, std::u16string_view Value) {
    if (Index != 1 && Index != 2) return;
    if (Index == 1) CompileRuleText(Value, WrongSymbols, WrongWords);
    if (Index == 2) CompileRuleText(Value, RightSymbols, RightWords);
    Compile();
}

void TParamValueChecker::Compile() {
    FCompiled.reset();
    if (!RefusesNothing(*this)) {
        FCompiled =
            std::make_unique<checking::TCompiledRule>(WrongSymbols, WrongWords, RightSymbols, RightWords);
    }
    FCompiledAt = Changes();
}

std::array<std::uint64_t, 4> TParamValueChecker::Changes() const {
    return {WrongSymbols.Changes(), RightSymbols.Changes(), WrongWords.Changes(), RightWords.Changes()};
}

const checking::TCompiledRule* TParamValueChecker::Compiled() const {
    // One by one: as arrays they would go through memory, which takes as long as checking a short value.
    const bool Fresh = FCompiledAt[0] == WrongSymbols.Changes() && FCompiledAt[1] == RightSymbols.Changes() &&
                       FCompiledAt[2] == WrongWords.Changes() && FCompiledAt[3] == RightWords.Changes();
    return Fresh ? FCompiled.get() : nullptr;
}

bool TParamValueChecker::Passes(std::u16string_view Value) const {
    using TVerdict = checking::TCompiledRule::TVerdict;
    if (Value.empty()) return true;
    if (const checking::TCompiledRule* const Rule = Compiled()) {
        const TVerdict Verdict = Rule->Check(Value);
        if (Verdict != TVerdict::UpperCaseFirst) return Verdict == TVerdict::Passes;
    }
    return Reason(Value) == nullptr;
}

void TParamValueChecker::CheckValue(std::u16string_view Value) const {
    using TVerdict = checking::TCompiledRule::TVerdict;
    if (Value.empty()) return;
    const checking::TCompiledRule* const Rule = Compiled();
    if (Rule != nullptr && Rule->Check(Value) == TVerdict::Passes) return;
    // Out of its owner first: an object that is destroyed while an exception passes costs more than the
    // check.
    std::u16string* const Message = Reason(Value).release();
    if (Message != nullptr) throw EParamValueChecker(std::move(*std::unique_ptr<std::u16string>(Message)));
}

/// The message for a value that is refused, or was when this began to look; null when it passes.
std::unique_ptr<std::u16string> TParamValueChecker::Reason(std::u16string_view Value) const {
    const checking::TCompiledRule* const Rule = Compiled();
    if (Rule == nullptr && RefusesNothing(*this)) return nullptr;
    // Kept on purpose: messages quote the upper-cased value, and positions are those in it.
    const std::u16string Upper = AnsiUpperCase(Value);
    if (Rule != nullptr && Rule->PassesUpper(Upper)) return nullptr;
    const auto Tell = [](std::u16string_view Pattern, std::initializer_list<TFormatArg> Args) {
        return std::make_unique<std::u16string>(Format(Pattern, Args));
    };

    // The plain way, but for words that are certain not to be there.
    const int FirstWord = Rule != nullptr ? Rule->FirstWrongWord(Upper) : 0;
    for (int Index = std::max(FirstWord, 0); Index < WrongWords.Count() && FirstWord >= 0; ++Index) {
        const std::u16string& Word = WrongWords.Strings(Index);
        const int Position = KX_PosText(Word, Upper);
        if (Position > 0) return Tell(WrongWordMessage, {Upper, Word, Position});
    }
    if (WrongSymbols.NOTEmpty()) {
        for (std::size_t Index = 0; Index < Upper.size(); ++Index) {
            if (!WrongSymbols.Exists(Upper[Index])) continue;
            return Tell(WrongSymbolMessage, {Upper, std::u16string_view(&Upper[Index], 1), Index + 1});
        }
    }
    for (int Index = 0; Index < RightWords.Count(); ++Index) {
        if (KX_PosText(RightWords.Strings(Index), Upper) > 0) continue;
        return Tell(RightWordsMessage, {Upper, RightWords.CommaText()});
    }
    if (RightSymbols.NOTEmpty()) {
        for (std::size_t Index = 0; Index < Upper.size(); ++Index) {
            if (RightSymbols.Exists(Upper[Index])) continue;
            return Tell(RightSymbolMessage, {Upper, std::u16string_view(&Upper[Index], 1), Index + 1});
        }
    }
    return nullptr;
}

TParamsChecker::TParamsChecker()
    : CheckParamsList(std::make_unique<TZUSortedNamedObjects>())
    , DefaultParamCfg(std::make_unique<TParamValueChecker>()) {
    Enabled = false;
}

void TParamsChecker::AddParams(std::u16string_view Params, std::u16string_view WrongValues,
                               std::u16string_view RightValues) {
    TParamsConfig::AddParams(Params, WrongValues, RightValues);
    TParamValueChecker* Shared = nullptr; // the one new checker of this call
    std::u16string Piece;
    while (KX_GetNextParam(Params, u",", Piece)) {
        const std::u16string Name(Trim(Piece));
        TParamValueChecker* Checker = nullptr;
        int Place = 0;
        if (SameText(Name, DefaultName)) {
            Checker = DefaultParamCfg.get();
        } else if (CheckParamsList->FindObject(Name, Place)) {
            Checker = static_cast<TParamValueChecker*>(CheckParamsList->Objects(Place));
        } else {
            const bool Compiled = Shared != nullptr;
            if (!Compiled) {
                CheckersList.push_back(std::make_unique<TParamValueChecker>());
                Shared = CheckersList.back().get();
            }
            CheckParamsList->InsertObject(Place, Name, Shared, 0);
            if (Compiled) continue;
            Checker = Shared;
        }
        Checker->SetSymbolsAsString(1, WrongValues);
        Checker->SetSymbolsAsString(2, RightValues);
    }
}

void TParamsChecker::Clear() {
    TParamsConfig::Clear();
    CheckParamsList->Clear();
    CheckersList.clear();
    DefaultParamCfg->Clear();
}

void TParamsChecker::LoadFrom(const TParamsConfig& Source) {
    TParamsChecker Fresh; // goes with the old rules in it, after the write side was given back
    Fresh.Assign(&Source);
    const std::scoped_lock Writing(*this);
    SwapConfig(Fresh);
    CheckersList.swap(Fresh.CheckersList);
    CheckParamsList.swap(Fresh.CheckParamsList);
    DefaultParamCfg.swap(Fresh.DefaultParamCfg);
}

bool TParamsChecker::CheckParamValue(std::u16string_view ParamName, std::u16string_view Value,
                                     bool RaiseException) const {
    const std::shared_lock Reading(*this);
    if (!Enabled) return true;
    const TParamValueChecker* Checker = DefaultParamCfg.get();
    if (TObject* Found = CheckParamsList->ObjectByName(ParamName)) {
        Checker = static_cast<const TParamValueChecker*>(Found);
    }
    try {
        if (!RaiseException) return Checker->Passes(Value);
        Checker->CheckValue(Value);
        return true;
    } catch (const std::exception& Error) {
        if (!RaiseException) return false;
        throw EParamValueChecker(Format(ParamMessage, {ParamName, MessageOf(Error)}));
    }
}

} // namespace zutools
