#include "controls/Motion.h"

#include <QStyle>
#include <QWidget>
#include <QWindow>

namespace zutools {

bool WantsLittleMotion(const QWidget& Widget) {
    return Widget.style()->styleHint(QStyle::SH_Widget_Animation_Duration, nullptr, &Widget) == 0;
}

bool CanBeSeen(const QWidget& Widget) {
    if (!Widget.isVisible() || Widget.window()->isMinimized()) return false;
    const QWindow* Window = Widget.window()->windowHandle();
    return Window && Window->isExposed() && !Widget.visibleRegion().isEmpty();
}

} // namespace zutools
