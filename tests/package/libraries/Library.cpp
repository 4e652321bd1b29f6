// A library as small as one can be, with a version and an entry point that the build chooses.

#include "package/ScriptLibrary.h"

extern "C" const zutools::TScriptLibrary* ENTRY() {
    static constexpr zutools::TScriptLibrary Library{.Major = MAJOR};
    return &Library;
}
