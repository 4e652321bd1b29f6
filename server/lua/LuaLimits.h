// How much one run of a script may take: virtual machine instructions and bytes.
//
// For LuaEngine.cpp. Once a limit was passed, every further instruction of the run raises the error again, so
// that a script cannot catch it and go on.

#pragma once

#include <lua.hpp>

#include <cstddef>
#include <cstdint>
#include <string>

namespace zutools::server {

class TLuaLimits {
public:
    /// Zero means no limit.
    TLuaLimits(std::uint64_t Instructions, std::size_t Bytes)
        : FInstructions(Instructions)
        , FBytes(Bytes) {}
    TLuaLimits(const TLuaLimits&) = delete;
    TLuaLimits& operator=(const TLuaLimits&) = delete;

    [[nodiscard]] bool Any() const { return FInstructions != 0 || FBytes != 0; }
    /// Counts the state's memory from now on. The state must have been made with realloc and free.
    void Watch(lua_State* L);
    /// A run begins: nothing is used up yet.
    void Start(lua_State* L);
    /// A coroutine was made: it may run this long before its own count is looked at, so that is charged at
    /// once.
    void ChargeCoroutine() { FTaken += Step; }
    /// What was passed in this run, for the message; empty when nothing was.
    [[nodiscard]] std::string Passed() const;

    /// Instructions between two looks at the limits.
    static constexpr int Step = 1000;

private:
    struct TRequest {
        const void* Block = nullptr;
        std::size_t Size = 0;
        friend bool operator==(const TRequest&, const TRequest&) = default;
    };
    static void* Allocate(void* Self, void* Block, std::size_t OldSize, std::size_t NewSize);
    static void Hook(lua_State* L, lua_Debug* Record);
    [[nodiscard]] bool Admit(TRequest Request, std::size_t Growth);

    const std::uint64_t FInstructions;
    const std::size_t FBytes;
    std::uint64_t FTaken = 0;
    std::size_t FUsed = 0;
    bool FInstructionsPassed = false;
    bool FMemoryPassed = false;
    bool FIsDenied = false;
    TRequest FDenied; // the request that was refused last, while FIsDenied
};

class TLuaModules;

/// Replaces the library functions that could be used to pass a limit unseen (LuaLimitsGuards.cpp). Inside a
/// protected call.
void GuardLibraries(lua_State* L, const TLuaModules& Modules);

} // namespace zutools::server
