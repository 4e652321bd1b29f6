#include "tests/platform/RegistryPlace.h"

#include "platform/Text.h"

#include <cstdlib>

namespace zutools::tests {

TRegistryPlace::TRegistryPlace() {
    setenv("XDG_CONFIG_HOME", platform::Utf16ToUtf8(FFolder.Path()).c_str(), 1);
}

TRegistryPlace::~TRegistryPlace() {
    unsetenv("XDG_CONFIG_HOME");
}

} // namespace zutools::tests
