// Start and stop of the library in a process.
//
// The application hands its services over (host/Services.h), then starts the library before it uses any of
// it:
//
//     StartZuTools();
//     ZTSTemplateCache->SetTemplateDirectory(u"templates");
//     ...
//     StopZuTools();
//
// Starting makes the process-wide objects and registers the script names; stopping takes both back in the
// opposite order. Both may be called by any thread, but no other thread may use the library while the last
// stop runs.

#pragma once

#include <string_view>

namespace zutools {

/// Starts every unit in order. Pairs nest: only the first start does work.
/// @throws what a unit raises; the units before it are stopped again.
void StartZuTools();

/// Ends one start; the last one stops every unit. Without a start before it, nothing happens.
void StopZuTools();

/// "major.minor.patch" of the library that runs.
[[nodiscard]] std::u16string_view ZuToolsVersion();

} // namespace zutools
