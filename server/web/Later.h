// Things that are done at a moment to come, on one thread of their own.

#pragma once

#include <chrono>
#include <condition_variable>
#include <functional>
#include <map>
#include <mutex>
#include <thread>

namespace zutools::server {

class TLater {
public:
    using TMoment = std::chrono::steady_clock::time_point;

    TLater();
    /// What has not come by then is not done.
    ~TLater();
    TLater(const TLater&) = delete;
    TLater& operator=(const TLater&) = delete;

    /// Any thread. `Work` is short and raises nothing.
    void At(TMoment Moment, std::function<void()> Work);

private:
    void Run();

    std::mutex FMutex;
    std::condition_variable FChanged;
    std::multimap<TMoment, std::function<void()>> FWork; // guarded by FMutex, as the next
    bool FClosed = false;
    std::thread FThread; // last
};

} // namespace zutools::server
