#include "server/web/SpdLogger.h"

#include "host/Exception.h"
#include "platform/File.h"
#include "platform/Text.h"
#include "platform/TextTools.h"

#include <spdlog/logger.h>
#include <spdlog/pattern_formatter.h>
#include <spdlog/sinks/sink.h>

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <utility>

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

/// Keeps lines in memory until `flush`: whoever logs waits for the disk only when the disk is far behind.
class TBatchSink final : public spdlog::sinks::sink {
public:
    /// Standard error when `File` is empty.
    explicit TBatchSink(std::u16string_view File)
        : FFile(File.empty() ? STDERR_FILENO : Open(platform::Utf16ToUtf8(File))) {
        if (FFile < 0)
            throw Exception(platform::TSystemError(u"Cannot write the log", File, errno).Message());
    }
    ~TBatchSink() override {
        try {
            flush();
        } catch (const spdlog::spdlog_ex&) {
            // Nobody is left to be told.
        }
        if (FFile != STDERR_FILENO) ::close(FFile);
    }
    TBatchSink(const TBatchSink&) = delete;
    TBatchSink& operator=(const TBatchSink&) = delete;

    void log(const spdlog::details::log_msg& Message) override {
        constexpr std::size_t Enough = 256 * 1024;
        {
            const std::lock_guard Guard(FMutex);
            FFormatter->format(Message, FLines);
            if (FLines.size() < Enough) return;
        }
        flush();
    }
    void flush() override {
        const std::lock_guard Order(FWriting);
        spdlog::memory_buf_t Lines;
        {
            const std::lock_guard Guard(FMutex);
            std::swap(Lines, FLines);
        }
        for (std::string_view Rest(Lines.data(), Lines.size()); !Rest.empty();) {
            const ssize_t Written = ::write(FFile, Rest.data(), Rest.size());
            if (Written < 0 && errno == EINTR) continue;
            if (Written <= 0) throw spdlog::spdlog_ex("the log cannot be written", errno);
            Rest.remove_prefix(static_cast<std::size_t>(Written));
        }
    }
    void set_pattern(const std::string& Pattern) override {
        set_formatter(std::make_unique<spdlog::pattern_formatter>(Pattern));
    }
    void set_formatter(std::unique_ptr<spdlog::formatter> Formatter) override {
        const std::lock_guard Guard(FMutex);
        FFormatter = std::move(Formatter);
    }

private:
    static int Open(const std::string& File) {
        constexpr mode_t Mode = 0666; // less what the process takes away
        return ::open(File.c_str(), O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, Mode);
    }

    const int FFile;
    std::mutex FWriting; // one writes at a time, so that lines stay in order
    std::mutex FMutex;
    // Guarded by FMutex.
    spdlog::memory_buf_t FLines;
    std::unique_ptr<spdlog::formatter> FFormatter = std::make_unique<spdlog::pattern_formatter>();
};

} // namespace

struct TSpdLogger::TOutput {
    TOutput(TLogLevel Level, std::u16string_view File, TLogFormat AFormat)
        : Format(AFormat)
        , Logger("zuhost", std::make_shared<TBatchSink>(File)) {
        Logger.set_pattern(Format == TLogFormat::Json ? R"({"time":"%Y-%m-%dT%H:%M:%S.%e%z","level":"%l",%v})"
                                                      : "%Y-%m-%dT%H:%M:%S.%e%z %l %v");
        Logger.set_level(SpdLevel(Level));
    }
    const TLogFormat Format;
    spdlog::logger Logger;
};

TSpdLogger::TSpdLogger(TLogLevel Level, std::u16string_view File, TLogFormat Format)
    : FOutput(std::make_shared<TOutput>(Level, File, Format))
    , FWriter([this] { WriteInTime(); }) {}

TSpdLogger::~TSpdLogger() {
    {
        const std::lock_guard Guard(FMutex);
        FClosed = true;
    }
    FChanged.notify_all();
    FWriter.join();
}

void TSpdLogger::WriteInTime() {
    constexpr std::chrono::milliseconds Longest{100};
    std::unique_lock Guard(FMutex);
    while (!FClosed) {
        FChanged.wait(Guard, [this] { return FClosed || FPending; });
        FChanged.wait_for(Guard, Longest, [this] { return FClosed; });
        FPending = false;
        const auto To = FOutput;
        Guard.unlock();
        To->Logger.flush();
        Guard.lock();
    }
}

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
        To->Logger.flush(); // a crash must not eat the lines that explain it
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
        {
            const std::lock_guard Guard(FMutex);
            if (std::exchange(FPending, true)) return;
        }
        FChanged.notify_one();
    } catch (const std::exception&) {
        // As above.
    }
}

} // namespace zutools::server
