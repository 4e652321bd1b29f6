#include "server/lua/ChunkNames.h"

#include "platform/TextTools.h"

#include <lua.hpp>

namespace zutools::server {

namespace {

constexpr std::size_t Longest = LUA_IDSIZE - 1; // the final NUL takes one

} // namespace

std::string TChunkNames::ForLua(std::string_view File) {
    if (File.size() <= Longest) return "@" + std::string(File);
    std::size_t Start = File.size() - (Longest - 3);
    while (Start < File.size() && platform::IsUtf8Continuation(File[Start])) ++Start;
    std::string Short = "..." + std::string(File.substr(Start));
    const auto [Place, Inserted] = FWhole.try_emplace(Short, File);
    if (!Inserted && Place->second != File) Place->second.clear();
    return "@" + Short;
}

std::string TChunkNames::Restored(std::string Text) const {
    for (const auto& [Short, Whole] : FWhole) {
        if (Whole.empty()) continue;
        const std::string Sought = Short + ":";
        for (std::size_t At = Text.find(Sought); At != std::string::npos;
             At = Text.find(Sought, At + Whole.size())) {
            Text.replace(At, Short.size(), Whole);
        }
    }
    return Text;
}

} // namespace zutools::server
