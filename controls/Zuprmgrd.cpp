#include "controls/Zuprmgrd.h"

#include "controls/HotKeys.h"
#include "controls/ParamEditor.h"
#include "controls/ParamsModel.h"
#include "controls/PathWorker.h"
#include "core/Lparams.h"
#include "host/Exception.h"
#include "platform/File.h"
#include "platform/ReplaceFile.h"
#include "platform/Text.h"

#include <QApplication>
#include <QClipboard>
#include <QEvent>
#include <QFileDialog>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QLabel>
#include <QLineEdit>
#include <QMenu>
#include <QTableView>
#include <QTimer>
#include <QToolButton>
#include <QVBoxLayout>

#include <algorithm>
#include <optional>
#include <utility>

namespace zutools {

namespace {

constexpr int NameColumn = 0;
constexpr int ValueColumn = 1;
constexpr int GridCharacters = 60;
constexpr int GridRows = 12;
constexpr std::uint64_t MostOfAFile = 64U << 20;      // bytes
constexpr qsizetype MostPasted = qsizetype{32} << 20; // UTF-16 units

constexpr std::string_view Utf16LittleMark = "\xFF\xFE";
constexpr std::string_view Utf16BigMark = "\xFE\xFF";

// UTF-16 behind its mark; a half of a unit at the end is left.
std::u16string FromUtf16(std::string_view Bytes, bool LowFirst) {
    std::u16string Text;
    for (std::size_t At = 0; At + 1 < Bytes.size(); At += 2) {
        const auto One = static_cast<unsigned char>(Bytes[At]);
        const auto Other = static_cast<unsigned char>(Bytes[At + 1]);
        Text.push_back(static_cast<char16_t>(LowFirst ? One | Other << 8 : One << 8 | Other));
    }
    return Text;
}

std::u16string TextOfFile(std::string_view Bytes) {
    if (Bytes.starts_with(Utf16LittleMark) || Bytes.starts_with(Utf16BigMark))
        return FromUtf16(Bytes.substr(2), Bytes.starts_with(Utf16LittleMark));
    auto Decoded = platform::Utf8ToUtf16Strict(platform::WithoutByteOrderMark(Bytes));
    if (!Decoded.Error) return std::move(Decoded.Text);
    auto Local = platform::CodePageToUtf16(Bytes, platform::AnsiCodePage());
    return Local.Error ? platform::Utf8ToUtf16(Bytes) : std::move(Local.Text);
}

std::u16string ReadText(std::u16string_view File) {
    platform::TReadFile Opened(File);
    if (Opened.Size() > MostOfAFile)
        throw Exception(TParamsGrid::tr("The file is larger than 64 MiB").toStdU16String());
    return TextOfFile(Opened.ReadAll());
}

// The answer to be called when the work is done: with what went wrong, or nothing.
template <class TWork>
QString Tried(TWork Work) {
    try {
        Work();
    } catch (const platform::TSystemError& Error) {
        return ToQt(Error.Message());
    } catch (const std::exception& Error) {
        return ToQt(MessageOf(Error));
    }
    return {};
}

std::optional<TParamOrder> OrderFrom(TParamsGrid::TOrder Order) {
    if (Order == TParamsGrid::orList) return std::nullopt;
    const int Number = Order - TParamsGrid::orName;
    return TParamOrder{static_cast<TParamColumn>(Number / 2), Number % 2 == 1};
}

} // namespace

TParamsGrid::TParamsGrid(QWidget* Owner)
    : QWidget(Owner)
    , FModel(new TParamsModel(this))
    , FTable(new QTableView(this))
    , FFilterEdit(new QLineEdit(this))
    , FTop(new QWidget(this))
    , FStatus(new QLabel(this))
    , FKeys(new THotKeys(*this))
    , FMenu(new QMenu(this)) {
    FTable->setObjectName(QStringLiteral("Table"));
    FTable->setAccessibleName(tr("Parameters"));
    FTable->setModel(FModel);
    FTable->setItemDelegate(new TParamDelegate(FTable));
    FTable->setSelectionBehavior(QAbstractItemView::SelectRows);
    FTable->setTabKeyNavigation(false);
    FTable->setWordWrap(false);
    FTable->setContextMenuPolicy(Qt::CustomContextMenu);
    FTable->verticalHeader()->setSectionResizeMode(QHeaderView::Fixed);
    FTable->verticalHeader()->hide();
    SetRowHeight();
    FTable->horizontalHeader()->setStretchLastSection(true);
    FTable->horizontalHeader()->setDefaultSectionSize(fontMetrics().averageCharWidth() * GridCharacters / 3);
    FTable->horizontalHeader()->setSectionsClickable(true);
    FTable->horizontalHeader()->setSortIndicatorShown(false);
    FFilterEdit->setObjectName(QStringLiteral("Filter"));
    FFilterEdit->setPlaceholderText(tr("Filter"));
    FFilterEdit->setAccessibleName(tr("Filter"));
    FFilterEdit->setClearButtonEnabled(true);
    FStatus->setObjectName(QStringLiteral("Status"));
    FStatus->setTextFormat(Qt::PlainText);
    FStatus->setWordWrap(true);
    auto* MenuButton = new QToolButton(FTop);
    MenuButton->setObjectName(QStringLiteral("Menu"));
    MenuButton->setText(tr("Actions"));
    MenuButton->setArrowType(Qt::DownArrow);
    MenuButton->setToolButtonStyle(Qt::ToolButtonTextBesideIcon);
    MenuButton->setFocusPolicy(Qt::StrongFocus);
    // Not with the button's own menu: pressing is an action of screen readers then.
    connect(MenuButton, &QToolButton::clicked, FMenu,
            [this, MenuButton] { FMenu->popup(MenuButton->mapToGlobal(MenuButton->rect().bottomLeft())); });

    auto* TopRow = new QHBoxLayout(FTop);
    TopRow->setContentsMargins({});
    TopRow->addWidget(FFilterEdit, 1);
    TopRow->addWidget(MenuButton);
    auto* RowsLayout = new QVBoxLayout(this);
    RowsLayout->setContentsMargins({});
    RowsLayout->addWidget(FTop);
    RowsLayout->addWidget(FTable, 1);
    RowsLayout->addWidget(FStatus);
    setFocusProxy(FTable);
    setTabOrder(FTable, FFilterEdit);
    setTabOrder(FFilterEdit, MenuButton);

    MakeActions();
    FollowRows();
    connect(FFilterEdit, &QLineEdit::textChanged, this, [this](const QString& Value) {
        FModel->Rows().SetFilter(Value.toStdU16String());
        emit FilterChanged();
    });
    connect(FFilterEdit, &QLineEdit::returnPressed, FTable, [this] { FTable->setFocus(); });
    connect(FTable->horizontalHeader(), &QHeaderView::sectionClicked, this, &TParamsGrid::TurnOrder);
    connect(FTable, &QWidget::customContextMenuRequested, this, &TParamsGrid::ShowMenu);
    connect(FTable, &QTableView::doubleClicked, this, [this](const QModelIndex& Index) {
        if (Index.column() == ValueColumn && FModel->Rows().Kind(Index.row()) == TParamKind::Color) Choose();
    });
    connect(FKeys, &THotKeys::Changed, this, &TParamsGrid::HotKeysChanged);
    ShowStatus();
}

TParamsGrid::~TParamsGrid() = default;

// ---- actions

void TParamsGrid::MakeActions() {
    const auto Key = [](const char* Text) { return QKeySequence(QLatin1String(Text)); };
    const auto Add = [this](const char* Name, const QString& Text, const QKeySequence& HotKey,
                            std::function<void()> Do) {
        FMenu->addAction(&FKeys->Add(QLatin1String(Name), Text, HotKey, [this, Do = std::move(Do)] {
            CloseEditor();
            Do();
        }));
    };
    Add("insert", tr("&Insert a row"), Key("Ins"), [this] { InsertRow(); });
    Add("delete", tr("&Delete rows"), Key("Del"), [this] { DeleteRows(); });
    Add("edit", tr("&Edit the value"), Key("F2"), [this] { EditCell(ValueColumn); });
    Add("rename", tr("&Rename"), Key("Shift+F2"), [this] { EditCell(NameColumn); });
    Add("choose", tr("C&hoose the value…"), Key("F4"), [this] { Choose(); });
    Add("up", tr("Move &up"), Key("Alt+Up"), [this] { Move(false); });
    Add("down", tr("Move do&wn"), Key("Alt+Down"), [this] { Move(true); });
    FMenu->addSeparator();
    Add("undo", tr("U&ndo"), QKeySequence::Undo, [this] {
        if (!ReadOnly() && FModel->Rows().Undo()) SelectTouched();
    });
    Add("redo", tr("Do a&gain"), Key("Ctrl+Shift+Z"), [this] {
        if (!ReadOnly() && FModel->Rows().Redo()) SelectTouched();
    });
    Add("copy", tr("&Copy"), QKeySequence::Copy, [this] { Copy(false); });
    Add("copytext", tr("Copy as &text"), Key("Ctrl+Shift+C"), [this] { Copy(true); });
    Add("paste", tr("&Paste"), QKeySequence::Paste, [this] { Paste(); });
    Add("selectall", tr("Select &all"), QKeySequence::SelectAll, [this] { FTable->selectAll(); });
    FMenu->addSeparator();
    Add("filter", tr("&Filter"), QKeySequence::Find, [this] {
        SetFilterVisible(true);
        FFilterEdit->setFocus();
        FFilterEdit->selectAll();
    });
    Add("sortname", tr("Sort by na&me"), Key("Ctrl+1"), [this] { TurnOrder(NameColumn); });
    Add("sortvalue", tr("Sort by &value"), Key("Ctrl+2"), [this] { TurnOrder(ValueColumn); });
    Add("listorder", tr("Order of the &list"), Key("Ctrl+0"), [this] { SetOrder(orList); });
    Add("keeporder", tr("&Keep this order"), Key("Ctrl+K"), [this] {
        if (ReadOnly() || !Order()) return;
        FModel->Rows().KeepOrder();
        ShowOrder();
    });
    Add("nextfault", tr("Ne&xt fault"), Key("F8"), [this] {
        if (const int Row = FModel->Rows().NextFault(Current()); Row >= 0)
            Select({Row}, FModel->Rows().NameFault(Row) ? NameColumn : ValueColumn);
    });
    FMenu->addSeparator();
    Add("open", tr("&Open a file…"), QKeySequence::Open, [this] {
        auto* Dialog = new QFileDialog(this, tr("Load parameters"));
        Dialog->setAttribute(Qt::WA_DeleteOnClose);
        Dialog->setFileMode(QFileDialog::ExistingFile);
        connect(Dialog, &QFileDialog::fileSelected, this, &TParamsGrid::LoadFile);
        Dialog->open();
    });
    Add("save", tr("&Save to a file…"), QKeySequence::Save, [this] {
        auto* Dialog = new QFileDialog(this, tr("Save parameters"));
        Dialog->setAttribute(Qt::WA_DeleteOnClose);
        Dialog->setAcceptMode(QFileDialog::AcceptSave);
        connect(Dialog, &QFileDialog::fileSelected, this, &TParamsGrid::SaveFile);
        Dialog->open();
    });
    FMenu->addSeparator();
    Add("hotkeys", tr("Hot ke&ys…"), Key("Ctrl+Shift+K"), [this] { FKeys->Edit(); });
    connect(FMenu, &QMenu::aboutToShow, this, &TParamsGrid::UpdateActions);
    connect(FMenu, &QMenu::aboutToHide, this, &TParamsGrid::EnableActions);
}

QAction* TParamsGrid::Action(const QString& Name) const {
    return FKeys->Find(Name);
}

void TParamsGrid::SetHotKeys(const QStringList& Lines) {
    for (const QString& Conflict : FKeys->SetChanges(Lines)) Complain(Conflict);
}

QStringList TParamsGrid::HotKeys() const {
    return FKeys->Changes();
}

void TParamsGrid::EnableActions() {
    for (QAction* Each : FKeys->Actions()) Each->setEnabled(true);
}

// What cannot be done now is grey while the menu is seen. Else the keys stay alive: a disabled action would
// let its key go to somebody else.
void TParamsGrid::UpdateActions() {
    const TParamsRows& All = FModel->Rows();
    const auto Allow = [this](const char* Name, bool Possible) {
        Action(QLatin1String(Name))->setEnabled(Possible);
    };
    const bool Writes = !ReadOnly();
    const bool HasRow = Current() >= 0;
    for (const char* Name : {"insert", "paste", "open"}) Allow(Name, Writes);
    for (const char* Name : {"delete", "edit", "rename"}) Allow(Name, Writes && HasRow);
    for (const char* Name : {"up", "down"}) Allow(Name, Writes && HasRow && !All.Order());
    Allow("choose", Writes && HasRow && CanChooseParam(All.Kind(Current())));
    Allow("undo", Writes && All.CanUndo());
    Allow("redo", Writes && All.CanRedo());
    Allow("keeporder", Writes && All.Order());
    for (const char* Name : {"copy", "copytext"}) Allow(Name, HasRow);
}

void TParamsGrid::ShowMenu(const QPoint& Place) {
    FMenu->popup(FTable->viewport()->mapToGlobal(Place));
}

// An editor in a cell gives what was typed, before something else is done.
void TParamsGrid::CloseEditor() {
    const QWidget* const Focus = QApplication::focusWidget();
    if (Focus != nullptr && Focus != FTable->viewport() && FTable->viewport()->isAncestorOf(Focus))
        FTable->setFocus();
}

// ---- rows in sight

void TParamsGrid::FollowRows() {
    connect(FModel, &QAbstractItemModel::modelAboutToBeReset, this, &TParamsGrid::NoteSelection);
    connect(FModel, &QAbstractItemModel::modelReset, this, &TParamsGrid::RestoreSelection);
    connect(FModel, &TParamsModel::Changed, this, [this] {
        FComplaint.clear();
        emit Edited();
        if (FWasModified != Modified()) {
            FWasModified = Modified();
            emit ModifiedChanged();
        }
        ShowStatus();
    });
    connect(FTable->selectionModel(), &QItemSelectionModel::currentChanged, this, &TParamsGrid::ShowStatus);
}

int TParamsGrid::Current() const {
    return FTable->currentIndex().isValid() ? FTable->currentIndex().row() : -1;
}

std::vector<int> TParamsGrid::Selected() const {
    std::vector<int> Rows;
    for (const QModelIndex& Index : FTable->selectionModel()->selectedRows()) Rows.push_back(Index.row());
    if (Rows.empty() && Current() >= 0) Rows.push_back(Current());
    std::ranges::sort(Rows);
    return Rows;
}

void TParamsGrid::Select(const std::vector<int>& Rows, int Column) {
    if (Rows.empty()) return;
    QItemSelection Ranges;
    for (std::size_t First = 0; First < Rows.size();) { // ranges, so that many rows cost little
        std::size_t Last = First;
        while (Last + 1 < Rows.size() && Rows[Last + 1] == Rows[Last] + 1) ++Last;
        Ranges.append({FModel->index(Rows[First], 0), FModel->index(Rows[Last], FModel->columnCount() - 1)});
        First = Last + 1;
    }
    const QModelIndex To = FModel->index(Rows.front(), Column);
    FTable->selectionModel()->setCurrentIndex(To, QItemSelectionModel::NoUpdate);
    FTable->selectionModel()->select(Ranges, QItemSelectionModel::ClearAndSelect);
    FTable->scrollTo(To);
}

void TParamsGrid::SelectTouched() {
    Select(FModel->Rows().RowsOf(FModel->Rows().Touched()), std::max(FTable->currentIndex().column(), 0));
}

void TParamsGrid::NoteSelection() {
    FSelectedIds.clear();
    const TParamsRows& All = FModel->Rows();
    for (const int Row : Selected())
        if (Row < All.Count()) FSelectedIds.push_back(All.Id(Row));
    FCurrentId = Current() >= 0 && Current() < All.Count() ? All.Id(Current()) : 0;
    FCurrentColumn = std::max(FTable->currentIndex().column(), 0);
}

void TParamsGrid::RestoreSelection() {
    const TParamsRows& All = FModel->Rows();
    const int Column = std::min(FCurrentColumn, FModel->columnCount() - 1);
    const std::vector<int> Rows = All.RowsOf(FSelectedIds);
    Select(Rows, Column);
    if (const auto Row = All.RowsOf({&FCurrentId, 1}); !Row.empty())
        FTable->selectionModel()->setCurrentIndex(FModel->index(Row.front(), Column),
                                                  QItemSelectionModel::NoUpdate);
}

// ---- edits

void TParamsGrid::InsertRow() {
    if (ReadOnly()) return;
    FModel->Rows().Insert(Current() + 1, {{}});
    SelectTouched();
    EditCell(NameColumn);
}

void TParamsGrid::DeleteRows() {
    const int Row = Current();
    if (ReadOnly() || !FModel->Rows().Delete(Selected())) return;
    Select({std::min(Row, FModel->Rows().Count() - 1)}, FCurrentColumn);
}

void TParamsGrid::EditCell(int Column) {
    const QModelIndex Index = FModel->index(Current(), Column);
    if (!Index.isValid() || ReadOnly()) return;
    FTable->setCurrentIndex(Index);
    if ((FModel->flags(Index) & Qt::ItemIsEditable) != 0) return FTable->edit(Index);
    const bool Checked = Index.data(Qt::CheckStateRole).toInt() == Qt::Checked;
    FModel->setData(Index, Checked ? Qt::Unchecked : Qt::Checked, Qt::CheckStateRole);
}

void TParamsGrid::Choose() {
    TParamsRows& All = FModel->Rows();
    const int Row = Current();
    if (Row < 0 || ReadOnly()) return;
    if (!CanChooseParam(All.Kind(Row))) return EditCell(ValueColumn);
    ChooseParam(All.Kind(Row), *this, ToQt(All.Row(Row).Name), ToQt(All.Row(Row).Value),
                [this, Id = All.Id(Row)](const QString& Value) {
                    const std::vector<int> Rows = FModel->Rows().RowsOf({&Id, 1});
                    if (!Rows.empty()) FModel->Rows().SetValue(Rows.front(), Value.toStdU16String());
                });
}

void TParamsGrid::Move(bool Down) {
    if (ReadOnly()) return;
    if (FModel->Rows().Order()) return Complain(tr("Sorted rows do not move: keep this order first"));
    FModel->Rows().Move(Selected(), Down);
    FTable->scrollTo(FTable->currentIndex());
}

// Secrets stay where they are: the clipboard is everybody's.
void TParamsGrid::Copy(bool AsText) const {
    const TParamsRows& All = FModel->Rows();
    std::vector<TCellRow> Cells;
    QStringList Lines;
    for (const int Row : Selected()) {
        const TParamsRows::TRow& Each = All.Row(Row);
        const std::u16string Value = All.Kind(Row) == TParamKind::Secret ? std::u16string() : Each.Value;
        Cells.push_back({Each.Name, Value});
        Lines += ToQt(Each.Name) + u'=' + ToQt(Value);
    }
    if (Cells.empty()) return;
    QApplication::clipboard()->setText(AsText ? Lines.join(QStringLiteral("\r\n"))
                                              : ToQt(TextFromCells(Cells)));
}

void TParamsGrid::Paste() {
    if (ReadOnly()) return;
    const QString Pasted = QApplication::clipboard()->text();
    if (Pasted.size() > MostPasted) return Complain(tr("The clipboard holds too much text for a list"));
    const int Column = FTable->currentIndex().column() == ValueColumn ? ValueColumn : NameColumn;
    if (FModel->Rows().Paste(CellsFromText(Pasted.toStdU16String()), Current(),
                             static_cast<TParamColumn>(Column), Selected()))
        SelectTouched();
}

// The next of: rising, falling, the list's own.
void TParamsGrid::TurnOrder(int Column) {
    const int Rising = orName + 2 * Column;
    if (Order() == Rising) return SetOrder(static_cast<TOrder>(Rising + 1));
    SetOrder(Order() == Rising + 1 ? orList : static_cast<TOrder>(Rising));
}

// ---- files

void TParamsGrid::LoadFile(const QString& File) {
    const bool Asked = AskFileSystem(*this, [this, File]() -> std::function<void()> {
        std::u16string Read;
        const QString Wrong = Tried([&] { Read = ReadText(File.toStdU16String()); });
        return [this, File, Wrong, Read = std::move(Read)] {
            if (!Wrong.isEmpty()) return Complain(Wrong);
            FModel->Rows().SetText(Read);
            emit FileDone(File);
        };
    });
    if (!Asked) Complain(tr("Too many files are waited for already"));
}

void TParamsGrid::SaveFile(const QString& File) {
    CloseEditor();
    TParamsRows& All = FModel->Rows();
    if (const int At = All.UnfitForText(); At >= 0)
        return Complain(
            tr("Row %1 of the list cannot be kept in a file: its name or a line break").arg(At + 1));
    auto Encoded = platform::Utf16ToUtf8Strict(All.Text());
    if (Encoded.Error) return Complain(tr("A text holds half a character and cannot be kept in a file"));
    const std::u16string Written = All.Text();
    const bool Asked = AskFileSystem(
        *this, [this, File, Written, Bytes = std::move(Encoded.Text)]() -> std::function<void()> {
            const QString Wrong =
                Tried([&] { platform::ReplaceWholeFile(File.toStdU16String(), Bytes, {}); });
            return [this, File, Wrong, Written] {
                if (!Wrong.isEmpty()) return Complain(Wrong);
                if (FModel->Rows().Text() == Written) { // nothing was edited meanwhile
                    FModel->Rows().SetSaved();
                    if (std::exchange(FWasModified, false)) emit ModifiedChanged();
                }
                emit FileDone(File);
            };
        });
    if (!Asked) Complain(tr("Too many files are waited for already"));
}

// ---- what is told below

void TParamsGrid::Complain(const QString& Text) {
    FComplaint = Text;
    emit OnComplaint(Text);
    ShowStatus();
}

QString TParamsGrid::FaultOfCurrent() const {
    const QModelIndex Index = FTable->currentIndex();
    if (!Index.isValid()) return {};
    const QString Here = FaultText(FModel->Fault(Index));
    if (!Here.isEmpty()) return Here;
    const int Other = Index.column() == NameColumn ? ValueColumn : NameColumn;
    return FaultText(FModel->Fault(Index.siblingAtColumn(Other)));
}

QString TParamsGrid::Summary() const {
    const TParamsRows& All = FModel->Rows();
    QStringList Parts{All.Count() == All.CountOfAll()
                          ? tr("rows: %1").arg(All.Count())
                          : tr("rows: %1 of %2").arg(All.Count()).arg(All.CountOfAll())};
    if (const int Faults = All.CountOfFaults(); Faults > 0) Parts += tr("with a fault: %1").arg(Faults);
    QStringList Wanted;
    for (const TParamField* Field : All.Missing()) Wanted += ToQt(Field->Shown());
    if (!Wanted.isEmpty()) Parts += tr("missing: %1").arg(Wanted.join(QStringLiteral(", ")));
    return Parts.join(QStringLiteral(", "));
}

// Once for all changes of a moment: every row is looked at for it.
void TParamsGrid::ShowStatus() {
    if (std::exchange(FStatusWaits, true)) return;
    QTimer::singleShot(0, this, [this] {
        FStatusWaits = false;
        QString Told = FComplaint.isEmpty() ? FaultOfCurrent() : FComplaint;
        if (!Told.isEmpty()) Told += QStringLiteral(" — ");
        FStatus->setText(Told + Summary());
    });
}

// ---- properties

TParamsRows& TParamsGrid::Rows() {
    return FModel->Rows();
}

void TParamsGrid::SetParams(const TParamsList& List) {
    FModel->Rows().Load(List);
    if (FModel->Rows().Count() > 0) Select({0}, NameColumn);
}

void TParamsGrid::StoreTo(TParamsList& List) {
    CloseEditor();
    FModel->Rows().Store(List);
    FModel->Rows().SetSaved();
    if (std::exchange(FWasModified, false)) emit ModifiedChanged();
}

void TParamsGrid::SetFields(std::vector<TParamField> Fields) {
    const bool Hints =
        std::ranges::any_of(Fields, [](const TParamField& Field) { return !Field.Hint.empty(); });
    FModel->Rows().SetFields(TParamFields(std::move(Fields)));
    if (Hints) SetHintsVisible(true);
}

QString TParamsGrid::Text() {
    CloseEditor();
    return ToQt(FModel->Rows().Text());
}

void TParamsGrid::SetText(const QString& Value) {
    FModel->Rows().SetText(Value.toStdU16String());
}

bool TParamsGrid::Valid() {
    CloseEditor();
    return FModel->Rows().CountOfFaults() == 0 && FModel->Rows().Missing().empty();
}

bool TParamsGrid::Modified() const {
    return FModel->Rows().Modified();
}

void TParamsGrid::SetReadOnly(bool Value) {
    if (Value == ReadOnly()) return;
    FModel->SetReadOnly(Value);
    emit ReadOnlyChanged();
}

bool TParamsGrid::ReadOnly() const {
    return FModel->ReadOnly();
}

void TParamsGrid::SetHintsVisible(bool Value) {
    if (Value == HintsVisible()) return;
    FModel->SetHintsShown(Value);
    emit HintsVisibleChanged();
}

bool TParamsGrid::HintsVisible() const {
    return FModel->HintsShown();
}

void TParamsGrid::SetFilterVisible(bool Value) {
    if (FFilterVisible == Value) return;
    FFilterVisible = Value;
    FTop->setVisible(Value);
    if (!Value) SetFilter({});
    emit FilterVisibleChanged();
}

void TParamsGrid::SetFilter(const QString& Value) {
    FFilterEdit->setText(Value);
}

QString TParamsGrid::Filter() const {
    return FFilterEdit->text();
}

void TParamsGrid::SetOrder(TOrder Value) {
    if (Value == Order()) return;
    FModel->Rows().SetOrder(OrderFrom(Value));
    ShowOrder();
}

void TParamsGrid::ShowOrder() {
    QHeaderView* const Header = FTable->horizontalHeader();
    const auto& Shown = FModel->Rows().Order();
    Header->setSortIndicatorShown(Shown.has_value());
    if (Shown)
        Header->setSortIndicator(static_cast<int>(Shown->By),
                                 Shown->Descending ? Qt::DescendingOrder : Qt::AscendingOrder);
    emit OrderChanged();
}

TParamsGrid::TOrder TParamsGrid::Order() const {
    const auto& Shown = FModel->Rows().Order();
    if (!Shown) return orList;
    return static_cast<TOrder>(orName + 2 * static_cast<int>(Shown->By) + (Shown->Descending ? 1 : 0));
}

QSize TParamsGrid::sizeHint() const {
    return {fontMetrics().averageCharWidth() * GridCharacters,
            fontMetrics().lineSpacing() * GridRows * 3 / 2};
}

void TParamsGrid::SetRowHeight() {
    QHeaderView* const Rows = FTable->verticalHeader();
    Rows->setMinimumSectionSize(fontMetrics().height());
    Rows->setDefaultSectionSize(fontMetrics().height() * 3 / 2);
}

void TParamsGrid::changeEvent(QEvent* Event) {
    QWidget::changeEvent(Event);
    if (Event->type() != QEvent::FontChange) return;
    SetRowHeight();
    updateGeometry();
}

} // namespace zutools
