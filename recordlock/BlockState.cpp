#include "recordlock/BlockState.h"

#include "host/Locks.h"

#include <utility>

namespace zutools {

struct TBlockWaiters::TWaiter {
    TWaiter* Next = nullptr;
    std::mutex Mutex;
    std::condition_variable Changed;
    bool Woken = false;
};

bool TBlockWaiters::Wait(const TKXThreadSafetyClass& Lock, TMoment Until) {
    TWaiter Own;
    Own.Next = std::exchange(FFirst, &Own);
    Lock.UnLock();
    {
        std::unique_lock Guard(Own.Mutex);
        Own.Changed.wait_until(Guard, Until, [&Own] { return Own.Woken; });
    }
    Lock.Lock(); // Wake runs under it: nobody touches `Own` any more
    if (Own.Woken) return true;
    TWaiter** Link = &FFirst;
    while (*Link != &Own) Link = &(*Link)->Next;
    *Link = Own.Next;
    return false;
}

void TBlockWaiters::Wake() {
    for (TWaiter* Each = std::exchange(FFirst, nullptr); Each != nullptr; Each = Each->Next) {
        const std::scoped_lock Guard(Each->Mutex);
        Each->Woken = true;
        Each->Changed.notify_one();
    }
}

} // namespace zutools
