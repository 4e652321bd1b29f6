#include "server/web/WorkerPool.h"

#include "core/Lthdata.h"
#include "host/ThreadContainer.h"

namespace zutools::server {

TModuleRunner& TWorker::Runner() {
    if (!FRunner) FRunner = FFactory();
    return *FRunner;
}

TWorkerPool::TWorkerPool(unsigned Threads, std::size_t QueueLimit, TModuleRunnerFactory Factory)
    : FQueueLimit(QueueLimit)
    , FFactory(std::move(Factory)) {
    for (unsigned Index = 0; Index < Threads; ++Index) FThreads.emplace_back([this] { Work(); });
}

TWorkerPool::~TWorkerPool() {
    Close({});
    for (std::thread& Thread : FThreads) Thread.join();
}

bool TWorkerPool::TrySubmit(TJob Job) {
    {
        const std::lock_guard Guard(FMutex);
        if (FClosed || FQueue.size() >= FQueueLimit) return false;
        FQueue.push_back(std::move(Job));
    }
    FChanged.notify_one();
    return true;
}

bool TWorkerPool::Close(std::chrono::steady_clock::time_point Deadline) {
    std::deque<TJob> Dropped;
    std::unique_lock Guard(FMutex);
    FClosed = true;
    Dropped.swap(FQueue);
    FChanged.notify_all();
    return FChanged.wait_until(Guard, Deadline, [this] { return FRunning == 0; });
}

TWorkerPool::TState TWorkerPool::State() const {
    const std::lock_guard Guard(FMutex);
    return {FQueue.size(), FRunning, FThreads.size()};
}

void TWorkerPool::Work() {
    {
        TWorker Worker(FFactory);
        std::unique_lock Guard(FMutex);
        while (true) {
            FChanged.wait(Guard, [this] { return FClosed || !FQueue.empty(); });
            if (FClosed) break;
            TJob Job = std::move(FQueue.front());
            FQueue.pop_front();
            ++FRunning;
            Guard.unlock();
            Job(Worker);
            Job = nullptr;
            Guard.lock();
            --FRunning;
            if (FClosed) FChanged.notify_all();
        }
    }
    // After the runner: its scripts may have used what the thread keeps.
    ReleaseCurrentThreadData();
    ThreadObjects().Clear();
}

} // namespace zutools::server
