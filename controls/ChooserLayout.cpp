#include "controls/ChooserLayout.h"

#include <cmath>

namespace zutools {

namespace {

bool Beside(TLabelPosition Position) {
    return Position == TLabelPosition::lpLeft || Position == TLabelPosition::lpRight;
}

// Half the room that is left, halves to even.
int Centred(int Room, int Size) {
    return static_cast<int>(std::nearbyint((Room - Size) / 2.0));
}

QPoint LabelPlace(const TChooserParts& Parts) {
    switch (Parts.Position) {
    case TLabelPosition::lpAbove:
        return {Parts.HorzIndent, Parts.VertIndent};
    case TLabelPosition::lpLeft:
        return {Parts.HorzIndent, Centred(Parts.Own.height(), Parts.Label.height())};
    case TLabelPosition::lpBelow:
    case TLabelPosition::lpRight:
        break;
    }
    return {0, 0};
}

} // namespace

TChooserLayout LayOutChooser(const TChooserParts& Parts) {
    TChooserLayout Result;
    Result.Label = QRect(LabelPlace(Parts), Parts.Label);
    const int Button = Parts.ButtonVisible ? Parts.ButtonWidth : 0;
    const int Width = Parts.Own.width();
    // A label that is to stand below or at the right stands at the corner; the drop-down keeps clear of it.
    if (Beside(Parts.Position)) {
        const int Left = Parts.HorzIndent + Result.Label.x() + Parts.Label.width() + Parts.LabelSpacing;
        Result.Edit = QRect(Left, Centred(Parts.Own.height(), Parts.EditHeight), Width - Button - Left,
                            Parts.EditHeight);
    } else {
        const int Top = Result.Label.y() + Parts.Label.height() + Parts.LabelSpacing;
        Result.Edit = QRect(Parts.HorzIndent, Top, Width - Button - 2 * Parts.HorzIndent, Parts.EditHeight);
    }
    Result.Button = QRect(Width - Parts.ButtonWidth - Parts.HorzIndent, Result.Edit.y(), Parts.ButtonWidth,
                          Parts.EditHeight);
    return Result;
}

QRect Anchored(QRect Control, TAnchoredSides Sides, QSize Before, QSize Now) {
    const QSize Grown = Now - Before;
    const auto MoveOf = [](bool Near, bool Far, int By) {
        if (Near) return 0;
        return Far ? By : By / 2;
    };
    Control.translate(MoveOf(Sides.Left, Sides.Right, Grown.width()),
                      MoveOf(Sides.Top, Sides.Bottom, Grown.height()));
    if (Sides.Left && Sides.Right) Control.setWidth(Control.width() + Grown.width());
    if (Sides.Top && Sides.Bottom) Control.setHeight(Control.height() + Grown.height());
    return Control;
}

int ChooserHeight(const TChooserParts& Parts) {
    if (Beside(Parts.Position)) return Parts.EditHeight;
    return Parts.EditHeight + Parts.Label.height() + Parts.LabelSpacing;
}

} // namespace zutools
