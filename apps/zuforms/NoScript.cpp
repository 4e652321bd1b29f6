// In place of Script.cpp where the script engine is not built.

#include "apps/zuforms/Script.h"

#include <cstdio>

namespace zutools::zuforms {

bool RunScript(const QString& /*File*/, const QStringList& /*Arguments*/, TAskedOn /*Where*/) {
    std::fputs("zuforms: this build has no scripts\n", stderr);
    return false;
}

} // namespace zutools::zuforms
