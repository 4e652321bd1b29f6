#include "server/web/Sessions.h"

#include "platform/Random.h"
#include "server/web/HttpText.h"

#include <array>
#include <utility>

namespace zutools::server {

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
    , FPlace(Other.FPlace)
    , FState(std::move(Other.FState)) {}

TSessionLease::~TSessionLease() {
    if (FOwner != nullptr) FOwner->Release(FPlace);
}

void TSessionLease::SetLanguage(std::u16string_view LanguageID) {
    FState.LanguageID = LanguageID;
    FOwner->SetLanguage(FPlace, LanguageID);
}

void TSessionLease::Renew(std::u16string_view User) {
    FPlace = FOwner->Renew(FPlace, User);
    // Secrets and names of a session never change, so they are read without the lock; its language was ours.
    std::u16string LanguageID = std::move(FState.LanguageID);
    FState = {FPlace->State.Secret, FPlace->State.SID,     FPlace->State.FormToken,
              FPlace->State.USR,    std::move(LanguageID), true};
}

TSessions::TSessions(std::chrono::steady_clock::duration IdleLimit, std::size_t MaxCount, TClock Clock,
                     TEndHook EndHook)
    : FIdleLimit(IdleLimit)
    , FMaxCount(MaxCount)
    , FClock(std::move(Clock))
    , FEndHook(std::move(EndHook)) {}

TSessionLease TSessions::Acquire(std::string_view Secret) {
    TEntries Ended;
    TPlace Place;
    TSessionState State;
    {
        const std::lock_guard Guard(FMutex);
        Ended = TakeEnded(FMaxCount);
        const auto Found = FBySecret.find(Secret);
        const bool New = Found == FBySecret.end();
        if (New) {
            // A secret that a browser brings along is never adopted: someone else may have planted it there.
            Ended.splice(Ended.end(), TakeEnded(FMaxCount - 1));
            Place = Begin({}, {});
        } else {
            Place = Found->second;
            ++Place->InUse;
            Touch(Place);
        }
        State = Place->State;
        State.New = New;
    }
    TellEnded(Ended);
    return {*this, Place, std::move(State)};
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
    return FBySecret.size();
}

void TSessions::Release(TPlace Place) {
    TEntries Ended;
    {
        const std::lock_guard Guard(FMutex);
        --Place->InUse;
        if (!Place->Ended) return Touch(Place);
        if (Place->InUse != 0) return;
        Ended.splice(Ended.end(), FEndedInUse, Place);
    }
    TellEnded(Ended);
}

void TSessions::SetLanguage(TPlace Place, std::u16string_view LanguageID) {
    const std::lock_guard Guard(FMutex);
    Place->State.LanguageID = LanguageID;
}

TSessions::TPlace TSessions::Renew(TPlace Place, std::u16string_view User) {
    TEntries Ended;
    TPlace Fresh;
    {
        const std::lock_guard Guard(FMutex);
        Ended = TakeEnded(FMaxCount);
        Fresh = Begin(User, Place->State.LanguageID);
        --Place->InUse;
        if (Place->Ended) { // by another page of it, which has told of it
            if (Place->InUse == 0) Ended.splice(Ended.end(), FEndedInUse, Place);
        } else if (Place->InUse == 0) {
            Take(Place, Ended);
        } else {
            Ended.push_back({Place->State, {}, 0, true});
            FBySecret.erase(Place->State.Secret);
            FEndedInUse.splice(FEndedInUse.end(), ListOf(*Place), Place);
            Place->Ended = true;
        }
    }
    TellEnded(Ended);
    return Fresh;
}

TSessions::TPlace TSessions::Begin(std::u16string_view User, std::u16string_view LanguageID) {
    TEntry Entry;
    const std::string Sid = RandomHex<8>();
    Entry.State.Secret = RandomHex<16>();
    Entry.State.SID.assign(Sid.begin(), Sid.end());
    Entry.State.FormToken = RandomHex<16>();
    Entry.State.USR = User;
    Entry.State.LanguageID = LanguageID;
    Entry.LastUse = FClock();
    Entry.InUse = 1;
    TEntries& List = ListOf(Entry);
    const TPlace Place = List.insert(List.end(), std::move(Entry));
    FBySecret.emplace(Place->State.Secret, Place);
    return Place;
}

void TSessions::Touch(TPlace Place) {
    Place->LastUse = FClock();
    TEntries& List = ListOf(*Place);
    List.splice(List.end(), List, Place);
}

TSessions::TEntries& TSessions::ListOf(const TEntry& Entry) {
    return Entry.State.USR.empty() ? FAnonymous : FSignedIn;
}

TSessions::TEntries TSessions::TakeEnded(std::size_t Room) {
    TEntries Ended;
    const auto Now = FClock();
    for (TEntries* const List : {&FAnonymous, &FSignedIn}) {
        for (auto Entry = List->begin(); Entry != List->end() && Now - Entry->LastUse >= FIdleLimit;) {
            const auto Next = std::next(Entry);
            if (Entry->InUse == 0) Take(Entry, Ended);
            Entry = Next;
        }
    }
    for (TEntries* const List : {&FAnonymous, &FSignedIn}) {
        for (auto Entry = List->begin(); Entry != List->end() && FBySecret.size() > Room;) {
            const auto Next = std::next(Entry);
            if (Entry->InUse == 0) Take(Entry, Ended);
            Entry = Next;
        }
    }
    return Ended;
}

void TSessions::Take(TPlace Place, TEntries& Ended) {
    FBySecret.erase(Place->State.Secret);
    Ended.splice(Ended.end(), ListOf(*Place), Place);
}

void TSessions::TellEnded(const TEntries& Ended) const {
    if (!FEndHook) return;
    for (const TEntry& Entry : Ended) FEndHook(Entry.State);
}

} // namespace zutools::server
