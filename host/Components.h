// Named objects in a tree of owners, and collections of items: what stored properties are kept of.
//
// For the user-interface thread only.

#pragma once

#include "host/Object.h"

#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace zutools {

/// An object with a name that may belong to another: a form and what stands on it. An owner destroys what it
/// owns.
class TComponent : public TObject {
public:
    static const TClassInfo& StaticClass();
    [[nodiscard]] const TClassInfo& ClassInfo() const override;

    /// With an owner, the component belongs to it from now on and must stand on the heap.
    explicit TComponent(TComponent* Owner = nullptr);
    ~TComponent() override;

    [[nodiscard]] TComponent* Owner() const { return FOwner; }
    [[nodiscard]] virtual std::u16string Name() const { return FName; }
    virtual void SetName(std::u16string_view Value) { FName = Value; }
    /// What belongs to this component and has that name, ignoring the case of ASCII letters; null when
    /// nothing has.
    [[nodiscard]] virtual TComponent* FindComponent(std::u16string_view ComponentName) const;

    /// Asks this component to call `Who.Notification` when it is destroyed. Once is enough; ended when `Who`
    /// is destroyed first.
    void FreeNotification(TComponent& Who);

protected:
    /// `Gone` is being destroyed: of its class no more than TComponent is left.
    virtual void Notification(TComponent& Gone);

private:
    TComponent* FOwner;
    std::u16string FName;
    std::vector<TComponent*> FOwned;
    std::vector<TComponent*> FListeners; // who is told, and who tells: each stands in the list of the other
};

/// The components that any other may name, such as the forms of an application. A component is taken off when
/// it is destroyed.
void AddGlobalComponent(TComponent& Component);
[[nodiscard]] TComponent* FindGlobalComponent(std::u16string_view Name); // null when there is none

/// Items of one class, owned, in order. Indices are 0-based.
class TCollection : public TObject {
public:
    static const TClassInfo& StaticClass();
    [[nodiscard]] const TClassInfo& ClassInfo() const override;

    [[nodiscard]] int Count() const { return static_cast<int>(FItems.size()); }
    /// @throws Exception "List index out of bounds (%d)".
    [[nodiscard]] TObject& Items(int Index) const;
    /// Appends a new item.
    TObject& Add();
    void Clear() { FItems.clear(); }
    /// Brackets around a batch of changes; nest.
    virtual void BeginUpdate() {}
    virtual void EndUpdate() {}

protected:
    [[nodiscard]] virtual std::unique_ptr<TObject> MakeItem() = 0;

private:
    std::vector<std::unique_ptr<TObject>> FItems;
};

} // namespace zutools
