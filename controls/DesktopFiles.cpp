#include "controls/DesktopFiles.h"

#include "controls/PathWorker.h"
#include "controls/PortalRequest.h"

#include <QCoreApplication>
#include <QDesktopServices>
#include <QDir>
#include <QEventLoop>
#include <QFileDialog>
#include <QFileInfo>
#include <QGuiApplication>
#include <QProcess>
#include <QStandardPaths>
#include <QSysInfo>
#include <QTimer>
#include <QUrl>

namespace zutools {

namespace {

constexpr int FolderPatience = 1000; // milliseconds that a folder has to answer

QString Explained(const char* Text, const QString& Path) {
    return QCoreApplication::translate("zutools::DesktopFiles", Text).arg(QDir::toNativeSeparators(Path));
}

bool HasPortals() {
    return QGuiApplication::platformName() == u"xcb" ||
           QGuiApplication::platformName().startsWith(u"wayland");
}

// Whether the folder answers in time; pictures go on meanwhile, keys and clicks wait.
bool FolderAnswers(const QString& Folder) {
    QEventLoop Wait;
    bool There = false;
    const bool Asked = AskFileSystem(Wait, [&Wait, &There, Folder]() -> std::function<void()> {
        return [&Wait, &There, Found = QFileInfo(Folder).isDir()] {
            There = Found;
            Wait.quit();
        };
    });
    if (!Asked) return false;
    QTimer::singleShot(FolderPatience, &Wait, &QEventLoop::quit);
    Wait.exec(QEventLoop::ExcludeUserInputEvents);
    return There;
}

QString ChosenInDialog(QWidget* Window, TFileAsk What, const QString& Title, const QString& Path) {
    const QFileInfo Wanted(Path);
    const QString Start = FolderAnswers(Wanted.path()) ? Path : QDir::home().filePath(Wanted.fileName());
    switch (What) {
    case TFileAsk::Open:
        return QFileDialog::getOpenFileName(Window, Title, Start);
    case TFileAsk::Save:
        return QFileDialog::getSaveFileName(Window, Title, Start, {}, nullptr,
                                            QFileDialog::DontConfirmOverwrite);
    case TFileAsk::Folder:
        break;
    }
    return QFileDialog::getExistingDirectory(Window, Title, Start);
}

} // namespace

std::optional<QString> AskForFile(QWidget* Window, TFileAsk What, const QString& Title, const QString& Path) {
    if (HasPortals()) {
        TPortalRequest Portal(Window);
        switch (Portal.Ask(What, Title, Path)) {
        case TPortalRequest::TEnd::Chosen:
            return Portal.Path();
        case TPortalRequest::TEnd::GaveUp:
            return std::nullopt;
        case TPortalRequest::TEnd::NoPortal:
            break;
        }
    }
    const QString Chosen = ChosenInDialog(Window, What, Title, Path);
    return Chosen.isEmpty() ? std::nullopt : std::optional(Chosen);
}

void OpenByDesktop(QObject& Receiver, const QString& Path, std::function<void(const QString& Why)> Failed) {
    // Windows and macOS open on threads of their own; elsewhere a program does it, started off this thread.
    const QString System = QSysInfo::kernelType();
    const bool ByProgram = System != u"winnt" && System != u"darwin";
    const auto Ask = [Path, ByProgram, Failed]() -> std::function<void()> {
        if (!QFileInfo::exists(Path))
            return [Path, Failed] {
                Failed(Explained(QT_TRANSLATE_NOOP("zutools::DesktopFiles", "%1 is not there"), Path));
            };
        bool Opened = true;
        if (ByProgram) {
            const QString Program = QStandardPaths::findExecutable(QStringLiteral("xdg-open"));
            Opened = !Program.isEmpty() && QProcess::startDetached(Program, {Path});
        }
        return [Path, Failed, Opened, ByProgram] {
            if (Opened && (ByProgram || QDesktopServices::openUrl(QUrl::fromLocalFile(Path)))) return;
            Failed(Explained(QT_TRANSLATE_NOOP("zutools::DesktopFiles", "No program here opens %1"), Path));
        };
    };
    if (!AskFileSystem(Receiver, Ask))
        Failed(Explained(QT_TRANSLATE_NOOP("zutools::DesktopFiles",
                                           "%1 cannot be opened: earlier files still do not answer"),
                         Path));
}

} // namespace zutools
