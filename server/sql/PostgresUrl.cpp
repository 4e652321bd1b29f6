// The URLs of PostgreSQL databases.

#include "platform/Text.h"
#include "platform/TextTools.h"
#include "server/sql/Engine.h"
#include "server/sql/Postgres.h"

#include <algorithm>
#include <array>

namespace zutools::server {

namespace {

[[noreturn]] void Refuse(std::u16string_view Fault) {
    RefuseUrl(PostgresWords.Scheme, Fault, PostgresWords.UrlForm);
}

constexpr std::array<std::u16string_view, 6> SslModes{u"disable", u"allow",     u"prefer",
                                                      u"require", u"verify-ca", u"verify-full"};

std::u16string Decode(std::u16string_view Part, std::u16string_view PartName) {
    const auto Refused = [&](std::u16string_view Why) {
        Refuse(std::u16string(u"the ").append(PartName).append(Why));
    };
    const auto Utf8 = platform::Utf16ToUtf8Strict(Part);
    if (Utf8.Error) Refused(u" is no valid text");
    std::string Bytes;
    for (std::size_t Pos = 0; Pos < Utf8.Text.size(); ++Pos) {
        if (Utf8.Text[Pos] != '%') {
            Bytes += Utf8.Text[Pos];
            continue;
        }
        const int High = Pos + 2 < Utf8.Text.size() ? platform::HexValue(Utf8.Text[Pos + 1]) : -1;
        const int Low = Pos + 2 < Utf8.Text.size() ? platform::HexValue(Utf8.Text[Pos + 2]) : -1;
        if (High < 0 || Low < 0) Refused(u" has a \"%\" without two hexadecimal digits (write \"%\" as %25)");
        Bytes += static_cast<char>(High * 16 + Low);
        Pos += 2;
    }
    auto Text = platform::Utf8ToUtf16Strict(Bytes);
    if (Text.Error) Refused(u" is no valid UTF-8 once decoded");
    if (Text.Text.find(u'\0') != Text.Text.npos) Refused(u" holds U+0000");
    return std::move(Text.Text);
}

int ParsePort(std::u16string_view Text) {
    int Port = 0;
    for (const char16_t C : Text) {
        if (C < u'0' || C > u'9' || Port > 65535) {
            Port = 0;
            break;
        }
        Port = Port * 10 + (C - u'0');
    }
    if (Port < 1 || Port > 65535) Refuse(u"the port is no number from 1 to 65535");
    return Port;
}

void ParseHost(std::u16string_view Text, TDatabaseUrl& Url) {
    if (Text.starts_with(u'[')) {
        const std::size_t End = Text.find(u']');
        if (End == Text.npos) Refuse(u"the host begins with \"[\" and has no \"]\"");
        Url.Host = Decode(Text.substr(1, End - 1), u"host");
        Text.remove_prefix(End + 1);
        if (Text.empty()) return;
        if (Text.front() != u':') Refuse(u"text stands behind the \"]\" of the host");
        Url.Port = ParsePort(Text.substr(1));
        return;
    }
    const std::size_t Colon = Text.find(u':');
    Url.Host = Decode(Text.substr(0, Colon), u"host");
    if (Colon == Text.npos) return;
    if (Text.find(u':', Colon + 1) != Text.npos) {
        Refuse(u"the host has more than one \":\" (an IPv6 address stands in [])");
    }
    Url.Port = ParsePort(Text.substr(Colon + 1));
}

void ParseOptions(std::u16string_view Text, TDatabaseUrl& Url) {
    constexpr std::u16string_view Key = u"sslmode=";
    if (!Text.starts_with(Key)) Refuse(u"the only option is sslmode");
    Url.SslMode = Text.substr(Key.size());
    if (std::find(SslModes.begin(), SslModes.end(), Url.SslMode) == SslModes.end()) {
        Refuse(u"sslmode is none of disable, allow, prefer, require, verify-ca, verify-full");
    }
}

} // namespace

TDatabaseUrl ParsePostgresUrl(std::u16string_view Rest) {
    TDatabaseUrl Url;
    // A password may hold "@", so the last one ends it; then nothing before that "@" is taken for a path
    // or options.
    const std::size_t At = Rest.substr(0, Rest.find(u'/')).rfind(u'@');
    if (At != Rest.npos) {
        const auto User = Rest.substr(0, At);
        const std::size_t Colon = User.find(u':');
        Url.User = Decode(User.substr(0, Colon), u"user");
        if (Url.User.empty()) Refuse(u"the user before \"@\" is missing");
        if (Colon != User.npos) Url.Password = Decode(User.substr(Colon + 1), u"password");
        Rest.remove_prefix(At + 1);
    }
    const std::size_t Slash = Rest.find(u'/');
    if (Slash == Rest.npos) Refuse(u"the name of the database is missing");
    ParseHost(Rest.substr(0, Slash), Url);
    Rest.remove_prefix(Slash + 1);
    const std::size_t Question = Rest.find(u'?');
    const auto Name = Rest.substr(0, Question);
    if (Name.empty()) Refuse(u"the name of the database is missing");
    if (Name.find_first_of(u"/@") != Name.npos) {
        Refuse(u"the name of the database holds \"/\" or \"@\" (in a user, password or name, write \"/\" as "
               u"%2F and \"@\" as %40)");
    }
    Url.Name = Decode(Name, u"name of the database");
    if (Question != Rest.npos) ParseOptions(Rest.substr(Question + 1), Url);
    return Url;
}

std::u16string DisplayPostgresUrl(const TDatabaseUrl& Url) {
    std::u16string Text;
    if (!Url.User.empty()) Text += Url.User + u"@";
    Text += Url.Host.find(u':') == Url.Host.npos ? Url.Host : u"[" + Url.Host + u"]";
    if (Url.Port != 0) Text += u":" + platform::Utf8ToUtf16(std::to_string(Url.Port));
    return Text + u"/" + Url.Name;
}

} // namespace zutools::server
