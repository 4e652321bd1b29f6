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

constexpr const char* Footer =
    R"(`zuhost SUBCOMMAND --help` tells more about one of them.
Exit codes: 0 good, 1 the job failed, 2 wrong usage.

Examples:
  zuhost render --templates pages letter.txt NAME=Anna
  zuhost lint --templates pages --strings texts
  zuhost run job.lua
  zuhost serve --config orders.toml)";

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

/// The chosen subcommand, once there is one.
struct TChoice {
    const TCommand* Command = nullptr;
    CLI::App* App = nullptr;
    TJob Job;
};

[[nodiscard]] int RunArguments(const TArguments& Arguments, TChoice& Choice) {
    CheckArguments(Arguments);
    CLI::App Root("zuhost: templates, scripts and web pages with ZuTools");
    Describe(Root, "zuhost SUBCOMMAND [OPTIONS] ...");
    Root.footer(Footer);
    Root.set_version_flag("--version", "zuhost " + platform::Utf16ToUtf8(ZuToolsVersion()),
                          "Print the version and exit");
    for (const TCommand& Command : Commands) {
        CLI::App* const App = Root.add_subcommand(Command.Name, Command.Summary);
        TJob Job = Command.Declare(*App);
        Describe(*App, std::string("zuhost ") + Command.Name + " " + Command.Usage);
        if (!Arguments.empty() && Arguments.front() == Command.Name) Choice = {&Command, App, std::move(Job)};
    }
    if (Choice.App == nullptr) {
        if (Arguments.empty()) throw EUsage("a subcommand is missing; there are " + CommandNames());
        if (!Arguments.front().starts_with('-')) {
            throw EUsage("unknown subcommand \"" + Arguments.front() + "\"; there are " + CommandNames());
        }
    }
    TSplitArguments Split = SplitArguments(Choice.App != nullptr ? *Choice.App : Root, Arguments);
    if (!Parse(Root, std::move(Split.Options))) return ExitGood;
    return Choice.Job(Split.Names);
}

[[nodiscard]] int GuardedRun(const TArguments& Arguments) {
    TChoice Choice;
    try {
        const int Code = RunArguments(Arguments, Choice);
        FlushOut();
        return Code;
    } catch (const EUsage& Error) {
        std::u16string Message = Text(Error.what());
        if (Choice.Command != nullptr) {
            const std::u16string Name = Text(Choice.Command->Name);
            Message = Name + u": " + Message + u"\nSee zuhost " + Name + u" --help";
        }
        Complain(Message);
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
