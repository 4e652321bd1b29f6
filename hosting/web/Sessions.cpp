#include "hosting/web/Sessions.h"

#include "hosting/web/HttpText.h"
#include "platform/Random.h"

#include <array>
#include <utility>

namespace zutools::hosting {

namespace {

template <std::size_t Bytes>
std::string RandomHex() {
    std::array<std::byte, Bytes> Buffer;
    platform::FillRandom(Buffer);
    return HexText(Buffer);
}

} // namespace

TSessionLease::TSessionLease(TSessionLease&& Other) noexcept
    : FOwner(std::exchange(Other.FOwner, nullptr))
    , FState(std::move(Other.FState)) {}

TSessionLease::~TSessionLease() {
    if (FOwner != nullptr) FOwner->Release(FState.Secret);
}

void TSessionLease::SetLanguage(std::u16string_view LanguageID) {
    FState.LanguageID = LanguageID;
    FOwner->SetLanguage(FState.Secret, LanguageID);
}

TSessions::TSessions(std::chrono::steady_clock::duration IdleLimit, std::size_t MaxCount, TClock Clock,
                     TEndHook EndHook)
    : FIdleLimit(IdleLimit)
    , FMaxCount(MaxCount)
    , FClock(std::move(Clock))
    , FEndHook(std::move(EndHook)) {}

TSessionLease TSessions::Acquire(std::string_view Secret) {
    TEntries Ended;
    TSessionState State;
    {
        const std::lock_guard Guard(FMutex);
        Ended = TakeEnded(FMaxCount);
        auto Found = FBySecret.find(Secret);
        if (Found != FBySecret.end()) {
            FEntries.splice(FEntries.end(), FEntries, Found->second);
        } else {
            // A secret that a browser brings along is never adopted: someone else may have planted it there.
            Ended.splice(Ended.end(), TakeEnded(FMaxCount - 1));
            TEntry& Entry = FEntries.emplace_back();
            const std::string Sid = RandomHex<8>();
            Entry.State.Secret = RandomHex<16>();
            Entry.State.SID.assign(Sid.begin(), Sid.end());
            Entry.State.FormToken = RandomHex<16>();
            Found = FBySecret.emplace(Entry.State.Secret, std::prev(FEntries.end())).first;
            State.New = true;
        }
        TEntry& Entry = *Found->second;
        Entry.LastUse = FClock();
        ++Entry.InUse;
        const bool New = State.New;
        State = Entry.State;
        State.New = New;
    }
    TellEnded(Ended);
    return {*this, std::move(State)};
}

void TSessions::Sweep() {
    TEntries Ended;
    {
        const std::lock_guard Guard(FMutex);
        Ended = TakeEnded(FMaxCount);
    }
    TellEnded(Ended);
}

std::size_t TSessions::Count() const {
    const std::lock_guard Guard(FMutex);
    return FEntries.size();
}

void TSessions::Release(const std::string& Secret) {
    const std::lock_guard Guard(FMutex);
    const auto Entry = FBySecret.at(Secret);
    --Entry->InUse;
    Entry->LastUse = FClock();
    FEntries.splice(FEntries.end(), FEntries, Entry);
}

void TSessions::SetLanguage(const std::string& Secret, std::u16string_view LanguageID) {
    const std::lock_guard Guard(FMutex);
    FBySecret.at(Secret)->State.LanguageID = LanguageID;
}

TSessions::TEntries TSessions::TakeEnded(std::size_t Room) {
    TEntries Ended;
    const auto Now = FClock();
    for (auto Entry = FEntries.begin(); Entry != FEntries.end();) {
        const bool TooOld = Now - Entry->LastUse >= FIdleLimit;
        if (!TooOld && FEntries.size() <= Room) break;
        const auto Next = std::next(Entry);
        if (Entry->InUse == 0) {
            FBySecret.erase(Entry->State.Secret);
            Ended.splice(Ended.end(), FEntries, Entry);
        }
        Entry = Next;
    }
    return Ended;
}

void TSessions::TellEnded(const TEntries& Ended) const {
    if (!FEndHook) return;
    for (const TEntry& Entry : Ended) FEndHook(Entry.State);
}

} // namespace zutools::hosting
