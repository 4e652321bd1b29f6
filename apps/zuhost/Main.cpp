// zuhost: the library for a person at a shell, and the web host.
//
// Results go to standard output and nothing else does; everything else is `zuhost: message` on standard
// error. Exits with 0 when all is good, 1 when the job failed, 2 for wrong usage.

#include "apps/zuhost/Commands.h"

#include "host/Exception.h"
#include "platform/File.h"
#include "platform/Text.h"
#include "server/lua/LuaEngine.h"

#include <algorithm>
#include <csignal>
#include <cstdio>

namespace zutools::zuhost {

namespace {

/// Scripts, names and values come in as UTF-8 or not at all.
void CheckArguments(const TArguments& Arguments) {
    for (std::size_t Index = 0; Index < Arguments.size(); ++Index) {
        if (const auto Decoded = platform::Utf8ToUtf16Strict(Arguments[Index]); Decoded.Error) {
            throw EUsage("argument " + std::to_string(Index + 1) + " is malformed UTF-8 at byte " +
                         std::to_string(Decoded.Error->Offset + 1));
        }
    }
}

[[nodiscard]] int GuardedRun(const TArguments& Arguments) {
    const TCommand* Command = nullptr;
    try {
        CheckArguments(Arguments);
        const int Code = RunCommandLine(Arguments, Command);
        FlushOut();
        return Code;
    } catch (const EUsage& Error) {
        std::u16string Message = Text(Error.what());
        if (Command != nullptr) {
            const std::u16string Name = Text(Command->Name);
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
