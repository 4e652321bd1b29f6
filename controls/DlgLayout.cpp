#include "controls/DlgLayout.h"

#include "host/Exception.h"
#include "host/Format.h"

#include <QSet>

#include <algorithm>

namespace zutools {

namespace {

constexpr int Edge = 8;         // left and above the text, left and right of the row of buttons
constexpr int PictureEdge = 10; // around the picture
constexpr int TextRight = 18;   // from the text to the window's right side
constexpr int TextBelow = 40;   // added to the text's height for its surroundings
constexpr int ButtonHeight = 25;
constexpr int ButtonPadding = 16; // what a button is wider than its caption and glyph
constexpr int ButtonGap = 5;
constexpr int RowHeight = 60; // what the row of buttons adds to the window
constexpr double ScreenShare = 0.6;

constexpr QChar KeyMark = u'&';

// The place of the letter behind the caption's access key mark; -1 without one. "&&" is an ampersand.
qsizetype AccessKeyAt(const QString& Caption) {
    for (qsizetype I = 0; I + 1 < Caption.size(); ++I) {
        if (Caption[I] != KeyMark) continue;
        if (Caption[I + 1] != KeyMark) return I + 1;
        ++I;
    }
    return -1;
}

// The buttons in a row from the left edge; their widths are still their own.
int PlaceInRow(std::vector<QRect>& Buttons, const TDlgInput& Input, int Widest) {
    int X = Edge;
    for (QRect& Button : Buttons) {
        const int Width = Input.ButtonsSameWidth ? Widest : std::max(Input.ButtonsMinWidth, Button.width());
        Button = QRect(X, Button.top(), Width, ButtonHeight);
        X += Width + ButtonGap;
    }
    return X + Edge;
}

} // namespace

TDlgLayout LayOutDlg(const TDlgInput& Input, const TTextMeasure& Measure) {
    TDlgLayout Result;
    int LabelLeft = Edge;
    int PictureHeight = UnusedPictureHeight;
    if (Input.Picture) {
        Result.Picture = QPoint(PictureEdge, PictureEdge);
        PictureHeight = Input.Picture->height();
        LabelLeft = PictureEdge + Input.Picture->width() + PictureEdge;
    }

    int Widest = 0;
    for (const QString& Line : Input.Message) Widest = std::max(Widest, Measure.Width(Line));
    Result.Text = Input.Message.join(u'\r');
    int TextHeight = static_cast<int>(Input.Message.size()) * Measure.LineHeight;
    int LabelWidth = Widest;
    int Width = LabelLeft + Widest + TextRight;

    const int Limit = static_cast<int>(Input.ScreenWidth * ScreenShare);
    if (Limit < Width) {
        LabelWidth = std::max(0, LabelWidth - (Width - Limit));
        Result.WordWrap = true;
        TextHeight = Measure.WrappedHeight(Input.Message.join(u'\n'), LabelWidth);
        Width = Limit;
    }
    // Kept on purpose: without an icon the place of the unused picture counts still, so a line of text alone
    // stands in a window as high as one with a small picture.
    int Height = std::max(TextHeight, PictureHeight) + TextBelow;
    Result.Label = QRect(LabelLeft, Edge, LabelWidth, TextHeight);

    int WidestButton = Input.ButtonsMinWidth;
    for (qsizetype I = 0; I < Input.Captions.size(); ++I) {
        const int Glyph = Input.GlyphWidths.empty() ? 0 : Input.GlyphWidths[static_cast<std::size_t>(I)];
        const int Own = Measure.Width(Input.Captions[I]) + Glyph + ButtonPadding;
        Result.Buttons.emplace_back(0, Height, Own, ButtonHeight);
        WidestButton = std::max(WidestButton, Own);
    }
    if (!Result.Buttons.empty()) {
        const int Total = PlaceInRow(Result.Buttons, Input, WidestButton);
        Height += RowHeight;
        const int Shift = (Width - Total) / 2;
        if (Total <= Width)
            for (QRect& Button : Result.Buttons) Button.translate(Shift, 0);
        else
            Width = Total;
    }
    Result.Window = QSize(Width, Height);
    return Result;
}

void DropTrailingCaptions(QStringList& Captions) {
    // Kept on purpose: the last caption is read before the list is asked whether it has one, so a list
    // without a caption that says something fails as reading a list beyond its ends does, and no "OK" stands
    // in.
    for (;;) {
        if (Captions.isEmpty()) throw Exception(Format(u"List index out of bounds (%d)", {-1}));
        if (!Captions.last().isEmpty()) return;
        Captions.removeLast();
    }
}

QStringList UniqueAccessKeys(const QStringList& Captions) {
    QSet<QChar> Taken;
    QStringList Result;
    for (const QString& Caption : Captions) {
        const qsizetype Key = AccessKeyAt(Caption);
        if (Key < 0 || !Taken.contains(Caption[Key].toCaseFolded())) {
            if (Key >= 0) Taken.insert(Caption[Key].toCaseFolded());
            Result += Caption;
            continue;
        }
        QString Plain = QString(Caption).remove(Key - 1, 1);
        const auto Free = std::ranges::find_if(Plain, [&](QChar Letter) {
            return Letter.isLetterOrNumber() && !Taken.contains(Letter.toCaseFolded());
        });
        if (Free != Plain.end()) {
            Taken.insert(Free->toCaseFolded());
            Plain.insert(Free - Plain.begin(), KeyMark);
        }
        Result += Plain;
    }
    return Result;
}

} // namespace zutools
