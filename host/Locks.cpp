#include "host/Locks.h"

#include "platform/ThreadStart.h"

namespace zutools {

void TKXThreadSafetyClass::Lock(std::u16string_view /*Name*/) const {
    const std::thread::id Caller = std::this_thread::get_id();
    if (FHolder.load(std::memory_order_relaxed) != Caller) { // only the caller itself makes these equal
        Take();
        FHolder.store(Caller, std::memory_order_relaxed);
    }
    ++FDepth;
}

/// Such a lock guards memory and is soon free again: sleeping at once and being woken costs more than most
/// holders need.
void TKXThreadSafetyClass::Take() const {
    constexpr int Looks = 200; // some microseconds, about what sleeping and being woken costs
    constexpr int Pauses = 2;  // between two looks, each of which slows the holder down
    for (int Look = 0; Look < Looks; ++Look) {
        if (FHolder.load(std::memory_order_relaxed) == std::thread::id() && FMutex.try_lock()) return;
        for (int Each = 0; Each < Pauses; ++Each) platform::PauseProcessor();
    }
    FMutex.lock();
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
