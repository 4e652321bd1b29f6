// The threads that pages run on, with a bounded queue before them.

#pragma once

#include "server/web/ModuleRunner.h"

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <deque>
#include <functional>
#include <list>
#include <memory>
#include <mutex>
#include <semaphore>
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
    /// The runner is not used again: the next call of Runner makes another one.
    void DropRunner() { FRunner.reset(); }

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
    /// A new thread takes the place of this one, whose job does not come back; it ends when it does. False
    /// when too many threads are lost already.
    bool Replace(const TWorker& Worker);
    /// Each thread makes itself another runner before its next job.
    void DropRunners();
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
    struct TMember {
        explicit TMember(const TModuleRunnerFactory& Factory)
            : Worker(Factory) {}
        TWorker Worker;
        enum { Serves, Lost, Gone } State = Serves; // guarded by FMutex
        unsigned Generation = 0;                    // of its runner
        std::binary_semaphore Wake{0};              // given once for each time that it stood in FIdle
        std::thread Thread;
    };
    void Add();
    void Work(TMember& Member);
    [[nodiscard]] TMember* TakeIdle();

    const unsigned FSize;
    const std::size_t FQueueLimit;
    const TModuleRunnerFactory FFactory;

    // Guarded by FMutex.
    mutable std::mutex FMutex;
    std::condition_variable FDone; // the last job, after Close
    std::deque<TJob> FQueue;
    std::vector<TMember*> FIdle; // asleep; whoever takes one out wakes it. The last one's memory is warmest
    bool FWaking = false;        // one is on its way to the queue, and will wake the next
    std::size_t FRunning = 0;
    unsigned FGeneration = 0;
    bool FClosed = false;
    std::list<TMember> FMembers; // last: their threads use everything above
};

} // namespace zutools::server
