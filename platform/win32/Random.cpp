#include "platform/Random.h"

#include <windows.h>

#include <bcrypt.h>

#include <algorithm>
#include <cstdlib>

namespace zutools::platform {

void FillRandom(std::span<std::byte> Buffer) {
    while (!Buffer.empty()) {
        const auto Size = static_cast<ULONG>(std::min<std::size_t>(Buffer.size(), 0x10000000));
        const NTSTATUS Status = BCryptGenRandom(nullptr, reinterpret_cast<PUCHAR>(Buffer.data()), Size,
                                                BCRYPT_USE_SYSTEM_PREFERRED_RNG);
        if (Status < 0) std::abort();
        Buffer = Buffer.subspan(Size);
    }
}

} // namespace zutools::platform
