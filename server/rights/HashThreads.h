// Threads that compute password hashes, so that whoever serves pages does not: few, of low priority, and only
// as much at once as there are places.

#pragma once

#include <condition_variable>
#include <deque>
#include <functional>
#include <mutex>
#include <optional>
#include <thread>
#include <utility>
#include <vector>

namespace zutools::server {

class THashThreads {
public:
    /// At most `Places` at once, those that wait included. Threads start with the first work: half of the
    /// machine's processors, four at most.
    explicit THashThreads(unsigned Places);
    /// Nobody has a place any more.
    ~THashThreads();
    THashThreads(const THashThreads&) = delete;
    THashThreads& operator=(const THashThreads&) = delete;

    /// The right to have something computed, given back at the end.
    class TPlace {
    public:
        TPlace(TPlace&& Other) noexcept
            : FOwner(std::exchange(Other.FOwner, nullptr)) {}
        TPlace& operator=(TPlace&&) = delete;
        ~TPlace();
        /// Runs `Work` on one of the threads and waits for it. What it raises is raised here.
        void Run(const std::function<void()>& Work) const;

    private:
        friend class THashThreads;
        explicit TPlace(THashThreads& Owner)
            : FOwner(&Owner) {}
        THashThreads* FOwner; // null after a move
    };
    /// Nothing when all places are taken. Any thread.
    [[nodiscard]] std::optional<TPlace> TryEnter();

private:
    struct TTask;
    void Work();

    const unsigned FPlaces;
    // Guarded by FMutex.
    std::mutex FMutex;
    std::condition_variable FChanged; // tasks come, tasks are done, the end
    std::deque<TTask*> FTasks;        // on the stacks of those who wait
    unsigned FTaken = 0;
    bool FEnding = false;
    std::vector<std::thread> FThreads;
};

} // namespace zutools::server
