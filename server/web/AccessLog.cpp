#include "server/web/AccessLog.h"

#include "platform/Text.h"
#include "platform/TextTools.h"
#include "server/web/HttpText.h"

namespace zutools::server {

namespace {

/// A name that somebody chose, between quotes.
std::string QuotedName(std::u16string_view Name) {
    constexpr std::size_t MaxUnits = 100;
    std::string Text = "\"";
    for (const char Character :
         platform::Utf16ToUtf8(platform::Masked(platform::Shortened(Name, MaxUnits), u'?'))) {
        if (Character == '"' || Character == '\\') Text += '\\';
        Text += Character;
    }
    return Text + '"';
}

std::string OrDash(std::string Text) {
    return Text.empty() ? "-" : Text;
}

auto Milliseconds(const TAccess& Access) {
    return std::to_string(std::chrono::duration_cast<std::chrono::milliseconds>(Access.Time).count());
}

} // namespace

std::string AccessText(const TAccess& Access) {
    std::string Line = Access.Method.empty() ? "?" : MaskForLog(Access.Method);
    Line += " \"" + MaskForLog(Access.Path) + "\" " + std::to_string(Access.Status) + " " +
            std::to_string(Access.Bytes) + " bytes " + Milliseconds(Access) +
            " ms session=" + OrDash(platform::Utf16ToUtf8(Access.SID)) +
            " language=" + OrDash(platform::Utf16ToUtf8(Access.LanguageID)) +
            " address=" + OrDash(MaskForLog(Access.Address)) + " user=";
    return Line + (Access.User.empty() ? "-" : QuotedName(Access.User));
}

std::string AccessJson(const TAccess& Access) {
    const auto Member = [](std::string_view Name, std::string Value) {
        return ",\"" + std::string(Name) + "\":" + std::move(Value);
    };
    const auto Text = [&](std::string_view Name, std::string_view Value) {
        return Member(Name, JsonText(Value));
    };
    return "\"method\":" + JsonText(MaskForLog(Access.Method)) + Text("path", MaskForLog(Access.Path)) +
           Member("status", std::to_string(Access.Status)) + Member("bytes", std::to_string(Access.Bytes)) +
           Member("microseconds", std::to_string(Access.Time.count())) +
           Text("session", platform::Utf16ToUtf8(Access.SID)) +
           Text("language", platform::Utf16ToUtf8(Access.LanguageID)) +
           Text("address", MaskForLog(Access.Address)) +
           Text("user", platform::Utf16ToUtf8(platform::Masked(Access.User, u'?')));
}

std::string JsonText(std::string_view Utf8) {
    std::string Text = "\"";
    for (const char Character : Utf8) {
        if (Character == '"' || Character == '\\') {
            (Text += '\\') += Character;
        } else if (static_cast<unsigned char>(Character) < 0x20) {
            Text += "\\u00";
            platform::AppendHex(Text, static_cast<unsigned char>(Character));
        } else {
            Text += Character;
        }
    }
    return Text + '"';
}

} // namespace zutools::server
