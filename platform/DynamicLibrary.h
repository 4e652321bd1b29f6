// Modules that are loaded while the process runs.

#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

// The calling convention of Windows' own libraries: __stdcall there, nothing elsewhere.
#ifdef _WIN32
#define ZU_STDCALL __stdcall
#else
#define ZU_STDCALL
#endif

namespace zutools::platform {

/// Why a module was not loaded or a function not found: the system's code (0 where it has none) and its
/// words.
struct TModuleFault {
    int Code = 0;
    std::u16string Text;
};

/// A loaded module. Its code and data are there as long as this object.
class TDynamicLibrary {
public:
    /// Looks for nothing but this file; what it needs is looked for as the system does.
    /// @throws std::runtime_error with the system's words, `Cannot load library "...": ...`.
    explicit TDynamicLibrary(std::u16string_view File);
    /// As the system looks for modules: a bare name in its library path, a path where it says.
    /// @return nothing when that fails; then `Fault` says why.
    [[nodiscard]] static std::optional<TDynamicLibrary> Search(std::u16string_view Name, TModuleFault& Fault);
    ~TDynamicLibrary();
    TDynamicLibrary(TDynamicLibrary&& Other) noexcept;
    TDynamicLibrary& operator=(TDynamicLibrary&&) = delete;

    /// The address of a function or variable that the module shows; null when there is none.
    [[nodiscard]] void* Find(const char* Name) const;
    /// The same; without one `Fault` says why.
    [[nodiscard]] void* Find(const char* Name, TModuleFault& Fault) const;

    /// The absolute path of the module's file; empty when the system does not tell.
    [[nodiscard]] std::u16string Path() const;

private:
    struct THandle {
        void* Value;
    };
    explicit TDynamicLibrary(THandle Handle)
        : FHandle(Handle.Value) {}

    void* FHandle;
};

/// The names that a module written for Windows may have on this system, in the order to try them: the name
/// itself, and where modules end in ".so" the name with that in place of ".dll".
[[nodiscard]] std::vector<std::u16string> ModuleNames(std::u16string_view Name);

} // namespace zutools::platform
