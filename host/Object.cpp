#include "host/Object.h"

#include "host/StringHelpers.h"

#include <algorithm>

namespace zutools {

namespace {

// The most derived class that lists the name wins.
template <class TInfo>
const TInfo* FindListed(const TClassInfo& Class, std::span<const TInfo> TClassInfo::* List,
                        std::u16string_view Name) {
    for (const TClassInfo* Current = &Class;; Current = &Current->Parent()) {
        for (const TInfo& Info : Current->*List) {
            if (SameText(Info.Name, Name)) return &Info;
        }
        if (Current->Parent == nullptr) return nullptr;
    }
}

} // namespace

bool TClassInfo::InheritsFrom(const TClassInfo& Base) const {
    for (const TClassInfo* Current = this;; Current = &Current->Parent()) {
        if (Current == &Base) return true;
        if (Current->Parent == nullptr) return false;
    }
}

const TPropInfo* TClassInfo::FindProperty(std::u16string_view PropName) const {
    return FindListed(*this, &TClassInfo::Properties, PropName);
}

const TMethodInfo* TClassInfo::FindMethod(std::u16string_view MethodName) const {
    return FindListed(*this, &TClassInfo::Methods, MethodName);
}

std::vector<const TPropInfo*> TClassInfo::AllProperties() const {
    std::vector<const TPropInfo*> Found;
    for (const TClassInfo* Current = this;; Current = &Current->Parent()) {
        for (const TPropInfo& Info : Current->Properties) {
            const bool Overridden = std::any_of(Found.begin(), Found.end(), [&Info](const TPropInfo* Known) {
                return SameText(Known->Name, Info.Name);
            });
            if (!Overridden) Found.push_back(&Info);
        }
        if (Current->Parent == nullptr) break;
    }
    std::sort(Found.begin(), Found.end(), [](const TPropInfo* Left, const TPropInfo* Right) {
        return CompareText(Left->Name, Right->Name) < 0;
    });
    return Found;
}

namespace {

// The cell of all objects that were retired before anybody asked for a reference to them.
std::shared_ptr<std::atomic<TObject*>>& RetiredCell() {
    // Never destroyed: objects of other statics may die after it.
    static auto& Cell =
        *new std::shared_ptr<std::atomic<TObject*>>(std::make_shared<std::atomic<TObject*>>(nullptr));
    return Cell;
}

} // namespace

TObject::~TObject() {
    const auto* Cell = FCell.load(std::memory_order_acquire);
    if (Cell == nullptr || Cell == &RetiredCell()) return;
    (*Cell)->store(nullptr, std::memory_order_release);
    delete Cell;
}

const TClassInfo& TObject::StaticClass() {
    static constexpr TClassInfo Info{u"TObject", nullptr};
    return Info;
}

const TClassInfo& TObject::ClassInfo() const {
    return StaticClass();
}

TObjectRef TObject::Reference() {
    using TCell = std::shared_ptr<std::atomic<TObject*>>;
    TCell* Cell = FCell.load(std::memory_order_acquire);
    if (Cell == nullptr) {
        auto Fresh = std::make_unique<TCell>(std::make_shared<std::atomic<TObject*>>(this));
        // A thread that loses the race takes the winner's cell.
        if (FCell.compare_exchange_strong(Cell, Fresh.get(), std::memory_order_acq_rel))
            Cell = Fresh.release();
    }
    return TObjectRef(*Cell);
}

void TObject::Retire() {
    // Also when nobody has asked yet: who asks later gets an empty reference.
    std::shared_ptr<std::atomic<TObject*>>* Cell = nullptr;
    if (FCell.compare_exchange_strong(Cell, &RetiredCell(), std::memory_order_acq_rel)) return;
    (*Cell)->store(nullptr, std::memory_order_release);
}

} // namespace zutools
