// Calls of automation objects written to a file, and answered from it: a module that drives an office program
// is tested where there is none.
//
// A recording is UTF-8 text, a line for each question (docs/automation.md shows one). Objects that come as
// answers are recorded too, under numbers in the order in which they came.

#pragma once

#include "host/Exception.h"
#include "platform/Automation.h"

#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace zutools {

/// A call that did not come as recorded, or a recording that cannot be read.
class EAutomationReplay : public Exception {
public:
    using Exception::Exception;
};

/// A stand-in for an object: every question and its answer is appended to the file, which is made anew,
/// before the answer is given.
/// @throws Exception naming the file that cannot be written, also from every call of the stand-in.
[[nodiscard]] platform::TAutomationPtr RecordAutomation(platform::TAutomationPtr Object,
                                                        std::u16string_view File);

/// A recording that answers as the object did.
class TAutomationReplay {
public:
    /// @throws platform::TSystemError for the file, EAutomationReplay naming the line.
    explicit TAutomationReplay(std::u16string_view File);
    /// From the text of a recording; `Name` stands in messages.
    TAutomationReplay(std::string_view Text, std::u16string_view Name);
    ~TAutomationReplay();
    TAutomationReplay(const TAutomationReplay&) = delete;
    TAutomationReplay& operator=(const TAutomationReplay&) = delete;

    /// The object that was recorded. It may outlive this. Questions are expected in the recorded order.
    /// @throws from its calls: EAutomationReplay naming the line, what was recorded and what came.
    [[nodiscard]] platform::TAutomationPtr Object() const;
    /// The recorded questions that have not come yet, as they stand in the file.
    [[nodiscard]] std::vector<std::u16string> Remaining() const;

private:
    struct TScript;
    friend class TReplayObject;
    std::shared_ptr<TScript> FScript;
};

} // namespace zutools
