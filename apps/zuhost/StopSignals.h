// The signals that ask a service to stop.

#pragma once

#include <pthread.h>
#include <signal.h>

#include <cerrno>
#include <chrono>
#include <ctime>

namespace zutools::zuhost {

/// SIGINT and SIGTERM come to whoever waits for them here; made before all threads, which inherit it.
class TStopSignals {
public:
    TStopSignals() {
        sigemptyset(&FSignals);
        sigaddset(&FSignals, SIGINT);
        sigaddset(&FSignals, SIGTERM);
        pthread_sigmask(SIG_BLOCK, &FSignals, nullptr);
    }

    /// Blocks until one comes, calling `NowAndThen` after each `Pause`.
    template <class TFunction>
    void Wait(std::chrono::seconds Pause, const TFunction& NowAndThen) const {
        const timespec Time{static_cast<std::time_t>(Pause.count()), 0};
        while (sigtimedwait(&FSignals, nullptr, &Time) < 0) {
            if (errno == EAGAIN) NowAndThen();
        }
    }

private:
    sigset_t FSignals;
};

} // namespace zutools::zuhost
