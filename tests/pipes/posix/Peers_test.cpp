// Peers that speak the frames of the sockets by hand, well or badly, and the folder that the sockets lie in.

#include "platform/PipeFrames.h"
#include "platform/Text.h"
#include "platform/posix/Descriptor.h"
#include "tests/pipes/PipeBench.h"
#include "tests/support/Raised.h"
#include "tests/support/TempFolder.h"

#include <gmock/gmock.h>

#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <grp.h>
#include <pwd.h>

#include <cstdlib>
#include <filesystem>

namespace zutools::tests {

namespace {

using namespace platform;
namespace fs = std::filesystem;
using testing::HasSubstr;

std::string SocketFile(const std::u16string& Name) {
    std::string Result = std::string(std::getenv("XDG_RUNTIME_DIR")) + "/zutools/" + Utf16ToUtf8(Name);
    for (std::size_t At = Result.rfind('/'); At < Result.size(); ++At)
        Result[At] = static_cast<char>(std::tolower(Result[At]));
    return Result;
}

sockaddr_un AddressOf(const std::u16string& Name) {
    sockaddr_un Address{};
    Address.sun_family = AF_UNIX;
    SocketFile(Name).copy(Address.sun_path, sizeof Address.sun_path - 1);
    return Address;
}

TDescriptor RawSocket() {
    return TDescriptor(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
}

TDescriptor RawListen(const std::u16string& Name) {
    fs::create_directories(fs::path(SocketFile(Name)).parent_path());
    fs::permissions(fs::path(SocketFile(Name)).parent_path(), fs::perms::owner_all);
    const sockaddr_un Address = AddressOf(Name);
    TDescriptor Socket = RawSocket();
    EXPECT_EQ(::bind(Socket.Number(), reinterpret_cast<const sockaddr*>(&Address), sizeof Address), 0);
    EXPECT_EQ(::listen(Socket.Number(), 8), 0);
    return Socket;
}

TDescriptor RawConnect(const std::u16string& Name) {
    const sockaddr_un Address = AddressOf(Name);
    TDescriptor Socket = RawSocket();
    EXPECT_EQ(::connect(Socket.Number(), reinterpret_cast<const sockaddr*>(&Address), sizeof Address), 0);
    return Socket;
}

void Send(const TDescriptor& Socket, std::string_view Bytes) {
    static_cast<void>(!::send(Socket.Number(), Bytes.data(), Bytes.size(), MSG_NOSIGNAL));
}

std::string Receive(const TDescriptor& Socket, std::size_t Size) {
    std::string Bytes(Size, '\0');
    const ssize_t Got = ::recv(Socket.Number(), Bytes.data(), Size, MSG_WAITALL);
    Bytes.resize(Got < 0 ? 0 : static_cast<std::size_t>(Got));
    return Bytes;
}

std::string Word(std::uint32_t Value) {
    std::array<std::byte, 4> Bytes{};
    PutWord(Bytes, Value);
    return {reinterpret_cast<const char*>(Bytes.data()), Bytes.size()};
}

std::string Message(std::string_view Bytes) {
    return Word(static_cast<std::uint32_t>(Bytes.size())) + std::string(Bytes);
}

std::string Answer(std::string_view Payload) {
    return Message(Word(0) + Word(static_cast<std::uint32_t>(Payload.size())) + std::string(Payload));
}

const std::string Opening = "ZUP1" + Word(0) + Word(0);

class PipePeers : public testing::Test {
protected:
    static void SetUpTestSuite() { UseOwnPipeFolder(); }
    std::string Ask(const std::string& Request) { return AnswerOf(Client, Request); }
    TNamedPipeClient Client;
};

// A server that leaves each first connection after so many bytes of its answer, and serves each second one.
TEST_F(PipePeers, ServersThatDieOrStallAtEveryByteOfTheAnswer) {
    const std::string Whole = Answer("0123456789abcdef");
    for (const bool Dies : {true, false}) {
        Client.PipeName = NewPipeName();
        const TDescriptor Listening = RawListen(Client.PipeName);
        auto Serving = std::async(std::launch::async, [&] {
            std::vector<TDescriptor> Stalled;
            for (std::size_t Count = 0; Count < 2 * Whole.size(); ++Count) {
                TDescriptor Socket(::accept(Listening.Number(), nullptr, nullptr));
                Receive(Socket, Opening.size());
                Send(Socket, Word(0));
                if (Receive(Socket, 5) != Message("?")) return false;
                Send(Socket, Count % 2 == 0 ? Whole.substr(0, Count / 2) : Whole);
                if (!Dies || Count % 2 != 0) Stalled.push_back(std::move(Socket));
            }
            return true;
        });
        Client.SetBuffSize(12);
        for (std::size_t Bytes = 0; Bytes < Whole.size(); ++Bytes) {
            Client.SetAnswerWaitTimeout(Dies ? 60'000 : 5);
            if (!Client.Connected()) Client.Establish();
            std::string Got;
            ExpectRaised<ENamedPipeClientException>(
                [&] { return Client.Request("?", Got), 0; },
                {Dies ? "The pipe has been ended (109)." : "timeout (5 ms)."});
            EXPECT_TRUE(Client.Connected());
            EXPECT_TRUE(std::string("0123456789abcdef").starts_with(Got)) << Got;
            EXPECT_EQ(Client.AnswerWaitTimeout(), Dies ? 60'000 : 5);
            Got = Ask("?");
            EXPECT_EQ(Got, "0123456789abcdef") << Bytes;
            Client.Close();
        }
        EXPECT_TRUE(Serving.get());
    }
}

TEST_F(PipePeers, AnswersThatNobodyAskedForAreNotTakenForTheNext) {
    Client.PipeName = NewPipeName();
    const TDescriptor Listening = RawListen(Client.PipeName);
    auto Serving = std::async(std::launch::async, [&] {
        TDescriptor Socket(::accept(Listening.Number(), nullptr, nullptr));
        Receive(Socket, Opening.size());
        Send(Socket, Word(0));
        Receive(Socket, 5);
        Send(Socket, Answer("mine") + Answer("not mine"));
        return Socket;
    });
    Client.Establish();
    EXPECT_EQ(Ask("?"), "mine");
    const TDescriptor Held = Serving.get();
    Client.SetBuffSize(2000);
    auto Recovering = std::async(std::launch::async, [&] {
        TDescriptor Socket(::accept(Listening.Number(), nullptr, nullptr));
        Send(Socket, Word(0));
        return Socket;
    });
    ExpectRaised<ENamedPipeClientException>([&] { return Ask("?"); }, {"All pipe instances are busy (231)."});
    EXPECT_TRUE(Client.Connected());
}

TEST_F(PipePeers, ThoseThatNeverSpeakTakeNobodysPlace) {
    TBenchServer Server(1);
    Server.Timeout = 60'000;
    Server.StartListen();
    Client.PipeName = Server.PipeName;
    Connect(Client);
    Client.Close();
    std::vector<TDescriptor> Silent;
    for (int Count = 0; Count < 500; ++Count) {
        Silent.push_back(RawConnect(Server.PipeName));
        if (Count % 3 == 1) Send(Silent.back(), "ZUP");
        if (Count % 3 == 2) Send(Silent.back(), "GET / HTTP/1.1\r\n");
    }
    Client.Timeout = 60'000;
    Connect(Client);
    EXPECT_EQ(Ask("hello"), "hello");
}

// Half a message keeps a place for the time-out only, whatever came before it.
TEST_F(PipePeers, WhatAPeerSendsAndWhatItReceivesBeforeTheServerHangsUp) {
    TBenchServer Server(1);
    Server.Timeout = 20;
    Server.StartListen();
    Client.PipeName = Server.PipeName;
    Connect(Client);
    Client.Close();
    const std::pair<std::string, std::string> Rows[] = {
        {Message("request").substr(0, 2), ""},
        {Message("request").substr(0, 9), ""},
        {Word(0x7FFFFFFF), ""},
        {Message("one") + Message("three") + Message("").substr(0, 2), Answer("one") + Answer("three")},
    };
    for (const auto& [Sent, Received] : Rows) {
        TDescriptor Peer;
        std::string Reply;
        while (Reply != Word(0)) { // until the place is free
            Peer = RawConnect(Server.PipeName);
            Send(Peer, Opening);
            Reply = Receive(Peer, 4);
        }
        Send(Peer, Sent);
        EXPECT_EQ(Receive(Peer, Received.size() + 1), Received);
    }
    Connect(Client);
    EXPECT_EQ(Ask("fair"), "fair");
}

TEST_F(PipePeers, ADeadServersNameIsReplacedAndALivingOnesNever) {
    const std::u16string Name = NewPipeName();
    const std::u16string Path = u"\\\\.\\pipe\\" + Name;
    TPipeSettings Settings;
    TPipeCode Code = TPipeCode::Success;
    {
        const TDescriptor Living = RawListen(Name);
        EXPECT_EQ(SystemPipes().Create(Path, Settings, Code), TPipeHandle::Invalid);
        EXPECT_EQ(Code, TPipeCode::PipeBusy);
        EXPECT_TRUE(fs::is_socket(SocketFile(Name)));
    }
    const TPipeHandle First = SystemPipes().Create(Path, Settings, Code);
    ASSERT_EQ(Code, TPipeCode::Success) << "the living one has died";
    EXPECT_EQ(fs::status(SocketFile(Name)).permissions(), fs::perms::owner_read | fs::perms::owner_write);
    EXPECT_EQ(SystemPipes().Create(Path, Settings, Code), TPipeHandle::Invalid)
        << "one instance is the limit";
    EXPECT_EQ(Code, TPipeCode::PipeBusy);
    SystemPipes().Close(First, nullptr);
    EXPECT_FALSE(fs::exists(SocketFile(Name)));
}

TEST_F(PipePeers, AFolderThatIsNotTheUsersAloneIsRefused) {
    const std::string Own = std::getenv("XDG_RUNTIME_DIR");
    const TTempFolder Temp;
    const std::string Runtime = Utf16ToUtf8(Temp.Path());
    const fs::path Folder = fs::path(Runtime) / "zutools";
    ::setenv("XDG_RUNTIME_DIR", Runtime.c_str(), 1);
    const std::u16string Path = u"\\\\.\\pipe\\x";
    TPipeCode Code = TPipeCode::Success;
    const auto Make = [&] {
        SystemPipes().Close(SystemPipes().Create(Path, {}, Code), nullptr);
        return Code;
    };
    const auto Open = [&] {
        SystemPipes().Close(SystemPipes().Open(Path, false, Code), nullptr);
        return Code;
    };
    EXPECT_EQ(Open(), TPipeCode::NoSuchPipe);
    EXPECT_FALSE(fs::exists(Folder)) << "asking makes nothing";
    fs::create_directory(Folder);
    ::chmod(Folder.c_str(), 0750);
    EXPECT_EQ(Make(), TPipeCode::AccessDenied);
    EXPECT_EQ(Open(), TPipeCode::AccessDenied);
    fs::remove(Folder);
    fs::create_directory(fs::path(Runtime) / "other");
    fs::create_directory_symlink(fs::path(Runtime) / "other", Folder);
    EXPECT_EQ(Make(), TPipeCode::AccessDenied);
    fs::remove(Folder);
    EXPECT_EQ(Make(), TPipeCode::Success);
    EXPECT_EQ(fs::status(Folder).permissions(), fs::perms::owner_all);

    ::setenv("ZUTOOLS_PIPES", (Runtime + "/other").c_str(), 1);
    ::chmod((Runtime + "/other").c_str(), 0755);
    EXPECT_EQ(Make(), TPipeCode::Success) << "a shared folder may be entered";
    ::chmod((Runtime + "/other").c_str(), 0775);
    EXPECT_EQ(Make(), TPipeCode::AccessDenied) << "but not written by others";
    ::unsetenv("ZUTOOLS_PIPES");
    ::setenv("XDG_RUNTIME_DIR", Own.c_str(), 1);
}

/// How opening the pipe ends in a process of that user.
int OpenAs(const passwd& User, const std::u16string& Path) {
    const pid_t Child = ::fork();
    if (Child == 0) {
        if (::setgroups(0, nullptr) != 0 || ::setgid(User.pw_gid) != 0 || ::setuid(User.pw_uid) != 0)
            ::_exit(255);
        TPipeCode Code = TPipeCode::Success;
        static_cast<void>(SystemPipes().Open(Path, false, Code));
        ::_exit(static_cast<int>(Code));
    }
    int Status = 0;
    EXPECT_EQ(::waitpid(Child, &Status, 0), Child);
    return WIFEXITED(Status) ? WEXITSTATUS(Status) : -1;
}

TEST_F(PipePeers, OtherUsersConnectOnlyWhenTheServerNamesThemOrTheirGroup) {
    if (::geteuid() != 0) GTEST_SKIP() << "only root can become another user";
    const passwd* const Nobody = ::getpwnam("nobody");
    ASSERT_NE(Nobody, nullptr);
    const std::string Group = ::getgrgid(Nobody->pw_gid)->gr_name;
    const TTempFolder Temp;
    const std::string Folder = Utf16ToUtf8(Temp.Path());
    ::chmod(Folder.c_str(), 0755);
    ::setenv("ZUTOOLS_PIPES", Folder.c_str(), 1);
    const struct {
        std::vector<std::u16string> Users, Groups;
        int Code;
    } Rows[] = {
        {{}, {}, 5},
        {{u"daemon", u"no such user"}, {u"daemon", u"no such group"}, 5},
        {{u"nobody"}, {}, 0},
        {{}, {Utf8ToUtf16(Group)}, 0},
    };
    for (const auto& Row : Rows) {
        TBenchServer Server(1);
        Server.AllowedUsers = Row.Users;
        Server.AllowedGroups = Row.Groups;
        Server.StartListen();
        Client.PipeName = Server.PipeName;
        Connect(Client); // of root's own process, whatever the lists say
        Client.Close();
        int Code = 231;
        while (Code == 231) Code = OpenAs(*Nobody, Client.FileName); // until the place is free again
        EXPECT_EQ(Code, Row.Code) << &Row - Rows;
    }
    ::unsetenv("ZUTOOLS_PIPES");
}

TEST_F(PipePeers, AnotherComputerIsOutOfReach) {
    Client.ComputerName = u"srv";
    Client.PipeName = u"x";
    ExpectRaised<ENamedPipeClientException>(
        [&] { return Client.Establish(), 0; },
        {"'\\\\srv\\pipe\\x'. The network path was not found", "leave the computer's name empty", "(53)."});
}

} // namespace

} // namespace zutools::tests
