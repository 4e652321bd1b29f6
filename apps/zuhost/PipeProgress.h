// Tells a person at a terminal how an answer that takes long is getting on.

#pragma once

#include "pipes/Namepipe.h"

#include <condition_variable>
#include <mutex>
#include <thread>

namespace zutools::zuhost {

/// While it lives, and once a second has passed, a line on standard error tells bytes and seconds; nothing
/// when that is no terminal. The line is gone afterwards.
class TPipeProgress {
public:
    explicit TPipeProgress(const TNamedPipeClient& Client);
    ~TPipeProgress();
    TPipeProgress(const TPipeProgress&) = delete;
    TPipeProgress& operator=(const TPipeProgress&) = delete;

private:
    void Work();

    const TNamedPipeClient& FClient;
    std::mutex FLock;
    std::condition_variable FChanged;
    bool FEnd = false;
    std::thread FThread;
};

} // namespace zutools::zuhost
