#include "controls/Crprmsed.h"

#include "controls/ChangedField.h"
#include "controls/CryptoGrid.h"
#include "controls/EngineProbe.h"
#include "controls/FormComponent.h"
#include "controls/PathWorker.h"
#include "controls/SecretClipboard.h"
#include "crypto/EngineTasks.h"
#include "host/Exception.h"

#include <QAction>
#include <QApplication>
#include <QClipboard>
#include <QComboBox>
#include <QDialog>
#include <QDialogButtonBox>
#include <QFile>
#include <QFileDialog>
#include <QGridLayout>
#include <QHeaderView>
#include <QKeyEvent>
#include <QLabel>
#include <QMessageBox>
#include <QPushButton>
#include <QTableView>
#include <QTreeWidget>
#include <QVBoxLayout>

#include <algorithm>

namespace zutools {

namespace {

TCryptoParams ParamsOf(const QStringList& Lines) {
    TCryptoParams Result;
    for (const QString& Line : Lines) Result.push_back(SplitParam(Line.toStdU16String()));
    return Result;
}

bool SameType(const QString& Left, const QString& Right) {
    return Left.compare(Right, Qt::CaseInsensitive) == 0;
}

} // namespace

TCryptoParamsEditor::TCryptoParamsEditor(QWidget* Owner)
    : QWidget(Owner)
    , FGrid(new TCryptoGridModel(FParams, this))
    , FProbe(new TEngineProbe(this))
    , FClipboard(new TSecretClipboard(this))
    , FTypes(new QComboBox(this))
    , FTable(new QTableView(this))
    , FImport(new QPushButton(QStringLiteral("Import from file"), this))
    , FCheck(new QPushButton(QStringLiteral("Check"), this))
    , FShow(new QPushButton(tr("Show the secret"), this))
    , FStatus(new QLabel(this)) {
    auto* Label = new QLabel(QStringLiteral("CryptoEngine type:"), this);
    Label->setBuddy(FTypes);
    FTypes->setObjectName(QStringLiteral("cbEngineType"));
    FTypes->setAccessibleName(Label->text());
    FTable->setObjectName(QStringLiteral("sgCryptoParams"));
    FTable->setAccessibleName(tr("Parameters of the engine"));
    FTable->setModel(FGrid);
    FTable->setItemDelegateForColumn(TCryptoGridModel::Value, new TCryptoGridDelegate(FTable));
    FTable->verticalHeader()->hide();
    FTable->horizontalHeader()->setStretchLastSection(true);
    FTable->horizontalHeader()->resizeSection(TCryptoGridModel::Name, fontMetrics().averageCharWidth() * 24);
    FTable->setSelectionMode(QAbstractItemView::SingleSelection);
    FTable->setTabKeyNavigation(false);
    FTable->setEditTriggers(QAbstractItemView::DoubleClicked | QAbstractItemView::SelectedClicked |
                            QAbstractItemView::EditKeyPressed | QAbstractItemView::AnyKeyPressed);
    FImport->setObjectName(QStringLiteral("btnImportFromFile"));
    FImport->setShortcut(Qt::ALT | Qt::Key_I); // the captions have no mnemonics
    FCheck->setObjectName(QStringLiteral("btnCheck"));
    FCheck->setShortcut(Qt::ALT | Qt::Key_C);
    FShow->setObjectName(QStringLiteral("btnShowSecret"));
    FShow->setShortcut(Qt::ALT | Qt::Key_S);
    FShow->setCheckable(true);
    for (QPushButton* Button : {FImport, FCheck, FShow})
        Button->setToolTip(Button->shortcut().toString(QKeySequence::NativeText));
    FStatus->setObjectName(QStringLiteral("lbStatus"));
    FStatus->setTextFormat(Qt::PlainText);
    FStatus->setWordWrap(true);
    FHideAgain.setSingleShot(true);
    FHideAgain.setInterval(TSecretClipboard::Lifetime);

    auto* Rows = new QGridLayout(this);
    Rows->addWidget(Label, 0, 0);
    Rows->addWidget(FTypes, 0, 1, 1, 3);
    Rows->addWidget(FTable, 1, 0, 1, 4);
    Rows->addWidget(FImport, 2, 0);
    Rows->addWidget(FCheck, 2, 1);
    Rows->addWidget(FShow, 2, 2);
    Rows->addWidget(FStatus, 3, 0, 1, 4);
    Rows->setColumnStretch(3, 1);
    setFocusProxy(FTypes);
    resize(450, 300);
    MakeActions();
    RowChanged();

    connect(FTypes, &QComboBox::activated, this, [this] {
        FillParams(true);
        emit CryptoEngineTypeChanged();
    });
    connect(FGrid, &TCryptoGridModel::Edited, this, &TCryptoParamsEditor::CryptoParamsChanged);
    connect(FTable->selectionModel(), &QItemSelectionModel::currentChanged, this,
            &TCryptoParamsEditor::RowChanged);
    connect(FImport, &QPushButton::clicked, this, &TCryptoParamsEditor::ImportFromFileClickHandler);
    connect(FCheck, &QPushButton::clicked, this, &TCryptoParamsEditor::CheckClickHandler);
    connect(FShow, &QPushButton::toggled, this, &TCryptoParamsEditor::RevealSecret);
    connect(&FHideAgain, &QTimer::timeout, FShow, [this] { FShow->setChecked(false); });
}

TCryptoParamsEditor::~TCryptoParamsEditor() = default;

void TCryptoParamsEditor::MakeActions() {
    const auto Add = [this](const QString& Caption, QKeySequence::StandardKey Keys, auto Do) {
        auto* Action = new QAction(Caption, FTable);
        Action->setShortcut(Keys);
        Action->setShortcutContext(Qt::WidgetShortcut); // shown in the menu; eventFilter takes the key too
        connect(Action, &QAction::triggered, this, Do);
        FTable->addAction(Action);
    };
    Add(tr("&Undo"), QKeySequence::Undo, &TCryptoParamsEditor::Undo);
    Add(tr("&Redo"), QKeySequence::Redo, &TCryptoParamsEditor::Redo);
    Add(tr("&Copy the value"), QKeySequence::Copy, &TCryptoParamsEditor::CopyValue);
    FTable->setContextMenuPolicy(Qt::ActionsContextMenu);
    FTable->installEventFilter(this);
}

QString TCryptoParamsEditor::LibName() const {
    return QString::fromStdU16String(TCryptoEngine::LibName());
}

void TCryptoParamsEditor::SetLibName(const QString& Value) {
    if (Value == LibName()) return;
    TCryptoEngine::SetLibName(Value.toStdU16String());
    emit LibNameChanged();
}

void TCryptoParamsEditor::SetShowErrorMessage(bool Value) {
    SetField(*this, FShowErrorMessage, Value, &TCryptoParamsEditor::LookChanged);
}

bool TCryptoParamsEditor::ShowCheckButton() const {
    return !FCheck->isHidden();
}

void TCryptoParamsEditor::SetShowCheckButton(bool Value) {
    if (Value == ShowCheckButton()) return;
    FCheck->setVisible(Value);
    emit LookChanged();
}

bool TCryptoParamsEditor::ShowImportButton() const {
    return !FImport->isHidden();
}

void TCryptoParamsEditor::SetShowImportButton(bool Value) {
    if (Value == ShowImportButton()) return;
    FImport->setVisible(Value);
    emit LookChanged();
}

void TCryptoParamsEditor::SetInitCryptoControlsOnCreate(bool Value) {
    if (SetField(*this, FInitOnCreate, Value, &TCryptoParamsEditor::LookChanged) && Value)
        FillCryptoControls();
}

void TCryptoParamsEditor::SetProbeInOwnProcess(bool Value) {
    SetField(*this, FProbeInOwnProcess, Value, &TCryptoParamsEditor::ProbeChanged);
}

void TCryptoParamsEditor::SetProbeProgram(const QString& Value) {
    SetField(*this, FProbeProgram, Value, &TCryptoParamsEditor::ProbeChanged);
}

void TCryptoParamsEditor::SetProbeTimeout(int Value) {
    SetField(*this, FProbeTimeout, std::clamp(Value, 1, 600'000), &TCryptoParamsEditor::ProbeChanged);
}

QStringList TCryptoParamsEditor::CryptoParams() const {
    if (FParams.Rows().empty()) return FStoredParams;
    QStringList Result;
    for (const std::u16string& Line : FParams.Lines()) Result += QString::fromStdU16String(Line);
    return Result;
}

QStringList TCryptoParamsEditor::GetCryptoParams() {
    // Kept on purpose: an empty grid empties the list. Stored properties read CryptoParams, which keeps it.
    FStoredParams = FParams.Rows().empty() ? QStringList() : CryptoParams();
    return FStoredParams;
}

void TCryptoParamsEditor::SetCryptoParams(const QStringList& Value) {
    FStoredParams = Value;
    FillCryptoParams();
    emit CryptoParamsChanged();
}

QString TCryptoParamsEditor::GetCryptoEngineType() {
    if (!FTypes->currentText().isEmpty()) FStoredType = FTypes->currentText();
    return FStoredType;
}

void TCryptoParamsEditor::SetCryptoEngineType(const QString& Value) {
    FStoredType = Value;
    const int Found = FTypes->findText(Value, Qt::MatchFixedString);
    if (Found >= 0 && Found != FTypes->currentIndex()) {
        FTypes->setCurrentIndex(Found);
        FillCryptoParams();
    }
    emit CryptoEngineTypeChanged();
}

void TCryptoParamsEditor::Ask(const TEngineTask& Task,
                              std::function<void(const TEngineAnswer& Answer)> Then) {
    if (TFormComponent::Designing()) return; // no library runs in Designer
    FStatus->clear();
    if (!FProbeInOwnProcess) {
        FProbe->GiveUp();
        SetBusy(false);
        Then(RunEngineTask(*this, Task));
        emit Answered();
        return;
    }
    SetBusy(true);
    FProbe->Ask({FProbeProgram, LibName(), FProbeTimeout}, Task,
                [this, Then = std::move(Then)](const TEngineAnswer& Answer, const QStringList& Errors) {
                    SetBusy(false);
                    for (const QString& Error : Errors) HandleError(Error.toStdU16String());
                    Then(Answer);
                    if (FStatus->text().isEmpty() || FTable->isEnabled()) emit Answered();
                });
}

void TCryptoParamsEditor::SetBusy(bool Value) {
    for (QWidget* Each : std::initializer_list<QWidget*>{FTable, FImport, FCheck}) Each->setEnabled(!Value);
    if (Value)
        FStatus->setText(tr("Asking the engine …"));
    else
        FStatus->clear();
}

void TCryptoParamsEditor::FillCryptoControls() {
    if (FTypes->count() > 0) return;
    Ask({TEngineTask::TKind::Types, {}, {}}, [this](const TEngineAnswer& Answer) {
        if (FTypes->count() > 0) return;
        for (const std::u16string& Type : Answer.Types) FTypes->addItem(QString::fromStdU16String(Type));
        FTypes->setCurrentIndex(-1);
        SelectType(FStoredType);
        if (FTypes->currentIndex() < 0) return ShowModel();
        if (Answer.Types.empty()) { // the library has told why; it is not asked again
            FParams.Reset({FTypes->currentText().toStdU16String(), RowsFor(FTypes->currentText(), {})});
            return ShowModel();
        }
        FillCryptoParams();
    });
}

void TCryptoParamsEditor::SelectType(const QString& Type) {
    int Found = FTypes->findText(Type, Qt::MatchFixedString);
    if (Found < 0 && !Type.trimmed().isEmpty()) {
        FTypes->insertItem(0, Type);
        Found = 0;
    }
    FTypes->setCurrentIndex(Found);
}

TCryptoParams TCryptoParamsEditor::RowsFor(const QString& Type, const TEngineAnswer& Answer) const {
    const bool Same = SameType(Type, FStoredType);
    if (!Answer.Opened) return Same ? ParamsOf(FStoredParams) : TCryptoParams();
    return Same ? WithStored(Answer.Params, ParamsOf(FStoredParams)) : Answer.Params;
}

void TCryptoParamsEditor::FillParams(bool Step) {
    const QString Type = FTypes->currentText();
    if (!Step) FParams.Reset({Type.toStdU16String(), {}});
    ShowModel();
    if (Type.isEmpty()) return;
    Ask({TEngineTask::TKind::Params, Type.toStdU16String(), {}},
        [this, Type, Step](const TEngineAnswer& Answer) {
            TCryptoParamsModel::TState State{Type.toStdU16String(), RowsFor(Type, Answer)};
            if (Step)
                FParams.Change(std::move(State));
            else
                FParams.Reset(std::move(State));
            ShowModel();
            emit CryptoParamsChanged();
        });
}

void TCryptoParamsEditor::ShowModel() {
    const int Row = std::max(FTable->currentIndex().row(), 0);
    FGrid->Refresh();
    FTable->setCurrentIndex(FGrid->index(std::min(Row, FGrid->rowCount() - 1), TCryptoGridModel::Value));
    RowChanged();
}

void TCryptoParamsEditor::Undo() {
    if (!FParams.CanUndo()) return;
    FParams.Undo();
    SelectType(QString::fromStdU16String(FParams.State().Type));
    ShowModel();
    emit CryptoParamsChanged();
}

void TCryptoParamsEditor::Redo() {
    if (!FParams.CanRedo()) return;
    FParams.Redo();
    SelectType(QString::fromStdU16String(FParams.State().Type));
    ShowModel();
    emit CryptoParamsChanged();
}

void TCryptoParamsEditor::CheckClickHandler() {
    const QString Type = FTypes->currentText();
    if (Type.isEmpty()) return;
    Ask({TEngineTask::TKind::Sign, Type.toStdU16String(), FParams.Rows()},
        [this](const TEngineAnswer& Answer) { ShowSignature(Answer); });
}

void TCryptoParamsEditor::ShowSignature(const TEngineAnswer& Answer) {
    if (!Answer.Signature || Answer.Signature->Code != 0) return; // the error has been told
    const TEngineSignature& Made = *Answer.Signature;
    if (Made.LengthIsPossible())
        FStatus->setText(tr("Signature: %1 bytes in %2 ms")
                             .arg(Made.Length)
                             .arg(static_cast<double>(Made.Time.count()) / 1000));
    else
        FStatus->setText(
            tr("No signature: the engine tells a length of %1 bytes of %2").arg(Made.Length).arg(Made.Room));
    ShowBox({QMessageBox::Information, QStringLiteral("Ok"), QStringLiteral("Ok")});
}

void TCryptoParamsEditor::ImportFromFileClickHandler() {
    if (FTypes->currentText().isEmpty()) return;
    auto* Dialog = new QFileDialog(this);
    Dialog->setAttribute(Qt::WA_DeleteOnClose);
    Dialog->setFileMode(QFileDialog::ExistingFile);
    Dialog->setNameFilter(QStringLiteral("All Files (*.*.) (*)")); // the last parentheses are the pattern
    Dialog->setOption(QFileDialog::HideNameFilterDetails);
    connect(Dialog, &QFileDialog::fileSelected, this, &TCryptoParamsEditor::ImportFrom);
    Dialog->open();
}

void TCryptoParamsEditor::ImportFrom(const QString& FileName) {
    if (FTypes->currentText().isEmpty()) return;
    const bool Asked = AskFileSystem(*this, [this, FileName]() -> std::function<void()> {
        QFile File(FileName);
        const bool Opened = File.open(QIODevice::ReadOnly);
        QByteArray Bytes = Opened ? File.read(static_cast<qint64>(MaxImportSize) + 1) : QByteArray();
        if (Opened && File.error() == QFileDevice::NoError)
            return [this, Bytes = std::move(Bytes)] { TakeFile(Bytes); };
        return [this, Text = tr("The file \"%1\" cannot be read: %2").arg(FileName, File.errorString())] {
            HandleError(Text.toStdU16String());
        };
    });
    if (!Asked) HandleError(tr("Too many files do not answer").toStdU16String());
}

void TCryptoParamsEditor::TakeFile(const QByteArray& Bytes) {
    const QString Current = FTypes->currentText();
    std::vector<std::u16string> Types;
    for (int Index = 0; Index < FTypes->count(); ++Index)
        Types.push_back(FTypes->itemText(Index).toStdU16String());
    TImportFile File;
    try {
        File = ReadImportFile({Bytes.constData(), static_cast<std::size_t>(Bytes.size())}, Types);
    } catch (const Exception& Error) {
        return HandleError(Error.Message());
    }
    const QString Type = File.SectionIsType ? QString::fromStdU16String(File.Section) : Current;
    if (SameType(Type, Current)) return Preview(Current, File, FParams.Rows());
    Ask({TEngineTask::TKind::Params, Type.toStdU16String(), {}},
        [this, Type, File](const TEngineAnswer& Answer) { Preview(Type, File, RowsFor(Type, Answer)); });
}

void TCryptoParamsEditor::Preview(const QString& Type, const TImportFile& File, const TCryptoParams& Rows) {
    const TImportPlan Plan = PlanImport(File, Rows);
    auto* Dialog = new QDialog(this);
    Dialog->setObjectName(QStringLiteral("ImportPreview"));
    Dialog->setAttribute(Qt::WA_DeleteOnClose);
    Dialog->setWindowTitle(FImport->text());
    auto* Layout = new QVBoxLayout(Dialog);
    QStringList Told;
    if (!SameType(Type, FTypes->currentText())) Told += tr("The engine type becomes %1.").arg(Type);
    Told += tr("Values that change: %1. Unknown names: %2. Lines left out: %3.")
                .arg(Plan.Changes.size())
                .arg(Plan.UnknownNames.size())
                .arg(Plan.LinesLeftOut);
    auto* Summary = new QLabel(Told.join(u'\n'), Dialog);
    Summary->setTextFormat(Qt::PlainText);
    auto* List = new QTreeWidget(Dialog);
    List->setAccessibleName(tr("Values that change"));
    List->setRootIsDecorated(false);
    List->setHeaderLabels({QStringLiteral("Name"), tr("Now"), tr("Then")});
    for (const auto& [Row, Name, Before, After] : Plan.Changes)
        List->addTopLevelItem(new QTreeWidgetItem({QString::fromStdU16String(Name),
                                                   QString::fromStdU16String(MaskedValue({Name, Before})),
                                                   QString::fromStdU16String(MaskedValue({Name, After}))}));
    auto* Buttons = new QDialogButtonBox(QDialogButtonBox::Ok | QDialogButtonBox::Cancel, Dialog);
    for (QWidget* Each : std::initializer_list<QWidget*>{Summary, List, Buttons}) Layout->addWidget(Each);
    Buttons->button(QDialogButtonBox::Ok)->setDefault(true);
    connect(Buttons, &QDialogButtonBox::accepted, Dialog, &QDialog::accept);
    connect(Buttons, &QDialogButtonBox::rejected, Dialog, &QDialog::reject);
    connect(Dialog, &QDialog::accepted, this, [this, Type, After = Imported(Plan, Rows)] {
        SelectType(Type);
        FParams.Change({Type.toStdU16String(), After});
        ShowModel();
        emit CryptoParamsChanged();
    });
    Dialog->open();
}

void TCryptoParamsEditor::RowChanged() {
    const QModelIndex Current = FTable->currentIndex();
    if (Current.isValid() && Current.column() != TCryptoGridModel::Value)
        return FTable->setCurrentIndex(Current.siblingAtColumn(TCryptoGridModel::Value));
    FShow->setChecked(false);
    FShow->setEnabled(FGrid->IsSecret(Current.row()));
}

void TCryptoParamsEditor::RevealSecret(bool Value) {
    FGrid->Reveal(Value ? FTable->currentIndex().row() : -1);
    if (Value)
        FHideAgain.start();
    else
        FHideAgain.stop();
}

// The view would copy the cell itself.
bool TCryptoParamsEditor::eventFilter(QObject* Watched, QEvent* Event) {
    if (Watched != FTable || Event->type() != QEvent::KeyPress) return QWidget::eventFilter(Watched, Event);
    const auto& Key = *static_cast<QKeyEvent*>(Event);
    if (Key.matches(QKeySequence::Undo))
        Undo();
    else if (Key.matches(QKeySequence::Redo))
        Redo();
    else if (Key.matches(QKeySequence::Copy))
        CopyValue();
    else
        return QWidget::eventFilter(Watched, Event);
    return true;
}

void TCryptoParamsEditor::hideEvent(QHideEvent* Event) {
    FShow->setChecked(false);
    QWidget::hideEvent(Event);
}

void TCryptoParamsEditor::CopyValue() {
    const int Row = FTable->currentIndex().row();
    const TCryptoParam* const Param = FGrid->Param(Row);
    if (Param == nullptr) return;
    const QString Value = QString::fromStdU16String(Param->Value);
    if (FGrid->IsSecret(Row))
        FClipboard->Put(Value);
    else
        QApplication::clipboard()->setText(Value);
}

void TCryptoParamsEditor::HandleError(std::u16string_view Message) {
    TCryptoEngine::HandleError(Message);
    if (!FShowErrorMessage) return;
    ShowBox({QMessageBox::Critical, QStringLiteral("Error"),
             QString::fromUtf16(Message.data(), static_cast<qsizetype>(Message.size())) +
                 QStringLiteral(": \r\n") + objectName()});
}

// Later, so that nothing of the engine is open while a box stands there.
void TCryptoParamsEditor::ShowBox(TBox Box) {
    if (std::find(FBoxes.begin(), FBoxes.end(), Box) != FBoxes.end()) return;
    FBoxes.push_back(std::move(Box));
    QMetaObject::invokeMethod(this, &TCryptoParamsEditor::ShowNextBox, Qt::QueuedConnection);
}

void TCryptoParamsEditor::ShowNextBox() {
    if (FBox != nullptr || FBoxes.empty()) return;
    const TBox& Next = FBoxes.front();
    FBox = new QMessageBox(static_cast<QMessageBox::Icon>(Next.Icon), Next.Title, Next.Text, QMessageBox::Ok,
                           this);
    FBox->setTextFormat(Qt::PlainText);
    FBox->setAttribute(Qt::WA_DeleteOnClose);
    connect(FBox, &QDialog::finished, this, [this] {
        FBox = nullptr;
        FBoxes.pop_front();
        ShowNextBox();
    });
    FBox->open();
}

} // namespace zutools
