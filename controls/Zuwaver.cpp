#include "controls/Zuwaver.h"

#include "controls/ChangedField.h"
#include "controls/Motion.h"

#include <QEvent>
#include <QMessageBox>
#include <QPainter>

#include <algorithm>

namespace zutools {

namespace {

constexpr int LeastDelay = 50;      // milliseconds
constexpr int LittleMotion = 1000;  // milliseconds between two pictures for who wants little motion
constexpr QSize FirstSize(400, 15); // of a new panel

QColor ColorOf(TColorRef Value) {
    return {Value & 0xFF, (Value >> 8) & 0xFF, (Value >> 16) & 0xFF};
}

TColorRef RefOf(const QColor& Color) {
    return Color.red() | Color.green() << 8 | Color.blue() << 16;
}

} // namespace

TZUWavePanel::TZUWavePanel(QWidget* Owner)
    : QWidget(Owner)
    , OnComplaint(
          [this](const QString& Text) { QMessageBox::critical(this, QStringLiteral("Error"), Text); }) {
    TellScreenReadersOfProgress();
    setAttribute(Qt::WA_OpaquePaintEvent);
    resize(FirstSize);
    FWave.CountPeriod();
    connect(&FTimer, &QTimer::timeout, this, &TZUWavePanel::OnTimerEvent);
}

void TZUWavePanel::SetActive(bool Value) {
    // Kept on purpose: FActive is compared and never written. Switching on works each time, and switching off
    // is no change, so the wave runs on.
    if (Value == FActive) return;
    FWave.CountPeriod();
    FRunning = Value;
    MoveWhileSeen();
    emit ActiveChanged();
}

void TZUWavePanel::SetDelay(int Value) {
    if (SetField(*this, FDelay, std::max(Value, LeastDelay), &TZUWavePanel::DelayChanged) &&
        FTimer.isActive())
        FTimer.start(Interval());
}

void TZUWavePanel::SetStepColor(int Value) {
    if (Value <= 0) return Complain();
    if (!SetField(*this, FWave.StepColor, Value, &TZUWavePanel::StepColorChanged)) return;
    FWave.CountPeriod();
    update();
}

void TZUWavePanel::SetStepSize(int Value) {
    if (Value <= 0) return Complain();
    if (SetField(*this, FWave.StepSize, Value, &TZUWavePanel::StepSizeChanged)) update();
}

void TZUWavePanel::Complain() {
    OnComplaint(QStringLiteral("Value must be more than 0."));
}

QColor TZUWavePanel::FromColor() const {
    return ColorOf(FWave.From);
}

void TZUWavePanel::SetFromColor(const QColor& Value) {
    if (!SetField(*this, FWave.From, RefOf(Value), &TZUWavePanel::FromColorChanged)) return;
    FWave.CountPeriod();
    update();
}

QColor TZUWavePanel::ToColor() const {
    return ColorOf(FWave.To);
}

void TZUWavePanel::SetToColor(const QColor& Value) {
    if (!SetField(*this, FWave.To, RefOf(Value), &TZUWavePanel::ToColorChanged)) return;
    FWave.CountPeriod();
    update();
}

void TZUWavePanel::SetCaption(const QString& Value) {
    if (!SetField(*this, FCaption, Value, &TZUWavePanel::CaptionChanged)) return;
    updateGeometry();
    TellProgressChanged(*this);
    update();
}

void TZUWavePanel::SetAlignHorizontal(TAlignHor Value) {
    if (SetField(*this, FAlignHorizontal, Value, &TZUWavePanel::AlignHorizontalChanged)) update();
}

void TZUWavePanel::SetAlignVertical(TAlignVer Value) {
    if (SetField(*this, FAlignVertical, Value, &TZUWavePanel::AlignVerticalChanged)) update();
}

void TZUWavePanel::SetDirection(TDirection Value) {
    if (Value == Direction()) return;
    FWave.Turn(static_cast<zutools::TDirection>(Value), width(), height());
    emit DirectionChanged();
    update();
}

QSize TZUWavePanel::sizeHint() const {
    return FirstSize.expandedTo(minimumSizeHint());
}

QSize TZUWavePanel::minimumSizeHint() const {
    if (FCaption.isEmpty()) return {FWave.StepSize, FWave.StepSize};
    return fontMetrics().size(0, FCaption);
}

void TZUWavePanel::paintEvent(QPaintEvent* /*Event*/) {
    QPainter Painter(this);
    FWave.Paint(width(), height(), [&](int Left, int Top, int Right, int Bottom, TColorRef Color) {
        const QRect Band(QPoint(std::max(Left, 0), std::max(Top, 0)),
                         QPoint(std::min(Right, width()) - 1, std::min(Bottom, height()) - 1));
        if (Band.isValid()) Painter.fillRect(Band, ColorOf(Color));
    });
    if (!FCaption.isEmpty()) PaintCaption(Painter);
    if (!FTimer.isActive()) MoveWhileSeen();
}

void TZUWavePanel::PaintCaption(QPainter& Painter) const {
    const QFontMetrics Metrics(font());
    const auto At = [](int Align, int Room, int Size) {
        if (Align == 0) return 0;
        return Align == 1 ? (Room - Size) / 2 : Room - Size;
    };
    const int X = At(FAlignHorizontal, width(), Metrics.horizontalAdvance(FCaption));
    const int Y = At(FAlignVertical, height(), Metrics.height());
    Painter.setFont(font());
    Painter.setPen(palette().color(QPalette::WindowText));
    Painter.drawText(X, Y + Metrics.ascent(), FCaption);
}

void TZUWavePanel::OnTimerEvent() {
    FTimer.stop();
    if (CanBeSeen(*this)) repaint();
    MoveWhileSeen();
}

int TZUWavePanel::Interval() const {
    return WantsLittleMotion(*this) ? std::max(FDelay, LittleMotion) : FDelay;
}

// The wave moves while it was begun and somebody can see it. Whoever comes to see it again paints it first.
void TZUWavePanel::MoveWhileSeen() {
    if (FRunning && CanBeSeen(*this))
        FTimer.start(Interval());
    else
        FTimer.stop();
}

void TZUWavePanel::hideEvent(QHideEvent* Event) {
    QWidget::hideEvent(Event);
    FTimer.stop();
}

TShownProgress TZUWavePanel::ShownProgress() const {
    return {.Name = FCaption, .Busy = FRunning};
}

void TZUWavePanel::changeEvent(QEvent* Event) {
    QWidget::changeEvent(Event);
    if (Event->type() == QEvent::FontChange) updateGeometry();
}

} // namespace zutools
