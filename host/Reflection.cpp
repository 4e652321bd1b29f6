#include "host/Reflection.h"

#include <mutex>

namespace zutools {

TRttiType::TRttiType(const TClassInfo& Class)
    : FClass(Class) {
    for (const TClassInfo* Current = &Class;; Current = &Current->Parent()) {
        for (const TPropInfo& Info : Current->Properties) {
            TMembers& Members = FMembers[TNameKey(Info.Name)];
            if (Members.Property == nullptr) Members.Property = &Info;
        }
        for (const TMethodInfo& Info : Current->Methods) {
            TMembers& Members = FMembers[TNameKey(Info.Name)];
            if (Members.Method == nullptr) Members.Method = &Info;
        }
        if (Current->Parent == nullptr) return;
    }
}

TRttiType::TMembers TRttiType::Find(std::u16string_view Name) const {
    const auto Found = FMembers.find(TNameKey(Name));
    return Found != FMembers.end() ? Found->second : TMembers{};
}

const TRttiType& TRttiContext::GetType(const TClassInfo& Class) {
    {
        const std::shared_lock Guard(FMutex);
        const auto Found = FTypes.find(&Class);
        if (Found != FTypes.end()) return *Found->second;
    }
    auto Fresh = std::make_unique<const TRttiType>(Class);
    const std::unique_lock Guard(FMutex);
    return *FTypes.try_emplace(&Class, std::move(Fresh)).first->second;
}

TRttiContext& RttiContext() {
    static auto& Context = *new TRttiContext; // outlives every static that may still be asked at exit
    return Context;
}

} // namespace zutools
