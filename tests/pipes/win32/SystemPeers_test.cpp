// The system's own calls as peers: a client in one call, and a server that writes bare messages.

#include "tests/pipes/PipeBench.h"
#include "tests/support/Raised.h"

#include <gtest/gtest.h>

#include <windows.h>

namespace zutools::tests {

namespace {

const wchar_t* Wide(const std::u16string& Text) {
    return reinterpret_cast<const wchar_t*>(Text.c_str());
}

TEST(SystemPeers, CallNamedPipeReadsTheDocumentedAnswer) {
    TBenchServer Server;
    Server.StartListen();
    const std::u16string Path = u"\\\\.\\pipe\\" + Server.PipeName;
    for (const std::string Request : {"x", "hello"}) {
        std::string Got(100, '\0');
        DWORD Size = 0;
        std::string Bytes = Request;
        // The server's threads may be between two instances: the system says so in several ways, depending on
        // how far the call had come.
        const auto Call = [&] {
            return CallNamedPipeW(Wide(Path), Bytes.data(), static_cast<DWORD>(Bytes.size()), Got.data(), 100,
                                  &Size, 60'000) != FALSE;
        };
        int Tries = 1000;
        while (!Call() && --Tries > 0) ASSERT_NE(GetLastError(), static_cast<DWORD>(ERROR_MORE_DATA));
        ASSERT_GT(Tries, 0) << GetLastError();
        Got.resize(Size);
        const std::string Head = {static_cast<char>(Request.size()), 0, 0, 0};
        EXPECT_EQ(Got.substr(4), Head + Request);
    }
}

TEST(SystemPeers, BareMessagesOfAnySizeAreAnswers) {
    TNamedPipeClient Client;
    Client.PipeName = NewPipeName();
    const std::u16string Path = u"\\\\.\\pipe\\" + Client.PipeName;
    const HANDLE Pipe =
        CreateNamedPipeW(Wide(Path), PIPE_ACCESS_DUPLEX, PIPE_TYPE_MESSAGE | PIPE_READMODE_MESSAGE, 1, 65536,
                         65536, 1000, nullptr);
    ASSERT_NE(Pipe, INVALID_HANDLE_VALUE);
    const std::string Whole("\1\0\0\0\4\0\0\0body", 12);
    auto Serving = std::async(std::launch::async, [&] {
        ConnectNamedPipe(Pipe, nullptr);
        for (std::size_t Size = 1; Size <= Whole.size(); ++Size) {
            char Byte = 0;
            DWORD Moved = 0;
            if (ReadFile(Pipe, &Byte, 1, &Moved, nullptr) == FALSE) return false;
            WriteFile(Pipe, Whole.data(), static_cast<DWORD>(Size), &Moved, nullptr);
        }
        return true;
    });
    Connect(Client);
    for (std::size_t Size = 1; Size <= Whole.size(); ++Size) {
        std::string Answer;
        Client.Request("?", Answer);
        EXPECT_EQ(Answer, Size > 8 ? Whole.substr(8, Size - 8) : "");
    }
    EXPECT_TRUE(Serving.get());
    CloseHandle(Pipe); // the server dies
    std::string Answer;
    ExpectRaised<ENamedPipeClientException>([&] { return Client.Request("?", Answer), 0; },
                                            {"Transact pipe ("});
    EXPECT_FALSE(Client.Connected());
}

} // namespace

} // namespace zutools::tests
