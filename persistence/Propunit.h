// TPropsStorage: the published properties of objects as text items of sections, stored and loaded through
// three callbacks. It reads and writes nothing itself; Placment.h binds it to settings files and the
// registry.
//
// For the thread that may use the objects; blocks as long as the callbacks do. Loading never raises: a value
// that does not fit leaves its property as it is. Storing raises what the callbacks raise.

#pragma once

#include "host/Components.h"
#include "host/Object.h"
#include "host/Strings.h"

#include <bitset>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace zutools {

/// A set of property kinds, by ordinal.
using TTypeKinds = std::bitset<32>;

/// What this unit stores: every kind but unknown ones and methods. (Some of them have no text; they are
/// passed over.)
[[nodiscard]] TTypeKinds StoredKinds();

/// Joins a component's name to the names of its properties, and a collection item's name to its properties.
inline constexpr std::u16string_view sPropNameDelimiter = u"_";

/// "Component.Property"; empty when either is.
[[nodiscard]] std::u16string CreateStoredItem(std::u16string_view ComponentName,
                                              std::u16string_view PropName);
/// Splits at the first "."; both parts trimmed. False, and both as far as they were read, unless both hold
/// something.
[[nodiscard]] bool ParseStoredItem(std::u16string_view Item, std::u16string& ComponentName,
                                   std::u16string& PropName);
/// Brings a stored list in line with a form. `FromForm`: each entry gets the form's component of its name as
/// its object. Else each entry takes the present name of its object. An entry that has none of these, or does
/// not parse, is deleted. Nothing happens when either is null.
void UpdateStoredList(TComponent* AComponent, TStrings* AStoredList, bool FromForm);

/// A list box of lines with one of them selected (0-based, -1 for none).
class TStringListBox {
public:
    virtual ~TStringListBox() = default;
    [[nodiscard]] virtual TStrings& Items() = 0;
    [[nodiscard]] virtual int ItemIndex() const = 0;
    virtual void SetItemIndex(int Index) = 0;
};
/// Moves the selected line to position `Index` and selects it there; nothing when the place is outside the
/// list.
void MoveListItem(TStringListBox& ListBox, int Index);

/// The text as it is: a hook for texts that are resources.
[[nodiscard]] std::u16string_view ResStr(std::u16string_view Text);

/// The properties of one object that are of certain kinds, ordered by name. An index outside is a fault of
/// the caller.
class TPropInfoList : public TObject {
public:
    /// Empty for no object.
    TPropInfoList(const TObject* AObject, TTypeKinds Filter);

    [[nodiscard]] int Count() const { return static_cast<int>(FItems.size()); }
    [[nodiscard]] const TPropInfo* Items(int Index) const {
        return FItems.at(static_cast<std::size_t>(Index));
    }
    /// The first of that name, ignoring the case of ASCII letters; null when there is none.
    [[nodiscard]] const TPropInfo* Find(std::u16string_view Name) const;
    /// Whether one of the same type has the same name.
    [[nodiscard]] bool Contains(const TPropInfo* Info) const;
    void Delete(int Index);
    /// Deletes what the other list does not contain.
    void Intersect(const TPropInfoList& Other);

private:
    std::vector<const TPropInfo*> FItems;
};

using TReadStrEvent = std::function<std::u16string(std::u16string_view ASection, std::u16string_view Item,
                                                   std::u16string_view Default)>;
using TWriteStrEvent =
    std::function<void(std::u16string_view ASection, std::u16string_view Item, std::u16string_view Value)>;
using TEraseSectEvent = std::function<void(std::u16string_view ASection)>;

class TPropsStorage : public TObject {
public:
    TObject* AObject = nullptr; // whose properties are stored or loaded; not owned
    TComponent* Owner =
        nullptr; // whose components are named without their owner; set while a stored list is at work
    std::u16string Prefix; // in front of every property's name
    std::u16string Section;
    TReadStrEvent OnReadString;
    TWriteStrEvent OnWriteString;
    TEraseSectEvent OnEraseSection;

    virtual std::u16string ReadString(std::u16string_view ASection, std::u16string_view Item,
                                      std::u16string_view Default);
    virtual void WriteString(std::u16string_view ASection, std::u16string_view Item,
                             std::u16string_view Value);
    virtual void EraseSection(std::u16string_view ASection);
    /// The name of a property's item: `Prefix` and the property's name.
    [[nodiscard]] virtual std::u16string GetItemName(std::u16string_view PropName) const;
    /// A storage for the objects that properties hold.
    [[nodiscard]] virtual std::unique_ptr<TPropsStorage> CreateStorage() const;

    /// One property of `AObject`; nothing for null.
    void StoreAnyProperty(const TPropInfo* PropInfo);
    void LoadAnyProperty(const TPropInfo* PropInfo);

    /// The properties of these names, in this order; names that `AObject` does not have are passed over.
    void StoreProperties(const TStrings& PropList);
    void LoadProperties(const TStrings& PropList);

    /// The properties that a stored list names, as items "Component_Property".
    void StoreObjectsProps(TComponent& AComponent, TStrings& StoredList);
    void LoadObjectsProps(TComponent& AComponent, TStrings& StoredList);
    /// The names of the components in a stored list, sorted, each with a TPropInfoList of it; FreeInfoLists
    /// frees them.
    [[nodiscard]] std::unique_ptr<TStringList> CreateInfoList(TComponent& AComponent,
                                                              TStrings& StoredList) const;
    static void FreeInfoLists(std::unique_ptr<TStringList> Info);

    // One kind each: the text of a property of `AObject`, and the property from a text.
    [[nodiscard]] std::u16string StoreIntegerProperty(const TPropInfo& PropInfo) const;
    [[nodiscard]] std::u16string StoreCharProperty(const TPropInfo& PropInfo) const;
    [[nodiscard]] std::u16string StoreEnumProperty(const TPropInfo& PropInfo) const;
    [[nodiscard]] std::u16string StoreFloatProperty(const TPropInfo& PropInfo) const;
    [[nodiscard]] std::u16string StoreStringProperty(const TPropInfo& PropInfo) const;
    [[nodiscard]] std::u16string StoreLStringProperty(const TPropInfo& PropInfo) const;
    [[nodiscard]] std::u16string StoreWCharProperty(const TPropInfo& PropInfo) const;
    [[nodiscard]] std::u16string StoreVariantProperty(const TPropInfo& PropInfo) const;
    [[nodiscard]] std::u16string StoreSetProperty(const TPropInfo& PropInfo) const;
    [[nodiscard]] std::u16string StoreStringsProperty(const TPropInfo& PropInfo);
    [[nodiscard]] std::u16string StoreComponentProperty(const TPropInfo& PropInfo) const;
    [[nodiscard]] std::u16string StoreClassProperty(const TPropInfo& PropInfo);
    void LoadIntegerProperty(std::u16string_view Text, const TPropInfo& PropInfo);
    void LoadCharProperty(std::u16string_view Text, const TPropInfo& PropInfo);
    void LoadEnumProperty(std::u16string_view Text, const TPropInfo& PropInfo);
    void LoadFloatProperty(std::u16string_view Text, const TPropInfo& PropInfo);
    void LoadStringProperty(std::u16string_view Text, const TPropInfo& PropInfo);
    void LoadLStringProperty(std::u16string_view Text, const TPropInfo& PropInfo);
    void LoadWCharProperty(std::u16string_view Text, const TPropInfo& PropInfo);
    void LoadVariantProperty(std::u16string_view Text, const TPropInfo& PropInfo);
    void LoadSetProperty(std::u16string_view Text, const TPropInfo& PropInfo);
    void LoadStringsProperty(std::u16string_view Text, const TPropInfo& PropInfo);
    void LoadComponentProperty(std::u16string_view Text, const TPropInfo& PropInfo);
    void LoadClassProperty(std::u16string_view Text, const TPropInfo& PropInfo);

private:
    // The text of a property that is no object, and a property of any kind from its text.
    [[nodiscard]] std::u16string TextOf(const TPropInfo& PropInfo) const;
    void LoadText(std::u16string_view Text, const TPropInfo& PropInfo);
    // Each lies in PropunitClasses.cpp: what properties hold that are objects.
    void StoreCollection(const TCollection& Collection, const std::u16string& Name);
    void LoadCollection(TCollection& Collection, const std::u16string& Name);
    void StoreNested(TObject& Object, std::u16string APrefix, std::u16string ASection);
    void LoadNested(TObject& Object, std::u16string APrefix, std::u16string ASection);
    template <class TAction>
    void ForStoredList(TComponent& AComponent, TStrings& StoredList, TAction Action);
};

} // namespace zutools
