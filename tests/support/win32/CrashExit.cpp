#include "tests/support/CrashExit.h"

#include <windows.h>

namespace zutools::tests {

namespace {

LONG WINAPI EndProcess(EXCEPTION_POINTERS*) {
    TerminateProcess(GetCurrentProcess(), 5);
    return EXCEPTION_EXECUTE_HANDLER;
}

} // namespace

void ExitOnCrash() {
    ULONG Reserve = 64 * 1024; // lets the filter run after a stack overflow
    SetThreadStackGuarantee(&Reserve);
    SetUnhandledExceptionFilter(EndProcess);
}

} // namespace zutools::tests
