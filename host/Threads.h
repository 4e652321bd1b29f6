// Threads of the library: started when they are ready, told to end, and listed while they run.

#pragma once

#include "host/Locks.h"
#include "platform/ThreadStart.h"

#include <atomic>
#include <list>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

namespace zutools {

/// A thread that runs `Execute` from `Start` on. Made suspended: nothing runs before Start. Does not free
/// itself. Start, Terminate and WaitFor are for the owner's thread.
///
/// A descendant whose Execute uses its own fields calls Terminate and WaitFor in its destructor.
class TKXSafetySuspendedThread : public TKXThreadSafetyClass {
public:
    TKXSafetySuspendedThread() = default;
    ~TKXSafetySuspendedThread() override;

    /// Starts the thread; once. @throws std::system_error when the system has no more threads.
    void Start();
    /// Asks the thread to end; it goes on until it looks at Terminated.
    virtual void Terminate() { FTerminated.store(true); }
    [[nodiscard]] bool Terminated() const { return FTerminated.load(); }
    /// Blocks until Execute has ended; returns at once when it was never started.
    void WaitFor();

protected:
    /// The thread's work. An exception that leaves it ends the process.
    virtual void Execute() = 0;

private:
    std::atomic<bool> FTerminated = false;
    std::thread FThread;
};

/// For the time of its life the calling thread has a name, is listed among the running threads, and may use
/// the component object model (Windows).
class TThreadRegistration {
public:
    explicit TThreadRegistration(std::u16string_view Name);
    ~TThreadRegistration();
    TThreadRegistration(const TThreadRegistration&) = delete;
    TThreadRegistration& operator=(const TThreadRegistration&) = delete;

private:
    platform::TThreadStart FStart;
    std::list<std::u16string>::iterator FEntry;
};

/// The names of the registered threads that run at this moment, in the order of their registration.
[[nodiscard]] std::vector<std::u16string> RegisteredThreads();

} // namespace zutools
