// The terminal that a person types at.

#pragma once

#include <memory>

namespace zutools::platform {

/// Whether standard input is one.
[[nodiscard]] bool InputIsTerminal();

/// The terminal of standard input shows nothing of what is typed while it lives. What was typed before is
/// dropped. On POSIX the signals that end or stop the program wait until it shows again.
class TNoEcho {
public:
    /// @throws TSystemError "Cannot hide what is typed at"; nothing is changed then.
    TNoEcho();
    ~TNoEcho();
    TNoEcho(const TNoEcho&) = delete;
    TNoEcho& operator=(const TNoEcho&) = delete;

private:
    struct TImpl;
    std::unique_ptr<TImpl> FImpl;
};

} // namespace zutools::platform
