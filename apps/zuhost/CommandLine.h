// How a command line is taken apart: each subcommand declares what it takes, and one source hands that on to
// CLI11, whose header costs seconds wherever it is read.

#pragma once

#include "apps/zuhost/Shell.h"

#include <functional>
#include <optional>
#include <string>

namespace CLI {
class App;
}

namespace zutools::zuhost {

struct TRange {
    int Least = 0;
    int Most = 0;
};

/// What a subcommand takes beside names, and what its help says. `Name` is "--name"; `Type` stands for the
/// value in the help. Values are written while the command line is parsed and have to live until then; an
/// option that is not given leaves its value as it is.
class TDeclaration {
public:
    explicit TDeclaration(CLI::App& App)
        : FApp(App) {}

    void Option(const char* Name, std::string& Value, const char* Type, const char* Help);
    void Option(const char* Name, std::optional<std::string>& Value, const char* Type, const char* Help);
    void Option(const char* Name, std::optional<int>& Value, const char* Type, const char* Help);
    void Option(const char* Name, int& Value, TRange Range, const char* Type, const char* Help);
    void Option(const char* Name, std::optional<int>& Value, TRange Range, const char* Type,
                const char* Help);
    void Flag(const char* Name, bool& Value, const char* Help);
    /// Two that were declared do not go together.
    void Exclude(const char* Name, const char* Other);
    /// What the help ends with.
    void Footer(const char* Text);
    /// What follows the first name is a name too, whatever it looks like.
    void NamesEndOptions();

private:
    CLI::App& FApp;
};

/// Does the work, with the names that stand beside the options, and gives the exit code.
/// @throws EUsage for wrong usage, any other exception for a job that failed: Main turns both into a message
/// and an exit code.
using TJob = std::function<int(const TArguments& Names)>;

struct TCommand {
    const char* Name;
    const char* Usage; // what stands behind the name in the help
    const char* Summary;
    TJob (*Declare)(TDeclaration& Takes); // what options are stored in lives in the job
};

/// Does what the arguments ask for: a subcommand's job, or help or the version. The exit code. `Chosen`
/// receives the subcommand as soon as it is known. @throws EUsage, and what the job raises.
[[nodiscard]] int RunCommandLine(const TArguments& Arguments, const TCommand*& Chosen);

} // namespace zutools::zuhost
