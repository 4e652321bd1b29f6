// zuhost sessions: who is signed in at a running service.

#include "apps/zuhost/AdminClient.h"
#include "apps/zuhost/Commands.h"

#include "host/Exception.h"

namespace zutools::zuhost {

namespace {

constexpr const char* Footer =
    R"(ACTION is one of
  list          the sessions with a user or a record block: their numbers, who
                and from where, how old they are and how long nothing was asked
  end SID       ends one; its record blocks are dropped
  end --user NAME  ends all of a user, who may sign in again

Asks the service that runs with the configuration, as the same user of the
system or as root. The sessions of a user whose password changes, who is
disabled or removed end by themselves.

Examples:
  zuhost sessions list --config orders.toml
  zuhost sessions end --user anna --config orders.toml)";

struct TOptions {
    std::string ConfigFile = "zuhost.toml";
    std::string User;
    bool Json = false;
};

/// "2:05:09".
[[nodiscard]] std::string TimeText(std::int64_t Seconds) {
    char Text[40];
    std::snprintf(Text, sizeof Text, "%lld:%02d:%02d", static_cast<long long>(Seconds / 3600),
                  static_cast<int>(Seconds / 60 % 60), static_cast<int>(Seconds % 60));
    return Text;
}

void PrintList(const TJson& Sessions, bool Json) {
    if (Json) return WriteOut(Sessions.dump(2) + "\n");
    if (Sessions.empty()) return WriteOut(std::string_view("no sessions\n"));
    for (const TJson& Session : Sessions) {
        const std::u16string User = Plain(Session.at("user"));
        WriteOut(
            Plain(Session.at("sid")) + u" " + (User.empty() ? u"not signed in" : User) + u", from " +
            Plain(Session.at("address")) +
            Text(", for " + TimeText(Session.at("age")) + ", idle " + TimeText(Session.at("idle")) + "\n"));
    }
}

int Sessions(const TOptions& Options, const TArguments& Words) {
    if (Words.empty()) throw EUsage("the action is missing; there are list, end");
    if (Words.front() == "list") {
        if (Words.size() != 1) throw EUsage("list takes no further names");
        PrintList(TAdminClient(Options.ConfigFile).Ask({{"command", "sessions.list"}}).at("sessions"),
                  Options.Json);
        return ExitGood;
    }
    if (Words.front() != "end") throw EUsage("unknown action \"" + Words.front() + "\"; there are list, end");
    if (Words.size() != (Options.User.empty() ? 2U : 1U)) {
        throw EUsage("end takes the number of one session, or --user and a name");
    }
    const std::string SID = Words.size() > 1 ? Words[1] : "";
    const TJson Answer = TAdminClient(Options.ConfigFile)
                             .Ask({{"command", "sessions.end"}, {"sid", SID}, {"user", Options.User}});
    const auto Ended = Answer.at("ended").get<std::size_t>();
    if (Ended == 0) {
        throw Exception(SID.empty() ? u"the user \"" + Text(Options.User) + u"\" has no session"
                                    : u"there is no session " + Text(SID));
    }
    WriteOut("ended " + std::to_string(Ended) + "\n");
    return ExitGood;
}

} // namespace

TJob DeclareSessions(TDeclaration& Takes) {
    const auto Options = std::make_shared<TOptions>();
    Takes.Footer(Footer);
    Takes.Option("--config", Options->ConfigFile, "FILE",
                 "Configuration of the service; zuhost.toml when not given");
    Takes.Option("--user", Options->User, "NAME", "end: all sessions of this user");
    Takes.Flag("--json", Options->Json, "list: print a JSON array");
    return [Options](const TArguments& Words) { return Sessions(*Options, Words); };
}

} // namespace zutools::zuhost
