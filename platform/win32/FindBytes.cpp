#include "platform/FindBytes.h"

#include <algorithm>
#include <functional>

namespace zutools::platform {

std::size_t FindBytes(std::string_view Bytes, std::string_view Wanted) {
    constexpr std::size_t Short = 8; // the table costs more than it saves
    if (Wanted.size() < Short) return Bytes.find(Wanted);
    const auto Found =
        std::search(Bytes.begin(), Bytes.end(), std::boyer_moore_searcher(Wanted.begin(), Wanted.end()));
    return Found == Bytes.end() ? std::string_view::npos : static_cast<std::size_t>(Found - Bytes.begin());
}

} // namespace zutools::platform
