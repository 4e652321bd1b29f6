#include "platform/MessagePipe.h"

#include "platform/File.h"
#include "platform/PipeFrames.h"
#include "platform/win32/Wide.h"

#include <windows.h>

#include <cstring>

namespace zutools::platform {

namespace {

HANDLE Native(TPipeHandle Handle) {
    return reinterpret_cast<HANDLE>(static_cast<std::uintptr_t>(Handle));
}

TPipeHandle FromNative(HANDLE Handle) {
    return static_cast<TPipeHandle>(reinterpret_cast<std::uintptr_t>(Handle));
}

bool IsOpen(TPipeHandle Handle) {
    return Handle != TPipeHandle::None && Handle != TPipeHandle::Invalid;
}

TPipeCode LastCode() {
    return static_cast<TPipeCode>(GetLastError());
}

TPipeCode CodeOf(BOOL Good) {
    return Good != FALSE ? TPipeCode::Success : LastCode();
}

DWORD SizeOf(std::size_t Bytes) {
    constexpr std::size_t Most = 0x7FFFFFFF;
    return static_cast<DWORD>(Bytes < Most ? Bytes : Most);
}

HANDLE NewNativeEvent(bool ManualReset) {
    const HANDLE Event = CreateEventW(nullptr, ManualReset ? TRUE : FALSE, FALSE, nullptr);
    if (Event == nullptr) throw TSystemError(u"Cannot make", u"an event", static_cast<int>(GetLastError()));
    return Event;
}

class TNativeEvent final : public TPipeEvent {
public:
    TNativeEvent()
        : Handle(NewNativeEvent(false)) {}
    ~TNativeEvent() override { CloseHandle(Handle); }
    void Set() override { SetEvent(Handle); }

    const HANDLE Handle;
};

class TOperation final : public TPipeOperation {
public:
    TOperation() { Record.hEvent = NewNativeEvent(true); }
    ~TOperation() override {
        End();
        CloseHandle(Record.hEvent);
    }
    void Reset() override { ResetEvent(Record.hEvent); }

    /// The record for one more call on the pipe.
    OVERLAPPED* Begin(TPipeHandle Handle) {
        End();
        const HANDLE Event = Record.hEvent;
        Record = {};
        Record.hEvent = Event;
        Pipe = Native(Handle);
        return &Record;
    }
    /// Waits for what is still going on after telling it to stop: the system writes into the record and the
    /// buffers until then.
    void End() {
        if (Pipe == nullptr) return;
        DWORD Bytes = 0;
        if (GetOverlappedResult(Pipe, &Record, &Bytes, FALSE) == FALSE &&
            GetLastError() == ERROR_IO_INCOMPLETE) {
            CancelIoEx(Pipe, &Record);
            GetOverlappedResult(Pipe, &Record, &Bytes, TRUE);
        }
        Pipe = nullptr;
    }

    OVERLAPPED Record{};
    HANDLE Pipe = nullptr;          // null: nothing goes on
    std::vector<std::byte> Message; // what is being written
};

OVERLAPPED* RecordOf(TPipeHandle Handle, TPipeOperation* Operation) {
    return Operation != nullptr ? static_cast<TOperation*>(Operation)->Begin(Handle) : nullptr;
}

/// The result of a call that moves bytes. The count of one that did not end is not its.
TPipeResult ResultOf(BOOL Good, DWORD Bytes, TPipeHandle Handle, TPipeOperation* Operation) {
    TPipeResult Result{CodeOf(Good), Bytes};
    if (Operation == nullptr) {
        if (!Result.Done() && Result.Code != TPipeCode::MoreData) Result.Bytes = 0;
        return Result;
    }
    TOperation& Own = static_cast<TOperation&>(*Operation);
    if (Result.Code == TPipeCode::IoPending) return {Result.Code, 0};
    if (Result.Done() || Result.Code == TPipeCode::MoreData) {
        DWORD Moved = 0;
        GetOverlappedResult(Native(Handle), &Own.Record, &Moved, FALSE);
        Result.Bytes = Moved;
    } else {
        Result.Bytes = 0;
    }
    Own.Pipe = nullptr;
    return Result;
}

class TWindowsPipes final : public TMessagePipes {
public:
    TPipeHandle Open(std::u16string_view Path, bool Overlapped, TPipeCode& Code) override {
        if (SplitPipePath(Path).Name.empty()) {
            Code = TPipeCode::InvalidName;
            return TPipeHandle::Invalid;
        }
        const std::u16string Name(Path);
        const HANDLE Result = CreateFileW(Wide(Name.c_str()), GENERIC_READ | GENERIC_WRITE, 0, nullptr,
                                          OPEN_EXISTING, Overlapped ? FILE_FLAG_OVERLAPPED : 0, nullptr);
        Code = Result != INVALID_HANDLE_VALUE ? TPipeCode::Success : LastCode();
        return FromNative(Result);
    }

    TPipeCode Wait(std::u16string_view Path, std::uint32_t Milliseconds) override {
        const std::u16string Name(Path);
        return CodeOf(WaitNamedPipeW(Wide(Name.c_str()), Milliseconds));
    }

    TPipeCode SetState(TPipeHandle Handle, bool NoWait, const std::int32_t* CollectDataTimeout) override {
        DWORD Mode = PIPE_READMODE_MESSAGE | (NoWait ? PIPE_NOWAIT : PIPE_WAIT);
        DWORD Time = CollectDataTimeout != nullptr ? static_cast<DWORD>(*CollectDataTimeout) : 0;
        return CodeOf(SetNamedPipeHandleState(Native(Handle), &Mode, nullptr,
                                              CollectDataTimeout != nullptr ? &Time : nullptr));
    }

    TPipeResult Transact(TPipeHandle Handle, std::span<const std::byte> Request, std::span<std::byte> Answer,
                         TPipeOperation* Operation) override {
        DWORD Bytes = 0;
        const BOOL Good =
            TransactNamedPipe(Native(Handle), const_cast<std::byte*>(Request.data()), SizeOf(Request.size()),
                              Answer.data(), SizeOf(Answer.size()), &Bytes, RecordOf(Handle, Operation));
        return ResultOf(Good, Bytes, Handle, Operation);
    }

    TPipeCode Cancel(TPipeHandle Handle, TPipeOperation& Operation) override {
        const TPipeCode Code = CodeOf(CancelIo(Native(Handle)));
        if (Code == TPipeCode::Success) static_cast<TOperation&>(Operation).End();
        return Code;
    }

    TPipeHandle Create(std::u16string_view Path, const TPipeSettings& Settings, TPipeCode& Code) override {
        if (SplitPipePath(Path).Name.empty()) {
            Code = TPipeCode::InvalidName;
            return TPipeHandle::Invalid;
        }
        const std::u16string Name(Path);
        const HANDLE Result =
            CreateNamedPipeW(Wide(Name.c_str()), PIPE_ACCESS_DUPLEX | FILE_FLAG_OVERLAPPED,
                             PIPE_TYPE_MESSAGE | PIPE_READMODE_MESSAGE | PIPE_WAIT, Settings.MaxInstances,
                             Settings.BufferSize, Settings.BufferSize, Settings.Timeout, nullptr);
        Code = Result != INVALID_HANDLE_VALUE ? TPipeCode::Success : LastCode();
        return FromNative(Result);
    }

    std::shared_ptr<void> Hold(TPipeHandle) override { return nullptr; }

    TPipeCode Connect(TPipeHandle Handle, TPipeOperation& Operation) override {
        const TPipeCode Code = CodeOf(ConnectNamedPipe(Native(Handle), RecordOf(Handle, &Operation)));
        if (Code != TPipeCode::IoPending) static_cast<TOperation&>(Operation).Pipe = nullptr;
        return Code;
    }

    TPipeResult Write(TPipeHandle Handle, std::span<const std::byte> Head, std::span<const std::byte> Body,
                      TPipeOperation& Operation) override {
        // The system has no gathered write for pipes.
        std::vector<std::byte>& Message = static_cast<TOperation&>(Operation).Message;
        OVERLAPPED* const Record = RecordOf(Handle, &Operation);
        Message.resize(Head.size() + Body.size());
        if (!Head.empty()) std::memcpy(Message.data(), Head.data(), Head.size());
        if (!Body.empty()) std::memcpy(Message.data() + Head.size(), Body.data(), Body.size());
        DWORD Bytes = 0;
        const BOOL Good = WriteFile(Native(Handle), Message.data(), SizeOf(Message.size()), &Bytes, Record);
        return ResultOf(Good, Bytes, Handle, &Operation);
    }

    TPipeResult Read(TPipeHandle Handle, std::span<std::byte> Buffer, TPipeOperation* Operation) override {
        DWORD Bytes = 0;
        const BOOL Good = ReadFile(Native(Handle), Buffer.data(), SizeOf(Buffer.size()), &Bytes,
                                   RecordOf(Handle, Operation));
        return ResultOf(Good, Bytes, Handle, Operation);
    }

    TPipeResult GetResult(TPipeHandle Handle, TPipeOperation& Operation, bool Wait) override {
        TOperation& Own = static_cast<TOperation&>(Operation);
        DWORD Bytes = 0;
        const TPipeCode Code =
            CodeOf(GetOverlappedResult(Native(Handle), &Own.Record, &Bytes, Wait ? TRUE : FALSE));
        if (Code != TPipeCode::IoIncomplete) Own.Pipe = nullptr;
        return {Code, Bytes};
    }

    void Close(TPipeHandle Handle, TPipeOperation* Operation) override {
        if (!IsOpen(Handle)) return;
        if (Operation != nullptr) static_cast<TOperation*>(Operation)->End();
        CloseHandle(Native(Handle));
    }

    std::unique_ptr<TPipeOperation> NewOperation() override { return std::make_unique<TOperation>(); }
    std::unique_ptr<TPipeEvent> NewEvent() override { return std::make_unique<TNativeEvent>(); }

    TPipeWake WaitFor(TPipeOperation* Operation, TPipeEvent* Event, std::uint32_t Milliseconds) override {
        HANDLE Handles[2];
        DWORD Count = 0;
        if (Operation != nullptr) Handles[Count++] = static_cast<TOperation*>(Operation)->Record.hEvent;
        if (Event != nullptr) Handles[Count++] = static_cast<TNativeEvent*>(Event)->Handle;
        const DWORD Result = WaitForMultipleObjects(Count, Handles, FALSE, Milliseconds);
        if (Result == WAIT_TIMEOUT) return TPipeWake::TimedOut;
        if (Result == WAIT_OBJECT_0) return Operation != nullptr ? TPipeWake::Operation : TPipeWake::Event;
        return Result == WAIT_OBJECT_0 + 1 ? TPipeWake::Event : TPipeWake::Failed;
    }

    std::int64_t Counter() const override {
        LARGE_INTEGER Count;
        QueryPerformanceCounter(&Count);
        return Count.QuadPart;
    }
    std::int64_t CounterFrequency() const override {
        LARGE_INTEGER Frequency;
        QueryPerformanceFrequency(&Frequency);
        return Frequency.QuadPart;
    }
};

} // namespace

TMessagePipes& SystemPipes() {
    static auto* const Pipes = new TWindowsPipes; // outlives whoever closes a pipe at the end of the process
    return *Pipes;
}

std::u16string OtherErrorText(std::uint32_t Code) {
    return SystemErrorText(static_cast<int>(Code));
}

} // namespace zutools::platform
