#include "platform/Clock.h"

#include <time.h>

namespace zutools::platform {

std::chrono::seconds LocalTimeOffset(std::chrono::system_clock::time_point Moment) {
    const std::time_t Time = std::chrono::system_clock::to_time_t(Moment);
    std::tm Local{};
    if (localtime_r(&Time, &Local) == nullptr) return {};
    return std::chrono::seconds(Local.tm_gmtoff);
}

} // namespace zutools::platform
