// The stored-list functions and TPropInfoList.

#include "persistence/Propunit.h"

#include "host/StringHelpers.h"

#include <algorithm>

namespace zutools {

TTypeKinds StoredKinds() {
    TTypeKinds Kinds;
    for (std::size_t Kind = 0; Kind <= static_cast<std::size_t>(TTypeKind::tkProcedure); ++Kind)
        Kinds.set(Kind);
    return Kinds.reset(static_cast<std::size_t>(TTypeKind::tkUnknown))
        .reset(static_cast<std::size_t>(TTypeKind::tkMethod));
}

std::u16string CreateStoredItem(std::u16string_view ComponentName, std::u16string_view PropName) {
    if (ComponentName.empty() || PropName.empty()) return {};
    return std::u16string(ComponentName).append(u".").append(PropName);
}

bool ParseStoredItem(std::u16string_view Item, std::u16string& ComponentName, std::u16string& PropName) {
    const std::size_t Dot = Item.find(u'.');
    if (Dot == Item.npos) return false;
    ComponentName = Trim(Item.substr(0, Dot));
    PropName = Trim(Item.substr(Dot + 1));
    return !ComponentName.empty() && !PropName.empty();
}

void UpdateStoredList(TComponent* AComponent, TStrings* AStoredList, bool FromForm) {
    if (AComponent == nullptr || AStoredList == nullptr) return;
    std::u16string ComponentName, PropName;
    for (int Index = AStoredList->Count() - 1; Index >= 0; --Index) {
        const bool Parses = ParseStoredItem(AStoredList->Strings(Index), ComponentName, PropName);
        TComponent* const Component = !Parses    ? nullptr
                                      : FromForm ? AComponent->FindComponent(ComponentName)
                                                 : ObjectCast<TComponent>(AStoredList->Objects(Index));
        if (Component == nullptr)
            AStoredList->Delete(Index);
        else if (FromForm)
            AStoredList->SetObjects(Index, Component);
        else
            AStoredList->SetStrings(Index, CreateStoredItem(Component->Name(), PropName));
    }
}

void MoveListItem(TStringListBox& ListBox, int Index) {
    TStrings& Items = ListBox.Items();
    const int From = ListBox.ItemIndex();
    if (Index < 0 || Index >= Items.Count() || From < 0) return;
    const std::u16string Line = Items.Strings(From);
    TObject* const Object = Items.Objects(From);
    {
        const TUpdateScope Update(Items);
        Items.Delete(From);
        Items.Insert(Index, Line);
        Items.SetObjects(Index, Object);
    }
    ListBox.SetItemIndex(Index);
}

std::u16string_view ResStr(std::u16string_view Text) {
    return Text;
}

TPropInfoList::TPropInfoList(const TObject* AObject, TTypeKinds Filter) {
    if (AObject == nullptr) return;
    FItems = AObject->ClassInfo().AllProperties();
    std::erase_if(FItems, [Filter](const TPropInfo* Info) {
        return !Filter.test(static_cast<std::size_t>(Info->Kind));
    });
}

const TPropInfo* TPropInfoList::Find(std::u16string_view Name) const {
    const auto Found = std::find_if(FItems.begin(), FItems.end(),
                                    [Name](const TPropInfo* Info) { return SameText(Info->Name, Name); });
    return Found == FItems.end() ? nullptr : *Found;
}

bool TPropInfoList::Contains(const TPropInfo* Info) const {
    return std::any_of(FItems.begin(), FItems.end(), [Info](const TPropInfo* Known) {
        return Known->Kind == Info->Kind && Known->TypeName == Info->TypeName &&
               SameText(Known->Name, Info->Name);
    });
}

void TPropInfoList::Delete(int Index) {
    static_cast<void>(FItems.at(static_cast<std::size_t>(Index)));
    FItems.erase(FItems.begin() + Index);
}

void TPropInfoList::Intersect(const TPropInfoList& Other) {
    std::erase_if(FItems, [&Other](const TPropInfo* Info) { return !Other.Contains(Info); });
}

} // namespace zutools
