// Secrets from the system's random source.

#pragma once

#include <cstddef>
#include <span>

namespace zutools::platform {

/// Fills `Buffer` with bytes fit for keys and session identifiers. Ends the process when the system has no
/// source: going on with a weak secret would be worse.
void FillRandom(std::span<std::byte> Buffer);

} // namespace zutools::platform
