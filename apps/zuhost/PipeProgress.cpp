#include "apps/zuhost/PipeProgress.h"

#include <unistd.h>

#include <chrono>
#include <cstdio>

namespace zutools::zuhost {

using namespace platform;

TPipeResult TCountingPipes::Counted(TPipeResult Result) {
    FReceived += Result.Bytes;
    return Result;
}

TPipeHandle TCountingPipes::Open(std::u16string_view Path, bool Overlapped, TPipeCode& Code) {
    return FPipes.Open(Path, Overlapped, Code);
}
TPipeCode TCountingPipes::Wait(std::u16string_view Path, std::uint32_t Milliseconds) {
    return FPipes.Wait(Path, Milliseconds);
}
TPipeCode TCountingPipes::SetState(TPipeHandle Handle, bool NoWait, const std::int32_t* CollectDataTimeout) {
    return FPipes.SetState(Handle, NoWait, CollectDataTimeout);
}
TPipeResult TCountingPipes::Transact(TPipeHandle Handle, std::span<const std::byte> Request,
                                     std::span<std::byte> Answer, TPipeOperation* Operation) {
    return Counted(FPipes.Transact(Handle, Request, Answer, Operation));
}
TPipeCode TCountingPipes::Cancel(TPipeHandle Handle, TPipeOperation& Operation) {
    return FPipes.Cancel(Handle, Operation);
}
TPipeHandle TCountingPipes::Create(std::u16string_view Path, const TPipeSettings& Settings, TPipeCode& Code) {
    return FPipes.Create(Path, Settings, Code);
}
std::shared_ptr<void> TCountingPipes::Hold(TPipeHandle Handle) {
    return FPipes.Hold(Handle);
}
TPipeCode TCountingPipes::Connect(TPipeHandle Handle, TPipeOperation& Operation) {
    return FPipes.Connect(Handle, Operation);
}
TPipeResult TCountingPipes::Write(TPipeHandle Handle, std::span<const std::byte> Head,
                                  std::span<const std::byte> Body, TPipeOperation& Operation) {
    return FPipes.Write(Handle, Head, Body, Operation);
}
TPipeResult TCountingPipes::Read(TPipeHandle Handle, std::span<std::byte> Buffer, TPipeOperation* Operation) {
    return Counted(FPipes.Read(Handle, Buffer, Operation));
}
TPipeResult TCountingPipes::GetResult(TPipeHandle Handle, TPipeOperation& Operation, bool Wait) {
    return Counted(FPipes.GetResult(Handle, Operation, Wait));
}
void TCountingPipes::Close(TPipeHandle Handle, TPipeOperation* Operation) {
    FPipes.Close(Handle, Operation);
}
std::unique_ptr<TPipeOperation> TCountingPipes::NewOperation() {
    return FPipes.NewOperation();
}
std::unique_ptr<TPipeEvent> TCountingPipes::NewEvent() {
    return FPipes.NewEvent();
}
TPipeWake TCountingPipes::WaitFor(TPipeOperation* Operation, TPipeEvent* Event, std::uint32_t Milliseconds) {
    return FPipes.WaitFor(Operation, Event, Milliseconds);
}
std::int64_t TCountingPipes::Counter() const {
    return FPipes.Counter();
}
std::int64_t TCountingPipes::CounterFrequency() const {
    return FPipes.CounterFrequency();
}

TPipeProgress::TPipeProgress(const TCountingPipes& Pipes)
    : FPipes(Pipes) {
    if (::isatty(STDERR_FILENO) != 0) FThread = std::thread([this] { Work(); });
}

TPipeProgress::~TPipeProgress() {
    {
        const std::lock_guard Guard(FLock);
        FEnd = true;
    }
    FChanged.notify_all();
    if (FThread.joinable()) FThread.join();
}

void TPipeProgress::Work() {
    std::unique_lock Guard(FLock);
    unsigned Seconds = 0;
    while (!FChanged.wait_for(Guard, std::chrono::seconds(1), [this] { return FEnd; })) {
        std::fprintf(stderr, "\rzuhost: waiting for the answer: %zu bytes after %u s ", FPipes.Received(),
                     ++Seconds);
    }
    if (Seconds > 0) std::fprintf(stderr, "\r\x1b[K");
}

} // namespace zutools::zuhost
