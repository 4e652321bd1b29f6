#include "platform/ThreadStart.h"

#include <pthread.h>

#include <string>

namespace zutools::platform {

TThreadStart::TThreadStart(std::string_view Name) {
    constexpr std::size_t Longest = 15; // what the system takes
    static_cast<void>(::pthread_setname_np(::pthread_self(), std::string(Name.substr(0, Longest)).c_str()));
    static_cast<void>(FHasObjects);
}

TThreadStart::~TThreadStart() = default;

} // namespace zutools::platform
