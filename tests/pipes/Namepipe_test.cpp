// What client and server do with each other, over the pipes of this system and over pipes in memory.

#include "tests/pipes/MemoryPipes.h"
#include "tests/pipes/PipeBench.h"
#include "tests/support/Raised.h"

#include <gmock/gmock.h>

#include <atomic>
#include <future>

namespace zutools::tests {

namespace {

using platform::TMessagePipes;
using testing::HasSubstr;

class NamePipes : public testing::TestWithParam<bool> {
protected:
    static void SetUpTestSuite() { UseOwnPipeFolder(); }

    void Start() {
        Server.StartListen();
        Client.PipeName = Server.PipeName;
        Connect(Client);
    }
    std::string Ask(const std::string& Request) {
        std::string Answer;
        Client.Request(Request, Answer);
        return Answer;
    }
    std::string Failure(const std::string& Request) {
        return Raised<ENamedPipeClientException>([&] { return Ask(Request); });
    }

    /// Time of somebody who waits that long: passed by hand in memory.
    [[nodiscard]] std::future<void> Passing(std::uint32_t Milliseconds) {
        return std::async(std::launch::async, [this, Milliseconds] {
            if (InMemory) Memory.Pass(Milliseconds);
        });
    }

    const bool InMemory = GetParam();
    TMemoryPipes Memory;
    TMessagePipes& Pipes = InMemory ? static_cast<TMessagePipes&>(Memory) : platform::SystemPipes();
    TBenchServer Server{2, Pipes};
    TNamedPipeClient Client{Pipes};
};

INSTANTIATE_TEST_SUITE_P(Pipes, NamePipes, testing::Bool(),
                         [](const auto& Each) { return std::string(Each.param ? "memory" : "system"); });

std::string InUtf8(const std::u16string& Ascii) {
    return {Ascii.begin(), Ascii.end()};
}

TEST_P(NamePipes, AnswersOfEverySizeAreWhole) {
    Client.SetAnswerWaitTimeout(1000);
    EXPECT_FALSE(Client.Connected()) << "a limit opens nothing";
    Start();
    constexpr std::int32_t MiB = 1 << 20;
    const struct {
        std::int32_t BuffSize;
        std::vector<std::size_t> Sizes;
    } Rows[] = {
        {1, {1, 2, 9}},
        {9, {1, 8, 9, 30}},
        {1024, {1, 1015, 1016, 1017, 1024, 2039, 2040, 2041, 100'000, MiB}},
        {MiB, {16, MiB - 9, MiB - 8, MiB - 7, 3 * MiB, 64 * MiB}},
    };
    for (const std::int32_t Limit : {-1, 60'000}) {
        SetLimit(Client, Limit);
        EXPECT_TRUE(Client.Connected());
        for (const auto& Row : Rows) {
            Client.SetBuffSize(Row.BuffSize);
            for (const std::size_t Size : Row.Sizes) {
                EXPECT_TRUE(Ask("size " + std::to_string(Size)) == Pattern<std::string>(Size))
                    << Row.BuffSize << " " << Size << " " << Limit;
            }
        }
    }
}

TEST_P(NamePipes, RequestsUpToTheBufferSizeOfTheServer) {
    Server.BufferSize = 70'000;
    std::atomic<int> Calls = 0;
    Server.SetMessageCallback([&Calls](const TBytes& Request, TBytes& Answer) {
        ++Calls;
        Answer = Request;
    });
    Start();
    TBytes Answer{1};
    Client.Request(TBytes(), Answer);
    EXPECT_TRUE(Answer.empty());
    EXPECT_EQ(Calls, 0) << "an empty request is none";
    const auto Longest = Pattern<TBytes>(70'000);
    Client.Request(Longest, Answer);
    EXPECT_EQ(Answer, Longest);
    for (const std::int32_t Limit : {0, 60'000}) {
        SetLimit(Client, Limit);
        EXPECT_THAT(Failure(std::string(70'001, 'x')),
                    HasSubstr("Transact pipe (" + InUtf8(Client.FileName)));
        Connect(Client);
        Client.Request(Longest, Answer);
        EXPECT_EQ(Answer, Longest);
    }
    EXPECT_EQ(Calls, 3);
}

TEST_P(NamePipes, NoAnswerDropsTheConnectionAndTheNextRequestIsServed) {
    Server.SetMessageCallback([](const std::string& Request, std::string& Answer) {
        Answer = "half";
        if (Request == "raise") throw std::runtime_error("no");
        if (Request == "other") throw 1;
        Answer = Request == "nothing" ? "" : Request;
    });
    Start();
    for (const char* const Request : {"raise", "other", "nothing"}) {
        EXPECT_THAT(Failure(Request), HasSubstr("error: ")) << Request;
        Connect(Client);
        EXPECT_EQ(Ask("next"), "next");
    }
}

TEST_P(NamePipes, WhyAPipeCannotBeOpened) {
    struct {
        const char* Name;
        std::u16string Pipe;
        const char* Text;
    } const Rows[] = {
        {"nobody", u"zt-nobody-serves-this", "The system cannot find the file specified(2)."},
        {"no name", u"../x", "(123)."},
    };
    for (const auto& Row : Rows) {
        Client.PipeName = Row.Pipe;
        ExpectRaised<ENamedPipeClientException>([&] { return Client.Establish(), 0; },
                                                {"Error connecting the pipe '\\\\.\\pipe\\", Row.Text});
        EXPECT_FALSE(Client.Connected()) << Row.Name;
    }
    EXPECT_THAT(Failure("x"), HasSubstr("error: The handle is invalid (6)."));
}

TEST_P(NamePipes, ServersWithoutThreadsOrCallbackHaveNoInstance) {
    Server.SetMessageCallback(TReceiveMessageCallbackA());
    Server.StartListen();
    EXPECT_TRUE(Server.Listen);
    Client.PipeName = Server.PipeName;
    ExpectRaised<ENamedPipeClientException>([&] { return Client.Establish(), 0; }, {"(2)."});
    Server.StopListen();
    EXPECT_FALSE(Server.Listen);
    TBenchServer None(0, Pipes);
    None.StartListen();
    Client.PipeName = None.PipeName;
    ExpectRaised<ENamedPipeClientException>([&] { return Client.Establish(), 0; }, {"(2)."});
}

TEST_P(NamePipes, ABusyPipeIsWaitedForOnce) {
    Server.MaxClients = 1;
    Start();
    TNamedPipeClient Second(Pipes);
    Second.PipeName = Server.PipeName;
    Second.Timeout = 20;
    const auto Waited = Passing(20);
    EXPECT_EQ(Raised<ENamedPipeClientException>([&] { return Second.Establish(), 0; }),
              "Timeout waiting the pipe '" + InUtf8(Client.FileName) + "' to connect.");
    EXPECT_FALSE(Second.Connected());
    Second.Timeout = 60'000;
    auto Waiting = std::async(std::launch::async, [&] { Connect(Second); });
    Client.Close();
    Waiting.get();
    std::string Answer;
    Second.Request("now", Answer);
    EXPECT_EQ(Answer, "now");
}

TEST_P(NamePipes, ALateAnswerIsATimeOutAndNobodyElsesAnswer) {
    std::promise<void> Late;
    Server.SetMessageCallback(
        [Wait = Late.get_future().share()](const std::string& Request, std::string& Answer) {
            if (Request == "late") Wait.wait();
            Answer = Request;
        });
    Start();
    SetLimit(Client, 30);
    const auto Waited = Passing(30);
    EXPECT_EQ(Failure("late"), "Transact pipe (" + InUtf8(Client.FileName) + ") timeout (30 ms).");
    SetLimit(Client, 60'000);
    Connect(Client);
    Late.set_value();
    for (const char* const Request : {"a", "b", "c"}) EXPECT_EQ(Ask(Request), Request);
}

TEST_P(NamePipes, StoppingEndsIdleConnections) {
    Start();
    Server.StopListen();
    EXPECT_THAT(Failure("x"), HasSubstr("Transact pipe ("));
    EXPECT_FALSE(Client.Connected()) << "nobody to connect to";
    Server.StartListen();
    Connect(Client);
    EXPECT_EQ(Ask("again"), "again");
}

TEST_P(NamePipes, StoppingWaitsForACallbackThatRuns) {
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

TEST_P(NamePipes, StoppingUnderLoad) {
    Server.MaxClients = 4;
    Start();
    Client.Close();
    std::atomic<int> Ready = 0, Answered = 0;
    std::vector<std::future<bool>> Clients;
    for (unsigned Seed = 0; Seed < 4; ++Seed) {
        Clients.push_back(std::async(std::launch::async, [&, Seed] {
            TNamedPipeClient Own(Pipes);
            Own.PipeName = Server.PipeName;
            Own.SetAnswerWaitTimeout(Seed % 2 == 0 ? 0 : 60'000);
            Connect(Own);
            ++Ready;
            const auto Request = Pattern<std::string>(3000, Seed);
            std::string Answer;
            try {
                while (true) {
                    Own.Request(Request, Answer);
                    if (Answer != Request) return false;
                    ++Answered;
                }
            } catch (const ENamedPipeClientException&) {
                return true; // the server has stopped
            }
        }));
    }
    while (Ready < 4 || Answered < 200) std::this_thread::yield();
    Server.StopListen();
    for (auto& Each : Clients) EXPECT_TRUE(Each.get());
    EXPECT_TRUE(RegisteredThreads().empty());
}

TEST_P(NamePipes, AThousandConnectsLeaveNothingBehind) {
    Start();
    Client.Close();
    std::size_t Before = 0;
    for (int Count = 0; Count < 1000; ++Count) {
        Client.SetAnswerWaitTimeout(Count % 2 == 0 ? 0 : 60'000);
        Connect(Client);
        EXPECT_EQ(Ask("x"), "x");
        if (Count == 10) Before = OpenHandles();
        Client.Close();
    }
    EXPECT_LE(OpenHandles(), Before + 4);
    EXPECT_EQ(RegisteredThreads(), std::vector<std::u16string>(2, u"NamedPipeServerThread"));
}

TEST_P(NamePipes, MoreClientsThanInstancesAllGetTheirTurn) {
    Server.MaxClients = 2;
    Server.StartListen();
    std::vector<std::future<int>> Clients;
    for (unsigned Seed = 0; Seed < 8; ++Seed) {
        Clients.push_back(std::async(std::launch::async, [&, Seed] {
            int Good = 0;
            while (Good < 20) {
                TNamedPipeClient Own(Pipes);
                Own.PipeName = Server.PipeName;
                Connect(Own);
                const auto Request = Pattern<std::string>(100 + Seed, Seed);
                std::string Answer;
                Own.Request(Request, Answer);
                if (Answer != Request) break;
                ++Good;
            }
            return Good;
        }));
    }
    for (auto& Each : Clients) EXPECT_EQ(Each.get(), 20);
}

} // namespace

} // namespace zutools::tests
