#include "platform/DynamicLibrary.h"

#include "platform/File.h"
#include "platform/Text.h"

#include <windows.h>

#include <array>
#include <stdexcept>
#include <utility>

namespace zutools::platform {

TDynamicLibrary::TDynamicLibrary(std::u16string_view File) {
    const std::wstring Name(File.begin(), File.end());
    // A whole path, so that the system's folders are not looked through.
    std::array<wchar_t, 32'768> Path{};
    const DWORD Length =
        ::GetFullPathNameW(Name.c_str(), static_cast<DWORD>(Path.size()), Path.data(), nullptr);
    const bool Whole = Length > 0 && Length < Path.size();
    FHandle = ::LoadLibraryExW(Whole ? Path.data() : Name.c_str(), nullptr, LOAD_WITH_ALTERED_SEARCH_PATH);
    if (FHandle != nullptr) return;
    const auto Code = static_cast<int>(::GetLastError());
    throw std::runtime_error(Utf16ToUtf8(TSystemError(u"Cannot load library", File, Code).Message()));
}

namespace {

TModuleFault LastFault() {
    const auto Code = static_cast<int>(::GetLastError());
    return {Code, SystemErrorText(Code)};
}

} // namespace

std::optional<TDynamicLibrary> TDynamicLibrary::Search(std::u16string_view Name, TModuleFault& Fault) {
    void* const Handle = ::LoadLibraryW(std::wstring(Name.begin(), Name.end()).c_str());
    if (Handle != nullptr) return TDynamicLibrary(THandle{Handle});
    Fault = LastFault();
    return std::nullopt;
}

TDynamicLibrary::~TDynamicLibrary() {
    if (FHandle != nullptr) ::FreeLibrary(static_cast<HMODULE>(FHandle));
}

TDynamicLibrary::TDynamicLibrary(TDynamicLibrary&& Other) noexcept
    : FHandle(std::exchange(Other.FHandle, nullptr)) {}

void* TDynamicLibrary::Find(const char* Name) const {
    return reinterpret_cast<void*>(::GetProcAddress(static_cast<HMODULE>(FHandle), Name));
}

void* TDynamicLibrary::Find(const char* Name, TModuleFault& Fault) const {
    void* const Address = Find(Name);
    if (Address == nullptr) Fault = LastFault();
    return Address;
}

std::u16string TDynamicLibrary::Path() const {
    std::array<wchar_t, 32'768> Path{};
    const DWORD Length =
        ::GetModuleFileNameW(static_cast<HMODULE>(FHandle), Path.data(), static_cast<DWORD>(Path.size()));
    return {Path.data(), Path.data() + Length};
}

std::vector<std::u16string> ModuleNames(std::u16string_view Name) {
    return {std::u16string(Name)};
}

} // namespace zutools::platform
