#include "controls/TracerPanel.h"

#include <QCheckBox>
#include <QFormLayout>
#include <QLineEdit>
#include <QSpinBox>

#include <limits>

namespace zutools {

namespace {

// The host's error handler as two boxes: its lowest bit shows the error, the next writes the text as UTF-8.
// Its other bits are the host's own and stay as they are.
constexpr int ShowErrorsBit = 1;
constexpr int Utf8Bit = 2;

} // namespace

TTracerPanel::TTracerPanel(QWidget* Owner)
    : QGroupBox(Owner) {
    auto* Layout = new QFormLayout(this);
    const TLogerSettings First;
    FEnabled = AddCheck(*Layout, QStringLiteral("Трассировка включена"));
    FLogType = AddText(*Layout, QStringLiteral("Тип журнала/лога:"));
    FTraceID = AddText(*Layout, QStringLiteral("ID трассировки:"));
    FGenerateTraceID = AddCheck(*Layout, QStringLiteral("Генерировать ID трассировки"));
    FHeader = AddText(*Layout, QStringLiteral("Заголовок:"));
    FTimeFormat = AddText(*Layout, QStringLiteral("Формат времени:"));
    FTimeFormat->setText(First.TimeFormat);
    FAttempts = AddNumber(*Layout, QStringLiteral("Количество попыток:"), First.AttemptsCount);
    FWaitTimeout = AddNumber(*Layout, QStringLiteral("Таймаут ожидания:"), First.WaitTimeout);
    FShowErrors = AddCheck(*Layout, QStringLiteral("Выводить сообщение об ошибке"));
    FWriteImmediately = AddCheck(*Layout, QStringLiteral("Писать немедленно"));
    FUtf8 = AddCheck(*Layout, QStringLiteral("Текст в формате UTF8"));
    FDisableOnError = AddCheck(*Layout, QStringLiteral("Выключать при ошибке"));
    FNotUseLogerThread = AddCheck(*Layout, QStringLiteral("Не использовать поток логера"));
}

QCheckBox* TTracerPanel::AddCheck(QFormLayout& Layout, const QString& Caption) {
    auto* Box = new QCheckBox(Caption, this);
    Layout.addRow(Box);
    connect(Box, &QCheckBox::clicked, this, &TTracerPanel::Edited);
    return Box;
}

QLineEdit* TTracerPanel::AddText(QFormLayout& Layout, const QString& Caption) {
    auto* Edit = new QLineEdit(this);
    Layout.addRow(Caption, Edit);
    connect(Edit, &QLineEdit::textEdited, this, &TTracerPanel::Edited);
    return Edit;
}

QSpinBox* TTracerPanel::AddNumber(QFormLayout& Layout, const QString& Caption, int Value) {
    auto* Number = new QSpinBox(this);
    Number->setRange(0, std::numeric_limits<int>::max());
    Number->setValue(Value);
    Layout.addRow(Caption, Number);
    connect(Number, &QSpinBox::textChanged, this, &TTracerPanel::Edited);
    return Number;
}

TLogerSettings TTracerPanel::Shown() const {
    TLogerSettings Result;
    Result.Enabled = FEnabled->isChecked();
    Result.LogType = FLogType->text();
    Result.TraceID = FTraceID->text();
    Result.GenerateTraceID = FGenerateTraceID->isChecked();
    Result.Header = FHeader->text();
    Result.TimeFormat = FTimeFormat->text();
    Result.AttemptsCount = FAttempts->value();
    Result.WaitTimeout = FWaitTimeout->value();
    Result.ErrorHandlerType =
        FOtherBits | (FShowErrors->isChecked() ? ShowErrorsBit : 0) | (FUtf8->isChecked() ? Utf8Bit : 0);
    Result.WriteImmediately = FWriteImmediately->isChecked();
    Result.DisableOnError = FDisableOnError->isChecked();
    Result.NotUseLogerThread = FNotUseLogerThread->isChecked();
    return Result;
}

void TTracerPanel::Show(const TLogerSettings& Settings) {
    FEnabled->setChecked(Settings.Enabled);
    FLogType->setText(Settings.LogType);
    FTraceID->setText(Settings.TraceID);
    FGenerateTraceID->setChecked(Settings.GenerateTraceID);
    FHeader->setText(Settings.Header);
    FTimeFormat->setText(Settings.TimeFormat);
    FAttempts->setValue(Settings.AttemptsCount);
    FWaitTimeout->setValue(Settings.WaitTimeout);
    FOtherBits = Settings.ErrorHandlerType & ~(ShowErrorsBit | Utf8Bit);
    FShowErrors->setChecked((Settings.ErrorHandlerType & ShowErrorsBit) != 0);
    FUtf8->setChecked((Settings.ErrorHandlerType & Utf8Bit) != 0);
    FWriteImmediately->setChecked(Settings.WriteImmediately);
    FDisableOnError->setChecked(Settings.DisableOnError);
    FNotUseLogerThread->setChecked(Settings.NotUseLogerThread);
}

} // namespace zutools
