// The text rules of HTTP: no input is read past its end, and what passes keeps what the rule promises.
//
// Input: one byte that chooses the rule, then the text as a client sends it.

#include "fuzz/Input.h"
#include "server/web/HttpText.h"

#include "platform/Text.h"

#include <algorithm>
#include <array>

namespace {

using namespace zutools;
using namespace zutools::server;
using zutools::fuzz::Require;

bool IsPlain(const std::u16string& Text) {
    return Text.find(u'\0') == std::u16string::npos && !platform::Utf16ToUtf8Strict(Text).Error;
}

bool IsPrintable(std::string_view Text) {
    return std::ranges::all_of(Text, [](char C) { return C >= 0x20 && C < 0x7F; });
}

void TryFields(std::string_view Raw) {
    const auto Fields = ParseFormFields(Raw);
    if (!Fields) return;
    Require(Fields->size() <= MaxFormFields);
    for (const TFormField& Field : *Fields) Require(IsPlain(Field.Name) && IsPlain(Field.Value));
}

void TryTarget(std::string_view Raw) {
    const auto Target = SplitTarget(Raw);
    if (!Target) return;
    Require(Target->Path.starts_with('/') && Target->Path.find('?') == std::string_view::npos);
    if (const auto Path = DecodePercent(Target->Path, false)) {
        Require(IsPlain(*Path) && Path->starts_with(u'/'));
        Require(IsHeaderValue(ContentTypeOf(*Path)));
    }
}

void TryLanguage(std::string_view Raw) {
    static const std::array<std::u16string, 3> Languages{u"ru", u"en-GB", u"zh-Hant-TW"};
    const std::u16string Chosen = ChooseLanguage(Raw, Languages, Languages[1]);
    Require(std::ranges::find(Languages, Chosen) != Languages.end());
}

void TryCookie(std::string_view Raw) {
    const std::string_view Value = FindCookie(Raw, "zusid");
    Require(Value.find(';') == std::string_view::npos);
    Require(Value.empty() ||
            (Value.data() >= Raw.data() && Value.data() + Value.size() <= Raw.data() + Raw.size()));
}

void TryRedirect(std::string_view Raw) {
    const std::u16string Url = platform::Utf8ToUtf16(Raw);
    static_cast<void>(RedirectLocation(Url, "host", true));
    const auto Location = RedirectLocation(Url, "host", false);
    if (!Location) return;
    Require(!Location->empty() && IsPrintable(*Location) && Location->find(' ') == std::string::npos);
    // However a browser reads it, it leads to a path or to the host itself.
    const std::size_t Colon = Location->find(':');
    const bool HasScheme = Colon < Location->find_first_of("/?#");
    const std::string Rest = HasScheme ? Location->substr(Colon + 1) : *Location;
    Require(!HasScheme || Rest.starts_with("//"));
    if (!Rest.starts_with("//")) return;
    std::string Authority = Rest.substr(2, Rest.find_first_of("/?#", 2) - 2);
    for (char& Letter : Authority)
        Letter = static_cast<char>(Letter >= 'A' && Letter <= 'Z' ? Letter + 32 : Letter);
    Require(Authority == "host");
}

void TryRest(std::string_view Raw) {
    if (const auto Moment = ParseHttpDate(Raw)) Require(ParseHttpDate(HttpDate(*Moment)) == Moment);
    static_cast<void>(ETagMatches(Raw, "\"tag\""));
    const std::string Masked = MaskForLog(Raw);
    Require(IsPrintable(Masked) && Masked.find('"') == std::string::npos);
    Require(HtmlText(platform::Utf8ToUtf16(Raw)).find_first_of("<>\"'") == std::string::npos);
    Require(Base64Text(Raw).size() == (Raw.size() + 2) / 3 * 4);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* Data, std::size_t Size) {
    if (Size == 0) return 0;
    constexpr void (*Rules[])(std::string_view) = {TryFields, TryTarget,   TryLanguage,
                                                   TryCookie, TryRedirect, TryRest};
    const std::string_view Raw(reinterpret_cast<const char*>(Data + 1), Size - 1);
    Rules[Data[0] % std::size(Rules)](Raw);
    return 0;
}
