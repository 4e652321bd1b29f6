#include "platform/posix/PipeListener.h"

#include <poll.h>
#include <sys/eventfd.h>

#include <algorithm>
#include <cerrno>
#include <map>
#include <string>
#include <utility>

namespace zutools::platform {

namespace {

using namespace std::chrono_literals;
using TSteady = std::chrono::steady_clock;

constexpr std::size_t MaxStrangers = 64;
constexpr std::size_t MaxWaiters = 1024;
constexpr std::chrono::milliseconds PromiseTime = 100ms;
constexpr std::uint32_t DefaultTimeout = 50; // milliseconds, as on Windows

struct TRegistry {
    std::mutex Lock;
    std::map<std::string, std::weak_ptr<TPipeListener>> Listeners;
};

TRegistry& Registry() {
    static auto* const Result = new TRegistry; // outlives whoever closes a pipe at the end of the process
    return *Result;
}

bool Reply(int Socket, TPipeCode Code) {
    std::array<std::byte, 4> Bytes{};
    PutWord(Bytes, static_cast<std::uint32_t>(Code));
    return ::send(Socket, Bytes.data(), Bytes.size(), MSG_NOSIGNAL | MSG_DONTWAIT) ==
           static_cast<ssize_t>(Bytes.size());
}

} // namespace

std::shared_ptr<TPipeListener> TPipeListener::Get(std::u16string_view Path, const TPipeSettings& Settings,
                                                  TPipeCode& Code) {
    TPipeAddress Address = FindPipe(Path, true);
    Code = Address.Code;
    if (Code != TPipeCode::Success) return nullptr;
    TRegistry& Known = Registry();
    const std::lock_guard Guard(Known.Lock);
    std::weak_ptr<TPipeListener>& Entry = Known.Listeners[Address.File()];
    if (auto Found = Entry.lock()) return Found;
    TDescriptor Socket = ListenOnPipe(Address, Code);
    TDescriptor Wake(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK));
    if (!Socket.IsOpen() || !Wake.IsOpen()) {
        Known.Listeners.erase(Address.File());
        return nullptr;
    }
    std::shared_ptr<TPipeListener> Result(
        new TPipeListener(std::move(Address), std::move(Socket), std::move(Wake), Settings));
    Entry = Result;
    return Result;
}

TPipeListener::TPipeListener(TPipeAddress Address, TDescriptor Socket, TDescriptor Wake,
                             const TPipeSettings& Settings)
    : FAddress(std::move(Address))
    , FSocket(std::move(Socket))
    , FWake(std::move(Wake))
    , FPeers(FindPeers(Settings.Users, Settings.Groups))
    , FTimeout(Settings.Timeout != 0 ? Settings.Timeout : DefaultTimeout)
    , FSendBuffer(static_cast<int>(std::min(Settings.BufferSize, 1U << 20U)))
    , FThread([this] { Work(); }) {}

TPipeListener::~TPipeListener() {
    {
        const std::lock_guard Guard(FLock);
        FEnd = true;
    }
    WakeUp();
    FThread.join();
    TRegistry& Known = Registry();
    const std::lock_guard Guard(Known.Lock);
    RemovePipe(FAddress, FSocket);
    const auto Entry = Known.Listeners.find(FAddress.File());
    if (Entry != Known.Listeners.end() && Entry->second.expired()) Known.Listeners.erase(Entry);
}

void TPipeListener::WakeUp() const {
    const std::uint64_t One = 1;
    static_cast<void>(!::write(FWake.Number(), &One, sizeof One));
}

std::unique_ptr<TPipeListener::TPlace> TPipeListener::Add(std::uint32_t MaxInstances) {
    constexpr std::uint32_t Unlimited = 255;
    auto Place = std::make_unique<TPlace>();
    Place->Wake = TDescriptor(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK));
    if (!Place->Wake.IsOpen()) return nullptr;
    const std::lock_guard Guard(FLock);
    if (MaxInstances != Unlimited && FInstances >= MaxInstances) return nullptr;
    ++FInstances;
    return Place;
}

void TPipeListener::Remove(std::unique_ptr<TPlace> Place) {
    const std::lock_guard Guard(FLock);
    std::erase(FFree, Place.get());
    --FInstances;
}

void TPipeListener::Offer(TPlace& Place) {
    {
        const std::lock_guard Guard(FLock);
        FFree.push_back(&Place);
    }
    WakeUp(); // somebody may be waiting
}

TDescriptor TPipeListener::Take(TPlace& Place) {
    const std::lock_guard Guard(FLock);
    return std::move(Place.Given);
}

// ---- the thread

int TPipeListener::Pause(TTime Now) const {
    TTime First = TTime::max();
    for (const TStranger& Each : FStrangers) First = std::min(First, Each.Until);
    for (const TWaiter& Each : FWaiters) First = std::min(First, Each.Until);
    if (!FWaiters.empty()) {
        for (const TPromise& Each : FPromises) First = std::min(First, Each.Until);
    }
    if (First == TTime::max()) return -1;
    const auto Left = std::chrono::ceil<std::chrono::milliseconds>(First - Now).count();
    return static_cast<int>(std::clamp<std::int64_t>(Left, 0, 60'000));
}

void TPipeListener::Work() {
    std::vector<pollfd> Polled;
    bool Full = false; // the system has no more descriptors: look again a little later
    while (true) {
        {
            const std::lock_guard Guard(FLock);
            if (FEnd) return;
        }
        Polled.assign({{FWake.Number(), POLLIN, 0}, {Full ? -1 : FSocket.Number(), POLLIN, 0}});
        for (const TStranger& Each : FStrangers) Polled.push_back({Each.Socket.Number(), POLLIN, 0});
        for (const TWaiter& Each : FWaiters) Polled.push_back({Each.Socket.Number(), POLLIN, 0});
        const int Wait = Pause(TSteady::now());
        constexpr int FullPause = 50;
        static_cast<void>(::poll(Polled.data(), Polled.size(), Full ? FullPause : Wait));
        Full = false;
        std::uint64_t Count = 0;
        static_cast<void>(!::read(FWake.Number(), &Count, sizeof Count));
        const TTime Now = TSteady::now();

        std::size_t At = 2;
        std::erase_if(FStrangers, [&](TStranger& Each) {
            return (Polled[At++].revents != 0 && !Hear(Each, Now)) || Each.Until <= Now;
        });
        // A waiter has nothing to say: whatever it sends, it is not one of ours, or it has gone.
        std::erase_if(FWaiters, [&](const TWaiter& Each) {
            if (At < Polled.size() && Polled[At++].revents != 0) return true;
            if (Each.Until > Now) return false;
            static_cast<void>(Reply(Each.Socket.Number(), TPipeCode::SemaphoreTimeout));
            return true;
        });
        if ((Polled[1].revents & POLLIN) != 0) {
            Accept(Now);
            Full = errno == EMFILE || errno == ENFILE || errno == ENOMEM || errno == ENOBUFS;
        }
        TellWaiters(Now);
    }
}

void TPipeListener::Accept(TTime Now) {
    while (true) {
        TDescriptor Socket(::accept4(FSocket.Number(), nullptr, nullptr, SOCK_CLOEXEC));
        if (!Socket.IsOpen()) return;
        if (!IsPeerAllowed(Socket.Number(), FPeers)) {
            static_cast<void>(Reply(Socket.Number(), TPipeCode::AccessDenied));
            continue;
        }
        TStranger Stranger{std::move(Socket), Now + std::max(FTimeout, 1ms), {}, 0};
        if (!Hear(Stranger, Now)) continue; // most have spoken by the time that they are seen
        if (FStrangers.size() >= MaxStrangers) FStrangers.erase(FStrangers.begin());
        FStrangers.push_back(std::move(Stranger));
    }
}

bool TPipeListener::Hear(TStranger& Stranger, TTime Now) {
    const ssize_t Got = ::recv(Stranger.Socket.Number(), Stranger.Bytes.data() + Stranger.Got,
                               Stranger.Bytes.size() - Stranger.Got, MSG_DONTWAIT);
    if (Got < 0) return errno == EAGAIN || errno == EINTR;
    Stranger.Got += static_cast<std::size_t>(Got);
    if (Got == 0) return false;
    if (Stranger.Got < Stranger.Bytes.size()) return true;
    const auto Opening = TPipeOpening::Parse(Stranger.Bytes);
    if (!Opening) return false;
    if (Opening->Kind == TPipeOpening::TKind::Open) {
        Open(std::move(Stranger.Socket));
    } else if (FWaiters.size() < MaxWaiters) {
        const auto Wait =
            Opening->Milliseconds == 0 ? FTimeout : std::chrono::milliseconds(Opening->Milliseconds);
        FWaiters.push_back({std::move(Stranger.Socket), Now + Wait});
    }
    return false;
}

void TPipeListener::Open(TDescriptor Socket) {
    const pid_t Process = PeerProcess(Socket.Number());
    const auto Promise = std::find_if(FPromises.begin(), FPromises.end(),
                                      [Process](const TPromise& Each) { return Each.Process == Process; });
    const std::size_t Reserved = Promise == FPromises.end() ? FPromises.size() : 0;
    if (FSendBuffer > 0) {
        static_cast<void>(
            ::setsockopt(Socket.Number(), SOL_SOCKET, SO_SNDBUF, &FSendBuffer, sizeof FSendBuffer));
    }
    const std::lock_guard Guard(FLock);
    if (FFree.size() <= Reserved) {
        static_cast<void>(Reply(Socket.Number(), TPipeCode::PipeBusy));
        return;
    }
    if (Promise != FPromises.end()) FPromises.erase(Promise);
    if (!Reply(Socket.Number(), TPipeCode::Success)) return; // it has gone
    TPlace& Place = *FFree.front();
    FFree.pop_front();
    Place.Given = std::move(Socket);
    const std::uint64_t One = 1;
    static_cast<void>(!::write(Place.Wake.Number(), &One, sizeof One));
}

void TPipeListener::TellWaiters(TTime Now) {
    std::erase_if(FPromises, [Now](const TPromise& Each) { return Each.Until <= Now; });
    std::size_t Free = 0;
    {
        const std::lock_guard Guard(FLock);
        Free = FFree.size();
    }
    while (!FWaiters.empty() && FPromises.size() < Free) {
        const TWaiter Waiter = std::move(FWaiters.front());
        FWaiters.erase(FWaiters.begin());
        if (!Reply(Waiter.Socket.Number(), TPipeCode::Success)) continue;
        FPromises.push_back({PeerProcess(Waiter.Socket.Number()), Now + PromiseTime});
    }
}

} // namespace zutools::platform
