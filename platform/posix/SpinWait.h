// Looks for a message for a moment before its reader goes to sleep.
//
// To sleep and be woken costs more than a small exchange itself. So who waits for a message looks a few times
// whether it comes, for about as long as a wake-up takes. Between two looks it yields the core: others run
// without having to be woken, on one core as on many.
//
// Looking in vain costs time, and a yield beside somebody who computes costs a whole slice of it. Who lost
// time that way sleeps at once for many times as long, so that an idle pipe costs nothing and a busy machine
// about one per cent.

#pragma once

#include <atomic>
#include <chrono>
#include <thread>
#include <utility>

namespace zutools::platform {

class TSpinWait {
public:
    /// Calls `Look` until it is true, for some 50 microseconds at most. False: it is time to sleep.
    template <class TLook>
    [[nodiscard]] bool Try(TLook Look) {
        using namespace std::chrono_literals;
        constexpr auto WakeUp = 50us;     // what a wake-up takes, and some more
        constexpr auto OthersRan = 3us;   // a yield that nobody else wanted takes less than one
        constexpr auto SliceLost = 500us; // too long for an exchange of others: somebody computes
        const TTime Start = TSteady::now();
        if (Start < FNotBefore || Start < NobodyBefore.load(std::memory_order_relaxed)) return false;
        TTime Now = Start;
        while (Now - Start < WakeUp) {
            if (Look()) return true;
            std::this_thread::yield();
            const TTime Before = std::exchange(Now, TSteady::now());
            const auto Yielded = Now - Before;
            if (Yielded < OthersRan) continue;
            if (Yielded > SliceLost) NobodyBefore.store(Now + 256 * Yielded, std::memory_order_relaxed);
            return Look();
        }
        FNotBefore = Now + 64 * (Now - Start);
        return false;
    }

private:
    using TSteady = std::chrono::steady_clock;
    using TTime = TSteady::time_point;

    TTime FNotBefore;                              // this one looked in vain
    static inline std::atomic<TTime> NobodyBefore; // the machine is busy
};

} // namespace zutools::platform
