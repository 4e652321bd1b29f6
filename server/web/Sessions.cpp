#include "server/web/Sessions.h"

#include "platform/Random.h"
#include "platform/Text.h"
#include "server/lua/Escape.h"
#include "server/web/HttpText.h"

#include <sodium.h>

#include <algorithm>
#include <charconv>
#include <cstdio>
#include <set>
#include <span>
#include <utility>

namespace zutools::server {

namespace {

template <std::size_t Bytes>
std::string RandomHex() {
    std::array<std::byte, Bytes> Buffer;
    platform::FillRandom(Buffer);
    return HexText(Buffer);
}

std::u16string Widened(std::string_view Ascii) {
    return {Ascii.begin(), Ascii.end()};
}

/// Keyed BLAKE2b.
template <std::size_t Bytes>
std::string KeyedHex(std::span<const std::byte> Key, std::string_view Text) {
    std::array<std::byte, Bytes> Hash;
    crypto_generichash(reinterpret_cast<unsigned char*>(Hash.data()), Hash.size(),
                       reinterpret_cast<const unsigned char*>(Text.data()), Text.size(),
                       reinterpret_cast<const unsigned char*>(Key.data()), Key.size());
    return HexText(Hash);
}

// A token: digits of its own, those of the minute that it was made in, and those that sign both. The hash of
// the first two is cut into what names the session, its form token, and the signature.
constexpr std::size_t KeyDigits = 32;
constexpr std::size_t MinuteDigits = 8;
constexpr std::size_t SignatureDigits = 32;
constexpr std::size_t SidDigits = 16;
constexpr std::size_t FormTokenDigits = 32;

} // namespace

// ---- leases

TSessionLease::TSessionLease(TSessionLease&& Other) noexcept
    : FOwner(std::exchange(Other.FOwner, nullptr))
    , FPlace(Other.FPlace)
    , FState(std::move(Other.FState))
    , FRemoteAddress(std::move(Other.FRemoteAddress)) {}

TSessionLease::~TSessionLease() {
    if (FOwner != nullptr) FOwner->Release(FPlace);
}

void TSessionLease::SetLanguage(std::u16string_view LanguageID) {
    Keep();
    FState.LanguageID = LanguageID;
    FOwner->SetLanguage(*FPlace, LanguageID);
}

bool TSessionLease::SetValue(std::u16string_view Name, std::optional<std::u16string> Value) {
    constexpr std::size_t Most = 16'384;
    std::size_t Size = Value ? Name.size() + Value->size() : 0;
    for (const auto& [Each, Text] : FState.Values)
        if (Each != Name) Size += Each.size() + Text.size();
    if (Size > Most) return false;
    if (!Value && !FState.Values.contains(Name)) return true;
    Keep();
    FOwner->SetValue(*FPlace, Name, Value);
    FState.Values.erase(std::u16string(Name));
    if (Value) FState.Values.emplace(Name, std::move(*Value));
    return true;
}

void TSessionLease::Keep() {
    if (!FPlace) FPlace = FOwner->Keep(FState, FRemoteAddress);
}

void TSessionLease::Renew(const TSignedInUser& User) {
    FPlace = FOwner->Renew(FPlace, FState, User, FRemoteAddress);
}

// ---- the table

TSessions::TSessions(TSessionLimits Limits, TClock Clock, TEndHook Ended, TEndHook Expired)
    : FClock(std::move(Clock))
    , FEnded(std::move(Ended))
    , FExpired(Expired ? TEndHook(std::move(Expired)) : FEnded)
    , FLimits(Limits) {
    platform::FillRandom(FKey);
}

void TSessions::SetLimits(TSessionLimits Limits) {
    const std::lock_guard Guard(FMutex);
    FLimits = Limits;
}

TSessionLease TSessions::Acquire(std::string_view Secret, std::string_view RemoteAddress) {
    auto Token = ReadToken(Secret);
    TEntries Ended;
    std::optional<TPlace> Place;
    TSessionState State;
    {
        const std::lock_guard Guard(FMutex);
        Ended = TakeEnded(FLimits.Count);
        const auto Found = FByKey.find(Token ? Secret.substr(0, KeyDigits) : Secret);
        if (Found != FByKey.end() && IsTooOld(*Found->second, FClock())) {
            TakeEvenInUse(Found->second, Ended);
            Token.reset();
        } else if (Found != FByKey.end()) {
            Place = Found->second;
            ++(*Place)->InUse;
            (*Place)->RemoteAddress = RemoteAddress;
            Touch(*Place);
            State = (*Place)->State;
            State.New = false;
        }
    }
    Tell(FExpired, Ended);
    // A secret that a browser brings along is never adopted: someone else may have planted it there.
    if (!Place) State = Token ? std::move(*Token) : NewVisitor();
    return {*this, Place, std::move(State), RemoteAddress};
}

template <class TWhich>
std::size_t TSessions::EndEach(const TWhich& Which) {
    TEntries Ended;
    {
        const std::lock_guard Guard(FMutex);
        for (TEntries* const List : {&FAnonymous, &FSignedIn}) {
            for (auto Entry = List->begin(); Entry != List->end();) {
                const auto Next = std::next(Entry);
                if (Which(*Entry)) TakeEvenInUse(Entry, Ended);
                Entry = Next;
            }
        }
    }
    Tell(FExpired, Ended);
    return Ended.size();
}

void TSessions::Sweep() {
    TEntries Ended;
    {
        const std::lock_guard Guard(FMutex);
        Ended = TakeEnded(FLimits.Count);
    }
    Tell(FExpired, Ended);
    EndEach([this, Now = FClock()](const TEntry& Entry) { return IsTooOld(Entry, Now); });
}

std::size_t TSessions::End(const std::function<bool(const TSessionState&)>& Which) {
    return EndEach([&](const TEntry& Entry) { return Which(Entry.State); });
}

std::string TSessions::Save() const {
    const std::lock_guard Guard(FMutex);
    std::string Text = "key=" + HexText(FKey) + "\n";
    const auto Add = [&Text](std::string_view Name, std::u16string_view Value) {
        Text.append(Name).append("=").append(UrlEscape(platform::Utf16ToUtf8(Value))).append("&");
    };
    for (const TEntries* const List : {&FSignedIn, &FAnonymous}) {
        for (const TEntry& Entry : *List) {
            const TSessionState& State = Entry.State;
            Add("secret", Widened(State.Secret));
            Add("sid", State.SID);
            Add("token", Widened(State.FormToken));
            Add("user", State.USR);
            Add("stamp", Widened(std::to_string(State.UserStamp)));
            Add("language", State.LanguageID);
            for (const auto& [Name, Value] : State.Values)
                Add("v." + UrlEscape(platform::Utf16ToUtf8(Name)), Value);
            Text.back() = '\n';
        }
    }
    return Text;
}

void TSessions::Load(std::string_view Text) {
    const std::lock_guard Guard(FMutex);
    while (!Text.empty()) {
        const auto Fields = ParseFormFields(CutNext(Text, '\n'));
        TSessionState State;
        for (const TFormField& Field : Fields.value_or(std::vector<TFormField>())) {
            const std::string Value = platform::Utf16ToUtf8(Field.Value);
            if (Field.Name == u"key" && Value.size() == 2 * FKey.size()) {
                for (std::size_t Index = 0; Index < FKey.size(); ++Index) {
                    unsigned Byte = 0;
                    std::from_chars(Value.data() + 2 * Index, Value.data() + 2 * Index + 2, Byte, 16);
                    FKey[Index] = static_cast<std::byte>(Byte);
                }
            }
            if (Field.Name == u"secret") State.Secret = Value;
            if (Field.Name == u"sid") State.SID = Field.Value;
            if (Field.Name == u"token") State.FormToken = Value;
            if (Field.Name == u"user") State.USR = Field.Value;
            if (Field.Name == u"stamp")
                std::from_chars(Value.data(), Value.data() + Value.size(), State.UserStamp);
            if (Field.Name == u"language") State.LanguageID = Field.Value;
            if (Field.Name.starts_with(u"v.")) State.Values.emplace(Field.Name.substr(2), Field.Value);
        }
        if (State.Secret.size() < KeyDigits || State.FormToken.empty() ||
            FByKey.contains(State.Secret.substr(0, KeyDigits)))
            continue;
        --Insert(std::move(State), {})->InUse;
    }
}

std::size_t TSessions::Count() const {
    const std::lock_guard Guard(FMutex);
    return FByKey.size();
}

std::vector<TSessionInfo> TSessions::List() const {
    using std::chrono::duration_cast, std::chrono::seconds;
    std::vector<TSessionInfo> Infos;
    const auto Now = FClock();
    const std::lock_guard Guard(FMutex);
    Infos.reserve(FByKey.size());
    for (const TEntries* const List : {&FSignedIn, &FAnonymous}) {
        for (const TEntry& Entry : *List) {
            Infos.push_back({Entry.State.SID, Entry.State.USR, Entry.RemoteAddress,
                             duration_cast<seconds>(Now - Entry.Began),
                             duration_cast<seconds>(Now - Entry.LastUse)});
        }
    }
    return Infos;
}

std::vector<TSignedInUser> TSessions::Users() const {
    std::set<std::pair<std::u16string, std::int64_t>> Users;
    {
        const std::lock_guard Guard(FMutex);
        for (const TEntry& Entry : FSignedIn) Users.emplace(Entry.State.USR, Entry.State.UserStamp);
    }
    std::vector<TSignedInUser> Result;
    for (const auto& [Name, Stamp] : Users) Result.push_back({Name, Stamp});
    return Result;
}

void TSessions::Release(std::optional<TPlace> Place) {
    if (!Place) return;
    TEntry& Entry = **Place;
    TEntries Ended;
    {
        const std::lock_guard Guard(FMutex);
        --Entry.InUse;
        if (!Entry.Ended) return Touch(*Place);
        if (Entry.InUse != 0) return;
        Ended.splice(Ended.end(), FEndedInUse, *Place);
    }
    Tell(FEnded, Ended);
}

void TSessions::SetLanguage(TPlace Place, std::u16string_view LanguageID) {
    const std::lock_guard Guard(FMutex);
    Place->State.LanguageID = LanguageID;
}

void TSessions::SetValue(TPlace Place, std::u16string_view Name, const std::optional<std::u16string>& Value) {
    const std::lock_guard Guard(FMutex);
    auto& Values = Place->State.Values;
    if (Value) {
        Values.insert_or_assign(std::u16string(Name), *Value);
    } else if (const auto Found = Values.find(Name); Found != Values.end()) {
        Values.erase(Found);
    }
}

TSessions::TPlace TSessions::Keep(const TSessionState& State, std::string_view RemoteAddress) {
    TEntries Ended;
    TPlace Place;
    {
        const std::lock_guard Guard(FMutex);
        const auto Found = FByKey.find(std::string_view(State.Secret).substr(0, KeyDigits));
        if (Found != FByKey.end()) { // another page of it was faster
            Place = Found->second;
            ++Place->InUse;
        } else {
            Ended = TakeEnded(FLimits.Count - 1);
            Place = Insert(State, RemoteAddress);
        }
    }
    Tell(FExpired, Ended);
    return Place;
}

std::optional<TSessions::TPlace> TSessions::Renew(std::optional<TPlace> Place, TSessionState& State,
                                                  const TSignedInUser& User, std::string_view RemoteAddress) {
    TSessionState Fresh = NewVisitor();
    Fresh.LanguageID = State.LanguageID;
    std::optional<TPlace> FreshPlace;
    TEntries Expired;
    TEntries Own;
    {
        const std::lock_guard Guard(FMutex);
        if (!User.Name.empty()) {
            const std::string Sid = RandomHex<8>();
            Fresh.Secret = RandomHex<KeyDigits / 2>();
            Fresh.SID = Widened(Sid);
            Fresh.FormToken = RandomHex<16>();
            Fresh.USR = User.Name;
            Fresh.UserStamp = User.Stamp;
            Expired = TakeEnded(Place ? FLimits.Count : FLimits.Count - 1); // the old entry goes
            FreshPlace = Insert(Fresh, RemoteAddress);
        }
        if (!Place) {
            Own.push_back({.State = State});
        } else {
            --(*Place)->InUse;
            if (!(*Place)->Ended) {
                TakeEvenInUse(*Place, Own);
            } else if ((*Place)->InUse == 0) { // ended by another page of it, which has told of it
                Own.splice(Own.end(), FEndedInUse, *Place);
            }
        }
    }
    Tell(FExpired, Expired);
    Tell(FEnded, Own);
    State = std::move(Fresh);
    State.New = true;
    return FreshPlace;
}

// ---- tokens

std::uint32_t TSessions::Minute() const {
    return static_cast<std::uint32_t>(
        std::chrono::duration_cast<std::chrono::minutes>(FClock().time_since_epoch()).count());
}

TSessionState TSessions::NewVisitor() const {
    TSessionState State = StateOfToken(RandomHex<KeyDigits / 2>(), Minute());
    State.New = true;
    return State;
}

TSessionState TSessions::StateOfToken(std::string_view Nonce, std::uint32_t Minute) const {
    std::array<char, MinuteDigits + 1> Digits{};
    std::snprintf(Digits.data(), Digits.size(), "%08x", static_cast<unsigned>(Minute));
    const std::string Signed = std::string(Nonce) + Digits.data();
    const std::string Hash = KeyedHex<(SidDigits + FormTokenDigits + SignatureDigits) / 2>(FKey, Signed);
    TSessionState State;
    State.SID = Widened(std::string_view(Hash).substr(0, SidDigits));
    State.FormToken = Hash.substr(SidDigits, FormTokenDigits);
    State.Secret = Signed + Hash.substr(SidDigits + FormTokenDigits);
    return State;
}

std::optional<TSessionState> TSessions::ReadToken(std::string_view Secret) const {
    if (Secret.size() != KeyDigits + MinuteDigits + SignatureDigits) return std::nullopt;
    std::uint32_t Made = 0;
    const std::string_view Digits = Secret.substr(KeyDigits, MinuteDigits);
    std::from_chars(Digits.data(), Digits.data() + Digits.size(), Made, 16);
    TSessionState State = StateOfToken(Secret.substr(0, KeyDigits), Made);
    if (!EqualSecrets(Secret, State.Secret)) return std::nullopt;
    // From here on it is a text of our own.
    const auto Age = std::chrono::minutes(Minute() - Made);
    {
        const std::lock_guard Guard(FMutex);
        if (FLimits.Longest.count() != 0 && Age >= FLimits.Longest) return std::nullopt;
    }
    return State;
}

// ---- under the lock

TSessions::TPlace TSessions::Insert(TSessionState State, std::string_view RemoteAddress) {
    TEntry Entry;
    Entry.State = std::move(State);
    Entry.Key = Entry.State.Secret.substr(0, KeyDigits);
    Entry.RemoteAddress = RemoteAddress;
    Entry.Began = Entry.LastUse = FClock();
    Entry.InUse = 1;
    TEntries& List = ListOf(Entry);
    const TPlace Place = List.insert(List.end(), std::move(Entry));
    FByKey.emplace(Place->Key, Place);
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

bool TSessions::IsTooOld(const TEntry& Entry, TMoment Now) const {
    return FLimits.Longest.count() != 0 && Now - Entry.Began >= FLimits.Longest;
}

TSessions::TEntries TSessions::TakeEnded(std::size_t Room) {
    TEntries Ended;
    const auto Now = FClock();
    for (TEntries* const List : {&FAnonymous, &FSignedIn}) {
        for (auto Entry = List->begin(); Entry != List->end() && Now - Entry->LastUse >= FLimits.Idle;) {
            const auto Next = std::next(Entry);
            if (Entry->InUse == 0) Take(Entry, Ended);
            Entry = Next;
        }
    }
    for (TEntries* const List : {&FAnonymous, &FSignedIn}) {
        for (auto Entry = List->begin(); Entry != List->end() && FByKey.size() > Room;) {
            const auto Next = std::next(Entry);
            if (Entry->InUse == 0) Take(Entry, Ended);
            Entry = Next;
        }
    }
    return Ended;
}

void TSessions::Take(TPlace Place, TEntries& Ended) {
    FByKey.erase(Place->Key);
    Ended.splice(Ended.end(), ListOf(*Place), Place);
}

void TSessions::TakeEvenInUse(TPlace Place, TEntries& Ended) {
    if (Place->InUse == 0) return Take(Place, Ended);
    Ended.push_back({.State = Place->State});
    FByKey.erase(Place->Key);
    FEndedInUse.splice(FEndedInUse.end(), ListOf(*Place), Place);
    Place->Ended = true;
}

void TSessions::Tell(const TEndHook& Hook, const TEntries& Ended) {
    if (!Hook) return;
    for (const TEntry& Entry : Ended) Hook(Entry.State);
}

} // namespace zutools::server
