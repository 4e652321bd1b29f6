// A password from the person at the terminal, or from standard input.

#pragma once

#include <string>
#include <string_view>

namespace zutools::zuhost {

/// Text that is wiped from memory at its end.
struct TTypedPassword {
    TTypedPassword() = default;
    ~TTypedPassword();
    TTypedPassword(const TTypedPassword&) = delete;
    TTypedPassword& operator=(const TTypedPassword&) = delete;
    std::u16string Text;
};

/// At a terminal: asks on standard error, twice, without showing what is typed. Otherwise: takes standard
/// input, which is one line of UTF-8, with or without its end. Blocks.
/// @throws Exception when there is none, it is too long, malformed or more than a line, or when the two
///         differ.
void ReadPassword(std::u16string_view User, TTypedPassword& Password);

} // namespace zutools::zuhost
