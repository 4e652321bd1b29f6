// Where label, drop-down and button of a path chooser stand: arithmetic without a window.

#pragma once

#include <QRect>
#include <QSize>

namespace zutools {

enum class TLabelPosition { lpAbove, lpBelow, lpLeft, lpRight };

struct TChooserParts {
    TLabelPosition Position = TLabelPosition::lpAbove;
    int LabelSpacing = 3;
    int HorzIndent = 0;
    int VertIndent = 0;
    QSize Own; // of the chooser
    QSize Label;
    int EditHeight = 0;
    int ButtonWidth = 0;
    bool ButtonVisible = true;
};

struct TChooserLayout {
    QRect Label;
    QRect Edit;
    QRect Button;
};

[[nodiscard]] TChooserLayout LayOutChooser(const TChooserParts& Parts);

/// The height that the parts need.
[[nodiscard]] int ChooserHeight(const TChooserParts& Parts);

} // namespace zutools
