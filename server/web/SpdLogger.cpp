#include "server/web/SpdLogger.h"

#include "host/Exception.h"
#include "platform/Text.h"
#include "platform/TextTools.h"

#include <spdlog/logger.h>
#include <spdlog/sinks/basic_file_sink.h>
#include <spdlog/sinks/stdout_sinks.h>

namespace zutools::server {

namespace {

spdlog::level::level_enum SpdLevel(TLogLevel Level) {
    switch (Level) {
    case TLogLevel::Debug:
        return spdlog::level::debug;
    case TLogLevel::Info:
        return spdlog::level::info;
    case TLogLevel::Warning:
        return spdlog::level::warn;
    case TLogLevel::Error:
        return spdlog::level::err;
    }
    return spdlog::level::err;
}

/// A traceback stays readable on one line: a line break becomes " | ", other controls and the marks that turn
/// the writing direction become "?".
std::u16string OneLine(std::u16string_view Text) {
    std::u16string Line;
    for (const char16_t Character : platform::Shortened(Text, MaxLogUnits)) {
        if (Character == u'\n') {
            Line += u" | ";
        } else if (Character == u'\t') {
            Line += u' ';
        } else if (Character == u'\r') {
            continue;
        } else if (platform::IsControl(Character)) {
            Line += u'?';
        } else {
            Line += Character;
        }
    }
    return Line;
}

std::shared_ptr<spdlog::sinks::sink> MakeSink(std::u16string_view File) {
    if (File.empty()) return std::make_shared<spdlog::sinks::stderr_sink_mt>();
    try {
        return std::make_shared<spdlog::sinks::basic_file_sink_mt>(platform::Utf16ToUtf8(File));
    } catch (const spdlog::spdlog_ex& Error) {
        throw Exception(platform::Utf8ToUtf16(Error.what()));
    }
}

} // namespace

struct TSpdLogger::TOutput {
    TOutput(TLogLevel Level, std::u16string_view File, TLogFormat AFormat)
        : Format(AFormat)
        , Logger("zuhost", MakeSink(File)) {
        Logger.set_pattern(Format == TLogFormat::Json ? R"({"time":"%Y-%m-%dT%H:%M:%S.%e%z","level":"%l",%v})"
                                                      : "%Y-%m-%dT%H:%M:%S.%e%z %l %v");
        Logger.set_level(SpdLevel(Level));
        // A crash must not eat the lines that explain it; a request is cheap to flush beside a page.
        Logger.flush_on(spdlog::level::info);
    }
    const TLogFormat Format;
    spdlog::logger Logger;
};

TSpdLogger::TSpdLogger(TLogLevel Level, std::u16string_view File, TLogFormat Format)
    : FOutput(std::make_shared<TOutput>(Level, File, Format)) {}

TSpdLogger::~TSpdLogger() = default;

void TSpdLogger::Reopen(TLogLevel Level, std::u16string_view File, TLogFormat Format) {
    auto Fresh = std::make_shared<TOutput>(Level, File, Format); // the old one is closed without the lock
    const std::lock_guard Guard(FMutex);
    FOutput.swap(Fresh);
}

std::shared_ptr<TSpdLogger::TOutput> TSpdLogger::Output() const {
    const std::lock_guard Guard(FMutex);
    return FOutput;
}

void TSpdLogger::Log(TLogLevel Level, std::u16string_view Text) noexcept {
    try {
        const auto To = Output();
        if (!To->Logger.should_log(SpdLevel(Level))) return;
        const std::string Line = platform::Utf16ToUtf8(OneLine(Text));
        To->Logger.log(SpdLevel(Level),
                       To->Format == TLogFormat::Json ? "\"message\":" + JsonText(Line) : Line);
    } catch (const std::exception&) {
        // Out of memory: losing the line is better than ending the page.
    }
}

void TSpdLogger::LogAccess(const TAccess& Access) noexcept {
    try {
        const auto To = Output();
        if (!To->Logger.should_log(spdlog::level::info)) return;
        To->Logger.log(spdlog::level::info,
                       To->Format == TLogFormat::Json ? AccessJson(Access) : AccessText(Access));
    } catch (const std::exception&) {
        // As above.
    }
}

} // namespace zutools::server
