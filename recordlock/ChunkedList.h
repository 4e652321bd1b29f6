// An ordered list in pieces of a bounded size: finding costs two binary searches over neighbouring memory,
// inserting and erasing moves part of one piece. Pieces are summed up when somebody asks for a number: who
// enters and erases then writes to the piece alone, and threads that take turns do not wait for each other's
// memory.
//
// Entries are plain data (a key and a pointer) whose order the caller's comparison tells: `Compare(Entry)` is
// negative when the entry stands before what is looked for, zero when it is that. One thread at a time.
// Memory that cannot be had leaves the list as it was; erasing needs none.

#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <new>
#include <type_traits>
#include <utility>
#include <vector>

namespace zutools {

template <class TEntry>
class TChunkedList {
    static_assert(std::is_trivially_copyable_v<TEntry>);

public:
    /// Where an entry stands, or would stand; good until the list changes.
    struct TPlace {
        std::size_t Chunk = 0;
        std::size_t At = 0;
        bool Found = false;
    };

    [[nodiscard]] std::size_t Count() const {
        std::size_t Sum = 0;
        for (const std::size_t Each : Groups()) Sum += Each;
        return Sum;
    }
    [[nodiscard]] bool Empty() const { return FChunks.empty(); }
    [[nodiscard]] const TEntry& First() const { return FChunks.front()[0]; }
    [[nodiscard]] const TEntry& At(const TPlace& Place) const { return FChunks[Place.Chunk][Place.At]; }

    template <class TCompare>
    [[nodiscard]] TPlace Find(const TCompare& Compare) const {
        if (FChunks.empty()) return {};
        // The last chunk that does not begin after it.
        std::size_t Low = 0;
        std::size_t High = FFirst.size();
        while (High - Low > 1) {
            const std::size_t Middle = Low + (High - Low) / 2;
            const int Sign = Compare(FFirst[Middle]);
            if (Sign == 0) return {Middle, 0, true};
            (Sign < 0 ? Low : High) = Middle;
        }
        const TChunk& Chunk = FChunks[Low];
        std::size_t Begin = 0;
        std::size_t End = Chunk.size();
        while (Begin < End) {
            const std::size_t Middle = Begin + (End - Begin) / 2;
            const int Sign = Compare(Chunk[Middle]);
            if (Sign == 0) return {Low, Middle, true};
            if (Sign < 0)
                Begin = Middle + 1;
            else
                End = Middle;
        }
        return {Low, Begin, false};
    }

    /// The same for an entry that is likely to be one of the last.
    template <class TCompare>
    [[nodiscard]] TPlace FindFromEnd(const TCompare& Compare) const {
        if (FChunks.empty()) return {};
        const TChunk& Last = FChunks.back();
        const std::size_t Stop = Last.size() - std::min<std::size_t>(Last.size(), 8);
        for (std::size_t After = Last.size(); After > Stop; --After) {
            const int Sign = Compare(Last[After - 1]);
            if (Sign == 0) return {FChunks.size() - 1, After - 1, true};
            if (Sign < 0) return {FChunks.size() - 1, After, false};
        }
        return Find(Compare);
    }

    /// Looks at every entry: for an order that contradicts itself, where Find may fail.
    template <class TIs>
    [[nodiscard]] TPlace Scan(const TIs& Is) const {
        for (std::size_t Chunk = 0; Chunk < FChunks.size(); ++Chunk)
            for (std::size_t At = 0; At < FChunks[Chunk].size(); ++At)
                if (Is(FChunks[Chunk][At])) return {Chunk, At, true};
        return {};
    }

    /// Enters at a place that Find gave for it.
    void Insert(TPlace Place, const TEntry& Entry) {
        if (FChunks.empty()) {
            MakeRoom();
            return AddChunk(0, TChunk(1, Entry));
        }
        if (FChunks[Place.Chunk].size() == Capacity) Split(Place);
        TChunk& Chunk = FChunks[Place.Chunk];
        if (Chunk.size() == Chunk.capacity()) Chunk.reserve(std::min(Capacity, Chunk.size() * 2 + 4));
        Chunk.insert(Chunk.begin() + static_cast<std::ptrdiff_t>(Place.At), Entry);
        if (Place.At == 0) FFirst[Place.Chunk] = Entry;
        Uncount();
    }

    void Erase(const TPlace& Place) noexcept {
        TChunk& Chunk = FChunks[Place.Chunk];
        Chunk.erase(Chunk.begin() + static_cast<std::ptrdiff_t>(Place.At));
        Uncount();
        if (Chunk.empty()) return DropChunk(Place.Chunk);
        if (Place.At == 0) FFirst[Place.Chunk] = Chunk[0];
        if (Chunk.size() < Capacity / 4) Merge(Place.Chunk);
    }

    /// The entry with that number from 0; it must exist.
    [[nodiscard]] const TEntry& ByNumber(std::size_t Number) const {
        std::size_t Chunk = 0;
        for (const std::size_t Sum : Groups()) {
            if (Number < Sum) break;
            Number -= Sum;
            Chunk += Group;
        }
        for (; Number >= FChunks[Chunk].size(); ++Chunk) Number -= FChunks[Chunk].size();
        return FChunks[Chunk][Number];
    }

    /// Calls `Visit(Entry)` for the entries from a place on, in order, while it gives true.
    template <class TVisit>
    void ForEachFrom(TPlace Place, const TVisit& Visit) const {
        for (; Place.Chunk < FChunks.size(); ++Place.Chunk, Place.At = 0)
            for (; Place.At < FChunks[Place.Chunk].size(); ++Place.At)
                if (!Visit(FChunks[Place.Chunk][Place.At])) return;
    }

private:
    using TChunk = std::vector<TEntry>;
    static constexpr std::size_t Capacity = 128;
    static constexpr std::size_t Group = 64; // chunks that are counted together

    /// For one more chunk: AddChunk then needs no memory.
    void MakeRoom() {
        const auto ForOneMore = [](auto& List) {
            if (List.size() == List.capacity()) List.reserve(List.size() * 2 + 1);
        };
        ForOneMore(FFirst);
        ForOneMore(FChunks);
        FGroups.reserve(FChunks.size() / Group + 1);
    }
    void AddChunk(std::size_t At, TChunk Chunk) noexcept {
        FFirst.insert(FFirst.begin() + static_cast<std::ptrdiff_t>(At), Chunk[0]);
        FChunks.insert(FChunks.begin() + static_cast<std::ptrdiff_t>(At), std::move(Chunk));
        Uncount();
    }
    void DropChunk(std::size_t At) noexcept {
        FFirst.erase(FFirst.begin() + static_cast<std::ptrdiff_t>(At));
        FChunks.erase(FChunks.begin() + static_cast<std::ptrdiff_t>(At));
        Uncount();
    }
    void Split(TPlace& Place) {
        // Entries that come in order fill their chunks.
        const bool AtEnd = Place.Chunk + 1 == FChunks.size() && Place.At == Capacity;
        const std::size_t Kept = AtEnd ? Capacity - 8 : Capacity / 2;
        TChunk Second;
        Second.reserve(Capacity);
        MakeRoom();
        TChunk& Full = FChunks[Place.Chunk];
        Second.assign(Full.begin() + static_cast<std::ptrdiff_t>(Kept), Full.end());
        Full.resize(Kept);
        AddChunk(Place.Chunk + 1, std::move(Second));
        if (Place.At > Kept) Place = {Place.Chunk + 1, Place.At - Kept, false};
    }
    void Merge(std::size_t At) noexcept {
        if (At + 1 == FChunks.size()) {
            if (At == 0) return;
            --At;
        }
        TChunk& Left = FChunks[At];
        const TChunk& Right = FChunks[At + 1];
        if (Left.size() + Right.size() > Capacity / 2) return;
        try {
            Left.insert(Left.end(), Right.begin(), Right.end());
        } catch (const std::bad_alloc&) {
            return; // two small chunks do no harm
        }
        DropChunk(At + 1);
    }
    void Uncount() {
        if (FCounted) FCounted = false; // written only when it is news
    }
    [[nodiscard]] const std::vector<std::size_t>& Groups() const {
        if (FCounted) return FGroups;
        FGroups.assign((FChunks.size() + Group - 1) / Group, 0); // MakeRoom has seen to the memory
        for (std::size_t Chunk = 0; Chunk < FChunks.size(); ++Chunk)
            FGroups[Chunk / Group] += FChunks[Chunk].size();
        FCounted = true;
        return FGroups;
    }

    std::vector<TEntry> FFirst;               // the first entry of each chunk, side by side for the search
    std::vector<TChunk> FChunks;              // none is empty
    mutable std::vector<std::size_t> FGroups; // how many entries, when counted
    mutable bool FCounted = true;
};

} // namespace zutools
