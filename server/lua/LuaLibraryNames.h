// Names of functions in the libraries of scripts, for reference pages.

#pragma once

#include <string_view>
#include <vector>

namespace zutools::server {

struct TLibraryName {
    std::u16string_view Name;      // whole: "zu.html"
    std::u16string_view Arguments; // as they stand between the brackets
    std::u16string_view Help;      // one line
};

/// `zu.html`, `zu.com` and what stands in `zu.automation`.
[[nodiscard]] std::vector<TLibraryName> AutomationNames();

} // namespace zutools::server
