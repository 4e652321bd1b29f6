#include "controls/Zufpsel.h"

#include "controls/ChangedField.h"
#include "controls/DesktopFiles.h"
#include "controls/TracerPanel.h"

#include <QCheckBox>
#include <QComboBox>
#include <QContextMenuEvent>
#include <QFileInfo>
#include <QHBoxLayout>
#include <QKeyEvent>
#include <QLabel>
#include <QMenu>
#include <QPushButton>
#include <QSignalBlocker>
#include <QSpinBox>
#include <QVBoxLayout>

#include <algorithm>
#include <limits>
#include <memory>

namespace zutools {

void TZUEdit::InsertMacro(const QString& Name) {
    insert(u'%' + Name + u'%');
}

void TZUEdit::contextMenuEvent(QContextMenuEvent* Event) {
    const std::unique_ptr<QMenu> Menu(createStandardContextMenu());
    Menu->addSeparator();
    QMenu* Macros = Menu->addMenu(QStringLiteral("Параметры"));
    for (const QString& Name : MacroNames())
        Macros->addAction(Name, this, [this, Name] { InsertMacro(Name); });
    Menu->exec(Event->globalPos());
}

TZUFilePathChoser::TZUFilePathChoser(QWidget* Owner)
    : QWidget(Owner) {
    auto* Rows = new QVBoxLayout(this);
    Rows->setContentsMargins({});
    auto* PathRow = new QHBoxLayout;
    FEdit = new TZUEdit(this);
    FEdit->setObjectName(QStringLiteral("edFPChooser"));
    FEdit->setAccessibleName(tr("Path of the file"));
    FCombo = new QComboBox(this);
    FCombo->setObjectName(QStringLiteral("cbFPChooser"));
    FCombo->setEditable(true);
    // Screen readers take a drop-down's text for its name; what it is for stands in the description.
    FCombo->setAccessibleDescription(FEdit->accessibleName());
    FCombo->lineEdit()->setAccessibleName(FEdit->accessibleName());
    FCombo->setInsertPolicy(QComboBox::NoInsert);
    FCombo->lineEdit()->installEventFilter(this);
    FCombo->hide();
    auto* Browse = new QPushButton(QStringLiteral("..."), this);
    Browse->setObjectName(QStringLiteral("btnChoose"));
    Browse->setAccessibleName(tr("Choose the file"));
    FOpen = new QPushButton(QStringLiteral("Open..."), this);
    FOpen->setObjectName(QStringLiteral("btnOpen"));
    PathRow->addWidget(FEdit, 1);
    PathRow->addWidget(FCombo, 1);
    PathRow->addWidget(Browse);
    PathRow->addWidget(FOpen);
    FPreview = new QLabel(this);
    FPreview->setObjectName(QStringLiteral("Preview"));
    FPreview->setTextFormat(Qt::PlainText);
    FPreview->setWordWrap(true);
    FPreview->hide();

    FSizeRow = new QWidget(this);
    auto* Sizes = new QHBoxLayout(FSizeRow);
    Sizes->setContentsMargins({});
    FLimit = new QCheckBox(QStringLiteral("Ограничение на размер файла"), FSizeRow);
    FSize = new QSpinBox(FSizeRow);
    FSize->setRange(0, std::numeric_limits<int>::max());
    FSize->setAccessibleName(FLimit->text());
    FUnit = new QComboBox(FSizeRow);
    FUnit->addItems(UnitCaptions());
    FUnit->setAccessibleDescription(tr("Unit of the size"));
    Sizes->addWidget(FLimit);
    Sizes->addWidget(FSize, 1);
    Sizes->addWidget(FUnit);
    FSizeRow->hide();
    FTracer = new TTracerPanel(this);
    FTracer->hide();
    Rows->addLayout(PathRow);
    for (QWidget* Row : std::initializer_list<QWidget*>{FPreview, FSizeRow, FTracer}) Rows->addWidget(Row);
    setFocusProxy(FEdit);
    UpdateMaxFileSize(0, true);

    connect(Browse, &QPushButton::clicked, this, &TZUFilePathChoser::Choose);
    connect(FOpen, &QPushButton::clicked, this, &TZUFilePathChoser::OpenData);
    connect(FEdit, &QLineEdit::textChanged, this, &TZUFilePathChoser::PathOnChange);
    connect(FCombo, &QComboBox::editTextChanged, this, &TZUFilePathChoser::PathOnChange);
    connect(FLimit, &QCheckBox::clicked, this, &TZUFilePathChoser::MaxFileSizeChanged);
    connect(FSize, &QSpinBox::valueChanged, this, [this](int Value) {
        FMaxFileSize = Value * UnitFactors[static_cast<std::size_t>(FileSizeUnit())];
        emit MaxFileSizeChanged();
    });
    connect(FUnit, &QComboBox::activated, this, [this] {
        UpdateMaxFileSize(FMaxFileSize, false);
        emit FileSizeUnitChanged();
    });
    connect(FTracer, &TTracerPanel::Edited, this, &TZUFilePathChoser::TracerChanged);
}

QString TZUFilePathChoser::GetEditText() const {
    return FDropDown ? FCombo->currentText() : FEdit->text();
}

void TZUFilePathChoser::SetFileName(const QString& Value) {
    if (FDropDown)
        FCombo->setEditText(Value);
    else
        FEdit->setText(Value);
}

void TZUFilePathChoser::SetDropDown(bool Value) {
    const QString Text = GetEditText();
    if (!SetField(*this, FDropDown, Value, &TZUFilePathChoser::LookChanged)) return;
    FEdit->setVisible(!Value);
    FCombo->setVisible(Value);
    if (Value)
        setFocusProxy(FCombo);
    else
        setFocusProxy(FEdit);
    SetFileName(Text);
}

QString TZUFilePathChoser::Preview() const {
    const TExpandedPath Expanded = ExpandMacros(GetEditText());
    return Expanded.Used.empty() ? QString() : Expanded.Path;
}

void TZUFilePathChoser::PathOnChange() {
    const QString Path = GetEditText();
    QString Told = Preview();
    if (const auto Fault = FindMacroFault(Path); Fault && CorrectPath) {
        Told = Fault->Unclosed
                   ? tr("Character %1: the macro \"%2\" has no \"%\" at its end")
                         .arg(Fault->At + 1)
                         .arg(Fault->Name)
                   : tr("Character %1: no macro is called \"%2\"").arg(Fault->At + 1).arg(Fault->Name);
    }
    Tell(Told);
    emit FileNameChanged();
}

void TZUFilePathChoser::Tell(const QString& Text) {
    FPreview->setText(Text);
    FPreview->setVisible(!Text.isEmpty());
}

bool TZUFilePathChoser::eventFilter(QObject* Watched, QEvent* Event) {
    if (Event->type() == QEvent::KeyRelease && static_cast<QKeyEvent*>(Event)->text() == u"%") OfferMacros();
    return QWidget::eventFilter(Watched, Event);
}

// The list shows the text with each macro at its end; the text itself stays, the caret at its end.
void TZUFilePathChoser::OfferMacros() {
    const QString Text = FCombo->currentText();
    {
        const QSignalBlocker Quiet(FCombo);
        FCombo->clear();
        for (const QString& Name : MacroNames()) FCombo->addItem(Text + Name + u'%');
        FCombo->setCurrentIndex(-1);
        FCombo->setEditText(Text);
    }
    FCombo->showPopup();
    FCombo->lineEdit()->setCursorPosition(static_cast<int>(Text.size()));
}

bool TZUFilePathChoser::ChooseFileHandler(QString& Path) {
    const auto Chosen = AskForFile(window(), TFileAsk::Save, {}, Path);
    if (Chosen) Path = *Chosen;
    return Chosen.has_value();
}

bool TZUFilePathChoser::Choose() {
    const TExpandedPath Expanded = ExpandMacros(GetEditText());
    QString Path = Expanded.Path;
    if (!(OnChoose ? OnChoose(Path) : ChooseFileHandler(Path))) return false;
    SetFileName(CollapseMacros(Path, Expanded));
    return true;
}

void TZUFilePathChoser::OpenData() {
    Open(ExpandMacros(GetEditText()).Path);
}

void TZUFilePathChoser::ExploreData() {
    Open(QFileInfo(ExpandMacros(GetEditText()).Path).path());
}

void TZUFilePathChoser::Open(const QString& Path) {
    OpenByDesktop(*this, Path, [this](const QString& Why) {
        Tell(Why);
        emit OpenFailed(Why);
    });
}

void TZUFilePathChoser::UpdateMaxFileSize(std::int64_t Size, bool AutoUnit) {
    FMaxFileSize = Size;
    if (AutoUnit) FUnit->setCurrentIndex(static_cast<int>(UnitFor(Size)));
    const std::int64_t Shown = SizeIn(Size, static_cast<TFileSizeUnit>(FileSizeUnit()));
    // What the field cannot show is kept all the same: only a person's own number replaces the size.
    const QSignalBlocker Quiet(FSize);
    FSize->setValue(static_cast<int>(std::clamp<std::int64_t>(Shown, 0, FSize->maximum())));
    if (AutoUnit) FLimit->setChecked(Size > 0);
}

void TZUFilePathChoser::SetMaxFileSize(qint64 Value) {
    UpdateMaxFileSize(std::max<qint64>(Value, 0), true);
    emit MaxFileSizeChanged();
}

int TZUFilePathChoser::FileSizeUnit() const {
    return FUnit->currentIndex();
}

void TZUFilePathChoser::SetFileSizeUnit(int Value) {
    if (Value < 0 || Value >= FUnit->count() || Value == FileSizeUnit()) return;
    FUnit->setCurrentIndex(Value);
    UpdateMaxFileSize(FMaxFileSize, false);
    emit FileSizeUnitChanged();
}

bool TZUFilePathChoser::SizeLimitEnabled() const {
    return FLimit->isChecked();
}

void TZUFilePathChoser::SetSizeLimitEnabled(bool Value) {
    if (Value == FLimit->isChecked()) return;
    FLimit->setChecked(Value);
    emit MaxFileSizeChanged();
}

void TZUFilePathChoser::SetShowSizeLimit(bool Value) {
    if (SetField(*this, FShowSizeLimit, Value, &TZUFilePathChoser::LookChanged)) FSizeRow->setVisible(Value);
}

void TZUFilePathChoser::SetShowSizeUnit(bool Value) {
    if (SetField(*this, FShowSizeUnit, Value, &TZUFilePathChoser::LookChanged)) FUnit->setVisible(Value);
}

void TZUFilePathChoser::SetShowTracerParams(bool Value) {
    if (SetField(*this, FShowTracerParams, Value, &TZUFilePathChoser::LookChanged))
        FTracer->setVisible(Value);
}

TLogerSettings TZUFilePathChoser::Tracer() const {
    return FTracer->Shown();
}

void TZUFilePathChoser::ShowTracer(const TLogerSettings& Settings) {
    FTracer->Show(Settings);
    emit TracerChanged();
}

template <class T>
void TZUFilePathChoser::Change(T TLogerSettings::* Field, const T& Value) {
    TLogerSettings Settings = Tracer();
    if (Settings.*Field == Value) return;
    Settings.*Field = Value;
    ShowTracer(Settings);
}

template void TZUFilePathChoser::Change(bool TLogerSettings::*, const bool&);
template void TZUFilePathChoser::Change(int TLogerSettings::*, const int&);
template void TZUFilePathChoser::Change(QString TLogerSettings::*, const QString&);

void TZUFilePathChoser::EditTracer(const TKXLoger& Loger, bool Full) {
    TLogerSettings Settings = Loger.Settings();
    if (!Full) {
        const TLogerSettings Before = Tracer();
        Settings.LogType = Before.LogType;
        Settings.TraceID = Before.TraceID;
        Settings.GenerateTraceID = Before.GenerateTraceID;
    }
    SetShowTracerParams(true);
    SetShowSizeLimit(true);
    SetShowSizeUnit(false);
    SetFileName(Settings.FileName);
    SetMaxFileSize(Settings.MaxFileSize);
    ShowTracer(Settings);
}

void TZUFilePathChoser::CommitTracer(TKXLoger& Loger, bool Full) const {
    const TLogerSettings Settings = Tracer();
    Loger.SetFileName(FileName());
    Loger.SetEnabled(Settings.Enabled);
    Loger.SetHeader(Settings.Header);
    Loger.SetTimeFormat(Settings.TimeFormat);
    Loger.SetAttemptsCount(Settings.AttemptsCount);
    Loger.SetWaitTimeout(Settings.WaitTimeout);
    Loger.SetMaxFileSize(MaxFileSize());
    Loger.SetErrorHandlerType(Settings.ErrorHandlerType);
    Loger.SetWriteImmediately(Settings.WriteImmediately);
    Loger.SetDisableOnError(Settings.DisableOnError);
    Loger.SetNotUseLogerThread(Settings.NotUseLogerThread);
    if (!Full) return;
    Loger.SetLogType(Settings.LogType);
    Loger.SetTraceID(Settings.TraceID);
    Loger.SetGenerateTraceID(Settings.GenerateTraceID);
}

} // namespace zutools
