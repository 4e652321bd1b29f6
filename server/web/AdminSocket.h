// The administrative endpoint of a running service: a Unix domain socket that only the same user of the
// system (and root) can reach.
//
// A question is the body of an HTTP request, its answer that of the answer; what they say is the caller's.
// The socket (0600) lies in a folder that nobody else can enter (0700), and whoever asks is asked for his
// user id too.

#pragma once

#include "host/Exception.h"
#include "host/Services.h"

#include <chrono>
#include <cstddef>
#include <functional>
#include <memory>
#include <string>
#include <string_view>

namespace zutools::server {

/// What stands in the way of the endpoint, for either side; the message names the socket.
class EAdminSocket : public Exception {
public:
    using Exception::Exception;
};

/// The longest questions and answers, in bytes.
inline constexpr std::size_t MaxAdminQuestion = 64 * 1024;
inline constexpr std::size_t MaxAdminAnswer = 16 * 1024 * 1024;

/// Where the socket of a service with this configuration file is when none is configured: in
/// $XDG_RUNTIME_DIR, else in the folder of temporary files, in a folder of our own named with the user's id;
/// the file's name is made from the configuration's whole path.
[[nodiscard]] std::u16string DefaultAdminSocket(std::u16string_view ConfigFile);

/// Answers each question on a thread of its own, some at once. Whoever is silent for longer than the
/// patience, while he asks or takes his answer, is dropped, and holds up nobody meanwhile.
class TAdminSocket {
public:
    /// Called on the question's thread with the question's text and the name of the system's user who asks;
    /// gives the answer's. What it raises is logged and ends the connection.
    using THandler = std::function<std::string(std::string_view Question, const std::u16string& User)>;

    /// Makes the folder (0700) when it is not there, and listens. A socket that a dead service left is
    /// replaced.
    /// @throws EAdminSocket when the folder is not the user's own or others can enter it, the path is too
    /// long for a socket, or a living service has it; platform::TSystemError.
    TAdminSocket(std::u16string Path, THandler Handler, TLogger& Logger,
                 std::chrono::seconds Patience = std::chrono::seconds(10));
    /// Waits for the questions that are being answered; removes the socket.
    ~TAdminSocket();
    TAdminSocket(const TAdminSocket&) = delete;
    TAdminSocket& operator=(const TAdminSocket&) = delete;

private:
    struct TImpl;
    std::unique_ptr<TImpl> FImpl;
};

/// One question to the service at `Path`, and its answer. Blocks for at most `Patience` without a byte.
/// @throws EAdminSocket: no service is running, the socket is somebody else's, it does not answer.
[[nodiscard]] std::string AskAdminSocket(std::u16string_view Path, std::string_view Question,
                                         std::chrono::seconds Patience = std::chrono::seconds(30));

} // namespace zutools::server
