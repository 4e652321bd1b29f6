// The life of a block, and who waits for what.
//
// Hosts are slow and may fail, so none of their calls runs under the blocker's lock. What may be done with a
// block meanwhile is its state:
//
//   state     found by               others see    who asks for the record meanwhile
//   Loose     nobody                 -             (copies, last-error objects)
//   Opening   its table, its session nothing yet   waits: the host opens the record and tells the rights
//   Held      everybody              the block     is told at once
//   Checking  everybody              the block     waits: a commit has it and asks for the rights
//   Writing   everybody              the block     waits: a commit writes it, asking for the rights once more
//   Leaving   its table              nothing       waits: released while it was written
//   Gone      nobody                 nothing       may have it
//
//   Loose    -> Opening   GetRecord found the record free
//   Opening  -> Held      opened and allowed; a table lock comes here from Loose
//   Opening  -> Gone      not opened, not allowed, or the session ended
//   Held    <-> Checking  a commit begins, or ends without writing
//   Checking -> Writing   allowed: the write ends as it will, whoever releases the block from here on
//   Writing  -> Held      written and kept, or it failed and nothing is lost
//   Writing  -> Leaving   released; the write goes on to its end
//   Held, Checking, Writing, Leaving -> Gone
//
// Every change is made under the blocker's lock, and wakes those who wait for the block unless it begins what
// they wait for. So each call counts as made at one moment: a take when the block turns Held or is refused, a
// commit when its blocks leave Writing, all of a list together, and everything else while it holds the lock.
// What a host calls from within its own call counts as made before that call's end, and so does a release
// or a session's end that comes while the host is at work.
//
// Nobody waits for himself: a call from within a host's call that asks for the record which that host is just
// opening takes it away, and the outer call looks again when its host is done. One that asks for a record
// which its own thread is writing sees it as held, and is refused when only waiting would help.

#pragma once

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <mutex>

namespace zutools {

class TKXThreadSafetyClass;

enum class TBlockState : std::uint8_t { Loose, Opening, Held, Checking, Writing, Leaving, Gone };

/// A host is at work on the block: whoever needs the outcome waits.
[[nodiscard]] constexpr bool InFlight(TBlockState State) {
    return State != TBlockState::Loose && State != TBlockState::Held && State != TBlockState::Gone;
}

/// The block is one of the living for everybody.
[[nodiscard]] constexpr bool Visible(TBlockState State) {
    return State >= TBlockState::Held && State <= TBlockState::Writing;
}

/// Those who wait for one block. Guarded by the lock that Wait gives back meanwhile.
class TBlockWaiters {
public:
    using TMoment = std::chrono::steady_clock::time_point;

    /// Gives the lock back, which the caller holds once, until Wake or the moment; holds it again
    /// afterwards.
    /// @returns false when the moment came first.
    [[nodiscard]] bool Wait(const TKXThreadSafetyClass& Lock, TMoment Until);
    void Wake();

private:
    struct TWaiter;
    TWaiter* FFirst = nullptr; // on the waiting threads' stacks
};

} // namespace zutools
