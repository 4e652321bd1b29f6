// Where the parts of a message box stand: arithmetic over measured texts, without a window.

#pragma once

#include <QRect>
#include <QSize>
#include <QString>
#include <QStringList>

#include <functional>
#include <optional>
#include <vector>

namespace zutools {

/// What texts measure in the window's font. Sizes are device-independent pixels, as everywhere here.
struct TTextMeasure {
    std::function<int(const QString& Line)> Width;
    int LineHeight = 0;                                               // of the text "W"
    std::function<int(const QString& Text, int Width)> WrappedHeight; // of lines broken at spaces
};

struct TDlgInput {
    QStringList Message;          // a line each
    std::optional<QSize> Picture; // none: no icon is shown
    QStringList Captions;         // a button each, left to right
    std::vector<int> GlyphWidths; // one a caption; 0 where no glyph is shown
    int ButtonsMinWidth = 75;
    bool ButtonsSameWidth = true;
    int ScreenWidth = 0;
};

struct TDlgLayout {
    QString Text; // of the label: the lines with a carriage return between two
    QSize Window; // without what the desktop draws around it
    QRect Label;
    bool WordWrap = false; // the text was wider than a window may be
    QPoint Picture;
    std::vector<QRect> Buttons;
};

/// The height that the picture's place counts with when no icon is shown.
inline constexpr int UnusedPictureHeight = 30;

[[nodiscard]] TDlgLayout LayOutDlg(const TDlgInput& Input, const TTextMeasure& Measure);

/// Empty captions at the end go.
/// @throws Exception "List index out of bounds (-1)" when none is left.
void DropTrailingCaptions(QStringList& Captions);

/// The captions with their access keys told apart: of two that ask for one key the first keeps it, the other
/// gets the next letter of its own that is free, or none. Captions without "&" stay as they are.
[[nodiscard]] QStringList UniqueAccessKeys(const QStringList& Captions);

} // namespace zutools
