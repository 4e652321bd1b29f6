// What the shared conversion of 8-bit texts asks of the system: one byte's character. For platform/ itself.

#pragma once

#include <cstdint>

namespace zutools::platform {

/// Marks a byte that a code page leaves undefined; no character is it.
constexpr char16_t NoCharacter = 0xFFFF;

/// Fills the upper half (bytes 0x80 to 0xFF) of a single-byte Windows code page; the lower half is ASCII in
/// all of them. False when the system does not know the page.
[[nodiscard]] bool DecodeUpperHalf(unsigned CodePage, char16_t (&Characters)[128]);

} // namespace zutools::platform
