#include "controls/QtApplication.h"

#include <QApplication>
#include <QMessageBox>
#include <QScreen>
#include <QStyle>
#include <QTimer>

namespace zutools {

namespace {

TRect RectOf(const QRect& Rect) {
    return {Rect.x(), Rect.y(), Rect.x() + Rect.width(), Rect.y() + Rect.height()};
}

} // namespace

TQtApplication& TQtApplication::Instance() {
    static TQtApplication Application;
    return Application;
}

std::u16string TQtApplication::ExecutableName() const {
    return QCoreApplication::applicationFilePath().toStdU16String();
}

bool TQtApplication::IsMinimized() const {
    return FMainForm != nullptr && FMainForm->WindowState() == TWindowState::wsMinimized;
}

void TQtApplication::Minimize() {
    QTimer::singleShot(0, qApp, [this] {
        // Who asked may be gone by then: it is looked up anew.
        if (auto* const Form = const_cast<TForm*>(FMainForm)) Form->SetWindowState(TWindowState::wsMinimized);
    });
}

void TQtApplication::SetBusyCursor(bool Busy) {
    if (Busy)
        QGuiApplication::setOverrideCursor(Qt::WaitCursor);
    else
        QGuiApplication::restoreOverrideCursor();
}

void TQtApplication::ShowException(const std::exception& Error) {
    if (OnShowException) return OnShowException(Error);
    QMessageBox::critical(nullptr, QGuiApplication::applicationDisplayName(),
                          QString::fromUtf8(Error.what()));
}

TPoint TQtApplication::ScreenSize() const {
    const QScreen* const Screen = QGuiApplication::primaryScreen();
    if (Screen == nullptr) return {};
    return {Screen->geometry().width(), Screen->geometry().height()};
}

int TQtApplication::PixelsPerInch() const {
    const QScreen* const Screen = QGuiApplication::primaryScreen();
    return Screen == nullptr ? 96 : qRound(Screen->logicalDotsPerInch() * Screen->devicePixelRatio());
}

std::vector<TRect> TQtApplication::WorkAreas() const {
    std::vector<TRect> Areas;
    for (const QScreen* const Screen : QGuiApplication::screens()) // the primary one is the first
        Areas.push_back(RectOf(Screen->availableGeometry()));
    return Areas;
}

int TQtApplication::TitleHeight() const {
    return QApplication::style()->pixelMetric(QStyle::PM_TitleBarHeight);
}

} // namespace zutools
