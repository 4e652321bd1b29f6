// What client and server do with each other, over the pipes of this system.

#include "tests/pipes/PipeBench.h"
#include "tests/support/Raised.h"

#include <gmock/gmock.h>

#include <atomic>
#include <future>

namespace zutools::tests {

namespace {

using testing::HasSubstr;

class NamePipes : public testing::Test {
protected:
    static void SetUpTestSuite() { UseOwnPipeFolder(); }

    void Start() {
        Server.StartListen();
        Client.PipeName = Server.PipeName;
        Connect(Client);
    }
    std::string Ask(const std::string& Request) { return AnswerOf(Client, Request); }
    std::string Failure(const std::string& Request) {
        return Raised<ENamedPipeClientException>([&] { return Ask(Request); });
    }
    std::string OpeningFailure(TNamedPipeClient& Opened, const std::u16string& Name) {
        Opened.PipeName = Name;
        return Raised<ENamedPipeClientException>([&] { return Opened.Establish(), 0; });
    }
    [[nodiscard]] std::string Path() const {
        return "\\\\.\\pipe\\" + std::string(Server.PipeName.begin(), Server.PipeName.end());
    }

    TBenchServer Server{2};
    TNamedPipeClient Client;
};

TEST_F(NamePipes, AnswersOfEverySizeAreWhole) {
    Client.SetAnswerWaitTimeout(1000);
    EXPECT_FALSE(Client.Connected()) << "a limit opens nothing";
    Start();
    constexpr std::int32_t MiB = 1 << 20;
    const std::pair<std::int32_t, std::vector<std::size_t>> Rows[] = {
        {1, {1, 2, 9}},
        {9, {1, 8, 9, 30}},
        {1024, {1, 1015, 1016, 1017, 1024, 2039, 2040, 2041, 100'000, MiB}},
        {MiB, {16, MiB - 9, MiB - 8, MiB - 7, 3 * MiB, 64 * MiB}},
    };
    for (const std::int32_t Limit : {-1, 60'000}) {
        SetLimit(Client, Limit);
        EXPECT_TRUE(Client.Connected());
        for (const auto& [BuffSize, Sizes] : Rows) {
            Client.SetBuffSize(BuffSize);
            for (const std::size_t Size : Sizes) {
                EXPECT_TRUE(Ask("size " + std::to_string(Size)) == Pattern<std::string>(Size))
                    << BuffSize << " " << Size << " " << Limit;
            }
        }
    }
}

// With both kinds of callbacks: what is dropped is followed by a request on a fresh connection.
TEST_F(NamePipes, RequestsThatAreServedAndThoseThatAreDropped) {
    constexpr std::size_t Longest = 70'000;
    const std::pair<std::string, bool> Rows[] = {
        {"x", true},
        {Pattern<std::string>(Longest), true},
        {std::string(Longest + 1, 'x'), false},
        {"raise", false},
        {"other", false},
        {"nothing", false},
    };
    const auto Callback = [](const auto& Request, auto& Answer) {
        const std::string Text(Request.begin(), Request.end());
        Answer = {'h', 'a', 'l', 'f'};
        if (Text == "raise") throw std::runtime_error("no");
        if (Text == "other") throw 1;
        Answer = Request;
        if (Text.empty() || Text == "nothing") Answer.clear();
    };
    for (const bool InBytes : {false, true}) {
        Server.BufferSize = Longest;
        Server.SetMessageCallback(TReceiveMessageCallbackA(Callback));
        if (InBytes) Server.SetMessageCallback(TReceiveMessageCallbackB(Callback));
        Start();
        SetLimit(Client, InBytes ? 60'000 : 0);
        EXPECT_EQ(Ask(""), "") << "an empty request is none";
        for (const auto& [Request, Served] : Rows) {
            if (Served) {
                TBytes Answer;
                Client.Request(TBytes(Request.begin(), Request.end()), Answer);
                EXPECT_EQ(std::string(Answer.begin(), Answer.end()), Request);
                EXPECT_EQ(Ask(Request), Request);
            } else {
                EXPECT_THAT(Failure(Request), HasSubstr("Transact pipe (" + Path() + ") error: "));
                Connect(Client);
            }
        }
        Server.StopListen();
        EXPECT_THAT(Failure("x"), HasSubstr("Transact pipe ("));
        EXPECT_FALSE(Client.Connected()) << "nobody to connect to";
    }
}

TEST_F(NamePipes, WhyAPipeCannotBeOpened) {
    TBenchServer None(0);
    None.StartListen();
    Server.SetMessageCallback(TReceiveMessageCallbackA());
    Server.StartListen();
    EXPECT_TRUE(Server.Listen);
    const std::pair<std::u16string, const char*> Rows[] = {
        {u"zt-nobody-serves-this", "The system cannot find the file specified(2)."},
        {u"../x", "(123)."},
        {None.PipeName, "(2)."},   // no thread
        {Server.PipeName, "(2)."}, // no callback
    };
    for (const auto& [Name, Text] : Rows) {
        EXPECT_THAT(OpeningFailure(Client, Name),
                    testing::AllOf(HasSubstr("Error connecting the pipe '\\\\.\\pipe\\"), HasSubstr(Text)));
        EXPECT_FALSE(Client.Connected());
    }
    EXPECT_THAT(Failure("x"), HasSubstr("error: The handle is invalid (6)."));
    Server.StopListen();
    EXPECT_FALSE(Server.Listen);
}

TEST_F(NamePipes, ABusyPipeIsWaitedForOnce) {
    Server.MaxClients = 1;
    Start();
    TNamedPipeClient Second;
    Second.Timeout = 20;
    EXPECT_EQ(OpeningFailure(Second, Server.PipeName),
              "Timeout waiting the pipe '" + Path() + "' to connect.");
    EXPECT_FALSE(Second.Connected());
    Second.Timeout = 60'000;
    auto Waiting = std::async(std::launch::async, [&] { Connect(Second); });
    Client.Close();
    Waiting.get();
    EXPECT_EQ(AnswerOf(Second, "now"), "now");
}

TEST_F(NamePipes, ALateAnswerIsATimeOutAndNobodyElsesAnswer) {
    std::promise<void> Late;
    Server.SetMessageCallback(
        [Wait = Late.get_future().share()](const std::string& Request, std::string& Answer) {
            if (Request == "late") Wait.wait();
            Answer = Request;
        });
    Start();
    SetLimit(Client, 30);
    EXPECT_EQ(Failure("late"), "Transact pipe (" + Path() + ") timeout (30 ms).");
    SetLimit(Client, 60'000);
    Connect(Client);
    Late.set_value();
    for (const char* const Request : {"a", "b", "c"}) EXPECT_EQ(Ask(Request), Request);
}

TEST_F(NamePipes, StoppingWaitsForACallbackThatRuns) {
    std::promise<void> Begun, Go;
    std::atomic<bool> Returned = false;
    Server.SetMessageCallback(
        [&, Wait = Go.get_future().share()](const std::string& Request, std::string& Answer) {
            Begun.set_value();
            Wait.wait();
            Answer = Request;
            Returned = true;
        });
    Start();
    auto Asking = std::async(std::launch::async, [this] { return Failure("x"); });
    Begun.get_future().wait();
    auto Stopping = std::async(std::launch::async, [&] {
        Server.StopListen();
        return Returned.load();
    });
    Go.set_value();
    EXPECT_TRUE(Stopping.get());
    // Written before the thread looked at its end, or not: no third outcome, and nobody hangs.
    EXPECT_THAT(Asking.get(), testing::AnyOf("nothing raised", HasSubstr("Transact pipe (")));
}

// Eight clients take turns at four instances, a thousand connections in all. Then the server stops under
// them.
TEST_F(NamePipes, MoreClientsThanInstancesComeAndGoUntilTheServerStops) {
    Server.MaxClients = 4;
    Start();
    Client.Close();
    std::atomic<int> Connects = 0;
    std::atomic<bool> Same = true;
    std::vector<std::future<void>> Clients;
    for (unsigned Seed = 0; Seed < 8; ++Seed) {
        Clients.push_back(std::async(std::launch::async, [&, Seed] {
            TNamedPipeClient Own;
            Own.PipeName = Server.PipeName;
            const auto Request = Pattern<std::string>(3000, Seed);
            while (Same && Server.Listen) {
                Own.SetAnswerWaitTimeout(Connects % 2 == 0 ? 0 : 60'000);
                // A server that has stopped breaks whatever goes on.
                static_cast<void>(Raised<ENamedPipeClientException>([&] {
                    Own.Establish();
                    ++Connects;
                    for (int Count = 0; Count < 3 && Same; ++Count)
                        if (AnswerOf(Own, Request) != Request) Same = false;
                    return 0;
                }));
                Own.Close();
            }
        }));
    }
    std::size_t Before = 0;
    for (int Last = 0; Last < 1000 && Same; Last = Connects) {
        if (Before == 0 && Last > 50) Before = OpenHandles();
        std::this_thread::yield();
    }
    EXPECT_LE(OpenHandles(), Before + 64) << "at any moment each client may have some open";
    EXPECT_EQ(RegisteredThreads(), std::vector<std::u16string>(4, u"NamedPipeServerThread"));
    Server.StopListen();
    for (auto& Each : Clients) Each.get();
    EXPECT_TRUE(Same);
    EXPECT_TRUE(RegisteredThreads().empty());
}

} // namespace

} // namespace zutools::tests
