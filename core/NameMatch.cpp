#include "core/NameMatch.h"

#include <algorithm>
#include <cstring>
#include <string>
#include <vector>

namespace zutools {

namespace {

using platform::TCollator;

std::u16string Text(char16_t First, char16_t Second) {
    return {First, Second};
}

/// The questions to a collator from which the tables are made. A later difference between letters outweighs
/// an earlier one between accents or in case: that is how letters are told from the rest.
class TProbe {
public:
    TProbe(const TCollator& Collator, bool CaseSensitive)
        : FCollator(Collator)
        , FCaseSensitive(CaseSensitive) {}

    [[nodiscard]] int Compare(std::u16string_view Left, std::u16string_view Right) const {
        return FCollator.Compare(Left, Right, FCaseSensitive);
    }
    [[nodiscard]] int Compare(char16_t Left, char16_t Right) const {
        return Compare({&Left, 1}, {&Right, 1});
    }

    /// Counts as a letter of its own for the order: not skipped, not a mere accent, not weighed after all
    /// letters as hyphens are on Windows. What orders inside "0" to "9" and not before "a" is refused too.
    [[nodiscard]] bool HasLetterWeight(char16_t Character) const {
        return Compare(Text(Character, u'0'), u"9") > 0 || Compare(Text(Character, u'9'), u"0") < 0 ||
               Compare(Text(Character, u'z'), u"a") < 0;
    }
    /// The same letter but for accent and case.
    [[nodiscard]] bool SameLetter(char16_t Left, char16_t Right) const {
        return Compare(Text(Left, u'0'), Text(Right, u'9')) < 0 &&
               Compare(Text(Left, u'9'), Text(Right, u'0')) > 0;
    }
    /// Digits are compared as numbers: their weights depend on one another.
    [[nodiscard]] bool NumericDigits() const { return Compare(u"10", u"2") > 0; }

private:
    const TCollator& FCollator;
    const bool FCaseSensitive;
};

bool IsDigit(char16_t Character) {
    return Character >= u'0' && Character <= u'9';
}

std::vector<char16_t> Candidates(const TProbe& Probe) {
    const bool NumericDigits = Probe.NumericDigits();
    std::vector<char16_t> Result;
    const auto Take = [&](char16_t First, char16_t Last) {
        for (char16_t Character = First; Character <= Last; ++Character)
            if (Probe.HasLetterWeight(Character) && !(NumericDigits && IsDigit(Character)))
                Result.push_back(Character);
    };
    Take(0x20, 0x7E);
    Take(0xC0, 0x17F); // the signs below are left to the collator: Catalan "l·" is one of the pairs there
    Take(0x400, 0x45F);
    return Result;
}

// Four units make one step of the hash.
constexpr std::uint64_t Multiplier = 0x9E3779B97F4A7C15u;
constexpr std::uint64_t ComplexSeed = 0xD6E8FEB86659FD93u;

std::uint64_t Step(std::uint64_t Hash, std::uint64_t Word) {
    Hash = (Hash ^ Word) * Multiplier;
    return Hash ^ (Hash >> 32);
}

std::uint64_t HashUnits(std::u16string_view Name) {
    std::uint64_t Hash = ComplexSeed ^ Name.size();
    for (const char16_t Unit : Name) Hash = Step(Hash, Unit);
    return Hash;
}

} // namespace

TNameMatch::TNameMatch(const TCollator& Collator, bool CaseSensitive)
    : FCollator(Collator)
    , FCaseSensitive(CaseSensitive) {
    Build();
}

void TNameMatch::Build() {
    const TProbe Probe(FCollator, FCaseSensitive);
    const TProbe AccentProbe(FCollator, false);
    const platform::TCollationOddities Oddities = FCollator.Oddities(Limit);
    const auto IsExpansion = [&](char16_t Character) {
        return Oddities.Expansions.find(Character) != std::u16string::npos;
    };

    // Inserted one by one: std::sort may run out of its range under an order that contradicts itself, and
    // this one is the system's.
    std::vector<char16_t> Order;
    for (const char16_t Character : Candidates(Probe))
        Order.insert(std::ranges::upper_bound(
                         Order, Character,
                         [&](char16_t Left, char16_t Right) { return Probe.Compare(Left, Right) < 0; }),
                     Character);

    std::uint8_t Rank = 0;
    for (std::size_t First = 0; First < Order.size() && Rank < 0xFF;) {
        std::size_t End = First + 1;
        while (End < Order.size() && Probe.SameLetter(Order[First], Order[End])) ++End;
        ++Rank;

        // One letter with its accents and cases. Names made of such letters are the same only when they are
        // so letter by letter, as long as each letter has one plain form and the others add accents to it. A
        // second plain form would be an accent that is not written as one, and a letter without a plain form
        // may stand for several ("æ"): both are left out.
        const auto Base = std::find_if(Order.begin() + static_cast<std::ptrdiff_t>(First),
                                       Order.begin() + static_cast<std::ptrdiff_t>(End),
                                       [&](char16_t Character) { return !IsExpansion(Character); });
        for (std::size_t At = First; At < End && Base - Order.begin() < static_cast<std::ptrdiff_t>(End);
             ++At) {
            const char16_t Character = Order[At];
            if (!IsExpansion(Character) && AccentProbe.Compare(Character, *Base) != 0) continue;
            const bool AsBefore =
                At > First && FFold[Order[At - 1]] != 0 && Probe.Compare(Order[At - 1], Character) == 0;
            FFold[Character] = AsBefore ? FFold[Order[At - 1]] : Character;
            FRank[Character] = Rank;
        }
        First = End;
    }
    BuildPairs(Oddities);
}

void TNameMatch::BuildPairs(const platform::TCollationOddities& Oddities) {
    const auto Mark = [this](char16_t Half, std::uint8_t Bit) {
        for (char16_t Character = 0; Character < Limit; ++Character)
            if (FRank[Character] == FRank[Half] && FFold[Character] != 0) FPairing[Character] |= Bit;
    };
    for (const std::u16string& Sequence : Oddities.Sequences) {
        // A name with an undecidable character is the collator's anyway; and a longer sequence begins with a
        // pair.
        if (Sequence.size() < 2 || !Decidable(Sequence[0]) || !Decidable(Sequence[1])) continue;
        Mark(Sequence[0], Begins);
        Mark(Sequence[1], Ends);
        FHasPairs = true;
    }
}

bool TNameMatch::HoldsPair(std::u16string_view Name) const {
    bool Begun = false;
    for (const char16_t Character : Name) {
        const std::uint8_t Pairing = FPairing[Place(Character)];
        if (Begun && (Pairing & Ends) != 0) return true;
        Begun = (Pairing & Begins) != 0;
    }
    return false;
}

TNameMatch::THash TNameMatch::Hash(std::u16string_view Name) const {
    const char16_t* At = Name.data();
    std::size_t Left = Name.size();
    std::uint64_t Hash = Left;
    std::uint64_t Undecidable = 0; // the topmost bit is set by the first fold of 0
    const auto Fold = [&](char16_t Character) -> std::uint64_t {
        const std::uint64_t Result = FFold[Place(Character)];
        Undecidable |= Result - 1;
        return Result;
    };
    for (; Left >= 4; Left -= 4, At += 4)
        Hash = Step(Hash, Fold(At[0]) | Fold(At[1]) << 16 | Fold(At[2]) << 32 | Fold(At[3]) << 48);
    if (Left != 0) {
        std::uint64_t Word = 0;
        for (std::size_t Index = 0; Index < Left; ++Index) Word = Word << 16 | Fold(At[Index]);
        Hash = Step(Hash, Word);
    }
    if ((Undecidable >> 63) != 0 || (FHasPairs && HoldsPair(Name))) return {HashUnits(Name), false};
    return {Hash, true};
}

bool TNameMatch::SameSimple(std::u16string_view Left, std::u16string_view Right) const {
    if (Left.size() != Right.size()) return false;
    for (std::size_t Index = 0; Index < Left.size(); ++Index)
        if (Left[Index] != Right[Index] && FFold[Place(Left[Index])] != FFold[Place(Right[Index])])
            return false;
    return true;
}

// Letters decide before accents and case do, and the first letter that differs decides: so the walk ends
// there, as soon as it is sure that neither of the two letters joins the character behind it.
TNameMatch::TVerdict TNameMatch::Decide(std::u16string_view Left, std::u16string_view Right) const {
    if (FHasPairs && (HoldsPair(Left) || HoldsPair(Right))) return TVerdict::Undecided;
    const auto EndsOrDecidable = [this](std::u16string_view Name, std::size_t Index) {
        return Index == Name.size() || Decidable(Name[Index]);
    };
    const std::size_t Shorter = std::min(Left.size(), Right.size());
    bool SameFolds = true;
    for (std::size_t Index = 0; Index < Shorter; ++Index) {
        const std::size_t LeftPlace = Place(Left[Index]);
        const std::size_t RightPlace = Place(Right[Index]);
        const char16_t LeftFold = FFold[LeftPlace];
        const char16_t RightFold = FFold[RightPlace];
        if (LeftFold == 0 || RightFold == 0) return TVerdict::Undecided;
        if (LeftFold == RightFold) continue;
        if (FRank[LeftPlace] == FRank[RightPlace]) {
            SameFolds = false;
            continue;
        }
        if (!EndsOrDecidable(Left, Index + 1) || !EndsOrDecidable(Right, Index + 1))
            return TVerdict::Undecided;
        return FRank[LeftPlace] < FRank[RightPlace] ? TVerdict::Less : TVerdict::Greater;
    }
    if (!EndsOrDecidable(Left, Shorter) || !EndsOrDecidable(Right, Shorter)) return TVerdict::Undecided;
    if (Left.size() != Right.size()) return Left.size() < Right.size() ? TVerdict::Less : TVerdict::Greater;
    return SameFolds ? TVerdict::Same : TVerdict::SameLetters;
}

int TNameMatch::Ask(std::u16string_view Left, std::u16string_view Right) const {
    const int Answer = FCollator.Compare(Left, Right, FCaseSensitive);
    return (Answer > 0) - (Answer < 0);
}

bool TNameMatch::Same(std::u16string_view Left, std::u16string_view Right) const {
    if (Left == Right) return true;
    const TVerdict Verdict = Decide(Left, Right);
    return Verdict == TVerdict::Undecided ? Ask(Left, Right) == 0 : Verdict == TVerdict::Same;
}

int TNameMatch::Compare(std::u16string_view Left, std::u16string_view Right) const {
    switch (Decide(Left, Right)) {
    case TVerdict::Less:
        return -1;
    case TVerdict::Same:
        return 0;
    case TVerdict::Greater:
        return 1;
    case TVerdict::SameLetters:
    case TVerdict::Undecided:
        break;
    }
    return Ask(Left, Right);
}

const TNameMatch& UserNameMatch(bool CaseSensitive) {
    if (CaseSensitive) {
        static const TNameMatch Match(platform::UserCollator(), true);
        return Match;
    }
    static const TNameMatch Match(platform::UserCollator(), false);
    return Match;
}

} // namespace zutools
