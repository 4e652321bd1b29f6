#include "platform/FindBytes.h"

#include <cstring>

namespace zutools::platform {

std::size_t FindBytes(std::string_view Bytes, std::string_view Wanted) {
    if (Wanted.empty()) return 0;
    const void* const Found = ::memmem(Bytes.data(), Bytes.size(), Wanted.data(), Wanted.size());
    if (Found == nullptr) return std::string_view::npos;
    return static_cast<std::size_t>(static_cast<const char*>(Found) - Bytes.data());
}

} // namespace zutools::platform
