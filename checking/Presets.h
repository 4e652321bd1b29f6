// The rules that the reserved filters "High" and "Medium" come with. What each stops, and what neither can,
// stands in docs/value-checking.md; escaping on output remains necessary.

#pragma once

#include "checking/Dbchprms.h"

#include <string>

namespace zutools {

/// Rule text of what a value must not hold. High refuses every character that markup, scripts and templates
/// are made of; fit for names, addresses and numbers.
[[nodiscard]] std::u16string HighPreset();
/// Medium refuses what begins a tag, event handlers, script addresses and encoded marks; fit for free text.
[[nodiscard]] std::u16string MediumPreset();

/// Makes the reserved filters that a database lacks, in one transaction: High and Medium with their presets
/// for all parameters, Low without rules. Filters that have rules stay as they are; without the tables
/// nothing happens.
void SeedReservedFilters(const TCheckParamsDBConfig& Filters);

} // namespace zutools
