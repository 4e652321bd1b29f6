// Where a request begins and ends: what a proxy in front and this server could read differently is refused.
//
// The network library is lenient: it joins folded lines, takes a blank before the colon into the name, cuts
// values at a NUL, and takes a body of an encoding that it does not know for the next request. It cuts its
// buffer up in place, so where a name or a value lies tells what stood between them on the wire. Nothing is
// copied for that.

#pragma once

#include <cstddef>
#include <string_view>

namespace zutools::server {

/// Looks at one request's head, in the order of the wire. For one thread.
class TFraming {
public:
    /// The three parts of the request line, as they lie in the library's buffer.
    TFraming(std::string_view Method, std::string_view Target, std::string_view Version);

    void TakeHeader(std::string_view Name, std::string_view Value);

    /// After the last header: why the request is refused; empty when its bounds are beyond doubt.
    [[nodiscard]] std::string_view Fault() const;
    /// Whether a body follows the head.
    [[nodiscard]] bool HasBody() const { return FEncodings != 0 || FLengths != 0; }

private:
    void Refuse(std::string_view Reason);

    const bool FNewest; // HTTP/1.1
    const char* FNext;  // where the next name must begin
    std::string_view FFault;
    std::size_t FLengths = 0;
    std::size_t FHosts = 0;
    std::size_t FEncodings = 0;
};

} // namespace zutools::server
