#include "server/web/Wire.h"

#include "platform/TextTools.h"

#include <microhttpd.h>

#include <arpa/inet.h>
#include <linux/tcp.h>
#include <netinet/in.h>
#include <sys/socket.h>

#include <charconv>

namespace zutools::server {

namespace {

std::string RemoteAddressOf(MHD_Connection& Connection) {
    const auto* Info = MHD_get_connection_info(&Connection, MHD_CONNECTION_INFO_CLIENT_ADDRESS);
    if (Info == nullptr || Info->client_addr == nullptr) return {};
    const bool V6 = Info->client_addr->sa_family == AF_INET6;
    const void* Address =
        V6 ? static_cast<const void*>(&reinterpret_cast<const sockaddr_in6*>(Info->client_addr)->sin6_addr)
           : &reinterpret_cast<const sockaddr_in*>(Info->client_addr)->sin_addr;
    char Text[INET6_ADDRSTRLEN] = "";
    ::inet_ntop(Info->client_addr->sa_family, Address, Text, sizeof Text);
    return Text;
}

MHD_Response* MakeBody(TReply& Reply) {
    if (Reply.File.IsOpen())
        return MHD_create_response_from_fd_at_offset64(Reply.FileSize, Reply.File.Take(), Reply.FileOffset);
    auto Body = std::make_unique<std::string>(std::move(Reply.Body));
    MHD_Response* Response = MHD_create_response_from_buffer_with_free_callback_cls(
        Body->size(), Body->data(), [](void* Text) { delete static_cast<std::string*>(Text); }, Body.get());
    if (Response != nullptr) Body.release();
    return Response;
}

} // namespace

TWire* WireOf(MHD_Connection& Connection) {
    const auto* Info = MHD_get_connection_info(&Connection, MHD_CONNECTION_INFO_SOCKET_CONTEXT);
    return Info == nullptr ? nullptr : static_cast<TWire*>(Info->socket_context);
}

std::unique_ptr<TWire> NewWire(MHD_Connection& Connection) {
    auto Wire = std::make_unique<TWire>();
    const auto* Info = MHD_get_connection_info(&Connection, MHD_CONNECTION_INFO_CONNECTION_FD);
    if (Info != nullptr) Wire->Socket = Info->connect_fd;
    Wire->Address = RemoteAddressOf(Connection);
    return Wire;
}

std::uint64_t AckedBytes(const TWire* Wire) {
    tcp_info Info{};
    socklen_t Size = sizeof Info;
    if (Wire == nullptr || ::getsockopt(Wire->Socket, IPPROTO_TCP, TCP_INFO, &Info, &Size) != 0) return 0;
    return Info.tcpi_bytes_acked;
}

std::string_view HeaderOf(MHD_Connection& Connection, const char* Name) {
    const char* Value = MHD_lookup_connection_value(&Connection, MHD_HEADER_KIND, Name);
    return Value == nullptr ? std::string_view{} : std::string_view(Value);
}

void TakeHeaders(MHD_Connection& Connection, TFraming& Framing,
                 std::vector<std::pair<std::string, std::string>>& Headers) {
    const auto Take = [&](std::string_view Name, std::string_view Value) {
        Framing.TakeHeader(Name, Value);
        Headers.emplace_back(Name, Value);
    };
    using TTake = decltype(Take);
    MHD_get_connection_values_n(
        &Connection, MHD_HEADER_KIND,
        [](void* To, MHD_ValueKind, const char* Name, std::size_t NameSize, const char* Value,
           std::size_t ValueSize) -> MHD_Result {
            (*static_cast<TTake*>(To))({Name, NameSize}, {Value, ValueSize});
            return MHD_YES;
        },
        const_cast<void*>(static_cast<const void*>(&Take)));
}

std::optional<std::uint64_t> ContentLength(MHD_Connection& Connection) {
    const std::string_view Text = HeaderOf(Connection, "Content-Length");
    std::uint64_t Length = 0;
    const auto [End, Error] = std::from_chars(Text.data(), Text.data() + Text.size(), Length);
    if (Text.empty() || Error != std::errc{} || End != Text.data() + Text.size()) return std::nullopt;
    return Length;
}

void TResponseEnd::operator()(MHD_Response* Response) const {
    MHD_destroy_response(Response);
}

std::unique_ptr<MHD_Response, TResponseEnd> MakeResponse(TReply& Reply, const std::string& Policy) {
    constexpr const char* PolicyName = "Content-Security-Policy";
    std::unique_ptr<MHD_Response, TResponseEnd> Response(MakeBody(Reply));
    if (!Response) return nullptr;
    const auto Add = [&](const char* Name, const char* Value) {
        MHD_add_response_header(Response.get(), Name, Value);
    };
    bool HasPolicy = Policy.empty();
    for (const auto& [Name, Value] : Reply.Headers) {
        Add(Name.c_str(), Value.c_str());
        HasPolicy = HasPolicy || platform::EqualAsciiNoCase(Name, PolicyName);
    }
    if (!Reply.ContentType.empty()) Add("Content-Type", Reply.ContentType.c_str());
    if (!HasPolicy) Add(PolicyName, Policy.c_str());
    Add("X-Content-Type-Options", "nosniff");
    Add("X-Frame-Options", "SAMEORIGIN");
    Add("Referrer-Policy", "same-origin");
    if (Reply.Close) Add("Connection", "close");
    return Response;
}

} // namespace zutools::server
