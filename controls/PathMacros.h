// Macros in paths: "%UserName%" and twelve others, whose values the host knows. And sizes of files in units.

#pragma once

#include <QString>
#include <QStringList>

#include <array>
#include <cstdint>
#include <optional>
#include <utility>
#include <vector>

namespace zutools {

/// The value of a macro in its written form, such as "%Date%".
using TCorrectPathFunc = QString (*)(const QString& Macro);
/// Set by the host; without it nothing is expanded. For the user-interface thread.
inline TCorrectPathFunc CorrectPath = nullptr;

[[nodiscard]] const QStringList& MacroNames();

struct TExpandedPath {
    QString Path;
    std::vector<std::pair<QString, QString>> Used; // macro and value, in the order of the table
};

/// The path with the values in place of the macros. A value that brings its own macro again is expanded until
/// the path has `LongestPath` characters, and cut off there.
[[nodiscard]] TExpandedPath ExpandMacros(const QString& Path);
inline constexpr qsizetype LongestPath = 32767;
/// The path with the macros in place of their values again.
[[nodiscard]] QString CollapseMacros(QString Path, const TExpandedPath& Expanded);

struct TMacroFault {
    qsizetype At;  // of the "%" that begins it, 0-based
    bool Unclosed; // else no macro has that name
    QString Name;
};
/// The first macro that is unknown or not closed.
[[nodiscard]] std::optional<TMacroFault> FindMacroFault(const QString& Path);

enum class TFileSizeUnit { Bytes, Kilobytes, Megabytes, Gigabytes, Terabytes };
inline constexpr std::array<std::int64_t, 5> UnitFactors{1, 1LL << 10, 1LL << 20, 1LL << 30, 1LL << 40};
[[nodiscard]] const QStringList& UnitCaptions();

/// The largest unit that shows the size without a rest; bytes for 0 and less.
[[nodiscard]] TFileSizeUnit UnitFor(std::int64_t Size);
/// The size in that unit, rounded down.
[[nodiscard]] std::int64_t SizeIn(std::int64_t Size, TFileSizeUnit Unit);

} // namespace zutools
