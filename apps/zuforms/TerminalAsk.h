// Named values asked of the person at the terminal, as TAskValuesDlg asks on a screen.

#pragma once

#include "controls/ParamFields.h"

#include <string_view>
#include <vector>

namespace zutools::zuforms {

/// Asks on standard error and takes a line of UTF-8 from standard input for each value, until it passes. An
/// empty line leaves the value as it is, "-" alone empties it. Secrets are not shown while they are typed.
/// Blocks.
/// @return false when the input ended before the last answer: the list is as it was.
/// @throws TSystemError when the terminal cannot be kept from showing a secret.
bool AskOnTerminal(TParamsList& List, std::u16string_view Title, std::u16string_view Text,
                   std::vector<TParamField> Fields);

} // namespace zutools::zuforms
