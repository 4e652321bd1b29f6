// Message pipes between processes: the calls that the pipe client and server are written against, in the
// words and error codes of Windows named pipes.
//
// win32/ hands every call to the system. posix/ keeps the same contract over Unix domain sockets in a folder
// of the user's own (docs/pipes.md describes both folder and frames). Whoever tests pipes gives the callers a
// TMessagePipes of his own.
//
// A pipe has a name and a number of instances; each serves one client connection at a time. A message arrives
// whole or in pieces as large as the reader's buffer, and never together with the next one. With an operation
// (TPipeOperation) a call returns at once: IoPending means that WaitFor and GetResult tell how it ended.
// Without one it blocks until it is done.
//
// Calls on different handles may come from any threads at once; calls on one handle and its operation from
// one thread at a time. An event may be set by any thread. Nothing here throws except std::bad_alloc and
// TSystemError where the system has no more events or memory.

#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace zutools::platform {

/// Why a call failed; the numbers are those of Windows on every system.
enum class TPipeCode : std::uint32_t {
    Success = 0,
    NoSuchPipe = 2,         // nobody serves the name
    AccessDenied = 5,       // the other side, or the folder of the pipes, is somebody else's
    InvalidHandle = 6,      // the pipe is not open
    NotEnoughMemory = 8,    // the system has no room for another connection
    NoNetworkPath = 53,     // another computer that cannot be reached
    BrokenPipe = 109,       // the other side has closed its end
    SemaphoreTimeout = 121, // no instance became free in time
    InvalidName = 123,      // the name cannot be that of a pipe
    PipeBusy = 231,         // all instances have a client; or messages are waiting that nobody asked for
    PipeClosing = 232,      // the other side has closed its end, found while writing
    PipeNotConnected = 233,
    MoreData = 234, // the message is longer than the buffer; the rest can be read
    WaitTimeout = 258,
    PipeConnected = 535, // the client was there before the server asked for one
    OperationAborted = 995,
    IoIncomplete = 996, // the operation has not ended
    IoPending = 997,
};

/// The text of a code for messages, without a full stop; of a code that is not listed above the system's own,
/// or "error N". English and the same on every system.
[[nodiscard]] std::u16string PipeErrorText(TPipeCode Code);
/// The code's name in this header ("MoreData"); empty when it is not listed.
[[nodiscard]] std::string_view PipeErrorName(TPipeCode Code);

/// An open end of a pipe. Invalid is what a failed open gives.
enum class TPipeHandle : std::uintptr_t { None = 0, Invalid = UINTPTR_MAX };

/// How a call ended and how many bytes it moved. `Bytes` is 0 while the code is IoPending.
struct TPipeResult {
    TPipeCode Code = TPipeCode::Success;
    std::size_t Bytes = 0;
    [[nodiscard]] bool Done() const { return Code == TPipeCode::Success; }
};

/// What a new instance is like.
struct TPipeSettings {
    std::uint32_t MaxInstances = 1; // of the pipe; 255 means no limit
    std::uint32_t BufferSize = 0;   // bytes that the system should keep in each direction
    std::uint32_t Timeout = 0;      // milliseconds: what clients wait that do not say how long; 0 is 50
    // Besides this process's own user (and root), who may connect: names of users and groups. Only where the
    // folder of the pipes can be reached by them (POSIX); Windows takes its default security.
    std::vector<std::u16string> Users;
    std::vector<std::u16string> Groups;
};

/// A flag to wait for. Auto-reset: the wait that ends because of it clears it.
class TPipeEvent {
public:
    TPipeEvent() = default;
    virtual ~TPipeEvent() = default;
    TPipeEvent(const TPipeEvent&) = delete;
    TPipeEvent& operator=(const TPipeEvent&) = delete;
    /// Any thread; never blocks.
    virtual void Set() = 0;
};

/// One call that goes on after it returned, and the manual-reset event that tells its end. Serves one call at
/// a time; must outlive it, as must the buffers given to the call.
class TPipeOperation {
public:
    TPipeOperation() = default;
    virtual ~TPipeOperation() = default;
    TPipeOperation(const TPipeOperation&) = delete;
    TPipeOperation& operator=(const TPipeOperation&) = delete;
    /// Clears the event before the next call.
    virtual void Reset() = 0;
};

enum class TPipeWake : std::uint8_t { Operation, Event, TimedOut, Failed };

class TMessagePipes {
public:
    static constexpr std::uint32_t Forever = 0xFFFFFFFF;

    TMessagePipes() = default;
    virtual ~TMessagePipes() = default;
    TMessagePipes(const TMessagePipes&) = delete;
    TMessagePipes& operator=(const TMessagePipes&) = delete;

    // ---- clients

    /// Opens the client's end of an existing pipe, `\\.\pipe\NAME` or `\\COMPUTER\pipe\NAME`, for reading and
    /// writing. Invalid with `Code` set when that fails; PipeBusy when no instance is free. Does not wait for
    /// one. `Overlapped`: calls will come with operations, else all without.
    [[nodiscard]] virtual TPipeHandle Open(std::u16string_view Path, bool Overlapped, TPipeCode& Code) = 0;
    /// Blocks until an instance is free, for at most `Milliseconds` (0: as the server's settings say). That
    /// it is still free when it is opened is not promised.
    [[nodiscard]] virtual TPipeCode Wait(std::u16string_view Path, std::uint32_t Milliseconds) = 0;
    /// Message read mode. `NoWait` and `CollectDataTimeout` (milliseconds, may be null) are for Windows, the
    /// latter for remote pipes.
    [[nodiscard]] virtual TPipeCode SetState(TPipeHandle Handle, bool NoWait,
                                             const std::int32_t* CollectDataTimeout) = 0;
    /// Writes a message and reads the one that answers it, as Read does. PipeBusy when a message is waiting
    /// to be read.
    [[nodiscard]] virtual TPipeResult Transact(TPipeHandle Handle, std::span<const std::byte> Request,
                                               std::span<std::byte> Answer, TPipeOperation* Operation) = 0;
    /// Ends what this thread began on the handle; after Success the buffers are the caller's again.
    [[nodiscard]] virtual TPipeCode Cancel(TPipeHandle Handle, TPipeOperation& Operation) = 0;

    // ---- servers

    /// Makes one more instance of a local pipe, without a client. Invalid with `Code` set when that fails:
    /// PipeBusy when the pipe has as many as it may, or another process serves the name (POSIX).
    [[nodiscard]] virtual TPipeHandle Create(std::u16string_view Path, const TPipeSettings& Settings,
                                             TPipeCode& Code) = 0;
    /// While the result lives, the name stays served although its last instance is closed: clients find it
    /// busy and may wait. May be null: Windows knows no such thing, there the name is gone for that moment.
    [[nodiscard]] virtual std::shared_ptr<void> Hold(TPipeHandle Handle) = 0;
    /// Waits for a client: IoPending, or PipeConnected when one is there already.
    [[nodiscard]] virtual TPipeCode Connect(TPipeHandle Handle, TPipeOperation& Operation) = 0;
    /// Writes `Head` and `Body` as one message.
    [[nodiscard]] virtual TPipeResult Write(TPipeHandle Handle, std::span<const std::byte> Head,
                                            std::span<const std::byte> Body, TPipeOperation& Operation) = 0;

    // ---- both

    /// Reads one message into `Buffer`, or as much of it as fits: then MoreData, and the next call reads on.
    [[nodiscard]] virtual TPipeResult Read(TPipeHandle Handle, std::span<std::byte> Buffer,
                                           TPipeOperation* Operation) = 0;
    /// How the operation ended; IoIncomplete when it has not and `Wait` is false.
    [[nodiscard]] virtual TPipeResult GetResult(TPipeHandle Handle, TPipeOperation& Operation, bool Wait) = 0;
    /// Closes the end, having ended what `Operation` (may be null) was doing on it. None and Invalid are
    /// ignored.
    virtual void Close(TPipeHandle Handle, TPipeOperation* Operation) = 0;

    // ---- waiting and time

    [[nodiscard]] virtual std::unique_ptr<TPipeOperation> NewOperation() = 0;
    [[nodiscard]] virtual std::unique_ptr<TPipeEvent> NewEvent() = 0; // auto-reset, not set
    /// Blocks until the operation has ended or the event is set, whichever is given, or for `Milliseconds`.
    /// The operation wins when both have happened.
    [[nodiscard]] virtual TPipeWake WaitFor(TPipeOperation* Operation, TPipeEvent* Event,
                                            std::uint32_t Milliseconds) = 0;
    /// The high-resolution counter, and how often it counts in a second.
    [[nodiscard]] virtual std::int64_t Counter() const = 0;
    [[nodiscard]] virtual std::int64_t CounterFrequency() const = 0;
};

/// The pipes of this system; live for the whole process.
[[nodiscard]] TMessagePipes& SystemPipes();

// ---- rules that need no system call

/// Where a path of a pipe leads.
struct TPipePath {
    std::u16string Computer; // "." is this one
    std::u16string Name;
};

/// The parts of `\\COMPUTER\pipe\NAME`, the name as it was written. An empty name when it is no such path or
/// the name is not one that every system can have: empty, "." or "..", longer than 240 units, or with a
/// slash, a backslash or a control character in it.
[[nodiscard]] TPipePath SplitPipePath(std::u16string_view Path);

} // namespace zutools::platform
