#include "platform/Random.h"

#include <cerrno>
#include <cstdlib>

#include <sys/random.h>

namespace zutools::platform {

void FillRandom(std::span<std::byte> Buffer) {
    while (!Buffer.empty()) {
        const ssize_t Got = getrandom(Buffer.data(), Buffer.size(), 0);
        if (Got < 0 && errno == EINTR) continue;
        if (Got <= 0) std::abort();
        Buffer = Buffer.subspan(static_cast<std::size_t>(Got));
    }
}

} // namespace zutools::platform
