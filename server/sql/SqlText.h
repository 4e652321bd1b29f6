// Between our texts and Qt's, without a detour over UTF-8, and texts for messages. For server/sql and those
// above that work with Qt.

#pragma once

#include <QString>

#include <string>
#include <string_view>

namespace zutools::server {

/// Copies as it is, U+FEFF in front too. Never the driver's NULL.
[[nodiscard]] QString ToQt(std::u16string_view Text);
[[nodiscard]] std::u16string FromQt(const QString& Text);

/// A database's text in one line.
[[nodiscard]] std::u16string InOneLine(std::u16string Text);

/// A statement for a message: one line, cut when it is long.
[[nodiscard]] std::u16string ShownStatement(std::u16string_view Statement);

/// "5 seconds", "0.25 seconds", for a message.
[[nodiscard]] std::u16string SecondsText(long long Milliseconds);

} // namespace zutools::server
