// The log of one block: what was done with it, and which script did it.
//
// Bounded: the newest 100 entries are kept, each at most 4096 UTF-16 units. What every block goes through is
// kept as a number and worded when the log is read. One thread at a time.

#pragma once

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

class TBlockHistory {
public:
    static constexpr std::size_t Entries = 100;
    static constexpr std::size_t Units = 4096;

    /// Appends an event with the call stack of the calling thread's script. `Text` is for TBlockEvent::Text.
    void Add(TBlockEvent Event, std::u16string_view Text);
    void Assign(const std::vector<std::u16string>& Texts);
    /// Oldest first. `Created` words the event of that name.
    [[nodiscard]] std::vector<std::u16string> Texts(std::u16string_view Created) const;
    [[nodiscard]] bool Empty() const { return FEntries.empty(); }

private:
    struct TEntry {
        TBlockEvent Event = TBlockEvent::Text;
        std::unique_ptr<const std::u16string> Rest; // the whole of a text, else the call stack; null: empty
    };
    void Append(TEntry Entry);

    std::vector<TEntry> FEntries;
    std::size_t FOldest = 0; // where the next entry goes once all places are taken
};

} // namespace zutools
