// What the system wants to know of a thread that we start.

#pragma once

#include <string_view>

namespace zutools::platform {

/// Made first on a thread and gone last: gives the thread a name that debuggers show, and on Windows the
/// component object model.
class TThreadStart {
public:
    explicit TThreadStart(std::string_view Name);
    ~TThreadStart();
    TThreadStart(const TThreadStart&) = delete;
    TThreadStart& operator=(const TThreadStart&) = delete;

private:
    bool FHasObjects = false; // the component object model is this one's to end
};

/// A moment's rest for a thread that looks again and again for what another one is about to do: some dozens
/// of nanoseconds.
inline void PauseProcessor() {
#if defined(__x86_64__) || defined(__i386__)
    __builtin_ia32_pause();
#elif defined(__aarch64__)
    asm volatile("isb");
#endif
}

} // namespace zutools::platform
