#include "server/web/FaultPage.h"

#include "platform/File.h"
#include "platform/Text.h"
#include "platform/TextTools.h"

#include <algorithm>
#include <charconv>

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

/// The lines around one of a file in the folder; empty for any other file.
std::string SourceLines(std::string_view Name, std::size_t Line, std::string_view Modules) {
    if (Modules.empty() || !Name.starts_with(Modules) || Name.find("/../") != Name.npos) return {};
    std::string Text;
    try {
        Text = platform::TReadFile(platform::Utf8ToUtf16(Name)).ReadAll();
    } catch (const std::exception&) {
        return {};
    }
    std::string Html;
    std::string_view Rest = Text;
    for (std::size_t Number = 1; !Rest.empty() && Number <= Line + 3; ++Number) {
        const std::string_view Each = CutNext(Rest, '\n');
        if (Number + 3 < Line) continue;
        const std::string Shown = (Number == Line ? "> " : "  ") + std::to_string(Number) + "  " +
                                  platform::HtmlEscape(Each) + "\n";
        Html += Number == Line ? "<mark>" + Shown + "</mark>" : Shown;
    }
    return "<pre class=\"source\">" + Html + "</pre>\n";
}

} // namespace

std::string FaultDetail(std::u16string_view What, std::u16string_view Modules,
                        const std::vector<std::u16string>& Log) {
    std::string Html = "<section class=\"dev\">\n<h2>Traceback</h2>\n";
    const std::string Folder = platform::Utf16ToUtf8(Modules);
    const std::string Text = platform::Utf16ToUtf8(What);
    for (std::string_view Rest = Text; !Rest.empty();) {
        const std::string_view Line = CutNext(Rest, '\n');
        Html += "<p><code>" + platform::HtmlEscape(Line) + "</code></p>\n";
        // "FILE.lua:12: ..."
        const std::size_t Start = std::min(Line.find_first_not_of("\t "), Line.size());
        const std::size_t Colon = Line.find(".lua:", Start);
        if (Colon == Line.npos) continue;
        std::size_t Number = 0;
        std::from_chars(Line.data() + Colon + 5, Line.data() + Line.size(), Number);
        Html += SourceLines(Line.substr(Start, Colon + 4 - Start), Number, Folder);
    }
    Html += "<h2>Log</h2>\n<pre class=\"log\">";
    for (const std::u16string& Line : Log) Html += HtmlText(Line) + "\n";
    return Html + "</pre>\n</section>\n";
}

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
