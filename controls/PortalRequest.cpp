#include "controls/PortalRequest.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusObjectPath>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <QFileInfo>
#include <QGuiApplication>
#include <QUrl>
#include <QUuid>

namespace zutools {

namespace {

constexpr int PortalPatience = 10'000; // milliseconds that a portal has to start
const QString PortalService = QStringLiteral("org.freedesktop.portal.Desktop");

// The portal keeps its dialog above this window.
QString PortalHandleOf(const QWidget* Window) {
    if (!Window || QGuiApplication::platformName() != u"xcb") return {};
    return QStringLiteral("x11:%1").arg(Window->winId(), 0, 16);
}

QVariantMap PortalOptions(TFileAsk What, const QString& Path, const QString& Token) {
    QVariantMap Result{{QStringLiteral("handle_token"), Token}};
    const QFileInfo Start(Path); // of the text only: nothing is looked up
    const QString Folder = What == TFileAsk::Folder ? Path : Start.path();
    if (Start.isAbsolute()) Result[QStringLiteral("current_folder")] = Folder.toLocal8Bit() + '\0';
    if (What == TFileAsk::Folder) Result[QStringLiteral("directory")] = true;
    if (What == TFileAsk::Save && !Path.isEmpty()) Result[QStringLiteral("current_name")] = Start.fileName();
    return Result;
}

} // namespace

TPortalRequest::TPortalRequest(QWidget* Window)
    : QDialog(Window) {
    setAttribute(Qt::WA_DontShowOnScreen);
}

void TPortalRequest::Listen(QDBusConnection& Bus, const QString& Handle) {
    if (Handle == FHandle) return;
    FHandle = Handle;
    Bus.connect(PortalService, Handle, QStringLiteral("org.freedesktop.portal.Request"),
                QStringLiteral("Response"), this, SLOT(Response(uint, QVariantMap)));
}

TPortalRequest::TEnd TPortalRequest::Ask(TFileAsk What, const QString& Title, const QString& Path) {
    QDBusConnection Bus = QDBusConnection::sessionBus();
    if (!Bus.isConnected()) return TEnd::NoPortal;
    const QString Token = QStringLiteral("zutools") + QUuid::createUuid().toString(QUuid::Id128);
    const QString Sender = Bus.baseService().mid(1).replace(u'.', u'_');
    const QString Root = QStringLiteral("/org/freedesktop/portal/desktop");
    Listen(Bus, Root + QStringLiteral("/request/%1/%2").arg(Sender, Token));

    QDBusMessage Call = QDBusMessage::createMethodCall(
        PortalService, Root, QStringLiteral("org.freedesktop.portal.FileChooser"),
        What == TFileAsk::Save ? QStringLiteral("SaveFile") : QStringLiteral("OpenFile"));
    Call << PortalHandleOf(parentWidget()) << Title << PortalOptions(What, Path, Token);
    const QDBusPendingCallWatcher Watcher(Bus.asyncCall(Call, PortalPatience));
    connect(&Watcher, &QDBusPendingCallWatcher::finished, this, [this, &Bus](QDBusPendingCallWatcher* Done) {
        const QDBusPendingReply<QDBusObjectPath> Reply = *Done;
        if (Reply.isError()) return End(TEnd::NoPortal);
        Listen(Bus, Reply.value().path()); // old portals choose a handle of their own
    });
    exec();
    return FEnd;
}

void TPortalRequest::Response(uint Code, const QVariantMap& Results) {
    const QStringList Uris = Results.value(QStringLiteral("uris")).toStringList();
    if (Code == 0 && !Uris.isEmpty()) FPath = QUrl(Uris.first()).toLocalFile();
    constexpr uint Broken = 2; // the portal could not show its dialog
    if (Code == Broken) return End(TEnd::NoPortal);
    End(FPath.isEmpty() ? TEnd::GaveUp : TEnd::Chosen);
}

void TPortalRequest::End(TEnd Value) {
    FEnd = Value;
    done(0);
}

} // namespace zutools
