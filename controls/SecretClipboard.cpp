#include "controls/SecretClipboard.h"

#include <QClipboard>
#include <QGuiApplication>
#include <QMimeData>
#include <QUuid>

namespace zutools {

namespace {

const QString SecretMarkFormat = QStringLiteral("application/x-zutools-secret");
constexpr std::chrono::milliseconds SecretTick{500};

} // namespace

TSecretClipboard::TSecretClipboard(QObject* Owner, const platform::TClock& Clock)
    : QObject(Owner)
    , FClock(Clock) {
    FTimer.setInterval(SecretTick);
    connect(&FTimer, &QTimer::timeout, this, &TSecretClipboard::Tick);
}

TSecretClipboard::~TSecretClipboard() {
    TakeOff();
}

void TSecretClipboard::Put(const QString& Secret) {
    FMark = QUuid::createUuid().toByteArray();
    auto* Data = new QMimeData;
    Data->setText(Secret);
    Data->setData(SecretMarkFormat, FMark);
    Data->setData(QStringLiteral("x-kde-passwordManagerHint"), "secret");
    QGuiApplication::clipboard()->setMimeData(Data);
    FUntil = FClock.Steady() + Lifetime - 2 * SecretTick; // a timer may be late
    FTimer.start();
}

void TSecretClipboard::Tick() {
    if (FClock.Steady() >= FUntil) TakeOff();
}

void TSecretClipboard::TakeOff() {
    FTimer.stop();
    if (FMark.isEmpty() || QGuiApplication::instance() == nullptr) return;
    QClipboard& Clipboard = *QGuiApplication::clipboard();
    const QMimeData* const Data = Clipboard.mimeData();
    if (Data != nullptr && Data->data(SecretMarkFormat) == FMark) Clipboard.clear();
    FMark.clear();
}

} // namespace zutools
