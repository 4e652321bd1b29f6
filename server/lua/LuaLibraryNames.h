// Names of functions in the libraries of scripts, for reference pages.

#pragma once

#include <string_view>
#include <vector>

namespace zutools::server {

struct TLibraryName {
    std::u16string_view Name;      // whole: "zu.html"
    std::u16string_view Arguments; // as they stand between the brackets
    std::u16string_view Help;      // one line
    std::u16string_view Example{}; // one line of Lua; with "--> text" behind it an expression of that value
};

/// `zu.html`, `zu.com` and what stands in `zu.automation`.
[[nodiscard]] std::vector<TLibraryName> AutomationNames();

/// All of `zu`, `db` and `session`, and the methods that objects have beside their registered names.
[[nodiscard]] std::vector<TLibraryName> LibraryNames();

} // namespace zutools::server
