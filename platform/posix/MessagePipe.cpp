#include "platform/MessagePipe.h"

#include "platform/File.h"
#include "platform/PipeFrames.h"
#include "platform/Text.h"
#include "platform/posix/PipeListener.h"
#include "platform/posix/SpinWait.h"

#include <poll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <limits>
#include <utility>

namespace zutools::platform {

namespace {

using TSteady = std::chrono::steady_clock;
using TTime = TSteady::time_point;

/// One end of a connection, or an instance that has none yet.
struct TEnd {
    TDescriptor Socket;
    TFrameReader Reader;
    TFrameWriter Writer;
    TSpinWait Spin;
    // Of a server's end.
    std::shared_ptr<TPipeListener> Listener;
    std::unique_ptr<TPipeListener::TPlace> Place;
};

TEnd* EndOf(TPipeHandle Handle) {
    if (Handle == TPipeHandle::None || Handle == TPipeHandle::Invalid) return nullptr;
    return reinterpret_cast<TEnd*>(static_cast<std::uintptr_t>(Handle));
}

TPipeHandle HandleOf(std::unique_ptr<TEnd> End) {
    return static_cast<TPipeHandle>(reinterpret_cast<std::uintptr_t>(End.release()));
}

class TEventFd final : public TPipeEvent {
public:
    TEventFd()
        : FDescriptor(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {
        if (!FDescriptor.IsOpen()) throw TSystemError(u"Cannot make", u"an event", errno);
    }
    void Set() override {
        const std::uint64_t One = 1;
        static_cast<void>(!::write(FDescriptor.Number(), &One, sizeof One));
    }
    /// True when it was set.
    bool TakeBack() const {
        std::uint64_t Count = 0;
        return ::read(FDescriptor.Number(), &Count, sizeof Count) == sizeof Count;
    }
    [[nodiscard]] int Number() const { return FDescriptor.Number(); }

private:
    const TDescriptor FDescriptor;
};

/// What goes on after its call returned: WaitFor moves it on whenever the socket lets it.
class TOperation final : public TPipeOperation {
public:
    enum class TStep : std::uint8_t { None, Connecting, Writing, Transacting, Reading };

    void Reset() override {}
    [[nodiscard]] bool IsGoingOn() const { return Step != TStep::None; }
    void Finish(TPipeResult AResult) {
        Step = TStep::None;
        Result = AResult;
    }

    TStep Step = TStep::None;
    TEnd* End = nullptr;
    TPipeResult Result;
    std::span<std::byte> Answer; // of a transaction, to be read when the request is written
    TTime Begun;                 // the first byte of the message that a server reads
    std::size_t BegunBytes = 0;  // how much of it has come; 0: nothing, its clock does not run
};

// ---- moving bytes

TPipeCode WriteError(int Error) {
    switch (Error) {
    case EPIPE:
        return TPipeCode::PipeClosing;
    case ECONNRESET:
        return TPipeCode::BrokenPipe;
    default:
        return TPipeCode::NotEnoughMemory;
    }
}

/// Sends what the socket takes (`Flags`: MSG_DONTWAIT or 0). IoPending when it takes no more at the moment.
TPipeCode Send(TEnd& End, int Flags) {
    while (!End.Writer.Done()) {
        std::array<iovec, 3> Parts{};
        msghdr Message{};
        Message.msg_iov = Parts.data();
        for (const auto& Part : End.Writer.Parts()) {
            if (Part.empty()) continue;
            Parts[Message.msg_iovlen++] = {const_cast<std::byte*>(Part.data()), Part.size()};
        }
        const ssize_t Sent = ::sendmsg(End.Socket.Number(), &Message, MSG_NOSIGNAL | Flags);
        if (Sent < 0 && errno == EINTR) continue;
        if (Sent < 0 && errno == EAGAIN) return TPipeCode::IoPending;
        if (Sent < 0) return WriteError(errno);
        End.Writer.Sent(static_cast<std::size_t>(Sent));
    }
    return TPipeCode::Success;
}

/// Receives until the reading that has begun is done. IoPending when nothing more is there at the moment.
TPipeResult Receive(TEnd& End, int Flags) {
    while (!End.Reader.Done()) {
        std::array<iovec, 3> Parts{};
        msghdr Message{};
        Message.msg_iov = Parts.data();
        for (const auto& Part : End.Reader.Space()) {
            if (!Part.empty()) Parts[Message.msg_iovlen++] = {Part.data(), Part.size()};
        }
        // How much of a message is to come is known, so a call that blocks takes all of it.
        const int Whole = End.Reader.IsInMessage() && (Flags & MSG_DONTWAIT) == 0 ? MSG_WAITALL : 0;
        const ssize_t Got = ::recvmsg(End.Socket.Number(), &Message, Flags | Whole);
        if (Got < 0 && errno == EINTR) continue;
        if (Got < 0 && errno == EAGAIN) return {TPipeCode::IoPending, 0};
        if (Got <= 0) {
            End.Reader.Abandon();
            return {TPipeCode::BrokenPipe, 0};
        }
        End.Reader.Received(static_cast<std::size_t>(Got));
    }
    return End.Reader.End();
}

/// Whether the server sent something that nobody asked for.
bool HasUnasked(TEnd& End) {
    std::byte Byte{};
    return End.Reader.IsBegun() || End.Reader.HasAhead() ||
           ::recv(End.Socket.Number(), &Byte, 1, MSG_PEEK | MSG_DONTWAIT) > 0;
}

// ---- operations

void StartReading(TOperation& Operation, TEnd& End, std::span<std::byte> Buffer) {
    Operation.End = &End;
    Operation.Step = TOperation::TStep::Reading;
    Operation.BegunBytes = 0;
    End.Reader.Begin(Buffer);
    if (End.Reader.Done()) Operation.Finish(End.Reader.End());
}

/// Does what can be done without waiting.
void MoveOn(TOperation& Operation) {
    TEnd& End = *Operation.End;
    switch (Operation.Step) {
    case TOperation::TStep::None:
        return;
    case TOperation::TStep::Connecting:
        End.Socket = End.Listener->Take(*End.Place);
        if (End.Socket.IsOpen()) Operation.Finish({});
        return;
    case TOperation::TStep::Writing:
    case TOperation::TStep::Transacting: {
        const TPipeCode Code = Send(End, MSG_DONTWAIT);
        if (Code == TPipeCode::IoPending) return;
        if (Code != TPipeCode::Success || Operation.Step == TOperation::TStep::Writing) {
            return Operation.Finish({Code, 0});
        }
        return StartReading(Operation, End, Operation.Answer);
    }
    case TOperation::TStep::Reading:
        if (const TPipeResult Result = Receive(End, MSG_DONTWAIT); Result.Code != TPipeCode::IoPending) {
            Operation.Finish(Result);
        }
        return;
    }
}

/// Whether a message that has not begun did so within the moment that is worth waiting awake.
bool LookForMessage(TOperation& Operation) {
    const TEnd& End = *Operation.End;
    const auto HasBegun = [&] {
        MoveOn(Operation);
        return !Operation.IsGoingOn() || End.Reader.IsBegun();
    };
    return Operation.Step == TOperation::TStep::Reading && !End.Reader.IsBegun() &&
           Operation.End->Spin.Try(HasBegun);
}

short EventsOf(const TOperation& Operation) {
    const bool Writes =
        Operation.Step == TOperation::TStep::Writing || Operation.Step == TOperation::TStep::Transacting;
    return Writes ? POLLOUT : POLLIN;
}

int DescriptorOf(const TOperation& Operation) {
    return Operation.Step == TOperation::TStep::Connecting ? Operation.End->Place->Wake.Number()
                                                           : Operation.End->Socket.Number();
}

// A message of a client comes whole where the system knows messages. Here half of one may come, and whoever
// leaves it at that holds an instance: he gets the pipe's time-out for the first and every further MiB.
// Between messages a client may be silent as long as it likes.
class TMessageClock {
public:
    explicit TMessageClock(TOperation& Operation)
        : FOperation(Operation)
        , FRuns(Operation.Step == TOperation::TStep::Reading && Operation.End->Listener != nullptr &&
                Operation.End->Reader.IsBegun()) {
        if (!FRuns) return;
        if (Operation.BegunBytes == 0) Operation.Begun = TSteady::now();
        Operation.BegunBytes = 1 + Operation.End->Reader.Filled();
    }
    [[nodiscard]] TTime End() const {
        if (!FRuns) return TTime::max();
        constexpr std::size_t MiB = 1U << 20U;
        return FOperation.Begun + FOperation.End->Listener->Timeout() * (1 + FOperation.BegunBytes / MiB);
    }

private:
    TOperation& FOperation;
    const bool FRuns;
};

int PollTime(TTime Until) {
    if (Until == TTime::max()) return -1;
    const auto Left = std::chrono::ceil<std::chrono::milliseconds>(Until - TSteady::now()).count();
    return static_cast<int>(std::clamp<std::int64_t>(Left, 0, std::numeric_limits<int>::max()));
}

// ---- opening

/// Waits until the socket can be read. False when the time is up.
bool WaitToRead(int Socket, TTime Until) {
    pollfd Polled{Socket, POLLIN, 0};
    while (true) {
        const int Ready = ::poll(&Polled, 1, PollTime(Until));
        if (Ready > 0) return true;
        if (Ready == 0 && TSteady::now() >= Until) return false;
        if (Ready < 0 && errno != EINTR) return false;
    }
}

/// Connects, says what is wanted, and gives the server's reply; `OnSilence` when none comes in time.
TPipeCode Ask(std::u16string_view Path, TPipeOpening Opening, TTime Until, TPipeCode OnSilence,
              TDescriptor& Socket) {
    const TPipeAddress Address = FindPipe(Path, false);
    if (Address.Code != TPipeCode::Success) return Address.Code;
    Socket = TDescriptor(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
    if (!Socket.IsOpen()) return TPipeCode::NotEnoughMemory;
    // A server that is full for the moment makes connect wait; it has to end.
    const auto Left = std::max(std::chrono::microseconds(1000),
                               std::chrono::duration_cast<std::chrono::microseconds>(Until - TSteady::now()));
    constexpr std::int64_t Million = 1'000'000;
    const timeval Patience{Left.count() / Million, Left.count() % Million};
    static_cast<void>(::setsockopt(Socket.Number(), SOL_SOCKET, SO_SNDTIMEO, &Patience, sizeof Patience));
    while (::connect(Socket.Number(), Address.Raw(), sizeof Address.Socket) != 0) {
        if (errno == EINTR) continue;
        if (errno == EAGAIN) return OnSilence;
        return errno == EACCES || errno == EPERM ? TPipeCode::AccessDenied : TPipeCode::NoSuchPipe;
    }
    // A folder that others may enter could hold a socket of somebody else's only if its owner put it there.
    if (!Address.Shared && !IsPeerAllowed(Socket.Number(), {})) return TPipeCode::AccessDenied;
    const timeval Unlimited{0, 0};
    static_cast<void>(::setsockopt(Socket.Number(), SOL_SOCKET, SO_SNDTIMEO, &Unlimited, sizeof Unlimited));
    const auto Bytes = Opening.Bytes();
    // Who is refused finds the other end closed already; the reply is here nevertheless.
    static_cast<void>(!::send(Socket.Number(), Bytes.data(), Bytes.size(), MSG_NOSIGNAL));
    std::array<std::byte, 4> Reply{};
    std::size_t Got = 0;
    while (Got < Reply.size()) {
        if (!WaitToRead(Socket.Number(), Until)) return OnSilence;
        const ssize_t Piece = ::recv(Socket.Number(), Reply.data() + Got, Reply.size() - Got, MSG_DONTWAIT);
        if (Piece < 0 && (errno == EINTR || errno == EAGAIN)) continue;
        if (Piece <= 0) return TPipeCode::NoSuchPipe;
        Got += static_cast<std::size_t>(Piece);
    }
    return static_cast<TPipeCode>(GetWord(Reply));
}

class TPosixPipes final : public TMessagePipes {
public:
    TPipeHandle Open(std::u16string_view Path, bool, TPipeCode& Code) override {
        // A living server replies at once. One that is stopped or overrun counts as busy.
        constexpr std::chrono::milliseconds Patience(1000);
        auto End = std::make_unique<TEnd>();
        Code = Ask(Path, {}, TSteady::now() + Patience, TPipeCode::PipeBusy, End->Socket);
        return Code == TPipeCode::Success ? HandleOf(std::move(End)) : TPipeHandle::Invalid;
    }

    TPipeCode Wait(std::u16string_view Path, std::uint32_t Milliseconds) override {
        // What the server's settings say is not known here: a minute is more than that.
        const std::chrono::milliseconds Patience(Milliseconds == 0 ? 60'000U : Milliseconds);
        TDescriptor Socket;
        return Ask(Path, {TPipeOpening::TKind::Wait, Milliseconds}, TSteady::now() + Patience,
                   TPipeCode::SemaphoreTimeout, Socket);
    }

    TPipeCode SetState(TPipeHandle Handle, bool, const std::int32_t*) override {
        return EndOf(Handle) != nullptr ? TPipeCode::Success : TPipeCode::InvalidHandle;
    }

    TPipeResult Transact(TPipeHandle Handle, std::span<const std::byte> Request, std::span<std::byte> Answer,
                         TPipeOperation* Operation) override {
        TEnd* const End = EndOf(Handle);
        if (End == nullptr) return {TPipeCode::InvalidHandle, 0};
        if (HasUnasked(*End)) return {TPipeCode::PipeBusy, 0};
        End->Writer.Begin(Request, {});
        if (Operation == nullptr) {
            if (const TPipeCode Code = Send(*End, 0); Code != TPipeCode::Success) return {Code, 0};
            End->Reader.Begin(Answer);
            TPipeResult Result{TPipeCode::IoPending, 0};
            static_cast<void>(End->Spin.Try([&] {
                Result = Receive(*End, MSG_DONTWAIT);
                return Result.Code != TPipeCode::IoPending || End->Reader.IsBegun();
            }));
            return Result.Code != TPipeCode::IoPending ? Result : Receive(*End, 0);
        }
        TOperation& Own = static_cast<TOperation&>(*Operation);
        Own.End = End;
        Own.Step = TOperation::TStep::Transacting;
        Own.Answer = Answer;
        MoveOn(Own);
        return ResultOf(Own);
    }

    TPipeCode Cancel(TPipeHandle Handle, TPipeOperation& Operation) override {
        TEnd* const End = EndOf(Handle);
        if (End == nullptr) return TPipeCode::InvalidHandle;
        Abort(static_cast<TOperation&>(Operation));
        return TPipeCode::Success;
    }

    TPipeHandle Create(std::u16string_view Path, const TPipeSettings& Settings, TPipeCode& Code) override {
        auto End = std::make_unique<TEnd>();
        End->Listener = TPipeListener::Get(Path, Settings, Code);
        if (End->Listener == nullptr) return TPipeHandle::Invalid;
        End->Place = End->Listener->Add(Settings.MaxInstances);
        Code = End->Place != nullptr ? TPipeCode::Success : TPipeCode::PipeBusy;
        return End->Place != nullptr ? HandleOf(std::move(End)) : TPipeHandle::Invalid;
    }

    std::shared_ptr<void> Hold(TPipeHandle Handle) override {
        TEnd* const End = EndOf(Handle);
        return End != nullptr ? End->Listener : nullptr;
    }

    TPipeCode Connect(TPipeHandle Handle, TPipeOperation& Operation) override {
        TEnd* const End = EndOf(Handle);
        if (End == nullptr || End->Place == nullptr) return TPipeCode::InvalidHandle;
        TOperation& Own = static_cast<TOperation&>(Operation);
        Own.End = End;
        Own.Step = TOperation::TStep::Connecting;
        End->Listener->Offer(*End->Place);
        return TPipeCode::IoPending;
    }

    TPipeResult Write(TPipeHandle Handle, std::span<const std::byte> Head, std::span<const std::byte> Body,
                      TPipeOperation& Operation) override {
        TEnd* const End = EndOf(Handle);
        if (End == nullptr || !End->Socket.IsOpen()) return {TPipeCode::InvalidHandle, 0};
        TOperation& Own = static_cast<TOperation&>(Operation);
        Own.End = End;
        Own.Step = TOperation::TStep::Writing;
        End->Writer.Begin(Head, Body);
        MoveOn(Own);
        return ResultOf(Own);
    }

    TPipeResult Read(TPipeHandle Handle, std::span<std::byte> Buffer, TPipeOperation* Operation) override {
        TEnd* const End = EndOf(Handle);
        if (End == nullptr || !End->Socket.IsOpen()) return {TPipeCode::InvalidHandle, 0};
        if (Operation == nullptr) {
            End->Reader.Begin(Buffer);
            return Receive(*End, 0);
        }
        TOperation& Own = static_cast<TOperation&>(*Operation);
        StartReading(Own, *End, Buffer);
        // Between messages nothing is there yet as a rule, and to ask would cost a system call.
        if (Own.IsGoingOn() && End->Reader.IsBegun()) MoveOn(Own);
        return ResultOf(Own);
    }

    TPipeResult GetResult(TPipeHandle, TPipeOperation& Operation, bool Wait) override {
        TOperation& Own = static_cast<TOperation&>(Operation);
        if (Own.IsGoingOn() && Wait) static_cast<void>(WaitFor(&Own, nullptr, Forever));
        if (Own.IsGoingOn()) return {TPipeCode::IoIncomplete, 0};
        return Own.Result;
    }

    void Close(TPipeHandle Handle, TPipeOperation* Operation) override {
        const std::unique_ptr<TEnd> End(EndOf(Handle));
        if (End == nullptr) return;
        if (Operation != nullptr) {
            TOperation& Own = static_cast<TOperation&>(*Operation);
            if (Own.End == End.get()) Abort(Own);
            Own.End = nullptr;
        }
        if (End->Place != nullptr) End->Listener->Remove(std::move(End->Place));
    }

    std::unique_ptr<TPipeOperation> NewOperation() override { return std::make_unique<TOperation>(); }
    std::unique_ptr<TPipeEvent> NewEvent() override { return std::make_unique<TEventFd>(); }

    TPipeWake WaitFor(TPipeOperation* Operation, TPipeEvent* Event, std::uint32_t Milliseconds) override {
        TOperation* const Own = static_cast<TOperation*>(Operation);
        const TEventFd* const Flag = static_cast<TEventFd*>(Event);
        const TTime Until =
            Milliseconds == Forever ? TTime::max() : TSteady::now() + std::chrono::milliseconds(Milliseconds);
        while (true) {
            if (Own != nullptr && !Own->IsGoingOn()) return TPipeWake::Operation;
            if (Own != nullptr && LookForMessage(*Own)) continue;
            const TTime MessageEnd = Own != nullptr ? TMessageClock(*Own).End() : TTime::max();
            std::array<pollfd, 2> Polled{};
            Polled[0] = Own != nullptr ? pollfd{DescriptorOf(*Own), EventsOf(*Own), 0} : pollfd{-1, 0, 0};
            Polled[1] = {Flag != nullptr ? Flag->Number() : -1, POLLIN, 0};
            const int Ready = ::poll(Polled.data(), Polled.size(), PollTime(std::min(Until, MessageEnd)));
            if (Ready < 0 && errno != EINTR) return TPipeWake::Failed;
            if (Ready > 0) {
                if (Polled[0].revents != 0) MoveOn(*Own);
                if (Own != nullptr && !Own->IsGoingOn()) return TPipeWake::Operation;
                if (Polled[1].revents != 0 && Flag->TakeBack()) return TPipeWake::Event;
                continue;
            }
            const TTime Now = TSteady::now();
            if (MessageEnd <= Now) {
                Own->End->Reader.Abandon();
                Own->Finish({TPipeCode::BrokenPipe, 0});
            } else if (Until <= Now) {
                return TPipeWake::TimedOut;
            }
        }
    }

    std::int64_t Counter() const override {
        return std::chrono::duration_cast<TTick>(TSteady::now().time_since_epoch()).count();
    }
    std::int64_t CounterFrequency() const override { return TTick::period::den; }

private:
    using TTick = std::chrono::duration<std::int64_t, std::ratio<1, 10'000'000>>; // as Windows counts

    static TPipeResult ResultOf(const TOperation& Operation) {
        return Operation.IsGoingOn() ? TPipeResult{TPipeCode::IoPending, 0} : Operation.Result;
    }
    static void Abort(TOperation& Operation) {
        if (!Operation.IsGoingOn()) return;
        Operation.End->Reader.Abandon();
        Operation.Finish({TPipeCode::OperationAborted, 0});
    }
};

} // namespace

TMessagePipes& SystemPipes() {
    static auto* const Pipes = new TPosixPipes; // outlives whoever closes a pipe at the end of the process
    return *Pipes;
}

std::u16string OtherErrorText(std::uint32_t Code) {
    return u"error " + Utf8ToUtf16(std::to_string(Code));
}

} // namespace zutools::platform
