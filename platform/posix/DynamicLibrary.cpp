#include "platform/DynamicLibrary.h"

#include "platform/Text.h"

#include <dlfcn.h>

#include <stdexcept>
#include <utility>

namespace zutools::platform {

TDynamicLibrary::TDynamicLibrary(std::u16string_view File) {
    std::string Name = Utf16ToUtf8(File);
    if (Name.find('/') == std::string::npos)
        Name.insert(0, "./"); // else the system's folders are looked through
    FHandle = ::dlopen(Name.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (FHandle != nullptr) return;
    const char* const Reason = ::dlerror();
    throw std::runtime_error("Cannot load library \"" + Utf16ToUtf8(File) +
                             "\": " + (Reason != nullptr ? Reason : "no reason is given"));
}

TDynamicLibrary::~TDynamicLibrary() {
    if (FHandle != nullptr) ::dlclose(FHandle);
}

TDynamicLibrary::TDynamicLibrary(TDynamicLibrary&& Other) noexcept
    : FHandle(std::exchange(Other.FHandle, nullptr)) {}

void* TDynamicLibrary::Find(const char* Name) const {
    return ::dlsym(FHandle, Name);
}

} // namespace zutools::platform
