// How much one run of a script may take: virtual machine instructions, bytes, and the time of the work that
// it is part of (host/WorkClock.h).
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
    /// A function of a library did so much as if it were instructions. Raises when a limit is passed.
    void Work(lua_State* L, std::uint64_t Instructions);
    /// An object of the library that a script owns holds so many bytes more, or fewer: they count as the
    /// script's own. Collects garbage in time. Raises when that does not help.
    void Hold(lua_State* L, std::size_t Before, std::size_t Now);
    /// Bytes went from the script into such an object, which may have dropped others for them.
    void PassOn(lua_State* L, std::size_t Bytes);
    /// An object is gone with what it held.
    void Release(std::size_t Bytes) { FUsed -= Bytes; }
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
    /// Looks at the limits after so many instructions; whether one was passed.
    [[nodiscard]] bool Take(std::uint64_t Instructions);
    [[noreturn]] void Raise(lua_State* L, int Level) const;

    const std::uint64_t FInstructions;
    const std::size_t FBytes;
    std::uint64_t FTaken = 0;
    std::size_t FUsed = 0;
    std::size_t FPassedOn = 0; // since the collector was told last
    bool FInstructionsPassed = false;
    bool FMemoryPassed = false;
    bool FTimePassed = false;
    bool FIsDenied = false;
    TRequest FDenied; // the request that was refused last, while FIsDenied
};

class TLuaModules;

/// Replaces the library functions that could be used to pass a limit unseen (LuaLimitsGuards.cpp). Inside a
/// protected call.
void GuardLibraries(lua_State* L, const TLuaModules& Modules);
/// Replaces those whose work has no bound (LuaLimitsBounded.cpp). The same.
void BoundLibraries(lua_State* L, const TLuaModules& Modules);

} // namespace zutools::server
