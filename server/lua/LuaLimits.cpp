#include "server/lua/LuaLimits.h"

#include "host/WorkClock.h"
#include "server/lua/LuaState.h"

#include <algorithm>
#include <cstdlib>
#include <utility>

namespace zutools::server {

void TLuaLimits::Watch(lua_State* L) {
    FUsed = static_cast<std::size_t>(lua_gc(L, LUA_GCCOUNT)) * 1024 +
            static_cast<std::size_t>(lua_gc(L, LUA_GCCOUNTB));
    lua_setallocf(L, Allocate, this);
}

void TLuaLimits::Start(lua_State* L) {
    FTaken = 0;
    FInstructionsPassed = FMemoryPassed = FTimePassed = FIsDenied = false;
    if (Any() || CurrentWorkClock() != nullptr) lua_sethook(L, Hook, LUA_MASKCOUNT, Step);
}

std::string TLuaLimits::Passed() const {
    if (FTimePassed) return "the time of the page is over";
    if (FInstructionsPassed) {
        return "the script took more than " + std::to_string(FInstructions) + " instructions";
    }
    if (FMemoryPassed || FIsDenied) {
        return "not enough memory: a script may hold " + std::to_string(FBytes) + " bytes";
    }
    return {};
}

void* TLuaLimits::Allocate(void* Self, void* Block, std::size_t OldSize, std::size_t NewSize) {
    auto& Limits = *static_cast<TLuaLimits*>(Self);
    if (Block == nullptr) OldSize = 0; // Lua tells what the new block is for
    if (NewSize == 0) {
        std::free(Block);
        Limits.FUsed -= OldSize;
        return nullptr;
    }
    if (NewSize > OldSize && Limits.FBytes != 0 && !Limits.Admit({Block, NewSize}, NewSize - OldSize))
        return nullptr;
    void* const Result = std::realloc(Block, NewSize);
    if (Result != nullptr) Limits.FUsed += NewSize - OldSize; // wraps round when it shrinks
    return Result != nullptr || NewSize > OldSize ? Result : Block;
}

// Lua answers a refusal with a full collection and the same request once more; only the second refusal is an
// error to the script. Buffers of the string library do not ask again. So a refused request that is refused
// again, or not repeated at all, means that the limit was passed.
bool TLuaLimits::Admit(TRequest Request, std::size_t Growth) {
    const bool Fits = Growth <= FBytes && FUsed <= FBytes - Growth;
    if (FIsDenied && !(Fits && Request == FDenied)) FMemoryPassed = true;
    FIsDenied = !Fits;
    FDenied = Request;
    return Fits;
}

bool TLuaLimits::Take(std::uint64_t Instructions) {
    FTaken += Instructions;
    if (FInstructions != 0 && FTaken > FInstructions) FInstructionsPassed = true;
    if (!FTimePassed && WorkMustEnd()) FTimePassed = true;
    return FInstructionsPassed || FTimePassed || FMemoryPassed || FIsDenied;
}

void TLuaLimits::Raise(lua_State* L, int Level) const {
    lua_sethook(L, Hook, LUA_MASKCOUNT, 1); // and again at once, whoever caught it
    {
        const std::string Text = Passed();
        luaL_where(L, Level);
        for (int Above = 1; lua_rawlen(L, -1) == 0 && Above < 10; ++Above) { // C functions have no place
            lua_pop(L, 1);
            luaL_where(L, Level + Above);
        }
        lua_pushlstring(L, Text.data(), Text.size());
    }
    lua_concat(L, 2);
    lua_error(L);
    std::abort(); // not reached
}

void TLuaLimits::Work(lua_State* L, std::uint64_t Instructions) {
    if (Take(Instructions)) Raise(L, 1);
}

void TLuaLimits::Hold(lua_State* L, std::size_t Before, std::size_t Now) {
    FUsed += Now - Before; // wraps round when it shrinks
    if (Now <= Before) return;
    if (FBytes != 0 && FUsed > FBytes) {
        lua_gc(L, LUA_GCCOLLECT);
        if (FUsed > FBytes) FMemoryPassed = true;
        return Work(L, 0);
    }
    PassOn(L, Now - Before);
}

void TLuaLimits::PassOn(lua_State* L, std::size_t Bytes) {
    constexpr std::size_t Enough = 1 << 20;
    FPassedOn += Bytes;
    if (FPassedOn < Enough) return;
    // As if the script had made so much garbage itself.
    lua_gc(L, LUA_GCSTEP,
           static_cast<int>(std::min<std::size_t>(std::exchange(FPassedOn, 0) / 1024, 1 << 20)));
}

void TLuaLimits::Hook(lua_State* L, lua_Debug*) {
    const TLuaLimits& Limits = StateOf(L).Limits;
    if (StateOf(L).Limits.Take(Step)) Limits.Raise(L, 0); // a hook has no level of its own
}

} // namespace zutools::server
