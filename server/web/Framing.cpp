#include "server/web/Framing.h"

#include "platform/TextTools.h"
#include "server/web/HttpText.h"

#include <algorithm>

namespace zutools::server {

namespace {

constexpr std::size_t LineEnd = 2; // CR and LF, which the library overwrites

const char* EndOf(std::string_view Text) {
    return Text.data() + Text.size();
}

bool IsControl(char Character) {
    const auto Byte = static_cast<unsigned char>(Character);
    return (Byte < 0x20 && Byte != '\t') || Byte == 0x7F;
}

} // namespace

TFraming::TFraming(std::string_view Method, std::string_view Target, std::string_view Version)
    : FNewest(Version == "HTTP/1.1")
    , FNext(EndOf(Version) + LineEnd) {
    if (Target.data() != EndOf(Method) + 1 || Version.data() != EndOf(Target) + 1 ||
        Target.find(' ') != std::string_view::npos) {
        Refuse("blanks or a NUL in the request line");
    }
}

void TFraming::TakeHeader(std::string_view Name, std::string_view Value) {
    if (Name.data() != FNext) Refuse("a folded line, a NUL, or a line that does not end in CR LF");
    FNext = EndOf(Value) + LineEnd;
    if (!IsHeaderName(Name)) Refuse("a header name with blanks or other characters");
    if (std::ranges::any_of(Value, IsControl)) Refuse("a control character in a header");

    if (platform::EqualAsciiNoCase(Name, "Host")) {
        ++FHosts;
    } else if (platform::EqualAsciiNoCase(Name, "Content-Length")) {
        ++FLengths;
    } else if (platform::EqualAsciiNoCase(Name, "Transfer-Encoding")) {
        ++FEncodings;
        // Blanks behind it are part of the value: the library then does not know it for "chunked".
        if (!FNewest || !platform::EqualAsciiNoCase(Value, "chunked")) {
            Refuse("a transfer encoding other than \"chunked\"");
        }
    }
}

std::string_view TFraming::Fault() const {
    if (!FFault.empty()) return FFault;
    if (FHosts > 1 || (FHosts == 0 && FNewest)) return "no Host header, or several";
    if (FLengths + FEncodings > 1) return "more than one length of the body";
    return {};
}

void TFraming::Refuse(std::string_view Reason) {
    if (FFault.empty()) FFault = Reason;
}

} // namespace zutools::server
