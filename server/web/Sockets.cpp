#include "server/web/Sockets.h"

#include "platform/File.h"
#include "platform/Text.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>

namespace zutools::server {

namespace {

struct TSocketAddress {
    sockaddr_storage Storage{};
    socklen_t Size = 0;

    TSocketAddress(const std::string& Address, std::uint16_t Port) {
        auto& V4 = reinterpret_cast<sockaddr_in&>(Storage);
        auto& V6 = reinterpret_cast<sockaddr_in6&>(Storage);
        if (inet_pton(AF_INET, Address.c_str(), &V4.sin_addr) == 1) {
            V4.sin_family = AF_INET;
            V4.sin_port = htons(Port);
            Size = sizeof V4;
        } else if (inet_pton(AF_INET6, Address.c_str(), &V6.sin6_addr) == 1) {
            V6.sin6_family = AF_INET6;
            V6.sin6_port = htons(Port);
            Size = sizeof V6;
        }
    }
};

} // namespace

std::u16string AddressText(const std::string& Address, std::uint16_t Port) {
    return platform::Utf8ToUtf16(Address.find(':') == std::string::npos ? Address : "[" + Address + "]") +
           u":" + platform::Utf8ToUtf16(std::to_string(Port));
}

int ListenOn(const std::string& Address, std::uint16_t Port) {
    const TSocketAddress Wanted(Address, Port);
    const int Socket = ::socket(Wanted.Storage.ss_family, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    const int On = 1;
    if (Socket < 0 || ::setsockopt(Socket, SOL_SOCKET, SO_REUSEADDR, &On, sizeof On) != 0 ||
        ::bind(Socket, reinterpret_cast<const sockaddr*>(&Wanted.Storage), Wanted.Size) != 0 ||
        ::listen(Socket, SOMAXCONN) != 0) {
        const int Code = errno;
        if (Socket >= 0) ::close(Socket);
        throw platform::TSystemError(u"Cannot listen on", AddressText(Address, Port), Code);
    }
    return Socket;
}

std::uint16_t BoundPort(int Socket) {
    sockaddr_storage Storage{};
    socklen_t Size = sizeof Storage;
    if (::getsockname(Socket, reinterpret_cast<sockaddr*>(&Storage), &Size) != 0) return 0;
    return ntohs(Storage.ss_family == AF_INET6 ? reinterpret_cast<sockaddr_in6&>(Storage).sin6_port
                                               : reinterpret_cast<sockaddr_in&>(Storage).sin_port);
}

} // namespace zutools::server
