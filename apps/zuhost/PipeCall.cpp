// zuhost pipe-call: one request to a named pipe, and its answer.

#include "apps/zuhost/Commands.h"
#include "apps/zuhost/PipeProgress.h"

#include "host/Exception.h"
#include "pipes/Namepipe.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <limits>
#include <optional>

namespace zutools::zuhost {

namespace {

constexpr const char* Footer =
    R"(Sends REQUEST, or all of standard input for "-", and writes the answer to standard
output as it came, byte for byte. Fails with the client's message when nobody
serves the pipe, it stays busy for longer than --timeout, or no whole answer comes
within --answer-timeout. docs/pipes.md tells what each message means.

Examples:
  zuhost pipe-call echo hello
  zuhost pipe-call --answer-timeout 5000 reports 'total 2024'
  zuhost pipe-call --buffer 1048576 pictures - < request.bin > answer.bin)";

struct TOptions {
    std::int32_t Timeout = 10'000;
    std::int32_t AnswerTimeout = 0;
    std::int32_t Buffer = 65'536;
};

std::string ReadInput() {
    std::string Result;
    char Piece[65536];
    while (const std::size_t Size = std::fread(Piece, 1, sizeof Piece, stdin)) {
        Result.append(Piece, Size);
        if (Result.size() > static_cast<std::size_t>(std::numeric_limits<std::int32_t>::max())) {
            throw Exception(u"a request has at most 2147483647 bytes");
        }
    }
    if (std::ferror(stdin) != 0)
        throw Exception(u"cannot read standard input: " + Text(std::strerror(errno)));
    return Result;
}

int CallPipe(const TOptions& Options, const TArguments& Names) {
    if (Names.empty()) throw EUsage("the pipe's name is missing");
    if (Names.size() < 2) throw EUsage("the request is missing; \"-\" takes it from standard input");
    if (Names.size() > 2) throw EUsage("one request at a time: put it into quotes");
    const std::string Request = Names[1] == "-" ? ReadInput() : Names[1];
    if (Request.empty()) throw EUsage("the request is empty, and an empty one is never sent");

    TNamedPipeClient Client;
    Client.PipeName = Text(Names[0]);
    Client.Timeout = Options.Timeout;
    Client.SetBuffSize(Options.Buffer);
    Client.SetAnswerWaitTimeout(Options.AnswerTimeout);
    Client.Establish();
    Client.Timeout = 1; // after a failure it comes back for a next request, which there is not
    std::string Answer;
    {
        const TPipeProgress Progress(Client);
        Client.Request(Request, Answer);
    }
    WriteOut(std::string_view(Answer));
    return ExitGood;
}

} // namespace

TJob DeclarePipeCall(TDeclaration& Takes) {
    constexpr std::int32_t Most = std::numeric_limits<std::int32_t>::max();
    const auto Options = std::make_shared<TOptions>();
    Takes.Footer(Footer);
    Takes.Option("--timeout", Options->Timeout, {0, Most}, "MS",
                 "Wait so long while all clients' places are taken (default 10000; 0: as the server says)");
    Takes.Option("--answer-timeout", Options->AnswerTimeout, {0, Most}, "MS",
                 "Wait so long for the whole answer (default 0: without end)");
    Takes.Option("--buffer", Options->Buffer, {16, 1 << 30}, "BYTES",
                 "Bytes that one read takes (default 65536)");
    return [Options](const TArguments& Names) { return CallPipe(*Options, Names); };
}

} // namespace zutools::zuhost
