#include "apps/zuhost/HelperProcess.h"

#include "host/Exception.h"
#include "host/Format.h"
#include "platform/File.h"
#include "platform/Text.h"

#include <poll.h>
#include <pthread.h>
#include <signal.h>
#include <sys/eventfd.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <filesystem>
#include <utility>

namespace zutools::zuhost {

namespace {

using namespace std::chrono_literals;

constexpr int NoProgram = 127; // the exit code of a program that cannot be started, as of shells

/// The words of the command: this very program for "zuhost", the pipe's name for "{pipe}".
std::vector<std::string> WordsOf(const server::THelperConfig& Config) {
    std::vector<std::string> Result = Config.Command;
    if (Result.front() == "zuhost") Result.front() = std::filesystem::read_symlink("/proc/self/exe").string();
    for (std::string& Word : Result) {
        constexpr std::string_view Mark = "{pipe}";
        if (const std::size_t At = Word.find(Mark); At != Word.npos)
            Word.replace(At, Mark.size(), Config.Pipe);
    }
    return Result;
}

/// Waits; true when the first can be read, false when only time has passed.
bool WaitToRead(int First, int Second, std::chrono::milliseconds Time, bool& SecondToo) {
    std::array<pollfd, 2> Polled{pollfd{First, POLLIN, 0}, pollfd{Second, POLLIN, 0}};
    while (::poll(Polled.data(), Polled.size(), static_cast<int>(Time.count())) < 0 && errno == EINTR)
        continue;
    SecondToo = Polled[1].revents != 0;
    return Polled[0].revents != 0;
}

} // namespace

THelperProcess::THelperProcess(server::THelperConfig Config, TLogger& Logger)
    : FConfig(std::move(Config))
    , FLogger(Logger)
    , FWords(WordsOf(FConfig))
    , FStop(::eventfd(0, EFD_CLOEXEC)) {
    if (FStop < 0) throw Exception(u"cannot make an event: " + platform::SystemErrorText(errno));
    FThread = std::thread([this] { Work(); });
}

THelperProcess::~THelperProcess() {
    const std::uint64_t One = 1;
    static_cast<void>(!::write(FStop, &One, sizeof One));
    FThread.join();
    ::close(FStop);
}

void THelperProcess::Say(TLogLevel Level, std::u16string_view What) const {
    FLogger.Log(Level, u"helper of the pipe \"" + platform::Utf8ToUtf16(FConfig.Pipe) + u"\": " +
                           std::u16string(What));
}

void THelperProcess::Work() {
    constexpr auto Settled = 1min; // whoever ran so long starts afresh
    auto Pause = FConfig.FirstRestart;
    while (true) {
        const auto Started = std::chrono::steady_clock::now();
        if (const auto Process = Start()) {
            Say(TLogLevel::Info, u"started");
            if (!Watch(*Process)) return;
        }
        if (std::chrono::steady_clock::now() - Started >= Settled) Pause = FConfig.FirstRestart;
        Say(TLogLevel::Warning, Format(u"starts again in %d ms", {static_cast<long long>(Pause.count())}));
        bool Ignored = false;
        if (WaitToRead(FStop, -1, Pause, Ignored)) return;
        Pause = std::min(Pause * 2, FConfig.LastRestart);
    }
}

std::optional<pid_t> THelperProcess::Start() const {
    // Everything that takes memory stands before the fork: other threads may hold its locks.
    std::vector<char*> Words;
    for (const std::string& Each : FWords) Words.push_back(const_cast<char*>(Each.c_str()));
    Words.push_back(nullptr);
    const std::string Folder = platform::Utf16ToUtf8(FConfig.Folder);
    const pid_t Parent = ::getpid();
    const pid_t Process = ::fork();
    if (Process != 0) {
        if (Process > 0) return Process;
        Say(TLogLevel::Error, u"cannot be started: " + platform::SystemErrorText(errno));
        return std::nullopt;
    }
    sigset_t None;
    sigemptyset(&None);
    ::pthread_sigmask(SIG_SETMASK, &None, nullptr);
    ::signal(SIGPIPE, SIG_DFL);
    ::setpgid(0, 0);                    // Ctrl-C is for the service, which stops its helpers itself
    ::prctl(PR_SET_PDEATHSIG, SIGTERM); // it does not outlive a service that was killed
    if (::getppid() != Parent || ::chdir(Folder.c_str()) != 0) ::_exit(NoProgram);
    ::dup2(STDERR_FILENO, STDOUT_FILENO);
    ::execvp(Words.front(), Words.data());
    ::_exit(NoProgram);
}

bool THelperProcess::Watch(pid_t Process) const {
    constexpr auto Forever = -1ms;
    constexpr auto Patience = 3s;
    const int Ended =
        static_cast<int>(::syscall(SYS_pidfd_open, Process, 0)); // the C library's own came late
    bool Stop = Ended < 0;
    if (!Stop) static_cast<void>(WaitToRead(Ended, FStop, Forever, Stop));
    if (Stop) {
        ::kill(Process, SIGTERM);
        bool Ignored = false;
        if (Ended < 0 || !WaitToRead(Ended, -1, Patience, Ignored)) ::kill(Process, SIGKILL);
    }
    int Status = 0;
    while (::waitpid(Process, &Status, 0) < 0 && errno == EINTR) continue;
    if (Ended >= 0) ::close(Ended);
    if (Stop) return Ended < 0; // without a descriptor nobody can watch it: it is tried again
    if (WIFSIGNALED(Status)) {
        Say(TLogLevel::Warning, Format(u"was ended by signal %d", {WTERMSIG(Status)}));
    } else if (WEXITSTATUS(Status) == NoProgram) {
        Say(TLogLevel::Error,
            u"\"" + platform::Utf8ToUtf16(FWords.front()) + u"\" cannot be started; see \"helper.command\"");
    } else {
        Say(TLogLevel::Warning, Format(u"ended with exit code %d", {WEXITSTATUS(Status)}));
    }
    return true;
}

} // namespace zutools::zuhost
