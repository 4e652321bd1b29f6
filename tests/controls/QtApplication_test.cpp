#include "controls/QtApplication.h"

#include "host/Exception.h"

#include <gmock/gmock.h>

#include <QApplication>
#include <QScreen>

namespace zutools::tests {

namespace {

TEST(QtApplication, TellsThePrimaryScreenAndTheProgram) {
    TQtApplication& Application = TQtApplication::Instance();
    const QRect Screen = QGuiApplication::primaryScreen()->geometry();
    EXPECT_EQ(Application.ScreenSize(), (TPoint{Screen.width(), Screen.height()}));
    ASSERT_EQ(Application.WorkAreas().size(), 1U);
    EXPECT_EQ(Application.WorkAreas()[0].Right, Screen.width());
    EXPECT_EQ(Application.PixelsPerInch(), 96);
    EXPECT_GT(Application.TitleHeight(), 0);
    EXPECT_TRUE(Application.ExecutableName().ends_with(u"zu_controls_tests"));
    Application.SetBusyCursor(true);
    EXPECT_EQ(QGuiApplication::overrideCursor()->shape(), Qt::WaitCursor);
    Application.SetBusyCursor(false);
    EXPECT_EQ(QGuiApplication::overrideCursor(), nullptr);
    std::string Told;
    Application.OnShowException = [&Told](const std::exception& Error) { Told = Error.what(); };
    Application.ShowException(Exception(u"full"));
    Application.OnShowException = nullptr;
    EXPECT_EQ(Told, "full");
}

} // namespace

} // namespace zutools::tests
