// Which values are for one person's eyes, as far as their names tell.

#pragma once

#include <initializer_list>
#include <string_view>

namespace zutools {

/// Whether the value of a parameter of that name looks like a password, PIN or token; `More` are further
/// words, in small letters. Letter case does not count; short words count as words of their own only:
/// "UserPin" and "pin_2", not "Spinning".
[[nodiscard]] bool LooksSecret(std::u16string_view Name,
                               std::initializer_list<std::u16string_view> More = {});

} // namespace zutools
