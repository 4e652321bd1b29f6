// The peer: the same members in Qt's meta-object.

#pragma once

#include <QObject>
#include <QString>

class TQtCounter : public QObject {
    Q_OBJECT
    Q_PROPERTY(int Count READ Count WRITE SetCount)
    Q_PROPERTY(QString Note READ Note)
public:
    int Count() const { return FCount; }
    void SetCount(int Value) { FCount = Value; }
    QString Note() const { return FNote; }
    Q_INVOKABLE int Add(int A, int B) const { return FCount + A + B; }

private:
    int FCount = 7;
    QString FNote = QStringLiteral("a note of thirty characters...");
};
