#include "server/lua/LuaLimits.h"

#include "server/lua/LuaState.h"

#include <cstdlib>

namespace zutools::server {

void TLuaLimits::Watch(lua_State* L) {
    FUsed = static_cast<std::size_t>(lua_gc(L, LUA_GCCOUNT)) * 1024 +
            static_cast<std::size_t>(lua_gc(L, LUA_GCCOUNTB));
    lua_setallocf(L, Allocate, this);
}

void TLuaLimits::Start(lua_State* L) {
    FTaken = 0;
    FInstructionsPassed = FMemoryPassed = FIsDenied = false;
    if (Any()) lua_sethook(L, Hook, LUA_MASKCOUNT, Step);
}

std::string TLuaLimits::Passed() const {
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

void TLuaLimits::Hook(lua_State* L, lua_Debug*) {
    TLuaLimits& Limits = StateOf(L).Limits;
    Limits.FTaken += Step;
    if (Limits.FInstructions != 0 && Limits.FTaken > Limits.FInstructions) Limits.FInstructionsPassed = true;
    if (!Limits.FInstructionsPassed && !Limits.FMemoryPassed && !Limits.FIsDenied) return;
    lua_sethook(L, Hook, LUA_MASKCOUNT, 1);
    {
        const std::string Text = Limits.Passed();
        luaL_where(L, 0); // a hook has no level of its own
        lua_pushlstring(L, Text.data(), Text.size());
    }
    lua_concat(L, 2);
    lua_error(L);
}

} // namespace zutools::server
