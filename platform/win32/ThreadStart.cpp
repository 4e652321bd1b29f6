#include "platform/ThreadStart.h"

#include <windows.h>

#include <objbase.h>

namespace zutools::platform {

// Names of threads need a call that older systems lack; debuggers do without.
TThreadStart::TThreadStart(std::string_view)
    : FHasObjects(SUCCEEDED(CoInitialize(nullptr))) {}

TThreadStart::~TThreadStart() {
    if (FHasObjects) CoUninitialize();
}

} // namespace zutools::platform
