// The folder browser where the desktop's shell has none of its own.

#pragma once

#include "controls/Zuseldir.h"

namespace zutools {

/// Shows the dialog until a person chose a folder or gave up; runs the event loop meanwhile.
[[nodiscard]] std::optional<TBrowsed> ShowFolderDialog(const TBrowseInfo& Info);

} // namespace zutools
