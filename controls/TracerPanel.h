// The panel on which the settings of a logger are edited.

#pragma once

#include "controls/Kxloger.h"

#include <QGroupBox>

class QCheckBox;
class QFormLayout;
class QLineEdit;
class QSpinBox;

namespace zutools {

class TTracerPanel : public QGroupBox {
    Q_OBJECT

public:
    explicit TTracerPanel(QWidget* Owner = nullptr);

    /// What is shown here: all but the file's name and size, which the path chooser has itself.
    [[nodiscard]] TLogerSettings Shown() const;
    void Show(const TLogerSettings& Settings);

signals:
    /// A person changed something.
    void Edited();

private:
    [[nodiscard]] QCheckBox* AddCheck(QFormLayout& Layout, const QString& Caption);
    [[nodiscard]] QLineEdit* AddText(QFormLayout& Layout, const QString& Caption);
    [[nodiscard]] QSpinBox* AddNumber(QFormLayout& Layout, const QString& Caption, int Value);

    QCheckBox* FEnabled;
    QLineEdit* FLogType;
    QLineEdit* FTraceID;
    QCheckBox* FGenerateTraceID;
    QLineEdit* FHeader;
    QLineEdit* FTimeFormat;
    QSpinBox* FAttempts;
    QSpinBox* FWaitTimeout;
    QCheckBox* FShowErrors;
    QCheckBox* FWriteImmediately;
    QCheckBox* FUtf8;
    QCheckBox* FDisableOnError;
    QCheckBox* FNotUseLogerThread;
    int FOtherBits = 0; // of the error handler
};

} // namespace zutools
