// Start and stop of the library in a process.
//
// The application starts the library before it uses any of it, and hands its services over with the start
// (host/Services.h; what it does not give is a plain default):
//
//     StartZuTools({.ApplicationManager = Manager, .Logger = Logger});
//     ZTSTemplateCache->SetTemplateDirectory(u"templates");
//     ...
//     StopZuTools();
//
// Starting makes the process-wide objects and registers what scripts see; stopping takes both back in the
// opposite order. Both may be called by any thread, but no other thread may use the library while the first
// start or the last stop runs.

#pragma once

#include "host/ScriptObjects.h"
#include "host/Services.h"

#include <span>
#include <string_view>

namespace zutools {

/// Starts every unit in order, then registers the application's own classes for scripts. Pairs nest: only the
/// first start does work, and its services and classes hold until the last stop.
/// @throws what a unit raises; the units before it are stopped again.
void StartZuTools(TServices Services = {}, std::span<const TScriptClass> HostClasses = {});

/// Ends one start; the last one stops every unit. Without a start before it, nothing happens.
void StopZuTools();

/// "major.minor.patch" of the library that runs.
[[nodiscard]] std::u16string_view ZuToolsVersion();

} // namespace zutools
