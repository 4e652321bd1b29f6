#include "controls/PathWorker.h"

#include <QDir>
#include <QFileInfo>

#include <atomic>
#include <memory>
#include <mutex>
#include <thread>

namespace zutools {

namespace {

// The way back to a receiver that may go first.
class TReturn : public std::enable_shared_from_this<TReturn> {
public:
    explicit TReturn(QObject& Receiver)
        : FReceiver(&Receiver) {}
    void Watch() {
        FWatch = QObject::connect(
            FReceiver, &QObject::destroyed, FReceiver, [Self = shared_from_this()] { Self->Close(); },
            Qt::DirectConnection);
    }
    void Close() {
        const std::scoped_lock Lock(FLock);
        FReceiver = nullptr;
    }
    // Posts, and so does not wait for the receiver's thread.
    void Deliver(std::function<void()> Answer) {
        const std::scoped_lock Lock(FLock);
        if (!FReceiver) return;
        QMetaObject::invokeMethod(
            FReceiver,
            [Watch = FWatch, Answer = std::move(Answer)] {
                QObject::disconnect(Watch);
                Answer();
            },
            Qt::QueuedConnection);
    }

private:
    QMetaObject::Connection FWatch;
    std::mutex FLock;
    QObject* FReceiver;
};

std::atomic<int>& Asked() {
    static std::atomic<int> Count = 0;
    return Count;
}

} // namespace

bool AskFileSystem(QObject& Receiver, std::function<std::function<void()>()> Work) {
    if (Asked().fetch_add(1) >= MostAtOnce) {
        Asked().fetch_sub(1);
        return false;
    }
    auto Return = std::make_shared<TReturn>(Receiver);
    Return->Watch();
    std::thread([Return, Work = std::move(Work)] {
        auto Answer = Work();
        Asked().fetch_sub(1);
        Return->Deliver(std::move(Answer));
    }).detach();
    return true;
}

QStringList PathsBeginningWith(const QString& Typed, TPathKind Kind, int Most) {
    const qsizetype Slash = Typed.lastIndexOf(u'/');
    if (Slash < 0) return {};
    const QString Folder = Typed.left(Slash + 1);
    const QString Name = Typed.mid(Slash + 1);
    QDir::Filters Filters = QDir::Dirs | QDir::NoDotAndDotDot;
    if (Kind == TPathKind::Files) Filters |= QDir::Files;
    if (Name.startsWith(u'.')) Filters |= QDir::Hidden;
    QStringList Result;
    for (const QFileInfo& Entry : QDir(Folder).entryInfoList(Filters, QDir::DirsFirst | QDir::Name)) {
        if (!Entry.fileName().startsWith(Name)) continue;
        Result += Folder + Entry.fileName() + (Entry.isDir() ? QStringLiteral("/") : QString());
        if (Result.size() == Most) break;
    }
    return Result;
}

} // namespace zutools
