#include "host/Locks.h"

namespace zutools {

void TKXThreadSafetyClass::Lock(std::u16string_view /*Name*/) const {
    const std::thread::id Caller = std::this_thread::get_id();
    if (FHolder.load(std::memory_order_relaxed) != Caller) { // only the caller itself makes these equal
        FMutex.lock();
        FHolder.store(Caller, std::memory_order_relaxed);
    }
    ++FDepth;
}

void TKXThreadSafetyClass::UnLock() const {
    if (--FDepth != 0) return;
    FHolder.store({}, std::memory_order_relaxed);
    FMutex.unlock();
}

unsigned TKXThreadSafetyClass::Depth() const {
    return FHolder.load(std::memory_order_relaxed) == std::this_thread::get_id() ? FDepth : 0;
}

TKXThreadRWSafetyClass::TLine& TKXThreadRWSafetyClass::MyLine() const {
    static std::atomic<std::uint32_t> Threads{0};
    static thread_local std::uint32_t Number = 0; // 1-based; plain data, as MinGW wants it
    if (Number == 0) Number = ++Threads;
    return FLines[Number % FLines.size()];
}

void TKXThreadRWSafetyClass::BeginRead() const {
    TLine& Line = MyLine();
    Line.Readers.fetch_add(1);
    while (FWriter.load()) { // give way, wait until it is done, and come again
        EndRead();
        FWriterMutex.lock();
        FWriterMutex.unlock();
        Line.Readers.fetch_add(1);
    }
}

void TKXThreadRWSafetyClass::EndRead() const {
    TLine& Line = MyLine();
    if (Line.Readers.fetch_sub(1) != 1 || !FWriter.load()) return;
    // With the mutex held, so that it cannot fall between the writer's look and its sleep.
    const std::lock_guard Guard(FGoneMutex);
    FGone.notify_one();
}

void TKXThreadRWSafetyClass::BeginWrite() const {
    FWriterMutex.lock();
    FWriter.store(true);
    // No wait() of the atomics: on MinGW with GCC 12 it misses a notification now and then.
    std::unique_lock Guard(FGoneMutex);
    for (const TLine& Line : FLines) FGone.wait(Guard, [&Line] { return Line.Readers.load() == 0; });
}

void TKXThreadRWSafetyClass::EndWrite() const {
    FWriter.store(false);
    FWriterMutex.unlock();
}

} // namespace zutools
