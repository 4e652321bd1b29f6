// Frames of the administrative endpoint: four bytes of length, the highest first, and that many bytes.

#pragma once

#include "host/Exception.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace zutools::server {

/// What stands in the way of the endpoint, for either side; the message names the socket.
class EAdminSocket : public Exception {
public:
    using Exception::Exception;
};

/// Longest frames: of questions, and of answers.
inline constexpr std::size_t MaxAdminQuestion = 64 * 1024;
inline constexpr std::size_t MaxAdminAnswer = 16 * 1024 * 1024;

/// Takes a frame apart that arrives in pieces.
class TFrameReader {
public:
    enum class TState : std::uint8_t { Incomplete, Complete, Refused };

    explicit TFrameReader(std::size_t MaxBytes)
        : FMaxBytes(MaxBytes) {}
    /// Takes what arrived. Refused: the length is 0 or above the limit, or more came than it tells; then
    /// nothing is kept any more.
    TState Feed(std::string_view Bytes);
    /// The body of a complete frame.
    [[nodiscard]] std::string& Body() { return FBody; }

private:
    const std::size_t FMaxBytes;
    std::size_t FHeadBytes = 0;
    std::uint32_t FLength = 0;
    std::string FBody;
    bool FRefused = false;
};

/// The bytes of a frame. @throws EAdminSocket for an empty body or one of 4 GB.
[[nodiscard]] std::string MakeFrame(std::string_view Body);

} // namespace zutools::server
