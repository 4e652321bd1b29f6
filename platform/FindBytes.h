// A search whose time does not depend on what is searched for: for texts that strangers choose.

#pragma once

#include <cstddef>
#include <string_view>

namespace zutools::platform {

/// The 0-based place of the first `Wanted` in `Bytes`, npos when there is none; an empty one stands at 0.
/// Linear in both lengths, whatever the bytes (std::string_view::find is not).
[[nodiscard]] std::size_t FindBytes(std::string_view Bytes, std::string_view Wanted);

} // namespace zutools::platform
