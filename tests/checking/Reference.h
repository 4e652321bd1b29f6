// The checking of a value as the rules read, step by step and without any compiled form; tests and fuzz
// targets hold the real checker against it.

#pragma once

#include "checking/Chekprms.h"
#include "host/Format.h"
#include "host/StringHelpers.h"
#include "platform/Text.h"

#include <string>
#include <string_view>

namespace zutools::tests {

/// The message that a checker gives for a value; empty when the value passes. "Passes" must say the same.
inline std::string Message(const TParamValueChecker& Checker, std::u16string_view Value) {
    const bool Passes = Checker.Passes(Value);
    try {
        Checker.CheckValue(Value);
        return Passes ? "" : "Passes refuses what CheckValue lets through";
    } catch (const EParamValueChecker& Error) {
        if (Passes) return "Passes lets through what CheckValue refuses";
        return platform::Utf16ToUtf8(Error.Message());
    }
}

/// The message that the checker ought to give.
inline std::string ReferenceMessage(const TParamValueChecker& Rule, std::u16string_view Value) {
    if (Value.empty()) return {};
    const std::u16string Upper = AnsiUpperCase(Value);
    const auto Fail = [](const std::u16string& Text) { return platform::Utf16ToUtf8(Text); };
    for (int Index = 0; Index < Rule.WrongWords.Count(); ++Index) {
        const auto& Word = Rule.WrongWords.Strings(Index);
        const int At = KX_PosText(Word, Upper, 1, false);
        if (At > 0)
            return Fail(Format(u"Value \"%s\" contain wrong word \"%s\" at position %d.", {Upper, Word, At}));
    }
    for (std::size_t At = 0; At < Upper.size(); ++At) {
        const std::u16string One(1, Upper[At]);
        if (Rule.WrongSymbols.Exists(Upper[At])) {
            return Fail(
                Format(u"Value \"%s\" contain wrong symbol \"%s\" at position %d.", {Upper, One, At + 1}));
        }
    }
    for (int Index = 0; Index < Rule.RightWords.Count(); ++Index) {
        if (KX_PosText(Rule.RightWords.Strings(Index), Upper, 1, false) == 0) {
            return Fail(Format(u"Value \"%s\" not contain right words: \"%s\".",
                               {Upper, Rule.RightWords.CommaText()}));
        }
    }
    for (std::size_t At = 0; Rule.RightSymbols.NOTEmpty() && At < Upper.size(); ++At) {
        const std::u16string One(1, Upper[At]);
        if (!Rule.RightSymbols.Exists(Upper[At])) {
            return Fail(Format(u"Value \"%s\" contain not a right symbol \"%s\" at position %d.",
                               {Upper, One, At + 1}));
        }
    }
    return {};
}

} // namespace zutools::tests
