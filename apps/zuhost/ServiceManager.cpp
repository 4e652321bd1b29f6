#include "apps/zuhost/ServiceManager.h"

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <charconv>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <ctime>

namespace zutools::zuhost {

namespace {

std::string TakeVariable(const char* Name) {
    const char* const Value = std::getenv(Name);
    std::string Text = Value == nullptr ? "" : Value;
    ::unsetenv(Name);
    return Text;
}

std::int64_t Number(std::string_view Text) {
    std::int64_t Value = 0;
    std::from_chars(Text.data(), Text.data() + Text.size(), Value);
    return Value;
}

} // namespace

TServiceManager::TServiceManager()
    : FSocket(TakeVariable("NOTIFY_SOCKET")) {
    const std::string Microseconds = TakeVariable("WATCHDOG_USEC");
    const std::string Process = TakeVariable("WATCHDOG_PID");
    if (Process.empty() || Number(Process) == ::getpid())
        FAlivePause = std::chrono::microseconds(Number(Microseconds) / 2);
}

void TServiceManager::Ready(std::string_view Status) const {
    Tell("READY=1\nSTATUS=" + std::string(Status));
}

void TServiceManager::Reloading() const {
    timespec Now{};
    ::clock_gettime(CLOCK_MONOTONIC, &Now);
    Tell("RELOADING=1\nMONOTONIC_USEC=" +
         std::to_string(std::int64_t{Now.tv_sec} * 1'000'000 + Now.tv_nsec / 1000));
}

void TServiceManager::Stopping() const {
    Tell("STOPPING=1");
}

void TServiceManager::Alive() const {
    Tell("WATCHDOG=1");
}

void TServiceManager::Tell(std::string_view State) const {
    sockaddr_un Address{};
    if (FSocket.empty() || FSocket.size() >= sizeof Address.sun_path) return;
    Address.sun_family = AF_UNIX;
    std::memcpy(Address.sun_path, FSocket.data(), FSocket.size());
    if (FSocket.front() == '@') Address.sun_path[0] = '\0'; // an abstract name
    const int Socket = ::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    if (Socket < 0) return;
    const auto Size = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + FSocket.size());
    // A manager that is gone or busy misses a line; the service goes on.
    (void)::sendto(Socket, State.data(), State.size(), MSG_NOSIGNAL | MSG_DONTWAIT,
                   reinterpret_cast<const sockaddr*>(&Address), Size);
    ::close(Socket);
}

} // namespace zutools::zuhost
