// A question to the desktop's portal (org.freedesktop.portal.FileChooser): the portal shows its own dialog.
//
// For the user-interface thread.

#pragma once

#include "controls/DesktopFiles.h"

#include <QDialog>
#include <QVariantMap>

class QDBusConnection;

namespace zutools {

/// Stands for the portal's dialog: its window is not shown, and blocks the others until the answer comes.
class TPortalRequest : public QDialog {
    Q_OBJECT

public:
    enum class TEnd { NoPortal, GaveUp, Chosen };

    explicit TPortalRequest(QWidget* Window);

    /// Runs the event loop until the portal answered, or did not start within ten seconds.
    TEnd Ask(TFileAsk What, const QString& Title, const QString& Path);
    /// What was chosen.
    [[nodiscard]] const QString& Path() const { return FPath; }

private slots:
    void Response(uint Code, const QVariantMap& Results);

private:
    void Listen(QDBusConnection& Bus, const QString& Handle);
    void End(TEnd Value);

    QString FPath;
    QString FHandle; // that is listened to
    TEnd FEnd = TEnd::NoPortal;
};

} // namespace zutools
