// Names compared as the user's collation compares them, without asking it each time.
//
// The sorted lists and the templates look names up here. The collator is asked once, when a TNameMatch is
// made, which characters it holds equal and in which order they stand; after that plain names are hashed,
// matched and mostly even ordered by table. Characters whose weight depends on their neighbours, or that are
// worth several letters or nothing at all, are never in the table: names that hold one are "complex" and only
// the collator decides about them. So every answer is the collator's own.
//
// Shared between threads freely: nothing changes after construction but that tables of further scripts are
// made when a name first needs them.

#pragma once

#include "platform/Text.h"

#include <array>
#include <atomic>
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace zutools {

class TNameMatch {
public:
    /// Builds the tables, which takes some milliseconds. `Collator` must outlive this object.
    TNameMatch(const platform::TCollator& Collator, bool CaseSensitive);

    /// A hash and what it can decide.
    struct THash {
        std::uint64_t Value = 0;
        bool Simple = true;
    };
    /// Two simple names that are the same have equal hashes. Two complex names spelled alike have equal
    /// hashes too, but complex names may be the same with different hashes, and may be the same as simple
    /// ones: when a complex name is on either side, a mismatch of hashes says nothing.
    [[nodiscard]] THash Hash(std::u16string_view Name) const;

    /// Exactly `Compare(...) == 0` of the collator.
    [[nodiscard]] bool Same(std::u16string_view Left, std::u16string_view Right) const;
    /// The same for two names known to be simple; the collator is never called.
    [[nodiscard]] bool SameSimple(std::u16string_view Left, std::u16string_view Right) const;
    /// The sign of the collator's `Compare`: -1, 0 or 1.
    [[nodiscard]] int Compare(std::u16string_view Left, std::u16string_view Right) const;

    /// The beginning of a name as a number, for trees of names: most questions are answered without the
    /// names.
    struct TOrderKey {
        std::uint64_t First = 0;
        std::uint64_t Second = 1; // odd: says nothing
        /// The sign of `Compare` of the names when it is not 0; 0 says nothing.
        [[nodiscard]] int Compare(const TOrderKey& Right) const {
            if (((Second | Right.Second) & 1) != 0) return 0;
            if (First != Right.First) return First < Right.First ? -1 : 1;
            return (Second > Right.Second) - (Second < Right.Second);
        }
    };
    [[nodiscard]] TOrderKey OrderKey(std::u16string_view Name) const;

    /// True for a character that the order's tables decide about when it stands alone.
    [[nodiscard]] bool Decidable(char16_t Character) const { return FFold[Place(Character)] != 0; }
    /// The kind of case that it was made for.
    [[nodiscard]] bool CaseSensitive() const { return FCaseSensitive; }

private:
    enum class TVerdict : std::uint8_t { Less, Same, Greater, SameLetters, Undecided };

    // The tables of the order hold Latin, Latin-1, Latin Extended-A and the Cyrillic of Slavic languages; one
    // more place is for all the rest.
    static constexpr char16_t Limit = 0x460;
    static constexpr std::uint8_t Begins = 1; // may be the first half of a pair that is one letter ("ch")
    static constexpr std::uint8_t Ends = 2;   // may be the second half of one

    [[nodiscard]] static std::size_t Place(char16_t Character) {
        return Character < Limit ? Character : Limit;
    }
    [[nodiscard]] TVerdict Decide(std::u16string_view Left, std::u16string_view Right) const;
    [[nodiscard]] int Ask(std::u16string_view Left, std::u16string_view Right) const;
    [[nodiscard]] bool HoldsPair(std::u16string_view Name) const;
    [[nodiscard]] std::uint64_t Step(std::uint64_t Hash, std::uint64_t First, std::uint64_t Second) const;
    [[nodiscard]] THash HashByTable(std::u16string_view Name) const;
    [[nodiscard]] std::uint64_t HashAsSpelled(std::u16string_view Name) const;
    [[nodiscard]] std::uint64_t HashUnits(std::uint64_t Seed, std::u16string_view Units) const;

    /// The folds of 256 characters, of any script; equal characters share one, 0: the collator decides.
    using TPage = std::array<char16_t, 256>;
    [[nodiscard]] char16_t FoldOf(char16_t Character) const {
        const TPage* const Page = FPages[Character >> 8].load(std::memory_order_acquire);
        return (Page != nullptr ? *Page : MakePage(Character >> 8))[Character & 0xFF];
    }
    [[nodiscard]] const TPage& MakePage(std::size_t Number) const;
    void NoteKeys() const;

    void Build();
    void FindQuickAscii();
    void BuildPairs(const platform::TCollationOddities& Oddities);
    void BuildLigatures(const platform::TCollationOddities& Oddities);

    const platform::TCollator& FCollator;
    const bool FCaseSensitive;
    const std::array<std::uint64_t, 2> FSecrets; // of the hash, random
    bool FHasPairs = false;                      // names are looked through for pairs that are one letter
    bool FQuickAscii =
        false; // printable ASCII folds as A to Z to a to z (or not at all), each else to itself
    std::array<char16_t, Limit + 1> FFold{};        // equal characters share one; 0: the collator decides
    std::array<std::uint8_t, Limit + 1> FRank{};    // place in the order by letter, accents and case aside
    std::array<std::uint8_t, Limit + 1> FPairing{}; // Begins, Ends
    std::map<char16_t, char16_t> FLigatures; // letters of two weights and their folds; not in the order

    mutable std::array<std::atomic<const TPage*>, 256> FPages{};
    mutable std::mutex FPagesMutex; // for the two below
    mutable std::vector<std::unique_ptr<const TPage>> FOwnedPages;
    mutable std::unordered_map<std::string, char16_t>
        FByKey; // sort keys to folds; empty before the first use
};

/// The match of the user's collation, made at the first call of each kind and kept to the end of the process.
[[nodiscard]] const TNameMatch& UserNameMatch(bool CaseSensitive);

} // namespace zutools
