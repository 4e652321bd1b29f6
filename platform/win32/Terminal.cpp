#include "platform/Terminal.h"

#include "platform/File.h"

#include <windows.h>

namespace zutools::platform {

namespace {

HANDLE Input() {
    return ::GetStdHandle(STD_INPUT_HANDLE);
}

} // namespace

struct TNoEcho::TImpl {
    DWORD Before = 0;
};

bool InputIsTerminal() {
    DWORD Mode = 0;
    return ::GetConsoleMode(Input(), &Mode) != 0;
}

TNoEcho::TNoEcho()
    : FImpl(std::make_unique<TImpl>()) {
    if (::GetConsoleMode(Input(), &FImpl->Before) != 0) {
        ::FlushConsoleInputBuffer(Input());
        if (::SetConsoleMode(Input(), FImpl->Before & ~static_cast<DWORD>(ENABLE_ECHO_INPUT)) != 0) return;
    }
    throw TSystemError(u"Cannot hide what is typed at", u"standard input",
                       static_cast<int>(::GetLastError()));
}

TNoEcho::~TNoEcho() {
    ::SetConsoleMode(Input(), FImpl->Before);
}

} // namespace zutools::platform
