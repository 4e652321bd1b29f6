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
        // The value is refused, whatever stands behind the part that was looked at. The plain way finds the
        // reason.
        Refused,
        // The value holds a character that cannot be folded by itself, such as ß. The caller upper-cases the
        // value and asks PassesUpper.
        UpperCaseFirst,
    };
    /// Stops at the first sign of a refusal. Allocates nothing unless a word is longer than 512 units.
    [[nodiscard]] TVerdict Check(std::u16string_view Value) const;
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
