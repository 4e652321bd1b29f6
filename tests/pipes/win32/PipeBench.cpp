#include "tests/pipes/PipeBench.h"

#include <windows.h>

namespace zutools::tests {

void UseOwnPipeFolder() {}

std::size_t OpenHandles() {
    DWORD Count = 0;
    GetProcessHandleCount(GetCurrentProcess(), &Count);
    return Count;
}

} // namespace zutools::tests
