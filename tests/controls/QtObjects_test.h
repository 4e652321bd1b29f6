// A widget with a property of each type that Qt's own widgets have too few of.

#pragma once

#include <QWidget>

namespace zutools::tests {

class TQtThing : public QWidget {
    Q_OBJECT
    Q_PROPERTY(QObject* Friend MEMBER Friend)
    Q_PROPERTY(QStringList Lines MEMBER Lines)
    Q_PROPERTY(float Single MEMBER Single)
    Q_PROPERTY(uint Unsigned MEMBER Unsigned)
    Q_PROPERTY(qlonglong Long MEMBER Long)
    Q_PROPERTY(QChar Letter MEMBER Letter)
    Q_PROPERTY(QVariant Any MEMBER Any)
    Q_PROPERTY(QByteArray Bytes MEMBER Bytes)
    Q_PROPERTY(Qt::Alignment Sides MEMBER Sides)
    Q_PROPERTY(int Fixed READ Fixed CONSTANT)

public:
    using QWidget::QWidget;
    [[nodiscard]] int Fixed() const { return 7; }

    QObject* Friend = nullptr;
    QStringList Lines;
    float Single = 0;
    uint Unsigned = 0;
    qlonglong Long = 0;
    QChar Letter = u'a';
    QVariant Any;
    QByteArray Bytes;
    Qt::Alignment Sides;
};

} // namespace zutools::tests
