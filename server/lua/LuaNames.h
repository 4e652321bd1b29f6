// What a script may have meant by a name that nobody knows. For the sources of this folder.

#pragma once

#include "host/Object.h"

#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace zutools::server {

/// `; is it Count?` with the names nearest to `Name` (three at most), ignoring the case of A to Z; empty
/// when none is near.
[[nodiscard]] std::u16string IsItOne(std::u16string_view Name, std::span<const std::u16string_view> Known);

/// The names that scripts know a class by, those of its bases too: registered ones, published properties and
/// methods.
[[nodiscard]] std::vector<std::u16string_view> NamesOf(const TClassInfo& Class);

} // namespace zutools::server
