// The configuration of a web host: a TOML file, checked to the last key before anything starts.
//
// docs/configuration.md describes every key. Read once at start, on one thread; constant afterwards.

#pragma once

#include "host/Exception.h"
#include "host/Security.h"
#include "host/Services.h"
#include "server/sql/SqlEngine.h"
#include "server/web/Proxies.h"

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace zutools::server {

/// A configuration that cannot be used: `file:line:column: what is wrong`, a line for each fault.
class EConfigError : public Exception {
public:
    using Exception::Exception;
};

/// One path of the service and the module that answers it.
struct TRoute {
    std::u16string Path;        // as a request has it after decoding, without the "/*"
    bool Below = false;         // everything below Path, not Path itself
    std::u16string Module;      // file name as configured, below the modules folder
    std::u16string ModuleFile;  // the whole path
    bool FormToken = true;      // writes need the session's form token
    bool User = false;          // for signed-in users only, others are sent to Session.SignIn
    bool Administrator = false; // for administrators only, who are signed in
    bool Filter = true;         // parameters pass the value filter, when there is one
    bool Form = false; // its module answers with zu.form, which looks at token, user and values itself
    std::optional<TRecordRight> Right;   // that users must have to records of
    std::u16string RightTable;           // this table
    std::u16string Profile;              // that users must be of, who are no administrators; empty: any
    std::vector<std::u16string> Methods; // that the module answers, HEAD with GET; empty: all

    /// Whether it is for signed-in users.
    [[nodiscard]] bool AsksForUser() const {
        return User || Administrator || Right.has_value() || !Profile.empty();
    }
};

struct TStaticConfig {
    std::u16string Folder; // empty: no static files
    std::u16string Prefix = u"/static/";
    std::uint32_t MaxAge = 0; // seconds a browser may use its copy without asking
};

struct TLimitsConfig {
    std::size_t BodyBytes = 2 * 1024 * 1024;
    std::size_t HeaderBytes = 32 * 1024; // memory of a connection: request line, headers and a piece of body
    std::size_t ResponseBytes = 32 * 1024 * 1024;
    std::uint64_t Instructions = 100'000'000;   // of a module's run; 0 means no limit
    std::size_t MemoryBytes = 64 * 1024 * 1024; // of one worker's scripts; 0 means no limit
    unsigned Threads = 4;                       // workers that run modules
    unsigned Queue = 200;                       // requests that may wait for a worker
    unsigned Connections = 500;
    unsigned ConnectionsPerAddress = 100; // of one IPv4 address or IPv6 network (/64)
    unsigned HeaderSeconds = 10;          // for the head of a request, however slowly it comes
    unsigned BodySeconds = 60;            // for its body
    unsigned IdleSeconds = 30;            // a connection on which nothing moves is closed
    unsigned PageSeconds = 30;            // that a page may take; 0 means no limit
    unsigned StopSeconds = 10;            // what running requests get when the service stops
    friend bool operator==(const TLimitsConfig&, const TLimitsConfig&) = default;
};

struct TSessionConfig {
    std::chrono::seconds Idle{20 * 60};
    std::chrono::seconds Longest{12 * 60 * 60}; // of a session's life; zero: as long as it is used
    std::u16string SignIn;                      // path of the page where users sign in; empty: there is none
    std::size_t Count = 10'000;                 // of sessions with a user or a record block
    bool Secure = false;                        // the cookie travels over HTTPS only
    bool WithoutUsers = false;                  // serve although a route asks for users and there are none
};

struct TAdminConfig {
    bool Enabled = true;
    std::u16string Socket;      // whole path; empty: made from the configuration file's name
    std::string HttpAddress;    // of /healthz and /metrics; empty: there is none
    std::uint16_t HttpPort = 0; // 0: any free one
};

/// A process that answers modules over a named pipe, started and kept alive by the service.
struct THelperConfig {
    std::vector<std::string> Command; // program and arguments; "zuhost" is the service's own program
    std::string Pipe;                 // name of the pipe; "{pipe}" in the command stands for it
    std::u16string Folder;            // where it runs: that of the configuration file
    std::chrono::milliseconds FirstRestart{100};   // pause before it is started again, doubled each time,
    std::chrono::milliseconds LastRestart{30'000}; // up to this
};

/// A library with classes for scripts (package/ScriptLibrary.h).
struct TLibraryConfig {
    std::u16string File;  // whole path
    std::u16string Place; // in the configuration, `file:line:column`
};

struct TLogConfig {
    TLogLevel Level = TLogLevel::Info;
    bool Json = false;   // a JSON object a line
    std::u16string File; // empty: standard error
};

struct TWebConfig {
    std::string Address = "127.0.0.1";
    std::uint16_t Port = 8080; // 0: any free one
    std::u16string Templates;  // folders are whole paths; empty when not configured
    std::u16string Strings;
    std::u16string Modules;
    std::u16string Frame;      // template around the pages; empty: none
    std::u16string Migrations; // folder of NNN-name.sql; empty: none
    std::u16string Setup;      // module file run once before serving; whole path, may be empty
    std::u16string Database;   // URL, its file as a whole path; empty: there is none
    TSqlTimeouts DatabaseTimeouts;
    bool CreateDatabase = false; // a SQLite file that is missing is made even when routes ask for users
    std::u16string Filter; // name or ID of the value filter in the database; empty: values are not checked
    std::vector<std::u16string> Languages{u"en"};
    std::u16string DefaultLanguage = u"en";
    std::string ContentSecurityPolicy = "default-src 'self'";
    std::vector<TRoute> Routes;
    TStaticConfig Static;
    TLimitsConfig Limits;
    TSessionConfig Session;
    TProxyConfig Proxy;
    TAdminConfig Admin;
    TLogConfig Log;
    std::vector<std::u16string> AnonymousTables; // whose records visitors open, although there are users
    std::vector<THelperConfig> Helpers;
    std::vector<TLibraryConfig> Libraries;
};

/// Whether a route is for users or administrators.
[[nodiscard]] bool AsksForUsers(const TWebConfig& Config);

/// Reads and checks a file. Relative names in it are relative to its folder.
/// @throws EConfigError for anything wrong with it: bad TOML, an unknown key (with the nearest known one), a
/// wrong
///         type or range, a folder or module that is not there; platform::TSystemError when it cannot be
///         read.
[[nodiscard]] TWebConfig LoadWebConfig(std::u16string_view File);

/// The same for a text; `File` stands in messages and its folder is the base of relative names.
[[nodiscard]] TWebConfig ParseWebConfig(std::string_view Text, std::u16string_view File);

/// The route of a decoded path: an exact one, else the longest one above it; null when there is none.
[[nodiscard]] const TRoute* FindRoute(const std::vector<TRoute>& Routes, std::u16string_view Path);

} // namespace zutools::server
