#include "checking/CompiledRule.h"

#include "host/StringHelpers.h"

#include <algorithm>
#include <array>
#include <memory>

namespace zutools::checking {

namespace {

constexpr std::size_t PieceUnits = 1024; // units folded at a time, on the stack

/// Characters that refuse a value wherever they stand: the wrong ones, all that are not right ones where
/// there are right ones, and words of one character.
TKXCharSet BadCharacters(const TKXCharSet& Wrong, const TKXCharSet& Right,
                         const std::vector<char16_t>& Singles) {
    TKXCharSet Bad(Wrong);
    if (Right.NOTEmpty()) {
        for (std::uint32_t Code = 0; Code < 0x10000; ++Code) {
            if (!Right.Exists(static_cast<char16_t>(Code))) Bad.Include(static_cast<char16_t>(Code));
        }
    }
    for (const char16_t Character : Singles) Bad.Include(Character);
    return Bad;
}

} // namespace

TCompiledRule::TCompiledRule(const TKXCharSet& WrongSymbols, const TStrings& WrongWords,
                             const TKXCharSet& RightSymbols, const TStrings& RightWords)
    : FWrongWords(WrongWords)
    , FPass(BadCharacters(WrongSymbols, RightSymbols, FWrongWords.SingleCharacters())) {
    for (int Index = 0; Index < RightWords.Count(); ++Index) FRightWords.push_back(RightWords.Strings(Index));
}

TCompiledRule::TVerdict TCompiledRule::Check(std::u16string_view Value) const {
    return Scan(Value, false);
}

bool TCompiledRule::PassesUpper(std::u16string_view Upper) const {
    return Scan(Upper, true) == TVerdict::Passes;
}

TCompiledRule::TVerdict TCompiledRule::Scan(std::u16string_view Text, bool Upper) const {
    std::array<std::uint8_t, PieceUnits + FoldPadding> Room;
    std::unique_ptr<std::uint8_t[]> Heap;
    std::uint8_t* Narrow = Room.data();
    std::size_t Piece = PieceUnits;
    if (FWrongWords.Overlap() > PieceUnits / 2 && Text.size() > PieceUnits) {
        Piece = std::max(PieceUnits, 2 * FWrongWords.Overlap());
        Heap = std::make_unique<std::uint8_t[]>(std::min(Piece, Text.size()) + FoldPadding);
        Narrow = Heap.get();
    }

    for (std::size_t Start = 0; Start < Text.size(); Start += Piece - FWrongWords.Overlap()) {
        const std::u16string_view Part = Text.substr(Start, Piece);
        const TFoldFlags Flags = FPass.Run(Part, Narrow);
        // Characters that upper-casing drops or joins are special themselves, so the rest of the value
        // changes nothing in front of it.
        if (Flags.Special && !Upper) return TVerdict::UpperCaseFirst;
        if (Flags.Bad || FWrongWords.AnyFound(Part, Narrow)) return TVerdict::Refused;
        if (Start + Part.size() == Text.size()) break;
    }
    const auto IsMissing = [Text](const std::u16string& Word) { return KX_PosText(Word, Text) == 0; };
    return std::any_of(FRightWords.begin(), FRightWords.end(), IsMissing) ? TVerdict::Refused
                                                                          : TVerdict::Passes;
}

} // namespace zutools::checking
