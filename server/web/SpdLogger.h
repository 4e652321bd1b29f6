// The host's logger on spdlog: one line an entry, to standard error or to a file.

#pragma once

#include "host/Services.h"

#include <memory>
#include <string_view>

namespace spdlog {
class logger;
}

namespace zutools::server {

/// Any thread. Control characters of an entry are masked, so that no text can make a line of its own.
class TSpdLogger : public TLogger {
public:
    /// Appends to `File`; writes to standard error when it is empty.
    /// @throws Exception when the file cannot be opened.
    TSpdLogger(TLogLevel Level, std::u16string_view File);
    ~TSpdLogger() override;

    void Log(TLogLevel Level, std::u16string_view Text) noexcept override;

private:
    std::unique_ptr<spdlog::logger> FLogger;
};

} // namespace zutools::server
