#include "controls/QtExtras.h"

#include <QComboBox>
#include <QHeaderView>
#include <QListWidget>
#include <QMainWindow>
#include <QPlainTextEdit>
#include <QSplitter>
#include <QTableView>
#include <QTextEdit>
#include <QTreeView>

#include <optional>

namespace zutools {

namespace {

template <class TWidget>
const TWidget& As(const QObject& Object) {
    return static_cast<const TWidget&>(Object);
}
template <class TWidget>
TWidget& As(QObject& Object) {
    return static_cast<TWidget&>(Object);
}

// ---- splitters

QVariant GetSizes(const QObject& Object) {
    QStringList Sizes;
    for (const int Size : As<QSplitter>(Object).sizes()) Sizes += QString::number(Size);
    return Sizes.join(u',');
}

void SetSizes(QObject& Object, const QVariant& Value) {
    QList<int> Sizes;
    const QStringList Words = Value.toString().split(u',');
    for (const QString& Word : Words) {
        bool IsNumber = false;
        Sizes += Word.trimmed().toInt(&IsNumber);
        if (!IsNumber || Sizes.back() < 0) return;
    }
    if (Sizes.size() == As<QSplitter>(Object).count()) As<QSplitter>(Object).setSizes(Sizes);
}

// ---- headers

struct TSection {
    int Index = 0, Size = 0;
    bool Hidden = false;
};

std::optional<TSection> SectionOf(QStringView Word) {
    Word = Word.trimmed();
    TSection Section;
    Section.Hidden = Word.startsWith(u'-');
    if (Section.Hidden) Word = Word.mid(1);
    const qsizetype Colon = Word.indexOf(u':');
    bool HasIndex = false, HasSize = false;
    Section.Index = Word.left(std::max<qsizetype>(Colon, 0)).toInt(&HasIndex);
    Section.Size = Word.mid(Colon + 1).toInt(&HasSize);
    if (!HasIndex || !HasSize || Section.Index < 0 || Section.Size < 0) return std::nullopt;
    return Section;
}

QString SectionsOf(const QHeaderView& Header) {
    QStringList Sections;
    for (int Place = 0; Place < Header.count(); ++Place) {
        const int Index = Header.logicalIndex(Place);
        const bool Hidden = Header.isSectionHidden(Index);
        // A hidden section tells its size only when it is shown.
        int Size = Header.sectionSize(Index);
        if (Hidden) Size = Header.defaultSectionSize();
        Sections += QLatin1String(Hidden ? "-" : "") + QString::number(Index) + u':' + QString::number(Size);
    }
    QString Text = Sections.join(u',');
    if (Header.isSortIndicatorShown() && Header.sortIndicatorSection() < Header.count()) {
        const bool Ascending = Header.sortIndicatorOrder() == Qt::AscendingOrder;
        Text += u';' + QString::number(Header.sortIndicatorSection()) + (Ascending ? u'a' : u'd');
    }
    return Text;
}

// Sections that the header does not have are passed over; those that the text does not name stay behind.
void SetSectionsOf(QHeaderView& Header, QStringView Text) {
    const qsizetype Semicolon = Text.indexOf(u';');
    const QStringView Words = Semicolon < 0 ? Text : Text.left(Semicolon);
    int Place = 0;
    for (const QStringView Word : Words.split(u',')) {
        const std::optional<TSection> Section = SectionOf(Word);
        if (!Section || Section->Index >= Header.count()) continue;
        const int Now = Header.visualIndex(Section->Index);
        if (Now < Place) continue; // named twice
        Header.moveSection(Now, Place++);
        Header.setSectionHidden(Section->Index, Section->Hidden);
        if (!Section->Hidden) Header.resizeSection(Section->Index, Section->Size);
    }
    if (Semicolon < 0) return;
    const QStringView Sort = Text.mid(Semicolon + 1).trimmed();
    bool IsNumber = false;
    const int Column = Sort.chopped(std::min<qsizetype>(Sort.size(), 1)).toInt(&IsNumber);
    if (!IsNumber || Column < 0 || Column >= Header.count()) return;
    Header.setSortIndicator(Column, Sort.endsWith(u'd') ? Qt::DescendingOrder : Qt::AscendingOrder);
}

template <class TView, QHeaderView* (TView::*Header)() const>
constexpr TQtExtra SectionsOfView(std::u16string_view Name) {
    return {&TView::staticMetaObject, Name, false,
            [](const QObject& Object) { return QVariant(SectionsOf(*(As<TView>(Object).*Header)())); },
            [](QObject& Object, const QVariant& Value) {
                SetSectionsOf(*(As<TView>(Object).*Header)(), Value.toString());
            }};
}

// ---- lists and editors

template <class TList>
QVariant GetItems(const QObject& Object) {
    QStringList Items;
    for (int Index = 0; Index < As<TList>(Object).count(); ++Index) {
        if constexpr (std::is_same_v<TList, QListWidget>)
            Items += As<TList>(Object).item(Index)->text();
        else
            Items += As<TList>(Object).itemText(Index);
    }
    return Items;
}

template <class TList>
void SetItems(QObject& Object, const QVariant& Value) {
    As<TList>(Object).clear();
    As<TList>(Object).addItems(Value.toStringList());
}

template <class TEditor>
QVariant GetLines(const QObject& Object) {
    const QString Text = As<TEditor>(Object).toPlainText();
    return Text.isEmpty() ? QStringList() : Text.split(u'\n');
}

template <class TEditor>
void SetLines(QObject& Object, const QVariant& Value) {
    As<TEditor>(Object).setPlainText(Value.toStringList().join(u'\n'));
}

} // namespace

std::span<const TQtExtra> ExtraProperties() {
    static const TQtExtra Extras[] = {
        {&QSplitter::staticMetaObject, u"Sizes", false, GetSizes, SetSizes},
        {&QHeaderView::staticMetaObject, u"Sections", false,
         [](const QObject& Object) { return QVariant(SectionsOf(As<QHeaderView>(Object))); },
         [](QObject& Object, const QVariant& Value) {
             SetSectionsOf(As<QHeaderView>(Object), Value.toString());
         }},
        SectionsOfView<QTableView, &QTableView::horizontalHeader>(u"ColumnSections"),
        SectionsOfView<QTableView, &QTableView::verticalHeader>(u"RowSections"),
        SectionsOfView<QTreeView, &QTreeView::header>(u"ColumnSections"),
        {&QMainWindow::staticMetaObject, u"DockState", false,
         [](const QObject& Object) {
             return QVariant(QString::fromLatin1(As<QMainWindow>(Object).saveState().toBase64()));
         },
         [](QObject& Object, const QVariant& Value) {
             As<QMainWindow>(Object).restoreState(QByteArray::fromBase64(Value.toString().toLatin1()));
         }},
        {&QComboBox::staticMetaObject, u"Items", true, GetItems<QComboBox>, SetItems<QComboBox>},
        {&QListWidget::staticMetaObject, u"Items", true, GetItems<QListWidget>, SetItems<QListWidget>},
        {&QPlainTextEdit::staticMetaObject, u"Lines", true, GetLines<QPlainTextEdit>,
         SetLines<QPlainTextEdit>},
        {&QTextEdit::staticMetaObject, u"Lines", true, GetLines<QTextEdit>, SetLines<QTextEdit>},
    };
    return Extras;
}

} // namespace zutools
