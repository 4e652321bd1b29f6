// Any object of the library as an automation object: its registered script names, its published properties
// and its published methods, in this order.
//
// Given to an object of the system it is an `IDispatch` there, with type information.

#pragma once

#include "host/Object.h"
#include "platform/Automation.h"

namespace zutools {

/// Not owned: when the object dies, every call is refused with "The object is gone". Methods and properties
/// that raise an error are refused with its text.
[[nodiscard]] platform::TAutomationPtr ReflectedObject(TObject& Object);

/// The object that such an automation object stands for; null for any other, and when it is gone.
[[nodiscard]] TObject* ReflectedTarget(const platform::TAutomationPtr& Object);

} // namespace zutools
