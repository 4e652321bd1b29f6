// The open connections of a server: who has how many, what each is doing since when, and which must go.
//
// The network library closes connections on which nothing moves; this ends those that move too slowly, and
// makes room when all places are taken. It knows nothing of HTTP and touches a connection in one way: by
// `End`, which must only shut the socket down, so that the library notices and closes it.

#pragma once

#include <array>
#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <functional>
#include <list>
#include <mutex>
#include <string>
#include <string_view>
#include <thread>
#include <unordered_map>

namespace zutools::server {

/// What a connection is doing, in the order in which it is given up when room is short.
enum class TConnectionPhase {
    Waiting, // for a request, or for the rest of its head
    Body,    // for the rest of a body
    Answer,  // for the client to take its answer
    Page,    // for us: never given up
};

struct TConnectionLimits {
    std::size_t Count = 500;
    std::size_t PerAddress = 100; // of one IPv4 address or IPv6 network (/64)
    std::chrono::seconds Head{10};
    std::chrono::seconds Idle{30}; // before the next request on a connection begins
    std::chrono::seconds Body{60};
};

/// Any thread; nothing blocks.
class TConnections {
    struct TEntry;
    using TEntries = std::list<TEntry>;

public:
    using TMoment = std::chrono::steady_clock::time_point;
    using TPlace = TEntries::iterator;
    /// Shuts a socket down. Called under the lock, so that the socket is not closed, and its number given to
    /// another one, in between.
    using TEnd = std::function<void(int Socket)>;

    TConnections(const TConnectionLimits& Limits, TEnd End);
    ~TConnections();
    TConnections(const TConnections&) = delete;
    TConnections& operator=(const TConnections&) = delete;

    /// A connection that was accepted. It is ended at once when its address has too many, or when all places
    /// are taken by pages that are being made; otherwise the one that waits longest makes room.
    /// `Limited` is false for addresses that stand for many clients: trusted proxies.
    [[nodiscard]] TPlace Open(int Socket, std::string_view Address, bool Limited, TMoment Now);
    void Enter(TPlace Place, TConnectionPhase Phase, TMoment Now);
    /// The socket is about to be closed.
    void Close(TPlace Place);

    /// Ends what is over its time, and whose other side was gone at the sweep before this one, too: whoever
    /// sent a whole request with his last word gets his answer.
    void Sweep(TMoment Now);
    /// Sweeps once a second on a thread of its own, until destruction, and calls `Then` each time.
    void StartSweeping(std::function<void()> Then = {});

    [[nodiscard]] std::size_t Count() const;
    /// How many were ended: for want of room, by address, for slowness.
    struct TEnded {
        std::size_t Room = 0;
        std::size_t Address = 0;
        std::size_t Slow = 0;
    };
    [[nodiscard]] TEnded Ended() const;

private:
    static constexpr std::size_t Phases = 4;
    struct TEntry {
        int Socket = -1;
        std::string Network; // empty: not limited
        TConnectionPhase Phase = TConnectionPhase::Waiting;
        bool First = true;      // no request has come yet
        bool Over = false;      // shut down already
        bool LeftAlone = false; // the other side was gone at the last sweep, between requests
        TMoment Since;
    };

    // Under the lock.
    [[nodiscard]] TEntries& ListOf(TConnectionPhase Phase) {
        return FByPhase[static_cast<std::size_t>(Phase)];
    }
    void Take(TPlace Place);
    void Give(TPlace Place);
    [[nodiscard]] bool MakeRoom();
    [[nodiscard]] bool IsLate(const TEntry& Entry, TMoment Now) const;

    const TConnectionLimits FLimits;
    const TEnd FEnd;

    // Guarded by FMutex.
    mutable std::mutex FMutex;
    std::condition_variable FStop;
    std::array<TEntries, Phases> FByPhase; // longest in it first
    TEntries FOver;                        // shut down, not closed yet
    std::unordered_map<std::string, std::size_t> FPerNetwork;
    std::size_t FCount = 0;
    TEnded FEnded;
    bool FStopping = false;

    std::thread FSweeper;
};

/// The addresses that count as one: an IPv4 address itself, of an IPv6 address its first 64 bits.
[[nodiscard]] std::string NetworkOf(std::string_view Address);

} // namespace zutools::server
