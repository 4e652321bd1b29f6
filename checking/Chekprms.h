// Checking of request values: one rule (TParamValueChecker), a filter as it is stored (TParamsConfig), and a
// filter at work (TParamsChecker), of which the process has one, ParamsChecker.
//
// Request threads call CheckParamValue, any number at once. Configuration is for one thread at a time; a
// checker that others use meanwhile is reconfigured inside BeginWrite and EndWrite. Example:
//
//     ParamsChecker->Clear();
//     ParamsChecker->AddParams(u"name,city", u"<,>,script", u"");
//     ParamsChecker->CheckParamValue(u"name", Value, true); // raises for a value with markup
//
// What a rule text may say stands in checking/RuleText.h.

#pragma once

#include "core/Zuslist.h"
#include "host/CharSet.h"
#include "host/Exception.h"
#include "host/Locks.h"
#include "host/Strings.h"

#include <array>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace zutools {

/// A value that a rule refuses. The message quotes the upper-cased value, so it is for logs, not for pages.
class EParamValueChecker : public Exception {
public:
    using Exception::Exception;
};

class TScriptRegistry;

namespace checking {
class TCompiledRule;
}

/// One rule in compiled form. All characters and words are upper case, and so is the value that is checked. A
/// checker whose fields were changed by hand checks more slowly until the next SetSymbolsAsString.
class TParamValueChecker : public TObject {
public:
    TParamValueChecker();
    ~TParamValueChecker() override;

    TKXCharSet WrongSymbols;  // must not occur in a value
    TKXCharSet RightSymbols;  // when not empty, the only characters allowed
    TKXStringList WrongWords; // must not occur in a value
    TKXStringList RightWords; // must all occur in a value

    void Clear();
    /// Index 1 compiles `Value` into the wrong half of the rule, 2 into the right half, replacing what was
    /// there; any other index does nothing. Never fails.
    void SetSymbolsAsString(int Index, std::u16string_view Value);
    void SetWrongSymbolsAsString(std::u16string_view Value) { SetSymbolsAsString(1, Value); }
    void SetRightSymbolsAsString(std::u16string_view Value) { SetSymbolsAsString(2, Value); }

    /// Returns when the value passes. Looks for wrong words in list order, then wrong symbols, missing right
    /// words, and characters outside the right symbols. Positions in messages count UTF-16 units of the
    /// upper-cased value from 1.
    /// @throws EParamValueChecker for the first failure.
    void CheckValue(std::u16string_view Value) const;
    /// Whether CheckValue returns. Does not look for the reason where it can do without.
    [[nodiscard]] bool Passes(std::u16string_view Value) const;

    /// Makes the fast form anew after the fields were changed by hand; without it such a checker is only
    /// slower.
    void Compile();

private:
    [[nodiscard]] const checking::TCompiledRule* Compiled() const;
    [[nodiscard]] std::unique_ptr<std::u16string> Reason(std::u16string_view Value) const;
    [[nodiscard]] std::array<std::uint64_t, 4> Changes() const;

    std::unique_ptr<const checking::TCompiledRule> FCompiled; // null for a rule that refuses nothing
    std::array<std::uint64_t, 4> FCompiledAt{};               // the changes of the fields when it was made
};

/// One rule as it is stored.
struct TParamsCfg {
    std::u16string Params;      // parameter names with commas between; "<Default>" stands for all others
    std::u16string WrongValues; // rule text
    std::u16string RightValues; // rule text
};

/// A filter as it is stored: its identity, its switch and its rules in the order added.
class TParamsConfig : public TKXThreadRWSafetyClass {
public:
    // Published: Enabled, FilterID, FilterName, FilterDescribe, and read-only ParamsCfgCount.
    static const TClassInfo& StaticClass();
    [[nodiscard]] const TClassInfo& ClassInfo() const override;

    bool Enabled = true;
    std::u16string FilterName;
    std::int32_t FilterID = -1; // key in storage
    std::u16string FilterDescribe;

    /// The rule at a 0-based position; null outside.
    [[nodiscard]] const TParamsCfg* ParamsCfg(int Index) const;
    [[nodiscard]] int ParamsCfgCount() const;

    /// Adds a rule, or replaces the two texts of the rule for the same names (compared piece by piece,
    /// trimmed, without case).
    virtual void AddParams(std::u16string_view Params, std::u16string_view WrongValues,
                           std::u16string_view RightValues);
    /// One rule a line: `names=wrong values||right values`; nothing is trimmed.
    virtual void AddParams(const TStrings& Source);
    /// Removes the rules, empties name and description, sets the ID to 0 and switches on.
    virtual void Clear();

    /// The stored rule for these names, appended with empty texts when there is none.
    TParamsCfg& AddParamsCfg(std::u16string_view Params);
    void ClearParams();
    /// Takes over everything of `Source`; null only clears.
    void Assign(const TParamsConfig* Source);
    /// Takes over the rules of `Source` only.
    void AssignParams(const TParamsConfig& Source);

    /// The filter as bytes, all integers 32-bit little-endian: the switch (1 byte), the ID, then counted
    /// UTF-16LE strings (a count of units, then the units): name, description, and three for each rule up to
    /// the end.
    [[nodiscard]] std::string AsString() const;
    /// Reads such bytes; no bytes change nothing. Cut or senseless data give empty texts, never an error.
    /// Compiled checkers of a TParamsChecker do not follow.
    void SetAsString(std::string_view Bytes);

protected:
    /// Exchanges identity, switch and stored rules.
    void SwapConfig(TParamsConfig& Other) noexcept;

private:
    std::vector<std::unique_ptr<TParamsCfg>> FParamsCfgList;
};

/// A filter at work: compiles its rules and finds the one for a parameter.
class TParamsChecker : public TParamsConfig {
public:
    static const TClassInfo& StaticClass();
    [[nodiscard]] const TClassInfo& ClassInfo() const override;

    /// Empty and switched off: every value passes until the filter is cleared or loaded.
    TParamsChecker();

    using TParamsConfig::AddParams;
    /// Also compiles the rule. All names of one call that are new share one checker; a name that has one
    /// already gets that checker recompiled, and with it every other name that shares it.
    void AddParams(std::u16string_view Params, std::u16string_view WrongValues,
                   std::u16string_view RightValues) override;
    void Clear() override;

    /// Takes over a filter while other threads check: compiles it aside, then swaps it in under the write
    /// side, which readers wait for no longer than a few pointers take. Every check sees the old rules or the
    /// new ones.
    void LoadFrom(const TParamsConfig& Source);

    /// True when the value passes the rule for the parameter (or the default rule), or when checking is off.
    /// @throws EParamValueChecker for a refused value when `RaiseException`, naming the parameter.
    bool CheckParamValue(std::u16string_view ParamName, std::u16string_view Value, bool RaiseException) const;

protected:
    std::vector<std::unique_ptr<TParamValueChecker>> CheckersList;
    std::unique_ptr<TZUSortedNamedObjects>
        CheckParamsList;                                 // name -> checker; never frees a checker; never null
    std::unique_ptr<TParamValueChecker> DefaultParamCfg; // for parameters without a rule; never null
};

/// The checker of the process; made and freed by package start and stop, switched off and empty at first.
extern std::unique_ptr<TParamsChecker> ParamsChecker;

/// Enters and removes the script names of TParamsChecker: CheckParamValue, LoadFilter (by ID, from the
/// database), AddParams and Clear. Scripts read a checker under its read side and change it under its write
/// side.
void RegisterChekprms(TScriptRegistry& Registry);
void UnregisterChekprms(TScriptRegistry& Registry);

} // namespace zutools
