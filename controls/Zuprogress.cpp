#include "controls/Zuprogress.h"

#include "controls/ChangedField.h"
#include "controls/Motion.h"

#include <QEvent>
#include <QLocale>
#include <QStyle>

#include <algorithm>
#include <cmath>
#include <limits>

namespace zutools {

namespace {

constexpr int Pause = 40;               // milliseconds between two pictures of the travelling piece
constexpr int LittleMotionPause = 1000; // the same for who wants little motion
constexpr double TravelStep = 0.02;     // of its way from picture to picture
constexpr double PieceShare = 0.25;     // of the length
constexpr int LengthInCharacters = 24;  // of the usual length
const QString UsualFormat = QStringLiteral("%p%");

QColor NamedColor(TZUProgress::TColorStyle Style) {
    switch (Style) {
    case TZUProgress::csBlue:
        return {0x2f, 0x7f, 0xd1};
    case TZUProgress::csGreen:
        return {0x2e, 0x9e, 0x4f};
    case TZUProgress::csAmber:
        return {0xe8, 0xa3, 0x17};
    case TZUProgress::csRed:
        return {0xd0, 0x3a, 0x3a};
    case TZUProgress::csViolet:
        return {0x84, 0x4f, 0xc1};
    case TZUProgress::csGray:
        return {0x80, 0x86, 0x8c};
    case TZUProgress::csPalette:
    case TZUProgress::csCustom:
        break;
    }
    return {};
}

} // namespace

TZUProgress::TZUProgress(QWidget* Owner)
    : QWidget(Owner)
    , FFormat(UsualFormat) {
    TellScreenReadersOfProgress();
    setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
    FClock.start();
    FTimer.setSingleShot(true);
    connect(&FTimer, &QTimer::timeout, this, [this] {
        FTravel = std::fmod(FTravel + TravelStep, 1.0);
        update();
    });
}

void TZUProgress::setRange(int Minimum, int Maximum) {
    Maximum = std::max(Minimum, Maximum);
    if (Minimum == FMinimum && Maximum == FMaximum) return;
    FMinimum = Minimum;
    FMaximum = Maximum;
    if (FValue < std::int64_t{FMinimum} - 1 || FValue > FMaximum) reset();
    FTimeLeft.Restart();
    emit rangeChanged();
    Changed();
}

void TZUProgress::setMinimum(int Value) {
    setRange(Value, std::max(Value, FMaximum));
}

void TZUProgress::setMaximum(int Value) {
    setRange(std::min(FMinimum, Value), Value);
}

void TZUProgress::setValue(int Value) {
    if (Value == FValue || (KnowsRange() && (Value < FMinimum || Value > FMaximum))) return;
    FValue = Value;
    FTimeLeft.Note(Done(), FClock.elapsed());
    emit valueChanged(FValue);
    Changed();
}

void TZUProgress::reset() {
    FTimeLeft.Restart();
    // The least number has none below it: there the minimum itself stands for no value.
    FValue = FMinimum == std::numeric_limits<int>::min() ? FMinimum : FMinimum - 1;
    emit valueChanged(FValue);
    Changed();
}

double TZUProgress::Done() const {
    if (!KnowsRange() || FValue < FMinimum) return 0;
    if (FMaximum == FMinimum) return 1;
    return (static_cast<double>(FValue) - FMinimum) / (static_cast<double>(FMaximum) - FMinimum);
}

std::optional<std::int64_t> TZUProgress::timeLeft() const {
    return KnowsRange() ? FTimeLeft.Estimate(FClock.elapsed()) : std::nullopt;
}

QString TZUProgress::text() const {
    if (!KnowsRange() || FValue < FMinimum) return {};
    const std::int64_t Steps = std::int64_t{FMaximum} - FMinimum;
    QString Result = FFormat;
    Result.replace(QStringLiteral("%m"), locale().toString(static_cast<qlonglong>(Steps)));
    Result.replace(QStringLiteral("%v"), locale().toString(FValue));
    Result.replace(QStringLiteral("%p"),
                   locale().toString(static_cast<qlonglong>(
                       Steps == 0 ? 100 : (std::int64_t{FValue} - FMinimum) * 100 / Steps)));
    if (Result.contains(QStringLiteral("%t"))) {
        const auto Left = timeLeft();
        Result.replace(QStringLiteral("%t"), Left ? TimeLeftText(*Left) : QString());
    }
    return Result;
}

void TZUProgress::Changed() {
    emit textChanged();
    TellProgressChanged(*this);
    update();
}

void TZUProgress::setFormat(const QString& Value) {
    if (SetField(*this, FFormat, Value, &TZUProgress::formatChanged)) Changed();
}

void TZUProgress::resetFormat() {
    setFormat(UsualFormat);
}

void TZUProgress::setTextVisible(bool Value) {
    if (SetField(*this, FTextVisible, Value, &TZUProgress::textVisibleChanged)) update();
}

void TZUProgress::setOrientation(Qt::Orientation Value) {
    if (!SetField(*this, FOrientation, Value, &TZUProgress::orientationChanged)) return;
    QSizePolicy Policy = sizePolicy();
    Policy.transpose();
    setSizePolicy(Policy);
    updateGeometry();
    update();
}

void TZUProgress::setInvertedAppearance(bool Value) {
    if (SetField(*this, FInverted, Value, &TZUProgress::invertedAppearanceChanged)) update();
}

void TZUProgress::setColorStyle(TColorStyle Value) {
    if (SetField(*this, FColorStyle, Value, &TZUProgress::colorStyleChanged)) update();
}

void TZUProgress::setCustomColor(const QColor& Value) {
    if (SetField(*this, FCustomColor, Value, &TZUProgress::customColorChanged)) update();
}

TShownProgress TZUProgress::ShownProgress() const {
    return {.Name = {},
            .Busy = !KnowsRange(),
            .Minimum = FMinimum,
            .Maximum = FMaximum,
            .Value = FValue,
            .Text = text()};
}

QSize TZUProgress::sizeHint() const {
    const QSize Lying(fontMetrics().averageCharWidth() * LengthInCharacters, fontMetrics().height() * 3 / 2);
    return FOrientation == Qt::Horizontal ? Lying : Lying.transposed();
}

QSize TZUProgress::minimumSizeHint() const {
    const int Thickness = fontMetrics().height();
    return FOrientation == Qt::Horizontal ? QSize(Thickness * 2, Thickness) : QSize(Thickness, Thickness * 2);
}

QColor TZUProgress::FullColor() const {
    if (FColorStyle == csCustom && FCustomColor.isValid()) return FCustomColor;
    const QColor Named = NamedColor(FColorStyle);
    return Named.isValid() ? Named : palette().color(QPalette::Highlight);
}

TCylinder TZUProgress::Look() const {
    TCylinder Result;
    Result.Rect = rect();
    Result.Orientation = FOrientation;
    Result.Full = FullColor();
    Result.FromEnd = FInverted != (FOrientation == Qt::Horizontal && layoutDirection() == Qt::RightToLeft);
    Result.Empty = palette().color(QPalette::Button);
    Result.Outline = palette().color(QPalette::Mid);
    if (KnowsRange()) {
        Result.To = Done();
        return Result;
    }
    const double There = FTravel < 0.5 ? 2 * FTravel : 2 - 2 * FTravel;
    Result.From = There * (1 - PieceShare);
    Result.To = Result.From + PieceShare;
    return Result;
}

void TZUProgress::paintEvent(QPaintEvent* /*Event*/) {
    QPainter Painter(this);
    const TCylinder Cylinder = Look();
    PaintCylinder(Painter, Cylinder);
    if (FTextVisible) PaintCylinderText(Painter, Cylinder, text());
    MoveWhileSeen();
}

void TZUProgress::MoveWhileSeen() {
    if (KnowsRange() || !CanBeSeen(*this)) return FTimer.stop();
    if (!FTimer.isActive()) FTimer.start(WantsLittleMotion(*this) ? LittleMotionPause : Pause);
}

void TZUProgress::hideEvent(QHideEvent* Event) {
    QWidget::hideEvent(Event);
    FTimer.stop();
}

void TZUProgress::changeEvent(QEvent* Event) {
    QWidget::changeEvent(Event);
    if (Event->type() == QEvent::FontChange) updateGeometry();
}

} // namespace zutools
