// The administrative endpoint: its frames, and who may ask.

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
using TState = TFrameReader::TState;

namespace {

using namespace std::string_literals;

TEST(AdminFrame, WholeCutAndWrong) {
    struct TCase {
        const char* Name;
        std::string Bytes;
        TState State;
        std::string Body;
    };
    const TCase Cases[] = {
        {"nothing", "", TState::Incomplete, ""},
        {"head only", "\0\0\0\2"s, TState::Incomplete, ""},
        {"cut body", "\0\0\0\2{"s, TState::Incomplete, "{"},
        {"whole", "\0\0\0\2{}"s, TState::Complete, "{}"},
        {"longest", "\0\0\0\x08"s + std::string(8, 'x'), TState::Complete, std::string(8, 'x')},
        {"too long", "\0\0\0\x09"s, TState::Refused, ""},
        {"far too long", "\xFF\xFF\xFF\xFF"s, TState::Refused, ""},
        {"empty", "\0\0\0\0"s, TState::Refused, ""},
        {"more than told", "\0\0\0\1{}"s, TState::Refused, ""},
    };
    for (const TCase& Case : Cases) {
        TFrameReader Whole(8);
        EXPECT_EQ(Whole.Feed(Case.Bytes), Case.State) << Case.Name;
        EXPECT_EQ(Whole.Body(), Case.Body) << Case.Name;
        TFrameReader Bytewise(8);
        TState Last = TState::Incomplete;
        for (const char Byte : Case.Bytes) Last = Bytewise.Feed({&Byte, 1});
        EXPECT_EQ(Last, Case.State) << Case.Name;
        if (Case.State != TState::Complete) continue;
        EXPECT_EQ(MakeFrame(Case.Body), Case.Bytes) << Case.Name;
    }
    EXPECT_THROW(static_cast<void>(MakeFrame("")), EAdminSocket);
}

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

TEST_F(AdminSocketTest, BadClientsHoldUpNobody) {
    const TAdminSocket Socket(Path, Echo, *this, std::chrono::milliseconds(50));
    for (const std::string& Bytes :
         {"\0\0"s, "\0\0\0\0"s, "\x7F\0\0\0x"s, "\0\0\0\4fail"s, "\0\0\0\1xy"s, ""s}) {
        const int Client = Connect();
        EXPECT_EQ(::send(Client, Bytes.data(), Bytes.size(), MSG_NOSIGNAL),
                  static_cast<ssize_t>(Bytes.size()));
        char Answer = 0;
        EXPECT_LE(::recv(Client, &Answer, 1, 0), 0) << Bytes; // closed without an answer
        ::close(Client);
    }
    EXPECT_EQ(AskAdminSocket(Path, "x"), "x!");
    EXPECT_THAT(Lines(), HasSubstr("the handler failed"));
    EXPECT_THAT(Lines(), HasSubstr("a question did not arrive whole"));
}

TEST_F(AdminSocketTest, ASilentClientDoesNotKeepTheServiceFromStopping) {
    int Client = -1;
    {
        const TAdminSocket Socket(Path, Echo, *this, std::chrono::hours(1));
        Client = Connect();
    }
    ::close(Client);
}

TEST_F(AdminSocketTest, PathsAreShortAndTellConfigurationsApart) {
    EXPECT_THAT(Error(Folder.File(std::u16string(120, u'x') + u"/a.socket")), HasSubstr("admin.socket"));
    EXPECT_EQ(DefaultAdminSocket(u"a.toml"), DefaultAdminSocket(u"./x/../a.toml"));
    EXPECT_NE(DefaultAdminSocket(u"a.toml"), DefaultAdminSocket(u"b.toml"));
}

} // namespace
