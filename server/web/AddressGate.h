// How often somebody may be wrong: tries by network address, a few at once and then one now and then.

#pragma once

#include <chrono>
#include <cstddef>
#include <functional>
#include <mutex>
#include <string>
#include <string_view>
#include <unordered_map>

namespace zutools::server {

/// Any thread. Addresses of one IPv6 network (64 bits) count as one.
class TAddressGate {
public:
    using TClock = std::function<std::chrono::steady_clock::time_point()>;
    static constexpr int FreeTries = 20;
    static constexpr std::chrono::seconds NextTry{10}; // until there is one more
    static constexpr std::size_t MaxAddresses = 100'000;

    explicit TAddressGate(TClock Clock = std::chrono::steady_clock::now)
        : FClock(std::move(Clock)) {}

    /// Takes a try; false when the address has none left.
    [[nodiscard]] bool TryTake(std::string_view Address);
    /// The try was a good one and does not count.
    void GiveBack(std::string_view Address);

private:
    using TMoment = std::chrono::steady_clock::time_point;
    const TClock FClock;
    std::mutex FMutex;
    /// When all tries of an address are back. Guarded by FMutex.
    std::unordered_map<std::string, TMoment> FFullAgain;
};

} // namespace zutools::server
