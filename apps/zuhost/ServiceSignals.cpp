#include "apps/zuhost/ServiceSignals.h"

#include <pthread.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <ctime>
#include <string_view>
#include <thread>

namespace zutools::zuhost {

namespace {

bool IsStop(int Signal) {
    return Signal == SIGTERM || Signal == SIGINT || Signal == SIGQUIT;
}

timespec TimeOf(std::chrono::nanoseconds Time) {
    constexpr std::chrono::nanoseconds::rep Second = 1'000'000'000;
    return {static_cast<std::time_t>(Time.count() / Second), static_cast<long>(Time.count() % Second)};
}

/// By no means that could hang: the log may be what does.
[[noreturn]] void EndAtOnce(std::string_view Why, int Code) {
    static_cast<void>(!::write(STDERR_FILENO, Why.data(), Why.size()));
    std::_Exit(Code);
}

} // namespace

TServiceSignals::TServiceSignals() {
    sigemptyset(&FSignals);
    for (const int Signal : {SIGTERM, SIGINT, SIGQUIT, SIGHUP, SIGUSR1, SIGUSR2})
        sigaddset(&FSignals, Signal);
    pthread_sigmask(SIG_BLOCK, &FSignals, nullptr);
}

TServiceSignals::TAsked TServiceSignals::Wait(std::chrono::seconds Pause) const {
    const timespec Time = TimeOf(Pause);
    while (true) {
        const int Signal = sigtimedwait(&FSignals, nullptr, &Time);
        if (IsStop(Signal)) return TAsked::Stop;
        if (Signal == SIGHUP) return TAsked::Reload;
        if (Signal == SIGUSR1) return TAsked::ReopenLog;
        if (Signal > 0) return TAsked::Unknown;
        if (errno == EAGAIN) return TAsked::Nothing;
    }
}

void TServiceSignals::EndWithin(std::chrono::milliseconds Time) const {
    const auto Deadline = std::chrono::steady_clock::now() + Time;
    std::thread([Deadline, Signals = FSignals] {
        while (true) {
            const auto Left = Deadline - std::chrono::steady_clock::now();
            if (Left.count() <= 0) EndAtOnce("zuhost: ended, the time to stop is over\n", 0);
            const timespec Rest = TimeOf(Left);
            if (IsStop(sigtimedwait(&Signals, nullptr, &Rest))) EndAtOnce("zuhost: ended at once\n", 1);
        }
    }).detach(); // until the process ends, however it does
}

} // namespace zutools::zuhost
