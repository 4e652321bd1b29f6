// Text made safe for a place in a page or an address. Bytes in, bytes out; UTF-8 passes unchanged or as its
// bytes.

#pragma once

#include <string>
#include <string_view>

namespace zutools::server {

/// For HTML text and quoted attributes: & < > " ' as character references.
[[nodiscard]] std::string HtmlEscape(std::string_view Text);

/// For one value in a query or path: everything but A-Z a-z 0-9 - . _ ~ as %XX.
[[nodiscard]] std::string UrlEscape(std::string_view Text);

} // namespace zutools::server
