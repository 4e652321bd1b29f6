#include "host/ThreadContainer.h"

#include "host/StringHelpers.h"

#include <algorithm>
#include <atomic>
#include <utility>

namespace zutools {

std::uint64_t ThreadNumber() {
    static std::atomic<std::uint64_t> Last{0};
    // Plain data, because a thread-local with a destructor is broken on MinGW.
    static thread_local std::uint64_t Number = 0;
    if (Number == 0) Number = ++Last;
    return Number;
}

namespace {

std::uint64_t NextContainerNumber() {
    static std::atomic<std::uint64_t> Last{0};
    return ++Last;
}

// Where the thread found its objects last, so that the session is read without a lock.
struct TRemembered {
    std::uint64_t Container = 0;
    void* Named = nullptr;
};
thread_local TRemembered Remembered;

} // namespace

const TClassInfo& TThreadContainerParentObject::StaticClass() {
    static constexpr TClassInfo Info{u"TThreadContainerParentObject", &TObject::StaticClass};
    return Info;
}
const TClassInfo& TThreadContainerParentObject::ClassInfo() const {
    return StaticClass();
}

TThreadContainer::~TThreadContainer() = default;

void TThreadContainer::SetReuseObjects(bool Value) {
    std::vector<TOwnedData> Dropped;
    const std::lock_guard Guard(FMutex);
    FReuseObjects = Value;
    if (!Value) Dropped.swap(FSpare);
}

TThreadContainerParentObject* TThreadContainer::GetData() {
    const std::uint64_t Thread = ThreadNumber();
    {
        const std::lock_guard Guard(FMutex);
        const auto Found = FItems.find(Thread);
        if (Found != FItems.end()) return Found->second.get();
        if (!FSpare.empty()) {
            TOwnedData& Item = FItems[Thread];
            Item = std::move(FSpare.back());
            FSpare.pop_back();
            return Item.get();
        }
    }
    TOwnedData Item = CreateData();
    if (!Item) return nullptr;
    const std::lock_guard Guard(FMutex);
    // CreateData may have asked for the data itself: the first item stays, as others may know it.
    return FItems.try_emplace(Thread, std::move(Item)).first->second.get();
}

void TThreadContainer::ReleaseThreadData() {
    TOwnedData Dropped;
    const std::lock_guard Guard(FMutex);
    const auto Found = FItems.find(ThreadNumber());
    if (Found == FItems.end()) return;
    if (FReuseObjects) {
        FSpare.push_back(std::move(Found->second));
    } else {
        Dropped = std::move(Found->second);
    }
    FItems.erase(Found);
}

TThreadObjects::TThreadObjects()
    : FNumber(NextContainerNumber()) {}
TThreadObjects::~TThreadObjects() = default;

TThreadObjects::TNamed* TThreadObjects::FindOwn() const {
    if (Remembered.Container == FNumber) return static_cast<TNamed*>(Remembered.Named);
    const std::lock_guard Guard(FMutex);
    const auto Found = FThreads.find(ThreadNumber());
    // The address holds until this thread clears its objects: the map moves no element. That there are none
    // is remembered too: nobody but this thread can add any.
    TNamed* const Own = Found == FThreads.end() ? nullptr : &Found->second;
    Remembered = {FNumber, Own};
    return Own;
}

void TThreadObjects::Add(std::u16string_view Name, std::unique_ptr<TObject> Object) {
    if (!Object) return Remove(Name);
    TNamed* Own = FindOwn();
    if (Own == nullptr) {
        const std::lock_guard Guard(FMutex);
        Own = &FThreads[ThreadNumber()];
        Remembered = {FNumber, Own};
    }
    TPlace* Entry = Find(Own, Name);
    if (Entry == nullptr) {
        const auto Free =
            std::find_if(Own->begin(), Own->end(), [](const TPlace& Each) { return Each.Object == nullptr; });
        Entry = Free != Own->end() ? &*Free : &Own->emplace_back();
        Entry->Name = Name;
    }
    // Swapped in before the old object dies, for its destructor may ask for the name.
    Entry->Object.swap(Object);
}

TThreadObjects::TPlace* TThreadObjects::Find(TNamed* Own, std::u16string_view Name) {
    if (Own == nullptr) return nullptr;
    for (TPlace& Entry : *Own)
        if (SameUnits(Entry.Name, Name)) return &Entry;
    for (TPlace& Entry : *Own)
        if (SameText(Entry.Name, Name)) return &Entry;
    return nullptr;
}

TObject* TThreadObjects::Get(std::u16string_view Name) const {
    const TPlace* const Entry = Find(FindOwn(), Name);
    return Entry == nullptr ? nullptr : Entry->Object.get();
}

void TThreadObjects::Remove(std::u16string_view Name) {
    Take(Name).reset();
}

std::unique_ptr<TObject> TThreadObjects::Take(std::u16string_view Name) {
    TPlace* const Entry = Find(FindOwn(), Name);
    return Entry == nullptr ? nullptr : std::move(Entry->Object);
}

void TThreadObjects::Clear() {
    TNamed Dropped; // destroyed last, without the lock
    if (Remembered.Container == FNumber) Remembered = {};
    const std::lock_guard Guard(FMutex);
    const auto Found = FThreads.find(ThreadNumber());
    if (Found == FThreads.end()) return;
    Dropped = std::move(Found->second);
    FThreads.erase(Found);
}

TThreadObjects& ThreadObjects() {
    // Never destroyed: objects of other statics may still ask for the session at exit.
    static TThreadObjects& Objects = *new TThreadObjects;
    return Objects;
}

} // namespace zutools
