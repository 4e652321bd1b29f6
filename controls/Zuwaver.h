// A busy indicator: a strip along which a wave of colour travels, with a caption.
//
// For the user-interface thread.

#pragma once

#include "controls/AccessibleProgress.h"
#include "controls/WaveBands.h"

#include <QColor>
#include <QTimer>
#include <QWidget>

#include <functional>

namespace zutools {

class TZUWavePanel : public QWidget, public TProgressSource {
    Q_OBJECT
    Q_PROPERTY(bool Active READ Active WRITE SetActive NOTIFY ActiveChanged)
    Q_PROPERTY(QString Caption READ Caption WRITE SetCaption NOTIFY CaptionChanged USER true)
    Q_PROPERTY(QColor FromColor READ FromColor WRITE SetFromColor NOTIFY FromColorChanged)
    Q_PROPERTY(QColor ToColor READ ToColor WRITE SetToColor NOTIFY ToColorChanged)
    Q_PROPERTY(int StepSize READ StepSize WRITE SetStepSize NOTIFY StepSizeChanged)
    Q_PROPERTY(int StepColor READ StepColor WRITE SetStepColor NOTIFY StepColorChanged)
    Q_PROPERTY(TDirection Direction READ Direction WRITE SetDirection NOTIFY DirectionChanged)
    Q_PROPERTY(
        TAlignHor AlignHorizontal READ AlignHorizontal WRITE SetAlignHorizontal NOTIFY AlignHorizontalChanged)
    Q_PROPERTY(TAlignVer AlignVertical READ AlignVertical WRITE SetAlignVertical NOTIFY AlignVerticalChanged)
    Q_PROPERTY(int Delay READ Delay WRITE SetDelay NOTIFY DelayChanged)

public:
    enum TDirection { drLeftToRight, drRightToLeft, drTopToBottom, drBottomToTop };
    Q_ENUM(TDirection)
    enum TAlignHor { hrLeft, hrCenter, hrRight };
    Q_ENUM(TAlignHor)
    enum TAlignVer { vrTop, vrCenter, vrBottom };
    Q_ENUM(TAlignVer)

    explicit TZUWavePanel(QWidget* Owner = nullptr);

    /// True begins the animation, and begins it anew. It cannot be switched off again: the panel is hidden or
    /// destroyed instead.
    void SetActive(bool Value);
    [[nodiscard]] bool Active() const { return FActive; }
    /// Whether the animation was begun; it moves while somebody can see it.
    [[nodiscard]] bool Running() const { return FRunning; }

    void SetCaption(const QString& Value);
    [[nodiscard]] const QString& Caption() const { return FCaption; }
    void SetFromColor(const QColor& Value);
    [[nodiscard]] QColor FromColor() const;
    void SetToColor(const QColor& Value);
    [[nodiscard]] QColor ToColor() const;
    /// Thickness of a band in pixels. 0 and less show "Value must be more than 0." and change nothing.
    void SetStepSize(int Value);
    [[nodiscard]] int StepSize() const { return FWave.StepSize; }
    /// Change of each colour channel from band to band. 0 and less show "Value must be more than 0.".
    void SetStepColor(int Value);
    [[nodiscard]] int StepColor() const { return FWave.StepColor; }
    void SetDirection(TDirection Value);
    [[nodiscard]] TDirection Direction() const { return static_cast<TDirection>(FWave.Direction); }
    void SetAlignHorizontal(TAlignHor Value);
    [[nodiscard]] TAlignHor AlignHorizontal() const { return FAlignHorizontal; }
    void SetAlignVertical(TAlignVer Value);
    [[nodiscard]] TAlignVer AlignVertical() const { return FAlignVertical; }
    /// Milliseconds from one picture to the next; at least 50.
    void SetDelay(int Value);
    [[nodiscard]] int Delay() const { return FDelay; }
    /// Bands of a whole wave, there and back.
    [[nodiscard]] int Period() const { return FWave.Period; }

    [[nodiscard]] TShownProgress ShownProgress() const override;
    [[nodiscard]] QSize sizeHint() const override;
    [[nodiscard]] QSize minimumSizeHint() const override;

    /// Tells a person in place of the message box "Error".
    std::function<void(const QString& Text)> OnComplaint;

signals:
    void ActiveChanged();
    void CaptionChanged();
    void FromColorChanged();
    void ToColorChanged();
    void StepSizeChanged();
    void StepColorChanged();
    void DirectionChanged();
    void AlignHorizontalChanged();
    void AlignVerticalChanged();
    void DelayChanged();

protected:
    void paintEvent(QPaintEvent* Event) override;
    void hideEvent(QHideEvent* Event) override;
    void changeEvent(QEvent* Event) override;

private:
    void OnTimerEvent();
    void MoveWhileSeen();
    void Complain();
    void PaintCaption(QPainter& Painter) const;
    [[nodiscard]] int Interval() const;

    TWave FWave;
    bool FActive = false;
    bool FRunning = false;
    int FDelay = 50;
    QString FCaption;
    TAlignHor FAlignHorizontal = hrCenter;
    TAlignVer FAlignVertical = vrCenter;
    QTimer FTimer{this};
};

} // namespace zutools
