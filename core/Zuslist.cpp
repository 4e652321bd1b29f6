#include "core/Zuslist.h"

#include "host/Exception.h"
#include "host/Format.h"

namespace zutools {

const TClassInfo& TZUSortedObjectList::StaticClass() {
    static constexpr TClassInfo Info{
        .Name = u"TZUSortedObjectList",
        .Parent = &TObjectList::StaticClass,
        .Create = [] { return std::unique_ptr<TObject>(std::make_unique<TZUSortedObjectList>()); },
    };
    return Info;
}
const TClassInfo& TZUSortedObjectList::ClassInfo() const {
    return StaticClass();
}

void TZUSortedObjectList::SetCompareFunc(TZUSortedObjectListCompareFunc Func) {
    FCompareFunc = std::move(Func);
    FOwnCompare = false;
}

void TZUSortedObjectList::InstallOwnCompare(TZUSortedObjectListCompareFunc Func) {
    FCompareFunc = std::move(Func);
    FOwnCompare = true;
}

// Without a comparison every item orders before every key: nothing is found, and new items go to the end.
std::intptr_t TZUSortedObjectList::CompareWith(TObject* Item, const TKXVariant& Value) const {
    return FCompareFunc ? FCompareFunc(Item, Value) : -1;
}

TObject* TZUSortedObjectList::AddElement(const TKXVariant& Value, int& Index) const {
    return LookUpForAdd([&](TObject* Item) { return CompareWith(Item, Value); }, Index);
}

int TZUSortedObjectList::FindElementIndex(const TKXVariant& Value) const {
    return LookUp([&](TObject* Item) { return CompareWith(Item, Value); });
}

TObject* TZUSortedObjectList::FindElement(const TKXVariant& Value) const {
    const int Index = FindElementIndex(Value);
    return Index >= 0 ? At(Index) : nullptr;
}

void TZUSortedObjectList::RemoveElement(const TKXVariant& Value) {
    if (const int Index = FindElementIndex(Value); Index >= 0) Delete(Index);
}

void TZUSortedObjectList::FailItem(const TObject* Item) const {
    throw EIObjectError(Format(u"A list of class %s cannot hold %s%s",
                               {ClassName(), Item != nullptr ? u"an object of class " : u"an empty reference",
                                Item != nullptr ? Item->ClassName() : std::u16string_view()}));
}

// ---- by identity

namespace {

// Whole addresses, in the order of their numbers.
std::intptr_t CompareAddress(const TObject* Item, std::uintptr_t Key) {
    const auto Address = reinterpret_cast<std::uintptr_t>(Item);
    return (Address > Key) - (Address < Key);
}

std::uintptr_t AddressOf(const TObject* Object) {
    return reinterpret_cast<std::uintptr_t>(Object);
}

} // namespace

const TClassInfo& TZUSortedObjects::StaticClass() {
    static constexpr TClassInfo Info{
        .Name = u"TZUSortedObjects",
        .Parent = &TZUSortedObjectList::StaticClass,
        .Create = [] { return std::unique_ptr<TObject>(std::make_unique<TZUSortedObjects>()); },
    };
    return Info;
}
const TClassInfo& TZUSortedObjects::ClassInfo() const {
    return StaticClass();
}

TZUSortedObjects::TZUSortedObjects() {
    InstallOwnCompare([](TObject* Item, const TKXVariant& Value) {
        const bool IsObject = Value.Kind() == TVariantKind::vkObject;
        return CompareAddress(Item, IsObject ? AddressOf(Value.AsObject())
                                             : static_cast<std::uintptr_t>(Value.AsInt64()));
    });
}

int TZUSortedObjects::AddObject(TObject* Object) {
    int Index = -1;
    if (!FindObject(Object, Index)) Insert(Index, Object);
    return Index;
}

bool TZUSortedObjects::FindObject(const TObject* Object, int& Index) const {
    if (!OwnCompare()) return AddElement(PointerAsLVar(const_cast<TObject*>(Object)), Index) != nullptr;
    const std::uintptr_t Key = AddressOf(Object);
    const int Before = Count();
    Index = -1;
    const TObject* const Found =
        LookUpForAdd([Key](const TObject* Item) { return CompareAddress(Item, Key); }, Index);
    // A null reference may be an item too, and found.
    return Found != nullptr || (Object == nullptr && Index >= 0 && Index < Before &&
                                MethodID != midUnsortedDublicate && At(Index) == nullptr);
}

void TZUSortedObjects::RemoveObject(const TObject* Object) {
    if (!OwnCompare()) {
        RemoveElement(PointerAsLVar(const_cast<TObject*>(Object)));
        return;
    }
    const std::uintptr_t Key = AddressOf(Object);
    const int Index = LookUp([Key](const TObject* Item) { return CompareAddress(Item, Key); });
    if (Index >= 0) Delete(Index);
}

// ---- by integer

const TClassInfo& TZUIDObject::StaticClass() {
    static constexpr TClassInfo Info{
        .Name = u"TZUIDObject",
        .Parent = &TObject::StaticClass,
        .Create = [] { return std::unique_ptr<TObject>(std::make_unique<TZUIDObject>()); },
    };
    return Info;
}
const TClassInfo& TZUIDObject::ClassInfo() const {
    return StaticClass();
}

const TClassInfo& TZUSortedIDObjects::StaticClass() {
    static constexpr TClassInfo Info{
        .Name = u"TZUSortedIDObjects",
        .Parent = &TZUSortedObjectList::StaticClass,
        .Create = [] { return std::unique_ptr<TObject>(std::make_unique<TZUSortedIDObjects>()); },
    };
    return Info;
}
const TClassInfo& TZUSortedIDObjects::ClassInfo() const {
    return StaticClass();
}

namespace {

TZUIDObject& AsIDObject(TObject* Item) {
    return static_cast<TZUIDObject&>(*Item); // CheckItem let nothing else in
}

// Kept on purpose: a subtraction with wrap-around, not a comparison. IDs of opposite sign that lie more than
// 2^31 apart order the wrong way round, and stored orders rely on it.
std::int32_t CompareID(TObject* Item, std::int32_t Key) {
    return static_cast<std::int32_t>(static_cast<std::uint32_t>(AsIDObject(Item).ID) -
                                     static_cast<std::uint32_t>(Key));
}

} // namespace

TZUSortedIDObjects::TZUSortedIDObjects() {
    InstallOwnCompare([](TObject* Item, const TKXVariant& Value) -> std::intptr_t {
        return CompareID(Item, Value.AsInteger());
    });
}

TZUSortedIDObjects::~TZUSortedIDObjects() {
    Clear();
}

int TZUSortedIDObjects::AddObject(std::int32_t Ident, TObject* Object) {
    int Index = -1;
    if (!FindObject(Ident, Index)) {
        InsertObject(Index, Ident, Object);
        return Index;
    }
    SetObjects(Index, Object);
    return Index;
}

void TZUSortedIDObjects::InsertObject(int Index, std::int32_t Ident, TObject* Object) {
    auto Entry = std::make_unique<TZUIDObject>();
    Entry->ID = Ident;
    Entry->Data = Object;
    Insert(Index, Entry.get());
    Entry.release();
}

bool TZUSortedIDObjects::FindObject(std::int32_t Ident, int& Index) const {
    if (!OwnCompare()) return AddElement(TKXVariant(Ident), Index) != nullptr;
    return LookUpForAdd([Ident](TObject* Item) { return CompareID(Item, Ident); }, Index) != nullptr;
}

int TZUSortedIDObjects::FindIndex(std::int32_t Ident) const {
    if (!OwnCompare()) return FindElementIndex(TKXVariant(Ident));
    return LookUp([Ident](TObject* Item) { return CompareID(Item, Ident); });
}

void TZUSortedIDObjects::RemoveObject(std::int32_t Ident) {
    if (const int Index = FindIndex(Ident); Index >= 0) Delete(Index);
}

TObject* TZUSortedIDObjects::Objects(int Index) const {
    return Index >= 0 && Index < Count() ? AsIDObject(At(Index)).Data : nullptr;
}

void TZUSortedIDObjects::SetObjects(int Index, TObject* Object) {
    if (Index < 0 || Index >= Count()) return;
    TZUIDObject& Entry = AsIDObject(At(Index));
    // Kept on purpose: the old object is not compared with the new one. Who stores an object again over
    // itself has it freed, as with any other that is replaced.
    const std::unique_ptr<TObject> Old(FlagDestroyObject ? Entry.Data : nullptr);
    Entry.Data = Object;
}

std::int32_t TZUSortedIDObjects::ID(int Index) const {
    return Index >= 0 && Index < Count() ? AsIDObject(At(Index)).ID : 0;
}

TObject* TZUSortedIDObjects::ObjectByID(std::int32_t Ident) const {
    return Objects(FindIndex(Ident));
}

void TZUSortedIDObjects::Notify(TObject* Item, TListNotification Action) {
    if (Action == TListNotification::lnDeleted) {
        TZUIDObject& Entry = AsIDObject(Item);
        const std::unique_ptr<TObject> Old(FlagDestroyObject ? Entry.Data : nullptr);
        Entry.Data = nullptr;
    }
    TZUSortedObjectList::Notify(Item, Action);
}

void TZUSortedIDObjects::CheckItem(TObject* Item) const {
    if (ObjectCast<TZUIDObject>(Item) == nullptr) FailItem(Item);
}

} // namespace zutools
