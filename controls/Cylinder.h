// A cylinder with something in it, drawn in perspective at any size.

#pragma once

#include <QColor>
#include <QPainter>
#include <QRectF>
#include <QString>

#include <optional>

namespace zutools {

struct TCylinder {
    QRectF Rect;
    Qt::Orientation Orientation = Qt::Horizontal;
    bool FromEnd = false; // filled from the right, from the top
    double From = 0;      // the filled part, fractions of the length
    double To = 0;
    QColor Full;
    QColor Empty;
    QColor Outline;
};

void PaintCylinder(QPainter& Painter, const TCylinder& Cylinder);

/// A text over the middle of the cylinder, in a colour that stands out from what is below each part of it.
void PaintCylinderText(QPainter& Painter, const TCylinder& Cylinder, const QString& Text);

/// Contrast of two colours as seen, from 1 to 21.
[[nodiscard]] double ContrastOf(const QColor& One, const QColor& Other);
/// Black or white, whichever stands out more.
[[nodiscard]] QColor ReadableOn(const QColor& Ground);

} // namespace zutools
