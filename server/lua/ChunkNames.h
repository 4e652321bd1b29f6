// Names of scripts in messages. Lua keeps 59 bytes of a chunk's name and cuts longer ones anywhere, also
// inside a character; here they are cut between characters, and put back whole when a message leaves the
// engine.

#pragma once

#include <map>
#include <string>
#include <string_view>

namespace zutools::server {

class TChunkNames {
public:
    /// What to give Lua as the name of the chunk `File` (UTF-8).
    [[nodiscard]] std::string ForLua(std::string_view File);
    /// `Text` with the shortened names in it made whole again.
    [[nodiscard]] std::string Restored(std::string Text) const;

private:
    std::map<std::string, std::string> FWhole; // by the shortened name; empty where two names share it
};

} // namespace zutools::server
