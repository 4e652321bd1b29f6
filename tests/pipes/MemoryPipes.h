// Message pipes in memory, both ends of them, with a clock that the test moves on by hand. Keeps the contract
// as Windows does: an instance takes a client before the server waits for it, and a name lives as long as its
// instances.

#pragma once

#include "platform/MessagePipe.h"

#include <algorithm>
#include <condition_variable>
#include <deque>
#include <functional>
#include <map>
#include <mutex>
#include <set>

namespace zutools::platform {

class TMemoryPipes : public TMessagePipes {
public:
    /// Waits until somebody waits for `Milliseconds`, no more and no less, and lets that time pass.
    void Pass(std::uint32_t Milliseconds) {
        std::unique_lock Guard(FLock);
        FChanged.wait(Guard, [&] { return FWaits.contains(Milliseconds); });
        FNow += Milliseconds;
        FChanged.notify_all();
    }

    TPipeHandle Open(std::u16string_view Path, bool, TPipeCode& Code) override {
        const std::lock_guard Guard(FLock);
        const auto Instance = FindFree(Path, Code);
        if (SplitPipePath(Path).Name.empty()) Code = TPipeCode::InvalidName;
        if (Instance == nullptr) return TPipeHandle::Invalid;
        Instance->State = TInstance::TState::Taken;
        return Add({Instance, false});
    }
    TPipeCode Wait(std::u16string_view Path, std::uint32_t Milliseconds) override {
        std::unique_lock Guard(FLock);
        TPipeCode Code = TPipeCode::Success;
        Await(Guard, Milliseconds,
              [&] { return FindFree(Path, Code) != nullptr || Code == TPipeCode::NoSuchPipe; });
        return Code == TPipeCode::PipeBusy ? TPipeCode::SemaphoreTimeout : Code;
    }
    TPipeCode SetState(TPipeHandle Handle, bool, const std::int32_t*) override {
        const std::lock_guard Guard(FLock);
        return FEnds.contains(Handle) ? TPipeCode::Success : TPipeCode::InvalidHandle;
    }
    TPipeResult Transact(TPipeHandle Handle, std::span<const std::byte> Request, std::span<std::byte> Answer,
                         TPipeOperation* Operation) override {
        std::unique_lock Guard(FLock);
        if (!FEnds.contains(Handle)) return {TPipeCode::InvalidHandle, 0};
        const TEnd End = FEnds.at(Handle);
        if (const TPipeCode Code = Put(End, Request, {}); Code != TPipeCode::Success) return {Code, 0};
        return Take(End, Answer, Operation, Guard);
    }
    TPipeCode Cancel(TPipeHandle, TPipeOperation& Operation) override {
        const std::lock_guard Guard(FLock);
        static_cast<TOperation&>(Operation).Try = nullptr;
        return TPipeCode::Success;
    }
    TPipeHandle Create(std::u16string_view Path, const TPipeSettings& Settings, TPipeCode& Code) override {
        const std::lock_guard Guard(FLock);
        const auto Count = std::count_if(FEnds.begin(), FEnds.end(), [Path](const auto& Each) {
            return Each.second.IsServer && Each.second.Instance->Path == Path;
        });
        const bool Room = Count < static_cast<std::ptrdiff_t>(Settings.MaxInstances);
        Code = Room ? TPipeCode::Success : TPipeCode::PipeBusy;
        return Room ? Add({std::make_shared<TInstance>(std::u16string(Path)), true}) : TPipeHandle::Invalid;
    }
    std::shared_ptr<void> Hold(TPipeHandle) override { return nullptr; }
    TPipeCode Connect(TPipeHandle Handle, TPipeOperation& Operation) override {
        const std::lock_guard Guard(FLock);
        TOperation& Own = static_cast<TOperation&>(Operation);
        Own.Try = [Instance = FEnds.at(Handle).Instance] {
            const bool Free = Instance->State == TInstance::TState::Free;
            return TPipeResult{Free ? TPipeCode::IoPending : TPipeCode::Success, 0};
        };
        return Own.MoveOn() ? TPipeCode::PipeConnected : TPipeCode::IoPending;
    }
    TPipeResult Write(TPipeHandle Handle, std::span<const std::byte> Head, std::span<const std::byte> Body,
                      TPipeOperation&) override {
        const std::lock_guard Guard(FLock);
        return {Put(FEnds.at(Handle), Head, Body), 0};
    }
    TPipeResult Read(TPipeHandle Handle, std::span<std::byte> Buffer, TPipeOperation* Operation) override {
        std::unique_lock Guard(FLock);
        return Take(FEnds.at(Handle), Buffer, Operation, Guard);
    }
    TPipeResult GetResult(TPipeHandle, TPipeOperation& Operation, bool) override {
        const std::lock_guard Guard(FLock);
        TOperation& Own = static_cast<TOperation&>(Operation);
        return Own.MoveOn() ? Own.Result : TPipeResult{TPipeCode::IoIncomplete, 0};
    }
    void Close(TPipeHandle Handle, TPipeOperation* Operation) override {
        const std::lock_guard Guard(FLock);
        if (Operation != nullptr) static_cast<TOperation*>(Operation)->Try = nullptr;
        if (!FEnds.contains(Handle)) return;
        FEnds.at(Handle).Instance->State = TInstance::TState::Broken;
        FEnds.erase(Handle);
        FChanged.notify_all();
    }
    std::unique_ptr<TPipeOperation> NewOperation() override { return std::make_unique<TOperation>(); }
    std::unique_ptr<TPipeEvent> NewEvent() override { return std::make_unique<TEvent>(*this); }
    TPipeWake WaitFor(TPipeOperation* Operation, TPipeEvent* Event, std::uint32_t Milliseconds) override {
        std::unique_lock Guard(FLock);
        TOperation* const Own = static_cast<TOperation*>(Operation);
        TEvent* const Flag = static_cast<TEvent*>(Event);
        const auto Ended = [Own] { return Own != nullptr && Own->MoveOn(); };
        const auto IsSet = [Flag] { return Flag != nullptr && Flag->IsSet; };
        if (!Await(Guard, Milliseconds, [&] { return Ended() || IsSet(); })) return TPipeWake::TimedOut;
        if (Ended()) return TPipeWake::Operation;
        Flag->IsSet = false;
        return TPipeWake::Event;
    }
    std::int64_t Counter() const override {
        const std::lock_guard Guard(FLock);
        return FNow * 10'000;
    }
    std::int64_t CounterFrequency() const override { return 10'000'000; }

private:
    struct TInstance {
        explicit TInstance(std::u16string APath)
            : Path(std::move(APath)) {}
        const std::u16string Path;
        enum class TState : std::uint8_t { Free, Taken, Broken } State = TState::Free;
        struct TMessage {
            std::vector<std::byte> Bytes;
            std::size_t Taken = 0;
        };
        std::deque<TMessage> ToClient, ToServer;
    };
    struct TEnd {
        std::shared_ptr<TInstance> Instance;
        bool IsServer;
    };
    struct TOperation final : TPipeOperation {
        void Reset() override {}
        /// True when it has ended.
        bool MoveOn() {
            if (Try && (Result = Try()).Code != TPipeCode::IoPending) Try = nullptr;
            return !Try;
        }
        std::function<TPipeResult()> Try; // empty: nothing goes on
        TPipeResult Result;
    };
    struct TEvent final : TPipeEvent {
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

    TPipeHandle Add(TEnd End) {
        const auto Handle = static_cast<TPipeHandle>(++FLastHandle);
        FEnds.emplace(Handle, std::move(End));
        FChanged.notify_all();
        return Handle;
    }
    /// Null with PipeBusy or NoSuchPipe when there is none.
    std::shared_ptr<TInstance> FindFree(std::u16string_view Path, TPipeCode& Code) {
        Code = TPipeCode::NoSuchPipe;
        for (const auto& [Handle, End] : FEnds) {
            if (!End.IsServer || End.Instance->Path != Path) continue;
            const bool Free = End.Instance->State == TInstance::TState::Free;
            Code = Free ? TPipeCode::Success : TPipeCode::PipeBusy;
            if (Free) return End.Instance;
        }
        return nullptr;
    }
    TPipeCode Put(const TEnd& End, std::span<const std::byte> Head, std::span<const std::byte> Body) {
        TInstance& Instance = *End.Instance;
        if (Instance.State != TInstance::TState::Taken) return TPipeCode::PipeClosing;
        auto& Message = (End.IsServer ? Instance.ToClient : Instance.ToServer).emplace_back().Bytes;
        Message.assign(Head.begin(), Head.end());
        Message.insert(Message.end(), Body.begin(), Body.end());
        FChanged.notify_all();
        return TPipeCode::Success;
    }
    TPipeResult Take(const TEnd& End, std::span<std::byte> Buffer, TPipeOperation* Operation,
                     std::unique_lock<std::mutex>& Guard) {
        TOperation Blocking;
        TOperation& Own = Operation != nullptr ? static_cast<TOperation&>(*Operation) : Blocking;
        Own.Try = [End, Buffer] {
            auto& Queue = End.IsServer ? End.Instance->ToServer : End.Instance->ToClient;
            const bool Broken = End.Instance->State == TInstance::TState::Broken;
            if (Queue.empty()) return TPipeResult{Broken ? TPipeCode::BrokenPipe : TPipeCode::IoPending, 0};
            auto& [Bytes, Taken] = Queue.front();
            const std::size_t Size = std::min(Bytes.size() - Taken, Buffer.size());
            std::copy_n(Bytes.begin() + static_cast<std::ptrdiff_t>(Taken), Size, Buffer.begin());
            Taken += Size;
            if (Taken < Bytes.size()) return TPipeResult{TPipeCode::MoreData, Size};
            Queue.pop_front();
            return TPipeResult{TPipeCode::Success, Size};
        };
        if (!Own.MoveOn() && Operation != nullptr) return {TPipeCode::IoPending, 0};
        Await(Guard, Forever, [&Own] { return Own.MoveOn(); });
        return Own.Result;
    }
    /// Waits with the lock released. False when the time is over and the condition is still not true.
    template <class TCondition>
    bool Await(std::unique_lock<std::mutex>& Guard, std::uint32_t Milliseconds, TCondition Condition) {
        const std::int64_t Until = Milliseconds != Forever ? FNow + Milliseconds : INT64_MAX;
        const auto Own = FWaits.insert(Milliseconds);
        FChanged.notify_all(); // for Pass
        bool Good = false;
        FChanged.wait(Guard, [&] { return (Good = Condition()) || FNow >= Until; });
        FWaits.erase(Own);
        return Good;
    }

    mutable std::mutex FLock; // guards everything
    std::condition_variable FChanged;
    std::map<TPipeHandle, TEnd> FEnds;
    std::multiset<std::uint32_t> FWaits; // how long those wait who wait
    std::uintptr_t FLastHandle = 0;
    std::int64_t FNow = 1; // milliseconds
};

} // namespace zutools::platform
