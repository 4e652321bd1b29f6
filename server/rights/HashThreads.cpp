#include "server/rights/HashThreads.h"

#include <sys/resource.h>

#include <algorithm>
#include <exception>
#include <utility>

namespace zutools::server {

struct THashThreads::TTask {
    const std::function<void()>& Work;
    bool Done = false;
    std::exception_ptr Failure;
};

THashThreads::THashThreads(unsigned Places)
    : FPlaces(Places) {}

THashThreads::~THashThreads() {
    {
        const std::lock_guard Guard(FMutex);
        FEnding = true;
    }
    FChanged.notify_all();
    for (std::thread& Thread : FThreads) Thread.join();
}

std::optional<THashThreads::TPlace> THashThreads::TryEnter() {
    const std::lock_guard Guard(FMutex);
    if (FTaken == FPlaces) return std::nullopt;
    const unsigned Most = std::clamp(std::thread::hardware_concurrency() / 2, 1U, 4U);
    if (FThreads.size() < std::min(Most, FPlaces)) FThreads.emplace_back([this] { Work(); });
    ++FTaken;
    return TPlace(*this);
}

THashThreads::TPlace::~TPlace() {
    if (FOwner == nullptr) return;
    const std::lock_guard Guard(FOwner->FMutex);
    --FOwner->FTaken;
}

void THashThreads::TPlace::Run(const std::function<void()>& Work) const {
    TTask Task{Work, false, nullptr};
    {
        std::unique_lock Guard(FOwner->FMutex);
        FOwner->FTasks.push_back(&Task);
        FOwner->FChanged.notify_all();
        FOwner->FChanged.wait(Guard, [&] { return Task.Done; });
    }
    if (Task.Failure) std::rethrow_exception(Task.Failure);
}

void THashThreads::Work() {
    // Of this thread only, as Linux has it: a hash takes what pages leave.
    constexpr int LowPriority = 15;
    setpriority(PRIO_PROCESS, 0, LowPriority);
    std::unique_lock Guard(FMutex);
    while (true) {
        FChanged.wait(Guard, [this] { return FEnding || !FTasks.empty(); });
        if (FTasks.empty()) return;
        TTask& Task = *FTasks.front();
        FTasks.pop_front();
        Guard.unlock();
        try {
            Task.Work();
        } catch (...) {
            Task.Failure = std::current_exception();
        }
        Guard.lock();
        Task.Done = true;
        FChanged.notify_all();
    }
}

} // namespace zutools::server
