// The administrative endpoint: who may ask, and who gets an answer.

#include "server/web/AdminSocket.h"

#include "platform/File.h"
#include "platform/Text.h"
#include "tests/support/TempFolder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <atomic>
#include <mutex>
#include <thread>

using namespace zutools;
using namespace zutools::server;
using testing::HasSubstr;

namespace {

using namespace std::string_literals;

class AdminSocketTest : public testing::Test, public TLogger {
protected:
    void Log(TLogLevel, std::u16string_view Text) noexcept override {
        const std::lock_guard Guard(FMutex);
        FLines += platform::Utf16ToUtf8(Text) + "\n";
    }
    std::string Lines() {
        const std::lock_guard Guard(FMutex);
        return FLines;
    }

    std::string Narrow() const { return platform::Utf16ToUtf8(Path); }

    /// What goes wrong when a service starts with that path.
    std::string Error(const std::u16string& Name) {
        try {
            const TAdminSocket Socket(Name, Echo, *this);
        } catch (const std::exception& Failure) {
            return Failure.what();
        }
        return "no error";
    }
    std::string AskError() const {
        try {
            static_cast<void>(AskAdminSocket(Path, "x"));
        } catch (const EAdminSocket& Failure) {
            return Failure.what();
        }
        return "no error";
    }

    /// A connection that says what it is told.
    int Connect() const {
        const int Socket = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
        sockaddr_un Address{};
        Address.sun_family = AF_UNIX;
        Narrow().copy(Address.sun_path, sizeof Address.sun_path - 1);
        EXPECT_EQ(::connect(Socket, reinterpret_cast<const sockaddr*>(&Address), sizeof Address), 0);
        return Socket;
    }

    static std::string Echo(std::string_view Question, const std::u16string& User) {
        if (Question == "fail") throw Exception(u"the handler failed");
        if (Question == "long") return std::string(MaxAdminAnswer + 1, 'x');
        return std::string(Question) + (User.empty() ? "?" : "!");
    }

    tests::TTempFolder Folder;
    std::u16string Path = Folder.File(u"run/admin.socket");

private:
    std::mutex FMutex;
    std::string FLines;
};

TEST_F(AdminSocketTest, AnswersQuestionsOfManyThreads) {
    const TAdminSocket Socket(Path, Echo, *this);
    std::atomic<int> Good = 0;
    std::vector<std::thread> Threads;
    for (int Index = 0; Index < 4; ++Index) {
        Threads.emplace_back([&, Index] {
            const std::string Question = std::to_string(Index) + std::string(60'000, 'q');
            for (int Round = 0; Round < 10; ++Round) Good += AskAdminSocket(Path, Question) == Question + "!";
        });
    }
    for (std::thread& Thread : Threads) Thread.join();
    EXPECT_EQ(Good, 40);
}

TEST_F(AdminSocketTest, NobodyElseCanReachIt) {
    const TAdminSocket Socket(Path, Echo, *this);
    struct stat Status{};
    ASSERT_EQ(::lstat(Narrow().c_str(), &Status), 0);
    EXPECT_EQ(Status.st_mode & 0777U, 0600U);
    ASSERT_EQ(::lstat(platform::Utf16ToUtf8(Folder.File(u"run")).c_str(), &Status), 0);
    EXPECT_EQ(Status.st_mode & 0777U, 0700U);
}

TEST_F(AdminSocketTest, AFolderThatOthersCanEnterIsRefused) {
    Folder.Write(u"open/x", "");
    const std::string Open = platform::Utf16ToUtf8(Folder.File(u"open"));
    for (const unsigned Mode : {0701U, 0710U, 0770U, 0777U}) {
        ASSERT_EQ(::chmod(Open.c_str(), Mode), 0);
        EXPECT_THAT(Error(Folder.File(u"open/a.socket")), HasSubstr("must be this user's alone")) << Mode;
    }
    ASSERT_EQ(::chmod(Open.c_str(), 0700), 0);
    EXPECT_EQ(Error(Folder.File(u"open/a.socket")), "no error");
    ASSERT_EQ(::symlink(Open.c_str(), platform::Utf16ToUtf8(Folder.File(u"link")).c_str()), 0);
    EXPECT_THAT(Error(Folder.File(u"link/a.socket")), HasSubstr("must be this user's alone"));
}

TEST_F(AdminSocketTest, ASecondServiceLeavesTheFirstAlone) {
    const TAdminSocket Socket(Path, Echo, *this);
    EXPECT_THAT(Error(Path), HasSubstr("another service has the administrative socket"));
    EXPECT_EQ(AskAdminSocket(Path, "x"), "x!");
}

TEST_F(AdminSocketTest, WhatADeadServiceLeftIsReplaced) {
    {
        const TAdminSocket Socket(Path, Echo, *this);
    }
    EXPECT_THAT(AskError(), HasSubstr("the service is not running"));
    const int Dead = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_un Address{};
    Address.sun_family = AF_UNIX;
    Narrow().copy(Address.sun_path, sizeof Address.sun_path - 1);
    ASSERT_EQ(::bind(Dead, reinterpret_cast<const sockaddr*>(&Address), sizeof Address), 0);
    ::close(Dead);
    EXPECT_THAT(AskError(), HasSubstr("the service is not running"));
    const TAdminSocket Socket(Path, Echo, *this);
    EXPECT_EQ(AskAdminSocket(Path, "x"), "x!");
}

TEST_F(AdminSocketTest, BadClientsGetNoAnswerAndHoldUpNobody) {
    const std::string Long = std::to_string(MaxAdminQuestion + 1);
    const TAdminSocket Socket(Path, Echo, *this, std::chrono::seconds(1));
    std::vector<int> Silent;
    for (const std::string& Bytes : {""s, "POST / HT"s, "POST / HTTP/1.0\r\nContent-Length: 9\r\n\r\nx"s}) {
        Silent.push_back(Connect());
        EXPECT_EQ(::send(Silent.back(), Bytes.data(), Bytes.size(), MSG_NOSIGNAL),
                  static_cast<ssize_t>(Bytes.size()));
    }
    for (const std::string& Bytes : {"\0\1\2\r\n\r\n"s, "POST / HTTP/1.0\r\nContent-Length: 4\r\n\r\nfail"s,
                                     "POST / HTTP/1.0\r\nContent-Length: " + Long + "\r\n\r\n" +
                                         std::string(MaxAdminQuestion + 1, 'x')}) {
        const int Client = Connect();
        static_cast<void>(!::send(Client, Bytes.data(), Bytes.size(), MSG_NOSIGNAL));
        std::string Answer(100, ' ');
        const ssize_t Size = ::recv(Client, Answer.data(), Answer.size(), 0);
        EXPECT_EQ(Answer.substr(0, Size > 0 ? 100 : 0).find(" 200 "), std::string::npos)
            << Bytes.substr(0, 40);
        ::close(Client);
    }
    EXPECT_EQ(AskAdminSocket(Path, "x"), "x!");
    EXPECT_EQ(AskAdminSocket(Path, ""), "!");
    EXPECT_EQ(AskAdminSocket(Path, std::string(MaxAdminQuestion, 'q')),
              std::string(MaxAdminQuestion, 'q') + "!");
    EXPECT_THROW(static_cast<void>(AskAdminSocket(Path, "fail")), EAdminSocket);
    EXPECT_THROW(static_cast<void>(AskAdminSocket(Path, "long")), EAdminSocket);
    EXPECT_THAT(Lines(), HasSubstr("the handler failed"));
    EXPECT_THAT(Lines(), HasSubstr("a question is too large"));
    EXPECT_THAT(Lines(), HasSubstr("an answer is too large"));
    for (const int Client : Silent) {
        char Answer = 0;
        EXPECT_LE(::recv(Client, &Answer, 1, 0), 0); // dropped when its time is over
        ::close(Client);
    }
    EXPECT_THAT(Lines(), HasSubstr("a question was not asked or answered to its end"));
}

TEST_F(AdminSocketTest, ASilentClientDoesNotKeepTheServiceFromStopping) {
    int Client = -1;
    {
        const TAdminSocket Socket(Path, Echo, *this, std::chrono::hours(1));
        Client = Connect();
    }
    ::close(Client);
}

// Whatever stands there in place of a service: its words are not taken for an answer.
TEST_F(AdminSocketTest, AnAnswerThatIsNoneIsTold) {
    const std::u16string Name = Folder.File(u"impostor");
    sockaddr_un Address{};
    Address.sun_family = AF_UNIX;
    platform::Utf16ToUtf8(Name).copy(Address.sun_path, sizeof Address.sun_path - 1);
    const int Listener = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    ASSERT_EQ(::bind(Listener, reinterpret_cast<const sockaddr*>(&Address), sizeof Address), 0);
    ASSERT_EQ(::listen(Listener, 8), 0);
    const std::pair<const char*, const char*> Cases[] = {
        {"HTTP/1.0 200 OK\r\nContent-Length: 2\r\n\r\n{}", "{}"},
        {"HTTP/1.0 200 OK\r\nContent-Length: 3\r\n\r\n{}", "no answer"},
        {"HTTP/1.0 500 OK\r\nContent-Length: 2\r\n\r\n{}", "no answer"},
        {"HTTP/1.0 404 200 \r\nContent-Length: 2\r\n\r\n{}", "no answer"},
        {"HTTP/1.0 200 OK\r\n\r\n\r\nContent-Length: 22\r\n", "no answer"},
        {"", "no answer"},
    };
    for (const auto& [Bytes, Expected] : Cases) {
        std::thread Impostor([Listener, Said = std::string_view(Bytes)] {
            const int Client = ::accept(Listener, nullptr, nullptr);
            char Question[100];
            static_cast<void>(!::recv(Client, Question, sizeof Question, 0));
            static_cast<void>(!::send(Client, Said.data(), Said.size(), MSG_NOSIGNAL));
            ::close(Client);
        });
        std::string Answer = "no answer";
        try {
            Answer = AskAdminSocket(Name, "x");
        } catch (const EAdminSocket&) {
        }
        EXPECT_EQ(Answer, Expected) << Bytes;
        Impostor.join();
    }
    ::close(Listener);
}

TEST_F(AdminSocketTest, PathsAreShortAndTellConfigurationsApart) {
    EXPECT_THAT(Error(Folder.File(std::u16string(120, u'x') + u"/a.socket")), HasSubstr("admin.socket"));
    EXPECT_EQ(DefaultAdminSocket(u"a.toml"), DefaultAdminSocket(u"./x/../a.toml"));
    EXPECT_NE(DefaultAdminSocket(u"a.toml"), DefaultAdminSocket(u"b.toml"));
}

} // namespace
