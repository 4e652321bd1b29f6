// The main of every test program.

#include "tests/support/CrashExit.h"

#include <gmock/gmock.h>

int main(int argc, char** argv) {
    zutools::tests::ExitOnCrash();
    testing::InitGoogleMock(&argc, argv);
    return RUN_ALL_TESTS();
}
