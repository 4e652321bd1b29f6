// zuhost serve: the arguments of the web host, which Serve.h runs.

#include "apps/zuhost/Commands.h"
#include "apps/zuhost/Serve.h"

#include <CLI/CLI.hpp>

namespace zutools::zuhost {

namespace {

constexpr const char* Footer =
    R"(Answers web requests with the script modules that the configuration names, until
it is interrupted (Ctrl+C) or told to end (SIGTERM); requests that have arrived
are finished. The log goes to standard error unless the configuration names a
file.

Examples:
  zuhost serve --config orders.toml
  zuhost serve --config orders.toml --port 8081)";

} // namespace

int RunServeCommand(const TArguments& Arguments) {
    std::string ConfigFile;
    int Port = 0;
    CLI::App App("Answer web requests with script modules");
    Describe(App, "zuhost serve [OPTIONS]", Footer);
    App.add_option("--config", ConfigFile, "Configuration; zuhost.toml when not given")->type_name("FILE");
    const auto* const PortOption =
        App.add_option("--port", Port, "Port in place of the configured one; 0 takes any free one")
            ->type_name("N")
            ->check(CLI::Range(0, 65535));
    if (!Parse(App, Arguments)) return ExitGood;

    TServeOptions Options;
    if (!ConfigFile.empty()) Options.ConfigFile = Text(ConfigFile);
    if (PortOption->count() > 0) Options.Port = static_cast<std::uint16_t>(Port);
    return RunServe(Options);
}

} // namespace zutools::zuhost
