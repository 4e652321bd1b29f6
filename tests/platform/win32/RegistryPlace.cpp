#include "tests/platform/RegistryPlace.h"

#include <windows.h>

#include <string>

namespace zutools::tests {

namespace {

HKEY Own = nullptr;

std::wstring OwnName() {
    return L"Software\\ZuToolsTest" + std::to_wstring(GetCurrentProcessId());
}

} // namespace

// The user's root leads to a key that no other test has.
TRegistryPlace::TRegistryPlace() {
    RegCreateKeyExW(HKEY_CURRENT_USER, OwnName().c_str(), 0, nullptr, REG_OPTION_NON_VOLATILE, KEY_ALL_ACCESS,
                    nullptr, &Own, nullptr);
    RegOverridePredefKey(HKEY_CURRENT_USER, Own);
}

TRegistryPlace::~TRegistryPlace() {
    RegOverridePredefKey(HKEY_CURRENT_USER, nullptr);
    RegCloseKey(Own);
    RegDeleteTreeW(HKEY_CURRENT_USER, OwnName().c_str());
}

} // namespace zutools::tests
