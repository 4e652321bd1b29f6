#include "core/NameMatch.h"

#include "platform/Random.h"

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

/// Up to three characters, some of them twice: texts of one length that differ give words that do.
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
/// they may overlap. Ends when `Take` gives false, and gives that. Up to sixteen characters take one way
/// without a branch on the length: names come in all lengths, and a branch that goes wrong costs more than a
/// word taken twice.
template <class TTake>
[[gnu::always_inline]] inline bool ForEachPair(std::size_t Size, const TTake& Take) {
    const std::size_t Last = Size - 4;
    std::size_t At = 0;
    for (; Size - At > 16; At += 8)
        if (!Take(At, At + 4)) return false;
    return Take(At, std::min(At + 4, Last)) && Take(std::max(At + 4, Last) - 4, Last);
}

/// Eight characters side by side, which both compilers turn into vector instructions.
using TBlock [[gnu::vector_size(16)]] = std::uint16_t;
using TWordPair = std::array<TWord, 2>;

TBlock BlockOf(TWord First, TWord Second) {
    return std::bit_cast<TBlock>(TWordPair{First, Second});
}

/// Of a comparison, lane by lane.
bool AnyLane(const auto& Mask) {
    const auto Words = std::bit_cast<TWordPair>(Mask);
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
    FindPlainAscii();
}

void TNameMatch::FindPlainAscii() {
    FPlainAscii = true;
    for (char16_t Character = u' '; Character <= u'~'; ++Character) {
        const bool Capital = Character >= u'A' && Character <= u'Z';
        const int Wanted = Capital && !FCaseSensitive ? Character + 0x20 : Character;
        if (FFold[Character] == Wanted) continue;
        if (FFold[Character] == 0 && (Character == u'-' || Character == u'\''))
            FMarksAside = true;
        else
            FPlainAscii = false;
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

// Four or eight characters become their folds; false when one of them is not decidable. Most names are
// printable ASCII, and there the fold is arithmetic, in registers as long as it is not called.
[[gnu::always_inline]] inline bool TNameMatch::FoldWords(std::uint64_t& First, std::uint64_t& Second) const {
    TBlock Block = BlockOf(First, Second);
    if (!FPlainAscii || AnyLane(Block - u' ' > u'~' - u' ') ||
        (FMarksAside && AnyLane((Block == u'-') | (Block == u'\'')))) {
        bool Decided = true;
        First = FoldByTable(First, Decided);
        Second = FoldByTable(Second, Decided);
        return Decided;
    }
    if (!FCaseSensitive) {
        Block |= std::bit_cast<TBlock>(Block - u'A' <= u'Z' - u'A') & 0x20;
        const auto Words = std::bit_cast<TWordPair>(Block);
        First = Words[0];
        Second = Words[1];
    }
    return true;
}

std::uint64_t TNameMatch::FoldByTable(std::uint64_t Word, bool& Decided) const {
    auto Lanes = std::bit_cast<TLanes>(Word);
    for (char16_t& Lane : Lanes) {
        Lane = FFold[Place(Lane)];
        Decided &= Lane != 0;
    }
    return std::bit_cast<TWord>(Lanes);
}

// Names come from requests too: nobody outside can know the secrets and send names that collide. The products
// do not wait for one another.
std::uint64_t TNameMatch::Step(std::uint64_t Hash, std::uint64_t First, std::uint64_t Second) const {
    return std::rotl(Hash, 27) ^ Fold(First ^ FSecrets[0], Second ^ FSecrets[1]);
}

std::uint64_t TNameMatch::HashAsSpelled(std::u16string_view Name) const {
    std::uint64_t Hash = ComplexSeed ^ Name.size();
    if (Name.size() < 4) return Step(Hash, LoadShort(Name), 0);
    ForEachPair(Name.size(), [&](std::size_t First, std::size_t Second) {
        Hash = Step(Hash, Load(Name.data() + First), Load(Name.data() + Second));
        return true;
    });
    return Hash;
}

TNameMatch::THash TNameMatch::Hash(std::u16string_view Name) const {
    std::uint64_t Hash = Name.size();
    const auto Take = [&](TWord First, TWord Second) {
        const bool Decided = FoldWords(First, Second);
        Hash = Step(Hash, First, Second);
        return Decided;
    };
    const char16_t* const Data = Name.data();
    const bool Decided = Name.size() < 4 ? Take(LoadShort(Name), Each(Padding))
                                         : ForEachPair(
                                               Name.size(),
                                               [&](std::size_t First, std::size_t Second) {
                                                   return Take(Load(Data + First), Load(Data + Second));
                                               });
    if (!Decided || (FHasPairs && HoldsPair(Name))) return {HashAsSpelled(Name), false};
    return {Hash, true};
}

bool TNameMatch::SameSimple(std::u16string_view Left, std::u16string_view Right) const {
    if (Left.size() != Right.size()) return false;
    // Mostly they are spelled alike, and that is seen without folding.
    const auto Same = [this](TWord Left1, TWord Right1, TWord Left2, TWord Right2) {
        if (((Left1 ^ Right1) | (Left2 ^ Right2)) == 0) return true;
        return FoldWords(Left1, Left2) && FoldWords(Right1, Right2) && Left1 == Right1 && Left2 == Right2;
    };
    if (Left.size() < 4) return Same(LoadShort(Left), LoadShort(Right), Each(Padding), Each(Padding));
    return ForEachPair(Left.size(), [&](std::size_t First, std::size_t Second) {
        return Same(Load(Left.data() + First), Load(Right.data() + First), Load(Left.data() + Second),
                    Load(Right.data() + Second));
    });
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
