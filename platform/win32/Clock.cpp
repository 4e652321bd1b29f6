#include "platform/Clock.h"

#include <time.h>

namespace zutools::platform {

std::chrono::seconds LocalTimeOffset(std::chrono::system_clock::time_point Moment) {
    const __time64_t Time = std::chrono::system_clock::to_time_t(Moment);
    std::tm Local{};
    if (_localtime64_s(&Local, &Time) != 0) return {};
    return std::chrono::seconds(_mkgmtime64(&Local) - Time);
}

} // namespace zutools::platform
