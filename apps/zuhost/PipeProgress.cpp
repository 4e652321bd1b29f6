#include "apps/zuhost/PipeProgress.h"

#include <unistd.h>

#include <chrono>
#include <cstdio>

namespace zutools::zuhost {

TPipeProgress::TPipeProgress(const TNamedPipeClient& Client)
    : FClient(Client) {
    if (::isatty(STDERR_FILENO) != 0) FThread = std::thread([this] { Work(); });
}

TPipeProgress::~TPipeProgress() {
    {
        const std::lock_guard Guard(FLock);
        FEnd = true;
    }
    FChanged.notify_all();
    if (FThread.joinable()) FThread.join();
}

void TPipeProgress::Work() {
    std::unique_lock Guard(FLock);
    unsigned Seconds = 0;
    while (!FChanged.wait_for(Guard, std::chrono::seconds(1), [this] { return FEnd; })) {
        std::fprintf(stderr, "\rzuhost: waiting for the answer: %lld bytes after %u s ",
                     static_cast<long long>(FClient.Received()), ++Seconds);
    }
    if (Seconds > 0) std::fprintf(stderr, "\r\x1b[K");
}

} // namespace zutools::zuhost
