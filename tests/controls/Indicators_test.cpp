#include "controls/Cylinder.h"
#include "controls/TimeLeft.h"
#include "controls/WaveBands.h"
#include "controls/Zuprogress.h"
#include "controls/Zuwaver.h"

#include <gmock/gmock.h>

#include <QAccessible>
#include <QImage>
#include <QPainter>
#include <QProgressBar>
#include <QTest>

#include <cmath>
#include <random>
#include <tuple>

namespace zutools::tests {

namespace {

TEST(Wave, ColoursStepAsWholeNumbers) {
    struct TCase {
        TColorRef From, To;
        int Step;
        TColorRef Next;
        int Period;
    };
    for (const auto& [From, To, Step, Next, Period] : std::vector<TCase>{
             {255, 65535, 15, 255 + 15 * 256, 34},
             {0x000000, 0x00FFFFFF, 255, 0x00FFFFFF, 2},
             {0x00102030, 0x00102030, 15, 0x00102030, 0},
         }) {
        EXPECT_EQ(StepColorTo(From, To, Step), Next) << std::hex << From;
        EXPECT_EQ(WavePeriod(From, To, Step), Period) << std::hex << From;
    }
}

// Red goes below nothing and borrows from green: such colours never meet, and would be counted for ever.
TEST(KeptOnPurpose, AWavesColoursRunOverTheEndsOfTheirChannels) {
    EXPECT_EQ(StepColorTo(0x010A, 0x0105, 15), 0x00FB);
    EXPECT_EQ(WavePeriod(0x000A, 0x0005, 15), 2 * MostBands);
}

// The strip painted by counting each pixel on its own.
QImage Reference(TWave& Wave, QSize Size) {
    QImage Image(Size, QImage::Format_RGB32);
    const auto Put = [&](int X, int Y, TColorRef Color) {
        if (Image.rect().contains(X, Y))
            Image.setPixel(X, Y, qRgb(Color & 255, Color >> 8 & 255, Color >> 16 & 255));
    };
    for (int Y = 0; Y < Size.height(); ++Y)
        for (int X = 0; X < Size.width(); ++X) Put(X, Y, Wave.From);
    const bool Lies = Wave.Direction < TDirection::drTopToBottom;
    const bool Back =
        Wave.Direction == TDirection::drRightToLeft || Wave.Direction == TDirection::drBottomToTop;
    const int Length = Lies ? Size.width() : Size.height();
    const auto Next = [&](int C) {
        const int Moved = C + (Back ? -Wave.StepSize : Wave.StepSize);
        if (Back) return Moved < 1 ? Length : Moved;
        return Moved >= Length ? 0 : Moved;
    };
    TColorRef Color = Wave.From;
    TColorRef Target = Wave.To;
    int C = Wave.Offset;
    for (int Band = 0; Band < Wave.Period; ++Band, C = Next(C)) {
        Color = StepColorTo(Color, Target, Wave.StepColor);
        if (Color == Target) Target = Wave.From;
        for (int Along = 0; Along < Wave.StepSize; ++Along) {
            const int At = Back ? C - 1 - Along : C + Along;
            for (int Across = 0; Across < (Lies ? Size.height() : Size.width()); ++Across)
                Lies ? Put(At, Across, Color) : Put(Across, At, Color);
        }
    }
    Wave.Offset = Next(Wave.Offset);
    return Image;
}

TEST(Wave, BandsStandToThePixel) {
    const unsigned Seed = std::random_device()();
    SCOPED_TRACE(Seed);
    std::mt19937 Random(Seed);
    const auto Any = [&](int From, int To) { return std::uniform_int_distribution(From, To)(Random); };
    TWave Painted;
    TWave Counted;
    for (int Round = 0; Round < 300; ++Round) {
        const QSize Size(Any(1, 90), Any(1, 40));
        Painted.StepSize = Any(1, 30);
        Painted.StepColor = Any(1, 80);
        Painted.From = Any(0, 0xFFFFFF);
        Painted.To = Any(0, 0xFFFFFF);
        Painted.CountPeriod();
        Painted.Turn(static_cast<TDirection>(Any(0, 3)), Size.width(), Size.height());
        Counted = Painted;
        QImage Image(Size, QImage::Format_RGB32);
        QPainter Painter(&Image);
        Painted.Paint(Size.width(), Size.height(),
                      [&](int Left, int Top, int Right, int Bottom, TColorRef Color) {
                          Painter.fillRect(Left, Top, Right - Left, Bottom - Top,
                                           QColor(Color & 255, Color >> 8 & 255, Color >> 16 & 255));
                      });
        Painter.end();
        ASSERT_EQ(Image, Reference(Counted, Size)) << "round " << Round;
        ASSERT_EQ(Painted.Offset, Counted.Offset);
    }
}

TEST(Wave, TurningMirrorsOrBeginsAnew) {
    TWave Wave;
    Wave.Coord = 30;
    Wave.Turn(TDirection::drRightToLeft, 100, 20);
    EXPECT_EQ(std::pair(Wave.Coord, Wave.Offset), std::pair(70, 30));
    Wave.Turn(TDirection::drBottomToTop, 100, 20);
    EXPECT_EQ(std::pair(Wave.Coord, Wave.Offset), std::pair(20, 20));
    Wave.Turn(TDirection::drLeftToRight, 100, 20);
    EXPECT_EQ(std::pair(Wave.Coord, Wave.Offset), std::pair(0, 0));
}

TEST(KeptOnPurpose, AWaveCannotBeSwitchedOff) {
    TZUWavePanel Panel;
    EXPECT_EQ(Panel.Period(), 34);
    Panel.SetActive(true);
    Panel.SetActive(false);
    EXPECT_TRUE(Panel.Running());
    EXPECT_FALSE(Panel.Active());
}

TEST(Zuwaver, TellsWrongStepsAndKeepsTheOld) {
    TZUWavePanel Panel;
    QStringList Told;
    Panel.OnComplaint = [&Told](const QString& Text) { Told += Text; };
    Panel.SetStepSize(0);
    Panel.SetStepColor(-1);
    Panel.SetDelay(10);
    EXPECT_EQ(Told, QStringList(2, "Value must be more than 0."));
    EXPECT_EQ(Panel.StepSize(), 10);
    EXPECT_EQ(Panel.StepColor(), 15);
    EXPECT_EQ(Panel.Delay(), 50);
}

TEST(Zuwaver, MovesOnlyWhileItCanBeSeen) {
    TZUWavePanel Panel;
    Panel.SetActive(true);
    auto* Timer = Panel.findChild<QTimer*>();
    const auto Moves = [&] { return Timer ? Timer->isActive() : false; };
    ASSERT_NE(Timer, nullptr);
    EXPECT_FALSE(Moves());
    Panel.show();
    ASSERT_TRUE(QTest::qWaitFor(Moves));
    Panel.hide();
    EXPECT_FALSE(Moves());
    Panel.show();
    ASSERT_TRUE(QTest::qWaitFor(Moves));
    Panel.showMinimized();
    EXPECT_TRUE(QTest::qWaitFor([&] { return !Moves(); }));
}

// The same calls do the same to both.
TEST(Zuprogress, CountsAsAProgressBarDoes) {
    const unsigned Seed = std::random_device()();
    SCOPED_TRACE(Seed);
    std::mt19937 Random(Seed);
    const auto Any = [&](int From, int To) { return std::uniform_int_distribution(From, To)(Random); };
    TZUProgress Ours;
    QProgressBar Theirs;
    for (int Step = 0; Step < 3000; ++Step) {
        const int Value = Any(-20, 120);
        const int Other = Any(-20, 120);
        const auto Both = [&](auto&& Call) {
            Call(Ours);
            Call(Theirs);
        };
        switch (Any(0, 5)) {
        case 0:
            Both([&](auto& Bar) { Bar.setRange(Value, Other); });
            break;
        case 1:
            Both([&](auto& Bar) { Bar.setMinimum(Value); });
            break;
        case 2:
            Both([&](auto& Bar) { Bar.setMaximum(Value); });
            break;
        case 3:
            Both([&](auto& Bar) { Bar.setFormat("%v of %m: %p%"); });
            break;
        case 4:
            Any(0, 9) == 0 ? Both([&](auto& Bar) { Bar.reset(); }) : void();
            break;
        default:
            Both([&](auto& Bar) { Bar.setValue(Value); });
        }
        ASSERT_EQ(Ours.minimum(), Theirs.minimum()) << Step;
        ASSERT_EQ(Ours.maximum(), Theirs.maximum()) << Step;
        ASSERT_EQ(Ours.value(), Theirs.value()) << Step;
        ASSERT_EQ(Ours.text(), Theirs.text()) << Step;
    }
}

TEST(Zuprogress, FillsAsFarAsTheValueSays) {
    TZUProgress Bar;
    Bar.setColorStyle(TZUProgress::csCustom);
    Bar.setCustomColor(Qt::green);
    Bar.setTextVisible(false);
    Bar.resize(400, 40);
    const auto FilledColumns = [&] {
        const QImage Image = Bar.grab().toImage();
        int Count = 0;
        for (int X = 0; X < Image.width(); ++X) Count += QColor(Image.pixel(X, 22)).hsvSaturation() > 100;
        return Count;
    };
    for (const int Value : {10, 50, 100}) {
        Bar.setValue(Value);
        EXPECT_NEAR(FilledColumns(), 4 * Value, 24) << Value; // an end's ellipse
    }
    Bar.setOrientation(Qt::Vertical);
    Bar.resize(40, 400);
    Bar.setValue(50);
    const QImage Image = Bar.grab().toImage();
    EXPECT_GT(QColor(Image.pixel(20, 350)).hsvSaturation(), 100); // filled from below
    EXPECT_LT(QColor(Image.pixel(20, 50)).hsvSaturation(), 100);
}

// What is painted of a lying cylinder at a point, and which part of it that is: nothing of it is taken from
// the painter.
struct TReference {
    QColor Color = Qt::white;
    int Part = 0; // outside, then body and lid of the empty and of the filled piece

    TReference(double X, double Y, const TCylinder& Cylinder) {
        const QRectF Body = Cylinder.Rect.adjusted(0.5, 0.5, -0.5, -0.5);
        const double End = Body.height() * 0.3;
        const double Room = Body.width() - 2 * End;
        if (Cylinder.FromEnd) X = Body.left() + Body.right() - X;
        Take({X, Y}, Body, End, Cylinder.Empty, 1);
        if (Cylinder.To <= Cylinder.From) return;
        Take({X, Y},
             {Body.left() + Cylinder.From * Room, Body.top(), (Cylinder.To - Cylinder.From) * Room + 2 * End,
              Body.height()},
             End, Cylinder.Full, 3);
    }

private:
    static QColor Mixed(const QColor& One, const QColor& Other, double Share) {
        const auto Of = [Share](int From, int To) { return static_cast<int>(From + (To - From) * Share); };
        return {Of(One.red(), Other.red()), Of(One.green(), Other.green()), Of(One.blue(), Other.blue())};
    }
    void Take(QPointF At, const QRectF& Piece, double End, const QColor& Own, int BodyPart) {
        const double Down = (At.y() - Piece.top()) / Piece.height(); // 0 above, 1 below
        const double Half = End * std::sqrt(std::max(0.0, 1 - (2 * Down - 1) * (2 * Down - 1)));
        if (Down < 0 || Down > 1) return;
        if (At.x() < Piece.left() + End - Half || At.x() > Piece.right() - End + Half) return;
        const bool Lid = At.x() > Piece.right() - End - Half;
        Part = BodyPart + Lid;
        if (Lid)
            Color = Own.lighter(115);
        else if (Down < 0.25)
            Color = Mixed(Own.darker(140), Own.lighter(150), Down / 0.25);
        else if (Down < 0.55)
            Color = Mixed(Own.lighter(150), Own, (Down - 0.25) / 0.3);
        else
            Color = Mixed(Own, Own.darker(140), (Down - 0.55) / 0.45);
    }
};

// Between its edges, which are smoothed and drawn over, each pixel is the reference's.
TEST(Cylinder, IsPaintedAsTheReferenceIs) {
    constexpr int Tolerance = 8; // of 255
    constexpr int Length = 300;
    constexpr int Thickness = 40;
    TCylinder Lying;
    Lying.Rect = QRectF(0, 0, Length, Thickness);
    Lying.Full = QColor(0x2f, 0x7f, 0xd1);
    Lying.Empty = QColor(0xd0, 0xd4, 0xd8);
    Lying.Outline = Qt::black;
    using TCase = std::tuple<double, double, bool, bool, int>; // from, to, from the end, standing, scale
    for (const auto& [From, To, FromEnd, Standing, Scale] :
         {TCase{0, 0, false, false, 1}, TCase{0, 0.5, false, false, 1}, TCase{0, 0.5, true, false, 2},
          TCase{0.3, 0.6, false, true, 1}, TCase{0, 1, true, true, 3}}) {
        Lying.From = From;
        Lying.To = To;
        Lying.FromEnd = FromEnd;
        TCylinder Painted = Lying;
        if (Standing) {
            Painted.Orientation = Qt::Vertical;
            Painted.Rect = QRectF(0, 0, Thickness, Length);
        }
        QImage Image(Painted.Rect.size().toSize() * Scale, QImage::Format_RGB32);
        Image.fill(Qt::white);
        Image.setDevicePixelRatio(Scale);
        QPainter Painter(&Image);
        PaintCylinder(Painter, Painted);
        Painter.end();
        int Compared = 0;
        for (int Y = 0; Y < Thickness * Scale; ++Y)
            for (int X = 0; X < Length * Scale; ++X) {
                const auto At = [&](double Right, double Down) {
                    return TReference((X + 0.5) / Scale + Right, (Y + 0.5) / Scale + Down, Lying);
                };
                const TReference Wanted = At(0, 0);
                const bool Edge = At(-1.5, 0).Part != Wanted.Part || At(1.5, 0).Part != Wanted.Part ||
                                  At(0, -1.5).Part != Wanted.Part || At(0, 1.5).Part != Wanted.Part;
                if (Edge) continue;
                ++Compared;
                // A standing one is the lying one turned to the left.
                const QColor Found =
                    Standing ? Image.pixelColor(Y, Length * Scale - 1 - X) : Image.pixelColor(X, Y);
                ASSERT_NEAR(Found.red(), Wanted.Color.red(), Tolerance) << X << ' ' << Y << ' ' << Scale;
                ASSERT_NEAR(Found.green(), Wanted.Color.green(), Tolerance) << X << ' ' << Y << ' ' << Scale;
                ASSERT_NEAR(Found.blue(), Wanted.Color.blue(), Tolerance) << X << ' ' << Y << ' ' << Scale;
            }
        EXPECT_GT(Compared, Length * Thickness * Scale * Scale * 8 / 10);
    }
}

TEST(Zuprogress, EstimatesTheTimeLeft) {
    TTimeLeft Left;
    Left.Note(0, 0);
    EXPECT_EQ(Left.Estimate(500), std::nullopt);
    for (int Second = 1; Second <= 20; ++Second) Left.Note(Second / 100.0, Second * 1000);
    EXPECT_NEAR(static_cast<double>(*Left.Estimate(20'000)), 80'000, 10);
    EXPECT_NEAR(static_cast<double>(*Left.Estimate(50'000)), 50'000, 10);
    EXPECT_EQ(*Left.Estimate(1'000'000), 0);
    Left.Note(0, 60'000); // begun anew
    EXPECT_EQ(Left.Estimate(60'000), std::nullopt);
    EXPECT_EQ(TimeLeftText(4'000), "a few seconds left");
    EXPECT_EQ(TimeLeftText(3 * 60'000 + 20'000), "about 3 min left");
    EXPECT_EQ(TimeLeftText(2 * 3'600'000), "about 2 h left");
}

TEST(Indicators, TellScreenReadersWhatTheyShow) {
    TZUProgress Bar;
    Bar.setValue(40);
    QAccessibleInterface* Shown = QAccessible::queryAccessibleInterface(&Bar);
    EXPECT_EQ(Shown->role(), QAccessible::ProgressBar);
    EXPECT_EQ(Shown->valueInterface()->currentValue(), 40);
    EXPECT_EQ(Shown->text(QAccessible::Value), "40%");
    TZUWavePanel Panel;
    Panel.SetCaption("Loading");
    Panel.SetActive(true);
    Shown = QAccessible::queryAccessibleInterface(&Panel);
    EXPECT_EQ(Shown->text(QAccessible::Name), "Loading");
    EXPECT_TRUE(Shown->state().busy);
}

} // namespace

} // namespace zutools::tests
