// The name of a pipe while this process serves it: its socket, its instances that wait for clients, and one
// thread that lets clients in.
//
// The thread reads the opening of whoever connects and hands the connection to an instance that waits, or
// says that all are busy; it never reads or writes a message. Those that connect and say nothing, or not all
// of it, are nobody's clients: they take no instance, only a bounded number of them is kept, and none longer
// than the pipe's time-out.

#pragma once

#include "platform/PipeFrames.h"
#include "platform/posix/PipeFolder.h"

#include <array>
#include <chrono>
#include <cstdint>
#include <deque>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

namespace zutools::platform {

class TPipeListener {
public:
    /// What an instance has of its pipe.
    struct TPlace {
        TDescriptor Wake;  // an eventfd: readable when a client was given
        TDescriptor Given; // guarded by the listener's lock
    };

    /// The listener of a path in this process, made when there is none. Null with `Code` set when the name
    /// cannot be had.
    [[nodiscard]] static std::shared_ptr<TPipeListener> Get(std::u16string_view Path,
                                                            const TPipeSettings& Settings, TPipeCode& Code);
    ~TPipeListener();
    TPipeListener(const TPipeListener&) = delete;
    TPipeListener& operator=(const TPipeListener&) = delete;

    /// Counts one more instance; null when there are `MaxInstances`, or the system has no more events.
    [[nodiscard]] std::unique_ptr<TPlace> Add(std::uint32_t MaxInstances);
    /// The instance is closed.
    void Remove(std::unique_ptr<TPlace> Place);
    /// The instance waits for a client. From here on `Wake` may become readable.
    void Offer(TPlace& Place);
    /// The client that was given, after `Wake` became readable.
    [[nodiscard]] TDescriptor Take(TPlace& Place);

    /// Milliseconds that a peer has for the rest of a message, and clients wait by default.
    [[nodiscard]] std::chrono::milliseconds Timeout() const { return FTimeout; }

private:
    using TTime = std::chrono::steady_clock::time_point;
    struct TStranger {
        TDescriptor Socket;
        TTime Until;
        std::array<std::byte, TPipeOpening::Size> Bytes{};
        std::size_t Got = 0;
    };
    struct TWaiter {
        TDescriptor Socket;
        TTime Until;
    };
    /// An instance is kept a moment for a process that waited for it and comes back to open it.
    struct TPromise {
        pid_t Process;
        TTime Until;
    };

    TPipeListener(TPipeAddress Address, TDescriptor Socket, TDescriptor Wake, const TPipeSettings& Settings);
    void Work();
    [[nodiscard]] int Pause(TTime Now) const;
    void Accept(TTime Now);
    /// False when the stranger is to be let go.
    [[nodiscard]] bool Hear(TStranger& Stranger, TTime Now);
    void Open(TDescriptor Socket);
    void TellWaiters(TTime Now);
    void WakeUp() const;

    const TPipeAddress FAddress;
    const TDescriptor FSocket;
    const TDescriptor FWake; // an eventfd: an instance is free, or the end has come
    const TPipePeers FPeers;
    const std::chrono::milliseconds FTimeout;
    const int FSendBuffer;

    std::mutex FLock;             // guards what follows
    std::deque<TPlace*> FFree;    // instances that wait for a client
    std::uint32_t FInstances = 0; // all of them
    bool FEnd = false;

    // The thread's own.
    std::vector<TStranger> FStrangers;
    std::vector<TWaiter> FWaiters;
    std::vector<TPromise> FPromises;
    std::thread FThread;
};

} // namespace zutools::platform
