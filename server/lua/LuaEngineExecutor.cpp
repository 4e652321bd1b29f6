#include "server/lua/LuaState.h"

#include "platform/Text.h"

namespace zutools::server {

namespace {

constexpr std::size_t MostUnits = 4096;
constexpr int MostLevels = 200;

/// Appends the calls of Lua functions, innermost first; false when the text is full.
bool AppendCalls(std::u16string& Text, lua_State* L, const TChunkNames& Names) {
    lua_Debug Call;
    for (int Level = 0; Level < MostLevels && lua_getstack(L, Level, &Call) != 0; ++Level) {
        lua_getinfo(L, "Sln", &Call);
        if (Call.currentline < 0) continue; // of C: it has no place in a script
        std::string Line =
            Names.Restored(std::string(Call.short_src) + ':') + std::to_string(Call.currentline);
        if (*Call.what == 'm') {
            Line += ": in main chunk";
        } else if (Call.name != nullptr) {
            Line.append(": in ").append(*Call.namewhat != '\0' ? Call.namewhat : "function");
            Line.append(" '").append(Call.name).append("'");
        } else {
            Line += ": in function <" + std::to_string(Call.linedefined) + ">";
        }
        const std::u16string Wide = platform::Utf8ToUtf16(Line);
        if (Text.size() + Wide.size() + (Text.empty() ? 0 : 1) > MostUnits) return false;
        if (!Text.empty()) Text += u'\n';
        Text += Wide;
    }
    return true;
}

} // namespace

std::u16string TLuaExecutor::CallStack() {
    std::u16string Text;
    if (Current == nullptr) return Text;
    if (AppendCalls(Text, Current, FNames) && Current != Main) AppendCalls(Text, Main, FNames);
    return Text;
}

} // namespace zutools::server
