// The package's own pictures, drawn as vectors: sharp at every scale.

#pragma once

#include <QIcon>
#include <QStringView>

namespace zutools {

/// The picture of that name, such as "ICOWARNING" or "FILEOPEN"; without picture for any other name.
[[nodiscard]] QIcon PackageIcon(QStringView Name);

} // namespace zutools
