// Lua's patterns with a bound on their work. For LuaLimitsBounded.cpp.
//
// Matching may take exponential time, which Lua's own functions give nobody a chance to stop. This one does
// what theirs does, with the same results and the same errors, and reports its steps to the limits of the
// run.

#pragma once

#include <lua.hpp>

#include <array>
#include <cstddef>
#include <string_view>

namespace zutools::server {

class TLuaMatcher {
public:
    /// Both texts stay where they are, and end with a NUL as Lua's strings do.
    TLuaMatcher(lua_State* L, std::string_view Subject, std::string_view Pattern)
        : FState(L)
        , FBegin(Subject.data())
        , FEnd(Subject.data() + Subject.size())
        , FPattern(Pattern.data())
        , FPatternEnd(Pattern.data() + Pattern.size()) {}

    /// Where a match that begins at `At` ends; null for none. Raises Lua's errors for a malformed pattern,
    /// and that of a limit that was passed.
    [[nodiscard]] const char* Match(const char* At);

    // Of the last match, which went from `From` to `To`:
    /// Pushes all captures, or the whole match when there are none and `From` is not null; how many.
    int PushCaptures(const char* From, const char* To);
    /// Pushes one; the first is the whole match when there are none.
    void PushCapture(int Index, const char* From, const char* To);

private:
    static constexpr int MostCaptures = 32;
    static constexpr int MostDepth = 200; // of the C stack
    static constexpr std::ptrdiff_t Unfinished = -1;
    static constexpr std::ptrdiff_t Position = -2;
    struct TCapture {
        const char* Begin;
        std::ptrdiff_t Length;
    };

    const char* MatchHere(const char* At, const char* Pattern);
    const char* MatchItem(const char* At, const char*& Pattern, bool& Again);
    const char* MatchSingle(const char* At, const char*& Pattern, bool& Again);
    const char* MatchMost(const char* At, const char* Item, const char* ItemEnd);
    const char* MatchLeast(const char* At, const char* Item, const char* ItemEnd);
    const char* MatchBalanced(const char* At, const char* Pair);
    const char* OpenCapture(const char* At, const char* Pattern, std::ptrdiff_t Kind);
    const char* CloseCapture(const char* At, const char* Pattern);
    const char* MatchCaptured(const char* At, char Digit);
    [[nodiscard]] const char* ItemEnd(const char* Item) const;
    [[nodiscard]] bool Fits(const char* At, const char* Item, const char* ItemEnd) const;
    void Count(std::size_t Steps);

    lua_State* const FState;
    const char* const FBegin;
    const char* const FEnd;
    const char* const FPattern;
    const char* const FPatternEnd;
    std::size_t FSteps = 0;
    int FDepth = 0;
    int FLevel = 0; // captures, finished or not
    std::array<TCapture, MostCaptures> FCaptures;
};

} // namespace zutools::server
