// Values on their way between automation objects and the host's variant.

#pragma once

#include "host/Variant.h"
#include "platform/Automation.h"

namespace zutools {

/// The value as the host's variant: dates as date and time, amounts as floats, an object that stands for one
/// of the library's as a reference to it.
/// @throws EVariantError for other objects, arrays, errors and a reference whose object is gone.
[[nodiscard]] TKXVariant FromAutomation(const platform::TAutomationValue& Value);

/// The other way: characters and 8-bit text as text, an object as an automation object that stands for it, a
/// null reference as a null object.
[[nodiscard]] platform::TAutomationValue ToAutomation(const TKXVariant& Value);

} // namespace zutools
