// Keyed sorted object lists: the containers that the rest of the library keeps its objects in.
//
//     TZUSortedParams Params;
//     Params.AddParam(u"Customer", u"42");
//     Params.Value(u"customer");            // "42": names compare by the user's collation, without case
//
// A list keeps its items ordered by one comparison and finds them by binary search, or keeps insertion order
// and scans
// (`MethodID`). The mode and the flags are the owner's to set before the first add: changing them on a filled
// list does not reorder it, and look-ups then give what the algorithm of the mode gives on that order.
//
// A list is used by one thread while it changes; while it does not, any number of threads may look up.
// Nothing here raises for absence: absent keys give null, -1, empty texts. References returned stay good
// until the list changes.

#pragma once

#include "core/NameIndex.h"
#include "core/ObjectList.h"
#include "host/Variant.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>

namespace zutools {

class TStrings;

/// How a list is searched, and what becomes of equal keys. Any other value makes every add and find fail.
enum TMethodID : std::uint8_t {
    midBinary = 0,              // binary search; an equal key finds the existing item
    midUnsortedDublicate = 1,   // linear scan in insertion order; every add appends
    midUnsortedNoDublicate = 2, // linear scan; an equal key finds the existing item, a new one is appended
};

/// Negative when the item orders before the key, zero when it matches, positive when it orders after.
using TZUSortedObjectListCompareFunc = std::function<std::intptr_t(TObject* Item, const TKXVariant& Value)>;

/// A list searched by a comparison with keys in variants. Without a comparison nothing is ever found.
class TZUSortedObjectList : public TObjectList {
public:
    static const TClassInfo& StaticClass();
    [[nodiscard]] const TClassInfo& ClassInfo() const override;

    TMethodID MethodID = midBinary;

    [[nodiscard]] const TZUSortedObjectListCompareFunc& CompareFunc() const { return FCompareFunc; }
    /// Replaces the comparison, in the descendants their own one too; the items are not reordered.
    void SetCompareFunc(TZUSortedObjectListCompareFunc Func);

    /// Looks `Value` up without inserting: the matching item, the first of equal ones, or null. `Index`
    /// receives its position, or the position at which a new item must be inserted to keep the order; -1 in
    /// an invalid mode.
    TObject* AddElement(const TKXVariant& Value, int& Index) const;
    /// Position of a matching item (of equal ones any, in midBinary), or -1.
    [[nodiscard]] int FindElementIndex(const TKXVariant& Value) const;
    /// The item at FindElementIndex, or null.
    [[nodiscard]] TObject* FindElement(const TKXVariant& Value) const;
    /// Deletes the item at FindElementIndex; nothing happens when there is none.
    void RemoveElement(const TKXVariant& Value);

protected:
    /// Installs the comparison of a descendant's own, which the descendant may then make with typed keys.
    void InstallOwnCompare(TZUSortedObjectListCompareFunc Func);
    [[nodiscard]] bool OwnCompare() const { return FOwnCompare; }
    /// Refuses an item: a list of this class cannot hold it. @throws EIObjectError always.
    [[noreturn]] void FailItem(const TObject* Item) const;

    // The two look-ups over any comparison `Compare(TObject*)` -> sign. They differ in which of equal keys
    // they find, and that is fixed.
    template <class TCompare>
    TObject* LookUpForAdd(const TCompare& Compare, int& Index) const {
        switch (MethodID) {
        case midBinary: {
            Index = 0;
            if (Count() == 0) return nullptr;
            int High = Count() - 1;
            while (Index < High) {
                const int Middle = Index + (High - Index) / 2;
                if (Compare(At(Middle)) < 0)
                    Index = Middle + 1;
                else
                    High = Middle;
            }
            const auto Sign = Compare(At(Index));
            if (Sign == 0) return At(Index);
            if (Sign < 0) ++Index;
            return nullptr;
        }
        case midUnsortedDublicate:
            Index = Count();
            return nullptr;
        case midUnsortedNoDublicate:
            Index = Scan(Compare);
            if (Index >= 0) return At(Index);
            Index = Count();
            return nullptr;
        }
        Index = -1;
        return nullptr;
    }
    template <class TCompare>
    [[nodiscard]] int LookUp(const TCompare& Compare) const {
        if (MethodID == midUnsortedDublicate || MethodID == midUnsortedNoDublicate) return Scan(Compare);
        if (MethodID != midBinary || Count() == 0) return -1;
        int Low = 0;
        int High = Count() - 1;
        while (Low < High) {
            const int Middle = Low + (High - Low) / 2;
            const auto Sign = Compare(At(Middle));
            if (Sign == 0) return Middle;
            if (Sign < 0)
                Low = Middle + 1;
            else
                High = Middle;
        }
        return Compare(At(Low)) == 0 ? Low : -1;
    }

private:
    template <class TCompare>
    [[nodiscard]] int Scan(const TCompare& Compare) const {
        for (int Index = 0; Index < Count(); ++Index)
            if (Compare(At(Index)) == 0) return Index;
        return -1;
    }
    [[nodiscard]] std::intptr_t CompareWith(TObject* Item, const TKXVariant& Value) const;

    TZUSortedObjectListCompareFunc FCompareFunc;
    bool FOwnCompare = false;
};

/// Objects by identity; the objects themselves are the items.
class TZUSortedObjects : public TZUSortedObjectList {
public:
    static const TClassInfo& StaticClass();
    [[nodiscard]] const TClassInfo& ClassInfo() const override;

    TZUSortedObjects();
    /// Inserts when absent; the position either way. In an invalid mode Insert raises, and the object stays
    /// the caller's.
    int AddObject(TObject* Object);
    /// `Index` receives the position, or the insertion position when absent.
    bool FindObject(const TObject* Object, int& Index) const;
    void RemoveObject(const TObject* Object);
};

/// An object under an integer.
class TZUIDObject : public TObject {
public:
    static const TClassInfo& StaticClass();
    [[nodiscard]] const TClassInfo& ClassInfo() const override;

    std::int32_t ID = 0;
    TObject* Data = nullptr; // the list decides who frees it
};

/// Objects by integer. The wrappers are always the list's; the objects only while FlagDestroyObject is set:
/// then one is freed when its entry leaves, when AddObject replaces it and when SetObjects does, be the new
/// one the same or not.
class TZUSortedIDObjects : public TZUSortedObjectList {
public:
    static const TClassInfo& StaticClass();
    [[nodiscard]] const TClassInfo& ClassInfo() const override;

    TZUSortedIDObjects();
    ~TZUSortedIDObjects() override;

    bool FlagDestroyObject = false;

    /// Enters or replaces; the position. In an invalid mode Insert raises, and the object stays the caller's.
    int AddObject(std::int32_t Ident, TObject* Object);
    /// A new entry at a position of the caller's choice, who answers for the order.
    void InsertObject(int Index, std::int32_t Ident, TObject* Object);
    /// `Index` receives the position, or the insertion position when absent.
    bool FindObject(std::int32_t Ident, int& Index) const;
    void RemoveObject(std::int32_t Ident);

    [[nodiscard]] TObject* Objects(int Index) const; // null out of range
    void SetObjects(int Index, TObject* Object);     // ignored out of range
    [[nodiscard]] std::int32_t ID(int Index) const;  // 0 out of range
    [[nodiscard]] TObject* ObjectByID(std::int32_t Ident) const;

protected:
    void Notify(TObject* Item, TListNotification Action) override;
    void CheckItem(TObject* Item) const override;

private:
    [[nodiscard]] int FindIndex(std::int32_t Ident) const;
};

/// What the three lists sorted by name share. Names compare by the user's collation, without case unless
/// CaseSensitivity is set. Not a class of its own for scripts or class information.
class TZUNameSortedList : public TZUSortedObjectList {
public:
    using TName = std::u16string;
    using TItemName = TZUItemName;

    TZUNameSortedList();

    bool CaseSensitivity = false;

    /// AddElement, FindElementIndex and FindElement with the name as it is, without a variant around it.
    TObject* FindForAdd(std::u16string_view Name, int& Index) const {
        return FindForAdd(Name, Index, nullptr);
    }
    [[nodiscard]] int FindNameIndex(std::u16string_view Name) const;
    [[nodiscard]] TObject* FindName(std::u16string_view Name) const;

protected:
    /// The name field of an item; the items have passed CheckItem. A class that implements this calls Clear
    /// in its destructor.
    [[nodiscard]] virtual TZUItemName& NameOf(TObject& Item) const = 0;
    /// The item of that name, or else the one that `Make()` gives in a unique_ptr, named and inserted at its
    /// place.
    /// @throws Exception in an invalid mode, from Insert.
    template <class TItem, class TMake>
    TItem& FindOrInsert(std::u16string_view Name, int& Index, const TMake& Make) {
        if (!IndexAnswers()) RefreshIndex();
        TNameMatch::THash Hash;
        if (TObject* const Item = FindForAdd(Name, Index, &Hash)) return static_cast<TItem&>(*Item);
        std::unique_ptr<TItem> Fresh = Make();
        NameOf(*Fresh) = Name;
        InsertFound(Index, *Fresh, Hash);
        return *Fresh.release();
    }
    void ItemInserted(int Index) override;
    void ItemRemoved(TObject* Item, int Index) override;

private:
    TObject* FindForAdd(std::u16string_view Name, int& Index, TNameMatch::THash* Hash) const;
    [[nodiscard]] int PlaceFor(std::u16string_view Name) const;
    [[nodiscard]] const TNameMatch& Match() const { return UserNameMatch(CaseSensitivity); }
    [[nodiscard]] TZUItemName& NameAt(int Index) const { return NameOf(*At(Index)); }
    [[nodiscard]] bool InOrder(int Left, int Right) const;
    /// The index answers only where its answer is that of the search over the order: names that rise strictly
    /// under the class's own comparison. There no two names are equal, and any search finds the one that is.
    [[nodiscard]] bool IndexAnswers() const {
        return MethodID == midBinary && FIndex.ValidFor(CaseSensitivity);
    }
    [[nodiscard]] TNameIndex::TFound AskIndex(std::u16string_view Name) const;
    [[nodiscard]] int PositionOf(const TNameIndex::TFound& Found) const;
    [[nodiscard]] int SearchOrder(std::u16string_view Name) const;
    void RefreshIndex();
    void InsertFound(int Index, TObject& Item, TNameMatch::THash Hash);

    TNameIndex FIndex;
    const TNameMatch* FBrokenFor = nullptr;       // found out of its order: not looked through again
    const TNameMatch::THash* FLookedUp = nullptr; // of the item that is being inserted, if its place is sure
};

/// An object under a name. `DelObject`: 0 the list's FlagDestroyObject decides, 1 the list frees `Data`, 2
/// and up never.
class TZUNamedObject : public TObject {
public:
    static const TClassInfo& StaticClass();
    [[nodiscard]] const TClassInfo& ClassInfo() const override;

    TZUItemName Name;
    TObject* Data = nullptr;
    std::uint8_t DelObject = 0;
};

/// Objects by name. The wrappers are always the list's; an object by the rule of its DelObject, applied when
/// its entry leaves, when AddObject replaces it and when SetObjects does, be the new one the same or not.
class TZUSortedNamedObjects : public TZUNameSortedList {
public:
    static const TClassInfo& StaticClass();
    [[nodiscard]] const TClassInfo& ClassInfo() const override;

    TZUSortedNamedObjects() = default;
    ~TZUSortedNamedObjects() override;

    bool FlagDestroyObject = false;

    /// Enters, or replaces object and rule in place (the name keeps its spelling); the position. In an
    /// invalid mode Insert raises, and the object stays the caller's.
    int AddObject(std::u16string_view Name, TObject* Object, std::uint8_t DelObject);
    /// A new entry at a position of the caller's choice, who answers for the order.
    void InsertObject(int Index, std::u16string_view Name, TObject* Object, std::uint8_t DelObject);
    /// `Index` receives the position, or the insertion position when absent.
    bool FindObject(std::u16string_view Name, int& Index) const;
    void RemoveObject(std::u16string_view Name);
    /// Takes over another TZUSortedNamedObjects: both lists then hold the same objects, each under its own
    /// rule. Any other source, and the list itself, change nothing.
    void Assign(const TObject& Source);

    [[nodiscard]] TObject* Objects(int Index) const;            // null out of range
    void SetObjects(int Index, TObject* Object);                // ignored out of range
    [[nodiscard]] const std::u16string& Names(int Index) const; // empty out of range
    [[nodiscard]] TObject* ObjectByName(std::u16string_view Name) const;

protected:
    void Notify(TObject* Item, TListNotification Action) override;
    void CheckItem(TObject* Item) const override;
    [[nodiscard]] TZUItemName& NameOf(TObject& Item) const override;

private:
    /// The object that the entry's rule gives to the list, taken out of the entry; null when it is not the
    /// list's.
    [[nodiscard]] std::unique_ptr<TObject> TakeOwned(TZUNamedObject& Entry) const;
};

/// A list sorted by 8-bit names in the user's code page; they compare as in TZUNameSortedList. Not a class of
/// its own for scripts or class information.
class TZUAnsiSortedList : public TZUSortedObjectList {
public:
    using TName = std::string;
    using TItemName = std::string;

    TZUAnsiSortedList();

    bool CaseSensitivity = false;

protected:
    [[nodiscard]] virtual std::string& NameOf(TObject& Item) const = 0;
    [[nodiscard]] int FindNameIndex(std::string_view Name) const;
    [[nodiscard]] TObject* FindName(std::string_view Name) const;
    template <class TItem, class TMake>
    TItem& FindOrInsert(std::string_view Name, int& Index, const TMake& Make) {
        if (TObject* const Item = FindForAdd(Name, Index)) return static_cast<TItem&>(*Item);
        std::unique_ptr<TItem> Fresh = Make();
        NameOf(*Fresh) = Name;
        Insert(Index, Fresh.get());
        return *Fresh.release();
    }

private:
    TObject* FindForAdd(std::string_view Name, int& Index) const;
    [[nodiscard]] int CompareName(TObject* Item, std::u16string_view Name) const;
};

/// What the three lists of parameters have in common. `TOrder` finds names; `TItem` is the class of the
/// items, with the members that hold their names and values.
template <class TOrder, class TItem, auto NameMember, auto ValueMember>
class TZUParamsOf : public TOrder {
public:
    using TText = typename TOrder::TName;
    using TView = std::basic_string_view<typename TText::value_type>;
    using TValue = std::remove_cvref_t<decltype(std::declval<TItem&>().*ValueMember)>;
    using TGiven = std::conditional_t<std::is_same_v<TValue, TText>, TView, const TValue&>;

    ~TZUParamsOf() override { this->Clear(); }

    /// Adds, or gives a known name (which keeps its spelling) a new current value; the position. In an
    /// invalid mode Insert raises.
    int AddParam(TView ParamName, TGiven ParamValue);
    void RemoveParam(TView ParamName);
    [[nodiscard]] int GetParamIndex(TView ParamName) const { return this->FindNameIndex(ParamName); }
    /// The parameter itself, or null; the quick way to a value.
    [[nodiscard]] TItem* FindParam(TView ParamName) const {
        return static_cast<TItem*>(this->FindName(ParamName)); // CheckItem let nothing else in
    }

    [[nodiscard]] const TText& Param(int Index) const;        // empty out of range
    [[nodiscard]] const TValue& Value(TView ParamName) const; // when absent an empty text, a variant null
    void SetValue(TView ParamName, TGiven ParamValue) { AddParam(ParamName, ParamValue); }
    [[nodiscard]] const TValue& Values(int Index) const; // out of range an empty text, also as a variant
    void SetValues(int Index, TGiven ParamValue);        // ignored out of range

protected:
    /// Makes a new item, without name and value; a descendant may make one of a class derived from `TItem`.
    [[nodiscard]] virtual std::unique_ptr<TItem> CreateObject() const {
        return std::make_unique_for_overwrite<TItem>(); // its members start by themselves: no zeros before
                                                        // that
    }
    void CheckItem(TObject* Item) const override;
    [[nodiscard]] typename TOrder::TItemName& NameOf(TObject& Item) const override {
        return static_cast<TItem&>(Item).*NameMember;
    }
    [[nodiscard]] TItem* ParamAt(int Index) const { // null out of range
        return Index >= 0 && Index < this->Count() ? static_cast<TItem*>(this->At(Index)) : nullptr;
    }
};

/// What the two lists of texts have in common: an item keeps the value that it was first added with.
template <class TOrder, class TItem>
class TZUTextParams : public TZUParamsOf<TOrder, TItem, &TItem::FName, &TItem::FValue> {
public:
    using typename TZUParamsOf<TOrder, TItem, &TItem::FName, &TItem::FValue>::TText;
    using typename TZUParamsOf<TOrder, TItem, &TItem::FName, &TItem::FValue>::TView;

    /// Adds a text split at the first `Delimeter`, both parts trimmed; without one the whole text, untrimmed,
    /// is a name with an empty value.
    int AddParamValue(TView ParamValue, TView Delimeter);
    /// Every current value becomes the initial one.
    void ResetParamsValues();
    /// Replaces the contents with those of a string list (lines split at the first "="), another list of this
    /// class, or an owning list of its items. Any other source, and the list itself, change nothing.
    /// @throws EIObjectError when the first item of a list is a parameter and another one is not.
    /// @throws EVariantError for a line with a character that the code page lacks, in an 8-bit list. Nothing
    /// changes then.
    void Assign(const TObject& Source);
};

/// A parameter: its name, its current value, and the value that it was first added with. Published as Name,
/// Value and InitValue.
class TZUParamObject : public TObject {
public:
    static const TClassInfo& StaticClass();
    [[nodiscard]] const TClassInfo& ClassInfo() const override;

    TZUItemName FName;
    std::u16string FValue;
    std::u16string FInitValue;
};

/// Name/value parameters.
class TZUSortedParams : public TZUTextParams<TZUNameSortedList, TZUParamObject> {
public:
    static const TClassInfo& StaticClass();
    [[nodiscard]] const TClassInfo& ClassInfo() const override;

    /// "name=value" lines in list order, each ended by CRLF. Writing replaces the contents; CR, LF and CRLF
    /// end a line.
    [[nodiscard]] std::u16string AsString() const;
    void SetAsString(std::u16string_view Text);
};

/// A parameter in 8-bit text of the user's code page.
class TZUParamObjectA : public TObject {
public:
    static const TClassInfo& StaticClass();
    [[nodiscard]] const TClassInfo& ClassInfo() const override;

    std::string FName;
    std::string FValue;
    std::string FInitValue;
};

/// TZUSortedParams in 8-bit text of the user's code page; every operation as there.
class TZUSortedParamsA : public TZUTextParams<TZUAnsiSortedList, TZUParamObjectA> {
public:
    static const TClassInfo& StaticClass();
    [[nodiscard]] const TClassInfo& ClassInfo() const override;
};

/// A parameter whose value is a variant.
class TZUParamVariantObject : public TObject {
public:
    static const TClassInfo& StaticClass();
    [[nodiscard]] const TClassInfo& ClassInfo() const override;

    TZUItemName Name;
    TKXVariant Value;
};

/// Parameters with variants for values. The value of an entry that leaves the list is null before it is
/// freed.
class TZUSortedVariantParams
    : public TZUParamsOf<TZUNameSortedList, TZUParamVariantObject, &TZUParamVariantObject::Name,
                         &TZUParamVariantObject::Value> {
public:
    static const TClassInfo& StaticClass();
    [[nodiscard]] const TClassInfo& ClassInfo() const override;

    TZUSortedVariantParams() = default;
    ~TZUSortedVariantParams() override;

    /// From a string list (values become text) or a TZUSortedParams. Any other source changes nothing, a list
    /// of this very class included.
    void Assign(const TObject& Source);

protected:
    void Notify(TObject* Item, TListNotification Action) override;
};

extern template class TZUParamsOf<TZUNameSortedList, TZUParamObject, &TZUParamObject::FName,
                                  &TZUParamObject::FValue>;
extern template class TZUParamsOf<TZUAnsiSortedList, TZUParamObjectA, &TZUParamObjectA::FName,
                                  &TZUParamObjectA::FValue>;
extern template class TZUParamsOf<TZUNameSortedList, TZUParamVariantObject, &TZUParamVariantObject::Name,
                                  &TZUParamVariantObject::Value>;
extern template class TZUTextParams<TZUNameSortedList, TZUParamObject>;
extern template class TZUTextParams<TZUAnsiSortedList, TZUParamObjectA>;

} // namespace zutools
