// A crypto engine library asked by `zuhost crypto-probe`, so that its crashes and endless loops stay there.
//
// For the user-interface thread.

#pragma once

#include "crypto/EngineTasks.h"

#include <QObject>
#include <QString>
#include <QStringList>

#include <functional>

namespace zutools {

class TEngineProbe : public QObject {
    Q_OBJECT

public:
    struct TWhom {
        QString Program; // zuhost: a path, or a name beside the application or on the PATH
        QString LibName;
        int Timeout; // milliseconds for each answer
    };
    /// `Errors` are those of the library, then those of its process.
    using TThen = std::function<void(const TEngineAnswer& Answer, const QStringList& Errors)>;

    explicit TEngineProbe(QObject* Owner)
        : QObject(Owner) {}
    /// Ends the program that runs.
    ~TEngineProbe() override;

    /// Never blocks; `Then` is called later, once. A question before is given up: its `Then` is never called.
    void Ask(const TWhom& Whom, const TEngineTask& Task, TThen Then);
    void GiveUp();

private:
    class TRun;
    TRun* FRun = nullptr;
};

} // namespace zutools
