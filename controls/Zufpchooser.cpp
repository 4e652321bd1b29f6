#include "controls/Zufpchooser.h"

#include "controls/ChangedField.h"
#include "controls/DesktopFiles.h"
#include "controls/FormComponent.h"
#include "controls/PackageIcons.h"
#include "controls/PathWorker.h"

#include <QAbstractItemView>
#include <QCompleter>
#include <QDragEnterEvent>
#include <QDropEvent>
#include <QFileInfo>
#include <QLabel>
#include <QLayout>
#include <QLineEdit>
#include <QMimeData>
#include <QStringListModel>
#include <QStyle>
#include <QToolButton>

#include <algorithm>
#include <utility>

namespace zutools {

namespace {

constexpr int ChooseGlyphSide = 14;
constexpr int MostSuggestions = 50;
constexpr int CharactersShown = 30;
constexpr int MostMargin = 1 << 20; // of a margin, whatever was set

int BoundedMargin(int Pixels) {
    return std::clamp(Pixels, -MostMargin, MostMargin);
}

template <TFileAsk What>
bool ChooseByDesktop(QWidget* Window, const QString& Title, QString& Path) {
    const auto Chosen = AskForFile(Window, What, Title, Path);
    if (Chosen) Path = *Chosen;
    return Chosen.has_value();
}

// The one local file that is dragged; empty for anything else.
QString DraggedFile(const QMimeData* Data) {
    const QList<QUrl> Urls = Data->urls();
    return Urls.size() == 1 ? Urls.first().toLocalFile() : QString();
}

} // namespace

TZUFPChooserEdit::TZUFPChooserEdit(QWidget* Owner)
    : QComboBox(Owner) {
    setEditable(true);
    setInsertPolicy(QComboBox::NoInsert);
    setAcceptDrops(true);
    setCompleter(nullptr);
    connect(lineEdit(), &QLineEdit::textEdited, this, &TZUFPChooserEdit::Complete);
}

void TZUFPChooserEdit::SetCompletion(TCompletion Value) {
    FCompletion = Value;
    if (Value == cmNone) return setCompleter(nullptr);
    auto* Completer = new QCompleter(new QStringListModel(this), this);
    Completer->setCompletionMode(QCompleter::UnfilteredPopupCompletion);
    setCompleter(Completer);
}

// Only what grows is completed: who deletes wants the text shorter. One question at a time is asked; what was
// typed meanwhile is asked for after its answer.
void TZUFPChooserEdit::Complete(const QString& Typed) {
    const bool Grew = Typed.size() > std::exchange(FBefore, Typed).size();
    FWanted = Grew && FCompletion != cmNone ? Typed : QString();
    if (!FWanted.isEmpty() && !FAsking) Ask();
}

void TZUFPChooserEdit::Ask() {
    const TPathKind Kind = FCompletion == cmFiles ? TPathKind::Files : TPathKind::Folders;
    FAsking = AskFileSystem(*this, [this, Typed = FWanted, Kind]() -> std::function<void()> {
        return [this, Typed, Paths = PathsBeginningWith(Typed, Kind, MostSuggestions)] {
            FAsking = false;
            if (FWanted == Typed)
                Suggest(Typed, Paths);
            else if (!FWanted.isEmpty())
                Ask();
        };
    });
}

void TZUFPChooserEdit::Suggest(const QString& Typed, const QStringList& Paths) {
    if (FCompletion == cmNone || Paths.isEmpty()) return;
    static_cast<QStringListModel*>(completer()->model())->setStringList(Paths);
    if (hasFocus()) completer()->complete();
    if (lineEdit()->cursorPosition() != Typed.size()) return;
    const auto End = static_cast<int>(Paths.first().size());
    lineEdit()->setText(Paths.first());
    lineEdit()->setSelection(End, static_cast<int>(Typed.size()) - End);
    FBefore = Typed;
}

void TZUFPChooserEdit::CheckItems() {
    QStringList Paths;
    for (int I = 0; I < count(); ++I) Paths += itemText(I);
    AskFileSystem(*this, [this, Paths]() -> std::function<void()> {
        QStringList Missing;
        for (const QString& Path : Paths)
            if (!QFileInfo::exists(Path)) Missing += Path;
        return [this, Paths, Missing] {
            for (int I = 0; I < count(); ++I) {
                if (!Paths.contains(itemText(I))) continue; // came after the question
                const bool Gone = Missing.contains(itemText(I));
                QFont Look = font();
                Look.setItalic(Gone);
                setItemData(I, Look, Qt::FontRole);
                setItemData(I, Gone ? palette().brush(QPalette::PlaceholderText) : QVariant(),
                            Qt::ForegroundRole);
                const QString Told = Gone ? tr("%1 is not there now").arg(itemText(I)) : QString();
                setItemData(I, Told, Qt::ToolTipRole);
                setItemData(I, Told, Qt::AccessibleDescriptionRole);
            }
            emit ItemsChecked();
        };
    });
}

void TZUFPChooserEdit::showPopup() {
    CheckItems();
    QComboBox::showPopup();
}

void TZUFPChooserEdit::dragEnterEvent(QDragEnterEvent* Event) {
    if (!DraggedFile(Event->mimeData()).isEmpty()) Event->acceptProposedAction();
}

void TZUFPChooserEdit::dropEvent(QDropEvent* Event) {
    setEditText(DraggedFile(Event->mimeData()));
    Event->acceptProposedAction();
}

TZUFPChooser::TZUFPChooser(QWidget* Owner)
    : QWidget(Owner)
    , OnChooseFile(ChooseByDesktop<TFileAsk::Open>)
    , KX_SelectDirectory(ChooseByDesktop<TFileAsk::Folder>) {
    CreateControls();
    WatchParent();
    connect(this, &QObject::objectNameChanged, this, &TZUFPChooser::Renamed);
}

void TZUFPChooser::CreateControls() {
    EditLabel = new QLabel(this);
    ValueEdit = new TZUFPChooserEdit(this);
    ValueEdit->setObjectName(QStringLiteral("ValueEdit"));
    ValueEdit->setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
    ChooseButton = new QToolButton(this);
    ChooseButton->setObjectName(QStringLiteral("ChooseButton"));
    ChooseButton->setAutoRaise(true);
    ChooseButton->setFocusPolicy(Qt::TabFocus);
    ChooseButton->setAccessibleName(tr("Choose"));
    EditLabel->setBuddy(ValueEdit);
    setFocusProxy(ValueEdit);
    // Queued: a screen reader that presses a tool button waits until its slots are through.
    connect(ChooseButton, &QToolButton::clicked, this, &TZUFPChooser::Choose, Qt::QueuedConnection);
    connect(ValueEdit, &QComboBox::editTextChanged, this, &TZUFPChooser::onChange);
    setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
    SetControlsParams();
    CorrectControlsPositions();
    resize(width(), ChooserHeight(Parts()));
}

TChooserParts TZUFPChooser::Parts() const {
    const int EditHeight = ValueEdit->sizeHint().height();
    return {static_cast<zutools::TLabelPosition>(FLabelPosition),
            BoundedMargin(FLabelSpacing),
            BoundedMargin(FHorzIndent),
            BoundedMargin(FVertIndent),
            size(),
            EditLabel->sizeHint(),
            EditHeight,
            EditHeight, // the button is square
            !ChooseButton->isHidden()};
}

void TZUFPChooser::CorrectControlsPositions() {
    if (!ControlsCreated()) return;
    InternalSizeCorrection = true;
    const TChooserLayout Layout = LayOutChooser(Parts());
    const auto Put = [this](QWidget& Part, const QRect& Rect) {
        Part.setGeometry(QStyle::visualRect(layoutDirection(), rect(), Rect));
    };
    Put(*EditLabel, Layout.Label);
    Put(*ValueEdit, Layout.Edit);
    Put(*ChooseButton, Layout.Button);
    InternalSizeCorrection = false;
}

void TZUFPChooser::SetControlsParams() {
    const bool WasHidden = ChooseButton->isHidden();
    const bool Known = FObjectType == otFile || FObjectType == otDirectory;
    if (!Known || TFormComponent::Designing())
        ValueEdit->SetCompletion(TZUFPChooserEdit::cmNone);
    else
        ValueEdit->SetCompletion(FObjectType == otFile ? TZUFPChooserEdit::cmFiles
                                                       : TZUFPChooserEdit::cmFolders);
    if (!TFormComponent::Designing()) ChooseButton->setIcon(PackageIcon(u"FILEOPEN"));
    ChooseButton->setIconSize(QSize(ChooseGlyphSide, ChooseGlyphSide));
    ChooseButton->setToolTip(FObjectType == otDirectory ? tr("Choose a folder") : tr("Choose a file"));
    ChooseButton->setVisible(Known);
    if (WasHidden != ChooseButton->isHidden()) CorrectControlsPositions();
}

void TZUFPChooser::Renamed(const QString& Name) {
    const QString Before = std::exchange(FName, Name);
    if (!TFormComponent::Designing()) return;
    const auto WasName = [&Before](const QString& Text) {
        return Text.compare(Before, Qt::CaseInsensitive) == 0;
    };
    if (InfoText().isEmpty() || WasName(InfoText())) SetInfoText(Name);
    if (!Text().isEmpty() && WasName(Text())) SetText(Name);
}

void TZUFPChooser::SetAnchors(TAnchors Value) {
    SetField(*this, FAnchors, Value, &TZUFPChooser::AnchorsChanged);
}

void TZUFPChooser::WatchParent() {
    if (FParent == parentWidget()) return;
    if (FParent) FParent->removeEventFilter(this);
    FParent = parentWidget();
    if (FParent) FParent->installEventFilter(this);
}

bool TZUFPChooser::event(QEvent* Event) {
    if (Event->type() == QEvent::ParentChange) WatchParent();
    return QWidget::event(Event);
}

bool TZUFPChooser::eventFilter(QObject* Watched, QEvent* Event) {
    if (Watched == FParent && Event->type() == QEvent::Resize && !FParent->layout()) {
        const auto& Resize = *static_cast<QResizeEvent*>(Event);
        const auto Has = [this](TAnchorKind Side) { return FAnchors.testFlag(Side); };
        if (Resize.oldSize().isValid())
            setGeometry(Anchored(geometry(), {Has(akLeft), Has(akTop), Has(akRight), Has(akBottom)},
                                 Resize.oldSize(), Resize.size()));
    }
    return QWidget::eventFilter(Watched, Event);
}

bool TZUFPChooser::Choose() {
    QString Path = Text();
    const TChooser& Chooser = FObjectType == otDirectory ? KX_SelectDirectory : OnChooseFile;
    if (!Chooser(window(), FOpenDialogCaption, Path)) return false;
    SetText(Path);
    return true;
}

void TZUFPChooser::SetObjectType(TZUFPChooserObjectType Value) {
    if (SetField(*this, FObjectType, Value, &TZUFPChooser::ObjectTypeChanged)) SetControlsParams();
}

void TZUFPChooser::SetLabelPosition(TLabelPosition Value) {
    // Kept on purpose: nothing moves now. Forms that set position, spacing and size in turn are laid out
    // once.
    SetField(*this, FLabelPosition, Value, &TZUFPChooser::LabelPositionChanged);
}

void TZUFPChooser::SetLabelSpacing(int Value) {
    SetField(*this, FLabelSpacing, Value, &TZUFPChooser::LabelSpacingChanged);
}

void TZUFPChooser::SetHorzIndent(int Value) {
    SetField(*this, FHorzIndent, Value, &TZUFPChooser::HorzIndentChanged);
    CorrectControlsPositions();
}

void TZUFPChooser::SetVertIndent(int Value) {
    SetField(*this, FVertIndent, Value, &TZUFPChooser::VertIndentChanged);
    CorrectControlsPositions();
}

void TZUFPChooser::SetAlignment(Qt::Alignment Value) {
    if (Value == EditLabel->alignment()) return;
    EditLabel->setAlignment(Value);
    emit AlignmentChanged();
}

Qt::Alignment TZUFPChooser::Alignment() const {
    return EditLabel->alignment();
}

void TZUFPChooser::SetInfoText(const QString& Value) {
    if (Value == InfoText()) return;
    EditLabel->setText(Value);
    EditLabel->adjustSize();
    ValueEdit->lineEdit()->setAccessibleName(QString(Value).remove(u'&'));
    updateGeometry();
    emit InfoTextChanged();
}

QString TZUFPChooser::InfoText() const {
    return EditLabel->text();
}

void TZUFPChooser::SetHistoryList(const QStringList& List) {
    const QString Before = Text();
    ValueEdit->clear();
    ValueEdit->addItems(List);
    ValueEdit->CheckItems();
    SetText(List.isEmpty() ? Before : List.first());
    emit HistoryListChanged();
}

QStringList TZUFPChooser::HistoryList() const {
    QStringList Result;
    for (int I = 0; I < ValueEdit->count(); ++I) Result += ValueEdit->itemText(I);
    return Result;
}

void TZUFPChooser::SetText(const QString& Value) {
    ValueEdit->setEditText(Value);
}

QString TZUFPChooser::Text() const {
    return ValueEdit->currentText();
}

void TZUFPChooser::SetOpenDialogCaption(const QString& Value) {
    SetField(*this, FOpenDialogCaption, Value, &TZUFPChooser::OpenDialogCaptionChanged);
}

QSize TZUFPChooser::sizeHint() const {
    return {fontMetrics().averageCharWidth() * CharactersShown,
            ChooserHeight(Parts()) + BoundedMargin(FVertIndent)};
}

QSize TZUFPChooser::minimumSizeHint() const {
    return {3 * ValueEdit->sizeHint().height() + 2 * BoundedMargin(FHorzIndent), sizeHint().height()};
}

void TZUFPChooser::resizeEvent(QResizeEvent* Event) {
    QWidget::resizeEvent(Event);
    if (!InternalSizeCorrection) CorrectControlsPositions();
}

void TZUFPChooser::changeEvent(QEvent* Event) {
    QWidget::changeEvent(Event);
    const bool Resizes = Event->type() == QEvent::FontChange || Event->type() == QEvent::StyleChange ||
                         Event->type() == QEvent::LayoutDirectionChange;
    if (Resizes && ControlsCreated()) {
        updateGeometry();
        CorrectControlsPositions();
    }
}

} // namespace zutools
