// What ICU tells about the weights of single characters. For the sources of this folder.

#pragma once

#include <unicode/ucol.h>
#include <unicode/unorm2.h>
#include <unicode/uset.h>

#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <unordered_set>

namespace zutools::platform {

/// ICU's sort key of a text.
[[nodiscard]] std::string SortKeyOf(const UCollator* Collator, std::u16string_view Text);

/// The sequences that a collator weighs together, those with a sign that changes after certain letters
/// included, and the characters that weigh as several.
class TTogether {
public:
    explicit TTogether(const UCollator* Collator);
    /// Sequences of two characters or more.
    void ForEachSequence(const std::function<void(std::u16string_view)>& Take) const;
    [[nodiscard]] bool Expands(char16_t Character) const {
        return uset_contains(FExpansions.get(), Character) != 0;
    }

private:
    struct TCloseSet {
        void operator()(USet* Set) const { uset_close(Set); }
    };
    using TSetHandle = std::unique_ptr<USet, TCloseSet>;

    TSetHandle FSequences{uset_openEmpty()};
    TSetHandle FExpansions{uset_openEmpty()};
};

/// The characters that TCollator::IsLoneLetter is true of. Immutable after construction.
class TLoneLetters {
public:
    /// `Collator` is one that ignores case, and outlives this object.
    explicit TLoneLetters(const UCollator* Collator);
    [[nodiscard]] bool Has(char16_t Character) const;

private:
    [[nodiscard]] bool IsPlain(char16_t Character) const;
    [[nodiscard]] std::string LettersOf(char16_t Character) const;

    const UCollator* const FCollator;
    const UNormalizer2* FDecompose = nullptr;
    const UNormalizer2* FCompose = nullptr;
    std::string FWithoutAccents; // the end of a plain letter's sort key
    bool FNumeric = false;       // digits are compared as numbers
    const TTogether FTogether;
    std::unordered_set<char16_t> FOut; // of each sequence one character
};

} // namespace zutools::platform
