// How the gallery looks: colours, direction, language. For pictures that are the same on every desktop.

#pragma once

#include <QApplication>

namespace zutools::zuforms {

/// Whose colours the gallery has.
enum class TColors { Desktop, Dark, Contrast };
void UseColors(QApplication& Application, TColors Colors);

/// The languages that there are texts in.
[[nodiscard]] QStringList Languages();
/// Texts in one of them; empty is the desktop's.
void UseLanguage(QCoreApplication& Application, const QString& Wanted);

} // namespace zutools::zuforms
