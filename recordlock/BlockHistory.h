// The log of one block: what was done with it, and which script did it.
//
// Bounded: the newest 100 entries are kept, each at most 4096 UTF-16 units. What every block goes through is
// kept as a number and worded when the log is read. One thread at a time.

#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace zutools {

enum class TBlockEvent : std::uint8_t {
    Text,        // worded already
    Created,     // worded by the block, whose names it holds
    Checked,     // "CheckRecordInternal"
    Done,        // "DoneInternal CommitChanges: 0"
    DoneCommit,  // "DoneInternal CommitChanges: 1"
    UnLockTable, // "UnLockTableInternal"
};

/// The calls of a script that led to an entry; null when there are none.
using TCallStack = std::shared_ptr<const std::u16string>;

/// Of the script that runs on the calling thread; null when none does, or when it cannot be told. Asks the
/// script's host, so not under a lock.
[[nodiscard]] TCallStack CurrentCallStack() noexcept;

class TBlockHistory {
public:
    static constexpr std::size_t Entries = 100;
    static constexpr std::size_t Units = 4096;

    /// Appends an event. `Text` is for TBlockEvent::Text. Without memory the entry is lost: the log must not
    /// stop the work that it tells of.
    void Add(TBlockEvent Event, std::u16string_view Text, const TCallStack& Stack) noexcept;
    void Assign(const std::vector<std::u16string>& Texts);
    /// Oldest first. `Created` words the event of that name.
    [[nodiscard]] std::vector<std::u16string> Texts(std::u16string_view Created) const;
    [[nodiscard]] bool Empty() const { return FCount == 0; }

private:
    struct TEntry {
        TBlockEvent Event = TBlockEvent::Text;
        TCallStack Rest; // the whole of a text, else the call stack
    };
    void Append(TBlockEvent Event, TCallStack Rest);
    template <class TSelf>
    [[nodiscard]] static auto& At(TSelf& Self, std::size_t Place) {
        return Place < Self.FFew.size() ? Self.FFew[Place] : Self.FMore[Place - Self.FFew.size()];
    }

    std::array<TEntry, 3> FFew; // most blocks are taken and given back, and that is all
    std::vector<TEntry> FMore;
    std::size_t FCount = 0;
    std::size_t FOldest = 0; // where the next entry goes once all places are taken
};

} // namespace zutools
