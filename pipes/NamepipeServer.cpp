#include "pipes/Namepipe.h"

#include <algorithm>
#include <array>
#include <limits>
#include <span>
#include <utility>

namespace zutools {

namespace {

using platform::TPipeCode;
using platform::TPipeHandle;
using platform::TPipeResult;
using platform::TPipeWake;

constexpr std::uint32_t FailurePause = 1000; // milliseconds

} // namespace

// ---- TNamedPipeServer

TNamedPipeServer::TNamedPipeServer(platform::TMessagePipes& Pipes)
    : FPipes(Pipes)
    , ToTerminateEvent(Pipes.NewEvent()) {}

TNamedPipeServer::~TNamedPipeServer() {
    StopListen();
}

void TNamedPipeServer::StartListen() {
    Terminated = false;
    for (std::int32_t Index = 0; Index < MaxClients; ++Index) {
        auto Thread = std::make_unique<TNamedPipeServerThread>(*this);
        Thread->PipeName = PipeName;
        Thread->BufferSize = BufferSize;
        Thread->Timeout = Timeout;
        Threads.push_back(std::move(Thread));
        Threads.back()->Start();
    }
    Listen = true;
}

void TNamedPipeServer::StopListen() {
    Terminated = true;
    ToTerminateEvent->Set();
    static_cast<void>(FPipes.WaitFor(nullptr, ToTerminateEvent.get(), platform::TMessagePipes::Forever));
    for (const auto& Thread : Threads) Thread->Terminate();
    for (auto& Thread : Threads) {
        Thread->WaitFor();
        Thread.reset();
    }
    Threads.clear();
    Listen = false;
}

// ---- TNamedPipeServerThread

TNamedPipeServerThread::TNamedPipeServerThread(TNamedPipeServer& AServer)
    : FServer(AServer)
    , FPipes(AServer.FPipes)
    , ToTerminateEvent(FPipes.NewEvent()) {}

TNamedPipeServerThread::~TNamedPipeServerThread() {
    WaitFor();
    FPipes.Close(HPipe, nullptr);
}

void TNamedPipeServerThread::Terminate() {
    TKXSafetySuspendedThread::Terminate();
    ToTerminateEvent->Set();
}

TPipeHandle TNamedPipeServerThread::CreatePipe() {
    constexpr std::uint32_t Unlimited = 255;
    platform::TPipeSettings Settings;
    Settings.MaxInstances =
        FServer.MaxClients == 0 ? Unlimited : static_cast<std::uint32_t>(FServer.MaxClients);
    Settings.BufferSize = static_cast<std::uint32_t>(BufferSize);
    Settings.Timeout = static_cast<std::uint32_t>(Timeout);
    Settings.Users = FServer.AllowedUsers;
    Settings.Groups = FServer.AllowedGroups;
    TPipeCode Code = TPipeCode::Success; // of no interest: whatever it is, the thread tries again
    const TPipeHandle Result = FPipes.Create(u"\\\\.\\pipe\\" + PipeName, Settings, Code);
    if (Result != TPipeHandle::Invalid && FHold == nullptr) FHold = FPipes.Hold(Result);
    return Result;
}

void TNamedPipeServerThread::Execute() {
    const TThreadRegistration Registration(u"NamedPipeServerThread");
    FOperation = FPipes.NewOperation();
    if (FServer.FCallbackB) {
        Serve<TBytes>(FServer.FCallbackB);
    } else if (FServer.FCallbackA) {
        Serve<std::string>(FServer.FCallbackA);
    }
    ClosePipe();
    FOperation.reset();
}

template <class TData, class TCallback>
void TNamedPipeServerThread::Serve(const TCallback& Callback) {
    const std::size_t Size = static_cast<std::size_t>(std::max(BufferSize, 1));
    const auto Buffer = std::make_unique_for_overwrite<std::byte[]>(Size);
    TData Request;
    TData Answer;
    while (!Terminated()) {
        if (HPipe == TPipeHandle::None && !AwaitClient()) continue;
        if (!ReadRequest({Buffer.get(), Size}, Request)) {
            ClosePipe();
            continue;
        }
        Answer.clear();
        try {
            Callback(Request, Answer);
        } catch (...) {
            Answer.clear(); // half an answer is none
        }
        if (!WriteAnswer(Answer)) ClosePipe();
    }
}

/// A new instance with a client on it. False when there is none; then no instance is open either.
bool TNamedPipeServerThread::AwaitClient() {
    HPipe = CreatePipe();
    if (HPipe == TPipeHandle::Invalid) {
        HPipe = TPipeHandle::None;
        PauseAfterFailure();
        return false;
    }
    FOperation->Reset();
    switch (FPipes.Connect(HPipe, *FOperation)) {
    case TPipeCode::PipeConnected:
        return true;
    case TPipeCode::IoPending:
        if (FPipes.WaitFor(FOperation.get(), ToTerminateEvent.get(), platform::TMessagePipes::Forever) ==
            TPipeWake::Operation) {
            return true;
        }
        ClosePipe();
        return false;
    default:
        // Kept on purpose: an overlapped call that succeeds at once counts as a failure here.
        ClosePipe();
        PauseAfterFailure();
        return false;
    }
}

template <class TData>
bool TNamedPipeServerThread::ReadRequest(std::span<std::byte> Buffer, TData& Request) {
    FOperation->Reset();
    TPipeResult Result = FPipes.Read(HPipe, Buffer, FOperation.get());
    if (Result.Code == TPipeCode::IoPending) {
        if (FPipes.WaitFor(FOperation.get(), ToTerminateEvent.get(), platform::TMessagePipes::Forever) !=
            TPipeWake::Operation) {
            return false;
        }
        Result = FPipes.GetResult(HPipe, *FOperation, true);
    }
    if (!Result.Done()) return false;
    const auto* const Bytes = reinterpret_cast<const typename TData::value_type*>(Buffer.data());
    Request.assign(Bytes, Bytes + Result.Bytes);
    return true;
}

template <class TData>
bool TNamedPipeServerThread::WriteAnswer(const TData& Answer) {
    constexpr std::size_t Longest = std::numeric_limits<std::int32_t>::max() - 8;
    if (Answer.empty() || Answer.size() > Longest) return false;
    std::array<std::byte, 8> Head{};
    for (std::size_t Index = 0; Index < 4; ++Index) {
        Head[4 + Index] = static_cast<std::byte>(Answer.size() >> (8 * Index) & 0xFFU);
    }
    FOperation->Reset();
    const TPipeResult Result = FPipes.Write(HPipe, Head, std::as_bytes(std::span(Answer)), *FOperation);
    if (Result.Done()) return true;
    if (Result.Code != TPipeCode::IoPending) return false;
    // Kept on purpose: how much was written is not compared.
    return FPipes.WaitFor(FOperation.get(), ToTerminateEvent.get(), platform::TMessagePipes::Forever) ==
           TPipeWake::Operation;
}

void TNamedPipeServerThread::ClosePipe() {
    FPipes.Close(HPipe, FOperation.get());
    HPipe = TPipeHandle::None;
}

void TNamedPipeServerThread::PauseAfterFailure() {
    static_cast<void>(FPipes.WaitFor(nullptr, ToTerminateEvent.get(), FailurePause));
}

} // namespace zutools
