// The sessions of a web host: one a browser, found by the secret in its cookie.
//
// Called by worker threads for every page and by whoever sweeps; guarded by one lock, nothing blocks on
// anything else. The secret never leaves towards scripts or logs: they know a session by its SID, which opens
// nothing.

#pragma once

#include <chrono>
#include <cstddef>
#include <functional>
#include <list>
#include <mutex>
#include <string>
#include <string_view>
#include <unordered_map>

namespace zutools::hosting {

class TSessions;

/// What a session is, as it was when a page began.
struct TSessionState {
    std::string Secret;        // 128 random bits as 32 hexadecimal digits: the cookie's value
    std::u16string SID;        // 64 random bits of their own
    std::string FormToken;     // 128 random bits; writes must bring it
    std::u16string USR;        // user name, empty before sign-in
    std::u16string LanguageID; // chosen by the user; empty when nothing was chosen
    bool New = false;          // made just now: the browser needs the cookie
};

/// Keeps a session in use: it neither expires nor is dropped before the lease ends. Movable, at home on one
/// thread.
class TSessionLease {
public:
    TSessionLease(TSessionLease&& Other) noexcept;
    TSessionLease& operator=(TSessionLease&&) = delete;
    ~TSessionLease();

    [[nodiscard]] const TSessionState& State() const { return FState; }
    /// Keeps the user's choice for the pages to come.
    void SetLanguage(std::u16string_view LanguageID);

private:
    friend class TSessions;
    TSessionLease(TSessions& Owner, TSessionState State)
        : FOwner(&Owner)
        , FState(std::move(State)) {}

    TSessions* FOwner; // null after a move
    TSessionState FState;
};

class TSessions {
public:
    using TClock = std::function<std::chrono::steady_clock::time_point()>;
    /// Told about every session that ended, by time or for want of room, on the thread that noticed, without
    /// the lock.
    using TEndHook = std::function<void(const TSessionState&)>;

    /// At most `MaxCount` sessions: the one idle longest makes room. Those in use stay, even above that
    /// number.
    TSessions(std::chrono::steady_clock::duration IdleLimit, std::size_t MaxCount,
              TClock Clock = std::chrono::steady_clock::now, TEndHook EndHook = {});
    TSessions(const TSessions&) = delete;
    TSessions& operator=(const TSessions&) = delete;

    /// The session of a cookie; a new one with secrets of its own when the cookie's is unknown or ended.
    [[nodiscard]] TSessionLease Acquire(std::string_view Secret);

    /// Ends what was idle for too long.
    void Sweep();
    [[nodiscard]] std::size_t Count() const;

private:
    friend class TSessionLease;
    struct TEntry {
        TSessionState State;
        std::chrono::steady_clock::time_point LastUse;
        int InUse = 0;
    };
    using TEntries = std::list<TEntry>;

    void Release(const std::string& Secret);
    void SetLanguage(const std::string& Secret, std::u16string_view LanguageID);
    /// Moves out what is over: everything idle for too long, and the oldest idle ones above `Room`.
    [[nodiscard]] TEntries TakeEnded(std::size_t Room);
    void TellEnded(const TEntries& Ended) const;

    const std::chrono::steady_clock::duration FIdleLimit;
    const std::size_t FMaxCount;
    const TClock FClock;
    const TEndHook FEndHook;

    // Guarded by FMutex.
    mutable std::mutex FMutex;
    TEntries FEntries;                                                  // least recently used first
    std::unordered_map<std::string_view, TEntries::iterator> FBySecret; // keys live in the entries
};

} // namespace zutools::hosting
