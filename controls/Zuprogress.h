// A progress indicator drawn as a cylinder. What QProgressBar calls a thing is called so here.
//
// For the user-interface thread.

#pragma once

#include "controls/AccessibleProgress.h"
#include "controls/Cylinder.h"
#include "controls/TimeLeft.h"

#include <QElapsedTimer>
#include <QTimer>
#include <QWidget>

namespace zutools {

class TZUProgress : public QWidget, public TProgressSource {
    Q_OBJECT
    Q_PROPERTY(int minimum READ minimum WRITE setMinimum NOTIFY rangeChanged)
    Q_PROPERTY(int maximum READ maximum WRITE setMaximum NOTIFY rangeChanged)
    Q_PROPERTY(int value READ value WRITE setValue NOTIFY valueChanged USER true)
    Q_PROPERTY(QString format READ format WRITE setFormat RESET resetFormat NOTIFY formatChanged)
    Q_PROPERTY(bool textVisible READ isTextVisible WRITE setTextVisible NOTIFY textVisibleChanged)
    Q_PROPERTY(Qt::Orientation orientation READ orientation WRITE setOrientation NOTIFY orientationChanged)
    Q_PROPERTY(bool invertedAppearance READ invertedAppearance WRITE setInvertedAppearance NOTIFY
                   invertedAppearanceChanged)
    Q_PROPERTY(TColorStyle colorStyle READ colorStyle WRITE setColorStyle NOTIFY colorStyleChanged)
    Q_PROPERTY(QColor customColor READ customColor WRITE setCustomColor NOTIFY customColorChanged)
    Q_PROPERTY(QString text READ text NOTIFY textChanged)

public:
    /// The colour of what is filled. csPalette is the palette's colour of what is chosen.
    enum TColorStyle { csPalette, csBlue, csGreen, csAmber, csRed, csViolet, csGray, csCustom };
    Q_ENUM(TColorStyle)

    explicit TZUProgress(QWidget* Owner = nullptr);

    [[nodiscard]] int minimum() const { return FMinimum; }
    [[nodiscard]] int maximum() const { return FMaximum; }
    /// From 0 to 0 means that how much is done is not known: a piece travels along.
    /// A maximum below the minimum becomes the minimum; a value out of the range becomes none.
    void setRange(int Minimum, int Maximum);
    void setMinimum(int Value);
    void setMaximum(int Value);
    /// minimum - 1 before the first value.
    [[nodiscard]] int value() const { return FValue; }

    /// %p stands for the per cent, %v for the value, %m for the steps in all, %t for the time left.
    void setFormat(const QString& Value);
    void resetFormat();
    [[nodiscard]] const QString& format() const { return FFormat; }
    /// The text that the format makes of the value; empty without a value or a known range.
    [[nodiscard]] QString text() const;
    void setTextVisible(bool Value);
    [[nodiscard]] bool isTextVisible() const { return FTextVisible; }

    void setOrientation(Qt::Orientation Value);
    [[nodiscard]] Qt::Orientation orientation() const { return FOrientation; }
    /// Filled from the other end.
    void setInvertedAppearance(bool Value);
    [[nodiscard]] bool invertedAppearance() const { return FInverted; }
    void setColorStyle(TColorStyle Value);
    [[nodiscard]] TColorStyle colorStyle() const { return FColorStyle; }
    /// The colour of csCustom.
    void setCustomColor(const QColor& Value);
    [[nodiscard]] const QColor& customColor() const { return FCustomColor; }
    /// Milliseconds until the maximum by the pace so far; none while too little is known.
    [[nodiscard]] std::optional<std::int64_t> timeLeft() const;

    [[nodiscard]] TShownProgress ShownProgress() const override;
    [[nodiscard]] QSize sizeHint() const override;
    [[nodiscard]] QSize minimumSizeHint() const override;

public slots:
    /// A value out of the range is not taken.
    void setValue(int Value);
    /// Back before the first value.
    void reset();

signals:
    void valueChanged(int Value);
    void rangeChanged();
    void formatChanged();
    void textChanged();
    void textVisibleChanged();
    void orientationChanged();
    void invertedAppearanceChanged();
    void colorStyleChanged();
    void customColorChanged();

protected:
    void paintEvent(QPaintEvent* Event) override;
    void hideEvent(QHideEvent* Event) override;
    void changeEvent(QEvent* Event) override;

private:
    [[nodiscard]] bool KnowsRange() const { return FMaximum != 0 || FMinimum != 0; }
    [[nodiscard]] double Done() const;
    [[nodiscard]] TCylinder Look() const;
    [[nodiscard]] QColor FullColor() const;
    void Changed();
    void MoveWhileSeen();

    int FMinimum = 0;
    int FMaximum = 100;
    int FValue = -1;
    QString FFormat;
    bool FTextVisible = true;
    Qt::Orientation FOrientation = Qt::Horizontal;
    bool FInverted = false;
    TColorStyle FColorStyle = csPalette;
    QColor FCustomColor;
    TTimeLeft FTimeLeft;
    QElapsedTimer FClock;
    double FTravel = 0; // of the piece that travels, fractions of its way there and back
    QTimer FTimer{this};
};

} // namespace zutools
