#include "apps/zuhost/Shell.h"

#include "host/Exception.h"
#include "platform/File.h"
#include "platform/Text.h"

#include <CLI/CLI.hpp>

#include <cerrno>
#include <cstdio>
#include <utility>

namespace zutools::zuhost {

namespace {

/// CLI11 makes the usage line from declared positionals, of which there are none.
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

void Describe(CLI::App& App, std::string Usage, std::string Footer) {
    App.formatter(std::make_shared<TFormatter>(std::move(Usage)));
    App.footer(std::move(Footer));
    App.set_help_flag("-h,--help", "Print this help and exit");
}

bool Parse(CLI::App& App, const TArguments& Arguments) {
    try {
        App.parse(TArguments(Arguments.rbegin(), Arguments.rend())); // CLI11 takes them from the back
        return true;
    } catch (const CLI::CallForHelp&) {
        WriteOut(App.help());
        return false;
    } catch (const CLI::ParseError& Error) {
        throw EUsage(Error.what());
    }
}

TArguments Positionals(const CLI::App& App) {
    TArguments Result;
    bool OptionsEnded = false;
    for (std::string& Argument : App.remaining()) {
        if (!OptionsEnded && Argument == "--") {
            OptionsEnded = true;
        } else if (!OptionsEnded && Argument.size() > 1 && Argument.front() == '-') {
            throw EUsage("unknown option " + Argument);
        } else {
            Result.push_back(std::move(Argument));
        }
    }
    return Result;
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

void Complain(std::u16string_view Message) {
    std::u16string Line = u"zuhost: " + std::u16string(Message) + u"\n";
    for (char16_t& Unit : Line) {
        if ((Unit < 0x20 && Unit != u'\n' && Unit != u'\t') || (Unit >= 0x7F && Unit < 0xA0))
            Unit = u'\uFFFD';
    }
    const std::string Bytes = platform::Utf16ToUtf8(Line);
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
