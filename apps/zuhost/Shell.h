// What the subcommands share: arguments in, results and complaints out, and the exit codes.
//
// Used by the main thread of zuhost only, except Complain, which any thread may call. Texts of the shell are
// UTF-8; Main has refused malformed arguments before anything here sees them.

#pragma once

#include "host/Services.h"

#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace zutools::zuhost {

inline constexpr int ExitGood = 0;
inline constexpr int ExitFailed = 1;
inline constexpr int ExitUsage = 2;

using TArguments = std::vector<std::string>;

/// Wrong usage: Main says the message and where help is, and exits with 2.
class EUsage : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// For subcommands that take no names. @throws EUsage when there is one.
void RefuseNames(const TArguments& Names);

/// Writes results to standard output.
/// @throws Exception when it does not take them: a closed pipe, a full disk.
void WriteOut(std::string_view Bytes);
/// The same for text. @throws Exception also for an unpaired surrogate.
void WriteOut(std::u16string_view Text);
/// Hands everything written to the system. @throws Exception as WriteOut does.
void FlushOut();

/// One `zuhost: message` on standard error. Control characters of the message are masked, line ends stay.
void Complain(std::u16string_view Message);

/// A text of a listing, which somebody else wrote: nothing in it steers a terminal or begins a line.
[[nodiscard]] std::u16string Cell(std::u16string_view Text);

/// An argument as text.
[[nodiscard]] std::u16string Text(std::string_view Argument);

/// Warnings and errors of the library as complaints.
class TShellLogger : public TLogger {
public:
    void Log(TLogLevel Level, std::u16string_view Text) noexcept override;
};

} // namespace zutools::zuhost
