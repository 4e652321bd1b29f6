// The setter of a property that tells of changes only.

#pragma once

#include <type_traits>

namespace zutools {

/// Stores the value and emits the signal when it differs. @return whether it differed.
template <class TOwner, class TValue>
bool SetField(TOwner& Owner, TValue& Field, const std::type_identity_t<TValue>& Value,
              void (TOwner::*Changed)()) {
    if (Field == Value) return false;
    Field = Value;
    (Owner.*Changed)();
    return true;
}

} // namespace zutools
