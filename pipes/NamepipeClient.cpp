#include "host/Format.h"
#include "pipes/Namepipe.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <span>

namespace zutools {

namespace {

using platform::TPipeCode;
using platform::TPipeHandle;
using platform::TPipeResult;
using platform::TPipeWake;

constexpr std::u16string_view ConnectingError = u"Error connecting the pipe '%s'. %s(%d).";
constexpr std::u16string_view ConfiguringError = u"Error configuring the pipe '%s'. %s(%d).";
constexpr std::u16string_view WaitingError = u"Timeout waiting the pipe '%s' to connect.";
constexpr std::u16string_view TotalTimeout = u"Total pipe (%s) timeout: (%d ms).";
constexpr std::u16string_view TransactTimeout = u"Transact pipe (%s) timeout (%d ms).";
constexpr std::u16string_view ReadTimeout =
    u"Transact pipe (%s) timeout (%d ms).\r\nRead %d bytes from %d.\r\nExpected remaining time: %d ms.";
constexpr std::u16string_view CancelError =
    u"Canceling transact error: %s (%d).\r\nConnected to: %s\r\nAnswer wait timeout: %d ms";
constexpr std::u16string_view TransactError = u"Transact pipe (%s) error: %s (%d).";
constexpr std::u16string_view ReadError = u"Reading from pipe (%s) error: %s (%d).\r\nRead %d bytes from %d.";

constexpr std::size_t HeadSize = 8; // of an answer

[[noreturn]] void Fail(std::u16string_view Pattern, std::initializer_list<TFormatArg> Args) {
    throw ENamedPipeClientException(Format(Pattern, Args));
}

int Number(TPipeCode Code) {
    return static_cast<int>(Code);
}

/// Nearest integer; what no integer tells (a rate of 0) is told as 0.
std::int64_t Round(double Value) {
    constexpr double Most = 9e15;
    return std::isfinite(Value) ? static_cast<std::int64_t>(std::nearbyint(std::clamp(Value, -Most, Most)))
                                : 0;
}

std::int32_t WordAt(std::span<const std::byte> Bytes, std::size_t Offset) {
    std::uint32_t Value = 0;
    for (std::size_t Index = 4; Index-- > 0;) {
        Value = Value << 8U | std::to_integer<std::uint32_t>(Bytes[Offset + Index]);
    }
    return static_cast<std::int32_t>(Value);
}

template <class TData>
PBytes GrowData(void* DataPtr, std::int32_t BySize) {
    TData& Data = *static_cast<TData*>(DataPtr);
    const std::size_t OldLength = Data.size();
    Data.resize(OldLength + static_cast<std::size_t>(std::int64_t{BySize}));
    return reinterpret_cast<PBytes>(Data.data()) + OldLength;
}

} // namespace

/// One request and its answer under way.
struct TNamedPipeClient::TExchange {
    /// Makes room for so many more bytes at the end of the answer.
    std::span<std::byte> Add(std::int64_t Size) {
        Room += Size;
        return {reinterpret_cast<std::byte*>(Grow(Answer, static_cast<std::int32_t>(Size))),
                static_cast<std::size_t>(Size)};
    }
    /// So many bytes came into the room; the rest of it goes.
    void Keep(std::size_t Bytes) {
        Received += static_cast<std::int64_t>(Bytes);
        Shown.store(Received, std::memory_order_relaxed);
        if (Room > Received) static_cast<void>(Grow(Answer, static_cast<std::int32_t>(Received - Room)));
        Room = Received;
    }

    void* Answer;
    TGrowDataFunc Grow;
    std::atomic<std::int64_t>& Shown; // Received, for other threads
    std::int64_t Start = 0;           // counter at the beginning; 0 without a limit
    std::int64_t TransactTime = 0;    // microseconds
    std::int64_t LoopTime = 0;        // microseconds of the reads after the transaction
    std::int64_t Received = 0;        // bytes of the payload
    std::int64_t Room = 0;            // bytes of the answer; more than Received while a read goes on
    std::int64_t Expected = 0;        // bytes of the payload, as its head tells
    bool Reading = false;             // past the transaction
    bool Done = false;
};

TNamedPipeClient::TNamedPipeClient(platform::TMessagePipes& Pipes)
    : FPipes(Pipes)
    , FFrequency(Pipes.CounterFrequency()) {}

TNamedPipeClient::~TNamedPipeClient() {
    TNamedPipeClient::Close();
}

void TNamedPipeClient::SetAnswerWaitTimeout(std::int32_t Value) {
    FAnswerWaitTimeout = Value;
    const bool WasConnected = Connected();
    Close();
    if (WasConnected) Establish();
}

void TNamedPipeClient::Establish() {
    Close();
    const bool Limited = FAnswerWaitTimeout > 0;
    if (Limited) FOverlapped = FPipes.NewOperation();
    const bool Remote = !ComputerName.empty();
    FileName = u"\\\\" + (Remote ? ComputerName : u".") + u"\\pipe\\" + PipeName;

    TPipeCode Code = TPipeCode::Success;
    HPipe = FPipes.Open(FileName, Limited, Code);
    if (HPipe == TPipeHandle::Invalid) {
        HPipe = TPipeHandle::None;
        if (Code != TPipeCode::PipeBusy) {
            Fail(ConnectingError, {FileName, platform::PipeErrorText(Code), Number(Code)});
        }
        if (FPipes.Wait(FileName, static_cast<std::uint32_t>(Timeout)) != TPipeCode::Success) {
            Fail(WaitingError, {FileName});
        }
        // Kept on purpose: the second try is not looked at, so its failure is told as one of configuring.
        HPipe = FPipes.Open(FileName, Limited, Code);
    }
    // Kept on purpose: the pipe does not wait, although its calls are overlapped.
    Code = FPipes.SetState(HPipe, Limited, Remote ? &Timeout : nullptr);
    if (Code != TPipeCode::Success) {
        FPipes.Close(HPipe, nullptr);
        HPipe = TPipeHandle::None;
        Fail(ConfiguringError, {FileName, platform::PipeErrorText(Code), Number(Code)});
    }
}

void TNamedPipeClient::Close() {
    FPipes.Close(HPipe, FOverlapped.get());
    HPipe = TPipeHandle::None;
    FOverlapped.reset();
}

bool TNamedPipeClient::Connected() const {
    return HPipe != TPipeHandle::None && HPipe != TPipeHandle::Invalid;
}

void TNamedPipeClient::Request(const std::string& RequestMsg, std::string& AnswerMsg) {
    AnswerMsg.clear();
    if (RequestMsg.empty()) return;
    ProcessRequest(RequestMsg.data(), &AnswerMsg, static_cast<std::int32_t>(RequestMsg.size()),
                   GrowData<std::string>);
}

void TNamedPipeClient::Request(const TBytes& RequestMsg, TBytes& AnswerMsg) {
    AnswerMsg.clear();
    if (RequestMsg.empty()) return;
    ProcessRequest(RequestMsg.data(), &AnswerMsg, static_cast<std::int32_t>(RequestMsg.size()),
                   GrowData<TBytes>);
}

void TNamedPipeClient::ProcessRequest(const void* Request, void* Answer, std::int32_t RequestLength,
                                      TGrowDataFunc Grow) {
    // The head of the answer tells where the rest should go, so only the first bytes come into a buffer;
    // everything else is read into the answer itself.
    std::array<std::byte, 4096> Buffer;
    TExchange Exchange{Answer, Grow, FReceived};
    FReceived.store(0, std::memory_order_relaxed);
    try {
        const std::size_t Size = static_cast<std::size_t>(std::max(FBuffSize, 0));
        Transact(Exchange, {static_cast<const std::byte*>(Request), static_cast<std::size_t>(RequestLength)},
                 std::span(Buffer).first(std::clamp(Size, HeadSize + 1, Buffer.size())));
        while (!Exchange.Done) ReadOn(Exchange);
    } catch (...) {
        // The next request starts on a fresh connection, and never reads the rest of this answer.
        try {
            Close();
            Exchange.Keep(0);
            Establish();
        } catch (...) {
            // What went wrong first is what the caller is told.
        }
        throw;
    }
}

void TNamedPipeClient::Transact(TExchange& Exchange, std::span<const std::byte> Request,
                                std::span<std::byte> Buffer) {
    if (FAnswerWaitTimeout > 0) {
        Exchange.Start = Now();
        if (FOverlapped != nullptr) FOverlapped->Reset();
    }
    const std::int64_t OperationStart = Now();
    TPipeResult Result = FPipes.Transact(HPipe, Request, Buffer, FOverlapped.get());
    if (Result.Code == TPipeCode::IoPending) {
        Result = AwaitOperation(Exchange);
    } else if (!Result.Done() && Result.Code != TPipeCode::MoreData) {
        Fail(TransactError, {FileName, platform::PipeErrorText(Result.Code), Number(Result.Code)});
    }
    if (Result.Bytes > HeadSize) {
        Exchange.Expected = WordAt(Buffer, 4) != 0 ? WordAt(Buffer, 4) : WordAt(Buffer, 0);
        const auto Payload = Buffer.subspan(HeadSize, Result.Bytes - HeadSize);
        std::copy(Payload.begin(), Payload.end(),
                  Exchange.Add(static_cast<std::int64_t>(Payload.size())).begin());
        Exchange.Keep(Payload.size());
    }
    Exchange.Done = Result.Done();
    if (Exchange.Done) return;
    Exchange.TransactTime = ElapsedMicroseconds(OperationStart);
    if (Result.Code != TPipeCode::MoreData) {
        Fail(TransactError, {FileName, platform::PipeErrorText(Result.Code), Number(Result.Code)});
    }
    Exchange.Reading = true;
}

/// One read of the rest of the answer.
void TNamedPipeClient::ReadOn(TExchange& Exchange) {
    if (FOverlapped != nullptr) FOverlapped->Reset();
    const std::int64_t OperationStart = Now();
    // What the head tells saves room that would be filled in vain; it is not believed any further.
    const std::int64_t Left = Exchange.Expected - Exchange.Received;
    // Pieces that stay in the processor's caches between being made room for and being filled.
    constexpr std::int64_t MostAtOnce = 131'072;
    const std::int64_t Size = std::clamp<std::int64_t>(FBuffSize, 1, MostAtOnce);
    const auto Buffer = Exchange.Add(Left > 0 ? std::min(Left, Size) : Size);
    TPipeResult Result = FPipes.Read(HPipe, Buffer, FOverlapped.get());
    if (Result.Code == TPipeCode::IoPending) Result = AwaitOperation(Exchange);
    if (!Result.Done() && Result.Code != TPipeCode::MoreData) {
        Fail(ReadError, {FileName, platform::PipeErrorText(Result.Code), Number(Result.Code),
                         Exchange.Received, Exchange.Expected});
    }
    Exchange.Keep(Result.Bytes);
    Exchange.Done = Result.Done();
    if (!Exchange.Done) Exchange.LoopTime += ElapsedMicroseconds(OperationStart);
}

/// The end of an operation that is going on, within what is left of the exchange's time.
TPipeResult TNamedPipeClient::AwaitOperation(const TExchange& Exchange) {
    const std::int64_t Elapsed = Round(static_cast<double>(ElapsedMicroseconds(Exchange.Start)) / 1000.0);
    // Kept on purpose: unsigned, so that only a rest of exactly 0 is a time-out here; after an overrun it
    // wraps, and the wait is practically without end.
    const std::uint32_t Remaining =
        static_cast<std::uint32_t>(FAnswerWaitTimeout) - static_cast<std::uint32_t>(Elapsed);
    if (Remaining == 0) Fail(TotalTimeout, {FileName, FAnswerWaitTimeout});
    if (FPipes.WaitFor(FOverlapped.get(), nullptr, Remaining) == TPipeWake::TimedOut) FailTimeout(Exchange);
    return FPipes.GetResult(HPipe, *FOverlapped, false);
}

void TNamedPipeClient::FailTimeout(const TExchange& Exchange) {
    if (FPipes.Cancel(HPipe, *FOverlapped) != TPipeCode::Success) {
        // Kept on purpose: the code told is that of the operation going on, not why it cannot be cancelled.
        constexpr TPipeCode Code = TPipeCode::IoPending;
        Fail(CancelError, {platform::PipeErrorText(Code), Number(Code), FileName, FAnswerWaitTimeout});
    }
    if (!Exchange.Reading) Fail(TransactTimeout, {FileName, FAnswerWaitTimeout});
    const auto Received = static_cast<double>(Exchange.Received);
    // Kept on purpose: 8 is taken off on top of the buffer's size.
    const double Rate = FBuffSize < Exchange.Received
                            ? (Received - FBuffSize - 8) / static_cast<double>(Exchange.LoopTime)
                            : Received / static_cast<double>(Exchange.TransactTime);
    const std::int64_t RemainingTime =
        Round((static_cast<double>(Exchange.Expected) - Received) / Rate / 1000.0);
    Fail(ReadTimeout, {FileName, FAnswerWaitTimeout, Exchange.Received, Exchange.Expected, RemainingTime});
}

/// The counter; 0 without a limit, when nobody asks how long things took.
std::int64_t TNamedPipeClient::Now() const {
    return FAnswerWaitTimeout > 0 ? FPipes.Counter() : 0;
}

std::int64_t TNamedPipeClient::ElapsedMicroseconds(std::int64_t Start) const {
    if (Start == 0) return 0;
    constexpr std::uint64_t Million = 1'000'000;
    // Unsigned: a product beyond 64 bits (an operation of days) wraps instead of being undefined.
    const std::uint64_t Product = static_cast<std::uint64_t>(FPipes.Counter() - Start) * Million;
    return static_cast<std::int64_t>(Product) / FFrequency;
}

} // namespace zutools
