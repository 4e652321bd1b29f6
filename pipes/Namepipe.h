// Request and answer between processes over a named pipe.
//
//     TNamedPipeServer Server;                       // in the one process
//     Server.PipeName = u"reports";
//     Server.SetMessageCallback([](const std::string& Request, std::string& Answer) { Answer = ...; });
//     Server.StartListen();
//
//     TNamedPipeClient Client;                       // in the other
//     Client.PipeName = u"reports";
//     Client.SetAnswerWaitTimeout(5000);
//     Client.Establish();
//     Client.Request("total 2024", Answer);
//
// A request is one message; its answer is one message with 8 bytes in front that tell the payload's length.
// docs/pipes.md has the bytes, the time-outs on a time line, and what each error means.

#pragma once

#include "host/Exception.h"
#include "host/Threads.h"
#include "platform/MessagePipe.h"

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <span>
#include <string>
#include <vector>

namespace zutools {

/// Every failure of a client. The message names the pipe, the system's text and its code.
class ENamedPipeClientException : public Exception {
public:
    using Exception::Exception;
};

using TBytes = std::vector<std::uint8_t>;
using PBytes = std::uint8_t*;

/// Makes the answer at `DataPtr` longer by `BySize` bytes and gives the address of the added ones; shorter
/// when that is negative.
using TGrowDataFunc = PBytes (*)(void* DataPtr, std::int32_t BySize);

/// Asks a server. Serves one exchange at a time and holds no lock: one client a thread, or calls in turn.
class TNamedPipeClient {
public:
    /// `Pipes` must outlive the client.
    explicit TNamedPipeClient(platform::TMessagePipes& Pipes = platform::SystemPipes());
    virtual ~TNamedPipeClient();
    TNamedPipeClient(const TNamedPipeClient&) = delete;
    TNamedPipeClient& operator=(const TNamedPipeClient&) = delete;

    std::u16string ComputerName;  // empty: this computer; others are reached on Windows only
    std::u16string PipeName;      // without any path
    std::u16string FileName;      // the whole path, made by Establish; kept after Close
    std::int32_t Timeout = 10000; // ms to wait for a busy pipe (0: what the server's settings say)

    /// Overall limit in ms of one exchange; 0 or less: none, the client waits until the server answers.
    [[nodiscard]] std::int32_t AnswerWaitTimeout() const { return FAnswerWaitTimeout; }
    /// An open client is closed and opened again, because the limit decides how the pipe is opened.
    /// @throws ENamedPipeClientException as Establish does.
    virtual void SetAnswerWaitTimeout(std::int32_t Value);

    /// Bytes that one read takes, 1024 when not set. Who expects long answers sets more; from the next
    /// request on. At least the head of an answer and a byte are read, 9.
    [[nodiscard]] std::int32_t BuffSize() const { return FBuffSize; }
    void SetBuffSize(std::int32_t Value) { FBuffSize = Value; }

    /// Opens the pipe; an open one is closed first. Blocks for at most `Timeout` ms when all instances are
    /// busy. @throws ENamedPipeClientException: nobody serves the pipe, it stays busy, or the system refuses.
    virtual void Establish();

    /// Sends `RequestMsg` and collects the whole answer. An empty request sends nothing and has an empty
    /// answer. @throws ENamedPipeClientException: time-outs, broken connections. The client is connected
    /// afresh then, when the server can be reached, and what had arrived stays in `AnswerMsg`.
    virtual void Request(const std::string& RequestMsg, std::string& AnswerMsg);
    virtual void Request(const TBytes& RequestMsg, TBytes& AnswerMsg);

    /// Bytes of the answer that have come in the exchange under way, or else in the last one. Any thread.
    [[nodiscard]] std::int64_t Received() const { return FReceived; }

    /// Closes the pipe; nothing happens when it is not open.
    virtual void Close();
    [[nodiscard]] virtual bool Connected() const;

private:
    struct TExchange;
    void ProcessRequest(const void* Request, void* Answer, std::int32_t RequestLength, TGrowDataFunc Grow);
    void Transact(TExchange& Exchange, std::span<const std::byte> Request, std::span<std::byte> Buffer);
    void ReadOn(TExchange& Exchange);
    [[nodiscard]] platform::TPipeResult AwaitOperation(const TExchange& Exchange);
    [[noreturn]] void FailTimeout(const TExchange& Exchange);
    [[nodiscard]] std::int64_t Now() const;
    [[nodiscard]] std::int64_t ElapsedMicroseconds(std::int64_t Start) const;

    platform::TMessagePipes& FPipes;
    const std::int64_t FFrequency; // of the performance counter
    platform::TPipeHandle HPipe = platform::TPipeHandle::None;
    std::int32_t FAnswerWaitTimeout = 0;
    std::unique_ptr<platform::TPipeOperation> FOverlapped; // only while FAnswerWaitTimeout > 0
    std::int32_t FBuffSize = 1024;
    std::atomic<std::int64_t> FReceived = 0;
};

/// Called for every request with an empty answer to fill, on several threads at once. An exception, or an
/// answer left empty, drops the client's connection: an answer has at least one byte.
using TReceiveMessageCallbackA = std::function<void(const std::string& Request, std::string& Answer)>;
using TReceiveMessageCallbackB = std::function<void(const TBytes& Request, TBytes& Answer)>;

class TNamedPipeServerThread;

/// Answers requests on a pool of threads, each serving one client connection at a time. StartListen,
/// StopListen and the settings are for one thread at a time; StopListen not for the callback.
class TNamedPipeServer {
public:
    explicit TNamedPipeServer(platform::TMessagePipes& Pipes = platform::SystemPipes());
    ~TNamedPipeServer();
    TNamedPipeServer(const TNamedPipeServer&) = delete;
    TNamedPipeServer& operator=(const TNamedPipeServer&) = delete;

    // Read when StartListen is called; not to be changed while listening.
    std::u16string PipeName;           // without any path
    std::int32_t BufferSize = 1048576; // bytes of the longest request, and of the pipe's buffers
    std::int32_t Timeout = 1000;       // ms: what clients wait that do not say how long
    std::int32_t MaxClients = 5;       // threads, and instances of the pipe
    std::atomic<bool> Listen = false;  // true between StartListen and StopListen
    // Besides this process's user, who may connect, by name. POSIX only (docs/pipes.md).
    std::vector<std::u16string> AllowedUsers;
    std::vector<std::u16string> AllowedGroups;

    /// What answers requests; before StartListen. B wins when both are set.
    void SetMessageCallback(TReceiveMessageCallbackA ACallback) { FCallbackA = std::move(ACallback); }
    void SetMessageCallback(TReceiveMessageCallbackB ACallback) { FCallbackB = std::move(ACallback); }

    /// Starts the threads and returns; it does not tell whether the pipe could be made: threads that cannot
    /// try again every second. Called twice it adds a second pool.
    void StartListen();
    /// Ends the threads and closes their connections; blocks until callbacks that run have returned.
    void StopListen();

private:
    friend class TNamedPipeServerThread;

    platform::TMessagePipes& FPipes;
    TReceiveMessageCallbackA FCallbackA;
    TReceiveMessageCallbackB FCallbackB;
    std::unique_ptr<platform::TPipeEvent> ToTerminateEvent;
    std::vector<std::unique_ptr<TNamedPipeServerThread>> Threads;
    std::atomic<bool> Terminated = false;
};

/// One thread of a server's pool.
class TNamedPipeServerThread final : public TKXSafetySuspendedThread {
public:
    explicit TNamedPipeServerThread(TNamedPipeServer& AServer);
    ~TNamedPipeServerThread() override;

    std::u16string PipeName;
    std::int32_t BufferSize = 0;
    std::int32_t Timeout = 0;

    /// One more instance of the pipe; Invalid when the system refuses.
    [[nodiscard]] platform::TPipeHandle CreatePipe();
    /// Also wakes the thread from whatever it waits for.
    void Terminate() override;

private:
    void Execute() override;
    template <class TData, class TCallback>
    void Serve(const TCallback& Callback);
    [[nodiscard]] bool AwaitClient();
    template <class TData>
    [[nodiscard]] bool ReadRequest(std::span<std::byte> Buffer, TData& Request);
    template <class TData>
    [[nodiscard]] bool WriteAnswer(const TData& Answer);
    void ClosePipe();
    void PauseAfterFailure();

    TNamedPipeServer& FServer;
    platform::TMessagePipes& FPipes;
    platform::TPipeHandle HPipe = platform::TPipeHandle::None;
    std::unique_ptr<platform::TPipeEvent> ToTerminateEvent;
    std::unique_ptr<platform::TPipeOperation> FOperation; // while Execute runs
    std::shared_ptr<void> FHold;                          // the name stays served between two instances
};

} // namespace zutools
