// A client that sends bytes as it is told and reads one answer after the other, on loopback.

#pragma once

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cstdint>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace zutools::tests {

struct THttpAnswer {
    int Status = 0; // 0: the connection was closed before an answer
    std::vector<std::pair<std::string, std::string>> Headers;
    std::string Body;

    /// Headers of that name joined with ", "; empty when there is none.
    [[nodiscard]] std::string Header(std::string_view Name) const {
        std::string Joined;
        for (const auto& [Key, Value] : Headers) {
            const bool Same = std::ranges::equal(
                Key, Name, {}, [](unsigned char C) { return std::tolower(C); },
                [](unsigned char C) { return std::tolower(C); });
            if (Same) Joined += (Joined.empty() ? "" : ", ") + Value;
        }
        return Joined;
    }
};

class THttpClient {
public:
    explicit THttpClient(std::uint16_t Port)
        : FSocket(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
        sockaddr_in Address{};
        Address.sin_family = AF_INET;
        Address.sin_port = htons(Port);
        Address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        // A hung server fails the test instead of holding it up.
        const timeval Limit{60, 0};
        ::setsockopt(FSocket, SOL_SOCKET, SO_RCVTIMEO, &Limit, sizeof Limit);
        if (::connect(FSocket, reinterpret_cast<const sockaddr*>(&Address), sizeof Address) != 0) {
            throw std::runtime_error("cannot connect");
        }
    }
    ~THttpClient() { ::close(FSocket); }
    THttpClient(const THttpClient&) = delete;
    THttpClient& operator=(const THttpClient&) = delete;

    /// False when the server has closed the connection.
    bool Send(std::string_view Bytes) {
        while (!Bytes.empty()) {
            const ssize_t Sent = ::send(FSocket, Bytes.data(), Bytes.size(), MSG_NOSIGNAL);
            if (Sent <= 0) return false;
            Bytes.remove_prefix(static_cast<std::size_t>(Sent));
        }
        return true;
    }

    /// The next answer; `ToHead` when it has no body whatever its headers say. Interim answers are passed
    /// over.
    THttpAnswer Read(bool ToHead = false) {
        THttpAnswer Answer;
        do {
            Answer = {};
            std::size_t End = 0;
            while ((End = FBuffer.find("\r\n\r\n")) == std::string::npos) {
                if (!Receive()) return Answer;
            }
            ReadHead(Answer, FBuffer.substr(0, End + 2));
            FBuffer.erase(0, End + 4);
        } while (Answer.Status / 100 == 1);
        const std::string Length = Answer.Header("Content-Length");
        if (ToHead || Length.empty()) return Answer;
        const std::size_t Size = std::stoul(Length);
        while (FBuffer.size() < Size && Receive()) {
        }
        Answer.Body = FBuffer.substr(0, Size);
        FBuffer.erase(0, Size);
        return Answer;
    }

    THttpAnswer Get(std::string_view Target, std::string_view Headers = {}) {
        return Ask("GET", Target, Headers);
    }

    THttpAnswer Ask(std::string_view Method, std::string_view Target, std::string_view Headers = {}) {
        Send(std::string(Method) + " " + std::string(Target) + " HTTP/1.1\r\nHost: test\r\n" +
             std::string(Headers) + "\r\n");
        return Read(Method == "HEAD");
    }

    THttpAnswer Post(std::string_view Target, std::string_view Body, std::string_view Headers = {},
                     std::string_view Type = "application/x-www-form-urlencoded") {
        Send("POST " + std::string(Target) + " HTTP/1.1\r\nHost: test\r\nContent-Type: " + std::string(Type) +
             "\r\nContent-Length: " + std::to_string(Body.size()) + "\r\n" + std::string(Headers) + "\r\n" +
             std::string(Body));
        return Read();
    }

    /// True when the server ends the connection without another byte.
    bool IsClosedByServer() { return FBuffer.empty() && !Receive(); }

private:
    bool Receive() {
        char Piece[16384];
        const ssize_t Size = ::recv(FSocket, Piece, sizeof Piece, 0);
        if (Size <= 0) return false;
        FBuffer.append(Piece, static_cast<std::size_t>(Size));
        return true;
    }

    static void ReadHead(THttpAnswer& Answer, std::string_view Head) {
        Answer.Status = std::stoi(std::string(Head.substr(9, 3)));
        Head.remove_prefix(Head.find("\r\n") + 2);
        while (!Head.empty()) {
            const std::string_view Line = Head.substr(0, Head.find("\r\n"));
            Head.remove_prefix(Line.size() + 2);
            const std::size_t Colon = Line.find(':');
            Answer.Headers.emplace_back(Line.substr(0, Colon),
                                        Line.substr(Line.find_first_not_of(' ', Colon + 1)));
        }
    }

    const int FSocket;
    std::string FBuffer;
};

} // namespace zutools::tests
