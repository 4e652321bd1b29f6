// Round trips over a pipe against a floor and a peer, all in one run, in interleaved rounds.
//
//   floor   a bare Unix stream socket, a length in front of each message, a thread a connection, blocking
//   calls peer    ZeroMQ REQ/REP over ipc, a REP socket a thread behind a proxy (one client: without the
//   proxy) limited the pipe's client with an answer time-out, whose every answer is waited for with a clock
//
// Prints the round trips a second, p50 and p99, and the median over the rounds of the ratio to the floor's.
//
//   Namepipe_bench [SECONDS [BYTES]]   how long one measurement takes, 0.3 when not given; answers of one
//   size only

#include "pipes/Namepipe.h"
#include "platform/UniqueId.h"

#include <zmq.h>

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <thread>
#include <vector>

namespace {

using namespace zutools;
using TSteady = std::chrono::steady_clock;

/// What every server answers: so many bytes, made the same way by all.
void MakeAnswer(const std::string& Request, std::string& Answer) {
    static const std::string Bytes(1 << 20, 'x');
    Answer.assign(Bytes, 0, std::stoul(Request));
}

[[noreturn]] void Fail(const char* What) {
    std::perror(What);
    std::abort();
}

/// One client of some service. Asks and takes the whole answer.
using TAsk = std::function<void(const std::string& Request, std::string& Answer)>;

class TService {
public:
    virtual ~TService() = default;
    virtual TAsk NewClient() = 0;
};

// ---- the floor

void ReadWhole(int Socket, void* Data, std::size_t Size) {
    if (::recv(Socket, Data, Size, MSG_WAITALL) != static_cast<ssize_t>(Size)) throw 0;
}

void WriteMessage(int Socket, const std::string& Bytes) {
    auto Length = static_cast<std::uint32_t>(Bytes.size());
    std::array<iovec, 2> Parts{iovec{&Length, sizeof Length},
                               iovec{const_cast<char*>(Bytes.data()), Bytes.size()}};
    msghdr Message{};
    Message.msg_iov = Parts.data();
    Message.msg_iovlen = Parts.size();
    std::size_t Left = sizeof Length + Bytes.size();
    while (Left > 0) {
        const ssize_t Sent = ::sendmsg(Socket, &Message, MSG_NOSIGNAL);
        if (Sent <= 0) throw 0;
        Left -= static_cast<std::size_t>(Sent);
        auto Done = static_cast<std::size_t>(Sent);
        for (iovec& Part : Parts) {
            const std::size_t Of = std::min(Done, Part.iov_len);
            Part = {static_cast<char*>(Part.iov_base) + Of, Part.iov_len - Of};
            Done -= Of;
        }
    }
}

/// A small message comes in one call, the rest of a large one goes where it belongs.
void ReadMessage(int Socket, std::string& Bytes) {
    std::uint32_t Length = 0;
    std::array<char, 2048> First;
    std::array<iovec, 2> Parts{iovec{&Length, sizeof Length}, iovec{First.data(), First.size()}};
    msghdr Message{};
    Message.msg_iov = Parts.data();
    Message.msg_iovlen = Parts.size();
    const ssize_t Got = ::recvmsg(Socket, &Message, 0);
    if (Got < static_cast<ssize_t>(sizeof Length)) throw 0;
    const std::size_t Size = static_cast<std::size_t>(Got) - sizeof Length;
    Bytes.resize(Length);
    std::memcpy(Bytes.data(), First.data(), Size);
    if (Size < Length) ReadWhole(Socket, Bytes.data() + Size, Length - Size);
}

class TFloor final : public TService {
public:
    TAsk NewClient() override {
        int Pair[2];
        if (::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, Pair) != 0) Fail("socketpair");
        std::thread([Socket = Pair[1]] {
            try {
                std::string Request, Answer;
                while (true) {
                    ReadMessage(Socket, Request);
                    MakeAnswer(Request, Answer);
                    WriteMessage(Socket, Answer);
                }
            } catch (int) {
                ::close(Socket);
            }
        }).detach();
        const std::shared_ptr<int> Socket(new int(Pair[0]), [](int* Each) {
            ::close(*Each);
            delete Each;
        });
        return [Socket](const std::string& Request, std::string& Answer) {
            WriteMessage(*Socket, Request);
            ReadMessage(*Socket, Answer);
        };
    }
};

// ---- the pipe

class TPipe final : public TService {
public:
    TPipe(std::int32_t BuffSize, std::int32_t Limit)
        : FBuffSize(BuffSize)
        , FLimit(Limit) {
        FServer.PipeName = u"bench-" + platform::NewUniqueId().substr(1, 8);
        FServer.SetMessageCallback(MakeAnswer);
        FServer.StartListen();
    }
    TAsk NewClient() override {
        const auto Client = std::make_shared<TNamedPipeClient>();
        Client->PipeName = FServer.PipeName;
        Client->SetBuffSize(FBuffSize);
        Client->SetAnswerWaitTimeout(FLimit);
        const auto Until = TSteady::now() + std::chrono::seconds(10);
        while (!Client->Connected()) {
            try {
                Client->Establish();
            } catch (const ENamedPipeClientException& Error) {
                if (TSteady::now() > Until) Fail(Error.what());
                std::this_thread::yield(); // the server's threads are starting
            }
        }
        return
            [Client](const std::string& Request, std::string& Answer) { Client->Request(Request, Answer); };
    }

private:
    TNamedPipeServer FServer;
    const std::int32_t FBuffSize;
    const std::int32_t FLimit;
};

// ---- the peer

class TZero final : public TService {
public:
    explicit TZero(int Clients)
        : FContext(zmq_ctx_new())
        , FName("ipc://" +
                (std::filesystem::temp_directory_path() / ("zb-" + std::to_string(::getpid()))).string()) {
        if (Clients == 1) {
            FThreads.emplace_back([this] { Work(FName, true); });
            return;
        }
        for (int Index = 0; Index < Clients; ++Index)
            FThreads.emplace_back([this] { Work("inproc://workers", false); });
        FThreads.emplace_back([this] {
            void* const Front = zmq_socket(FContext, ZMQ_ROUTER);
            void* const Back = zmq_socket(FContext, ZMQ_DEALER);
            if (zmq_bind(Front, FName.c_str()) != 0 || zmq_bind(Back, "inproc://workers") != 0)
                Fail("zmq_bind");
            zmq_proxy(Front, Back, nullptr);
            End(Front);
            End(Back);
        });
    }
    ~TZero() override {
        zmq_ctx_shutdown(FContext);
        for (std::thread& Each : FThreads) Each.join();
        zmq_ctx_term(FContext);
    }
    TAsk NewClient() override {
        const std::shared_ptr<void> Socket(zmq_socket(FContext, ZMQ_REQ), End);
        if (zmq_connect(Socket.get(), FName.c_str()) != 0) Fail("zmq_connect");
        return [Socket](const std::string& Request, std::string& Answer) {
            zmq_send(Socket.get(), Request.data(), Request.size(), 0);
            zmq_msg_t Message;
            zmq_msg_init(&Message);
            if (zmq_msg_recv(&Message, Socket.get(), 0) < 0) Fail("zmq_msg_recv");
            Answer.assign(static_cast<const char*>(zmq_msg_data(&Message)), zmq_msg_size(&Message));
            zmq_msg_close(&Message);
        };
    }

private:
    static void End(void* Socket) {
        const int None = 0;
        zmq_setsockopt(Socket, ZMQ_LINGER, &None, sizeof None);
        zmq_close(Socket);
    }
    void Work(const std::string& Name, bool Bind) {
        void* const Socket = zmq_socket(FContext, ZMQ_REP);
        if ((Bind ? zmq_bind(Socket, Name.c_str()) : zmq_connect(Socket, Name.c_str())) != 0) Fail("zmq");
        std::string Request(64, '\0'), Answer;
        while (true) {
            const int Size = zmq_recv(Socket, Request.data(), 64, 0);
            if (Size < 0) break;
            MakeAnswer(Request.substr(0, static_cast<std::size_t>(Size)), Answer);
            zmq_send(Socket, Answer.data(), Answer.size(), 0);
        }
        End(Socket);
    }

    void* const FContext;
    const std::string FName;
    std::vector<std::thread> FThreads;
};

// ---- measuring

struct TFigures {
    double PerSecond = 0;
    double P50 = 0; // microseconds
    double P99 = 0;
};

TFigures Measure(TService& Service, int Clients, std::size_t Size, std::chrono::duration<double> Time) {
    std::vector<std::vector<float>> Times(static_cast<std::size_t>(Clients));
    std::vector<std::thread> Threads;
    const std::string Request = std::to_string(Size);
    std::atomic<int> Ready = 0;
    std::atomic<bool> Go = false;
    TSteady::time_point Start;
    for (auto& Own : Times) {
        Threads.emplace_back([&, Ask = Service.NewClient()] {
            std::string Answer;
            Own.reserve(1 << 20);
            for (int Warm = 0; Warm < 20; ++Warm) Ask(Request, Answer);
            ++Ready;
            while (!Go) std::this_thread::yield();
            for (auto Now = Start; Now - Start < Time;) {
                Ask(Request, Answer);
                if (Answer.size() != Size) std::abort();
                const auto Then = TSteady::now();
                Own.push_back(std::chrono::duration<float, std::micro>(Then - Now).count());
                Now = Then;
            }
        });
    }
    while (Ready < Clients) std::this_thread::yield();
    Start = TSteady::now();
    Go = true;
    for (std::thread& Each : Threads) Each.join();
    std::vector<float> All;
    for (const auto& Own : Times) All.insert(All.end(), Own.begin(), Own.end());
    std::sort(All.begin(), All.end());
    return {static_cast<double>(All.size()) / Time.count(), All[All.size() / 2], All[All.size() * 99 / 100]};
}

double Median(std::vector<double> Values) {
    std::sort(Values.begin(), Values.end());
    return Values[Values.size() / 2];
}

struct TSeries {
    std::vector<double> PerSecond, P50, P99, Ratio, TailRatio;
};

void Row(const char* Name, const TSeries& Series) {
    std::printf("  %-12s %10.0f /s   p50 %8.1f us   p99 %8.1f us   ratio %5.2f   p99 ratio %5.2f\n", Name,
                Median(Series.PerSecond), Median(Series.P50), Median(Series.P99), Median(Series.Ratio),
                Median(Series.TailRatio));
}

} // namespace

int main(int argc, char** argv) {
    const std::chrono::duration<double> Time(argc > 1 ? std::atof(argv[1]) : 0.3);
    constexpr int Rounds = 7;
    constexpr std::size_t MiB = 1 << 20;
    const auto Folder =
        std::filesystem::temp_directory_path() / ("zutools-bench-" + std::to_string(::getpid()));
    std::filesystem::create_directory(Folder);
    std::filesystem::permissions(Folder, std::filesystem::perms::owner_all);
    ::setenv("XDG_RUNTIME_DIR", Folder.c_str(), 1);
    for (const int Clients : {1, 5}) {
        for (const std::size_t Size : {std::size_t{16}, std::size_t{1024}, MiB}) {
            if (argc > 2 && Size != static_cast<std::size_t>(std::atol(argv[2]))) continue;
            const std::int32_t Buffer = Size == MiB ? 1 << 20 : 2048;
            std::vector<std::pair<const char*, std::unique_ptr<TService>>> Services;
            Services.emplace_back("floor", std::make_unique<TFloor>());
            Services.emplace_back("pipe", std::make_unique<TPipe>(Buffer, 0));
            Services.emplace_back("limited", std::make_unique<TPipe>(Buffer, 60'000));
            if (Size == MiB) Services.emplace_back("BuffSize 1024", std::make_unique<TPipe>(1024, 0));
            Services.emplace_back("ZeroMQ", std::make_unique<TZero>(Clients));
            std::map<std::string, TSeries> Table;
            for (int Round = 0; Round < Rounds; ++Round) {
                TFigures Floor;
                for (const auto& [Name, Service] : Services) {
                    const TFigures Each = Measure(*Service, Clients, Size, Time);
                    if (Service == Services.front().second) Floor = Each;
                    TSeries& Series = Table[Name];
                    Series.PerSecond.push_back(Each.PerSecond);
                    Series.P50.push_back(Each.P50);
                    Series.P99.push_back(Each.P99);
                    Series.Ratio.push_back(Each.PerSecond / Floor.PerSecond);
                    Series.TailRatio.push_back(Each.P99 / Floor.P99);
                }
            }
            std::printf("%d client%s, answers of %zu bytes\n", Clients, Clients == 1 ? "" : "s", Size);
            for (const auto& [Name, Service] : Services) Row(Name, Table[Name]);
            std::fflush(stdout);
        }
    }
    std::filesystem::remove_all(Folder);
    return 0;
}
