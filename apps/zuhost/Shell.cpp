#include "apps/zuhost/Shell.h"

#include "host/Exception.h"
#include "platform/File.h"
#include "platform/Text.h"
#include "platform/TextTools.h"

#include <cerrno>
#include <cstdio>

namespace zutools::zuhost {

namespace {

[[noreturn]] void RefuseOutput(int Code) {
    throw Exception(u"cannot write to standard output: " + platform::SystemErrorText(Code));
}

} // namespace

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
