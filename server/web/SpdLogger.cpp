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

TSpdLogger::TSpdLogger(TLogLevel Level, std::u16string_view File, TLogFormat Format)
    : FFormat(Format)
    , FLogger(std::make_unique<spdlog::logger>("zuhost", MakeSink(File))) {
    FLogger->set_pattern(Format == TLogFormat::Json ? R"({"time":"%Y-%m-%dT%H:%M:%S.%e%z","level":"%l",%v})"
                                                    : "%Y-%m-%dT%H:%M:%S.%e%z %l %v");
    FLogger->set_level(SpdLevel(Level));
    // A crash must not eat the lines that explain it; a request is cheap to flush beside a page.
    FLogger->flush_on(spdlog::level::info);
}

TSpdLogger::~TSpdLogger() = default;

void TSpdLogger::Log(TLogLevel Level, std::u16string_view Text) noexcept {
    try {
        if (!FLogger->should_log(SpdLevel(Level))) return;
        const std::string Line = platform::Utf16ToUtf8(OneLine(Text));
        FLogger->log(SpdLevel(Level), FFormat == TLogFormat::Json ? "\"message\":" + JsonText(Line) : Line);
    } catch (const std::exception&) {
        // Out of memory: losing the line is better than ending the page.
    }
}

void TSpdLogger::LogAccess(const TAccess& Access) noexcept {
    try {
        if (!FLogger->should_log(spdlog::level::info)) return;
        FLogger->log(spdlog::level::info,
                     FFormat == TLogFormat::Json ? AccessJson(Access) : AccessText(Access));
    } catch (const std::exception&) {
        // As above.
    }
}

} // namespace zutools::server
