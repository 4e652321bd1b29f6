// A clock that stands still until a test moves it.

#pragma once

#include "platform/Clock.h"

#include <atomic>

namespace zutools::tests {

/// Starts at 1000 ms and at 2024-01-02T03:04:05 UTC. Any thread may read it while another moves it.
class TTestClock final : public platform::TClock {
public:
    std::chrono::milliseconds Steady() const override {
        return std::chrono::milliseconds(1000 + FPassed.load());
    }
    std::chrono::system_clock::time_point Wall() const override {
        return std::chrono::system_clock::time_point(std::chrono::seconds(1704164645)) +
               std::chrono::milliseconds(FPassed.load() + FSet.load());
    }

    /// Lets time pass on both clocks.
    void Advance(std::chrono::milliseconds Time) { FPassed += Time.count(); }
    /// Somebody sets the clock on the wall, forward or back; the steady one does not notice.
    void SetWallBy(std::chrono::milliseconds Time) { FSet += Time.count(); }

private:
    std::atomic<std::int64_t> FPassed = 0; // milliseconds
    std::atomic<std::int64_t> FSet = 0;
};

} // namespace zutools::tests
