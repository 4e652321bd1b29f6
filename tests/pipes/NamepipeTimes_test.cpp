// The client's arithmetic of time and its rarest messages, over pipes whose every result and clock are told.

#include "pipes/Namepipe.h"
#include "platform/MessagePipe.h"
#include "tests/support/Raised.h"

#include <gmock/gmock.h>

#include <deque>

namespace zutools::tests {

namespace {

using namespace platform;

/// What one call does: lets so many milliseconds pass and gives a result.
struct TTold {
    std::int64_t Milliseconds;
    TPipeCode Code;
    std::size_t Bytes = 0;
};

/// Counts 10 ticks a microsecond. The calls of an exchange take their results from `Told` in order.
class TToldPipes final : public TMessagePipes {
public:
    TPipeHandle Open(std::u16string_view, bool Overlapped, TPipeCode& Code) override {
        Log += Overlapped ? "Open,limited " : "Open ";
        Code = TPipeCode::Success;
        if (!Opens.empty()) Code = std::exchange(Opens.front(), TPipeCode::Success);
        if (Opens.size() > 1) Opens.pop_front();
        return Code == TPipeCode::Success ? TPipeHandle{7} : TPipeHandle::Invalid;
    }
    TPipeCode Wait(std::u16string_view, std::uint32_t Milliseconds) override {
        Log += "Wait " + std::to_string(Milliseconds) + " ";
        return WaitCode;
    }
    TPipeCode SetState(TPipeHandle Handle, bool NoWait, const std::int32_t* Collect) override {
        Log += std::string("State") + (NoWait ? ",nowait" : "") + (Collect != nullptr ? ",collect " : " ");
        return Handle == TPipeHandle::Invalid ? TPipeCode::InvalidHandle : TPipeCode::Success;
    }
    TPipeResult Transact(TPipeHandle, std::span<const std::byte>, std::span<std::byte> Answer,
                         TPipeOperation*) override {
        std::fill(Answer.begin(), Answer.end(), std::byte{0});
        Answer[1] = Reserved; // times 256, as the next
        Answer[5] = Length;
        return Next();
    }
    TPipeResult Read(TPipeHandle, std::span<std::byte>, TPipeOperation*) override { return Next(); }
    TPipeResult GetResult(TPipeHandle, TPipeOperation&, bool) override { return Next(); }
    TPipeWake WaitFor(TPipeOperation*, TPipeEvent*, std::uint32_t Milliseconds) override {
        Log += "For " + std::to_string(Milliseconds) + " ";
        return Next().Code == TPipeCode::WaitTimeout ? TPipeWake::TimedOut : TPipeWake::Operation;
    }
    TPipeCode Cancel(TPipeHandle, TPipeOperation&) override { return Next().Code; }
    void Close(TPipeHandle Handle, TPipeOperation*) override {
        if (Handle != TPipeHandle::None) Log += "Close ";
    }
    std::int64_t Counter() const override { return Ticks; }
    std::int64_t CounterFrequency() const override { return 10'000'000; }
    std::unique_ptr<TPipeOperation> NewOperation() override {
        struct TOperation final : TPipeOperation {
            void Reset() override {}
        };
        return std::make_unique<TOperation>();
    }
    // A client asks for nothing of these.
    std::unique_ptr<TPipeEvent> NewEvent() override { return nullptr; }
    TPipeHandle Create(std::u16string_view, const TPipeSettings&, TPipeCode&) override { return {}; }
    std::shared_ptr<void> Hold(TPipeHandle) override { return nullptr; }
    TPipeCode Connect(TPipeHandle, TPipeOperation&) override { return {}; }
    TPipeResult Write(TPipeHandle, std::span<const std::byte>, std::span<const std::byte>,
                      TPipeOperation&) override {
        return {};
    }

    std::deque<TPipeCode> Opens;
    TPipeCode WaitCode = TPipeCode::Success;
    std::deque<TTold> Told;
    std::byte Reserved{0}, Length{40};
    std::string Log;

private:
    TPipeResult Next() {
        const TTold Each = Told.front();
        Told.pop_front();
        Ticks += Each.Milliseconds * 10'000;
        return {Each.Code, Each.Bytes};
    }
    std::int64_t Ticks = 1'000'000;
};

constexpr auto Good = TPipeCode::Success;
constexpr auto More = TPipeCode::MoreData;
constexpr auto Pending = TPipeCode::IoPending;
constexpr auto Late = TPipeCode::WaitTimeout;
constexpr auto Broken = TPipeCode::BrokenPipe;
constexpr auto Invalid = TPipeCode::InvalidHandle;

const std::string Nothing = "nothing raised";
const std::string Total = "Total pipe (\\\\.\\pipe\\p) timeout: (100 ms).";
const std::string Ended = "Transact pipe (\\\\.\\pipe\\p) error: The pipe has been ended (109).";
const std::string Cannot = "Canceling transact error: Overlapped I/O operation is in progress (997).\r\n"
                           "Connected to: \\\\.\\pipe\\p\r\nAnswer wait timeout: 100 ms";
const std::string NoAnswer = "Transact pipe (\\\\.\\pipe\\p) timeout (100 ms).";

std::string ReadOf(const std::string& What) {
    return "Reading from pipe (\\\\.\\pipe\\p) error: The pipe has been ended (109).\r\nRead " + What + ".";
}

std::string LateAfter(const std::string& What, const std::string& Milliseconds) {
    return NoAnswer + "\r\nRead " + What + ".\r\nExpected remaining time: " + Milliseconds + " ms.";
}

// A limit of 100 ms, a buffer of 1024 bytes, a payload of 40 * 256 bytes.
TEST(NamepipeTimes, EveryEndOfAnExchange) {
    const struct {
        const char* Name;
        std::deque<TTold> Told;
        std::string Message = Nothing;
        std::size_t Received = 0; // bytes that stay in the answer
        const char* Log = "";     // what the log must have in it
        std::uint8_t Reserved = 0, Length = 40;
    } Rows[] = {
        {"an immediate answer", {{0, Good, 9}}, Nothing, 1},
        {"an answer of a head only", {{0, Good, 8}}},
        {"an answer that comes", {{0, Pending}, {99, Good}, {0, Good, 20}}, Nothing, 12, "For 100 "},
        {"a whole answer after more", {{0, More, 1024}, {0, More, 1024}, {0, Good, 3}}, Nothing, 2043},
        {"nothing comes",
         {{0, Pending}, {100, Late}, {0, Good}},
         NoAnswer,
         0,
         "Close Open,limited State,nowait "},
        {"the time is over to the millisecond when the call returns", {{100, Pending}}, Total},
        {"Kept on purpose: an overrun wraps and waits practically without end",
         {{101, Pending}, {0, Good}, {0, Good, 9}},
         Nothing,
         1,
         "For 4294967295 "},
        {"it cannot be cancelled", {{0, Pending}, {100, Late}, {0, Invalid}}, Cannot},
        {"the transaction breaks at once", {{0, Broken}}, Ended},
        {"the transaction breaks while it goes on", {{0, Pending}, {1, Good}, {0, Broken}}, Ended},
        {"a read breaks", {{0, More, 1024}, {0, Broken}}, ReadOf("1016 bytes from 10240"), 1016},
        {"the length stands in the reserved word",
         {{0, More, 1024}, {0, Broken}},
         ReadOf("1016 bytes from 2560"),
         1016,
         "",
         10,
         0},
        {"a read breaks while it goes on",
         {{0, More, 1024}, {0, Pending}, {1, Good}, {0, Broken}},
         ReadOf("1016 bytes from 10240"),
         1016},
        // 1016 bytes in 8 ms are 0.127 a microsecond; the other 9224 take 72.6 ms at that rate.
        {"late within the first buffer",
         {{8, More, 1024}, {0, Pending}, {92, Late}, {0, Good}},
         LateAfter("1016 bytes from 10240", "73"),
         1016,
         "For 92 "},
        // 2040 - 1024 - 8 bytes in 4 ms of reading are 0.252 a microsecond; the other 8200 take 32.5 ms.
        {"Kept on purpose: late behind it, 8 is taken off on top of the buffer",
         {{8, More, 1024}, {4, More, 1024}, {0, Pending}, {88, Late}, {0, Good}},
         LateAfter("2040 bytes from 10240", "33"),
         2040,
         "For 88 "},
        {"the rate cannot be told",
         {{0, More, 8}, {0, Pending}, {100, Late}, {0, Good}},
         LateAfter("0 bytes from 0", "0")},
        {"the time is over between two reads", {{8, More, 1024}, {92, Pending}}, Total, 1016},
        {"a read cannot be cancelled",
         {{0, More, 1024}, {0, Pending}, {100, Late}, {0, Invalid}},
         Cannot,
         1016},
    };
    for (const auto& Row : Rows) {
        TToldPipes Pipes;
        TNamedPipeClient Client(Pipes);
        Client.PipeName = u"p";
        Client.SetAnswerWaitTimeout(100);
        Client.Establish();
        Pipes.Told = Row.Told;
        Pipes.Reserved = std::byte{Row.Reserved};
        Pipes.Length = std::byte{Row.Length};
        std::string Answer = "old";
        EXPECT_EQ(Raised<ENamedPipeClientException>([&] { return Client.Request("r", Answer), 0; }),
                  Row.Message)
            << Row.Name;
        EXPECT_EQ(Answer.size(), Row.Received) << Row.Name;
        EXPECT_EQ(Client.Received(), static_cast<std::int64_t>(Row.Received)) << Row.Name;
        EXPECT_TRUE(Pipes.Told.empty()) << Row.Name;
        EXPECT_THAT(Pipes.Log, testing::HasSubstr(Row.Log)) << Row.Name;
        EXPECT_TRUE(Client.Connected()) << Row.Name;
    }
}

TEST(NamepipeTimes, OpeningAndWaiting) {
    constexpr auto Busy = TPipeCode::PipeBusy;
    constexpr auto Gone = TPipeCode::NoSuchPipe;
    const struct {
        const char* Name;
        std::deque<TPipeCode> Opens;
        TPipeCode WaitCode;
        std::u16string Computer;
        std::int32_t Limit;
        std::string Message;
        const char* Log;
    } Rows[] = {
        {"blocking", {}, Good, u"", 0, Nothing, "Open State "},
        {"limited, remote", {}, Good, u"srv", 5, Nothing, "Open,limited State,nowait,collect "},
        {"absent",
         {Gone},
         Good,
         u"srv",
         0,
         "Error connecting the pipe '\\\\srv\\pipe\\p'. The system cannot find the file specified(2).",
         "Open "},
        {"busy, then free", {Busy}, Good, u"", 0, Nothing, "Open Wait 10000 Open State "},
        {"busy for too long",
         {Busy},
         Late,
         u"",
         0,
         "Timeout waiting the pipe '\\\\.\\pipe\\p' to connect.",
         "Open Wait 10000 "},
        {"Kept on purpose: a second failure is told as one of configuring",
         {Busy, Busy},
         Good,
         u"",
         0,
         "Error configuring the pipe '\\\\.\\pipe\\p'. The handle is invalid(6).",
         "Open Wait 10000 Open State Close "},
    };
    for (const auto& Row : Rows) {
        TToldPipes Pipes;
        Pipes.Opens = Row.Opens;
        Pipes.WaitCode = Row.WaitCode;
        TNamedPipeClient Client(Pipes);
        Client.PipeName = u"p";
        Client.ComputerName = Row.Computer;
        Client.SetAnswerWaitTimeout(Row.Limit);
        EXPECT_EQ(Raised<ENamedPipeClientException>([&] { return Client.Establish(), 0; }), Row.Message)
            << Row.Name;
        EXPECT_EQ(Pipes.Log, Row.Log) << Row.Name;
        EXPECT_EQ(Client.Connected(), Row.Message == Nothing) << Row.Name;
    }
}

} // namespace

} // namespace zutools::tests
