// zuhost pipe-serve: answers the requests of a named pipe.

#include "apps/zuhost/Commands.h"
#include "apps/zuhost/StopSignals.h"

#include "host/Format.h"
#include "pipes/Namepipe.h"
#include "server/lua/LuaEngine.h"

#include <cstdlib>
#include <future>
#include <mutex>

namespace zutools::zuhost {

namespace {

constexpr const char* Footer =
    R"(Answers every request with itself (--echo), or with what a script makes of it:
FILE.lua returns a function that takes the request and gives the answer, both
byte strings. It is loaded once for each client that is served at a time. An
error in it is told with its traceback and drops that client's connection; so
does an empty answer. Ctrl-C stops at once.

Examples:
  zuhost pipe-serve echo --echo
  zuhost pipe-serve reports --script reports.lua --clients 2
where reports.lua is, for example:
  return function(request) return request:upper() end)";

struct TOptions {
    bool Echo = false;
    std::string Script;
    std::int32_t Clients = 5;
    std::int32_t Buffer = 1 << 20;
};

/// Scripts for callbacks: one state for each that runs at the same time.
class TScriptPool {
public:
    explicit TScriptPool(std::u16string File)
        : FFile(std::move(File)) {
        Give(Take()); // a script that does not load is told at the start
    }

    void Answer(const std::string& Request, std::string& Answer) {
        auto Engine = Take();
        try {
            Answer = Engine->CallFunction(Request);
        } catch (const server::EScriptError& Error) {
            Complain(Error.Traceback().empty() ? Error.Message()
                                               : Error.Message() + u"\n" + Error.Traceback());
            Give(std::move(Engine));
            throw; // drops the connection
        }
        if (Answer.empty()) Complain(FFile + u": an empty answer cannot be sent; the client was dropped");
        Give(std::move(Engine));
    }

private:
    using TEngine = std::unique_ptr<server::TLuaEngine>;

    TEngine Take() {
        {
            const std::lock_guard Guard(FLock);
            if (!FIdle.empty()) {
                TEngine Engine = std::move(FIdle.back());
                FIdle.pop_back();
                return Engine;
            }
        }
        auto Engine = std::make_unique<server::TLuaEngine>(server::TLuaOptions());
        Engine->LoadFunction(FFile);
        return Engine;
    }
    void Give(TEngine Engine) {
        const std::lock_guard Guard(FLock);
        FIdle.push_back(std::move(Engine));
    }

    const std::u16string FFile;
    std::mutex FLock;
    std::vector<TEngine> FIdle;
};

/// Keeps the name while it lives, so that whoever calls from now on waits instead of finding nobody.
/// @throws Exception when the name cannot be had: the server itself would try again for ever.
std::shared_ptr<void> TakeName(const TNamedPipeServer& Server) {
    const std::u16string& Name = Server.PipeName;
    using namespace platform;
    TPipeSettings Settings; // those of the server: the name keeps what its first instance brings
    Settings.MaxInstances = static_cast<std::uint32_t>(Server.MaxClients);
    Settings.BufferSize = static_cast<std::uint32_t>(Server.BufferSize);
    Settings.Timeout = static_cast<std::uint32_t>(Server.Timeout);
    TPipeCode Code = TPipeCode::Success;
    const TPipeHandle Handle = SystemPipes().Create(u"\\\\.\\pipe\\" + Name, Settings, Code);
    if (Code == TPipeCode::PipeBusy) {
        throw Exception(Format(u"another process serves the pipe \"%s\" already", {Name}));
    }
    if (Handle == TPipeHandle::Invalid) {
        throw Exception(Format(u"the pipe \"%s\" cannot be made: %s (%d)",
                               {Name, PipeErrorText(Code), static_cast<int>(Code)}));
    }
    auto Result = SystemPipes().Hold(Handle);
    SystemPipes().Close(Handle, nullptr);
    return Result;
}

int ServePipe(const TOptions& Options, const TArguments& Names) {
    if (Names.empty()) throw EUsage("the pipe's name is missing");
    if (Names.size() > 1) throw EUsage("one name is enough, not " + Names[1]);
    if (Options.Echo == !Options.Script.empty()) throw EUsage("give either --echo or --script FILE.lua");

    const TStopSignals Signals; // before all threads
    TNamedPipeServer Server;
    Server.PipeName = Text(Names.front());
    Server.MaxClients = Options.Clients;
    Server.BufferSize = Options.Buffer;
    std::unique_ptr<TScriptPool> Scripts;
    if (Options.Echo) {
        Server.SetMessageCallback([](const std::string& Request, std::string& Answer) { Answer = Request; });
    } else {
        Scripts = std::make_unique<TScriptPool>(Text(Options.Script));
        Server.SetMessageCallback([&Scripts](const std::string& Request, std::string& Answer) {
            Scripts->Answer(Request, Answer);
        });
    }
    const auto Name = TakeName(Server);
    Server.StartListen();
    Complain(Format(u"serving the pipe \"%s\"; Ctrl-C stops", {Server.PipeName}));
    Signals.Wait(std::chrono::hours(1), [] {});

    auto Stopping = std::async(std::launch::async, [&Server] { Server.StopListen(); });
    if (Stopping.wait_for(std::chrono::seconds(1)) != std::future_status::ready) {
        std::_Exit(ExitGood); // a script that does not end cannot be taken off its thread
    }
    return ExitGood;
}

} // namespace

TJob DeclarePipeServe(TDeclaration& Takes) {
    const auto Options = std::make_shared<TOptions>();
    Takes.Footer(Footer);
    Takes.Flag("--echo", Options->Echo, "Answer every request with itself");
    Takes.Option("--script", Options->Script, "FILE.lua", "Answer with what its function returns");
    Takes.Option("--clients", Options->Clients, {1, 255}, "N", "Clients served at a time (default 5)");
    Takes.Option("--buffer", Options->Buffer, {1, 1 << 30}, "BYTES",
                 "Longest request in bytes (default 1048576)");
    return [Options](const TArguments& Names) { return ServePipe(*Options, Names); };
}

} // namespace zutools::zuhost
