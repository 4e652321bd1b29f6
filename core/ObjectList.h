// TObjectList, an ordered list of object references that may own its items: the ground the sorted lists stand
// on.
//
// Used by one thread while it changes, by any number after. Indices are 0-based.

#pragma once

#include "host/Object.h"

#include <vector>

namespace zutools {

/// What happened to an item that `Notify` is called for.
enum class TListNotification : std::uint8_t { lnAdded, lnDeleted };

/// Ownership is decided at run time: while `OwnsObjects` is set, the list frees an item that leaves it, and
/// an object handed to `Add` or `Insert` belongs to the list as soon as the call has returned.
class TObjectList : public TObject {
public:
    static const TClassInfo& StaticClass();
    [[nodiscard]] const TClassInfo& ClassInfo() const override;

    TObjectList() = default;
    /// Deletes every item. A descendant that overrides Notify calls Clear in its own destructor, because its
    /// override is gone when this one runs.
    ~TObjectList() override;

    bool OwnsObjects = true;

    [[nodiscard]] int Count() const { return static_cast<int>(FItems.size()); }
    /// @throws Exception "List index out of bounds (%d)".
    [[nodiscard]] TObject* Items(int Index) const;
    /// First position of the object itself, or -1.
    [[nodiscard]] int IndexOf(const TObject* Item) const;

    /// Appends; the position. May raise what Insert raises.
    int Add(TObject* Item);
    /// @throws Exception "List index out of bounds (%d)" when `Index` is not 0 to Count.
    /// @throws EIObjectError when this list cannot hold an object of that class, and what Notify raises. The
    /// list is as it was then, and the object stays the caller's.
    void Insert(int Index, TObject* Item);
    /// Takes the item out, notifies, then frees it when it is owned. @throws Exception as Items does.
    void Delete(int Index);
    /// Deletes all items, the last one first.
    void Clear();

protected:
    /// Called after an item came in, and when one has left, before it is freed.
    virtual void Notify(TObject* Item, TListNotification Action);
    /// Raises when the list must not hold `Item`; accepts everything here.
    virtual void CheckItem(TObject* Item) const;
    /// The list's own bookkeeping, apart from Notify so that an override of that cannot lose it.
    virtual void ItemInserted(int Index);
    virtual void ItemRemoved(TObject* Item, int Index);

    /// An item whose index is known to be good.
    [[nodiscard]] TObject* At(int Index) const { return FItems[static_cast<std::size_t>(Index)]; }

private:
    void TakeOut(int Index);

    std::vector<TObject*> FItems;
};

} // namespace zutools
