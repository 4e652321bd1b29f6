// What a server tells about itself, and its form for Prometheus.

#pragma once

#include "server/web/AccessLog.h"
#include "server/web/Connections.h"
#include "server/web/WorkerPool.h"

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace zutools::server {

/// Requests that ended, counted on the network threads.
class TRequestCounts {
public:
    /// Upper bounds of the classes of time, in microseconds; one more class has no bound.
    static constexpr std::array<std::int64_t, 12> Bounds{1'000,     2'500,     5'000,     10'000,
                                                         25'000,    50'000,    100'000,   250'000,
                                                         1'000'000, 2'500'000, 5'000'000, 10'000'000};

    void Count(const TAccess& Access);
    /// Lines for Prometheus.
    [[nodiscard]] std::string Text() const;

private:
    using TCount = std::atomic<std::uint64_t>;
    std::array<TCount, 6> FByClass{}; // of the status: 0 without an answer, 2xx to 5xx
    std::array<TCount, Bounds.size() + 1> FByTime{};
    TCount FMicroseconds{0};
    TCount FBytes{0};
};

/// One metric without labels. `Kind` is "counter" or "gauge".
[[nodiscard]] std::string MetricText(std::string_view Name, std::string_view Kind, std::string_view Help,
                                     double Value);

} // namespace zutools::server
