// The two lock bases of the host: classes that guard themselves derive from them.
//
// They serve the standard scopes under the standard's own names, on constant objects too:
//
//     const std::scoped_lock Guard(*this);    // a TKXThreadSafetyClass, or the write side of the other one
//     const std::shared_lock Reading(*this);  // the read side of a TKXThreadRWSafetyClass

#pragma once

#include "host/Object.h"

#include <array>
#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <shared_mutex>
#include <string_view>
#include <thread>

namespace zutools {

/// A re-entrant lock: the owning thread may take it again and must release it as often.
class TKXThreadSafetyClass : public TObject {
public:
    TKXThreadSafetyClass() = default;
    explicit TKXThreadSafetyClass(TObject* Owner)
        : FOwner(Owner) {}

    /// Blocks until the lock is free. `Name` tells the taker to a debugger and is not kept.
    void Lock(std::u16string_view Name = {}) const;
    void UnLock() const;
    void lock() const { Lock(); }
    void unlock() const { UnLock(); }
    /// How often the calling thread holds the lock at this moment; 0 when it does not hold it.
    [[nodiscard]] unsigned Depth() const;
    /// The object that this lock belongs to, for debugging; not owned, may be null.
    [[nodiscard]] TObject* Owner() const { return FOwner; }

private:
    void Take() const;

    TObject* FOwner = nullptr;
    mutable std::mutex FMutex;
    mutable std::atomic<std::thread::id> FHolder{}; // of no thread: free
    mutable unsigned FDepth = 0;                    // the holder's
};

/// Many readers or one writer. Not re-entrant: a reader that asks for the write side waits for itself, and so
/// does one that asks for the read side again while a writer waits. A side is given back by the thread that
/// took it.
///
/// Made for reading far more often than writing: threads count themselves in on cache lines of their own, so
/// readers do not slow each other down. The price is the object's size (2 KB) and a writer that looks at
/// every line.
class TKXThreadRWSafetyClass : public TObject {
public:
    void BeginRead() const;
    void EndRead() const;
    void BeginWrite() const;
    void EndWrite() const;
    void lock() const { BeginWrite(); }
    void unlock() const { EndWrite(); }
    void lock_shared() const { BeginRead(); }
    void unlock_shared() const { EndRead(); }

private:
    struct alignas(64) TLine {
        std::atomic<std::uint32_t> Readers{0};
    };
    [[nodiscard]] TLine& MyLine() const;

    mutable std::array<TLine, 32> FLines; // a thread always uses the same one
    mutable std::atomic<bool> FWriter{false};
    mutable std::mutex FWriterMutex; // held by the writer
    mutable std::mutex FGoneMutex;
    mutable std::condition_variable FGone; // a line's last reader has gone while a writer waits
};

} // namespace zutools
