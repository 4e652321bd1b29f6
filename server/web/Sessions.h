// The sessions of a web host, found by the secret in a browser's cookie.
//
// A visitor who is nobody yet costs no memory: his cookie is a token that is signed with a key of the
// process, and everything about his session follows from it. A session gets an entry in the table when its
// user signs in, or when it holds something that has to be dropped at its end (a record block).
//
// Called by worker threads for every page and by whoever sweeps; guarded by one lock, nothing blocks on
// anything else. The secret never leaves towards scripts or logs: they know a session by its SID, which opens
// nothing.
//
// An entry ends when it was idle for too long, when it is older than any session may be, to make room, when
// somebody ends it, and when its user signs in or out: both go on in a fresh session with other secrets and
// another SID, so that nobody who knew the old ones comes along.

#pragma once

#include "host/Security.h"

#include <array>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <list>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace zutools::server {

class TSessionLease;

/// What a session is, as it was when a page began.
struct TSessionState {
    std::string Secret;         // the cookie's value: 128 random bits as hexadecimal digits; a token has its
                                // signature behind them
    std::u16string SID;         // 64 bits that tell nothing of the secret
    std::string FormToken;      // 128 bits; writes must bring it
    std::u16string USR;         // user name, empty before sign-in
    std::int64_t UserStamp = 0; // of the user at sign-in (TSignedInUser)
    std::u16string LanguageID;  // chosen by the user; empty when nothing was chosen
    std::map<std::u16string, std::u16string, std::less<>> Values{}; // what pages keep for it
    bool New = false; // made or changed just now: the browser needs the cookie
};

struct TSessionLimits {
    std::chrono::steady_clock::duration Idle{};
    std::size_t Count = 0;                         // of entries
    std::chrono::steady_clock::duration Longest{}; // of a session's life; zero: as long as it is used
};

/// An entry, for administration.
struct TSessionInfo {
    std::u16string SID;
    std::u16string USR;
    std::string RemoteAddress; // of its last page
    std::chrono::seconds Age{};
    std::chrono::seconds Idle{};
};

class TSessions {
public:
    using TClock = std::function<std::chrono::steady_clock::time_point()>;
    /// Told about a session that ended, without the lock. One that ends while pages run in it is told of at
    /// once, and once more when the last of them is over: that page may have taken something in between. Must
    /// not raise.
    using TEndHook = std::function<void(const TSessionState&)>;

    /// When there are more entries than Limits.Count, the one idle longest makes room, those without a user
    /// before the others; those in use stay, even above that number. `Ended` is told on the page's own
    /// thread of what ends with it, `Expired` of all others, on the thread that noticed; without it `Ended`
    /// is.
    explicit TSessions(TSessionLimits Limits, TClock Clock = std::chrono::steady_clock::now,
                       TEndHook Ended = {}, TEndHook Expired = {});
    TSessions(const TSessions&) = delete;
    TSessions& operator=(const TSessions&) = delete;

    void SetLimits(TSessionLimits Limits);

    /// The session of a cookie; a new one with secrets of its own when the cookie's is unknown or ended.
    [[nodiscard]] TSessionLease Acquire(std::string_view Secret, std::string_view RemoteAddress = {});

    /// Ends what was idle for too long or is too old.
    void Sweep();
    /// Ends every entry that `Which` is true of; it is called under the lock. How many there were.
    std::size_t End(const std::function<bool(const TSessionState&)>& Which);

    /// Everything as a text, secrets included, for another process to go on from; Load passes over what is
    /// malformed. Times begin anew.
    [[nodiscard]] std::string Save() const;
    void Load(std::string_view Text);

    /// Entries; visitors who are nobody are not counted.
    [[nodiscard]] std::size_t Count() const;
    [[nodiscard]] std::vector<TSessionInfo> List() const;
    /// The users of the entries with their stamps, each pair once.
    [[nodiscard]] std::vector<TSignedInUser> Users() const;

private:
    friend class TSessionLease;
    using TMoment = std::chrono::steady_clock::time_point;
    struct TEntry {
        TSessionState State;
        std::string Key{}; // the first 32 digits of the secret
        std::string RemoteAddress{};
        TMoment Began{};
        TMoment LastUse{};
        int InUse = 0;
        bool Ended = false; // found by nobody any more; stays while pages run in it
    };
    using TEntries = std::list<TEntry>;
    using TPlace = TEntries::iterator;

    // For leases; `Place` is empty for a token.
    void Release(std::optional<TPlace> Place);
    void SetLanguage(TPlace Place, std::u16string_view LanguageID);
    void SetValue(TPlace Place, std::u16string_view Name, const std::optional<std::u16string>& Value);
    [[nodiscard]] TPlace Keep(const TSessionState& State, std::string_view RemoteAddress);
    [[nodiscard]] std::optional<TPlace> Renew(std::optional<TPlace> Place, TSessionState& State,
                                              const TSignedInUser& User, std::string_view RemoteAddress);

    // Tokens: without the lock.
    [[nodiscard]] TSessionState NewVisitor() const;
    [[nodiscard]] std::optional<TSessionState> ReadToken(std::string_view Secret) const;
    [[nodiscard]] TSessionState StateOfToken(std::string_view Nonce, std::uint32_t Minute) const;
    [[nodiscard]] std::uint32_t Minute() const;

    // Under the lock.
    [[nodiscard]] TPlace Insert(TSessionState State, std::string_view RemoteAddress);
    void Touch(TPlace Place);
    template <class TWhich>
    std::size_t EndEach(const TWhich& Which);
    [[nodiscard]] TEntries& ListOf(const TEntry& Entry);
    /// Moves out what is over: everything idle for too long, and the oldest idle ones above `Room`.
    [[nodiscard]] TEntries TakeEnded(std::size_t Room);
    [[nodiscard]] bool IsTooOld(const TEntry& Entry, TMoment Now) const;
    void Take(TPlace Place, TEntries& Ended);
    /// The same for an entry that may be in use: found by nobody from now on.
    void TakeEvenInUse(TPlace Place, TEntries& Ended);

    static void Tell(const TEndHook& Hook, const TEntries& Ended);

    const TClock FClock;
    const TEndHook FEnded;
    const TEndHook FExpired;
    std::array<std::byte, 32> FKey{}; // of the process: signs tokens; changed by Load only

    // Guarded by FMutex.
    mutable std::mutex FMutex;
    TSessionLimits FLimits;
    TEntries FAnonymous; // least recently used first, as the next
    TEntries FSignedIn;
    TEntries FEndedInUse;
    std::unordered_map<std::string_view, TPlace> FByKey; // keys live in the entries
};

/// Keeps a session in use: it neither expires nor is dropped before the lease ends. Movable, at home on one
/// thread.
class TSessionLease {
public:
    TSessionLease(TSessionLease&& Other) noexcept;
    TSessionLease& operator=(TSessionLease&&) = delete;
    ~TSessionLease();

    [[nodiscard]] const TSessionState& State() const { return FState; }
    /// Keeps the user's choice for the pages to come, and so the session.
    void SetLanguage(std::u16string_view LanguageID);
    /// Keeps a text for the pages to come, and so the session; nothing takes it out. False, with nothing
    /// done, when all of them would be longer than a session may hold.
    bool SetValue(std::u16string_view Name, std::optional<std::u16string> Value);
    /// Whether the session has an entry, so that its end is told.
    [[nodiscard]] bool IsKept() const { return FPlace.has_value(); }
    /// Gives it one, which counts and ends like any other.
    void Keep();
    /// Ends the session, for all its pages and cookies, and goes on in a fresh one of that user (without a
    /// name: of nobody) with the same language. State is that of the new one, which the browser needs the
    /// cookie of.
    void Renew(const TSignedInUser& User);

private:
    friend class TSessions;
    TSessionLease(TSessions& Owner, std::optional<TSessions::TPlace> Place, TSessionState State,
                  std::string_view RemoteAddress)
        : FOwner(&Owner)
        , FPlace(Place)
        , FState(std::move(State))
        , FRemoteAddress(RemoteAddress) {}

    TSessions* FOwner; // null after a move
    std::optional<TSessions::TPlace> FPlace;
    TSessionState FState;
    std::string FRemoteAddress;
};

} // namespace zutools::server
