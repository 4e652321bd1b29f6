#include "host/WorkClock.h"

#include <utility>

namespace zutools {

namespace {

thread_local const TWorkClock* Current = nullptr;

} // namespace

const TWorkClock* CurrentWorkClock() noexcept {
    return Current;
}

TWorkClockScope::TWorkClockScope(const TWorkClock* Clock) noexcept
    : FBefore(std::exchange(Current, Clock)) {}

TWorkClockScope::~TWorkClockScope() {
    Current = FBefore;
}

} // namespace zutools
