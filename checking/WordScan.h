// Looks for any of many words in one pass over a text.
//
// Two ways. A filter samples short runs of characters and verifies the few places that survive; it falls back
// on the automaton where many survive. The automaton (Aho and Corasick's) costs the same a character whatever
// the text. The shortest word decides how many characters the filter may skip; where it may skip none, as in
// the presets, the automaton goes first. Everything is folded as KX_PosText folds it, so the answers are
// those of searching word by word.

#pragma once

#include "host/Strings.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace zutools::checking {

/// The words of one rule. Immutable: any number of threads may use one.
class TWordScan {
public:
    explicit TWordScan(const TStrings& Words);

    /// Words of one character are found by a set, not here; see SingleCharacters.
    [[nodiscard]] const std::vector<char16_t>& SingleCharacters() const { return FSingles; }
    /// True when there is no word of two characters or more.
    [[nodiscard]] bool Empty() const { return FWords.empty(); }
    /// Units that two pieces of a long text must share, so that no word is missed between them.
    [[nodiscard]] std::size_t Overlap() const { return FLongest == 0 ? 0 : FLongest - 1; }

    /// Whether a word of two characters or more occurs in `Text`. `Narrow` holds a byte for each of its units
    /// (see FoldPass.h) and at least 8 readable bytes behind them.
    [[nodiscard]] bool AnyFound(std::u16string_view Text, const std::uint8_t* Narrow) const;

    /// The same by the automaton alone.
    [[nodiscard]] bool AnyFoundByAutomaton(std::u16string_view Text) const;

    /// 0-based position in the list of the first word, in list order and of any length, that occurs in
    /// `Text`; -1 when none does.
    [[nodiscard]] int FirstFound(std::u16string_view Text) const;

private:
    struct TEntry { // a run of characters that word `Word` has at `Offset`
        std::uint32_t Key;
        std::uint32_t Word;
        std::uint32_t Offset;
        std::uint32_t Length;     // of the word
        std::uint8_t First, Last; // its ends, narrowed: most near misses fail there
    };

    void MakeFilter();
    void MakeClasses();
    void MakeAutomaton();
    template <class TFound>
    bool RunLane(std::u16string_view Text, TFound Found) const;
    template <class TFound>
    bool RunLanes(std::u16string_view Text, TFound Found) const;
    [[nodiscard]] bool HasAutomaton() const { return !FNext.empty(); }
    [[nodiscard]] bool Verify(std::u16string_view Text, const std::uint8_t* Narrow, std::size_t At,
                              std::uint32_t Key) const;
    [[nodiscard]] std::uint32_t ClassOf(char16_t Character) const {
        return FPages[FPageOf[Character >> 8]][Character & 0xFF];
    }

    std::vector<std::u16string> FAll;   // folded, in list order
    std::vector<std::u16string> FWords; // of these, two characters or more, without repetitions
    std::vector<char16_t> FSingles;     // folded
    std::size_t FLongest = 0;

    // The filter: a bit for the hash of every sampled run, and a table from hash to the runs that have it.
    std::uint32_t FRunMask = 0; // which bytes of a 32-bit load belong to the run
    std::size_t FRun = 0;       // characters in a run: 2 to 4
    std::size_t FStride = 1;    // every FStride-th place of the text is sampled
    std::vector<std::uint64_t> FBits;
    std::vector<TEntry> FEntries;           // ordered by bucket
    std::vector<std::uint32_t> FBucketEnds; // FBucketEnds[b - 1] .. FBucketEnds[b] are bucket b's entries

    // The automaton: FNext[State + Class], where a state is its number times FClasses; states from FAccepting
    // on end a word. Not made for a rule so large that its table would take more than 16 MB; then words are
    // looked for one by one.
    std::array<std::uint16_t, 256> FPageOf{}; // page 0 is shared by all characters that no word has
    std::vector<std::array<std::uint16_t, 256>> FPages;
    std::uint32_t FClasses = 1;
    std::uint32_t FAccepting = 0;
    std::vector<std::uint32_t> FNext;
    std::vector<std::int32_t>
        FFirstWord; // by state number: lowest list position among the words that end here, -1 for none
};

} // namespace zutools::checking
