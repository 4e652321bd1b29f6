// The signals of a control, line by line as they come.

#pragma once

#include <QPlainTextEdit>

namespace zutools::zuforms {

class TEventLog : public QPlainTextEdit {
    Q_OBJECT

public:
    explicit TEventLog(QWidget* Owner = nullptr);
    /// From now on the signals that the control's own classes declare are written down, and no other's.
    void Listen(QObject& Control);

private slots:
    void Note();

private:
    QObject* FControl = nullptr;
};

} // namespace zutools::zuforms
