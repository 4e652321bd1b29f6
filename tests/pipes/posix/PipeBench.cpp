#include "tests/pipes/PipeBench.h"

#include "platform/Text.h"
#include "tests/support/TempFolder.h"

#include <cstdlib>
#include <filesystem>

namespace zutools::tests {

void UseOwnPipeFolder() {
    static const TTempFolder Folder;
    ::setenv("XDG_RUNTIME_DIR", platform::Utf16ToUtf8(Folder.Path()).c_str(), 1);
}

std::size_t OpenHandles() {
    const std::filesystem::directory_iterator Files("/proc/self/fd");
    return static_cast<std::size_t>(std::distance(begin(Files), end(Files)));
}

} // namespace zutools::tests
