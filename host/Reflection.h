// The published members of a class by name, found in a time that does not grow with their number.

#pragma once

#include "host/NameKey.h"
#include "host/Object.h"

#include <memory>
#include <shared_mutex>
#include <string_view>
#include <unordered_map>

namespace zutools {

/// A class with what it inherits: the most derived member of a name wins, properties and methods apart.
/// Constant, for any thread.
class TRttiType {
public:
    explicit TRttiType(const TClassInfo& Class);

    [[nodiscard]] const TClassInfo& Class() const { return FClass; }
    // By name, ignoring the case of ASCII letters; null when there is none.
    [[nodiscard]] const TPropInfo* Property(std::u16string_view Name) const { return Find(Name).Property; }
    [[nodiscard]] const TMethodInfo* Method(std::u16string_view Name) const { return Find(Name).Method; }

    /// What a name stands for; both may be null.
    struct TMembers {
        const TPropInfo* Property = nullptr;
        const TMethodInfo* Method = nullptr;
    };
    [[nodiscard]] TMembers Find(std::u16string_view Name) const;

private:
    const TClassInfo& FClass;
    std::unordered_map<TNameKey, TMembers, TNameHash> FMembers;
};

/// The types that were asked for. Any thread.
class TRttiContext {
public:
    /// Made at the first question for the class, and kept as long as the context.
    [[nodiscard]] const TRttiType& GetType(const TClassInfo& Class);

private:
    std::shared_mutex FMutex;
    std::unordered_map<const TClassInfo*, std::unique_ptr<const TRttiType>> FTypes;
};

/// The context of the process.
[[nodiscard]] TRttiContext& RttiContext();

} // namespace zutools
