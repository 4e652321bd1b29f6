// The main of the tests with windows. Without QT_QPA_PLATFORM they open none: Qt's offscreen platform has a
// window manager's behaviour in memory.

#include "tests/support/CrashExit.h"

#include <gmock/gmock.h>

#include <QApplication>
#include <QStandardPaths>

int main(int argc, char** argv) {
    zutools::tests::ExitOnCrash();
    testing::InitGoogleMock(&argc, argv);
    if (!qEnvironmentVariableIsSet("QT_QPA_PLATFORM")) qputenv("QT_QPA_PLATFORM", "offscreen");
    QStandardPaths::setTestModeEnabled(true); // nothing is read from or left in the user's folders
    QApplication::setStyle("Fusion");         // the same on every desktop
    const QApplication Application(argc, argv);
    return RUN_ALL_TESTS();
}
