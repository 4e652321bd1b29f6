#include "server/lua/Escape.h"

namespace zutools::server {

namespace {

std::string_view HtmlReference(char Character) {
    switch (Character) {
    case '&':
        return "&amp;";
    case '<':
        return "&lt;";
    case '>':
        return "&gt;";
    case '"':
        return "&quot;";
    case '\'':
        return "&#39;";
    default:
        return {};
    }
}

bool IsUnreserved(char Character) {
    return (Character >= 'A' && Character <= 'Z') || (Character >= 'a' && Character <= 'z') ||
           (Character >= '0' && Character <= '9') ||
           std::string_view("-._~").find(Character) != std::string_view::npos;
}

} // namespace

std::string HtmlEscape(std::string_view Text) {
    std::string Result;
    Result.reserve(Text.size() + Text.size() / 8);
    for (const char Character : Text) {
        const std::string_view Reference = HtmlReference(Character);
        if (Reference.empty()) {
            Result += Character;
        } else {
            Result += Reference;
        }
    }
    return Result;
}

std::string UrlEscape(std::string_view Text) {
    constexpr std::string_view Digits = "0123456789ABCDEF";
    std::string Result;
    Result.reserve(Text.size());
    for (const char Character : Text) {
        if (IsUnreserved(Character)) {
            Result += Character;
            continue;
        }
        const auto Byte = static_cast<unsigned char>(Character);
        Result += {'%', Digits[Byte >> 4U], Digits[Byte & 15U]};
    }
    return Result;
}

} // namespace zutools::server
