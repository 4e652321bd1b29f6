// The main of every test program.

#include "tests/support/CrashExit.h"

#include <gmock/gmock.h>

#include <ctime>

int main(int argc, char** argv) {
    // The C library takes the time zone in at the first question, under a lock that ThreadSanitizer does not
    // see: it is asked before there are threads.
    std::tm Moment = {};
    static_cast<void>(std::mktime(&Moment));
    zutools::tests::ExitOnCrash();
    testing::InitGoogleMock(&argc, argv);
    return RUN_ALL_TESTS();
}
