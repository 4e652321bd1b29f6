#include "core/NameMatch.h"

#include "platform/Random.h"
#include "platform/TextTools.h"

#include <algorithm>
#include <bit>
#include <cstring>
#include <ranges>
#include <span>
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

    /// The character has a weight of its own among letters. A letter does: "k0" stands behind "9". A
    /// character that the collation skips does not: skipped, it leaves "0", which stands before "9". Neither
    /// does an accent, nor a hyphen on Windows, which is weighed after all letters.
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

/// Asked for the tables of the order. The signs between are left out: Catalan "l\u00B7" is one of the pairs
/// there.
constexpr bool StandsInOrder(char16_t Character) {
    return (Character >= 0x20 && Character <= 0x7E) || (Character >= 0xC0 && Character <= 0x17F) ||
           (Character >= 0x400 && Character <= 0x45F);
}

std::vector<char16_t> Candidates(const TProbe& Probe) {
    const bool NumericDigits = Probe.NumericDigits();
    std::vector<char16_t> Result;
    for (char16_t Character = 0; Character < 0x460; ++Character)
        if (StandsInOrder(Character) && Probe.HasLetterWeight(Character) &&
            !(NumericDigits && platform::IsAsciiDigit(Character)))
            Result.push_back(Character);
    return Result;
}

// ---- four characters in a word

using TWord = std::uint64_t;
using TLanes = std::array<char16_t, 4>;
constexpr char16_t Padding = u' ';

constexpr TWord Each(std::uint16_t Lane) {
    return Lane * TWord{0x0001000100010001};
}

TWord Load(const char16_t* At) {
    TWord Word;
    std::memcpy(&Word, At, sizeof Word);
    return Word;
}

/// A word of up to three characters: the first, the middle and the last one, so "ab" gives a, b, b. Two texts
/// of one length give two words when they differ.
TWord LoadShort(std::u16string_view Name) {
    TLanes Lanes;
    Lanes.fill(Padding);
    if (!Name.empty()) {
        Lanes[0] = Name.front();
        Lanes[1] = Name[Name.size() / 2];
        Lanes[2] = Name.back();
    }
    return std::bit_cast<TWord>(Lanes);
}

/// Calls `Take(At1, At2)` with the places of the words of a name of at least four characters, two at a time;
/// they may overlap. Up to sixteen characters take one way without a branch on the length: names come in all
/// lengths, and a branch that goes wrong costs more than a word taken twice.
template <class TTake>
void ForEachPair(std::size_t Size, const TTake& Take) {
    const std::size_t Last = Size - 4;
    std::size_t At = 0;
    for (; Size - At > 16; At += 8) Take(At, At + 4);
    Take(At, std::min(At + 4, Last));
    Take(std::max(At + 4, Last) - 4, Last);
}

/// Eight characters side by side, which both compilers turn into vector instructions.
using TBlock [[gnu::vector_size(16)]] = std::uint16_t;

using TWordBlock [[gnu::vector_size(16)]] = TWord;

TBlock BlockOf(TWord First, TWord Second) {
    return std::bit_cast<TBlock>(TWordBlock{First, Second});
}

TBlock LowerAscii(TBlock Block) {
    return Block | (std::bit_cast<TBlock>(Block - u'A' <= u'Z' - u'A') & 0x20);
}

/// Of a comparison, lane by lane.
bool AnyLane(const auto& Mask) {
    const auto Words = std::bit_cast<TWordBlock>(Mask);
    return (Words[0] | Words[1]) != 0;
}

// ---- hashing

constexpr std::uint64_t ComplexSeed = 0xD6E8FEB86659FD93u;

__extension__ using TDoubleWord = unsigned __int128;

/// Both halves of a product: every bit of the factors reaches every bit of it.
std::uint64_t Fold(std::uint64_t Left, std::uint64_t Right) {
    const TDoubleWord Product = TDoubleWord{Left} * Right;
    return static_cast<std::uint64_t>(Product) ^ static_cast<std::uint64_t>(Product >> 64);
}

std::uint64_t RandomNumber() {
    std::uint64_t Number = 0;
    platform::FillRandom(std::as_writable_bytes(std::span(&Number, 1)));
    return Number;
}

} // namespace

TNameMatch::TNameMatch(const TCollator& Collator, bool CaseSensitive)
    : FCollator(Collator)
    , FCaseSensitive(CaseSensitive)
    , FSecrets{RandomNumber(), RandomNumber()} {
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
    for (const char16_t Character :
         std::views::reverse(Candidates(Probe))) // small letters before capital ones
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
    BuildLigatures(Oddities);
    FindQuickAscii();
}

// Where "\u00DF" is two letters s with a mark of its own between them, it equals nothing but itself, and a
// table can say so. It has no one place in the order, though.
void TNameMatch::BuildLigatures(const platform::TCollationOddities& Oddities) {
    struct TLigature {
        char16_t Small, Capital, First, Second;
    };
    constexpr TLigature Known[] = {{u'\u00DF', 0, u's', u's'},
                                   {u'\u00E6', u'\u00C6', u'a', u'e'},
                                   {u'\u0153', u'\u0152', u'o', u'e'},
                                   {u'\u0133', u'\u0132', u'i', u'j'}};
    const TProbe Probe(FCollator, FCaseSensitive);
    const auto SameRank = [this](char16_t Letter) {
        std::u16string Result;
        for (char16_t Character = 0; Character < Limit; ++Character)
            if (FFold[Character] != 0 && FRank[Character] == FRank[Letter]) Result += Character;
        return Result;
    };
    const auto Qualifies = [&](char16_t Character, const TLigature& Ligature) {
        if (FFold[Character] != 0 || Oddities.Expansions.find(Character) == std::u16string::npos)
            return false;
        const std::u16string Letters = Text(Ligature.First, Ligature.Second);
        const std::u16string_view One(&Character, 1);
        const auto With = [](std::u16string_view Start, char16_t Digit) {
            return std::u16string(Start) + Digit;
        };
        if (Probe.Compare(With(One, u'0'), With(Letters, u'9')) >= 0 ||
            Probe.Compare(With(One, u'9'), With(Letters, u'0')) <= 0)
            return false;
        for (const char16_t First : SameRank(Ligature.First))
            for (const char16_t Second : SameRank(Ligature.Second))
                if (Probe.Compare(One, Text(First, Second)) == 0) return false;
        return true;
    };
    for (const TLigature& Ligature : Known) {
        if (!FCollator.IsLoneLetter(Ligature.First) || !FCollator.IsLoneLetter(Ligature.Second) ||
            !Decidable(Ligature.First) || !Decidable(Ligature.Second) || !Qualifies(Ligature.Small, Ligature))
            continue;
        FLigatures[Ligature.Small] = Ligature.Small;
        if (Ligature.Capital == 0 || !Qualifies(Ligature.Capital, Ligature)) continue;
        const bool Same = Probe.Compare(Ligature.Small, Ligature.Capital) == 0;
        FLigatures[Ligature.Capital] = Same ? Ligature.Small : Ligature.Capital;
    }
}

// Made when a name first holds a character of it, so that nobody pays for scripts that nobody uses.
const TNameMatch::TPage& TNameMatch::MakePage(std::size_t Number) const {
    const std::lock_guard Guard(FPagesMutex);
    if (const TPage* const Made = FPages[Number].load(std::memory_order_acquire)) return *Made;
    auto Page = std::make_unique<TPage>();
    for (std::size_t Index = 0; Index < Page->size(); ++Index) {
        const auto Character = static_cast<char16_t>(Number * Page->size() + Index);
        char16_t& Fold = (*Page)[Index];
        if (StandsInOrder(Character)) {
            const auto Ligature = FLigatures.find(Character);
            Fold = Ligature != FLigatures.end() ? Ligature->second : FFold[Character];
        } else if (FCollator.IsLoneLetter(Character)) {
            NoteKeys();
            Fold = FByKey.try_emplace(FCollator.SortKey({&Character, 1}, FCaseSensitive), Character)
                       .first->second;
        }
    }
    const TPage& Owned = *FOwnedPages.emplace_back(std::move(Page)); // before others see it: this may raise
    FPages[Number].store(&Owned, std::memory_order_release);
    return Owned;
}

/// Letters beyond the tables may equal some in them: a wide "A" and "a".
void TNameMatch::NoteKeys() const {
    if (!FByKey.empty()) return;
    for (char16_t Character = 0; Character < Limit; ++Character)
        if (FFold[Character] == Character)
            FByKey.try_emplace(FCollator.SortKey({&Character, 1}, FCaseSensitive), Character);
}

void TNameMatch::FindQuickAscii() {
    FQuickAscii = !FHasPairs;
    for (char16_t Character = u' '; Character <= u'~'; ++Character) {
        const bool Capital = Character >= u'A' && Character <= u'Z';
        FQuickAscii &= FFold[Character] == (Capital && !FCaseSensitive ? Character + 0x20 : Character);
    }
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

// Names come from requests too: nobody outside can know the secrets and send names that collide. The products
// do not wait for one another.
inline std::uint64_t TNameMatch::Step(std::uint64_t Hash, std::uint64_t First, std::uint64_t Second) const {
    return std::rotl(Hash, 27) ^ Fold(First ^ FSecrets[0], Second ^ FSecrets[1]);
}

// Most names are printable ASCII and not long. The same words as below, folded in registers.
TNameMatch::THash TNameMatch::Hash(std::u16string_view Name) const {
    const std::size_t Size = Name.size();
    if (!FQuickAscii || Size < 4) return HashByTable(Name);
    const char16_t* Data = Name.data();
    std::size_t Left = Size;
    std::uint64_t Hash = Size;
    for (; Left > 16; Left -= 8, Data += 8) {
        TBlock Block = BlockOf(Load(Data), Load(Data + 4));
        if (AnyLane(Block - u' ' > u'~' - u' ')) return HashByTable(Name);
        if (!FCaseSensitive) Block = LowerAscii(Block);
        const auto Words = std::bit_cast<TWordBlock>(Block);
        Hash = Step(Hash, Words[0], Words[1]);
    }
    const std::size_t Last = Left - 4;
    TBlock Front = BlockOf(Load(Data), Load(Data + std::min<std::size_t>(4, Last)));
    TBlock Back = BlockOf(Load(Data + std::max<std::size_t>(4, Last) - 4), Load(Data + Last));
    if (AnyLane((Front - u' ' > u'~' - u' ') | (Back - u' ' > u'~' - u' '))) return HashByTable(Name);
    if (!FCaseSensitive) {
        Front = LowerAscii(Front);
        Back = LowerAscii(Back);
    }
    const auto First = std::bit_cast<TWordBlock>(Front);
    const auto Second = std::bit_cast<TWordBlock>(Back);
    return {Step(Step(Hash, First[0], First[1]), Second[0], Second[1]), true};
}

TNameMatch::THash TNameMatch::HashByTable(std::u16string_view Name) const {
    char16_t Few[64];
    std::u16string Many;
    char16_t* Folds = Few;
    if (Name.size() > std::size(Few)) {
        Many.resize(Name.size());
        Folds = Many.data();
    }
    for (std::size_t Index = 0; Index < Name.size(); ++Index) {
        Folds[Index] = FoldOf(Name[Index]);
        if (Folds[Index] == 0) return {HashAsSpelled(Name), false};
    }
    if (FHasPairs && HoldsPair(Name)) return {HashAsSpelled(Name), false};
    return {HashUnits(Name.size(), {Folds, Name.size()}), true};
}

std::uint64_t TNameMatch::HashAsSpelled(std::u16string_view Name) const {
    return HashUnits(ComplexSeed ^ Name.size(), Name);
}

std::uint64_t TNameMatch::HashUnits(std::uint64_t Seed, std::u16string_view Units) const {
    if (Units.size() < 4) return Step(Seed, LoadShort(Units), Each(Padding));
    ForEachPair(Units.size(), [&](std::size_t First, std::size_t Second) {
        Seed = Step(Seed, Load(Units.data() + First), Load(Units.data() + Second));
    });
    return Seed;
}

bool TNameMatch::SameSimple(std::u16string_view Left, std::u16string_view Right) const {
    if (Left.size() != Right.size()) return false;
    const auto SameFolds = [&](std::size_t First, std::size_t End) {
        for (std::size_t Index = First; Index < End; ++Index)
            if (Left[Index] != Right[Index] && FoldOf(Left[Index]) != FoldOf(Right[Index])) return false;
        return true;
    };
    // Mostly names in another case: eight characters that are equal or differ in the case of A to Z.
    const auto Block = [](std::u16string_view Name, std::size_t At) {
        return LowerAscii(BlockOf(Load(Name.data() + At), Load(Name.data() + At + 4)));
    };
    if (!FQuickAscii || FCaseSensitive || Left.size() < 8) return SameFolds(0, Left.size());
    for (std::size_t At = 0;; At = std::min(At + 8, Left.size() - 8)) {
        if (AnyLane(Block(Left, At) != Block(Right, At)) && !SameFolds(At, At + 8)) return false;
        if (At == Left.size() - 8) return true;
    }
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

// Of names that the tables decide about wholly the first letters that differ decide, and the shorter name
// comes first.
TNameMatch::TOrderKey TNameMatch::OrderKey(std::u16string_view Name) const {
    constexpr std::size_t Held = 15; // the lowest byte of the second number stays even
    std::array<std::uint64_t, 2> Words{};
    for (std::size_t Index = 0; Index < Name.size(); ++Index) {
        const std::size_t At = Place(Name[Index]);
        if (FFold[At] == 0) return {};
        if (Index < Held) Words[Index / 8] |= std::uint64_t{FRank[At]} << (56 - Index % 8 * 8);
    }
    if (FHasPairs && HoldsPair(Name)) return {};
    return {Words[0], Words[1]};
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
