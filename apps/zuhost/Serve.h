// `zuhost serve`: the web host from its configuration file to its end by a signal.

#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace zutools::zuhost {

struct TServeOptions {
    std::u16string ConfigFile = u"zuhost.toml";
    std::optional<std::uint16_t> Port; // in place of the configured one
};

/// Serves until SIGINT or SIGTERM and returns the exit code: 0 after a clean stop, 1 when it could not start,
/// with a `zuhost: message` on standard error. Called once, on the main thread, before any other thread is
/// made, with the library not started and no services set. Nothing is written to standard output.
[[nodiscard]] int RunServe(const TServeOptions& Options);

} // namespace zutools::zuhost
