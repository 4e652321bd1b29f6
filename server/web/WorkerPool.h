// The threads that pages run on, with a bounded queue before them.

#pragma once

#include "server/web/ModuleRunner.h"

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

namespace zutools::server {

/// What a job knows of its thread.
class TWorker {
public:
    explicit TWorker(const TModuleRunnerFactory& Factory)
        : FFactory(Factory) {}
    /// The thread's runner, made at the first call. @throws what the factory raises; the next call tries
    /// again.
    [[nodiscard]] TModuleRunner& Runner();

private:
    const TModuleRunnerFactory& FFactory;
    std::unique_ptr<TModuleRunner> FRunner;
};

/// Any thread may submit. Jobs must not throw.
class TWorkerPool {
public:
    using TJob = std::function<void(TWorker&)>;

    TWorkerPool(unsigned Threads, std::size_t QueueLimit, TModuleRunnerFactory Factory);
    /// Waits for running jobs, however long they take; jobs still in the queue are dropped.
    ~TWorkerPool();
    TWorkerPool(const TWorkerPool&) = delete;
    TWorkerPool& operator=(const TWorkerPool&) = delete;

    /// False when the queue is full or the pool closed.
    [[nodiscard]] bool TrySubmit(TJob Job);
    /// Takes no more jobs, drops those that have not begun, and waits until `Deadline` for those that run.
    /// True when none is running any more.
    bool Close(std::chrono::steady_clock::time_point Deadline);

    struct TState {
        std::size_t Waiting = 0; // jobs
        std::size_t Running = 0;
        std::size_t Threads = 0;
    };
    [[nodiscard]] TState State() const;

private:
    void Work();

    const std::size_t FQueueLimit;
    const TModuleRunnerFactory FFactory;

    // Guarded by FMutex.
    mutable std::mutex FMutex;
    std::condition_variable FChanged;
    std::deque<TJob> FQueue;
    std::size_t FRunning = 0;
    bool FClosed = false;

    std::vector<std::thread> FThreads; // last: they use everything above
};

} // namespace zutools::server
