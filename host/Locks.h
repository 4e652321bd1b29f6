// The two lock bases of the host: classes that guard themselves derive from them.

#pragma once

#include "host/Object.h"

#include <array>
#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <string_view>

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
    /// The object that this lock belongs to, for debugging; not owned, may be null.
    [[nodiscard]] TObject* Owner() const { return FOwner; }

private:
    TObject* FOwner = nullptr;
    mutable std::recursive_mutex FMutex;
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

/// Holds a TKXThreadSafetyClass for a scope.
class TLockScope {
public:
    explicit TLockScope(const TKXThreadSafetyClass& Lock)
        : FLock(Lock) {
        FLock.Lock();
    }
    ~TLockScope() { FLock.UnLock(); }
    TLockScope(const TLockScope&) = delete;
    TLockScope& operator=(const TLockScope&) = delete;

private:
    const TKXThreadSafetyClass& FLock;
};

class TReadScope {
public:
    explicit TReadScope(const TKXThreadRWSafetyClass& Lock)
        : FLock(Lock) {
        FLock.BeginRead();
    }
    ~TReadScope() { FLock.EndRead(); }
    TReadScope(const TReadScope&) = delete;
    TReadScope& operator=(const TReadScope&) = delete;

private:
    const TKXThreadRWSafetyClass& FLock;
};

class TWriteScope {
public:
    explicit TWriteScope(const TKXThreadRWSafetyClass& Lock)
        : FLock(Lock) {
        FLock.BeginWrite();
    }
    ~TWriteScope() { FLock.EndWrite(); }
    TWriteScope(const TWriteScope&) = delete;
    TWriteScope& operator=(const TWriteScope&) = delete;

private:
    const TKXThreadRWSafetyClass& FLock;
};

} // namespace zutools
