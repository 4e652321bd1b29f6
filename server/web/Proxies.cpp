#include "server/web/Proxies.h"

#include "platform/TextTools.h"
#include "server/web/HttpText.h"

#include <arpa/inet.h>
#include <netinet/in.h>

#include <algorithm>
#include <charconv>
#include <cstring>
#include <ranges>

namespace zutools::server {

namespace {

constexpr std::size_t MaxHops = 50;
constexpr unsigned AllBits = 128;
constexpr unsigned MappedBits = 96; // in front of an IPv4 address

using TBytes = std::array<unsigned char, 16>;

std::optional<TBytes> AddressBytes(std::string_view Text) {
    if (Text.size() >= INET6_ADDRSTRLEN) return std::nullopt;
    const std::string Address(Text);
    TBytes Bytes{};
    if (inet_pton(AF_INET6, Address.c_str(), Bytes.data()) == 1) return Bytes;
    Bytes[10] = Bytes[11] = 0xFF;
    if (inet_pton(AF_INET, Address.c_str(), Bytes.data() + MappedBits / 8) == 1) return Bytes;
    return std::nullopt;
}

/// Whether two addresses are the same in their first bits.
bool SameBits(const TBytes& Left, const TBytes& Right, unsigned Bits) {
    const unsigned Whole = Bits / 8;
    if (std::memcmp(Left.data(), Right.data(), Whole) != 0) return false;
    const unsigned Rest = Bits % 8;
    return Rest == 0 || ((Left[Whole] ^ Right[Whole]) >> (8 - Rest)) == 0;
}

/// "1.2.3.4", "1.2.3.4:80", "[2001:db8::1]:80", "2001:db8::1", also in quotes, as an address; empty for
/// others.
std::string NodeAddress(std::string_view Node) {
    if (Node.size() >= 2 && Node.front() == '"' && Node.back() == '"') Node = Node.substr(1, Node.size() - 2);
    if (Node.starts_with('[')) {
        Node = Node.substr(1, std::min(Node.find(']'), Node.size()) - 1);
    } else if (std::ranges::count(Node, ':') == 1) {
        Node = Node.substr(0, Node.find(':'));
    }
    return AddressBytes(Node) ? std::string(Node) : std::string();
}

/// All entries of the headers of that name, in order, without the blanks around them.
std::vector<std::string_view> Entries(std::span<const std::pair<std::string, std::string>> Headers,
                                      std::string_view Name) {
    std::vector<std::string_view> Result;
    for (const auto& [Header, Value] : Headers) {
        if (!platform::EqualAsciiNoCase(Header, Name)) continue;
        for (std::string_view Rest = Value; !Rest.empty();) Result.push_back(TrimBlanks(CutNext(Rest, ',')));
    }
    return Result;
}

/// The value of a parameter of a Forwarded entry.
std::string_view Parameter(std::string_view Entry, std::string_view Name) {
    while (!Entry.empty()) {
        std::string_view Value = TrimBlanks(CutNext(Entry, ';'));
        if (platform::EqualAsciiNoCase(TrimBlanks(CutNext(Value, '=')), Name)) return TrimBlanks(Value);
    }
    return {};
}

} // namespace

std::optional<TNetwork> TNetwork::Parse(std::string_view Text) {
    const std::size_t Slash = Text.find('/');
    const auto Bytes = AddressBytes(Text.substr(0, Slash));
    if (!Bytes) return std::nullopt;
    const bool V4 = Text.find(':') == std::string_view::npos;
    TNetwork Network;
    Network.FBytes = *Bytes;
    Network.FBits = AllBits;
    if (Slash != std::string_view::npos) {
        const std::string_view Length = Text.substr(Slash + 1);
        unsigned Bits = 0;
        const auto [End, Error] = std::from_chars(Length.data(), Length.data() + Length.size(), Bits);
        if (Error != std::errc{} || End != Length.data() + Length.size()) return std::nullopt;
        if (V4) Bits += MappedBits;
        if (Bits > AllBits) return std::nullopt;
        Network.FBits = Bits;
    }
    TBytes Cut{};
    for (unsigned Bit = 0; Bit < Network.FBits; ++Bit) {
        const auto Mask = static_cast<unsigned char>(0x80U >> (Bit % 8));
        Cut[Bit / 8] = static_cast<unsigned char>(Cut[Bit / 8] | (Network.FBytes[Bit / 8] & Mask));
    }
    if (Cut != Network.FBytes) return std::nullopt;
    return Network;
}

bool TNetwork::Holds(std::string_view Address) const {
    const auto Bytes = AddressBytes(Address);
    return Bytes && SameBits(*Bytes, FBytes, FBits);
}

bool IsTrusted(const TProxyConfig& Config, std::string_view Address) {
    return std::ranges::any_of(Config.Trusted,
                               [&](const TNetwork& Network) { return Network.Holds(Address); });
}

TClient FindClient(const TProxyConfig& Config, std::string_view Peer,
                   std::span<const std::pair<std::string, std::string>> Headers) {
    TClient Client{std::string(Peer), false};
    if (!IsTrusted(Config, Peer)) return Client;
    const bool Standard = Config.Header == TProxyHeader::Forwarded;
    const auto Hops = Entries(Headers, Standard ? "Forwarded" : "X-Forwarded-For");
    if (!Standard) {
        const auto Schemes = Entries(Headers, "X-Forwarded-Proto");
        Client.Https = !Schemes.empty() && platform::EqualAsciiNoCase(Schemes.back(), "https");
    }
    std::size_t Looked = 0;
    for (const std::string_view Hop : std::views::reverse(Hops)) {
        if (++Looked > MaxHops) break;
        std::string Address = NodeAddress(Standard ? Parameter(Hop, "for") : Hop);
        if (Address.empty()) break;
        if (Standard) Client.Https = platform::EqualAsciiNoCase(Parameter(Hop, "proto"), "https");
        Client.Address = std::move(Address);
        if (!IsTrusted(Config, Client.Address)) break;
    }
    return Client;
}

} // namespace zutools::server
