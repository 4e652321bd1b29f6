#include "checking/WordScan.h"

#include "checking/FoldPass.h"
#include "host/StringHelpers.h"

#include <algorithm>
#include <bit>
#include <cstring>
#include <limits>
#include <numeric>
#include <set>
#include <span>

namespace zutools::checking {

namespace {

constexpr unsigned HashBits = 15; // 4 KB of bits: stays in the first-level cache
constexpr std::uint32_t HashFactor = 0x9E3779B1U;
constexpr std::uint32_t BucketBits = 9;
constexpr std::size_t LargestTable = 4 * 1024 * 1024; // cells of the automaton

std::uint32_t HashOf(std::uint32_t Key) {
    return (Key * HashFactor) >> (32 - HashBits);
}

std::uint32_t BucketOf(std::uint32_t Key) {
    return (Key * HashFactor) >> (32 - BucketBits);
}

/// The run that begins here as one number; `Mask` drops the bytes of a 32-bit load that it does not have.
inline std::uint32_t KeyAt(const std::uint8_t* Narrow, std::uint32_t Mask) {
    std::uint32_t Key;
    std::memcpy(&Key, Narrow, sizeof Key);
    if constexpr (std::endian::native == std::endian::big) {
        Key = (Key >> 24) | ((Key >> 8) & 0xFF00U) | ((Key << 8) & 0xFF0000U) | (Key << 24);
    }
    return Key & Mask;
}

std::u16string Fold(std::u16string_view Text) {
    std::u16string Folded(Text);
    for (char16_t& Character : Folded) Character = KX_UpChar(Character);
    return Folded;
}

/// For each folded character, all those that fold to it.
class TUnfolding {
public:
    TUnfolding() {
        const char16_t* const Upper = KX_UpCaseTable();
        for (std::uint32_t Code = 0; Code < 0x10000; ++Code) ++FEnds[Upper[Code]];
        std::partial_sum(FEnds.begin(), FEnds.end(), FEnds.begin());
        auto Next = FEnds; // filled from the back, so that the ends become the beginnings
        for (std::uint32_t Code = 0x10000; Code-- > 0;)
            FRaw[--Next[Upper[Code]]] = static_cast<char16_t>(Code);
    }

    [[nodiscard]] std::span<const char16_t> Of(char16_t Folded) const {
        const std::uint32_t First = Folded == 0 ? 0 : FEnds[Folded - 1U];
        return std::span(FRaw).subspan(First, FEnds[Folded] - First);
    }

private:
    std::vector<std::uint32_t> FEnds = std::vector<std::uint32_t>(0x10000, 0);
    std::vector<char16_t> FRaw = std::vector<char16_t>(0x10000);
};

std::span<const char16_t> FoldsTo(char16_t Folded) {
    static const TUnfolding Unfolding;
    return Unfolding.Of(Folded);
}

/// How common a character is in ordinary text, roughly: a run of rare ones makes a better filter.
int Commonness(char16_t Character) {
    if (Character == u' ') return 9;
    if (std::u16string_view(u"ETAOINSRHLDОЕАИНТСРВЛ").find(Character) != std::u16string_view::npos) return 8;
    if (std::u16string_view(u"CUMPFGWYBVКМДПУЯЫЬГЗБЧЙ0123456789").find(Character) !=
        std::u16string_view::npos)
        return 5;
    if ((Character >= u'A' && Character <= u'Z') || Character >= 0x80) return 3;
    return 2;
}

} // namespace

TWordScan::TWordScan(const TStrings& Words) {
    std::set<std::u16string_view> Seen;
    FAll.reserve(static_cast<std::size_t>(Words.Count()));
    for (int Index = 0; Index < Words.Count(); ++Index) {
        const std::u16string& Word = FAll.emplace_back(Fold(Words.Strings(Index)));
        if (Word.size() == 1) FSingles.push_back(Word.front());
        if (Word.size() < 2 || !Seen.insert(Word).second) continue;
        FWords.push_back(Word);
        FLongest = std::max(FLongest, Word.size());
    }
    MakeClasses();
    MakeAutomaton();
    if (!FWords.empty()) MakeFilter();
}

// Every FStride-th place is looked at, so of FStride neighbouring runs of each word one is certain to be met.
void TWordScan::MakeFilter() {
    std::size_t Shortest = std::numeric_limits<std::size_t>::max();
    for (const auto& Word : FWords) Shortest = std::min(Shortest, Word.size());
    FRun = std::min<std::size_t>(Shortest, Shortest >= 6 ? 4 : 3);
    FStride = std::min<std::size_t>(Shortest - FRun + 1, 4);
    FRunMask = FRun == 4 ? 0xFFFFFFFFU : (1U << (8 * FRun)) - 1;

    FBits.assign((std::size_t{1} << HashBits) / 64, 0);
    std::vector<std::vector<TEntry>> Buckets(std::size_t{1} << BucketBits);
    for (std::size_t Number = 0; Number < FWords.size(); ++Number) {
        const std::u16string& Word = FWords[Number];
        const std::size_t Places = Word.size() - FRun + 1; // runs that the word has
        std::size_t Best = 0;
        int BestCost = std::numeric_limits<int>::max();
        for (std::size_t First = 0; First + FStride <= Places; ++First) {
            int Cost = 0;
            for (std::size_t At = First; At < First + FStride + FRun - 1; ++At) Cost += Commonness(Word[At]);
            if (Cost < BestCost) {
                BestCost = Cost;
                Best = First;
            }
        }
        for (std::size_t At = Best; At < Best + FStride; ++At) {
            std::array<std::uint8_t, 8> Narrow{};
            for (std::size_t Index = 0; Index < FRun; ++Index) Narrow[Index] = NarrowOf(Word[At + Index]);
            const std::uint32_t Key = KeyAt(Narrow.data(), FRunMask);
            FBits[HashOf(Key) / 64] |= std::uint64_t{1} << (HashOf(Key) % 64);
            Buckets[BucketOf(Key)].push_back({.Key = Key,
                                              .Word = static_cast<std::uint32_t>(Number),
                                              .Offset = static_cast<std::uint32_t>(At),
                                              .Length = static_cast<std::uint32_t>(Word.size()),
                                              .First = NarrowOf(Word.front()),
                                              .Last = NarrowOf(Word.back())});
        }
    }
    for (const auto& Bucket : Buckets) {
        FEntries.insert(FEntries.end(), Bucket.begin(), Bucket.end());
        FBucketEnds.push_back(static_cast<std::uint32_t>(FEntries.size()));
    }
}

// One class for each character that a word has, 0 for all others. Raw characters are classed by what they
// fold to, so that the automaton reads the text as it is.
void TWordScan::MakeClasses() {
    FPages.assign(1, {});
    const auto CellOf = [this](char16_t Character) -> std::uint16_t& {
        std::uint16_t& Page = FPageOf[Character >> 8];
        if (Page == 0) {
            Page = static_cast<std::uint16_t>(FPages.size());
            FPages.emplace_back();
        }
        return FPages[Page][Character & 0xFF];
    };
    for (const auto& Word : FAll) {
        for (const char16_t Character : Word) {
            if (ClassOf(Character) != 0) continue;
            const auto Class = static_cast<std::uint16_t>(FClasses++);
            for (const char16_t Raw : FoldsTo(Character)) CellOf(Raw) = Class;
        }
    }
}

void TWordScan::MakeAutomaton() {
    std::size_t Largest = 1; // states, were no two words alike
    for (const auto& Word : FAll) Largest += Word.size();
    if (Largest > LargestTable / FClasses) return;

    // The tree of the words, then the links of failure, level by level.
    std::vector<std::vector<std::uint32_t>> Next(1, std::vector<std::uint32_t>(FClasses, 0));
    std::vector<std::int32_t> Ends(1, -1);
    for (std::size_t Number = 0; Number < FAll.size(); ++Number) {
        std::uint32_t State = 0;
        for (const char16_t Character : FAll[Number]) {
            const std::uint32_t Class = ClassOf(Character);
            if (Next[State][Class] == 0) {
                Next[State][Class] = static_cast<std::uint32_t>(Next.size());
                Next.emplace_back(FClasses, 0);
                Ends.push_back(-1);
            }
            State = Next[State][Class];
        }
        if (State != 0 && Ends[State] < 0) Ends[State] = static_cast<std::int32_t>(Number);
    }
    std::vector<std::uint32_t> Failure(Next.size(), 0);
    std::vector<std::uint32_t> Order;
    for (std::uint32_t Class = 0; Class < FClasses; ++Class) {
        if (Next[0][Class] != 0) Order.push_back(Next[0][Class]);
    }
    for (std::size_t At = 0; At < Order.size(); ++At) {
        const std::uint32_t State = Order[At];
        const std::int32_t Inherited = Ends[Failure[State]];
        if (Inherited >= 0 && (Ends[State] < 0 || Inherited < Ends[State])) Ends[State] = Inherited;
        for (std::uint32_t Class = 0; Class < FClasses; ++Class) {
            std::uint32_t& Child = Next[State][Class];
            const std::uint32_t Fallback = Next[Failure[State]][Class];
            if (Child == 0) {
                Child = Fallback;
            } else {
                Failure[Child] = Fallback;
                Order.push_back(Child);
            }
        }
    }

    // Renumbered so that one comparison tells whether a word ends at a state.
    std::vector<std::uint32_t> NewNumber(Next.size(), 0);
    std::uint32_t Number = 1;
    for (const std::uint32_t State : Order) {
        if (Ends[State] < 0) NewNumber[State] = Number++;
    }
    FAccepting = Number * FClasses;
    for (const std::uint32_t State : Order) {
        if (Ends[State] >= 0) NewNumber[State] = Number++;
    }
    FNext.assign(Next.size() * FClasses, 0);
    FFirstWord.assign(Next.size(), -1);
    for (std::size_t State = 0; State < Next.size(); ++State) {
        FFirstWord[NewNumber[State]] = Ends[State];
        for (std::uint32_t Class = 0; Class < FClasses; ++Class) {
            FNext[NewNumber[State] * FClasses + Class] = NewNumber[Next[State][Class]] * FClasses;
        }
    }
}

bool TWordScan::Verify(std::u16string_view Text, const std::uint8_t* Narrow, std::size_t At,
                       std::uint32_t Key) const {
    const char16_t* const Upper = KX_UpCaseTable();
    const std::uint32_t Bucket = BucketOf(Key);
    const std::uint32_t First = Bucket == 0 ? 0 : FBucketEnds[Bucket - 1];
    for (std::uint32_t Index = First; Index < FBucketEnds[Bucket]; ++Index) {
        const TEntry& Entry = FEntries[Index];
        if (Entry.Key != Key || At < Entry.Offset) continue;
        const std::size_t Start = At - Entry.Offset;
        if (Entry.Length > Text.size() - Start || Narrow[Start] != Entry.First ||
            Narrow[Start + Entry.Length - 1] != Entry.Last)
            continue;
        const std::u16string& Word = FWords[Entry.Word];
        std::size_t Same = 0;
        while (Same < Word.size() && Upper[Text[Start + Same]] == Word[Same]) ++Same;
        if (Same == Word.size()) return true;
    }
    return false;
}

bool TWordScan::AnyFound(std::u16string_view Text, const std::uint8_t* Narrow) const {
    if (FWords.empty() || Text.size() < FRun) return false;
    // A filter that skips no character is hardly faster than the automaton, and much slower on near misses.
    if (FStride == 1 && HasAutomaton()) return AnyFoundByAutomaton(Text);
    const std::size_t Last = Text.size() - FRun;
    const std::size_t Stride = FStride;
    const std::uint32_t Mask = FRunMask;
    const std::uint64_t* const Bits = FBits.data();
    std::size_t NearMisses = 0;
    for (std::size_t At = 0; At <= Last; At += Stride) {
        const std::uint32_t Key = KeyAt(Narrow + At, Mask);
        const std::uint32_t Hash = HashOf(Key);
        if ((Bits[Hash / 64] >> (Hash % 64) & 1) == 0) continue;
        if (Verify(Text, Narrow, At, Key)) return true;
        // A text full of near misses costs more to verify than to run through the automaton.
        if (++NearMisses <= 4 + At / 32 || !HasAutomaton()) continue;
        return AnyFoundByAutomaton(Text.substr(At - std::min(At, FLongest)));
    }
    return false;
}

template <class TFound>
bool TWordScan::RunLane(std::u16string_view Text, TFound Found) const {
    std::uint32_t State = 0;
    for (const char16_t Character : Text) {
        State = FNext[State + ClassOf(Character)];
        if (State >= FAccepting && Found(State)) return true;
    }
    return false;
}

// A step waits for the one before it, so a long text is run through in several lanes at once. Each lane
// begins so far before its part that no word is missed at the border.
template <class TFound>
bool TWordScan::RunLanes(std::u16string_view Text, TFound Found) const {
    constexpr std::size_t Lanes = 4;
    const std::size_t Steps = (Text.size() + (Lanes - 1) * Overlap()) / Lanes; // of each lane
    if (Steps < 2 * Overlap() + 8) return RunLane(Text, Found);
    std::array<const char16_t*, Lanes> Begin{};
    std::array<std::uint32_t, Lanes> State{};
    for (std::size_t Lane = 0; Lane < Lanes; ++Lane) Begin[Lane] = Text.data() + Lane * (Steps - Overlap());
    for (std::size_t At = 0; At < Steps; ++At) {
        bool Ends = false;
        for (std::size_t Lane = 0; Lane < Lanes; ++Lane) {
            State[Lane] = FNext[State[Lane] + ClassOf(Begin[Lane][At])];
            Ends = Ends || State[Lane] >= FAccepting;
        }
        if (!Ends) continue;
        for (const std::uint32_t Each : State) {
            if (Each >= FAccepting && Found(Each)) return true;
        }
    }
    // What the division left over.
    const std::size_t Done = Lanes * Steps - (Lanes - 1) * Overlap();
    return RunLane(Text.substr(Done - std::min(Done, Overlap())), Found);
}

bool TWordScan::AnyFoundByAutomaton(std::u16string_view Text) const {
    if (!HasAutomaton()) return FirstFound(Text) >= 0;
    return RunLanes(Text, [](std::uint32_t) { return true; });
}

int TWordScan::FirstFound(std::u16string_view Text) const {
    if (!HasAutomaton()) {
        const auto Found = std::find_if(FAll.begin(), FAll.end(),
                                        [Text](const auto& Word) { return KX_PosText(Word, Text) > 0; });
        return Found == FAll.end() ? -1 : static_cast<int>(Found - FAll.begin());
    }
    constexpr std::int32_t None = std::numeric_limits<std::int32_t>::max();
    std::int32_t First = None;
    RunLanes(Text, [this, &First](std::uint32_t State) {
        First = std::min(First, FFirstWord[State / FClasses]);
        return First == 0;
    });
    return First == None ? -1 : First;
}

} // namespace zutools::checking
