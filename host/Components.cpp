#include "host/Components.h"

#include "host/Exception.h"
#include "host/Format.h"
#include "host/StringHelpers.h"

#include <algorithm>

namespace zutools {

namespace {

TComponent* Named(const std::vector<TComponent*>& Components, std::u16string_view Name) {
    const auto Found = std::find_if(Components.begin(), Components.end(), [Name](const TComponent* Known) {
        return SameText(Known->Name(), Name);
    });
    return Found == Components.end() ? nullptr : *Found;
}

std::vector<TComponent*>& GlobalComponents() {
    static auto& List =
        *new std::vector<TComponent*>; // never destroyed: components of statics may die after it
    return List;
}

} // namespace

const TClassInfo& TComponent::StaticClass() {
    static constexpr TClassInfo Info{u"TComponent", &TObject::StaticClass};
    return Info;
}

const TClassInfo& TComponent::ClassInfo() const {
    return StaticClass();
}

TComponent::TComponent(TComponent* Owner)
    : FOwner(Owner) {
    if (FOwner != nullptr) FOwner->FOwned.push_back(this);
}

TComponent::~TComponent() {
    while (!FOwned.empty()) delete FOwned.back(); // takes itself off the list
    for (TComponent* const Listener : FListeners) {
        std::erase(Listener->FListeners, this);
        Listener->Notification(*this);
    }
    if (FOwner != nullptr) std::erase(FOwner->FOwned, this);
    std::erase(GlobalComponents(), this);
}

TComponent* TComponent::FindComponent(std::u16string_view ComponentName) const {
    return Named(FOwned, ComponentName);
}

void TComponent::FreeNotification(TComponent& Who) {
    if (&Who == this || std::count(FListeners.begin(), FListeners.end(), &Who) != 0) return;
    FListeners.push_back(&Who);
    Who.FListeners.push_back(this);
}

void TComponent::Notification(TComponent&) {}

void AddGlobalComponent(TComponent& Component) {
    GlobalComponents().push_back(&Component);
}

TComponent* FindGlobalComponent(std::u16string_view Name) {
    return Named(GlobalComponents(), Name);
}

const TClassInfo& TCollection::StaticClass() {
    static constexpr TClassInfo Info{u"TCollection", &TObject::StaticClass};
    return Info;
}

const TClassInfo& TCollection::ClassInfo() const {
    return StaticClass();
}

TObject& TCollection::Items(int Index) const {
    if (Index < 0 || Index >= Count()) throw Exception(Format(u"List index out of bounds (%d)", {Index}));
    return *FItems[static_cast<std::size_t>(Index)];
}

TObject& TCollection::Add() {
    return *FItems.emplace_back(MakeItem());
}

} // namespace zutools
