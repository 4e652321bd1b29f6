// zuhost: the library for a person at a shell, and the web host.
//
// Results go to standard output and nothing else does; everything else is `zuhost: message` on standard
// error. Exits with 0 when all is good, 1 when the job failed, 2 for wrong usage.

#include "apps/zuhost/Commands.h"

#include "host/Exception.h"
#include "package/ZuTools.h"
#include "platform/File.h"
#include "platform/Text.h"
#include "server/lua/LuaEngine.h"

#include <algorithm>
#include <csignal>
#include <cstdio>

namespace zutools::zuhost {

namespace {

struct TCommand {
    std::string_view Name;
    std::string_view Summary;
    int (*Run)(const TArguments& Arguments);
};

constexpr TCommand Commands[] = {
    {"render", "Fill a template and print the result", RunRender},
    {"run", "Run a Lua script with the library's objects", RunScript},
    {"serve", "Answer web requests with script modules", RunServeCommand},
    {"check", "Check a value against a rule", RunCheck},
    {"filters", "List and change the value filters in a database", RunFilters},
    {"users", "List and change the users in a database, and what they may do", RunUsers},
    {"blocks", "List and release the record blocks of a running service", RunBlocks},
    {"lint", "List what templates hold and report what is wrong in them", RunLint},
    {"api", "Print the reference of what scripts can use", RunApi},
};

[[nodiscard]] std::string Help() {
    std::string Result = "zuhost: templates, scripts and web pages with ZuTools\n"
                         "Usage: zuhost SUBCOMMAND [OPTIONS] ...\n\n"
                         "Subcommands:\n";
    for (const TCommand& Command : Commands) {
        std::string Name(Command.Name);
        Name.resize(10, ' ');
        Result += "  " + Name + std::string(Command.Summary) + "\n";
    }
    Result += "\nOptions:\n"
              "  -h,--help   Print this help and exit\n"
              "  --version   Print the version and exit\n"
              "\n`zuhost SUBCOMMAND --help` tells more about one of them.\n"
              "Exit codes: 0 good, 1 the job failed, 2 wrong usage.\n"
              "\nExamples:\n"
              "  zuhost render --templates pages letter.txt NAME=Anna\n"
              "  zuhost lint --templates pages --strings texts\n"
              "  zuhost run job.lua\n"
              "  zuhost serve --config orders.toml\n";
    return Result;
}

[[nodiscard]] std::string CommandNames() {
    std::string Result;
    for (const TCommand& Command : Commands) {
        if (!Result.empty()) Result += ", ";
        Result += Command.Name;
    }
    return Result;
}

/// Scripts, names and values come in as UTF-8 or not at all.
void CheckArguments(const TArguments& Arguments) {
    for (std::size_t Index = 0; Index < Arguments.size(); ++Index) {
        if (const auto Decoded = platform::Utf8ToUtf16Strict(Arguments[Index]); Decoded.Error) {
            throw EUsage("argument " + std::to_string(Index + 1) + " is malformed UTF-8 at byte " +
                         std::to_string(Decoded.Error->Offset + 1));
        }
    }
}

[[nodiscard]] int RunCommand(const TArguments& Arguments) {
    CheckArguments(Arguments);
    if (Arguments.empty()) throw EUsage("a subcommand is missing; there are " + CommandNames());
    const std::string& Name = Arguments.front();
    if (Name == "--help" || Name == "-h") {
        WriteOut(Help());
        return ExitGood;
    }
    if (Name == "--version") {
        WriteOut(u"zuhost " + std::u16string(ZuToolsVersion()) + u"\n");
        return ExitGood;
    }
    if (Name.starts_with('-')) throw EUsage("unknown option " + Name);
    const auto* Command = std::find_if(std::begin(Commands), std::end(Commands),
                                       [&Name](const TCommand& Known) { return Known.Name == Name; });
    if (Command == std::end(Commands)) {
        throw EUsage("unknown subcommand \"" + Name + "\"; there are " + CommandNames());
    }
    try {
        return Command->Run(TArguments(Arguments.begin() + 1, Arguments.end()));
    } catch (const EUsage& Error) {
        throw EUsage(Name + ": " + Error.what() + "\nSee zuhost " + Name + " --help");
    }
}

[[nodiscard]] int GuardedRun(const TArguments& Arguments) {
    try {
        const int Code = RunCommand(Arguments);
        FlushOut();
        return Code;
    } catch (const EUsage& Error) {
        Complain(Text(Error.what()));
        return ExitUsage;
    } catch (const server::EScriptError& Error) {
        const std::u16string& Traceback = Error.Traceback();
        Complain(Traceback.empty() ? Error.Message() : Error.Message() + u"\n" + Traceback);
    } catch (const platform::TSystemError& Error) {
        Complain(Error.Message());
    } catch (const std::exception& Error) {
        Complain(MessageOf(Error));
    }
    return ExitFailed;
}

} // namespace

} // namespace zutools::zuhost

int main(int argc, char** argv) {
    // A reader that went away shows as a failed write, which is said and gives exit code 1.
    std::signal(SIGPIPE, SIG_IGN);
    const zutools::zuhost::TArguments Arguments(argv + std::min(argc, 1), argv + argc);
    return zutools::zuhost::GuardedRun(Arguments);
}
