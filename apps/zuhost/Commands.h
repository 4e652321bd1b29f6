// The subcommands of zuhost. Each takes what follows its name and gives the exit code.

#pragma once

#include "apps/zuhost/Shell.h"

namespace zutools::zuhost {

/// All of them throw EUsage for wrong usage and any other exception for a job that failed; Main turns both
/// into a message and an exit code.
[[nodiscard]] int RunRender(const TArguments& Arguments);
[[nodiscard]] int RunScript(const TArguments& Arguments);
[[nodiscard]] int RunLint(const TArguments& Arguments);
[[nodiscard]] int RunApi(const TArguments& Arguments);
[[nodiscard]] int RunCheck(const TArguments& Arguments);
[[nodiscard]] int RunFilters(const TArguments& Arguments);
[[nodiscard]] int RunUsers(const TArguments& Arguments);
[[nodiscard]] int RunBlocks(const TArguments& Arguments);
[[nodiscard]] int RunServeCommand(const TArguments& Arguments);

} // namespace zutools::zuhost
