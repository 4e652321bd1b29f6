// The lists sorted by name: look-up through the name index, and the named objects.

#include "core/Zuslist.h"

namespace zutools {

TZUNameSortedList::TZUNameSortedList() {
    InstallOwnCompare([this](TObject* Item, const TKXVariant& Value) -> std::intptr_t {
        if (Value.Kind() == TVariantKind::vkString) return Match().Compare(NameOf(*Item), Value.StringView());
        return Match().Compare(NameOf(*Item), Value.AsString());
    });
}

inline TNameIndex::TFound TZUNameSortedList::AskIndex(std::u16string_view Name) const {
    if (!IndexAnswers()) return {};
    return FIndex.Find(Name, FIndex.Hash(Name));
}

TObject* TZUNameSortedList::FindForAdd(std::u16string_view Name, int& Index, TNameMatch::THash* Hash) const {
    if (!OwnCompare()) return AddElement(TKXVariant(Name), Index);
    if (IndexAnswers()) {
        const TNameMatch::THash Asked = FIndex.Hash(Name);
        if (Hash != nullptr) *Hash = Asked;
        const TNameIndex::TFound Found = FIndex.Find(Name, Asked);
        if (Found.Answer == TNameIndex::TAnswer::Found) {
            Index = PositionOf(Found);
            return TNameIndex::ItemOf(*Found.Name);
        }
        if (Found.Answer == TNameIndex::TAnswer::Absent) {
            Index = PlaceFor(Name);
            return nullptr;
        }
    }
    const TNameMatch& Names = Match();
    return LookUpForAdd([&](TObject* Item) { return Names.Compare(NameOf(*Item), Name); }, Index);
}

// The place of a name that is known to be absent.
int TZUNameSortedList::PlaceFor(std::u16string_view Name) const {
    const TNameMatch& Names = FIndex.Match();
    int Low = 0;
    int High = Count();
    while (Low < High) {
        const int Middle = Low + (High - Low) / 2;
        const TZUItemName* const Known = FIndex.NameAt(Middle);
        if (Names.Compare(Known != nullptr ? *Known : NameAt(Middle), Name) < 0)
            Low = Middle + 1;
        else
            High = Middle;
    }
    return Low;
}

int TZUNameSortedList::FindNameIndex(std::u16string_view Name) const {
    if (!OwnCompare()) return FindElementIndex(TKXVariant(Name));
    const TNameIndex::TFound Found = AskIndex(Name);
    if (Found.Answer == TNameIndex::TAnswer::Found) return PositionOf(Found);
    if (Found.Answer == TNameIndex::TAnswer::Absent) return -1;
    return SearchOrder(Name);
}

TObject* TZUNameSortedList::FindName(std::u16string_view Name) const {
    if (!OwnCompare()) return FindElement(TKXVariant(Name));
    const TNameIndex::TFound Found = AskIndex(Name);
    if (Found.Answer == TNameIndex::TAnswer::Found) return TNameIndex::ItemOf(*Found.Name);
    if (Found.Answer == TNameIndex::TAnswer::Absent) return nullptr;
    const int Index = SearchOrder(Name);
    return Index >= 0 ? At(Index) : nullptr;
}

int TZUNameSortedList::SearchOrder(std::u16string_view Name) const {
    const TNameMatch& Names = Match();
    return LookUp([&](TObject* Item) { return Names.Compare(NameOf(*Item), Name); });
}

// The remembered position is right unless items came or went before it; then the order tells the new one.
int TZUNameSortedList::PositionOf(const TNameIndex::TFound& Found) const {
    if (Found.Position >= 0) return Found.Position;
    const TZUItemName& Name = *Found.Name;
    const int Remembered = TNameIndex::PositionOf(Name);
    const TObject* const Item = TNameIndex::ItemOf(Name);
    if (Remembered < Count() && At(Remembered) == Item) return Remembered;
    const TNameMatch& Names = Match();
    int Index = -1;
    LookUpForAdd([&](TObject* Other) { return Names.Compare(NameOf(*Other), Name); }, Index);
    TNameIndex::RememberPosition(Name, Index);
    return Index;
}

bool TZUNameSortedList::InOrder(int Left, int Right) const {
    return Left < 0 || Right >= Count() || Match().Compare(NameAt(Left), NameAt(Right)) < 0;
}

void TZUNameSortedList::RefreshIndex() {
    if (MethodID != midBinary || FBrokenFor == &Match()) return;
    bool Sound = true;
    for (int Index = 0; Sound && Index < Count(); ++Index) Sound = InOrder(Index - 1, Index);
    if (Sound) FIndex.Reset(Match());
    for (int Index = 0; Sound && Index < Count(); ++Index)
        Sound = FIndex.Enter(NameAt(Index), *At(Index), Index, FIndex.Hash(NameAt(Index)));
    if (Sound) return;
    FIndex.Invalidate();
    FBrokenFor = &Match();
}

void TZUNameSortedList::InsertFound(int Index, TObject& Item, TNameMatch::THash Hash) {
    // A valid index means that the names rise strictly. Then the place that was looked up keeps them so, and
    // ItemInserted need not compare the item with its neighbours.
    if (OwnCompare() && IndexAnswers()) FLookedUp = &Hash;
    try {
        Insert(Index, &Item);
    } catch (...) {
        FLookedUp = nullptr;
        throw;
    }
    FLookedUp = nullptr;
}

void TZUNameSortedList::ItemInserted(int Index) {
    const TNameMatch::THash* const LookedUp = std::exchange(FLookedUp, nullptr); // Notify may insert too
    if (Count() == 1) {
        FBrokenFor = nullptr;
        if (LookedUp == nullptr) FIndex.Reset(Match());
    }
    if (!IndexAnswers()) {
        FIndex.Invalidate();
        return;
    }
    if (LookedUp == nullptr && !(InOrder(Index - 1, Index) && InOrder(Index, Index + 1))) {
        FIndex.Invalidate();
        return;
    }
    TZUItemName& Name = NameAt(Index);
    if (!FIndex.Enter(Name, *At(Index), Index, LookedUp != nullptr ? *LookedUp : FIndex.Hash(Name)))
        FIndex.Invalidate();
}

void TZUNameSortedList::ItemRemoved(TObject* Item, int Index) {
    FIndex.Leave(NameOf(*Item), Index);
}

// ---- named objects

namespace {

TZUNamedObject& AsNamedObject(TObject* Item) {
    return static_cast<TZUNamedObject&>(*Item); // CheckItem let nothing else in
}

} // namespace

const TClassInfo& TZUNamedObject::StaticClass() {
    static constexpr TClassInfo Info{
        .Name = u"TZUNamedObject",
        .Parent = &TObject::StaticClass,
        .Create = [] { return std::unique_ptr<TObject>(std::make_unique<TZUNamedObject>()); },
    };
    return Info;
}
const TClassInfo& TZUNamedObject::ClassInfo() const {
    return StaticClass();
}

const TClassInfo& TZUSortedNamedObjects::StaticClass() {
    static constexpr TClassInfo Info{
        .Name = u"TZUSortedNamedObjects",
        .Parent = &TZUSortedObjectList::StaticClass,
        .Create = [] { return std::unique_ptr<TObject>(std::make_unique<TZUSortedNamedObjects>()); },
    };
    return Info;
}
const TClassInfo& TZUSortedNamedObjects::ClassInfo() const {
    return StaticClass();
}

TZUSortedNamedObjects::~TZUSortedNamedObjects() {
    Clear();
}

std::unique_ptr<TObject> TZUSortedNamedObjects::TakeOwned(TZUNamedObject& Entry) const {
    const bool Owned = Entry.DelObject == 1 || (Entry.DelObject == 0 && FlagDestroyObject);
    std::unique_ptr<TObject> Result(Owned ? Entry.Data : nullptr);
    Entry.Data = nullptr;
    return Result;
}

int TZUSortedNamedObjects::AddObject(std::u16string_view Name, TObject* Object, std::uint8_t DelObject) {
    int Index = -1;
    auto& Entry = FindOrInsert<TZUNamedObject>(
        Name, Index, [] { return std::make_unique_for_overwrite<TZUNamedObject>(); });
    // Kept on purpose: the old object is not compared with the new one. Who stores an object again over
    // itself has it freed by the entry's old rule, as with any other that is replaced.
    const std::unique_ptr<TObject> Old = TakeOwned(Entry);
    Entry.Data = Object;
    Entry.DelObject = DelObject;
    return Index;
}

void TZUSortedNamedObjects::InsertObject(int Index, std::u16string_view Name, TObject* Object,
                                         std::uint8_t DelObject) {
    auto Entry = std::make_unique<TZUNamedObject>();
    Entry->Name = Name;
    Entry->Data = Object;
    Entry->DelObject = DelObject;
    Insert(Index, Entry.get());
    Entry.release();
}

bool TZUSortedNamedObjects::FindObject(std::u16string_view Name, int& Index) const {
    return FindForAdd(Name, Index) != nullptr;
}

void TZUSortedNamedObjects::RemoveObject(std::u16string_view Name) {
    if (const int Index = FindNameIndex(Name); Index >= 0) Delete(Index);
}

void TZUSortedNamedObjects::Assign(const TObject& Source) {
    if (&Source == this || !Source.ClassInfo().InheritsFrom(StaticClass())) return;
    const auto& Other = static_cast<const TZUSortedNamedObjects&>(Source);
    Clear();
    for (int Index = 0; Index < Other.Count(); ++Index) {
        const TZUNamedObject& Entry = AsNamedObject(Other.At(Index));
        AddObject(Entry.Name, Entry.Data, Entry.DelObject);
    }
}

TObject* TZUSortedNamedObjects::Objects(int Index) const {
    return Index >= 0 && Index < Count() ? AsNamedObject(At(Index)).Data : nullptr;
}

void TZUSortedNamedObjects::SetObjects(int Index, TObject* Object) {
    if (Index < 0 || Index >= Count()) return;
    TZUNamedObject& Entry = AsNamedObject(At(Index));
    const std::unique_ptr<TObject> Old = TakeOwned(Entry); // even when it is `Object`: see AddObject
    Entry.Data = Object;
}

const std::u16string& TZUSortedNamedObjects::Names(int Index) const {
    if (Index >= 0 && Index < Count()) return AsNamedObject(At(Index)).Name.Text();
    static const std::u16string Empty;
    return Empty;
}

TObject* TZUSortedNamedObjects::ObjectByName(std::u16string_view Name) const {
    TObject* const Item = FindName(Name);
    return Item != nullptr ? AsNamedObject(Item).Data : nullptr;
}

void TZUSortedNamedObjects::Notify(TObject* Item, TListNotification Action) {
    std::unique_ptr<TObject> Old;
    if (Action == TListNotification::lnDeleted) Old = TakeOwned(AsNamedObject(Item));
    TZUNameSortedList::Notify(Item, Action);
}

void TZUSortedNamedObjects::CheckItem(TObject* Item) const {
    if (ObjectCast<TZUNamedObject>(Item) == nullptr) FailItem(Item);
}

TZUItemName& TZUSortedNamedObjects::NameOf(TObject& Item) const {
    return AsNamedObject(&Item).Name;
}

} // namespace zutools
