// zuforms --script: a Lua script that may ask people.

#pragma once

#include <QString>
#include <QStringList>

namespace zutools::zuforms {

/// Who shows the questions of `zu.ask_values`.
enum class TAskedOn { Screen, Terminal };

/// Runs the script with the library's objects and `zu.ask_values`; `Arguments` are its own. Needs an
/// application of Qt, of widgets for the screen. What goes wrong is told on standard error.
/// @return whether all went well.
[[nodiscard]] bool RunScript(const QString& File, const QStringList& Arguments, TAskedOn Where);

} // namespace zutools::zuforms
