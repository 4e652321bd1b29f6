#include "controls/EngineProbe.h"

#include <QCoreApplication>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QStandardPaths>
#include <QTimer>

namespace zutools {

namespace {

constexpr qsizetype MostProbed = qsizetype{16} << 20; // bytes
constexpr int ProbeGrace = 3000;                      // milliseconds that the program has for itself

QString FindProgram(const QString& Program) {
    const QString Beside = QStandardPaths::findExecutable(Program, {QCoreApplication::applicationDirPath()});
    return Beside.isEmpty() ? QStandardPaths::findExecutable(Program) : Beside;
}

QStringList ProbeArguments(const TEngineProbe::TWhom& Whom, const TEngineTask& Task) {
    QStringList Words{QStringLiteral("crypto-probe"), QStringLiteral("--json"), QStringLiteral("--timeout"),
                      QString::number(Whom.Timeout)};
    if (Task.Kind == TEngineTask::TKind::Types)
        Words += QStringLiteral("--types");
    else
        Words += QStringLiteral("--type=") + QString::fromStdU16String(Task.Type);
    if (Task.Kind == TEngineTask::TKind::Sign)
        Words += {QStringLiteral("--sign"), QStringLiteral("--values"), QStringLiteral("--null")};
    Words += {QStringLiteral("--"), Whom.LibName};
    return Words;
}

void TakeErrors(const QJsonObject& From, QStringList& Errors) {
    for (const QJsonValue& Each : From[u"errors"].toArray()) Errors += Each.toString();
    if (const QString Fault = From[u"fault"].toString(); !Fault.isEmpty()) Errors += Fault;
}

TEngineAnswer AnswerFrom(const QJsonObject& Whole, QStringList& Errors) {
    TEngineAnswer Answer;
    TakeErrors(Whole, Errors);
    for (const QJsonValue& Type : Whole[u"types"].toArray())
        Answer.Types.push_back(Type.toString().toStdU16String());
    const QJsonObject Engine = Whole[u"engines"].toArray().first().toObject();
    TakeErrors(Engine, Errors);
    Answer.Opened = Engine[u"opened"].toBool();
    for (const QJsonValue& Param : Engine[u"params"].toArray())
        Answer.Params.push_back({Param[0].toString().toStdU16String(), Param[1].toString().toStdU16String()});
    const QJsonObject Sign = Engine[u"sign"].toObject();
    TakeErrors(Sign, Errors);
    if (const QJsonObject Made = Sign[u"signature"].toObject(); !Made.isEmpty())
        Answer.Signature = {Made[u"code"].toInt(), Made[u"length"].toInt(), Made[u"room"].toInt(),
                            std::chrono::microseconds(Made[u"microseconds"].toInteger())};
    Answer.Loaded = Errors.isEmpty();
    return Answer;
}

} // namespace

// One question: goes with its process.
class TEngineProbe::TRun : public QProcess {
public:
    TRun(TEngineProbe& Probe, TThen Then)
        : QProcess(&Probe)
        , FProbe(Probe)
        , FThen(std::move(Then)) {
        setStandardErrorFile(QProcess::nullDevice()); // an engine may say a lot there
        connect(this, &QProcess::readyReadStandardOutput, this, [this] {
            FBytes += readAllStandardOutput();
            if (FBytes.size() > MostProbed) kill();
        });
        connect(this, &QProcess::finished, this, [this] { Finish(); });
        connect(this, &QProcess::errorOccurred, this, [this](QProcess::ProcessError Error) {
            if (Error != QProcess::FailedToStart) return;
            Deliver({}, {TEngineProbe::tr("The probe \"%1\" cannot be started").arg(program())});
        });
    }

    void Ask(const TWhom& Whom, const TEngineTask& Task) {
        const QString Program = FindProgram(Whom.Program);
        QTimer::singleShot(3 * Whom.Timeout + ProbeGrace, this, &QProcess::kill);
        start(Program.isEmpty() ? Whom.Program : Program, ProbeArguments(Whom, Task));
        for (const auto& [Name, Value] : Task.Values)
            write((QString::fromStdU16String(Name) + u'=' + QString::fromStdU16String(Value)).toUtf8() +
                  '\0');
        closeWriteChannel();
    }

    void GiveUp() {
        disconnect();
        FThen = {};
        kill();
        connect(this, &QProcess::finished, this, &QObject::deleteLater);
        if (state() == NotRunning) deleteLater();
    }

private:
    void Finish() {
        FBytes += readAllStandardOutput();
        const QJsonDocument Whole = QJsonDocument::fromJson(FBytes);
        if (!Whole.isObject()) return Deliver({}, {TEngineProbe::tr("The probe ended without an answer")});
        QStringList Errors;
        const TEngineAnswer Answer = AnswerFrom(Whole.object(), Errors);
        Deliver(Answer, Errors);
    }
    void Deliver(const TEngineAnswer& Answer, const QStringList& Errors) {
        FProbe.FRun = nullptr;
        deleteLater();
        if (const TThen Then = std::exchange(FThen, {})) Then(Answer, Errors);
    }

    TEngineProbe& FProbe;
    TThen FThen;
    QByteArray FBytes;
};

TEngineProbe::~TEngineProbe() {
    for (TRun* Run : findChildren<TRun*>(QString(), Qt::FindDirectChildrenOnly)) {
        Run->disconnect();
        Run->kill();
        Run->waitForFinished(ProbeGrace);
    }
}

void TEngineProbe::Ask(const TWhom& Whom, const TEngineTask& Task, TThen Then) {
    GiveUp();
    FRun = new TRun(*this, std::move(Then));
    FRun->Ask(Whom, Task);
}

void TEngineProbe::GiveUp() {
    if (TRun* const Run = std::exchange(FRun, nullptr)) Run->GiveUp();
}

} // namespace zutools
