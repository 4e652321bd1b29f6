#include "server/web/HttpText.h"

#include "platform/Text.h"
#include "platform/TextTools.h"

#include <sodium.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <chrono>
#include <cstdio>

namespace zutools::server {

namespace {

void AppendEscape(std::string& Target, std::string_view Mark, unsigned char Byte) {
    Target += Mark;
    platform::AppendHex(Target, Byte);
}

// ---- Languages

struct TLanguageRange {
    std::u16string Tag;
    int Weight = 0; // thousandths
};

/// "0.8" in thousandths, -1 when it is no weight of RFC 9110.
int ParseWeight(std::string_view Text) {
    if (Text.empty() || Text.size() > 5 || (Text[0] != '0' && Text[0] != '1')) return -1;
    int Weight = (Text[0] - '0') * 1000;
    if (Text.size() == 1) return Weight;
    if (Text[1] != '.') return -1;
    int Unit = 100;
    for (const char Digit : Text.substr(2)) {
        if (Digit < '0' || Digit > '9') return -1;
        Weight += (Digit - '0') * Unit;
        Unit /= 10;
    }
    return Weight <= 1000 ? Weight : -1;
}

std::optional<TLanguageRange> ParseRange(std::string_view Entry) {
    std::string_view Parameters = Entry;
    const std::string_view Tag = TrimBlanks(CutNext(Parameters, ';'));
    if (Tag.empty() || Tag.size() > 35) return std::nullopt;
    const bool Plain = std::ranges::all_of(Tag, [](char C) {
        return platform::IsAsciiDigit(C) || platform::IsAsciiLetter(C) || C == '-' || C == '*';
    });
    if (!Plain) return std::nullopt;

    TLanguageRange Range{std::u16string(Tag.begin(), Tag.end()), 1000};
    while (!Parameters.empty()) {
        std::string_view Value = CutNext(Parameters, ';');
        const std::string_view Name = TrimBlanks(CutNext(Value, '='));
        if (platform::EqualAsciiNoCase(Name, "q")) Range.Weight = ParseWeight(TrimBlanks(Value));
    }
    if (Range.Weight < 0) return std::nullopt;
    return Range;
}

bool BeginsWithTag(std::u16string_view Language, std::u16string_view Tag) {
    return Language.size() > Tag.size() && Language[Tag.size()] == u'-' &&
           platform::EqualAsciiNoCase(Language.substr(0, Tag.size()), Tag);
}

/// The language that meets a range: the tag itself, a shorter form of it, a longer form of it; null when none
/// does.
const std::u16string* MeetRange(std::u16string_view Tag, std::span<const std::u16string> Languages) {
    for (std::u16string_view Part = Tag; !Part.empty();) {
        for (const std::u16string& Language : Languages) {
            if (platform::EqualAsciiNoCase(Language, Part)) return &Language;
        }
        const std::size_t Dash = Part.rfind(u'-');
        Part = Part.substr(0, Dash == std::u16string_view::npos ? 0 : Dash);
    }
    for (const std::u16string& Language : Languages) {
        if (BeginsWithTag(Language, Tag)) return &Language;
    }
    return nullptr;
}

// ---- Redirects

bool IsUrlByte(unsigned char Byte) {
    return Byte > 0x20 && Byte < 0x7F &&
           std::string_view("\"<>\\^`{|}").find(static_cast<char>(Byte)) == std::string_view::npos;
}

/// True when a URL without control characters may be the target of a redirect.
bool MayRedirectTo(std::string_view Url, std::string_view Host, bool Outside) {
    std::string_view Rest = Url;
    const std::size_t Colon = Url.find(':');
    if (Colon != std::string_view::npos && Url.find_first_of("/?#") > Colon) {
        const std::string_view Scheme = Url.substr(0, Colon);
        if (!platform::EqualAsciiNoCase(Scheme, "http") && !platform::EqualAsciiNoCase(Scheme, "https"))
            return false;
        Rest = Url.substr(Colon + 1);
        if (!Rest.starts_with("//")) return false;
    }
    if (!Rest.starts_with("//")) return true;
    Rest = Rest.substr(2);
    const std::string_view Authority = Rest.substr(0, Rest.find_first_of("/?#"));
    if (Authority.empty() || Authority.find('@') != std::string_view::npos) return false;
    return Outside || platform::EqualAsciiNoCase(Authority, Host);
}

// ---- Dates

constexpr std::array<std::string_view, 7> DayNames{"Sun", "Mon", "Tue", "Wed", "Thu", "Fri", "Sat"};
constexpr std::array<std::string_view, 12> MonthNames{"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                                      "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};

/// Exactly these digits as a number, -1 when another character is among them.
int Digits(std::string_view Text) {
    int Value = 0;
    const auto [End, Error] = std::from_chars(Text.data(), Text.data() + Text.size(), Value);
    return Error == std::errc{} && End == Text.data() + Text.size() && Text[0] != '-' ? Value : -1;
}

struct TMediaType {
    std::string_view Suffix;
    std::string_view Type;
};

constexpr TMediaType MediaTypes[] = {
    {"css", "text/css; charset=utf-8"},
    {"csv", "text/csv; charset=utf-8"},
    {"gif", "image/gif"},
    {"htm", "text/html; charset=utf-8"},
    {"html", "text/html; charset=utf-8"},
    {"ico", "image/x-icon"},
    {"jpeg", "image/jpeg"},
    {"jpg", "image/jpeg"},
    {"js", "text/javascript; charset=utf-8"},
    {"json", "application/json"},
    {"map", "application/json"},
    {"mjs", "text/javascript; charset=utf-8"},
    {"pdf", "application/pdf"},
    {"png", "image/png"},
    {"svg", "image/svg+xml"},
    {"txt", "text/plain; charset=utf-8"},
    {"webmanifest", "application/manifest+json"},
    {"webp", "image/webp"},
    {"woff", "font/woff"},
    {"woff2", "font/woff2"},
    {"xml", "application/xml"},
    {"zip", "application/zip"},
};

} // namespace

std::string_view TrimBlanks(std::string_view Text) {
    constexpr std::string_view Blanks = " \t";
    const std::size_t First = Text.find_first_not_of(Blanks);
    if (First == std::string_view::npos) return {};
    return Text.substr(First, Text.find_last_not_of(Blanks) - First + 1);
}

std::string_view CutNext(std::string_view& Rest, char Delimiter) {
    const std::size_t End = Rest.find(Delimiter);
    const std::string_view Item = Rest.substr(0, End);
    Rest = End == std::string_view::npos ? std::string_view{} : Rest.substr(End + 1);
    return Item;
}

std::optional<std::u16string> DecodeUtf8(std::string_view Bytes) {
    if (Bytes.find('\0') != std::string_view::npos) return std::nullopt;
    auto Decoded = platform::Utf8ToUtf16Strict(Bytes);
    if (Decoded.Error) return std::nullopt;
    return std::move(Decoded.Text);
}

namespace {

enum class TEscapes { OfPath, OfQuery, Plain };

std::optional<std::u16string> Decode(std::string_view Raw, TEscapes Escapes) {
    std::string Bytes;
    Bytes.reserve(Raw.size());
    for (std::size_t Index = 0; Index < Raw.size(); ++Index) {
        const char Character = Raw[Index];
        if (Character == '+' && Escapes == TEscapes::OfQuery) {
            Bytes += ' ';
        } else if (Character != '%') {
            Bytes += Character;
        } else {
            if (Raw.size() - Index < 3) return std::nullopt;
            const int High = platform::HexValue(Raw[Index + 1]);
            const int Low = platform::HexValue(Raw[Index + 2]);
            if (High < 0 || Low < 0) return std::nullopt;
            const char Byte = static_cast<char>(High * 16 + Low);
            if (Byte == '/' && Escapes == TEscapes::OfPath) {
                Bytes += Raw.substr(Index, 3);
            } else {
                Bytes += Byte;
            }
            Index += 2;
        }
    }
    return DecodeUtf8(Bytes);
}

} // namespace

std::optional<std::u16string> DecodePercent(std::string_view Raw, bool PlusIsBlank) {
    return Decode(Raw, PlusIsBlank ? TEscapes::OfQuery : TEscapes::Plain);
}

std::optional<std::u16string> DecodePath(std::string_view Raw) {
    return Decode(Raw, TEscapes::OfPath);
}

std::optional<std::vector<TFormField>> ParseFormFields(std::string_view Raw) {
    std::vector<TFormField> Fields;
    while (!Raw.empty()) {
        std::string_view Value = CutNext(Raw, '&');
        if (Value.empty()) continue;
        auto Name = DecodePercent(CutNext(Value, '='), true);
        auto Text = DecodePercent(Value, true);
        if (!Name || !Text || Fields.size() == MaxFormFields) return std::nullopt;
        Fields.push_back({std::move(*Name), std::move(*Text)});
    }
    return Fields;
}

std::optional<TRequestTarget> SplitTarget(std::string_view Raw) {
    if (!Raw.starts_with('/')) {
        const std::size_t Colon = Raw.find("://");
        if (Colon == std::string_view::npos) return std::nullopt;
        const std::string_view Scheme = Raw.substr(0, Colon);
        if (!platform::EqualAsciiNoCase(Scheme, "http") && !platform::EqualAsciiNoCase(Scheme, "https"))
            return std::nullopt;
        Raw = Raw.substr(Colon + 3);
        const std::size_t Slash = Raw.find_first_of("/?");
        if (Slash == std::string_view::npos) return TRequestTarget{"/", {}};
        Raw = Raw.substr(Slash);
        if (Raw[0] == '?') return TRequestTarget{"/", Raw.substr(1)};
    }
    TRequestTarget Target;
    Target.Path = CutNext(Raw, '?');
    Target.Query = Raw;
    return Target;
}

std::u16string ChooseLanguage(std::string_view AcceptLanguage, std::span<const std::u16string> Languages,
                              std::u16string_view Default) {
    constexpr std::size_t MaxRanges = 50; // browsers send fewer than ten
    std::vector<TLanguageRange> Ranges;
    std::vector<std::u16string> Refused;
    while (!AcceptLanguage.empty() && Ranges.size() + Refused.size() < MaxRanges) {
        auto Range = ParseRange(CutNext(AcceptLanguage, ','));
        if (!Range) continue;
        if (Range->Weight == 0) {
            Refused.push_back(std::move(Range->Tag));
        } else {
            const auto Place = std::ranges::upper_bound(Ranges, Range->Weight, std::ranges::greater{},
                                                        &TLanguageRange::Weight);
            Ranges.insert(Place, std::move(*Range));
        }
    }

    const auto IsRefused = [&](std::u16string_view Language) {
        return std::ranges::any_of(
            Refused, [&](const std::u16string& Tag) { return platform::EqualAsciiNoCase(Language, Tag); });
    };
    for (const TLanguageRange& Range : Ranges) {
        if (Range.Tag == u"*") {
            if (!IsRefused(Default)) break;
            const auto Other = std::ranges::find_if_not(Languages, IsRefused);
            if (Other != Languages.end()) return *Other;
            break;
        }
        if (const std::u16string* Language = MeetRange(Range.Tag, Languages)) return *Language;
    }
    return std::u16string(Default);
}

std::string_view FindCookie(std::string_view Header, std::string_view Name) {
    while (!Header.empty()) {
        std::string_view Value = TrimBlanks(CutNext(Header, ';'));
        if (CutNext(Value, '=') == Name) return Value;
    }
    return {};
}

bool IsHeaderName(std::string_view Name) {
    return !Name.empty() && std::ranges::all_of(Name, [](char C) {
        return platform::IsAsciiDigit(C) || platform::IsAsciiLetter(C) ||
               std::string_view("!#$%&'*+-.^_`|~").find(C) != std::string_view::npos;
    });
}

bool IsHeaderValue(std::string_view Value) {
    return std::ranges::all_of(Value, [](char C) { return (C >= 0x20 && C < 0x7F) || C == '\t'; });
}

std::optional<std::string> RedirectLocation(std::u16string_view Url, std::string_view Host, bool Outside) {
    const auto Encoded = platform::Utf16ToUtf8Strict(Url);
    const std::string& Bytes = Encoded.Text;
    // Browsers read "\" as "/", so that "/\host" would lead outside.
    const bool Bad =
        std::ranges::any_of(Bytes, [](char C) { return (C >= 0 && C < 0x20) || C == 0x7F || C == '\\'; });
    if (Encoded.Error || Bytes.empty() || Bad || Bytes.front() == ' ') return std::nullopt;
    if (!MayRedirectTo(Bytes, Host, Outside)) return std::nullopt;

    std::string Location;
    for (const char Character : Bytes) {
        const auto Byte = static_cast<unsigned char>(Character);
        if (IsUrlByte(Byte)) {
            Location += Character;
        } else {
            AppendEscape(Location, "%", Byte);
        }
    }
    return Location;
}

bool IsLocalPath(std::u16string_view Path) {
    return Path.starts_with(u'/') && !Path.starts_with(u"//") &&
           RedirectLocation(Path, {}, false).has_value();
}

std::string_view ContentTypeOf(std::u16string_view FileName) {
    const std::size_t Dot = FileName.rfind(u'.');
    if (Dot != std::u16string_view::npos) {
        const std::u16string_view Suffix = FileName.substr(Dot + 1);
        for (const TMediaType& Media : MediaTypes) {
            const std::u16string Known(Media.Suffix.begin(), Media.Suffix.end());
            if (platform::EqualAsciiNoCase(Suffix, Known)) return Media.Type;
        }
    }
    return "application/octet-stream";
}

std::string HttpDate(std::time_t Moment) {
    using namespace std::chrono;
    const sys_seconds Seconds{seconds{Moment}};
    const sys_days Days = floor<days>(Seconds);
    const year_month_day Date{Days};
    const hh_mm_ss Time{Seconds - Days};
    char Text[64];
    std::snprintf(Text, sizeof Text, "%s, %02u %s %04d %02d:%02d:%02d GMT",
                  DayNames[weekday{Days}.c_encoding()].data(), static_cast<unsigned>(Date.day()),
                  MonthNames[static_cast<unsigned>(Date.month()) - 1].data(), static_cast<int>(Date.year()),
                  static_cast<int>(Time.hours().count()), static_cast<int>(Time.minutes().count()),
                  static_cast<int>(Time.seconds().count()));
    return Text;
}

std::optional<std::time_t> ParseHttpDate(std::string_view Text) {
    using namespace std::chrono;
    // "Sun, 06 Nov 1994 08:49:37 GMT": every part has its fixed place.
    if (Text.size() != 29 || Text[3] != ',' || Text[4] != ' ' || Text[7] != ' ' || Text[11] != ' ' ||
        Text[16] != ' ' || Text[19] != ':' || Text[22] != ':' || Text.substr(25) != " GMT") {
        return std::nullopt;
    }
    const auto Month = std::ranges::find(MonthNames, Text.substr(8, 3));
    const int Day = Digits(Text.substr(5, 2));
    const int Year = Digits(Text.substr(12, 4));
    const int Hour = Digits(Text.substr(17, 2));
    const int Minute = Digits(Text.substr(20, 2));
    const int Second = Digits(Text.substr(23, 2));
    if (Month == MonthNames.end() || Day < 1 || Year < 0 || Hour < 0 || Hour > 23 || Minute < 0 ||
        Minute > 59 || Second < 0 || Second > 60) {
        return std::nullopt;
    }
    const year_month_day Date{year{Year}, month{static_cast<unsigned>(Month - MonthNames.begin()) + 1},
                              day{static_cast<unsigned>(Day)}};
    if (!Date.ok()) return std::nullopt;
    const auto Moment = sys_days{Date} + hours{Hour} + minutes{Minute} + seconds{Second};
    return static_cast<std::time_t>(duration_cast<seconds>(Moment.time_since_epoch()).count());
}

bool ETagMatches(std::string_view IfNoneMatch, std::string_view Tag) {
    if (TrimBlanks(IfNoneMatch) == "*") return true;
    while (!IfNoneMatch.empty()) {
        std::string_view Item = TrimBlanks(CutNext(IfNoneMatch, ','));
        if (Item.starts_with("W/")) Item.remove_prefix(2);
        if (Item == Tag) return true;
    }
    return false;
}

std::string HtmlText(std::u16string_view Text) {
    return platform::HtmlEscape(platform::Utf16ToUtf8(Text));
}

std::string MaskForLog(std::string_view Bytes) {
    constexpr std::size_t MaxBytes = 300;
    std::string Text;
    for (const char Character : Bytes.substr(0, MaxBytes)) {
        const auto Byte = static_cast<unsigned char>(Character);
        if (Byte < 0x20 || Byte >= 0x7F || Byte == '"') {
            AppendEscape(Text, "\\x", Byte);
        } else {
            Text += Character;
        }
    }
    if (Bytes.size() > MaxBytes) Text += "...";
    return Text;
}

bool EqualSecrets(std::string_view Left, std::string_view Right) {
    return Left.size() == Right.size() && sodium_memcmp(Left.data(), Right.data(), Left.size()) == 0;
}

std::string HexText(std::span<const std::byte> Bytes) {
    std::string Text(Bytes.size() * 2 + 1, '\0');
    sodium_bin2hex(Text.data(), Text.size(), reinterpret_cast<const unsigned char*>(Bytes.data()),
                   Bytes.size());
    Text.pop_back(); // the NUL
    return Text;
}

std::string Base64Text(std::string_view Bytes) {
    std::string Text(sodium_base64_encoded_len(Bytes.size(), sodium_base64_VARIANT_ORIGINAL), '\0');
    sodium_bin2base64(Text.data(), Text.size(), reinterpret_cast<const unsigned char*>(Bytes.data()),
                      Bytes.size(), sodium_base64_VARIANT_ORIGINAL);
    Text.pop_back(); // the NUL
    return Text;
}

} // namespace zutools::server
