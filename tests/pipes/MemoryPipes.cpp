#include "tests/pipes/MemoryPipes.h"

#include <algorithm>

namespace zutools::tests {

using namespace platform;

struct TMemoryPipes::TOperation final : TPipeOperation {
    void Reset() override {}
    /// True when it has ended.
    bool MoveOn() {
        if (End.Instance == nullptr) return true;
        if (IsConnecting) {
            if (End.Instance->State == TInstance::TState::Free) return false;
            return Finish({});
        }
        const TPipeResult Taken = Take(End, Buffer);
        return Taken.Code != TPipeCode::IoPending && Finish(Taken);
    }
    bool Finish(TPipeResult AResult) {
        End.Instance.reset();
        Result = AResult;
        return true;
    }

    TEnd End; // empty: nothing goes on
    bool IsConnecting = false;
    std::span<std::byte> Buffer;
    TPipeResult Result;
};

struct TMemoryPipes::TEvent final : TPipeEvent {
    explicit TEvent(TMemoryPipes& APipes)
        : Pipes(APipes) {}
    void Set() override {
        const std::lock_guard Guard(Pipes.FLock);
        IsSet = true;
        Pipes.FChanged.notify_all();
    }
    TMemoryPipes& Pipes;
    bool IsSet = false;
};

/// Waits with the lock released. False when the time is over and the condition is still not true.
template <class TCondition>
bool TMemoryPipes::Await(std::unique_lock<std::mutex>& Guard, std::uint32_t Milliseconds,
                         TCondition Condition) {
    const bool Limited = Milliseconds != Forever;
    const std::int64_t Until = FNow + Milliseconds;
    if (Limited) FWaits.insert(Milliseconds);
    FChanged.notify_all(); // for Pass
    bool Good = false;
    FChanged.wait(Guard, [&] { return (Good = Condition()) || (Limited && FNow >= Until); });
    if (Limited) FWaits.erase(FWaits.find(Milliseconds));
    return Good;
}

void TMemoryPipes::Pass(std::uint32_t Milliseconds) {
    std::unique_lock Guard(FLock);
    FChanged.wait(Guard, [&] { return FWaits.contains(Milliseconds); });
    FNow += Milliseconds;
    FChanged.notify_all();
}

std::int64_t TMemoryPipes::Counter() const {
    const std::lock_guard Guard(FLock);
    return FNow * 10'000;
}

TMemoryPipes::TEnd* TMemoryPipes::Find(TPipeHandle Handle) {
    const auto Found = FEnds.find(Handle);
    return Found == FEnds.end() ? nullptr : &Found->second;
}

TPipeHandle TMemoryPipes::Add(TEnd End) {
    const auto Handle = static_cast<TPipeHandle>(++FLastHandle);
    FEnds.emplace(Handle, std::move(End));
    FChanged.notify_all();
    return Handle;
}

/// Null with PipeBusy or NoSuchPipe when there is none.
std::shared_ptr<TMemoryPipes::TInstance> TMemoryPipes::FindFree(std::u16string_view Path, TPipeCode& Code) {
    Code = TPipeCode::NoSuchPipe;
    for (const auto& [Handle, End] : FEnds) {
        if (!End.IsServer || End.Instance->Path != Path) continue;
        Code = TPipeCode::PipeBusy;
        if (End.Instance->State != TInstance::TState::Free) continue;
        Code = TPipeCode::Success;
        return End.Instance;
    }
    return nullptr;
}

TPipeHandle TMemoryPipes::Open(std::u16string_view Path, bool, TPipeCode& Code) {
    const std::lock_guard Guard(FLock);
    const auto Instance = FindFree(Path, Code);
    if (SplitPipePath(Path).Name.empty()) Code = TPipeCode::InvalidName;
    if (Instance == nullptr) return TPipeHandle::Invalid;
    Instance->State = TInstance::TState::Taken;
    return Add({Instance, false});
}

TPipeCode TMemoryPipes::Wait(std::u16string_view Path, std::uint32_t Milliseconds) {
    std::unique_lock Guard(FLock);
    TPipeCode Code = TPipeCode::Success;
    Await(Guard, Milliseconds,
          [&] { return FindFree(Path, Code) != nullptr || Code == TPipeCode::NoSuchPipe; });
    return Code == TPipeCode::PipeBusy ? TPipeCode::SemaphoreTimeout : Code;
}

TPipeCode TMemoryPipes::SetState(TPipeHandle Handle, bool, const std::int32_t*) {
    const std::lock_guard Guard(FLock);
    return Find(Handle) != nullptr ? TPipeCode::Success : TPipeCode::InvalidHandle;
}

TPipeCode TMemoryPipes::Put(const TEnd& End, std::span<const std::byte> Head,
                            std::span<const std::byte> Body) {
    if (End.Instance->State != TInstance::TState::Taken) return TPipeCode::PipeClosing;
    auto& Message = End.Instance->Messages[End.IsServer ? 0 : 1].Queue.emplace_back(Head.begin(), Head.end());
    Message.insert(Message.end(), Body.begin(), Body.end());
    FChanged.notify_all();
    return TPipeCode::Success;
}

TPipeResult TMemoryPipes::Take(const TEnd& End, std::span<std::byte> Buffer) {
    const bool Broken = End.Instance->State == TInstance::TState::Broken;
    auto& [Queue, Taken] = End.Instance->Messages[End.IsServer ? 1 : 0];
    if (Queue.empty()) return {Broken ? TPipeCode::BrokenPipe : TPipeCode::IoPending, 0};
    const auto Rest = std::span(Queue.front()).subspan(Taken);
    const std::size_t Size = std::min(Rest.size(), Buffer.size());
    std::copy_n(Rest.begin(), Size, Buffer.begin());
    Taken += Size;
    if (Size < Rest.size()) return {TPipeCode::MoreData, Size};
    Queue.pop_front();
    Taken = 0;
    return {TPipeCode::Success, Size};
}

TPipeResult TMemoryPipes::Begin(const TEnd& End, std::span<std::byte> Buffer, TPipeOperation* Operation,
                                std::unique_lock<std::mutex>& Guard) {
    TOperation Blocking;
    TOperation& Own = Operation != nullptr ? static_cast<TOperation&>(*Operation) : Blocking;
    Own.End = End;
    Own.IsConnecting = false;
    Own.Buffer = Buffer;
    if (!Own.MoveOn() && Operation != nullptr) return {TPipeCode::IoPending, 0};
    Await(Guard, Forever, [&Own] { return Own.MoveOn(); });
    return Own.Result;
}

TPipeResult TMemoryPipes::Transact(TPipeHandle Handle, std::span<const std::byte> Request,
                                   std::span<std::byte> Answer, TPipeOperation* Operation) {
    std::unique_lock Guard(FLock);
    TEnd* const End = Find(Handle);
    if (End == nullptr) return {TPipeCode::InvalidHandle, 0};
    if (!End->Instance->Messages[0].Queue.empty()) return {TPipeCode::PipeBusy, 0};
    if (const TPipeCode Code = Put(*End, Request, {}); Code != TPipeCode::Success) return {Code, 0};
    return Begin(*End, Answer, Operation, Guard);
}

TPipeResult TMemoryPipes::Read(TPipeHandle Handle, std::span<std::byte> Buffer, TPipeOperation* Operation) {
    std::unique_lock Guard(FLock);
    TEnd* const End = Find(Handle);
    if (End == nullptr) return {TPipeCode::InvalidHandle, 0};
    return Begin(*End, Buffer, Operation, Guard);
}

TPipeResult TMemoryPipes::Write(TPipeHandle Handle, std::span<const std::byte> Head,
                                std::span<const std::byte> Body, TPipeOperation&) {
    const std::lock_guard Guard(FLock);
    TEnd* const End = Find(Handle);
    return {End != nullptr ? Put(*End, Head, Body) : TPipeCode::InvalidHandle, 0};
}

TPipeCode TMemoryPipes::Cancel(TPipeHandle, TPipeOperation& Operation) {
    const std::lock_guard Guard(FLock);
    static_cast<TOperation&>(Operation).Finish({TPipeCode::OperationAborted, 0});
    return TPipeCode::Success;
}

TPipeHandle TMemoryPipes::Create(std::u16string_view Path, const TPipeSettings& Settings, TPipeCode& Code) {
    const std::lock_guard Guard(FLock);
    const auto Count = std::count_if(FEnds.begin(), FEnds.end(), [Path](const auto& Each) {
        return Each.second.IsServer && Each.second.Instance->Path == Path;
    });
    Code =
        Count < static_cast<std::ptrdiff_t>(Settings.MaxInstances) ? TPipeCode::Success : TPipeCode::PipeBusy;
    if (Code != TPipeCode::Success) return TPipeHandle::Invalid;
    auto Instance = std::make_shared<TInstance>();
    Instance->Path = Path;
    return Add({std::move(Instance), true});
}

TPipeCode TMemoryPipes::Connect(TPipeHandle Handle, TPipeOperation& Operation) {
    const std::lock_guard Guard(FLock);
    TOperation& Own = static_cast<TOperation&>(Operation);
    Own.End = *Find(Handle);
    Own.IsConnecting = true;
    return Own.MoveOn() ? TPipeCode::PipeConnected : TPipeCode::IoPending;
}

TPipeResult TMemoryPipes::GetResult(TPipeHandle, TPipeOperation& Operation, bool) {
    const std::lock_guard Guard(FLock);
    TOperation& Own = static_cast<TOperation&>(Operation);
    return Own.MoveOn() ? Own.Result : TPipeResult{TPipeCode::IoIncomplete, 0};
}

void TMemoryPipes::Close(TPipeHandle Handle, TPipeOperation* Operation) {
    const std::lock_guard Guard(FLock);
    TEnd* const End = Find(Handle);
    if (End == nullptr) return;
    if (Operation != nullptr) static_cast<TOperation*>(Operation)->End.Instance.reset();
    End->Instance->State = TInstance::TState::Broken;
    FEnds.erase(Handle);
    FChanged.notify_all();
}

std::unique_ptr<TPipeOperation> TMemoryPipes::NewOperation() {
    return std::make_unique<TOperation>();
}

std::unique_ptr<TPipeEvent> TMemoryPipes::NewEvent() {
    return std::make_unique<TEvent>(*this);
}

TPipeWake TMemoryPipes::WaitFor(TPipeOperation* Operation, TPipeEvent* Event, std::uint32_t Milliseconds) {
    std::unique_lock Guard(FLock);
    TOperation* const Own = static_cast<TOperation*>(Operation);
    TEvent* const Flag = static_cast<TEvent*>(Event);
    const bool Woken = Await(Guard, Milliseconds, [&] {
        return (Own != nullptr && Own->MoveOn()) || (Flag != nullptr && Flag->IsSet);
    });
    if (!Woken) return TPipeWake::TimedOut;
    if (Own != nullptr && Own->MoveOn()) return TPipeWake::Operation;
    Flag->IsSet = false;
    return TPipeWake::Event;
}

} // namespace zutools::tests
