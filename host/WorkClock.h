// The time that a piece of work has: a page, for example. Set where the work begins, on its thread; asked by
// whatever could take long or for ever.
//
//     TWorkClock Clock{.Deadline = ...};
//     const TWorkClockScope Scope(&Clock);
//     ...                     // anywhere below: if (WorkMustEnd()) ...

#pragma once

#include <atomic>
#include <chrono>

namespace zutools {

struct TWorkClock {
    std::chrono::steady_clock::time_point Deadline = std::chrono::steady_clock::time_point::max();
    std::atomic<bool> Stopped{false}; // set by any thread: end at once

    [[nodiscard]] bool IsOver() const {
        return Stopped.load(std::memory_order_relaxed) || std::chrono::steady_clock::now() >= Deadline;
    }
};

/// That of the calling thread's work; null when it has none.
[[nodiscard]] const TWorkClock* CurrentWorkClock() noexcept;

/// Whether the calling thread's work has to end now. Some tens of nanoseconds.
[[nodiscard]] inline bool WorkMustEnd() noexcept {
    const TWorkClock* const Clock = CurrentWorkClock();
    return Clock != nullptr && Clock->IsOver();
}

/// While it lives the calling thread's work has this clock, which outlives it; null for none. A thread that
/// works for another takes over that one's.
class TWorkClockScope {
public:
    explicit TWorkClockScope(const TWorkClock* Clock) noexcept;
    ~TWorkClockScope();
    TWorkClockScope(const TWorkClockScope&) = delete;
    TWorkClockScope& operator=(const TWorkClockScope&) = delete;

private:
    const TWorkClock* const FBefore;
};

} // namespace zutools
