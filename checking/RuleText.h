// The language of rule texts: what a line such as `<,>,#0-#31,script,'on load'` means.
//
// A rule text is a list of items with commas between them:
//   <            one character                       #60          the character with that decimal code
//   ','          one character, quoted               a-z          every character from the first to the last
//   script       anything longer is a word           'on load'    a word with its quotes removed
// Plain functions without state, for any thread. Reading never fails: what is no character is a word.

#pragma once

#include "host/CharSet.h"
#include "host/Strings.h"

#include <string_view>

namespace zutools {

/// Empties both targets and fills them from a rule text, which is upper-cased first (locale-aware): the
/// rule's characters go to `Symbols`, its words to `Words` in the order in which they stand.
void CompileRuleText(std::u16string_view Text, TKXCharSet& Symbols, TStrings& Words);

} // namespace zutools
