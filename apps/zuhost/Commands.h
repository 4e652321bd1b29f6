// The subcommands of zuhost: what each declares, and the list that Main and the help read.

#pragma once

#include "apps/zuhost/CommandLine.h"

namespace zutools::zuhost {

// One a file.
[[nodiscard]] TJob DeclareApi(TDeclaration& Takes);
[[nodiscard]] TJob DeclareBlocks(TDeclaration& Takes);
[[nodiscard]] TJob DeclareCheck(TDeclaration& Takes);
[[nodiscard]] TJob DeclareCryptoProbe(TDeclaration& Takes);
[[nodiscard]] TJob DeclareFilters(TDeclaration& Takes);
[[nodiscard]] TJob DeclareLint(TDeclaration& Takes);
[[nodiscard]] TJob DeclareMigrate(TDeclaration& Takes);
[[nodiscard]] TJob DeclareNew(TDeclaration& Takes);
[[nodiscard]] TJob DeclarePipeCall(TDeclaration& Takes);
[[nodiscard]] TJob DeclarePipeServe(TDeclaration& Takes);
[[nodiscard]] TJob DeclareRender(TDeclaration& Takes);
[[nodiscard]] TJob DeclareRun(TDeclaration& Takes);
[[nodiscard]] TJob DeclareServe(TDeclaration& Takes);
[[nodiscard]] TJob DeclareSessions(TDeclaration& Takes);
[[nodiscard]] TJob DeclareSettings(TDeclaration& Takes);
[[nodiscard]] TJob DeclareTest(TDeclaration& Takes);
[[nodiscard]] TJob DeclareUsers(TDeclaration& Takes);

/// In the order of the help; a new command is one line here and its declaration above.
inline constexpr TCommand Commands[] = {
    {"new", "NAME", "Write a small application to begin with", DeclareNew},
    {"render", "[OPTIONS] NAME [name=value ...]", "Fill a template and print the result", DeclareRender},
    {"run", "[OPTIONS] SCRIPT.lua [ARG ...]", "Run a Lua script with the library's objects", DeclareRun},
    {"serve", "[OPTIONS]", "Answer web requests with script modules", DeclareServe},
    {"test", "[OPTIONS] DIR", "Run an application's tests, each on a database of its own", DeclareTest},
    {"check", "[--wrong RULE] [--right RULE] VALUE", "Check a value against a rule", DeclareCheck},
    {"migrate", "[OPTIONS]", "Bring the application's tables up to date", DeclareMigrate},
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
    {"crypto-probe", "[OPTIONS] LIB", "Tell what a crypto engine library offers, safe from its crashes",
     DeclareCryptoProbe},
    {"api", "[OPTIONS]", "Print the reference of what scripts can use", DeclareApi},
};

} // namespace zutools::zuhost
