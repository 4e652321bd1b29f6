// A place of the system's settings store that is the test's own and goes with it.

#pragma once

#include "tests/support/TempFolder.h"

namespace zutools::tests {

class TRegistryPlace {
public:
    TRegistryPlace();
    ~TRegistryPlace();
    TRegistryPlace(const TRegistryPlace&) = delete;
    TRegistryPlace& operator=(const TRegistryPlace&) = delete;

private:
    TTempFolder FFolder;
};

} // namespace zutools::tests
