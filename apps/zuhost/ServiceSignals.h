// The signals of a running service: which there are, and what each asks for.

#pragma once

#include <chrono>

#include <signal.h>

namespace zutools::zuhost {

/// All of them come to whoever waits here, and none ends the process by itself; made before all threads,
/// which inherit it.
class TServiceSignals {
public:
    enum class TAsked {
        Nothing,   // the pause is over
        Stop,      // SIGTERM, SIGINT, SIGQUIT
        Reload,    // SIGHUP
        ReopenLog, // SIGUSR1
        Unknown,   // SIGUSR2, which nothing is kept for
    };

    TServiceSignals();
    /// Blocks until one comes, for `Pause` at most.
    [[nodiscard]] TAsked Wait(std::chrono::seconds Pause) const;
    /// From now on another one that asks to stop ends the process at once, with exit code 1; and so does the
    /// end of `Time`, with 0, whatever else hangs.
    void EndWithin(std::chrono::milliseconds Time) const;

private:
    sigset_t FSignals;
};

} // namespace zutools::zuhost
