// Tells a person at a terminal how an answer that takes long is getting on.

#pragma once

#include "platform/MessagePipe.h"

#include <atomic>
#include <condition_variable>
#include <mutex>
#include <thread>

namespace zutools::zuhost {

/// The system's pipes for one client, and how many bytes they have received; any thread may ask for that.
class TCountingPipes final : public platform::TMessagePipes {
public:
    [[nodiscard]] std::size_t Received() const { return FReceived; }

    platform::TPipeHandle Open(std::u16string_view Path, bool Overlapped, platform::TPipeCode& Code) override;
    platform::TPipeCode Wait(std::u16string_view Path, std::uint32_t Milliseconds) override;
    platform::TPipeCode SetState(platform::TPipeHandle Handle, bool NoWait,
                                 const std::int32_t* CollectDataTimeout) override;
    platform::TPipeResult Transact(platform::TPipeHandle Handle, std::span<const std::byte> Request,
                                   std::span<std::byte> Answer, platform::TPipeOperation* Operation) override;
    platform::TPipeCode Cancel(platform::TPipeHandle Handle, platform::TPipeOperation& Operation) override;
    platform::TPipeHandle Create(std::u16string_view Path, const platform::TPipeSettings& Settings,
                                 platform::TPipeCode& Code) override;
    std::shared_ptr<void> Hold(platform::TPipeHandle Handle) override;
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
    std::int64_t CounterFrequency() const override;

private:
    platform::TPipeResult Counted(platform::TPipeResult Result);

    platform::TMessagePipes& FPipes = platform::SystemPipes();
    std::atomic<std::size_t> FReceived = 0;
};

/// While it lives, and once a second has passed, a line on standard error tells bytes and seconds; nothing
/// when that is no terminal. The line is gone afterwards.
class TPipeProgress {
public:
    explicit TPipeProgress(const TCountingPipes& Pipes);
    ~TPipeProgress();
    TPipeProgress(const TPipeProgress&) = delete;
    TPipeProgress& operator=(const TPipeProgress&) = delete;

private:
    void Work();

    const TCountingPipes& FPipes;
    std::mutex FLock;
    std::condition_variable FChanged;
    bool FEnd = false;
    std::thread FThread;
};

} // namespace zutools::zuhost
