#include "server/web/WorkerPool.h"

#include "core/Lthdata.h"
#include "host/ThreadContainer.h"

#include <algorithm>
#include <utility>

namespace zutools::server {

TModuleRunner& TWorker::Runner() {
    if (!FRunner) FRunner = FFactory();
    return *FRunner;
}

TWorkerPool::TWorkerPool(unsigned Threads, std::size_t QueueLimit, TModuleRunnerFactory Factory)
    : FSize(Threads)
    , FQueueLimit(QueueLimit)
    , FFactory(std::move(Factory)) {
    const std::lock_guard Guard(FMutex);
    for (unsigned Index = 0; Index < Threads; ++Index) Add();
}

TWorkerPool::~TWorkerPool() {
    Close({});
    for (TMember& Member : FMembers) Member.Thread.join();
}

void TWorkerPool::Add() {
    TMember& Member = FMembers.emplace_back(FFactory);
    Member.Thread = std::thread([this, &Member] { Work(Member); });
}

bool TWorkerPool::Replace(const TWorker& Worker) {
    constexpr unsigned MostLost = 4; // for each that serves
    std::list<TMember> Gone;         // joined without the lock
    {
        const std::lock_guard Guard(FMutex);
        for (auto Next = FMembers.begin(); Next != FMembers.end();) {
            const auto Member = Next++;
            if (Member->State == TMember::Gone) Gone.splice(Gone.end(), FMembers, Member);
        }
        const auto Found =
            std::ranges::find_if(FMembers, [&](const TMember& Member) { return &Member.Worker == &Worker; });
        if (FClosed || Found == FMembers.end() || FMembers.size() >= FSize * (MostLost + 1)) return false;
        Found->State = TMember::Lost;
        Add();
    }
    for (TMember& Member : Gone) Member.Thread.join();
    return true;
}

bool TWorkerPool::TrySubmit(TJob Job) {
    TMember* Woken = nullptr;
    {
        const std::lock_guard Guard(FMutex);
        if (FClosed || FQueue.size() >= FQueueLimit) return false;
        FQueue.push_back(std::move(Job));
        Woken = TakeIdle();
    }
    if (Woken != nullptr) Woken->Wake.release();
    return true;
}

/// The worker to wake for what stands in the queue; null when nobody is asleep, or one is waking already.
TWorkerPool::TMember* TWorkerPool::TakeIdle() {
    if (FWaking || FIdle.empty() || FQueue.empty()) return nullptr;
    FWaking = true;
    TMember* const Member = FIdle.back();
    FIdle.pop_back();
    return Member;
}

void TWorkerPool::DropRunners() {
    const std::lock_guard Guard(FMutex);
    ++FGeneration;
}

bool TWorkerPool::Close(std::chrono::steady_clock::time_point Deadline) {
    std::deque<TJob> Dropped;
    std::unique_lock Guard(FMutex);
    FClosed = true;
    Dropped.swap(FQueue);
    for (TMember* const Member : std::exchange(FIdle, {})) Member->Wake.release();
    return FDone.wait_until(Guard, Deadline, [this] { return FRunning == 0; });
}

TWorkerPool::TState TWorkerPool::State() const {
    const std::lock_guard Guard(FMutex);
    const auto Lost =
        std::ranges::count_if(FMembers, [](const TMember& Member) { return Member.State == TMember::Lost; });
    return {FQueue.size(), FRunning - static_cast<std::size_t>(Lost), FSize};
}

void TWorkerPool::Work(TMember& Member) {
    std::unique_lock Guard(FMutex);
    while (Member.State == TMember::Serves) {
        if (FClosed) break;
        if (FQueue.empty()) {
            FIdle.push_back(&Member);
            Guard.unlock();
            Member.Wake.acquire();
            Guard.lock();
            FWaking = false;
            continue;
        }
        TJob Job = std::move(FQueue.front());
        FQueue.pop_front();
        ++FRunning;
        const bool Stale = std::exchange(Member.Generation, FGeneration) != FGeneration;
        TMember* const Next = TakeIdle();
        Guard.unlock();
        if (Next != nullptr) Next->Wake.release();
        if (Stale) Member.Worker.DropRunner();
        Job(Member.Worker);
        Job = nullptr;
        Guard.lock();
        --FRunning;
        if (FClosed) FDone.notify_all();
    }
    Guard.unlock();
    Member.Worker.DropRunner();
    // After the runner: its scripts may have used what the thread keeps.
    ReleaseCurrentThreadData();
    ThreadObjects().Clear();
    Guard.lock();
    Member.State = TMember::Gone;
}

} // namespace zutools::server
