// The default rules of the reserved filters "High" and "Medium", against markup and script injection; "Low"
// has none.
//
// High is for fields of one line (names, addresses, codes, numbers): it takes away the characters that
// markup, attributes and templates are made of, so it holds whatever names the attack uses. Medium is for
// free text and links: it lets those characters pass and refuses their dangerous uses by name. Neither
// replaces escaping where a page is written. What each stops and what it costs is in docs/value-checking.md,
// and as lists of values in tests/data/checking/.
//
// Plain functions without state, for any thread.

#pragma once

#include "checking/Dbchprms.h"

#include <string>

namespace zutools {

/// Rule text of the wrong values; everything that Medium refuses, High refuses too.
[[nodiscard]] std::u16string HighWrongValues();
[[nodiscard]] std::u16string MediumWrongValues();

/// Makes `Config` the whole preset: one rule, for every parameter that has none of its own.
void LoadHighPreset(TParamsConfig& Config);
void LoadMediumPreset(TParamsConfig& Config);

/// Makes the three reserved filters in the database, or gives High and Medium their rules where they have
/// none; rules that exist are never overwritten. All of it in one transaction, so the caller must be in none.
/// Does nothing while the tables do not exist.
/// @throws EDatabaseError; nothing has changed then.
void SeedReservedFilters(const TCheckParamsDBConfig& Filters);

} // namespace zutools
