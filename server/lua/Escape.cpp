#include "server/lua/Escape.h"

#include "platform/TextTools.h"

namespace zutools::server {

namespace {

bool IsUnreserved(char Character) {
    return platform::IsAsciiLetter(Character) || platform::IsAsciiDigit(Character) ||
           std::string_view("-._~").find(Character) != std::string_view::npos;
}

} // namespace

std::string UrlEscape(std::string_view Text) {
    std::string Result;
    Result.reserve(Text.size());
    for (const char Character : Text) {
        if (IsUnreserved(Character)) {
            Result += Character;
            continue;
        }
        Result += '%';
        platform::AppendHex(Result, static_cast<unsigned char>(Character), platform::CapitalHexDigits);
    }
    return Result;
}

} // namespace zutools::server
