// Message pipes in memory, both ends of them, with a clock that the test moves on by hand. Keeps the contract
// as Windows does: an instance takes a client before the server waits for it, and a name lives as long as its
// instances.

#pragma once

#include "platform/MessagePipe.h"

#include <condition_variable>
#include <deque>
#include <map>
#include <mutex>
#include <set>

namespace zutools::tests {

class TMemoryPipes final : public platform::TMessagePipes {
public:
    /// Waits until somebody waits for `Milliseconds`, no more and no less, and lets that time pass.
    void Pass(std::uint32_t Milliseconds);

    platform::TPipeHandle Open(std::u16string_view Path, bool Overlapped, platform::TPipeCode& Code) override;
    platform::TPipeCode Wait(std::u16string_view Path, std::uint32_t Milliseconds) override;
    platform::TPipeCode SetState(platform::TPipeHandle Handle, bool NoWait,
                                 const std::int32_t* CollectDataTimeout) override;
    platform::TPipeResult Transact(platform::TPipeHandle Handle, std::span<const std::byte> Request,
                                   std::span<std::byte> Answer, platform::TPipeOperation* Operation) override;
    platform::TPipeCode Cancel(platform::TPipeHandle Handle, platform::TPipeOperation& Operation) override;
    platform::TPipeHandle Create(std::u16string_view Path, const platform::TPipeSettings& Settings,
                                 platform::TPipeCode& Code) override;
    std::shared_ptr<void> Hold(platform::TPipeHandle) override { return nullptr; }
    platform::TPipeCode Connect(platform::TPipeHandle Handle, platform::TPipeOperation& Operation) override;
    platform::TPipeResult Write(platform::TPipeHandle Handle, std::span<const std::byte> Head,
                                std::span<const std::byte> Body,
                                platform::TPipeOperation& Operation) override;
    platform::TPipeResult Read(platform::TPipeHandle Handle, std::span<std::byte> Buffer,
                               platform::TPipeOperation* Operation) override;
    platform::TPipeResult GetResult(platform::TPipeHandle Handle, platform::TPipeOperation& Operation,
                                    bool Wait) override;
    void Close(platform::TPipeHandle Handle, platform::TPipeOperation* Operation) override;
    std::unique_ptr<platform::TPipeOperation> NewOperation() override;
    std::unique_ptr<platform::TPipeEvent> NewEvent() override;
    platform::TPipeWake WaitFor(platform::TPipeOperation* Operation, platform::TPipeEvent* Event,
                                std::uint32_t Milliseconds) override;
    std::int64_t Counter() const override;
    std::int64_t CounterFrequency() const override { return 10'000'000; }

private:
    struct TInstance {
        std::u16string Path;
        enum class TState : std::uint8_t { Free, Taken, Broken } State = TState::Free;
        struct TMessages {
            std::deque<std::vector<std::byte>> Queue;
            std::size_t Taken = 0; // bytes of the first
        } Messages[2];             // to the client, to the server
    };
    struct TEnd {
        std::shared_ptr<TInstance> Instance;
        bool IsServer = false;
    };
    struct TOperation;
    struct TEvent;

    TEnd* Find(platform::TPipeHandle Handle);
    platform::TPipeHandle Add(TEnd End);
    std::shared_ptr<TInstance> FindFree(std::u16string_view Path, platform::TPipeCode& Code);
    platform::TPipeCode Put(const TEnd& End, std::span<const std::byte> Head,
                            std::span<const std::byte> Body);
    static platform::TPipeResult Take(const TEnd& End, std::span<std::byte> Buffer);
    platform::TPipeResult Begin(const TEnd& End, std::span<std::byte> Buffer,
                                platform::TPipeOperation* Operation, std::unique_lock<std::mutex>& Guard);
    template <class TCondition>
    bool Await(std::unique_lock<std::mutex>& Guard, std::uint32_t Milliseconds, TCondition Condition);

    mutable std::mutex FLock; // guards everything
    std::condition_variable FChanged;
    std::map<platform::TPipeHandle, TEnd> FEnds;
    std::multiset<std::uint32_t> FWaits; // how long those wait who wait with a limit
    std::uintptr_t FLastHandle = 0;
    std::int64_t FNow = 1; // milliseconds
};

} // namespace zutools::tests
