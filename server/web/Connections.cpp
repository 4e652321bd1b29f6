#include "server/web/Connections.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>

#include <algorithm>
#include <utility>

namespace zutools::server {

std::string NetworkOf(std::string_view Address) {
    in6_addr Bytes{};
    const std::string Text(Address);
    if (inet_pton(AF_INET6, Text.c_str(), &Bytes) != 1) return Text;
    constexpr std::size_t NetworkBytes = 8;
    const auto* const First = reinterpret_cast<const char*>(&Bytes);
    // An IPv4 client of a socket for both kinds.
    if (IN6_IS_ADDR_V4MAPPED(&Bytes)) return {First, sizeof Bytes};
    return {First, NetworkBytes};
}

namespace {

/// Whether the other side said that nothing comes any more, and all that came before was read. Where that
/// arrives together with the beginning of a request, the network library waits on. Does not block.
bool HasLeft(int Socket) {
    char Next = 0;
    return ::recv(Socket, &Next, 1, MSG_PEEK | MSG_DONTWAIT) == 0;
}

} // namespace

TConnections::TConnections(const TConnectionLimits& Limits, TEnd End)
    : FLimits(Limits)
    , FEnd(std::move(End)) {}

TConnections::~TConnections() {
    {
        const std::lock_guard Guard(FMutex);
        FStopping = true;
    }
    FStop.notify_all();
    if (FSweeper.joinable()) FSweeper.join();
}

TConnections::TPlace TConnections::Open(int Socket, std::string_view Address, bool Limited, TMoment Now) {
    TEntry Entry;
    Entry.Socket = Socket;
    if (Limited) Entry.Network = NetworkOf(Address);
    Entry.Since = Now;

    const std::lock_guard Guard(FMutex);
    const bool Crowded = Limited && FPerNetwork[Entry.Network] >= FLimits.PerAddress;
    if (Crowded) ++FEnded.Address;
    const bool Admitted = !Crowded && (FCount < FLimits.Count || MakeRoom());
    TEntries& List = ListOf(TConnectionPhase::Waiting);
    const TPlace Place = List.insert(List.end(), std::move(Entry));
    ++FCount;
    if (Limited) ++FPerNetwork[Place->Network];
    if (!Admitted) Give(Place);
    return Place;
}

void TConnections::Enter(TPlace Place, TConnectionPhase Phase, TMoment Now) {
    const std::lock_guard Guard(FMutex);
    if (Place->Over) return;
    TEntries& List = ListOf(Phase);
    List.splice(List.end(), ListOf(Place->Phase), Place);
    Place->Phase = Phase;
    Place->First = false;
    Place->LeftAlone = false;
    Place->Since = Now;
}

void TConnections::Close(TPlace Place) {
    const std::lock_guard Guard(FMutex);
    Take(Place);
    FOver.erase(Place);
}

void TConnections::Sweep(TMoment Now) {
    const std::lock_guard Guard(FMutex);
    for (TEntries& List : FByPhase) {
        for (auto Entry = List.begin(); Entry != List.end();) {
            const auto Next = std::next(Entry);
            if (Now - Entry->Since < std::min(FLimits.Head, FLimits.Body)) break; // so are those behind it
            if (IsLate(*Entry, Now)) {
                ++FEnded.Slow;
                Give(Entry);
            }
            Entry = Next;
        }
    }
    TEntries& Waiting = ListOf(TConnectionPhase::Waiting);
    for (auto Entry = Waiting.begin(); Entry != Waiting.end();) {
        const auto Next = std::next(Entry);
        const bool SeenBefore = std::exchange(Entry->LeftAlone, HasLeft(Entry->Socket));
        if (SeenBefore && Entry->LeftAlone) Give(Entry);
        Entry = Next;
    }
}

void TConnections::StartSweeping(std::function<void()> Then) {
    FSweeper = std::thread([this, Then = std::move(Then)] {
        std::unique_lock Guard(FMutex);
        while (!FStop.wait_for(Guard, std::chrono::seconds(1), [this] { return FStopping; })) {
            Guard.unlock();
            Sweep(std::chrono::steady_clock::now());
            if (Then) Then();
            Guard.lock();
        }
    });
}

std::size_t TConnections::Count() const {
    const std::lock_guard Guard(FMutex);
    return FCount;
}

TConnections::TEnded TConnections::Ended() const {
    const std::lock_guard Guard(FMutex);
    return FEnded;
}

/// Takes a connection out of all counts; its entry stays until it is closed.
void TConnections::Take(TPlace Place) {
    if (Place->Over) return;
    FOver.splice(FOver.end(), ListOf(Place->Phase), Place);
    Place->Over = true;
    --FCount;
    if (!Place->Network.empty()) {
        const auto Count = FPerNetwork.find(Place->Network);
        if (--Count->second == 0) FPerNetwork.erase(Count);
    }
}

void TConnections::Give(TPlace Place) {
    Take(Place);
    FEnd(Place->Socket);
}

bool TConnections::MakeRoom() {
    ++FEnded.Room;
    for (const auto Phase : {TConnectionPhase::Waiting, TConnectionPhase::Body, TConnectionPhase::Answer}) {
        TEntries& List = ListOf(Phase);
        if (List.empty()) continue;
        Give(List.begin());
        return true;
    }
    return false;
}

bool TConnections::IsLate(const TEntry& Entry, TMoment Now) const {
    const auto Time = Now - Entry.Since;
    switch (Entry.Phase) {
    case TConnectionPhase::Waiting:
        return Time >= (Entry.First ? FLimits.Head : FLimits.Idle + FLimits.Head);
    case TConnectionPhase::Body:
        return Time >= FLimits.Body;
    default:
        return false;
    }
}

} // namespace zutools::server
