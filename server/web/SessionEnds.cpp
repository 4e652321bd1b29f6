#include "server/web/SessionEnds.h"

#include <utility>

namespace zutools::server {

TSessionEnds::TSessionEnds(TSessions::TEndHook Hook, std::function<void()> ThreadEnd)
    : FHook(std::move(Hook))
    , FThreadEnd(std::move(ThreadEnd))
    , FThread([this] { Run(); }) {}

TSessionEnds::~TSessionEnds() {
    {
        const std::lock_guard Guard(FMutex);
        FClosed = true;
    }
    FChanged.notify_all();
    FThread.join();
}

void TSessionEnds::Add(const TSessionState& Session) {
    if (!FHook) return;
    {
        const std::lock_guard Guard(FMutex);
        FEnded.push_back(Session);
    }
    FChanged.notify_all();
}

void TSessionEnds::AddWork(std::function<void()> Work) {
    {
        const std::lock_guard Guard(FMutex);
        if (!FWork) FWork = std::move(Work);
    }
    FChanged.notify_all();
}

void TSessionEnds::Run() {
    std::unique_lock Guard(FMutex);
    while (true) {
        FChanged.wait(Guard, [this] { return FClosed || !FEnded.empty() || FWork; });
        if (FClosed) break;
        if (!FEnded.empty()) {
            const TSessionState Session = std::move(FEnded.front());
            FEnded.pop_front();
            Guard.unlock();
            FHook(Session);
        } else {
            const auto Work = std::exchange(FWork, nullptr);
            Guard.unlock();
            Work();
        }
        Guard.lock();
    }
    Guard.unlock();
    if (FThreadEnd) FThreadEnd();
}

} // namespace zutools::server
