// How lively moving pictures may be, and whether anybody can see them.

#pragma once

class QWidget;

namespace zutools {

/// Whether a person asked the desktop for little motion: its style animates nothing.
[[nodiscard]] bool WantsLittleMotion(const QWidget& Widget);

/// Whether a picture that moves on the widget could be seen: it is shown, on a window that is neither
/// minimised nor wholly covered (as far as the desktop tells).
[[nodiscard]] bool CanBeSeen(const QWidget& Widget);

} // namespace zutools
