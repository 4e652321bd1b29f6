#include "server/lua/LuaPatterns.h"

#include "server/lua/LuaState.h"

#include <cctype>
#include <cstring>

namespace zutools::server {

namespace {

constexpr char Escape = '%';

unsigned char Byte(char C) {
    return static_cast<unsigned char>(C);
}

bool IsOfClass(unsigned char C, unsigned char Class) {
    bool Is = false;
    switch (std::tolower(Class)) {
    case 'a':
        Is = std::isalpha(C) != 0;
        break;
    case 'c':
        Is = std::iscntrl(C) != 0;
        break;
    case 'd':
        Is = std::isdigit(C) != 0;
        break;
    case 'g':
        Is = std::isgraph(C) != 0;
        break;
    case 'l':
        Is = std::islower(C) != 0;
        break;
    case 'p':
        Is = std::ispunct(C) != 0;
        break;
    case 's':
        Is = std::isspace(C) != 0;
        break;
    case 'u':
        Is = std::isupper(C) != 0;
        break;
    case 'w':
        Is = std::isalnum(C) != 0;
        break;
    case 'x':
        Is = std::isxdigit(C) != 0;
        break;
    case 'z':
        Is = C == 0;
        break;
    default:
        return Class == C;
    }
    return Is != (std::isupper(Class) != 0);
}

/// `Set` begins at "[", `Last` is its "]".
bool IsInSet(unsigned char C, const char* Set, const char* Last) {
    bool Is = true;
    if (Set[1] == '^') {
        Is = false;
        ++Set;
    }
    while (++Set < Last) {
        if (*Set == Escape) {
            if (IsOfClass(C, Byte(*++Set))) return Is;
        } else if (Set[1] == '-' && Set + 2 < Last) {
            Set += 2;
            if (Byte(Set[-2]) <= C && C <= Byte(*Set)) return Is;
        } else if (Byte(*Set) == C) {
            return Is;
        }
    }
    return !Is;
}

} // namespace

const char* TLuaMatcher::Match(const char* At) {
    FLevel = 0;
    FDepth = 0;
    return MatchHere(At, FPattern);
}

int TLuaMatcher::PushCaptures(const char* From, const char* To) {
    const int Count = FLevel == 0 && From != nullptr ? 1 : FLevel;
    luaL_checkstack(FState, Count, "too many captures");
    for (int Index = 0; Index < Count; ++Index) PushCapture(Index, From, To);
    return Count;
}

void TLuaMatcher::PushCapture(int Index, const char* From, const char* To) {
    if (Index >= FLevel) {
        if (Index != 0) luaL_error(FState, "invalid capture index %%%d", Index + 1);
        lua_pushlstring(FState, From, static_cast<std::size_t>(To - From));
        return;
    }
    const TCapture& Capture = FCaptures[static_cast<std::size_t>(Index)];
    if (Capture.Length == Unfinished) luaL_error(FState, "unfinished capture");
    if (Capture.Length == Position) return lua_pushinteger(FState, Capture.Begin - FBegin + 1);
    lua_pushlstring(FState, Capture.Begin, static_cast<std::size_t>(Capture.Length));
}

void TLuaMatcher::Count(std::size_t Steps) {
    constexpr std::size_t StepsOfAnInstruction = 8;
    constexpr std::size_t Often = 4096;
    FSteps += Steps;
    if (FSteps < Often) return;
    StateOf(FState).Limits.Work(FState, FSteps / StepsOfAnInstruction);
    FSteps = 0;
}

const char* TLuaMatcher::MatchHere(const char* At, const char* Pattern) {
    if (++FDepth > MostDepth) luaL_error(FState, "pattern too complex");
    for (bool Again = true; Again && Pattern != FPatternEnd;) {
        Count(1);
        Again = false;
        At = MatchItem(At, Pattern, Again);
    }
    --FDepth;
    return At;
}

/// Sets `Again` when only the item was matched and the rest of the pattern is still to be.
const char* TLuaMatcher::MatchItem(const char* At, const char*& Pattern, bool& Again) {
    switch (*Pattern) {
    case '(':
        if (Pattern[1] == ')') return OpenCapture(At, Pattern + 2, Position);
        return OpenCapture(At, Pattern + 1, Unfinished);
    case ')':
        return CloseCapture(At, Pattern + 1);
    case '$':
        if (Pattern + 1 != FPatternEnd) break;
        return At == FEnd ? At : nullptr;
    case Escape:
        if (Pattern[1] == 'b') {
            At = MatchBalanced(At, Pattern + 2);
            Pattern += 4;
            Again = At != nullptr;
            return At;
        }
        if (Pattern[1] == 'f') {
            const char* const Set = Pattern + 2;
            if (*Set != '[') luaL_error(FState, "missing '[' after '%%f' in pattern");
            const char* const End = ItemEnd(Set);
            const char Before = At == FBegin ? '\0' : At[-1];
            Again = !IsInSet(Byte(Before), Set, End - 1) && IsInSet(Byte(*At), Set, End - 1);
            Pattern = End;
            return Again ? At : nullptr;
        }
        if (std::isdigit(Byte(Pattern[1])) != 0) {
            At = MatchCaptured(At, Pattern[1]);
            Pattern += 2;
            Again = At != nullptr;
            return At;
        }
        break;
    default:
        break;
    }
    return MatchSingle(At, Pattern, Again);
}

/// One character or class, with what may stand behind it.
const char* TLuaMatcher::MatchSingle(const char* At, const char*& Pattern, bool& Again) {
    const char* const Item = Pattern;
    const char* const End = ItemEnd(Item);
    const char Repeat = *End;
    if (!Fits(At, Item, End)) {
        Pattern = End + 1;
        Again = Repeat == '*' || Repeat == '?' || Repeat == '-'; // none of it will do
        return Again ? At : nullptr;
    }
    switch (Repeat) {
    case '?':
        if (const char* const Rest = MatchHere(At + 1, End + 1)) return Rest;
        Pattern = End + 1;
        Again = true;
        return At;
    case '+':
        return MatchMost(At + 1, Item, End);
    case '*':
        return MatchMost(At, Item, End);
    case '-':
        return MatchLeast(At, Item, End);
    default:
        Pattern = End;
        Again = true;
        return At + 1;
    }
}

const char* TLuaMatcher::MatchMost(const char* At, const char* Item, const char* ItemEnd) {
    std::ptrdiff_t Times = 0;
    while (Fits(At + Times, Item, ItemEnd)) {
        ++Times;
        Count(1);
    }
    for (; Times >= 0; --Times) {
        if (const char* const Rest = MatchHere(At + Times, ItemEnd + 1)) return Rest;
        Count(1);
    }
    return nullptr;
}

const char* TLuaMatcher::MatchLeast(const char* At, const char* Item, const char* ItemEnd) {
    for (;; ++At) {
        Count(1);
        if (const char* const Rest = MatchHere(At, ItemEnd + 1)) return Rest;
        if (!Fits(At, Item, ItemEnd)) return nullptr;
    }
}

const char* TLuaMatcher::MatchBalanced(const char* At, const char* Pair) {
    if (Pair >= FPatternEnd - 1) luaL_error(FState, "malformed pattern (missing arguments to '%%b')");
    if (*At != *Pair) return nullptr;
    int Open = 1;
    while (++At < FEnd) {
        Count(1);
        if (*At == Pair[1]) {
            if (--Open == 0) return At + 1;
        } else if (*At == *Pair) {
            ++Open;
        }
    }
    return nullptr;
}

const char* TLuaMatcher::OpenCapture(const char* At, const char* Pattern, std::ptrdiff_t Kind) {
    if (FLevel >= MostCaptures) luaL_error(FState, "too many captures");
    FCaptures[static_cast<std::size_t>(FLevel)] = {At, Kind};
    ++FLevel;
    const char* const Rest = MatchHere(At, Pattern);
    if (Rest == nullptr) --FLevel;
    return Rest;
}

const char* TLuaMatcher::CloseCapture(const char* At, const char* Pattern) {
    int Level = FLevel - 1;
    while (Level >= 0 && FCaptures[static_cast<std::size_t>(Level)].Length != Unfinished) --Level;
    if (Level < 0) luaL_error(FState, "invalid pattern capture");
    TCapture& Capture = FCaptures[static_cast<std::size_t>(Level)];
    Capture.Length = At - Capture.Begin;
    const char* const Rest = MatchHere(At, Pattern);
    if (Rest == nullptr) Capture.Length = Unfinished;
    return Rest;
}

const char* TLuaMatcher::MatchCaptured(const char* At, char Digit) {
    const int Index = Digit - '1';
    if (Index < 0 || Index >= FLevel || FCaptures[static_cast<std::size_t>(Index)].Length == Unfinished) {
        luaL_error(FState, "invalid capture index %%%d", Index + 1);
    }
    const TCapture& Capture = FCaptures[static_cast<std::size_t>(Index)];
    const auto Length = static_cast<std::size_t>(Capture.Length); // that of a position is never there
    if (static_cast<std::size_t>(FEnd - At) < Length) return nullptr;
    Count(Length / 16);
    return std::memcmp(Capture.Begin, At, Length) == 0 ? At + Length : nullptr;
}

const char* TLuaMatcher::ItemEnd(const char* Item) const {
    const char* At = Item + 1;
    if (*Item == Escape) {
        if (At == FPatternEnd) luaL_error(FState, "malformed pattern (ends with '%%')");
        return At + 1;
    }
    if (*Item != '[') return At;
    if (*At == '^') ++At;
    do { // a "]" right behind the beginning is one of the set
        if (At == FPatternEnd) luaL_error(FState, "malformed pattern (missing ']')");
        if (*At++ == Escape && At < FPatternEnd) ++At;
    } while (*At != ']');
    return At + 1;
}

bool TLuaMatcher::Fits(const char* At, const char* Item, const char* ItemEnd) const {
    if (At >= FEnd) return false;
    switch (*Item) {
    case '.':
        return true;
    case Escape:
        return IsOfClass(Byte(*At), Byte(Item[1]));
    case '[':
        return IsInSet(Byte(*At), Item, ItemEnd - 1);
    default:
        return *Item == *At;
    }
}

} // namespace zutools::server
