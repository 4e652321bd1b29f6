// A crypto engine library asked in a process of its own: what it does wrong there is told and harms nobody.

#pragma once

#include "crypto/EngineTasks.h"

#include <chrono>
#include <string>
#include <string_view>
#include <vector>

namespace zutools::zuhost {

/// An answer, and what went wrong on the way to it.
struct TProbed {
    TEngineAnswer Answer;
    std::u16string Path;              // of the library, as loaded
    std::vector<std::string> Missing; // functions that it does not export; of a task about types
    std::vector<std::u16string> Errors;
    std::u16string Fault; // how the process ended when it did not end well; empty when it did
};

/// Blocks until the library has answered, at most for `Bound`; then its process and all that it started are
/// ended. What the library writes to standard output goes to standard error. Nothing of the process is kept
/// on disk. @throws Exception when the system refuses a process.
[[nodiscard]] TProbed AskInOwnProcess(std::u16string_view LibName, const TEngineTask& Task,
                                      std::chrono::milliseconds Bound);

} // namespace zutools::zuhost
