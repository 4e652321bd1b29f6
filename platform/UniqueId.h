// Identifiers that no two callers ever share. Called on any thread; never blocks once the system has started.

#pragma once

#include <string>

namespace zutools::platform {

/// A random GUID (version 4) in capital letters: {XXXXXXXX-XXXX-XXXX-XXXX-XXXXXXXXXXXX}, 38 units. Its 122
/// random bits come from the system's source, so it also serves as a name that cannot be guessed.
[[nodiscard]] std::u16string NewUniqueId();

} // namespace zutools::platform
