// zuhost blocks: who has which record of a running service.

#include "apps/zuhost/AdminClient.h"
#include "apps/zuhost/Commands.h"

#include "host/Exception.h"

namespace zutools::zuhost {

namespace {

constexpr const char* Footer =
    R"(ACTION is one of
  list          who has which record, or whole table, since when, and the newest
                line of each block's history; --history tells all of it
  release ID    takes a block away from whoever has it: what was not written yet
                is lost to him; the service logs it with your name

Asks the service that runs with the configuration, as the same user of the
system or as root.

Examples:
  zuhost blocks list --config orders.toml
  zuhost blocks release 6C1D0A5E4B2F4C7F9D1E8A3B5C7D9E0F --config orders.toml)";

struct TOptions {
    std::string ConfigFile = "zuhost.toml";
    bool History = false;
    bool Json = false;
};

[[nodiscard]] TJson AllBlocks(const TAdminClient& Client, bool History) {
    TJson Blocks = TJson::array();
    for (TJson Answer{{"more", true}}; Answer.at("more").get<bool>();) {
        const std::string After = Blocks.empty() ? std::string() : Blocks.back().at("id").get<std::string>();
        Answer = Client.Ask({{"command", "blocks.list"}, {"after", After}, {"history", History}});
        if (Answer.at("blocks").empty()) break;
        for (TJson& Block : Answer.at("blocks")) Blocks.push_back(std::move(Block));
    }
    return Blocks;
}

/// The lines of a history entry, each behind blanks; only the first unless `Whole`.
[[nodiscard]] std::u16string Lines(const TJson& Entry, bool Whole) {
    std::u16string Result;
    std::string_view Rest = Entry.get_ref<const std::string&>();
    for (std::u16string Indent = u"  "; !Rest.empty(); Indent = u"    ") {
        const std::size_t End = std::min(Rest.find('\n'), Rest.size());
        std::string_view Line = Rest.substr(0, End);
        if (Line.ends_with('\r')) Line.remove_suffix(1);
        if (!Line.empty()) Result += Indent + Plain(Line) + u"\n";
        Rest.remove_prefix(std::min(End + 1, Rest.size()));
        if (!Whole) break;
    }
    return Result;
}

void PrintList(const TJson& Blocks, const TOptions& Options) {
    if (Options.Json) return WriteOut(Blocks.dump(2) + "\n");
    if (Blocks.empty()) return WriteOut(std::string_view("no blocks\n"));
    for (const TJson& Block : Blocks) {
        std::u16string Line =
            Plain(Block.at("id")) + u" " + Plain(Block.at("action")) + u" " + Plain(Block.at("table"));
        if (const std::u16string Record = Plain(Block.at("record")); !Record.empty()) Line += u" " + Record;
        const std::u16string User = Plain(Block.at("user"));
        Line +=
            u", " + (User.empty() ? u"not signed in" : User) + u", since " + Plain(Block.at("since")) + u"\n";
        for (const TJson& Entry : Block.at("history")) Line += Lines(Entry, Options.History);
        WriteOut(Line);
    }
}

int Blocks(const TOptions& Options, const TArguments& Words) {
    if (Words.empty()) throw EUsage("the action is missing; there are list, release");
    const bool Lists = Words.front() == "list";
    if (!Lists && Words.front() != "release") {
        throw EUsage("unknown action \"" + Words.front() + "\"; there are list, release");
    }
    if (Words.size() != (Lists ? 1U : 2U)) {
        throw EUsage(Lists ? "list takes no further names" : "release takes the ID of one block");
    }

    const TAdminClient Client(Options.ConfigFile);
    if (Lists) {
        PrintList(AllBlocks(Client, Options.History), Options);
        return ExitGood;
    }
    const TJson Answer = Client.Ask({{"command", "blocks.release"}, {"id", Words[1]}});
    if (!Answer.at("released").get<bool>()) throw Exception(u"there is no block " + Text(Words[1]));
    WriteOut("released " + Words[1] + "\n");
    return ExitGood;
}

} // namespace

TJob DeclareBlocks(TDeclaration& Takes) {
    const auto Options = std::make_shared<TOptions>();
    Takes.Footer(Footer);
    Takes.Option("--config", Options->ConfigFile, "FILE",
                 "Configuration of the service; zuhost.toml when not given");
    Takes.Flag("--history", Options->History, "Print whole histories, oldest entry first");
    Takes.Flag("--json", Options->Json, "Print the list as a JSON array");
    return [Options](const TArguments& Words) { return Blocks(*Options, Words); };
}

} // namespace zutools::zuhost
