#include "tests/support/CrashExit.h"

namespace zutools::tests {

void ExitOnCrash() {}

} // namespace zutools::tests
