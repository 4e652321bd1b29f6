#include "apps/zuhost/Shell.h"

#include "host/Exception.h"
#include "platform/File.h"
#include "platform/Text.h"
#include "platform/TextTools.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <utility>

namespace zutools::zuhost {

namespace {

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

[[noreturn]] void RefuseOutput(int Code) {
    throw Exception(u"cannot write to standard output: " + platform::SystemErrorText(Code));
}

} // namespace

void Describe(CLI::App& App, std::string Usage) {
    App.formatter(std::make_shared<TFormatter>(std::move(Usage)));
    App.set_help_flag("-h,--help", "Print this help and exit");
}

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

void RefuseNames(const TArguments& Names) {
    if (!Names.empty()) throw EUsage("takes no names; there is \"" + Names.front() + '"');
}

void WriteOut(std::string_view Bytes) {
    if (std::fwrite(Bytes.data(), 1, Bytes.size(), stdout) != Bytes.size()) RefuseOutput(errno);
}

void WriteOut(std::u16string_view Text) {
    const auto Encoded = platform::Utf16ToUtf8Strict(Text);
    if (Encoded.Error)
        throw Exception(u"the result holds half of a character pair, which UTF-8 cannot express");
    WriteOut(Encoded.Text);
}

void FlushOut() {
    if (std::fflush(stdout) != 0) RefuseOutput(errno);
    // An earlier write failed, and whoever wrote (a script's print) passed over it.
    if (std::ferror(stdout) != 0) throw Exception(u"cannot write to standard output");
}

std::u16string Cell(std::u16string_view Text) {
    return platform::Masked(Text);
}

void Complain(std::u16string_view Message) {
    const std::string Bytes =
        platform::Utf16ToUtf8(u"zuhost: " + platform::Masked(Message, u'\uFFFD', u"\n\t") + u"\n");
    std::fflush(stdout); // keeps the order where both go to one terminal; a failure is found by FlushOut
    std::fwrite(Bytes.data(), 1, Bytes.size(), stderr);
}

std::u16string Text(std::string_view Argument) {
    return platform::Utf8ToUtf16(Argument);
}

void TShellLogger::Log(TLogLevel Level, std::u16string_view Text) noexcept {
    if (Level < TLogLevel::Warning) return;
    try {
        Complain((Level == TLogLevel::Warning ? u"warning: " : u"") + std::u16string(Text));
    } catch (const std::exception&) {
        // Out of memory: nothing left to say it with.
    }
}

} // namespace zutools::zuhost
