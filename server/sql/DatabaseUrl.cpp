#include "platform/File.h"
#include "platform/Text.h"
#include "platform/TextTools.h"
#include "server/sql/SqlDatabase.h"

#include <algorithm>
#include <array>

namespace zutools::server {

namespace {

constexpr std::u16string_view SqliteScheme = u"sqlite3";
constexpr std::u16string_view PostgresScheme = u"postgresql";
constexpr std::u16string_view SqliteForm =
    u"The right form is sqlite3://FILE, for example sqlite3://data/orders.db.";
constexpr std::u16string_view PostgresForm =
    u"The right form is postgresql://user@host:port/name, for example "
    u"postgresql://zu@127.0.0.1:5432/orders.";
constexpr std::array<std::u16string_view, 6> SslModes{u"disable", u"allow",     u"prefer",
                                                      u"require", u"verify-ca", u"verify-full"};

/// Says what is wrong without repeating the URL, which may hold a password.
[[noreturn]] void Refuse(std::u16string_view Scheme, std::u16string_view Fault, std::u16string_view Form) {
    std::u16string Text = u"Database URL";
    if (!Scheme.empty()) Text.append(u" (").append(Scheme).append(u")");
    Text.append(u": ").append(Fault).append(u". ").append(Form);
    throw EDatabaseError(std::move(Text));
}

[[noreturn]] void RefusePostgres(std::u16string_view Fault) {
    Refuse(PostgresScheme, Fault, PostgresForm);
}

std::u16string Decode(std::u16string_view Part, std::u16string_view PartName) {
    const auto Refused = [&](std::u16string_view Why) {
        RefusePostgres(std::u16string(u"the ").append(PartName).append(Why));
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

bool IsAbsolutePath(std::u16string_view Path) {
    return Path.front() == u'/' || Path.front() == u'\\' || (Path.size() > 1 && Path[1] == u':');
}

TDatabaseUrl ParseSqlite(std::u16string_view File, std::u16string_view BaseFolder) {
    if (File.empty()) Refuse(SqliteScheme, u"the file is missing", SqliteForm);
    if (File.find(u'\0') != File.npos) Refuse(SqliteScheme, u"the file name holds U+0000", SqliteForm);
    if (platform::Utf16ToUtf8Strict(File).Error) {
        Refuse(SqliteScheme, u"the file name is no valid text", SqliteForm);
    }
    TDatabaseUrl Url;
    Url.Dialect = TSqlDialect::Sqlite;
    const bool AsIs = File == u":memory:" || BaseFolder.empty() || IsAbsolutePath(File);
    Url.File = AsIs ? std::u16string(File) : platform::JoinPath(BaseFolder, File);
    return Url;
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
    if (Port < 1 || Port > 65535) RefusePostgres(u"the port is no number from 1 to 65535");
    return Port;
}

void ParseHost(std::u16string_view Text, TDatabaseUrl& Url) {
    if (Text.starts_with(u'[')) {
        const std::size_t End = Text.find(u']');
        if (End == Text.npos) RefusePostgres(u"the host begins with \"[\" and has no \"]\"");
        Url.Host = Decode(Text.substr(1, End - 1), u"host");
        Text.remove_prefix(End + 1);
        if (Text.empty()) return;
        if (Text.front() != u':') RefusePostgres(u"text stands behind the \"]\" of the host");
        Url.Port = ParsePort(Text.substr(1));
        return;
    }
    const std::size_t Colon = Text.find(u':');
    Url.Host = Decode(Text.substr(0, Colon), u"host");
    if (Colon == Text.npos) return;
    if (Text.find(u':', Colon + 1) != Text.npos) {
        RefusePostgres(u"the host has more than one \":\" (an IPv6 address stands in [])");
    }
    Url.Port = ParsePort(Text.substr(Colon + 1));
}

void ParseOptions(std::u16string_view Text, TDatabaseUrl& Url) {
    constexpr std::u16string_view Key = u"sslmode=";
    if (!Text.starts_with(Key)) RefusePostgres(u"the only option is sslmode");
    Url.SslMode = Text.substr(Key.size());
    if (std::find(SslModes.begin(), SslModes.end(), Url.SslMode) == SslModes.end()) {
        RefusePostgres(u"sslmode is none of disable, allow, prefer, require, verify-ca, verify-full");
    }
}

TDatabaseUrl ParsePostgres(std::u16string_view Rest) {
    TDatabaseUrl Url;
    Url.Dialect = TSqlDialect::Postgres;
    // A password may hold "@", so the last one ends it; then nothing before that "@" is taken for a path or
    // options.
    const std::size_t At = Rest.substr(0, Rest.find(u'/')).rfind(u'@');
    if (At != Rest.npos) {
        const auto User = Rest.substr(0, At);
        const std::size_t Colon = User.find(u':');
        Url.User = Decode(User.substr(0, Colon), u"user");
        if (Url.User.empty()) RefusePostgres(u"the user before \"@\" is missing");
        if (Colon != User.npos) Url.Password = Decode(User.substr(Colon + 1), u"password");
        Rest.remove_prefix(At + 1);
    }
    const std::size_t Slash = Rest.find(u'/');
    if (Slash == Rest.npos) RefusePostgres(u"the name of the database is missing");
    ParseHost(Rest.substr(0, Slash), Url);
    Rest.remove_prefix(Slash + 1);
    const std::size_t Question = Rest.find(u'?');
    const auto Name = Rest.substr(0, Question);
    if (Name.empty()) RefusePostgres(u"the name of the database is missing");
    if (Name.find_first_of(u"/@") != Name.npos) {
        RefusePostgres(
            u"the name of the database holds \"/\" or \"@\" (in a user, password or name, write \"/\" as "
            u"%2F and \"@\" as %40)");
    }
    Url.Name = Decode(Name, u"name of the database");
    if (Question != Rest.npos) ParseOptions(Rest.substr(Question + 1), Url);
    return Url;
}

} // namespace

std::u16string TDatabaseUrl::Display() const {
    if (Dialect == TSqlDialect::Sqlite) return u"sqlite3://" + File;
    std::u16string Text = u"postgresql://";
    if (!User.empty()) Text += User + u"@";
    Text += Host.find(u':') == Host.npos ? Host : u"[" + Host + u"]";
    if (Port != 0) Text += u":" + platform::Utf8ToUtf16(std::to_string(Port));
    return Text + u"/" + Name;
}

TDatabaseUrl ParseDatabaseUrl(std::u16string_view Url, std::u16string_view BaseFolder) {
    constexpr std::u16string_view Mark = u"://";
    const std::u16string Forms = std::u16string(SqliteForm).append(u" Or: ").append(PostgresForm);
    const std::size_t End = Url.find(Mark);
    if (End == Url.npos) Refuse({}, u"it has no \"://\"", Forms);
    const auto Scheme = Url.substr(0, End);
    const auto Rest = Url.substr(End + Mark.size());
    if (SameSqlName(Scheme, SqliteScheme)) return ParseSqlite(Rest, BaseFolder);
    if (SameSqlName(Scheme, PostgresScheme)) return ParsePostgres(Rest);
    const bool Plain = Scheme.size() <= 20 && std::all_of(Scheme.begin(), Scheme.end(),
                                                          [](char16_t C) { return C > u' ' && C < 0x7F; });
    Refuse(Plain ? Scheme : std::u16string_view{}, u"an unknown kind of database", Forms);
}

} // namespace zutools::server
