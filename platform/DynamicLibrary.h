// Modules that are loaded while the process runs.

#pragma once

#include <string_view>

namespace zutools::platform {

/// A loaded module. Its code and data are there as long as this object.
class TDynamicLibrary {
public:
    /// Looks for nothing but this file; what it needs is looked for as the system does.
    /// @throws std::runtime_error with the system's words, `Cannot load library "...": ...`.
    explicit TDynamicLibrary(std::u16string_view File);
    ~TDynamicLibrary();
    TDynamicLibrary(TDynamicLibrary&& Other) noexcept;
    TDynamicLibrary& operator=(TDynamicLibrary&&) = delete;

    /// The address of a function or variable that the module shows; null when there is none.
    [[nodiscard]] void* Find(const char* Name) const;

private:
    void* FHandle;
};

} // namespace zutools::platform
