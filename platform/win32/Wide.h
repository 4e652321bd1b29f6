// The same text under the two names that it has on Windows: char16_t here, wchar_t in the system's calls.

#pragma once

#include <string_view>

namespace zutools::platform {

static_assert(sizeof(wchar_t) == sizeof(char16_t));

inline const wchar_t* Wide(const char16_t* Text) {
    return reinterpret_cast<const wchar_t*>(Text);
}
inline wchar_t* Wide(char16_t* Text) {
    return reinterpret_cast<wchar_t*>(Text);
}
inline const char16_t* Narrow(const wchar_t* Text) {
    return reinterpret_cast<const char16_t*>(Text);
}

} // namespace zutools::platform
