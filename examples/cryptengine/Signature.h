// A real signature of the system's.

#pragma once

#include <cstddef>

namespace sample {

/// Bytes.
[[nodiscard]] int SignatureLength();

/// Writes SignatureLength() bytes. The key lives as long as the library. False when the system refuses.
[[nodiscard]] bool Sign(const void* Data, std::size_t Size, unsigned char* Signature);
[[nodiscard]] bool Verify(const void* Data, std::size_t Size, const unsigned char* Signature);

} // namespace sample
