#include "server/web/FaultPage.h"

#include "platform/Text.h"
#include "platform/TextTools.h"

#include <algorithm>

namespace zutools::server {

namespace {

constexpr std::size_t MostTyped = 64 * 1024; // units of all values together

/// Named like a password: not for a page that lies around.
bool IsSecret(const TFormField& Field) {
    const std::string Name = platform::LowerAsciiText(platform::Utf16ToUtf8(Field.Name));
    return Name.find("pass") != Name.npos || Name.find("secret") != Name.npos;
}

/// What follows the host of an http address; nothing when it is none of this host.
std::string_view BehindHost(std::string_view Address, std::string_view Host) {
    const std::size_t Scheme = Address.find("://");
    if (Host.empty() || !Address.starts_with("http") || Scheme == Address.npos) return {};
    Address.remove_prefix(Scheme + 3);
    if (!platform::EqualAsciiNoCase(Address.substr(0, Host.size()), Host)) return {};
    return Address.substr(Host.size());
}

} // namespace

std::string FaultContent(const TFaultPage& Page) {
    std::string Html =
        "<div class=\"fault\">\n<h1>" + HtmlText(Page.Title) + "</h1>\n<p>" + HtmlText(Page.Text) + "</p>\n";
    if (!Page.Note.empty()) Html += "<p>" + HtmlText(Page.Note) + "</p>\n";
    std::vector<TFormField> Shown;
    std::size_t Size = 0;
    for (const TFormField& Field : Page.Typed) {
        Size += Field.Name.size() + Field.Value.size();
        if (!IsSecret(Field) && Size <= MostTyped) Shown.push_back(Field);
    }
    if (!Page.Action.empty() && !Page.Typed.empty() && Shown.size() == Page.Typed.size()) {
        Html += "<form method=\"post\" action=\"" + HtmlText(platform::Utf8ToUtf16(Page.Action)) + "\">";
        const auto Hidden = [&Html](std::u16string_view Name, std::u16string_view Value) {
            Html +=
                "<input type=\"hidden\" name=\"" + HtmlText(Name) + "\" value=\"" + HtmlText(Value) + "\">";
        };
        Hidden(u"form_token", Page.FormToken);
        for (const TFormField& Field : Shown) Hidden(Field.Name, Field.Value);
        Html += "<button type=\"submit\">" + HtmlText(Page.AgainText) + "</button></form>\n";
    }
    if (std::ranges::any_of(Shown, [](const TFormField& Field) { return !Field.Value.empty(); })) {
        Html += "<h2>" + HtmlText(Page.TypedText) + "</h2>\n<dl class=\"typed\">\n";
        for (const TFormField& Field : Shown) {
            if (Field.Value.empty()) continue;
            Html += "<dt>" + HtmlText(Field.Name) + "</dt><dd><textarea readonly rows=\"2\" aria-label=\"" +
                    HtmlText(Field.Name) + "\">\n" + HtmlText(Field.Value) + "</textarea></dd>\n";
        }
        Html += "</dl>\n";
    }
    if (!Page.Back.empty())
        Html += "<p><a href=\"" + HtmlText(Page.Back) + "\">" + HtmlText(Page.BackText) + "</a></p>\n";
    return Html + "</div>\n";
}

std::u16string PathOnHost(std::string_view Referer, std::string_view Host) {
    const auto Path = DecodeUtf8(BehindHost(Referer, Host));
    return Path && IsLocalPath(*Path) ? *Path : std::u16string();
}

bool SentFromHost(std::string_view FetchSite, std::string_view Origin, std::string_view Host) {
    if (!FetchSite.empty()) return FetchSite == "same-origin";
    return !Host.empty() && Origin.size() > Host.size() && Origin.ends_with(Host) &&
           Origin[Origin.size() - Host.size() - 1] == '/';
}

} // namespace zutools::server
