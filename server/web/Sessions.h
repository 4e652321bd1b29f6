// The sessions of a web host: one a browser, found by the secret in its cookie.
//
// Called by worker threads for every page and by whoever sweeps; guarded by one lock, nothing blocks on
// anything else. The secret never leaves towards scripts or logs: they know a session by its SID, which opens
// nothing.
//
// A session ends when it was idle for too long, to make room, and when its user signs in or out: both go on
// in a fresh session with other secrets and another SID, so that nobody who knew the old ones comes along.

#pragma once

#include <chrono>
#include <cstddef>
#include <functional>
#include <list>
#include <mutex>
#include <string>
#include <string_view>
#include <unordered_map>

namespace zutools::server {

class TSessionLease;

/// What a session is, as it was when a page began.
struct TSessionState {
    std::string Secret;        // 128 random bits as 32 hexadecimal digits: the cookie's value
    std::u16string SID;        // 64 random bits of their own
    std::string FormToken;     // 128 random bits; writes must bring it
    std::u16string USR;        // user name, empty before sign-in
    std::u16string LanguageID; // chosen by the user; empty when nothing was chosen
    bool New = false;          // made just now: the browser needs the cookie
};

class TSessions {
public:
    using TClock = std::function<std::chrono::steady_clock::time_point()>;
    /// Told about every session that ended, on the thread that noticed, without the lock. One that ends by
    /// signing in or out is told of at once, and once more when the last page that was running in it is over:
    /// that page may have taken something in between. Must not raise.
    using TEndHook = std::function<void(const TSessionState&)>;

    /// At most `MaxCount` sessions: the one idle longest makes room, those without a user before the others.
    /// Those in use stay, even above that number.
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
        std::chrono::steady_clock::time_point LastUse{};
        int InUse = 0;
        bool Ended = false; // found by nobody any more; stays while pages run in it
    };
    using TEntries = std::list<TEntry>;
    using TPlace = TEntries::iterator;

    // For leases.
    void Release(TPlace Place);
    void SetLanguage(TPlace Place, std::u16string_view LanguageID);
    /// Ends the session and gives a fresh one of that user, in use by the caller.
    [[nodiscard]] TPlace Renew(TPlace Place, std::u16string_view User);

    // Under the lock.
    [[nodiscard]] TPlace Begin(std::u16string_view User, std::u16string_view LanguageID);
    void Touch(TPlace Place);
    [[nodiscard]] TEntries& ListOf(const TEntry& Entry);
    /// Moves out what is over: everything idle for too long, and the oldest idle ones above `Room`.
    [[nodiscard]] TEntries TakeEnded(std::size_t Room);
    void Take(TPlace Place, TEntries& Ended);

    void TellEnded(const TEntries& Ended) const;

    const std::chrono::steady_clock::duration FIdleLimit;
    const std::size_t FMaxCount;
    const TClock FClock;
    const TEndHook FEndHook;

    // Guarded by FMutex.
    mutable std::mutex FMutex;
    TEntries FAnonymous; // least recently used first, as the next
    TEntries FSignedIn;
    TEntries FEndedInUse;
    std::unordered_map<std::string_view, TPlace> FBySecret; // keys live in the entries
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
    /// Ends the session, for all its pages and cookies, and goes on in a fresh one of that user (empty: of
    /// nobody) with the same language. State is that of the new one, which the browser needs the cookie of.
    void Renew(std::u16string_view User);

private:
    friend class TSessions;
    TSessionLease(TSessions& Owner, TSessions::TPlace Place, TSessionState State)
        : FOwner(&Owner)
        , FPlace(Place)
        , FState(std::move(State)) {}

    TSessions* FOwner; // null after a move
    TSessions::TPlace FPlace;
    TSessionState FState;
};

} // namespace zutools::server
