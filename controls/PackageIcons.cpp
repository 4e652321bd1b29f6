#include "controls/PackageIcons.h"

#include <QIconEngine>
#include <QPainter>
#include <QPainterPath>
#include <QPixmap>

#include <algorithm>
#include <array>

namespace zutools {

namespace {

// Each picture is drawn on a canvas of 32 by 32. The colours are of a middle lightness, so that they stand
// out on light and on dark grounds.
constexpr int Canvas = 32;
const QColor Red(0xd0, 0x3a, 0x3a);
const QColor Amber(0xe8, 0xa3, 0x17);
const QColor Green(0x2e, 0x9e, 0x4f);
const QColor Blue(0x2f, 0x7f, 0xd1);

void Stroke(QPainter& Painter, const QColor& Color, qreal Width) {
    Painter.setPen(QPen(Color, Width, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
    Painter.setBrush(Qt::NoBrush);
}

void Disc(QPainter& Painter, const QColor& Color) {
    Painter.setPen(Qt::NoPen);
    Painter.setBrush(Color);
    Painter.drawEllipse(QRectF(2, 2, 28, 28));
}

void Cross(QPainter& Painter, const QColor& Color, qreal From, qreal To) {
    Stroke(Painter, Color, 4);
    Painter.drawLine(QPointF(From, From), QPointF(To, To));
    Painter.drawLine(QPointF(From, To), QPointF(To, From));
}

void Check(QPainter& Painter, qreal Left, qreal Right) {
    Stroke(Painter, Green, 4.5);
    Painter.drawPolyline(QPolygonF{{Left, 17}, {Left + (Right - Left) * 0.36, 25}, {Right, 8}});
}

void ExclamationMark(QPainter& Painter, const QColor& Color) {
    Stroke(Painter, Color, 3.6);
    Painter.drawLine(QPointF(16, 11), QPointF(16, 19));
    Painter.drawPoint(QPointF(16, 24.5));
}

void QuestionMark(QPainter& Painter, const QColor& Color) {
    Stroke(Painter, Color, 3.4);
    QPainterPath Hook(QPointF(11.5, 12.5));
    Hook.cubicTo(11.5, 6, 20.5, 6, 20.5, 12);
    Hook.cubicTo(20.5, 15.5, 16, 15.5, 16, 19);
    Painter.drawPath(Hook);
    Painter.drawPoint(QPointF(16, 24.5));
}

void Warning(QPainter& Painter) {
    Painter.setPen(QPen(Amber, 4, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
    Painter.setBrush(Amber);
    Painter.drawPolygon(QPolygonF{{16, 4}, {29, 27}, {3, 27}});
    ExclamationMark(Painter, Qt::black);
}

void Error(QPainter& Painter) {
    Disc(Painter, Red);
    Cross(Painter, Qt::white, 11, 21);
}

void Information(QPainter& Painter) {
    Disc(Painter, Blue);
    Stroke(Painter, Qt::white, 3.6);
    Painter.drawPoint(QPointF(16, 9));
    Painter.drawLine(QPointF(16, 15), QPointF(16, 23));
}

void Confirmation(QPainter& Painter) {
    Disc(Painter, Blue);
    QuestionMark(Painter, Qt::white);
}

void Ok(QPainter& Painter) {
    Check(Painter, 5, 27);
}

void All(QPainter& Painter) {
    Check(Painter, 2, 19);
    Check(Painter, 13, 30);
}

void Abort(QPainter& Painter) {
    Painter.setPen(Qt::NoPen);
    Painter.setBrush(Red);
    Painter.drawPolygon(QPolygonF{
        {10.5, 2}, {21.5, 2}, {30, 10.5}, {30, 21.5}, {21.5, 30}, {10.5, 30}, {2, 21.5}, {2, 10.5}});
    Cross(Painter, Qt::white, 11, 21);
}

void Cancel(QPainter& Painter) {
    Cross(Painter, Red, 7, 25);
}

void Close(QPainter& Painter) {
    Stroke(Painter, Blue, 3);
    Painter.drawRoundedRect(QRectF(4, 4, 24, 24), 3, 3);
    Cross(Painter, Blue, 11, 21);
}

void Help(QPainter& Painter) {
    QuestionMark(Painter, Blue);
}

void Ignore(QPainter& Painter) {
    Stroke(Painter, Amber, 4);
    Painter.drawPolyline(QPolygonF{{6, 7}, {15, 16}, {6, 25}});
    Painter.drawPolyline(QPolygonF{{17, 7}, {26, 16}, {17, 25}});
}

void No(QPainter& Painter) {
    Stroke(Painter, Red, 4);
    Painter.drawEllipse(QRectF(4, 4, 24, 24));
    Painter.drawLine(QPointF(8, 8), QPointF(24, 24));
}

void Retry(QPainter& Painter) {
    Stroke(Painter, Green, 4);
    Painter.drawArc(QRectF(5, 5, 22, 22), 70 * 16, 290 * 16);
    Painter.setPen(Qt::NoPen);
    Painter.setBrush(Green);
    Painter.drawPolygon(QPolygonF{{14, 0}, {14, 11}, {23, 5.5}});
}

void Folder(QPainter& Painter) {
    Painter.setPen(Qt::NoPen);
    Painter.setBrush(Amber.darker(120));
    Painter.drawRoundedRect(QRectF(2, 5, 13, 8), 2, 2);
    Painter.drawRoundedRect(QRectF(2, 8, 28, 19), 2, 2);
    Painter.setBrush(Amber);
    Painter.drawRoundedRect(QRectF(2, 13, 28, 14), 2, 2);
}

struct TPicture {
    QStringView Name;
    void (*Draw)(QPainter& Painter);
};

constexpr std::array Pictures{
    TPicture{u"ICOWARNING", Warning},
    TPicture{u"ICOERROR", Error},
    TPicture{u"ICOINFORMATION", Information},
    TPicture{u"ICOCONFIRMATION", Confirmation},
    TPicture{u"OK", Ok},
    TPicture{u"ABORT", Abort},
    TPicture{u"ALL", All},
    TPicture{u"CANCEL", Cancel},
    TPicture{u"CLOSE", Close},
    TPicture{u"HELP", Help},
    TPicture{u"IGNORE", Ignore},
    TPicture{u"NO", No},
    TPicture{u"RETRY", Retry},
    TPicture{u"YES", Ok},
    TPicture{u"FILEOPEN", Folder},
};

class TVectorEngine final : public QIconEngine {
public:
    explicit TVectorEngine(const TPicture& Picture)
        : FPicture(Picture) {}

    void paint(QPainter* Painter, const QRect& Rect, QIcon::Mode Mode, QIcon::State /*State*/) override {
        Painter->save();
        Painter->setRenderHint(QPainter::Antialiasing);
        if (Mode == QIcon::Disabled) Painter->setOpacity(0.4);
        const int Side = std::min(Rect.width(), Rect.height());
        Painter->translate(Rect.x() + (Rect.width() - Side) / 2.0, Rect.y() + (Rect.height() - Side) / 2.0);
        Painter->scale(Side / qreal{Canvas}, Side / qreal{Canvas});
        FPicture.Draw(*Painter);
        Painter->restore();
    }
    QPixmap pixmap(const QSize& Size, QIcon::Mode Mode, QIcon::State State) override {
        QPixmap Result(Size);
        Result.fill(Qt::transparent);
        QPainter Painter(&Result);
        paint(&Painter, QRect(QPoint(), Size), Mode, State);
        return Result;
    }
    [[nodiscard]] QIconEngine* clone() const override { return new TVectorEngine(*this); }

private:
    TPicture FPicture;
};

} // namespace

QIcon PackageIcon(QStringView Name) {
    const auto Found = std::ranges::find(Pictures, Name, &TPicture::Name);
    return Found == Pictures.end() ? QIcon() : QIcon(new TVectorEngine(*Found));
}

} // namespace zutools
