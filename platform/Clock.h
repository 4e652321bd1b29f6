// The time, as an argument: who waits, expires or stamps takes a TClock, so that its tests need not wait.
//
// Called on any thread; never blocks. tests/support/TestClock.h has one that is ticked by hand.

#pragma once

#include <chrono>

namespace zutools::platform {

class TClock {
public:
    virtual ~TClock() = default;

    /// Time since a fixed but unknown moment; never runs backwards, does not follow when somebody sets the
    /// clock.
    [[nodiscard]] virtual std::chrono::milliseconds Steady() const = 0;

    /// The moment now, as the system believes it.
    [[nodiscard]] virtual std::chrono::system_clock::time_point Wall() const = 0;
};

/// How far local time is ahead of UTC at a moment, as the system's time zone has it; 0 when it cannot tell.
[[nodiscard]] std::chrono::seconds LocalTimeOffset(std::chrono::system_clock::time_point Moment);

/// The system's clock; lives for the whole process.
[[nodiscard]] const TClock& SystemClock();

} // namespace zutools::platform
