// Proxies in front of the server, and what they tell about the client behind them.
//
// Any client can send these headers, so they count only when the connection comes from a listed address, and
// only the one header that the configuration names: a proxy passes the others on as clients invent them.

#pragma once

#include <array>
#include <cstddef>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace zutools::server {

/// "10.0.0.0/8", "2001:db8::/32", or one address.
class TNetwork {
public:
    /// Nothing when the text is neither; bits behind the length must be zero.
    [[nodiscard]] static std::optional<TNetwork> Parse(std::string_view Text);
    /// False for anything that is no address.
    [[nodiscard]] bool Holds(std::string_view Address) const;

private:
    std::array<unsigned char, 16> FBytes{}; // IPv4 as ::ffff:a.b.c.d
    unsigned FBits = 0;                     // of FBytes
};

enum class TProxyHeader { XForwardedFor, Forwarded };

struct TProxyConfig {
    std::vector<TNetwork> Trusted; // empty: there is no proxy
    TProxyHeader Header = TProxyHeader::XForwardedFor;
};

struct TClient {
    std::string Address;
    bool Https = false; // between it and the proxy that it came to
};

[[nodiscard]] bool IsTrusted(const TProxyConfig& Config, std::string_view Address);

/// Who is behind a connection from `Peer`. From a trusted one, the last address of the header that is not
/// trusted itself, and the scheme that X-Forwarded-Proto, or that entry's `proto`, tells; a list that cannot
/// be read counts as far as it can be from its end.
[[nodiscard]] TClient FindClient(const TProxyConfig& Config, std::string_view Peer,
                                 std::span<const std::pair<std::string, std::string>> Headers);

} // namespace zutools::server
