// A library with an application's own classes for scripts, loaded by the host that runs them: `[[library]]`
// in the configuration of zuhost.
//
// It is a shared library that includes the public headers, is linked with nothing, since the host that loads
// it has the symbols, and shows one function:
//
//     extern "C" const zutools::TScriptLibrary* ZuScriptLibrary() {
//         static constexpr zutools::TScriptLibrary Library{.Classes = Classes, .Publish = Publish};
//         return &Library;
//     }

#pragma once

#include "host/Exception.h"
#include "package/Version.h"
#include "scripting/Pubintob.h"

#include <span>
#include <string_view>

namespace zutools {

/// What a library tells about itself. Lives for the whole process.
struct TScriptLibrary {
    // The version of ZuTools that it was built with; the host takes no other minor version. These two are the
    // first fields in every version.
    int Major = VersionMajor;
    int Minor = VersionMinor;
    /// Made known to scripts: `zuhost api` lists them, and those with a factory are made by `zu.create`.
    std::span<const TScriptClass> Classes{};
    /// Called for each engine, on the thread that uses it from then on, to publish objects; may be null. May
    /// raise: then the engine is not made.
    void (*Publish)(TScriptPublisher& Engine) = nullptr;
};

using TScriptLibraryEntry = const TScriptLibrary* (*)();
inline constexpr const char* ScriptLibraryEntryName = "ZuScriptLibrary";

/// A file that cannot be used as a library. The message names the file and the remedy.
class EScriptLibrary : public Exception {
public:
    using Exception::Exception;
};

/// Loads a library, which stays loaded to the end of the process: scripts' classes are its code.
/// @throws EScriptLibrary for a file that is not there, is no library or needs what the host has not, has no
///         entry point, or was built with another version.
[[nodiscard]] const TScriptLibrary& LoadScriptLibrary(std::u16string_view File);

} // namespace zutools
