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

/// The sides of the parent that a side of a control keeps its distance from.
struct TAnchoredSides {
    bool Left, Top, Right, Bottom;
};

/// Where a control stands when its parent's size changed: anchored on both sides it stretches, on none it
/// keeps to the middle.
[[nodiscard]] QRect Anchored(QRect Control, TAnchoredSides Sides, QSize Before, QSize Now);

} // namespace zutools
