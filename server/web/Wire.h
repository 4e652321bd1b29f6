// The network library's connections and answers as the server's sources see them.
//
// Called on the network threads, with connections that the library has just handed over.

#pragma once

#include "server/web/Connections.h"
#include "server/web/Framing.h"
#include "server/web/Reply.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

struct MHD_Connection;
struct MHD_Response;

namespace zutools::server {

/// A connection, for as long as the network library has it.
struct TWire {
    TConnections::TPlace Place;
    int Socket = -1;
    std::string Address;
};

/// Null when there was no memory for it.
[[nodiscard]] TWire* WireOf(MHD_Connection& Connection);
/// Without a place.
[[nodiscard]] std::unique_ptr<TWire> NewWire(MHD_Connection& Connection);
/// Bytes that the other end has received, headers included; 0 when that is not known.
[[nodiscard]] std::uint64_t AckedBytes(const TWire* Wire);

/// The value of the first header of that name; empty when it was not sent. A view into the library's buffer.
[[nodiscard]] std::string_view HeaderOf(MHD_Connection& Connection, const char* Name);
/// Shows all headers to `Framing`, in the order of the wire, and keeps copies.
void TakeHeaders(MHD_Connection& Connection, TFraming& Framing,
                 std::vector<std::pair<std::string, std::string>>& Headers);
/// Nothing for a header that is missing or no number.
[[nodiscard]] std::optional<std::uint64_t> ContentLength(MHD_Connection& Connection);

struct TResponseEnd {
    void operator()(MHD_Response* Response) const;
};
/// The answer with its headers and those that every answer has. Takes body and file out of `Reply`. `Policy`
/// is the Content-Security-Policy of answers that bring none; empty: they have none. Null when there was no
/// memory for it.
[[nodiscard]] std::unique_ptr<MHD_Response, TResponseEnd> MakeResponse(TReply& Reply,
                                                                       const std::string& Policy);

} // namespace zutools::server
