// Names and servers for tests of pipes.

#pragma once

#include "pipes/Namepipe.h"
#include "platform/UniqueId.h"

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <future>
#include <string>
#include <thread>

namespace zutools::tests {

/// Pipes lie in a folder of the test program's own where they lie in folders. Before the first thread.
void UseOwnPipeFolder();
/// Files or handles that this process has open.
[[nodiscard]] std::size_t OpenHandles();

[[nodiscard]] inline std::u16string NewPipeName() {
    return u"zt-" + platform::NewUniqueId().substr(1, 18);
}

/// Bytes that tell where they stand, and whose they are.
template <class TData>
[[nodiscard]] TData Pattern(std::size_t Size, unsigned Seed = 0) {
    TData Result(Size, {});
    for (std::size_t Index = 0; Index < Size; ++Index) {
        Result[Index] = static_cast<typename TData::value_type>(Index * 31U + (Index >> 8U) * 7U + Seed);
    }
    return Result;
}

/// A server with a name of its own. "size N" is answered with N bytes of Pattern, anything else with itself.
class TBenchServer : public TNamedPipeServer {
public:
    explicit TBenchServer(std::int32_t Clients = 2) {
        PipeName = NewPipeName();
        MaxClients = Clients;
        SetMessageCallback([](const std::string& Request, std::string& Answer) {
            Answer =
                Request.starts_with("size ") ? Pattern<std::string>(std::stoul(Request.substr(5))) : Request;
        });
    }
};

/// Establishes as soon as the server's threads have made their instances. Raises what the last try did when
/// none has been made in a minute.
inline void Connect(TNamedPipeClient& Client) {
    const auto Until = std::chrono::steady_clock::now() + std::chrono::minutes(1);
    while (!Client.Connected()) {
        try {
            Client.Establish();
        } catch (const ENamedPipeClientException&) {
            if (std::chrono::steady_clock::now() > Until) throw;
            std::this_thread::yield();
        }
    }
}

[[nodiscard]] inline std::string AnswerOf(TNamedPipeClient& Client, const std::string& Request) {
    std::string Answer;
    Client.Request(Request, Answer);
    return Answer;
}

/// Sets the limit of an open client. On Windows the server may be between two instances when it comes back.
inline void SetLimit(TNamedPipeClient& Client, std::int32_t Milliseconds) {
    try {
        Client.SetAnswerWaitTimeout(Milliseconds);
    } catch (const ENamedPipeClientException&) {
        Connect(Client);
    }
}

} // namespace zutools::tests
