// The controls beside Qt's own work, on Qt's offscreen platform: painting the wave and the cylinder against a
// widget that fills its area with one colour; a message box of ten buttons opened, painted and closed against
// a QMessageBox of the same; what share of a core a wave takes that runs; what stays in memory after 10,000
// message boxes.

#include "bench/support/Ratio.h"
#include "controls/Zudlg.h"
#include "controls/Zuprogress.h"
#include "controls/Zuwaver.h"

#include <QApplication>
#include <QEventLoop>
#include <QMessageBox>
#include <QPainter>
#include <QProxyStyle>
#include <QPushButton>
#include <QTimer>

#include <cstdio>
#include <ctime>
#include <malloc.h>

namespace zutools {
namespace {

constexpr QSize Strip(400, 15);
constexpr int Buttons = 10;
constexpr int Dialogs = 10'000;
constexpr int Seconds = 10; // that a wave runs

class TFilled final : public QWidget {
public:
    TFilled() { setAttribute(Qt::WA_OpaquePaintEvent); }

protected:
    void paintEvent(QPaintEvent*) override { QPainter(this).fillRect(rect(), Qt::red); }
};

void Paint(benchmark::State& State, QWidget& Widget) {
    Widget.resize(Strip);
    QImage Image(Strip, QImage::Format_ARGB32_Premultiplied);
    for (auto _ : State) {
        QPainter Painter(&Image);
        Widget.render(&Painter, {}, {}, {});
        benchmark::DoNotOptimize(Image.constBits());
    }
}

void Fill(benchmark::State& State) {
    TFilled Widget;
    Paint(State, Widget);
}
BENCHMARK(Fill);

void Wave(benchmark::State& State) {
    TZUWavePanel Widget;
    Paint(State, Widget);
}
BENCHMARK(Wave);

void WaveWithCaption(benchmark::State& State) {
    TZUWavePanel Widget;
    Widget.SetCaption("Loading orders");
    Paint(State, Widget);
}
BENCHMARK(WaveWithCaption);

void Cylinder(benchmark::State& State) {
    TZUProgress Widget;
    Widget.setTextVisible(false);
    Widget.setValue(65);
    Paint(State, Widget);
}
BENCHMARK(Cylinder);

void CylinderWithText(benchmark::State& State) {
    TZUProgress Widget;
    Widget.setValue(65);
    Paint(State, Widget);
}
BENCHMARK(CylinderWithText);

QStringList Captions() {
    QStringList Result;
    for (int I = 0; I < Buttons; ++I) Result += QStringLiteral("Answer &%1").arg(I);
    return Result;
}

// Once the box is there it is painted, then closed.
void CloseWhenShown(const std::function<QDialog*()>& Box, QObject& Guard) {
    QTimer::singleShot(0, &Guard, [Box] {
        Box()->repaint();
        Box()->done(0);
    });
}

void OpenOurs() {
    TZUDlg Dlg;
    Dlg.SetTitle("Orders");
    Dlg.SetMessage({"The order was changed by somebody else.", "Which answer is it?"});
    Dlg.SetButtons(Captions());
    Dlg.SetIcon(TZUDlg::icConfirmation);
    CloseWhenShown([&Dlg] { return Dlg.Form(); }, Dlg);
    Dlg.Show();
}

void OpenTheirs() {
    QMessageBox Box(QMessageBox::Question, "Orders",
                    "The order was changed by somebody else.\nWhich answer is it?");
    for (const QString& Caption : Captions()) Box.addButton(Caption, QMessageBox::ActionRole);
    CloseWhenShown([&Box] { return &Box; }, Box);
    Box.exec();
}

void Dialog(benchmark::State& State) {
    for (auto _ : State) OpenOurs();
}
BENCHMARK(Dialog);

void MessageBox(benchmark::State& State) {
    for (auto _ : State) OpenTheirs();
}
BENCHMARK(MessageBox);

// Lively, as a desktop is: without a display Qt takes little motion to be wanted.
class TLively final : public QProxyStyle {
public:
    TLively()
        : QProxyStyle("Fusion") {}
    int styleHint(StyleHint Hint, const QStyleOption* Option, const QWidget* Widget,
                  QStyleHintReturn* Return) const override {
        return Hint == SH_Widget_Animation_Duration ? 200
                                                    : QProxyStyle::styleHint(Hint, Option, Widget, Return);
    }
};

class TPaintCounter final : public QObject {
public:
    int Paints = 0;

protected:
    bool eventFilter(QObject* /*Watched*/, QEvent* Event) override {
        Paints += Event->type() == QEvent::Paint;
        return false;
    }
};

// The share of a core, in per cent, that the process takes while a widget is shown.
double ShareOfCore(QWidget& Widget) {
    Widget.resize(Strip);
    Widget.show();
    QEventLoop Loop;
    const auto Run = [&Loop](int Milliseconds) {
        QTimer::singleShot(Milliseconds, &Loop, &QEventLoop::quit);
        Loop.exec();
    };
    Run(1000); // what comes once is over by then
    const std::clock_t Before = std::clock();
    Run(Seconds * 1000);
    return 100.0 * static_cast<double>(std::clock() - Before) / CLOCKS_PER_SEC / Seconds;
}

std::size_t Allocated() {
    const struct mallinfo2 Info = mallinfo2();
    return Info.uordblks + Info.hblkhd;
}

void PrintRest() {
    TFilled Still;
    TZUWavePanel Moving;
    Moving.SetActive(true);
    const double Floor = ShareOfCore(Still);
    Still.hide();
    TPaintCounter Counter;
    Moving.installEventFilter(&Counter);
    const double Share = ShareOfCore(Moving);
    std::printf(
        "a wave of %d x %d every %d ms: %.3f %% of a core over %d pictures (a still widget: %.3f %%)\n",
        Strip.width(), Strip.height(), Moving.Delay(), Share, Counter.Paints, Floor);
    Moving.hide();

    for (int I = 0; I < 100; ++I) OpenOurs(); // what is kept for the whole process
    const std::size_t Before = Allocated();
    for (int I = 0; I < Dialogs; ++I) OpenOurs();
    std::printf("memory after %d message boxes: %+.2f bytes each\n", Dialogs,
                (static_cast<double>(Allocated()) - static_cast<double>(Before)) / Dialogs);
}

} // namespace
} // namespace zutools

int main(int argc, char** argv) {
    qputenv("QT_QPA_PLATFORM", "offscreen");
    const QApplication Application(argc, argv);
    QApplication::setStyle(new zutools::TLively);
    QApplication::setQuitOnLastWindowClosed(false);
    benchmark::Initialize(&argc, argv);
    zutools::TRatioReporter Reporter;
    benchmark::RunSpecifiedBenchmarks(&Reporter);
    const double Fill = Reporter.Best("Fill");
    for (const char* const Name : {"Wave", "WaveWithCaption", "Cylinder", "CylinderWithText"})
        std::printf("%-18s %6.2f times a bare fillRect of the same area\n", Name, Reporter.Best(Name) / Fill);
    std::printf("%-18s %6.2f times as fast as QMessageBox with the same ten buttons\n", "Dialog",
                Reporter.Best("MessageBox") / Reporter.Best("Dialog"));
    zutools::PrintRest();
    return 0;
}
