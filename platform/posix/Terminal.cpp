#include "platform/Terminal.h"

#include "platform/File.h"

#include <cerrno>

#include <signal.h>
#include <termios.h>
#include <unistd.h>

namespace zutools::platform {

struct TNoEcho::TImpl {
    sigset_t Signals{};
    termios Before{};
};

bool InputIsTerminal() {
    return ::isatty(STDIN_FILENO) != 0;
}

TNoEcho::TNoEcho()
    : FImpl(std::make_unique<TImpl>()) {
    sigset_t Waiting;
    sigemptyset(&Waiting);
    for (const int Signal : {SIGINT, SIGTERM, SIGHUP, SIGQUIT, SIGTSTP}) sigaddset(&Waiting, Signal);
    sigprocmask(SIG_BLOCK, &Waiting, &FImpl->Signals);
    if (::tcgetattr(STDIN_FILENO, &FImpl->Before) == 0) {
        termios Silent = FImpl->Before;
        Silent.c_lflag &= ~static_cast<tcflag_t>(ECHO);
        if (::tcsetattr(STDIN_FILENO, TCSAFLUSH, &Silent) == 0) return;
    }
    const int Code = errno;
    sigprocmask(SIG_SETMASK, &FImpl->Signals, nullptr);
    throw TSystemError(u"Cannot hide what is typed at", u"standard input", Code);
}

TNoEcho::~TNoEcho() {
    ::tcsetattr(STDIN_FILENO, TCSAFLUSH, &FImpl->Before);
    sigprocmask(SIG_SETMASK, &FImpl->Signals, nullptr);
}

} // namespace zutools::platform
