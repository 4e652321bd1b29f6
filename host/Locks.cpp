#include "host/Locks.h"

namespace zutools {

void TKXThreadSafetyClass::Lock(std::u16string_view /*Name*/) const {
    FMutex.lock();
}
void TKXThreadSafetyClass::UnLock() const {
    FMutex.unlock();
}

void TKXThreadRWSafetyClass::BeginRead() const {
    FMutex.lock_shared();
}
void TKXThreadRWSafetyClass::EndRead() const {
    FMutex.unlock_shared();
}
void TKXThreadRWSafetyClass::BeginWrite() const {
    FMutex.lock();
}
void TKXThreadRWSafetyClass::EndWrite() const {
    FMutex.unlock();
}

} // namespace zutools
