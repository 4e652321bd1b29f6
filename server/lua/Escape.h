// Text made safe for a place in an address. UTF-8 passes as its bytes.

#pragma once

#include <string>
#include <string_view>

namespace zutools::server {

/// For one value in a query or path: everything but A-Z a-z 0-9 - . _ ~ as %XX.
[[nodiscard]] std::string UrlEscape(std::string_view Text);

} // namespace zutools::server
