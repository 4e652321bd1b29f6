#include "apps/zuforms/EventLog.h"

#include "apps/zuforms/Panel.h"

#include <QMetaMethod>

namespace zutools::zuforms {

namespace {

constexpr int MostLines = 1000;

} // namespace

TEventLog::TEventLog(QWidget* Owner)
    : QPlainTextEdit(Owner) {
    setReadOnly(true);
    setMaximumBlockCount(MostLines);
    setAccessibleName(Translated("Events"));
}

void TEventLog::Listen(QObject& Control) {
    if (FControl) disconnect(FControl, nullptr, this, nullptr);
    FControl = &Control;
    connect(&Control, &QObject::destroyed, this, [this] { FControl = nullptr; });
    clear();
    const QMetaObject& Meta = *Control.metaObject();
    const QMetaMethod Noted = staticMetaObject.method(staticMetaObject.indexOfSlot("Note()"));
    const int First = Control.isWidgetType() ? QWidget::staticMetaObject.methodCount()
                                             : QObject::staticMetaObject.methodCount();
    for (int I = First; I < Meta.methodCount(); ++I)
        if (Meta.method(I).methodType() == QMetaMethod::Signal)
            connect(&Control, Meta.method(I), this, Noted);
}

void TEventLog::Note() {
    const QMetaObject& Meta = *sender()->metaObject();
    const int Signal = senderSignalIndex();
    appendPlainText(QString::fromLatin1(Meta.method(Signal).methodSignature()));
}

} // namespace zutools::zuforms
