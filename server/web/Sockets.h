// Listening sockets of the host.

#pragma once

#include <cstdint>
#include <string>

namespace zutools::server {

/// "127.0.0.1:8080", "[::1]:8080".
[[nodiscard]] std::u16string AddressText(const std::string& Address, std::uint16_t Port);

/// A listening socket on an IPv4 or IPv6 address. @throws platform::TSystemError.
[[nodiscard]] int ListenOn(const std::string& Address, std::uint16_t Port);

/// The port that a socket is bound to; 0 when there is none.
[[nodiscard]] std::uint16_t BoundPort(int Socket);

} // namespace zutools::server
