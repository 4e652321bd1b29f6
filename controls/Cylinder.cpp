#include "controls/Cylinder.h"

#include <QLinearGradient>
#include <QPainterPath>

#include <algorithm>
#include <cmath>

namespace zutools {

namespace {

constexpr double EndShare = 0.3; // half the depth of an end's ellipse, of the cylinder's thickness
constexpr int Lighter = 150;     // per cent
constexpr int Darker = 140;

// One piece of the cylinder, lying: from X to X along the axis, both ends half ellipses.
struct TPiece {
    QRectF Body; // with both ends
    double End;  // half the depth of an end

    [[nodiscard]] QRectF FarEnd() const { return {Body.left(), Body.top(), 2 * End, Body.height()}; }
    [[nodiscard]] QRectF NearEnd() const {
        return {Body.right() - 2 * End, Body.top(), 2 * End, Body.height()};
    }
    [[nodiscard]] QPainterPath Outline() const {
        QPainterPath Path;
        Path.arcMoveTo(FarEnd(), 90);
        Path.arcTo(FarEnd(), 90, 180);
        Path.arcTo(NearEnd(), 270, 180);
        Path.closeSubpath();
        return Path;
    }
};

// Light falls from above: the middle of the upper half is the brightest.
QLinearGradient Shading(const QRectF& Body, const QColor& Color) {
    QLinearGradient Result(Body.topLeft(), Body.bottomLeft());
    Result.setColorAt(0, Color.darker(Darker));
    Result.setColorAt(0.25, Color.lighter(Lighter));
    Result.setColorAt(0.55, Color);
    Result.setColorAt(1, Color.darker(Darker));
    return Result;
}

void PaintPiece(QPainter& Painter, const TPiece& Piece, const QColor& Color) {
    Painter.fillPath(Piece.Outline(), Shading(Piece.Body, Color));
    QPainterPath Lid;
    Lid.addEllipse(Piece.NearEnd());
    Painter.fillPath(Lid, Color.lighter(115));
}

// The painter's coordinates turned so that the cylinder lies and is filled from the left. Returns its place
// there.
QRectF Lay(QPainter& Painter, const TCylinder& Cylinder) {
    const QRectF& Rect = Cylinder.Rect;
    const bool Standing = Cylinder.Orientation == Qt::Vertical;
    Painter.translate(Rect.center());
    if (Standing) Painter.rotate(-90);
    if (Cylinder.FromEnd) Painter.scale(-1, 1);
    const double Length = Standing ? Rect.height() : Rect.width();
    const double Thickness = Standing ? Rect.width() : Rect.height();
    return {-Length / 2, -Thickness / 2, Length, Thickness};
}

// What is filled, in the coordinates of the lying cylinder.
QRectF Filled(const QRectF& Body, double End, const TCylinder& Cylinder) {
    const double Room = Body.width() - 2 * End;
    const double From = std::clamp(Cylinder.From, 0.0, 1.0);
    const double To = std::clamp(Cylinder.To, From, 1.0);
    return {Body.left() + From * Room, Body.top(), (To - From) * Room + 2 * End, Body.height()};
}

double Luminance(const QColor& Color) {
    const auto Linear = [](double Channel) {
        return Channel <= 0.04045 ? Channel / 12.92 : std::pow((Channel + 0.055) / 1.055, 2.4);
    };
    return 0.2126 * Linear(Color.redF()) + 0.7152 * Linear(Color.greenF()) + 0.0722 * Linear(Color.blueF());
}

} // namespace

void PaintCylinder(QPainter& Painter, const TCylinder& Cylinder) {
    Painter.save();
    Painter.setRenderHint(QPainter::Antialiasing);
    const QRectF Body = Lay(Painter, Cylinder).adjusted(0.5, 0.5, -0.5, -0.5);
    const double End = std::min(Body.height() * EndShare, Body.width() / 2);
    const TPiece Whole{Body, End};
    PaintPiece(Painter, Whole, Cylinder.Empty);
    if (Cylinder.To > Cylinder.From) PaintPiece(Painter, {Filled(Body, End, Cylinder), End}, Cylinder.Full);
    Painter.setPen(QPen(Cylinder.Outline, 1));
    Painter.setBrush(Qt::NoBrush);
    Painter.drawPath(Whole.Outline());
    Painter.drawEllipse(Whole.NearEnd());
    Painter.restore();
}

void PaintCylinderText(QPainter& Painter, const TCylinder& Cylinder, const QString& Text) {
    Painter.save();
    const QTransform Before = Painter.transform();
    const QRectF Body = Lay(Painter, Cylinder);
    const double End = std::min(Body.height() * EndShare, Body.width() / 2);
    QPainterPath Full;
    if (Cylinder.To > Cylinder.From) Full.addRect(Filled(Body, End, Cylinder));
    Full = (Painter.transform() * Before.inverted()).map(Full);
    Painter.setTransform(Before);
    QPainterPath Rest;
    Rest.addRect(Cylinder.Rect);
    Rest -= Full;

    const auto Draw = [&](const QPainterPath& Part, const QColor& Ground) {
        Painter.setClipPath(Part);
        Painter.setPen(ReadableOn(Ground));
        if (Cylinder.Orientation == Qt::Horizontal) {
            Painter.drawText(Cylinder.Rect, Qt::AlignCenter, Text);
            return;
        }
        Painter.save();
        Painter.translate(Cylinder.Rect.center());
        Painter.rotate(-90);
        Painter.drawText(QRectF(-Cylinder.Rect.height() / 2, -Cylinder.Rect.width() / 2,
                                Cylinder.Rect.height(), Cylinder.Rect.width()),
                         Qt::AlignCenter, Text);
        Painter.restore();
    };
    Draw(Rest, Cylinder.Empty);
    Draw(Full, Cylinder.Full);
    Painter.restore();
}

double ContrastOf(const QColor& One, const QColor& Other) {
    const double First = Luminance(One) + 0.05;
    const double Second = Luminance(Other) + 0.05;
    return std::max(First, Second) / std::min(First, Second);
}

QColor ReadableOn(const QColor& Ground) {
    const QColor Black(Qt::black);
    const QColor White(Qt::white);
    return ContrastOf(Ground, Black) >= ContrastOf(Ground, White) ? Black : White;
}

} // namespace zutools
