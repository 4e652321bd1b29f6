// The service manager that started the process, when there is one: systemd's notifications (sd_notify(3)).

#pragma once

#include <chrono>
#include <string>
#include <string_view>

namespace zutools::zuhost {

/// Tells nothing when NOTIFY_SOCKET is not set. Takes its variables out of the environment, so that helpers
/// do not speak for the service. Any thread may tell.
class TServiceManager {
public:
    TServiceManager();

    void Ready(std::string_view Status) const;
    void Reloading() const;
    void Stopping() const;
    /// The sign of life that the watchdog waits for.
    void Alive() const;
    /// How often it must be given: half of the watchdog's time; zero when nobody waits for it.
    [[nodiscard]] std::chrono::microseconds AlivePause() const { return FAlivePause; }

private:
    void Tell(std::string_view State) const;

    std::string FSocket;
    std::chrono::microseconds FAlivePause{0};
};

} // namespace zutools::zuhost
