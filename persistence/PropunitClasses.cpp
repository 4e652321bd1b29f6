// Properties that hold objects: string lists, collections, components, and others with properties of their
// own.

#include "persistence/Propunit.h"

#include "host/Format.h"
#include "host/Numbers.h"
#include "host/StringHelpers.h"
#include "host/Variant.h"

namespace zutools {

namespace {

constexpr std::u16string_view NullReference = u"(null)";
constexpr std::u16string_view CountItem = u"Count";
constexpr int MostItems = 1'000'000; // a larger count in a file is no count

std::u16string Joined(std::u16string_view Section, std::u16string_view Name) {
    return Format(u"%s.%s", {Section, Name});
}

std::u16string ItemName(int Index) {
    return Format(u"Item%d", {Index});
}

std::u16string ItemPrefix(int Index) {
    return ItemName(Index).append(sPropNameDelimiter);
}

class TCollectionUpdate {
public:
    explicit TCollectionUpdate(TCollection& Collection)
        : FCollection(Collection) {
        FCollection.BeginUpdate();
    }
    ~TCollectionUpdate() { FCollection.EndUpdate(); }
    TCollectionUpdate(const TCollectionUpdate&) = delete;
    TCollectionUpdate& operator=(const TCollectionUpdate&) = delete;

private:
    TCollection& FCollection;
};

// The name of an owner; of one without a name its class's, without the leading "T".
std::u16string OwnerPart(const TComponent& Owner) {
    if (std::u16string Name = Owner.Name(); !Name.empty()) return Name;
    const std::u16string_view Class = Owner.ClassName();
    return std::u16string(Class.starts_with(u'T') || Class.starts_with(u't') ? Class.substr(1) : Class);
}

} // namespace

// Kept on purpose: a property that holds nothing stores and loads nothing, since what it could hold is not
// known. A reference that was cleared comes back as it was stored before.
std::u16string TPropsStorage::StoreClassProperty(const TPropInfo& PropInfo) {
    TObject* const Held = PropInfo.Get(*AObject).AsObject();
    if (ObjectCast<TComponent>(Held) != nullptr) return StoreComponentProperty(PropInfo);
    if (ObjectCast<TStrings>(Held) != nullptr)
        static_cast<void>(StoreStringsProperty(PropInfo));
    else if (auto* const Collection = ObjectCast<TCollection>(Held))
        StoreCollection(*Collection, GetItemName(PropInfo.Name));
    if (Held != nullptr) StoreNested(*Held, GetItemName(PropInfo.Name), Section);
    return {};
}

void TPropsStorage::LoadClassProperty(std::u16string_view Text, const TPropInfo& PropInfo) {
    TObject* const Held = PropInfo.Get(*AObject).AsObject();
    if (ObjectCast<TComponent>(Held) != nullptr) return LoadComponentProperty(Text, PropInfo);
    if (ObjectCast<TStrings>(Held) != nullptr)
        LoadStringsProperty(Text, PropInfo);
    else if (auto* const Collection = ObjectCast<TCollection>(Held))
        LoadCollection(*Collection, GetItemName(PropInfo.Name));
    if (Held != nullptr) LoadNested(*Held, GetItemName(PropInfo.Name), Section);
}

// ---- string lists

std::u16string TPropsStorage::StoreStringsProperty(const TPropInfo& PropInfo) {
    const auto* const Lines = ObjectCast<TStrings>(PropInfo.Get(*AObject).AsObject());
    const std::u16string SectName = Joined(Section, GetItemName(PropInfo.Name));
    EraseSection(SectName);
    if (Lines == nullptr || Lines->Count() == 0) return {};
    WriteString(SectName, CountItem, IntToStr(Lines->Count()));
    for (int Index = 0; Index < Lines->Count(); ++Index)
        WriteString(SectName, ItemName(Index), Lines->Strings(Index));
    return {};
}

void TPropsStorage::LoadStringsProperty(std::u16string_view, const TPropInfo& PropInfo) {
    auto* const Lines = ObjectCast<TStrings>(PropInfo.Get(*AObject).AsObject());
    const std::u16string SectName = Joined(Section, GetItemName(PropInfo.Name));
    const int Count = StrToIntDef(Trim(ReadString(SectName, CountItem, u"0")), 0);
    if (Count <= 0 || Count > MostItems || Lines == nullptr) return;
    TStringList Read;
    for (int Index = 0; Index < Count; ++Index) Read.Add(ReadString(SectName, ItemName(Index), u""));
    Lines->Assign(Read);
}

// ---- collections

void TPropsStorage::StoreCollection(const TCollection& Collection, const std::u16string& Name) {
    const std::u16string SectName = Joined(Section, Name);
    EraseSection(SectName);
    WriteString(Section, Joined(Name, CountItem), IntToStr(Collection.Count()));
    for (int Index = 0; Index < Collection.Count(); ++Index)
        StoreNested(Collection.Items(Index), ItemPrefix(Index), SectName);
}

void TPropsStorage::LoadCollection(TCollection& Collection, const std::u16string& Name) {
    const std::u16string Present = IntToStr(Collection.Count());
    const int Count = StrToIntDef(ReadString(Section, Joined(Name, CountItem), Present), 0);
    if (Count > MostItems) return;
    const TCollectionUpdate Update(Collection);
    if (Count != Collection.Count()) {
        Collection.Clear();
        while (Collection.Count() < Count) Collection.Add();
    }
    for (int Index = 0; Index < Collection.Count(); ++Index)
        LoadNested(Collection.Items(Index), ItemPrefix(Index), Joined(Section, Name));
}

// ---- references to components

std::u16string TPropsStorage::StoreComponentProperty(const TPropInfo& PropInfo) const {
    const auto* const Component = ObjectCast<TComponent>(PropInfo.Get(*AObject).AsObject());
    if (Component == nullptr) return std::u16string(NullReference);
    if (Component->Owner() == nullptr || Component->Owner() == Owner) return Component->Name();
    return Joined(OwnerPart(*Component->Owner()), Component->Name());
}

void TPropsStorage::LoadComponentProperty(std::u16string_view Text, const TPropInfo& PropInfo) {
    const std::u16string_view Name = Trim(Text);
    if (Name.empty()) return;
    TComponent* Component = nullptr;
    if (!SameText(Name, NullReference)) {
        const std::size_t Dot = Name.find(u'.');
        const TComponent* const NamedOwner =
            Dot == Name.npos ? Owner : FindGlobalComponent(Trim(Name.substr(0, Dot)));
        if (NamedOwner == nullptr) return;
        Component = NamedOwner->FindComponent(Dot == Name.npos ? Name : Trim(Name.substr(Dot + 1)));
    }
    if (PropInfo.Set != nullptr) PropInfo.Set(*AObject, TKXVariant::Object(Component));
}

// ---- objects with properties of their own

void TPropsStorage::StoreNested(TObject& Object, std::u16string APrefix, std::u16string ASection) {
    const std::unique_ptr<TPropsStorage> Nested = CreateStorage();
    Nested->AObject = &Object;
    Nested->Prefix = std::move(APrefix);
    Nested->Section = std::move(ASection);
    Nested->OnWriteString = OnWriteString;
    Nested->OnEraseSection = OnEraseSection;
    const TPropInfoList Known(&Object, StoredKinds());
    for (int Index = 0; Index < Known.Count(); ++Index) Nested->StoreAnyProperty(Known.Items(Index));
}

void TPropsStorage::LoadNested(TObject& Object, std::u16string APrefix, std::u16string ASection) {
    const std::unique_ptr<TPropsStorage> Nested = CreateStorage();
    Nested->AObject = &Object;
    Nested->Prefix = std::move(APrefix);
    Nested->Section = std::move(ASection);
    Nested->OnReadString = OnReadString;
    const TPropInfoList Known(&Object, StoredKinds());
    for (int Index = 0; Index < Known.Count(); ++Index) Nested->LoadAnyProperty(Known.Items(Index));
}

} // namespace zutools
