#include "platform/DynamicLibrary.h"

#include "platform/File.h"
#include "platform/Text.h"

#include <dlfcn.h>
#include <link.h>

#include <filesystem>
#include <stdexcept>
#include <utility>

namespace zutools::platform {

namespace {

// The loader gives no codes, but the system's sentence for one stands at the end of its own.
TModuleFault LastFault() {
    constexpr int LastCode = 133; // of Linux
    const char* const Said = ::dlerror();
    TModuleFault Fault{0, Said != nullptr ? Utf8ToUtf16(Said) : u"no reason is given"};
    for (int Code = 1; Code <= LastCode && Fault.Code == 0; ++Code)
        if (Fault.Text.ends_with(u": " + SystemErrorText(Code))) Fault.Code = Code;
    return Fault;
}

} // namespace

TDynamicLibrary::TDynamicLibrary(std::u16string_view File) {
    std::string Name = Utf16ToUtf8(File);
    if (Name.find('/') == std::string::npos)
        Name.insert(0, "./"); // else the system's folders are looked through
    FHandle = ::dlopen(Name.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (FHandle != nullptr) return;
    throw std::runtime_error("Cannot load library \"" + Utf16ToUtf8(File) +
                             "\": " + Utf16ToUtf8(LastFault().Text));
}

std::optional<TDynamicLibrary> TDynamicLibrary::Search(std::u16string_view Name, TModuleFault& Fault) {
    void* const Handle = ::dlopen(Utf16ToUtf8(Name).c_str(), RTLD_NOW | RTLD_LOCAL);
    if (Handle != nullptr && !Name.empty()) return TDynamicLibrary(THandle{Handle});
    if (Handle != nullptr) ::dlclose(Handle); // no name means the program itself
    Fault = Handle != nullptr ? TModuleFault{0, u"the name is empty"} : LastFault();
    return std::nullopt;
}

TDynamicLibrary::~TDynamicLibrary() {
    if (FHandle != nullptr) ::dlclose(FHandle);
}

TDynamicLibrary::TDynamicLibrary(TDynamicLibrary&& Other) noexcept
    : FHandle(std::exchange(Other.FHandle, nullptr)) {}

void* TDynamicLibrary::Find(const char* Name) const {
    return ::dlsym(FHandle, Name);
}

void* TDynamicLibrary::Find(const char* Name, TModuleFault& Fault) const {
    void* const Address = Find(Name);
    if (Address == nullptr) Fault = LastFault();
    return Address;
}

std::u16string TDynamicLibrary::Path() const {
    const link_map* Map = nullptr;
    if (::dlinfo(FHandle, RTLD_DI_LINKMAP, static_cast<void*>(&Map)) != 0 || *Map->l_name == '\0') return {};
    return Utf8ToUtf16(std::filesystem::absolute(Map->l_name).string());
}

std::vector<std::u16string> ModuleNames(std::u16string_view Name) {
    constexpr std::u16string_view Windows = u".dll";
    std::u16string_view Stem = Name;
    if (Name.size() >= Windows.size() && EqualAsciiNoCase(Name.substr(Name.size() - Windows.size()), Windows))
        Stem.remove_suffix(Windows.size());
    if (Name.ends_with(u".so")) return {std::u16string(Name)};
    return {std::u16string(Name), std::u16string(Stem) + u".so"};
}

} // namespace zutools::platform
