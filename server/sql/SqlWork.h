// What all connections of the process have done, for those who watch it.

#pragma once

#include <chrono>
#include <cstdint>

namespace zutools::server {

struct TSqlWork {
    std::uint64_t Statements = 0;
    std::uint64_t Failures = 0;      // of them, and of commits
    std::chrono::nanoseconds Time{}; // spent in the database and waiting for it, of all threads together
};

/// Any thread; the three need not be of one moment.
[[nodiscard]] TSqlWork SqlWorkOfProcess();

} // namespace zutools::server
