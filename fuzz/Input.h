// What the fuzz targets share: the end of a run that must not be, and the input as bytes or as text.

#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <iostream>
#include <string>
#include <string_view>

namespace zutools::fuzz {

/// Ends the run as a find unless `Holds`; `What` tells the reader of the log what did not.
inline void Require(bool Holds, std::string_view What = {}) {
    if (Holds) return;
    if (!What.empty()) std::cerr << What << '\n';
    std::abort();
}

inline std::string_view Bytes(const std::uint8_t* Data, std::size_t Size) {
    return {reinterpret_cast<const char*>(Data), Size};
}

/// The input from byte `From` on as UTF-16 of the machine's order, unpaired surrogates and all; an odd byte
/// at the end stays out.
inline std::u16string Utf16(const std::uint8_t* Data, std::size_t Size, std::size_t From = 0) {
    std::u16string Text((Size - From) / 2, u'\0');
    if (!Text.empty()) std::memcpy(Text.data(), Data + From, Text.size() * 2);
    return Text;
}

} // namespace zutools::fuzz
