// A rule made ready for checking: tells values that pass from all others without building a message or a
// copy.
//
// Immutable, so any number of request threads may use one. Who refuses a value finds the reason the plain
// way.

#pragma once

#include "checking/FoldPass.h"
#include "checking/WordScan.h"

#include <string>
#include <string_view>
#include <vector>

namespace zutools::checking {

class TCompiledRule {
public:
    TCompiledRule(const TKXCharSet& WrongSymbols, const TStrings& WrongWords, const TKXCharSet& RightSymbols,
                  const TStrings& RightWords);

    enum class TVerdict {
        Passes,
        Refused,        // at the first sign: the plain way finds the reason, or none if a character behind it
                        // changes what was seen
        UpperCaseFirst, // holds a character that cannot be folded by itself: ask again with the value
                        // upper-cased
    };
    /// Allocates nothing unless a word is longer than 512 units.
    [[nodiscard]] TVerdict Check(std::u16string_view Value) const;
    /// The same, but a refusal stands: no character behind what was seen can change it.
    [[nodiscard]] TVerdict CheckWhole(std::u16string_view Value) const;
    /// The same for a value that is upper-cased already; never UpperCaseFirst.
    [[nodiscard]] bool PassesUpper(std::u16string_view Upper) const;

    /// 0-based position of the first wrong word, in list order, that occurs in an upper-cased value; -1 when
    /// none.
    [[nodiscard]] int FirstWrongWord(std::u16string_view Upper) const {
        return FWrongWords.FirstFound(Upper);
    }

private:
    [[nodiscard]] TVerdict Scan(std::u16string_view Text, bool Upper) const;

    TWordScan FWrongWords;
    TFoldPass FPass;
    std::vector<std::u16string> FRightWords;
};

} // namespace zutools::checking
