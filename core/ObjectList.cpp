#include "core/ObjectList.h"

#include "host/Exception.h"
#include "host/Format.h"

#include <algorithm>
#include <memory>

namespace zutools {

namespace {

[[noreturn]] void FailIndex(int Index) {
    throw Exception(Format(u"List index out of bounds (%d)", {Index}));
}

} // namespace

const TClassInfo& TObjectList::StaticClass() {
    static constexpr TClassInfo Info{
        .Name = u"TObjectList",
        .Parent = &TObject::StaticClass,
        .Create = [] { return std::unique_ptr<TObject>(std::make_unique<TObjectList>()); },
    };
    return Info;
}
const TClassInfo& TObjectList::ClassInfo() const {
    return StaticClass();
}

TObjectList::~TObjectList() {
    Clear();
}

TObject* TObjectList::Items(int Index) const {
    if (Index < 0 || Index >= Count()) FailIndex(Index);
    return At(Index);
}

int TObjectList::IndexOf(const TObject* Item) const {
    const auto Found = std::ranges::find(FItems, Item);
    return Found == FItems.end() ? -1 : static_cast<int>(Found - FItems.begin());
}

int TObjectList::Add(TObject* Item) {
    const int Index = Count();
    Insert(Index, Item);
    return Index;
}

void TObjectList::Insert(int Index, TObject* Item) {
    if (Index < 0 || Index > Count()) FailIndex(Index);
    CheckItem(Item);
    if (FItems.size() == FItems.capacity()) FItems.reserve(std::max<std::size_t>(16, FItems.size() * 2));
    FItems.insert(FItems.begin() + Index, Item);
    try {
        ItemInserted(Index);
        Notify(Item, TListNotification::lnAdded);
    } catch (...) {
        if (const int Place = IndexOf(Item); Place >= 0) TakeOut(Place); // Notify may have moved it
        throw;
    }
}

void TObjectList::TakeOut(int Index) {
    TObject* const Item = At(Index);
    FItems.erase(FItems.begin() + Index); // first of all: what follows may come back to this list
    ItemRemoved(Item, Index);
}

void TObjectList::Delete(int Index) {
    TObject* const Item = Items(Index);
    const std::unique_ptr<TObject> Owned(OwnsObjects ? Item : nullptr);
    TakeOut(Index);
    Notify(Item, TListNotification::lnDeleted);
}

void TObjectList::Clear() {
    while (!FItems.empty()) {
        TObject* const Item = FItems.back();
        const std::unique_ptr<TObject> Owned(OwnsObjects ? Item : nullptr);
        FItems.pop_back();
        ItemRemoved(Item, Count());
        Notify(Item, TListNotification::lnDeleted);
    }
}

void TObjectList::Notify(TObject* /*Item*/, TListNotification /*Action*/) {}
void TObjectList::CheckItem(TObject* /*Item*/) const {}
void TObjectList::ItemInserted(int /*Index*/) {}
void TObjectList::ItemRemoved(TObject* /*Item*/, int /*Index*/) {}

} // namespace zutools
