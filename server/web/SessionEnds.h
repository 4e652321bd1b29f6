// What is to be done when sessions end, on a thread of its own: it may have to wait for a database, and the
// page that noticed must not.

#pragma once

#include "server/web/Sessions.h"

#include <condition_variable>
#include <deque>
#include <functional>
#include <mutex>
#include <thread>

namespace zutools::server {

class TSessionEnds {
public:
    /// `Hook` is called for each end in turn; it must not raise. `ThreadEnd` is the thread's last call.
    explicit TSessionEnds(TSessions::TEndHook Hook, std::function<void()> ThreadEnd = {});
    /// Waits for the end that is being told; those behind it are left.
    ~TSessionEnds();
    TSessionEnds(const TSessionEnds&) = delete;
    TSessionEnds& operator=(const TSessionEnds&) = delete;

    /// Any thread; returns at once.
    void Add(const TSessionState& Session);
    /// Calls `Work` on the thread, behind what waits, unless the last one of these waits still.
    void AddWork(std::function<void()> Work);

private:
    void Run();

    const TSessions::TEndHook FHook;
    const std::function<void()> FThreadEnd;
    std::mutex FMutex;
    std::condition_variable FChanged;
    std::deque<TSessionState> FEnded; // guarded by FMutex, as the next
    std::function<void()> FWork;
    bool FClosed = false;
    std::thread FThread; // last
};

} // namespace zutools::server
