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

} // namespace zutools::platform
