// A secret on the clipboard, and off it again before anybody else comes by.
//
// For the user-interface thread.

#pragma once

#include "platform/Clock.h"

#include <QObject>
#include <QString>
#include <QTimer>

namespace zutools {

class TSecretClipboard : public QObject {
    Q_OBJECT

public:
    /// `Clock` outlives this.
    explicit TSecretClipboard(QObject* Owner, const platform::TClock& Clock = platform::SystemClock());
    /// Takes the secret off.
    ~TSecretClipboard() override;

    static constexpr std::chrono::seconds Lifetime{30}; // at most

    /// The clipboard's history, where a desktop keeps one, is asked to leave it out.
    void Put(const QString& Secret);
    /// Takes the secret off when its time is over; what another program put there since stays. Calls itself
    /// while there is one.
    void Tick();

private:
    void TakeOff();

    const platform::TClock& FClock;
    QTimer FTimer;
    std::chrono::milliseconds FUntil{};
    QByteArray FMark; // of ours on the clipboard; empty: there is none
};

} // namespace zutools
