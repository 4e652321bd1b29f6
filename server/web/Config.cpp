#include "server/web/Config.h"

#include "platform/File.h"
#include "platform/MessagePipe.h"
#include "platform/Text.h"
#include "platform/TextTools.h"
#include "server/sql/SqlDatabase.h"
#include "server/web/HttpText.h"

#include <toml++/toml.h>

#include <arpa/inet.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <filesystem>
#include <limits>
#include <numeric>

namespace zutools::server {

namespace {

namespace fs = std::filesystem;

std::u16string Wide(std::string_view Utf8) {
    return platform::Utf8ToUtf16(Utf8);
}

std::string Quoted(std::string_view Text) {
    return '"' + std::string(Text) + '"';
}

std::string_view TypeText(const toml::node& Node) {
    switch (Node.type()) {
    case toml::node_type::table:
        return "a table";
    case toml::node_type::array:
        return "a list";
    case toml::node_type::string:
        return "a text";
    case toml::node_type::integer:
        return "a whole number";
    case toml::node_type::floating_point:
        return "a number with a fraction";
    case toml::node_type::boolean:
        return "true or false";
    default:
        return "a date or time";
    }
}

class TFile {
public:
    explicit TFile(std::u16string_view Name)
        : FName(Name)
        , FFolder(fs::absolute(fs::path(FName)).parent_path()) {}

    /// Notes a fault; reading goes on, so that all are told at once.
    void Fail(const toml::source_region& Place, std::string_view What) const {
        FFaults.push_back(PlaceText(Place) + Wide(": " + std::string(What)));
    }
    [[nodiscard]] std::u16string PlaceText(const toml::source_region& Place) const {
        return FName +
               Wide(":" + std::to_string(Place.begin.line) + ":" + std::to_string(Place.begin.column));
    }
    [[nodiscard]] bool HasFaults() const { return !FFaults.empty(); }
    /// @throws EConfigError with a line for each fault, when there are any.
    void Finish() const {
        std::u16string Lines;
        for (const std::u16string& Fault : FFaults) Lines += (Lines.empty() ? u"" : u"\n") + Fault;
        if (!Lines.empty()) throw EConfigError(std::move(Lines));
    }

    [[nodiscard]] const fs::path& Folder() const { return FFolder; }

    /// A name of the file as a whole path.
    [[nodiscard]] fs::path Resolve(std::string_view Name) const {
        return (FFolder / fs::path(std::u8string(Name.begin(), Name.end()))).lexically_normal();
    }

private:
    std::u16string FName;
    fs::path FFolder;
    mutable std::vector<std::u16string> FFaults;
};

/// One table of the file. Every key that may stand in it is asked for once, then Finish refuses the others.
class TSection {
public:
    TSection(const TFile& File, const toml::table& Table, std::string Prefix)
        : FFile(File)
        , FTable(Table)
        , FPrefix(std::move(Prefix)) {}

    /// The value of a key when it is there and of the type; fails when it is there and of another.
    template <class T>
    const toml::value<T>* Find(std::string_view Key, std::string_view Wanted) {
        const toml::node* Node = FindNode(Key);
        if (Node == nullptr) return nullptr;
        if (const auto* Value = Node->as<T>()) return Value;
        WrongType(Key, *Node, Wanted);
        return nullptr;
    }

    const toml::node* FindNode(std::string_view Key) {
        FKnown.push_back(Key);
        return FTable.get(Key);
    }

    void WrongType(std::string_view Key, const toml::node& Node, std::string_view Wanted) const {
        Fail(Node, Quoted(FPrefix + std::string(Key)) + " must be " + std::string(Wanted) + ", not " +
                       std::string(TypeText(Node)));
    }

    void Fail(const toml::node& Node, std::string_view What) const { FFile.Fail(Node.source(), What); }

    template <class T>
    void Integer(std::string_view Key, T& Target, std::int64_t Least, std::int64_t Most) {
        const std::string Wanted =
            "a whole number from " + std::to_string(Least) + " to " + std::to_string(Most);
        const auto* Value = Find<std::int64_t>(Key, Wanted);
        if (Value == nullptr) return;
        if (Value->get() < Least || Value->get() > Most) {
            Fail(*Value, Quoted(FPrefix + std::string(Key)) + " must be " + Wanted + ", not " +
                             std::to_string(Value->get()));
        }
        Target = static_cast<T>(Value->get());
    }

    void Boolean(std::string_view Key, bool& Target) {
        if (const auto* Value = Find<bool>(Key, "true or false")) Target = Value->get();
    }

    const toml::value<std::string>* Text(std::string_view Key) {
        const auto* Value = Find<std::string>(Key, "a text");
        if (Value != nullptr && Value->get().find('\0') != std::string::npos) {
            Fail(*Value, Quoted(FPrefix + std::string(Key)) + " must not hold a NUL");
        }
        return Value;
    }

    void Texts(std::string_view Key, std::vector<std::u16string>& Target) {
        const toml::node* Node = FindNode(Key);
        if (Node == nullptr) return;
        const toml::array* List = Node->as_array();
        if (List == nullptr) return WrongType(Key, *Node, "a list of texts");
        for (const toml::node& Item : *List) {
            if (const auto* Text = Item.as_string()) {
                Target.push_back(Wide(Text->get()));
            } else {
                WrongType(Key, Item, "a list of texts");
            }
        }
    }

    void Folder(std::string_view Key, std::u16string& Target) {
        const auto* Value = Text(Key);
        if (Value == nullptr) return;
        const fs::path Path = FFile.Resolve(Value->get());
        std::error_code Ignored;
        if (Value->get().empty() || !fs::is_directory(Path, Ignored)) {
            Fail(*Value, Quoted(FPrefix + std::string(Key)) + ": there is no folder " + Quoted(Value->get()));
        }
        Target = Path.u16string();
    }

    /// A table below this one; an empty one when it is not there.
    TSection Table(std::string_view Key) {
        static const toml::table Nothing;
        const toml::node* Node = FindNode(Key);
        if (Node != nullptr && !Node->is_table()) {
            WrongType(Key, *Node, "a table");
            Node = nullptr;
        }
        return {FFile, Node != nullptr ? *Node->as_table() : Nothing, FPrefix + std::string(Key) + "."};
    }

    void Finish() const {
        for (const auto& [Key, Node] : FTable) {
            if (std::ranges::find(FKnown, Key.str()) != FKnown.end()) continue;
            const auto Nearest = std::ranges::min_element(
                FKnown, {}, [&](std::string_view Known) { return platform::EditDistance(Key.str(), Known); });
            FFile.Fail(Key.source(), "unknown key " + Quoted(FPrefix + std::string(Key.str())) +
                                         "; the nearest known one is " +
                                         Quoted(FPrefix + std::string(*Nearest)));
        }
    }

    [[nodiscard]] const toml::table& Entries() const { return FTable; }
    [[nodiscard]] const TFile& File() const { return FFile; }

private:
    const TFile& FFile;
    const toml::table& FTable;
    std::string FPrefix;
    std::vector<std::string_view> FKnown;
};

bool IsAddress(const std::string& Text) {
    std::array<unsigned char, sizeof(in6_addr)> Ignored{};
    return inet_pton(AF_INET, Text.c_str(), Ignored.data()) == 1 ||
           inet_pton(AF_INET6, Text.c_str(), Ignored.data()) == 1;
}

void ReadAddress(TSection& Section, TWebConfig& Config) {
    const auto* Address = Section.Text("address");
    if (Address == nullptr) return;
    if (!IsAddress(Address->get())) {
        Section.Fail(*Address, "\"address\" must be an IPv4 or IPv6 address, not " + Quoted(Address->get()));
    }
    Config.Address = Address->get();
}

bool IsLanguageTag(std::string_view Tag) {
    return !Tag.empty() && Tag.size() <= 35 && Tag.front() != '-' && Tag.back() != '-' &&
           std::ranges::all_of(Tag, [](char C) {
               return platform::IsAsciiLetter(C) || platform::IsAsciiDigit(C) || C == '-';
           });
}

void ReadLanguages(TSection& Section, TWebConfig& Config) {
    if (const toml::node* Node = Section.FindNode("languages")) {
        const toml::array* List = Node->as_array();
        if (List == nullptr || List->empty())
            return Section.WrongType("languages", *Node, "a list of language tags");
        Config.Languages.clear();
        for (const toml::node& Item : *List) {
            const auto* Tag = Item.as_string();
            if (Tag == nullptr) return Section.WrongType("languages", Item, "a list of language tags");
            if (!IsLanguageTag(Tag->get())) {
                Section.Fail(Item, "\"languages\": " + Quoted(Tag->get()) + " is no language tag");
            }
            Config.Languages.push_back(Wide(Tag->get()));
        }
        Config.DefaultLanguage = Config.Languages.front();
    }
    const auto* Default = Section.Text("default_language");
    if (Default == nullptr) return;
    Config.DefaultLanguage = Wide(Default->get());
    if (std::ranges::find(Config.Languages, Config.DefaultLanguage) == Config.Languages.end()) {
        Section.Fail(*Default,
                     "\"default_language\": " + Quoted(Default->get()) + " is not among \"languages\"");
    }
}

void ReadDatabaseUrl(TSection& Section, std::string_view Key, TWebConfig& Config) {
    const auto* Url = Section.Text(Key);
    if (Url == nullptr) return;
    try {
        Config.Database = AbsoluteDatabaseUrl(Wide(Url->get()), Section.File().Folder().u16string());
    } catch (const EDatabaseError& Error) { // tells no password
        Section.Fail(*Url, Quoted(Key) + ": " + platform::Utf16ToUtf8(Error.Message()));
    }
}

void ReadTimeout(TSection& Section, std::string_view Key, TSqlTimeouts::TTime& Time) {
    constexpr std::int64_t Day = 24 * 60 * 60;
    std::int64_t Seconds = std::chrono::duration_cast<std::chrono::seconds>(Time).count();
    Section.Integer(Key, Seconds, 0, Day);
    Time = std::chrono::seconds{Seconds};
}

/// A URL, or a table of it and the times.
void ReadDatabase(TSection& Root, TWebConfig& Config) {
    const toml::node* Node = Root.FindNode("database");
    if (Node == nullptr) return;
    if (!Node->is_table()) return ReadDatabaseUrl(Root, "database", Config);
    TSection Section = Root.Table("database");
    ReadDatabaseUrl(Section, "url", Config);
    if (Section.FindNode("url") == nullptr) Section.Fail(*Node, "the key \"database.url\" is missing");
    Section.Boolean("create", Config.CreateDatabase);
    TSqlTimeouts& Times = Config.DatabaseTimeouts;
    ReadTimeout(Section, "connect_timeout", Times.Connect);
    ReadTimeout(Section, "lock_timeout", Times.Lock);
    ReadTimeout(Section, "statement_timeout", Times.Statement);
    ReadTimeout(Section, "network_timeout", Times.Network);
    ReadTimeout(Section, "schema_timeout", Times.Schema);
    Section.Finish();
}

/// The value filter by its name or, as an integer, its ID.
void ReadFilter(TSection& Section, TWebConfig& Config) {
    const toml::node* Node = Section.FindNode("filter");
    if (Node == nullptr) return;
    if (const auto* Name = Node->as_string()) {
        Config.Filter = Wide(Name->get());
    } else if (const auto* ID = Node->as_integer()) {
        Config.Filter = Wide(std::to_string(ID->get()));
    } else {
        Section.WrongType("filter", *Node, "a filter's name or ID");
    }
    if (Section.Entries().get("database") == nullptr) {
        Section.Fail(*Node, "\"filter\" needs the key \"database\", where the filters are");
    }
}

/// A module's name as the whole path of its file.
std::u16string ModuleFile(const TSection& Section, const TWebConfig& Config,
                          const toml::value<std::string>& Name) {
    const std::u16string Wanted = Wide(Name.get());
    if (Config.Modules.empty()) {
        if (Section.File().HasFaults()) return {}; // the folder's own, most likely, which is told already
        Section.Fail(Name, "module " + Quoted(Name.get()) +
                               " needs the key \"modules\", the folder of the modules");
        return {};
    }
    if (const std::u16string_view Reason = platform::UnsafeNameReason(Wanted); !Reason.empty()) {
        Section.Fail(Name, "module " + Quoted(Name.get()) + ": " + platform::Utf16ToUtf8(Reason));
        return {};
    }
    std::u16string File = platform::JoinPath(Config.Modules, Wanted);
    std::error_code Ignored;
    if (!fs::is_regular_file(fs::path(File), Ignored)) {
        Section.Fail(Name, "there is no module " + Quoted(Name.get()) + " in the folder \"modules\"");
    }
    return File;
}

void ReadFrame(TSection& Section, TWebConfig& Config) {
    const auto* Frame = Section.Text("frame");
    if (Frame == nullptr) return;
    Config.Frame = Wide(Frame->get());
    std::error_code Ignored;
    if (!platform::UnsafeNameReason(Config.Frame).empty() || Config.Templates.empty() ||
        !fs::is_regular_file(fs::path(platform::JoinPath(Config.Templates, Config.Frame)), Ignored)) {
        Section.Fail(*Frame, "\"frame\": there is no template " + Quoted(Frame->get()) +
                                 " in the folder \"templates\"");
    }
}

/// `right = "Orders.insert"`, `profile = "Teachers"`, `methods = ["POST"]`.
void ReadRights(TSection& Section, TRoute& Route) {
    if (const auto* Right = Section.Text("right")) {
        const std::u16string Text = Wide(Right->get());
        const std::size_t Dot = Text.rfind(u'.');
        if (Dot != Text.npos && Dot > 0) Route.Right = RecordRightOfName(Text.substr(Dot + 1));
        Route.RightTable = Text.substr(0, Dot);
        if (!Route.Right) {
            Section.Fail(*Right, "\"right\" must be a table and view, edit, delete or insert, like "
                                 "\"Orders.insert\", not " +
                                     Quoted(Right->get()));
        }
    }
    if (const auto* Profile = Section.Text("profile")) {
        Route.Profile = Wide(Profile->get());
        if (Route.Profile.empty()) Section.Fail(*Profile, "\"profile\" must not be empty");
    }
    Section.Texts("methods", Route.Methods);
    for (const std::u16string& Method : Route.Methods) {
        if (Method != u"GET" && Method != u"POST")
            Section.Fail(*Section.Entries().get("methods"), "\"methods\" must be of GET and POST");
    }
}

void ReadRoute(const TSection& Routes, const toml::key& Key, const toml::node& Node, TWebConfig& Config) {
    TRoute Route;
    const std::string_view Path = Key.str();
    const auto Decoded = DecodeUtf8(Path);
    if (!Path.starts_with('/') || !Decoded || Path.find_first_of("?#%") != std::string_view::npos) {
        return Routes.File().Fail(
            Key.source(), "route " + Quoted(Path) +
                              " must be a path that begins with \"/\", without \"?\", \"#\" and \"%\"");
    }
    Route.Path = *Decoded;
    Route.Below = Route.Path.ends_with(u"/*");
    if (Route.Below) Route.Path.resize(Route.Path.size() - 2);

    const auto* Module = Node.as_string();
    if (const toml::table* Table = Node.as_table()) {
        TSection Section(Routes.File(), *Table, "routes." + Quoted(Path) + ".");
        Module = Section.Text("module");
        Section.Boolean("form_token", Route.FormToken);
        Section.Boolean("filter", Route.Filter);
        Section.Boolean("user", Route.User);
        Section.Boolean("admin", Route.Administrator);
        Section.Boolean("form", Route.Form);
        if (Route.Form) Route.FormToken = Route.Filter = false;
        ReadRights(Section, Route);
        if (Route.AsksForUser() && Config.Session.SignIn.empty()) {
            Routes.Fail(Node,
                        "route " + Quoted(Path) +
                            " is for users and needs the key \"session.sign_in\", the path to sign in at");
        }
        Section.Finish();
        if (Module == nullptr) return Routes.Fail(Node, "route " + Quoted(Path) + " has no \"module\"");
    }
    if (Module == nullptr) return Routes.WrongType(Quoted(Path), Node, "a module's name or a table");
    Route.Module = Wide(Module->get());
    Route.ModuleFile = ModuleFile(Routes, Config, *Module);
    Config.Routes.push_back(std::move(Route));
}

void ReadStatic(TSection Section, TStaticConfig& Static) {
    Section.Folder("folder", Static.Folder);
    if (const auto* Prefix = Section.Text("prefix")) {
        const std::string& Text = Prefix->get();
        if (!Text.starts_with('/') || !Text.ends_with('/')) {
            Section.Fail(*Prefix, "\"static.prefix\" must begin and end with \"/\", not " + Quoted(Text));
        }
        Static.Prefix = Wide(Text);
    }
    Section.Integer("max_age", Static.MaxAge, 0, 31'536'000);
    Section.Finish();
}

void ReadLimits(TSection Section, TLimitsConfig& Limits) {
    constexpr std::int64_t Gigabyte = 1 << 30;
    Section.Integer("body_bytes", Limits.BodyBytes, 0, Gigabyte);
    Section.Integer("header_bytes", Limits.HeaderBytes, 4096, 1 << 20);
    Section.Integer("response_bytes", Limits.ResponseBytes, 1024, Gigabyte);
    Section.Integer("instructions", Limits.Instructions, 0, std::numeric_limits<std::int64_t>::max());
    Section.Integer("memory_bytes", Limits.MemoryBytes, 0, 64 * Gigabyte);
    Section.Integer("threads", Limits.Threads, 1, 256);
    Section.Integer("queue", Limits.Queue, 1, 100'000);
    Section.Integer("connections", Limits.Connections, 4, 100'000);
    Section.Integer("connections_per_address", Limits.ConnectionsPerAddress, 1, 100'000);
    Section.Integer("header_seconds", Limits.HeaderSeconds, 1, 3600);
    Section.Integer("body_seconds", Limits.BodySeconds, 1, 24 * 3600);
    Section.Integer("idle_seconds", Limits.IdleSeconds, 1, 3600);
    Section.Integer("page_seconds", Limits.PageSeconds, 0, 86'400);
    Section.Integer("stop_seconds", Limits.StopSeconds, 0, 3600);
    Section.Finish();
}

void ReadSession(TSection Section, TSessionConfig& Session) {
    constexpr std::int64_t LongestMinutes = 60 * 24 * 31;
    std::int64_t Minutes = 0;
    std::int64_t Seconds = 0;
    Section.Integer("idle_minutes", Minutes, 1, LongestMinutes);
    Section.Integer("idle_seconds", Seconds, 1, LongestMinutes * 60);
    if (Minutes != 0 && Seconds != 0) {
        Section.Fail(*Section.FindNode("idle_seconds"),
                     "\"session.idle_seconds\" and \"session.idle_minutes\" exclude each other");
    }
    if (Minutes != 0) Session.Idle = std::chrono::minutes{Minutes};
    if (Seconds != 0) Session.Idle = std::chrono::seconds{Seconds};
    std::int64_t Longest = std::chrono::duration_cast<std::chrono::minutes>(Session.Longest).count();
    Section.Integer("longest_minutes", Longest, 0, LongestMinutes);
    Session.Longest = std::chrono::minutes{Longest};
    Section.Integer("count", Session.Count, 1, 10'000'000);
    Section.Boolean("secure", Session.Secure);
    Section.Boolean("without_users", Session.WithoutUsers);
    if (const auto* Path = Section.Text("sign_in")) {
        Session.SignIn = Wide(Path->get());
        if (!IsLocalPath(Session.SignIn) || Path->get().find_first_of("?#%") != std::string::npos) {
            Section.Fail(*Path, "\"session.sign_in\" must be a path that begins with \"/\", not " +
                                    Quoted(Path->get()));
        }
    }
    Section.Finish();
}

void ReadProxy(TSection Section, TProxyConfig& Proxy) {
    constexpr std::string_view Wanted = "a list of addresses and networks, like \"10.0.0.0/8\"";
    if (const toml::node* Node = Section.FindNode("trusted")) {
        const toml::array* const List = Node->as_array();
        if (List == nullptr) return Section.WrongType("trusted", *Node, Wanted);
        for (const toml::node& Item : *List) {
            const auto* const Text = Item.as_string();
            if (Text == nullptr) return Section.WrongType("trusted", Item, Wanted);
            const auto Network = TNetwork::Parse(Text->get());
            if (!Network) {
                Section.Fail(Item, "\"proxy.trusted\": " + Quoted(Text->get()) +
                                       " is neither an address nor a network with nothing behind its length");
                continue;
            }
            Proxy.Trusted.push_back(*Network);
        }
    }
    if (const auto* Header = Section.Text("header")) {
        if (Header->get() != "X-Forwarded-For" && Header->get() != "Forwarded") {
            Section.Fail(*Header, "\"proxy.header\" must be X-Forwarded-For or Forwarded, not " +
                                      Quoted(Header->get()));
        }
        if (Header->get() == "Forwarded") Proxy.Header = TProxyHeader::Forwarded;
    }
    Section.Finish();
}

void ReadAdmin(TSection Section, TAdminConfig& Admin) {
    Section.Boolean("enabled", Admin.Enabled);
    if (const auto* Socket = Section.Text("socket")) {
        if (Socket->get().empty()) Section.Fail(*Socket, "\"admin.socket\" must not be empty");
        Admin.Socket = Section.File().Resolve(Socket->get()).u16string();
    }
    if (const auto* Http = Section.Text("http")) {
        const std::string& Text = Http->get();
        const std::size_t Colon = std::min(Text.rfind(':'), Text.size());
        std::string Address = Text.substr(0, Colon);
        if (Address.starts_with('[') && Address.ends_with(']'))
            Address = Address.substr(1, Address.size() - 2);
        unsigned Port = 0;
        const char* const End = Text.data() + Text.size();
        const auto [Parsed, Error] = std::from_chars(std::min(Text.data() + Colon + 1, End), End, Port);
        if (!IsAddress(Address) || Error != std::errc{} || Parsed != End || Port > 65535) {
            Section.Fail(*Http,
                         "\"admin.http\" must be an address and a port, like \"127.0.0.1:9090\", not " +
                             Quoted(Text));
        }
        Admin.HttpAddress = std::move(Address);
        Admin.HttpPort = static_cast<std::uint16_t>(Port);
    }
    Section.Finish();
}

/// A user who is sent to sign in must be let in there.
void CheckSignIn(const TSection& Section, const TWebConfig& Config) {
    const std::u16string& Path = Config.Session.SignIn;
    if (Path.empty()) return;
    const TRoute* const Route = FindRoute(Config.Routes, Path);
    if (Route != nullptr && !Route->AsksForUser()) return;
    const toml::node& Node = *Section.Entries().at_path("session.sign_in").node();
    Section.Fail(Node, "\"session.sign_in\": " + Quoted(platform::Utf16ToUtf8(Path)) +
                           (Route == nullptr ? " has no route" : " must not be for users only"));
}

void ReadSecurity(TSection Section, TWebConfig& Config) {
    if (const auto* Policy = Section.Text("content_security_policy")) {
        if (!IsHeaderValue(Policy->get())) {
            Section.Fail(*Policy, "\"security.content_security_policy\" must be printable ASCII on one line");
        }
        Config.ContentSecurityPolicy = Policy->get();
    }
    Section.Finish();
}

THelperConfig ReadHelper(const TSection& Root, const toml::node& Node) {
    const toml::table* const Table = Node.as_table();
    if (Table == nullptr) {
        Root.WrongType("helper", Node, "tables, each written [[helper]]");
        return {};
    }
    TSection Section(Root.File(), *Table, "helper.");
    THelperConfig Helper;
    Helper.Folder = Root.File().Resolve(".").parent_path().u16string();
    const toml::node* const Command = Section.FindNode("command");
    const toml::array* const Words = Command != nullptr ? Command->as_array() : nullptr;
    if (Words == nullptr || Words->empty()) {
        Section.Fail(Command != nullptr ? *Command : Node,
                     "\"helper.command\" must be a list of texts: the program and its arguments");
        return Helper;
    }
    for (const toml::node& Word : *Words) {
        const auto* const Text = Word.as_string();
        if (Text == nullptr) {
            Section.WrongType("command", Word, "a list of texts");
            continue;
        }
        if (Text->get().find('\0') != std::string::npos) {
            Section.Fail(Word, "\"helper.command\": a word cannot have a zero byte in it");
        }
        Helper.Command.push_back(Text->get());
    }
    const auto* const Pipe = Section.Text("pipe");
    if (Pipe == nullptr || platform::SplitPipePath(u"\\\\.\\pipe\\" + Wide(Pipe->get())).Name.empty()) {
        Section.Fail(Pipe != nullptr ? static_cast<const toml::node&>(*Pipe) : Node,
                     "\"helper.pipe\" must be the name of a pipe, without slashes");
        return Helper;
    }
    Helper.Pipe = Pipe->get();
    constexpr std::int64_t Day = 86'400'000;
    std::int64_t First = Helper.FirstRestart.count();
    std::int64_t Last = Helper.LastRestart.count();
    Section.Integer("restart_ms", First, 1, Day);
    Section.Integer("restart_max_ms", Last, 1, Day);
    Helper.FirstRestart = std::chrono::milliseconds(First);
    Helper.LastRestart = std::chrono::milliseconds(std::max(First, Last));
    Section.Finish();
    return Helper;
}

TLibraryConfig ReadLibrary(const TSection& Root, const toml::node& Node) {
    const toml::table* const Table = Node.as_table();
    if (Table == nullptr) {
        Root.WrongType("library", Node, "tables, each written [[library]]");
        return {};
    }
    TSection Section(Root.File(), *Table, "library.");
    const auto* const Given = Section.Text("file");
    if (Given == nullptr || Given->get().empty()) {
        Section.Fail(Given != nullptr ? static_cast<const toml::node&>(*Given) : Node,
                     "\"library.file\" must name a library with classes for scripts");
        return {};
    }
    Section.Finish();
    constexpr std::string_view Program = "{program}/";
    std::string_view Name = Given->get();
    fs::path Path;
    if (Name.starts_with(Program)) {
        Name.remove_prefix(Program.size());
        Path = fs::read_symlink("/proc/self/exe").parent_path() / std::u8string(Name.begin(), Name.end());
    } else {
        Path = Root.File().Resolve(Name);
    }
    return {Path.u16string(), Root.File().PlaceText(Given->source())};
}

/// A list of tables, each written [[Key]].
template <class TItem>
void ReadTables(TSection& Section, std::string_view Key, TItem (*Read)(const TSection&, const toml::node&),
                std::vector<TItem>& Items) {
    const toml::node* const Node = Section.FindNode(Key);
    if (Node == nullptr) return;
    const toml::array* const List = Node->as_array();
    if (List == nullptr)
        return Section.WrongType(Key, *Node, "tables, each written [[" + std::string(Key) + "]]");
    for (const toml::node& Each : *List) Items.push_back(Read(Section, Each));
}

void ReadLog(TSection Section, TLogConfig& Log) {
    constexpr std::array<std::string_view, 4> Levels{"debug", "info", "warning", "error"};
    if (const auto* Level = Section.Text("level")) {
        const auto Known = std::ranges::find(Levels, Level->get());
        if (Known == Levels.end()) {
            Section.Fail(*Level,
                         "\"log.level\" must be debug, info, warning or error, not " + Quoted(Level->get()));
        }
        Log.Level = static_cast<TLogLevel>(Known - Levels.begin());
    }
    if (const auto* Format = Section.Text("format")) {
        if (Format->get() != "text" && Format->get() != "json")
            Section.Fail(*Format, "\"log.format\" must be text or json, not " + Quoted(Format->get()));
        Log.Json = Format->get() == "json";
    }
    if (const auto* File = Section.Text("file")) {
        const fs::path Path = Section.File().Resolve(File->get());
        std::error_code Ignored;
        if (File->get().empty() || !fs::is_directory(Path.parent_path(), Ignored)) {
            Section.Fail(*File, "\"log.file\": there is no folder for " + Quoted(File->get()));
        }
        Log.File = Path.u16string();
    }
    Section.Finish();
}

} // namespace

TWebConfig LoadWebConfig(std::u16string_view File) {
    return ParseWebConfig(platform::TReadFile(File).ReadAll(), File);
}

TWebConfig ParseWebConfig(std::string_view Text, std::u16string_view FileName) {
    const TFile File(FileName);
    toml::table Root;
    try {
        Root = toml::parse(Text, platform::Utf16ToUtf8(FileName));
    } catch (const toml::parse_error& Error) {
        File.Fail(Error.source(), Error.description());
        File.Finish();
    }

    TWebConfig Config;
    TSection Section(File, Root, "");
    ReadAddress(Section, Config);
    Section.Integer("port", Config.Port, 0, 65535);
    Section.Folder("templates", Config.Templates);
    Section.Folder("strings", Config.Strings);
    Section.Folder("modules", Config.Modules);
    Section.Folder("migrations", Config.Migrations);
    ReadFrame(Section, Config);
    const auto* Setup = Section.Text("setup");
    ReadDatabase(Section, Config);
    ReadFilter(Section, Config);
    ReadLanguages(Section, Config);
    ReadStatic(Section.Table("static"), Config.Static);
    ReadLimits(Section.Table("limits"), Config.Limits);
    ReadSession(Section.Table("session"), Config.Session);
    ReadSecurity(Section.Table("security"), Config);
    ReadProxy(Section.Table("proxy"), Config.Proxy);
    ReadAdmin(Section.Table("admin"), Config.Admin);
    TSection Rights = Section.Table("rights");
    Rights.Texts("anonymous", Config.AnonymousTables);
    Rights.Finish();
    ReadLog(Section.Table("log"), Config.Log);
    ReadTables(Section, "helper", ReadHelper, Config.Helpers);
    ReadTables(Section, "library", ReadLibrary, Config.Libraries);
    const TSection Routes = Section.Table("routes");
    // A misspelt "modules" is told as that, not as modules that are missing.
    Section.Finish();
    if (Setup != nullptr) Config.Setup = ModuleFile(Section, Config, *Setup);
    for (const auto& [Key, Node] : Routes.Entries()) ReadRoute(Routes, Key, Node, Config);
    if (!File.HasFaults()) CheckSignIn(Section, Config); // every path of it counts
    File.Finish();
    return Config;
}

bool AsksForUsers(const TWebConfig& Config) {
    return std::ranges::any_of(Config.Routes, [](const TRoute& Route) { return Route.AsksForUser(); });
}

const TRoute* FindRoute(const std::vector<TRoute>& Routes, std::u16string_view Path) {
    const TRoute* Longest = nullptr;
    for (const TRoute& Route : Routes) {
        if (!Route.Below) {
            if (Path == Route.Path) return &Route;
            continue;
        }
        const bool Above = Path.starts_with(Route.Path) && Path.substr(Route.Path.size()).starts_with(u'/');
        if (Above && (Longest == nullptr || Route.Path.size() > Longest->Path.size())) Longest = &Route;
    }
    return Longest;
}

} // namespace zutools::server
