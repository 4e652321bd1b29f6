// A logger that keeps what it is told.

#pragma once

#include "host/Services.h"
#include "platform/Text.h"

#include <condition_variable>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

namespace zutools::tests {

/// Keeps the texts in UTF-8, whatever their level. Any thread may log and ask.
class TRecordingLogger : public TLogger {
public:
    void Log(TLogLevel, std::u16string_view Text) noexcept override {
        const std::scoped_lock Guard(FMutex);
        FLines.push_back(platform::Utf16ToUtf8(Text));
        FChanged.notify_all();
    }

    [[nodiscard]] std::vector<std::string> Lines() const {
        const std::scoped_lock Guard(FMutex);
        return FLines;
    }
    /// The lines, each ended by "\n".
    [[nodiscard]] std::string Text() const {
        std::string Result;
        for (const std::string& Line : Lines()) Result += Line + "\n";
        return Result;
    }
    /// The last line; empty when there is none.
    [[nodiscard]] std::string Last() const {
        const std::scoped_lock Guard(FMutex);
        return FLines.empty() ? std::string() : FLines.back();
    }
    void Clear() {
        const std::scoped_lock Guard(FMutex);
        FLines.clear();
    }
    /// Blocks until a line holds `Part`; that line.
    [[nodiscard]] std::string WaitFor(std::string_view Part) const {
        std::unique_lock Guard(FMutex);
        while (true) {
            for (const std::string& Line : FLines)
                if (Line.find(Part) != Line.npos) return Line;
            FChanged.wait(Guard);
        }
    }

private:
    mutable std::mutex FMutex;
    mutable std::condition_variable FChanged;
    std::vector<std::string> FLines;
};

} // namespace zutools::tests
