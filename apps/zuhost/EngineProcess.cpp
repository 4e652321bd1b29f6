#include "apps/zuhost/EngineProcess.h"

#include "host/Exception.h"
#include "host/Format.h"
#include "platform/File.h"
#include "platform/Text.h"

#include <nlohmann/json.hpp>

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <optional>

namespace zutools::zuhost {

namespace {

using json = nlohmann::json;
using TSteady = std::chrono::steady_clock;

constexpr std::size_t MostAnswered = std::size_t{16} << 20; // bytes

// What the process writes: a line for each function before it is called, and at the end the answer.
constexpr char StepMark = 'S';
constexpr char AnswerMark = 'A';

void WriteWhole(int To, std::string_view Bytes) {
    while (!Bytes.empty()) {
        const ssize_t Written = ::write(To, Bytes.data(), Bytes.size());
        if (Written < 0 && errno != EINTR) ::_exit(1);
        if (Written > 0) Bytes.remove_prefix(static_cast<std::size_t>(Written));
    }
}

std::string Utf8(std::u16string_view Text) {
    return platform::Utf16ToUtf8(Text);
}

json Texts(const std::vector<std::u16string>& From) {
    json Result = json::array();
    for (const std::u16string& Each : From) Result.push_back(Utf8(Each));
    return Result;
}

std::vector<std::u16string> Texts(const json& From) {
    std::vector<std::u16string> Result;
    for (const json& Each : From) Result.push_back(platform::Utf8ToUtf16(Each.get<std::string>()));
    return Result;
}

std::string Packed(const TProbed& Probed) {
    std::vector<std::u16string> Params;
    for (const auto& [Name, Value] : Probed.Answer.Params) {
        Params.push_back(Name);
        Params.push_back(Value);
    }
    json Result{{"loaded", Probed.Answer.Loaded},      {"opened", Probed.Answer.Opened},
                {"types", Texts(Probed.Answer.Types)}, {"params", Texts(Params)},
                {"path", Utf8(Probed.Path)},           {"missing", Probed.Missing},
                {"errors", Texts(Probed.Errors)}};
    if (const auto& Made = Probed.Answer.Signature)
        Result["signature"] = {Made->Code, Made->Length, Made->Room, Made->Time.count()};
    return Result.dump();
}

void Unpack(std::string_view Bytes, TProbed& Probed) {
    const json From = json::parse(Bytes);
    Probed.Answer.Loaded = From.at("loaded").get<bool>();
    Probed.Answer.Opened = From.at("opened").get<bool>();
    Probed.Answer.Types = Texts(From.at("types"));
    const std::vector<std::u16string> Params = Texts(From.at("params"));
    for (std::size_t At = 0; At + 1 < Params.size(); At += 2)
        Probed.Answer.Params.push_back({Params[At], Params[At + 1]});
    Probed.Path = platform::Utf8ToUtf16(From.at("path").get<std::string>());
    Probed.Missing = From.at("missing").get<std::vector<std::string>>();
    Probed.Errors = Texts(From.at("errors"));
    if (!From.contains("signature")) return;
    const json& Made = From["signature"];
    Probed.Answer.Signature = {Made.at(0).get<int>(), Made.at(1).get<int>(), Made.at(2).get<int>(),
                               std::chrono::microseconds(Made.at(3).get<std::int64_t>())};
}

class TToldLibrary final : public TCryptoEngine {
public:
    void HandleError(std::u16string_view Message) override { Errors.emplace_back(Message); }
    std::vector<std::u16string> Errors;
};

// In the new process; never returns.
[[noreturn]] void Answer(std::u16string_view LibName, const TEngineTask& Task, int To) {
    // A crash is a crash, for a debugger's or a sanitizer's handler too, and leaves no memory behind.
    for (const int Signal : {SIGSEGV, SIGBUS, SIGILL, SIGFPE, SIGABRT, SIGPIPE}) ::signal(Signal, SIG_DFL);
    const rlimit None{0, 0};
    ::setrlimit(RLIMIT_CORE, &None);
    ::prctl(PR_SET_DUMPABLE, 0);
    const int Nothing = ::open("/dev/null", O_RDONLY | O_CLOEXEC);
    ::dup2(Nothing, STDIN_FILENO);
    ::dup2(STDERR_FILENO, STDOUT_FILENO);
    {
        TToldLibrary Library;
        Library.SetLibName(LibName);
        Library.OnCall = [To](std::string_view Name) { WriteWhole(To, StepMark + std::string(Name) + "\n"); };
        TProbed Probed;
        WriteWhole(To, "Sthe start of the library\n");
        Probed.Answer = RunEngineTask(Library, Task);
        if (Task.Kind == TEngineTask::TKind::Types && Library.Loaded())
            Probed.Missing = Library.MissingFunctions();
        Probed.Path = Library.LibPath();
        Probed.Errors = std::move(Library.Errors);
        WriteWhole(To, AnswerMark + Packed(Probed));
    }
    ::_exit(0); // without what others have registered for the end
}

class TPipeEnds {
public:
    TPipeEnds() {
        if (::pipe2(Ends.data(), O_CLOEXEC) != 0)
            throw Exception(u"cannot make a pipe: " + platform::SystemErrorText(errno));
    }
    ~TPipeEnds() {
        ::close(Ends[0]);
        CloseWriting();
    }
    TPipeEnds(const TPipeEnds&) = delete;
    TPipeEnds& operator=(const TPipeEnds&) = delete;
    void CloseWriting() {
        if (Ends[1] >= 0) ::close(Ends[1]);
        Ends[1] = -1;
    }
    std::array<int, 2> Ends{-1, -1};
};

/// What came before the end of the process, or before the bound; false when the bound was first.
bool ReadToTheEnd(int From, pid_t Process, std::chrono::milliseconds Bound, std::string& Bytes) {
    const auto End = TSteady::now() + Bound;
    const int Ended = static_cast<int>(::syscall(SYS_pidfd_open, Process, 0));
    if (Ended < 0) throw Exception(u"cannot watch a process: " + platform::SystemErrorText(errno));
    std::array<pollfd, 2> Polled{pollfd{From, POLLIN, 0}, pollfd{Ended, POLLIN, 0}};
    bool InTime = true;
    while (true) {
        const auto Left = std::chrono::duration_cast<std::chrono::milliseconds>(End - TSteady::now());
        InTime = Left.count() > 0;
        if (!InTime) break;
        if (::poll(Polled.data(), Polled.size(), static_cast<int>(Left.count())) < 0) continue;
        if (Polled[0].revents != 0) {
            std::array<char, 65536> Piece;
            const ssize_t Size = ::read(From, Piece.data(), Piece.size());
            if (Size > 0) Bytes.append(Piece.data(), static_cast<std::size_t>(Size));
            if (Size <= 0) Polled[0].fd = -1; // the end is near, or the library closed what is not its own
            if (Bytes.size() > MostAnswered) break;
        } else if (Polled[1].revents != 0) {
            break; // what the library started may hold the pipe open
        }
    }
    ::close(Ended);
    return InTime;
}

/// The steps at the front, of which the last is kept, and the answer behind them.
std::string LastStep(std::string_view& Bytes) {
    std::string Step;
    while (!Bytes.empty() && Bytes.front() == StepMark) {
        const std::size_t End = Bytes.find('\n');
        if (End == Bytes.npos) break;
        Step = Bytes.substr(1, End - 1);
        Bytes.remove_prefix(End + 1);
    }
    return Step;
}

std::u16string FaultOf(int Status, bool InTime, std::chrono::milliseconds Bound, const std::string& Step) {
    const std::u16string Where = platform::Utf8ToUtf16(Step);
    if (!InTime)
        return Format(u"the engine did not answer within %d ms, in %s",
                      {static_cast<long long>(Bound.count()), Where});
    if (WIFSIGNALED(Status))
        return Format(u"the engine crashed in %s: %s (signal %d)",
                      {Where, platform::Utf8ToUtf16(::strsignal(WTERMSIG(Status))), WTERMSIG(Status)});
    return Format(u"the engine ended its process in %s, with exit code %d", {Where, WEXITSTATUS(Status)});
}

} // namespace

TProbed AskInOwnProcess(std::u16string_view LibName, const TEngineTask& Task,
                        std::chrono::milliseconds Bound) {
    TPipeEnds Pipe;
    const pid_t Parent = ::getpid();
    const pid_t Process = ::fork(); // zuhost has one thread here
    if (Process < 0) throw Exception(u"cannot start a process: " + platform::SystemErrorText(errno));
    if (Process == 0) {
        ::setpgid(0, 0); // what the library starts ends with it
        ::prctl(PR_SET_PDEATHSIG, SIGKILL);
        if (::getppid() != Parent) ::_exit(1);
        Answer(LibName, Task, Pipe.Ends[1]);
    }
    ::setpgid(Process, Process);
    Pipe.CloseWriting();
    std::string Bytes;
    const bool InTime = ReadToTheEnd(Pipe.Ends[0], Process, Bound, Bytes);
    std::string_view Rest = Bytes;
    const std::string Step = LastStep(Rest);
    const bool Answered = !Rest.empty() && Rest.front() == AnswerMark;
    if (!InTime || Bytes.size() > MostAnswered) ::kill(-Process, SIGKILL);
    int Status = 0;
    while (::waitpid(Process, &Status, 0) < 0 && errno == EINTR) continue;
    ::kill(-Process, SIGKILL);

    TProbed Probed;
    try {
        if (Answered) {
            Unpack(Rest.substr(1), Probed);
            return Probed;
        }
    } catch (const json::exception&) { // half an answer is none
        Probed = {};
    }
    Probed.Fault = FaultOf(Status, InTime, Bound, Step);
    return Probed;
}

} // namespace zutools::zuhost
