// The subcommands of zuhost: what each declares, and the list that Main and the help read.

#pragma once

#include "apps/zuhost/Shell.h"

#include <CLI/CLI.hpp>

#include <functional>
#include <span>

namespace zutools::zuhost {

/// Does the work, with the names that stand beside the options, and gives the exit code.
/// @throws EUsage for wrong usage, any other exception for a job that failed: Main turns both into a message
/// and an exit code.
using TJob = std::function<int(const TArguments& Names)>;

struct TCommand {
    const char* Name;
    const char* Usage; // what stands behind the name in the help
    const char* Summary;
    TJob (*Declare)(CLI::App& App); // adds options and footer; what they are stored in lives in the job
};

// One a file.
[[nodiscard]] TJob DeclareApi(CLI::App& App);
[[nodiscard]] TJob DeclareBlocks(CLI::App& App);
[[nodiscard]] TJob DeclareCheck(CLI::App& App);
[[nodiscard]] TJob DeclareFilters(CLI::App& App);
[[nodiscard]] TJob DeclareLint(CLI::App& App);
[[nodiscard]] TJob DeclarePipeCall(CLI::App& App);
[[nodiscard]] TJob DeclarePipeServe(CLI::App& App);
[[nodiscard]] TJob DeclareRender(CLI::App& App);
[[nodiscard]] TJob DeclareRun(CLI::App& App);
[[nodiscard]] TJob DeclareServe(CLI::App& App);
[[nodiscard]] TJob DeclareSessions(CLI::App& App);
[[nodiscard]] TJob DeclareSettings(CLI::App& App);
[[nodiscard]] TJob DeclareUsers(CLI::App& App);

/// In the order of the help; a new command is one line here and its declaration above.
inline constexpr TCommand Commands[] = {
    {"render", "[OPTIONS] NAME [name=value ...]", "Fill a template and print the result", DeclareRender},
    {"run", "[OPTIONS] SCRIPT.lua [ARG ...]", "Run a Lua script with the library's objects", DeclareRun},
    {"serve", "[OPTIONS]", "Answer web requests with script modules", DeclareServe},
    {"check", "[--wrong RULE] [--right RULE] VALUE", "Check a value against a rule", DeclareCheck},
    {"filters", "--database URL [OPTIONS] ACTION ...", "List and change the value filters in a database",
     DeclareFilters},
    {"users", "--database URL|--config FILE [OPTIONS] ACTION ...",
     "List and change the users in a database, and what they may do", DeclareUsers},
    {"blocks", "[OPTIONS] ACTION [ID]", "List and release the record blocks of a running service",
     DeclareBlocks},
    {"sessions", "[OPTIONS] ACTION [SID]", "List and end the sessions of a running service", DeclareSessions},
    {"settings", "ACTION FILE [SECTION [KEY [VALUE]]]", "Look into a settings file, change it, check it",
     DeclareSettings},
    {"lint", "[OPTIONS] [NAME ...]", "List what templates hold and report what is wrong in them",
     DeclareLint},
    {"pipe-serve", "NAME (--echo | --script FILE.lua) [OPTIONS]", "Answer the requests of a named pipe",
     DeclarePipeServe},
    {"pipe-call", "[OPTIONS] NAME (REQUEST | -)", "Send a request to a named pipe and print its answer",
     DeclarePipeCall},
    {"api", "[OPTIONS]", "Print the reference of what scripts can use", DeclareApi},
};

} // namespace zutools::zuhost
