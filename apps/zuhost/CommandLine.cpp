#include "apps/zuhost/CommandLine.h"

#include "apps/zuhost/Commands.h"
#include "package/ZuTools.h"
#include "platform/Text.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <utility>

namespace zutools::zuhost {

namespace {

constexpr const char* Footer =
    R"(`zuhost SUBCOMMAND --help` tells more about one of them.
Exit codes: 0 good, 1 the job failed, 2 wrong usage.

Examples:
  zuhost render --templates pages letter.txt NAME=Anna
  zuhost lint --templates pages --strings texts
  zuhost run job.lua
  zuhost serve --config orders.toml)";

[[nodiscard]] std::string CommandNames() {
    std::string Result;
    for (const TCommand& Command : Commands) {
        if (!Result.empty()) Result += ", ";
        Result += Command.Name;
    }
    return Result;
}

/// CLI11 makes the usage line from declared positionals, of which there are none: names are taken aside
/// before it parses.
class TFormatter : public CLI::Formatter {
public:
    explicit TFormatter(std::string Usage)
        : FUsage(std::move(Usage)) {}
    std::string make_usage(const CLI::App*, std::string) const override { return "Usage: " + FUsage + "\n"; }

private:
    const std::string FUsage;
};

/// Gives `App` its "Usage:" line and its `--help`.
void Describe(CLI::App& App, std::string Usage) {
    App.formatter(std::make_shared<TFormatter>(std::move(Usage)));
    App.set_help_flag("-h,--help", "Print this help and exit");
}

/// Arguments taken apart: what CLI11 is to read, and the names that stand beside the options, in order.
struct TSplitArguments {
    TArguments Options; // with the subcommand's name in front
    TArguments Names;
};

/// Takes the arguments of a subcommand (or of none) apart: "--" ends the options, and so does the first name
/// of one that takes what follows as it is (CLI11's prefix_command). `--name=` is an empty value: CLI11 would
/// take the next argument, and values like "[a,b]" apart. Raises EUsage for an unknown option.
TSplitArguments SplitArguments(const CLI::App& App, const TArguments& Arguments) {
    TSplitArguments Result;
    auto Next = Arguments.begin();
    if (Next != Arguments.end() && *Next == App.get_name()) Result.Options.push_back(*Next++);
    for (; Next != Arguments.end(); ++Next) {
        if (*Next == "--") {
            Result.Names.insert(Result.Names.end(), Next + 1, Arguments.end());
            break;
        }
        if (Next->size() < 2 || Next->front() != '-') {
            const auto End = App.get_prefix_command() ? Arguments.end() : Next + 1;
            Result.Names.insert(Result.Names.end(), Next, End);
            if (App.get_prefix_command()) break;
            continue;
        }
        const std::size_t Equals = Next->find('=');
        const CLI::Option* const Option = App.get_option_no_throw(Next->substr(0, Equals));
        if (Option == nullptr) throw EUsage("unknown option " + *Next);
        const bool TakesValue = Option->get_items_expected_max() > 0;
        if (TakesValue && Equals == Next->size() - 1) {
            Result.Options.push_back(Next->substr(0, Equals));
            Result.Options.emplace_back();
            continue;
        }
        Result.Options.push_back(*Next);
        const bool ValueFollows = TakesValue && Equals == std::string::npos;
        if (ValueFollows && Next + 1 != Arguments.end()) Result.Options.push_back(*++Next);
    }
    return Result;
}

/// False when help or the version was asked for and has been printed.
bool Parse(CLI::App& App, TArguments Options) {
    try {
        std::reverse(Options.begin(), Options.end()); // CLI11 takes them from the back
        App.parse(std::move(Options));
        return true;
    } catch (const CLI::CallForHelp&) {
        WriteOut(App.help());
        return false;
    } catch (const CLI::CallForVersion& Version) {
        WriteOut(std::string_view(Version.what()));
        WriteOut(std::string_view("\n"));
        return false;
    } catch (const CLI::ParseError& Error) {
        throw EUsage(Error.what());
    }
}

template <class T>
CLI::Option* AddOptional(CLI::App& App, const char* Name, std::optional<T>& Value, const char* Help) {
    const std::function<void(const T&)> Take = [&Value](const T& Given) { Value = Given; };
    return App.add_option_function<T>(Name, Take, Help);
}

} // namespace

void TDeclaration::Option(const char* Name, std::string& Value, const char* Type, const char* Help) {
    FApp.add_option(Name, Value, Help)->type_name(Type);
}
void TDeclaration::Option(const char* Name, std::optional<std::string>& Value, const char* Type,
                          const char* Help) {
    AddOptional(FApp, Name, Value, Help)->type_name(Type);
}
void TDeclaration::Option(const char* Name, std::optional<int>& Value, const char* Type, const char* Help) {
    AddOptional(FApp, Name, Value, Help)->type_name(Type);
}
void TDeclaration::Option(const char* Name, int& Value, TRange Range, const char* Type, const char* Help) {
    FApp.add_option(Name, Value, Help)->type_name(Type)->check(CLI::Range(Range.Least, Range.Most));
}
void TDeclaration::Option(const char* Name, std::optional<int>& Value, TRange Range, const char* Type,
                          const char* Help) {
    AddOptional(FApp, Name, Value, Help)->type_name(Type)->check(CLI::Range(Range.Least, Range.Most));
}
void TDeclaration::Flag(const char* Name, bool& Value, const char* Help) {
    FApp.add_flag(Name, Value, Help);
}
void TDeclaration::Exclude(const char* Name, const char* Other) {
    FApp.get_option(Name)->excludes(FApp.get_option(Other));
}
void TDeclaration::Footer(const char* Text) {
    FApp.footer(Text);
}
void TDeclaration::NamesEndOptions() {
    FApp.prefix_command();
}

int RunCommandLine(const TArguments& Arguments, const TCommand*& Chosen) {
    CLI::App Root("zuhost: templates, scripts and web pages with ZuTools");
    Describe(Root, "zuhost SUBCOMMAND [OPTIONS] ...");
    Root.footer(Footer);
    Root.set_version_flag("--version", "zuhost " + platform::Utf16ToUtf8(ZuToolsVersion()),
                          "Print the version and exit");
    CLI::App* ChosenApp = &Root;
    TJob ChosenJob;
    for (const TCommand& Command : Commands) {
        CLI::App* const App = Root.add_subcommand(Command.Name, Command.Summary);
        TDeclaration Takes(*App);
        TJob Job = Command.Declare(Takes);
        Describe(*App, std::string("zuhost ") + Command.Name + " " + Command.Usage);
        if (Arguments.empty() || Arguments.front() != Command.Name) continue;
        Chosen = &Command;
        ChosenApp = App;
        ChosenJob = std::move(Job);
    }
    if (Chosen == nullptr) {
        if (Arguments.empty()) throw EUsage("a subcommand is missing; there are " + CommandNames());
        if (!Arguments.front().starts_with('-')) {
            throw EUsage("unknown subcommand \"" + Arguments.front() + "\"; there are " + CommandNames());
        }
    }
    TSplitArguments Split = SplitArguments(*ChosenApp, Arguments);
    if (!Parse(Root, std::move(Split.Options))) return ExitGood;
    return ChosenJob(Split.Names);
}

} // namespace zutools::zuhost
