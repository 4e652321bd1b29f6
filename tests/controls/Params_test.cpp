#include "controls/HotKeys.h"
#include "controls/ParamsRows.h"
#include "controls/QtFormStorage.h"
#include "controls/Zuaskval.h"
#include "controls/Zuprmgrd.h"
#include "core/Lparams.h"
#include "host/SecretNames.h"
#include "platform/Text.h"

#include <gmock/gmock.h>

#include <QAccessible>
#include <QAction>
#include <QApplication>
#include <QClipboard>
#include <QDialogButtonBox>
#include <QKeySequenceEdit>
#include <QLabel>
#include <QPushButton>
#include <QSignalSpy>
#include <QTableView>
#include <QTemporaryDir>
#include <QTest>
#include <QTimer>

#include <random>

namespace zutools::tests {

namespace {

using testing::ElementsAre;
using TRow = TParamsRows::TRow;

TEST(PastedCells, ReadAsSpreadsheetsWriteThem) {
    const std::vector<std::pair<std::u16string_view, std::vector<TCellRow>>> Cases{
        {u"", {}},
        {u"a\tb\r\nc\td\r\n", {{u"a", u"b"}, {u"c", u"d"}}},
        {u"a\n\nb\r", {{u"a"}, {u""}, {u"b"}}},
        {u"\"two\nlines\"\t\"say \"\"x\"\"\"", {{u"two\nlines", u"say \"x\""}}},
        {u"\"open\tb", {{u"\"open", u"b"}}},       // never closed: a character like others
        {u"\"a\"b\"\tc", {{u"ab\"", u"c"}}},       // goes on behind the closing quote
        {u"5\" disk\t\"\"", {{u"5\" disk", u""}}}, // not at the beginning
    };
    for (const auto& [Text, Rows] : Cases)
        EXPECT_EQ(CellsFromText(Text), Rows) << platform::Utf16ToUtf8(Text);
}

TEST(ParamFields, CheckValuesByKindAndRule) {
    using TKind = TParamKind;
    using TFault = TParamFaultKind;
    const TParamFields Fields(
        {{.Name = u"Port", .Kind = TKind::Number, .Required = true, .Least = 1, .Most = 9},
         {.Name = u"Day", .Kind = TKind::Date},
         {.Name = u"Size", .Kind = TKind::Choice, .Choices = {u"S", u"M"}},
         {.Name = u"Ink", .Kind = TKind::Color},
         {.Name = u"Fast", .Kind = TKind::YesNo},
         {.Name = u"City", .WrongValues = u"<,>"},
         {.Name = u"Code", .Kind = TKind::Secret, .RightValues = u"0-9"}});
    struct TCase {
        std::u16string_view Name, Value;
        TFault Kind;
        std::u16string_view Text = {};
    };
    for (const TCase& Case : std::vector<TCase>{
             {u"port", u"8", TFault::None},
             {u"PORT", u"", TFault::ValueWanted},
             {u"Port", u"x", TFault::NotNumber},
             {u"Port", u"0.5", TFault::TooSmall, u"1"},
             {u"Port", u"1e1", TFault::TooLarge, u"9"},
             {u"Day", u"", TFault::None},
             {u"Day", u"2024-02-29", TFault::None},
             {u"Day", u"2026-02-29", TFault::NotDate},
             {u"Day", u"26-2-9", TFault::NotDate},
             {u"Size", u"M", TFault::None},
             {u"Size", u"m", TFault::NotChoice},
             {u"Ink", u"#00fFa0", TFault::None},
             {u"Ink", u"red", TFault::NotColor},
             {u"Fast", u"true", TFault::None},
             {u"Fast", u"maybe", TFault::NotYesNo},
             {u"City", u"a\nb", TFault::LineBreak},
             {u"City", u"a<b", TFault::Refused, u"Value \"A<B\" contain wrong symbol \"<\" at position 2."},
             {u"Code", u"12x", TFault::Refused, u""}, // the checker's message would quote the secret
             {u"Unknown", u"<", TFault::None},
         }) {
        const TParamFault Fault = Fields.Check(Case.Name, Case.Value);
        EXPECT_EQ(Fault.Kind, Case.Kind) << platform::Utf16ToUtf8(Case.Value);
        EXPECT_EQ(Fault.Text, Case.Text) << platform::Utf16ToUtf8(Case.Value);
    }
    for (const auto* const Name : {u"Password", u"db_pwd", u"ApiToken", u"PIN2", u"Пароль"})
        EXPECT_EQ(Fields.Kind(Name), TKind::Secret);
    for (const auto* const Name : {u"Spinner", u"pinned", u"key", u""})
        EXPECT_EQ(Fields.Kind(Name), TKind::Text);
}

// ---- the rows against what a plain reader of their text sees

class TParamsRowsTest : public testing::Test {
protected:
    int Any(int From, int To) { return std::uniform_int_distribution(From, To)(Random); }
    std::u16string AnyName() {
        static constexpr std::u16string_view Names[] = {u"a",     u"B",   u"b", u"Город",
                                                        u"город", u"pin", u"",  u"z=1"};
        return std::u16string(Names[Any(0, std::size(Names) - 1)]);
    }
    std::u16string AnyValue() {
        return std::u16string(static_cast<std::size_t>(Any(0, 3)), u"xyA"[Any(0, 2)]);
    }
    std::vector<int> AnyRows() {
        std::vector<int> Result;
        for (int Row = Any(0, 3); Row < Rows.Count(); Row += Any(1, 4)) Result.push_back(Row);
        return Result;
    }
    TCellRow AnyCells() { return Any(0, 1) ? TCellRow{AnyName(), AnyValue()} : TCellRow{AnyValue()}; }

    bool Edit() {
        const int Row = Rows.Count() > 0 ? Any(0, Rows.Count() - 1) : -1;
        const std::vector<int> Selected = AnyRows();
        switch (Any(Row < 0 ? 4 : 0, 8)) {
        case 0:
            return Rows.SetName(Row, AnyName());
        case 1:
            return Rows.SetValue(Row, AnyValue());
        case 2:
            return Rows.Delete(Selected);
        case 3:
            return Rows.Move(Selected, Any(0, 1) == 1);
        case 4:
            return Rows.Insert(Row + 1, {{AnyName(), AnyValue()}, {AnyName(), AnyValue()}});
        case 5:
            return Rows.Paste({AnyCells(), AnyCells(), AnyCells()}, Row, TParamColumn::Name, Selected);
        case 6:
            return Rows.Paste({AnyCells()}, Row, TParamColumn::Value, Selected);
        case 7:
            return Rows.KeepOrder();
        default:
            return Any(0, 5) == 0 && Rows.SetText(u"a=1\n\nb\r\n=3\rc=x=y");
        }
    }
    void Look() {
        if (Any(0, 2) == 0) Rows.SetFilter(Any(0, 1) ? u"" : u"A");
        if (Any(0, 3) == 0)
            Rows.SetOrder(
                Any(0, 1) ? std::nullopt
                          : std::optional(TParamOrder{static_cast<TParamColumn>(Any(0, 1)), Any(0, 1) == 1}));
    }
    // What is shown, by a look at each row.
    void CheckShown() const {
        const platform::TCollator& Collator = platform::UserCollator();
        int Faults = 0;
        for (int Index = 0; Index < Rows.Count(); ++Index) {
            const TRow& Row = Rows.Row(Index);
            int SameNames = 0;
            for (int Other = 0; Other < Rows.Count(); ++Other)
                SameNames += Collator.Compare(Rows.Row(Other).Name, Row.Name, false) == 0;
            const TParamFaultKind Fault = Rows.NameFault(Index).Kind;
            ASSERT_EQ(Fault == TParamFaultKind::NameWanted, Row.Name.empty());
            if (!Row.Name.empty() && Row.Name.find(u'=') == Row.Name.npos &&
                Rows.Count() == Rows.CountOfAll()) {
                ASSERT_EQ(Fault == TParamFaultKind::NameTwice, SameNames > 1);
            }
            Faults += Fault != TParamFaultKind::None;
            if (!Rows.Order() || Index == 0) continue;
            const bool ByName = Rows.Order()->By == TParamColumn::Name;
            const auto Shown = [&](int At) {
                const TRow& Each = Rows.Row(At);
                if (ByName) return Each.Name;
                return LooksSecret(Each.Name) ? std::u16string() : Each.Value;
            };
            const std::u16string Above = Shown(Index - 1);
            const std::u16string Here = Shown(Index);
            const int Sign = Collator.Compare(Above, Here, false);
            ASSERT_TRUE(Here.empty() ||
                        (!Above.empty() && (Rows.Order()->Descending ? Sign >= 0 : Sign <= 0)));
        }
        if (Rows.Count() == Rows.CountOfAll()) {
            ASSERT_EQ(Rows.CountOfFaults(), Faults);
        }
    }

    const unsigned Seed = std::random_device()();
    std::mt19937 Random{Seed};
    TParamsRows Rows;
};

TEST_F(TParamsRowsTest, UndoGoesBackToTheFirstTextAndRedoForth) {
    SCOPED_TRACE(Seed);
    for (int Round = 0; Round < 40; ++Round) {
        TParamsList List;
        List.SetAsString(u"a=1\r\nГород=Уфа\r\nPIN=xyA");
        Rows.Load(List);
        const std::u16string First = Rows.Text();
        ASSERT_EQ(First, List.GetAsString());
        std::vector<std::u16string> Texts{First};
        for (int Step = 0; Step < 60; ++Step) {
            Look();
            if (Edit()) Texts.push_back(Rows.Text());
            ASSERT_EQ(Rows.Text(), Texts.back());
            ASSERT_EQ(Rows.Modified(), Texts.size() > 1);
            CheckShown();
        }
        for (auto Text = Texts.rbegin(); Text != Texts.rend(); ++Text) {
            ASSERT_EQ(Rows.Text(), *Text);
            Look();
            ASSERT_EQ(Rows.Undo(), Text + 1 != Texts.rend());
        }
        ASSERT_EQ(Rows.Text(), First);
        EXPECT_FALSE(Rows.Modified());
        for (const std::u16string& Text : Texts) {
            ASSERT_EQ(Rows.Text(), Text);
            ASSERT_EQ(Rows.Redo(), &Text != &Texts.back());
        }
        Rows.Store(List);
        TParamsList Same;
        for (int Index = (Rows.SetFilter({}), Rows.SetOrder({}), 0); Index < Rows.Count(); ++Index)
            Same.Add(Rows.Row(Index).Name, Rows.Row(Index).Value);
        EXPECT_EQ(List.GetAsString(), Same.GetAsString());
    }
}

TEST_F(TParamsRowsTest, FilterShowsWhatHoldsTheTextAndNoSecret) {
    Rows.SetText(u"Alpha=1\nbeta=ALP\ngamma=3\npin=alp\nалый=цвет");
    const auto Shown = [&](std::u16string_view Filter) {
        Rows.SetFilter(Filter);
        std::vector<std::u16string> Names;
        for (int Index = 0; Index < Rows.Count(); ++Index) Names.push_back(Rows.Row(Index).Name);
        return Names;
    };
    EXPECT_THAT(Shown(u"aLp"), ElementsAre(u"Alpha", u"beta"));
    EXPECT_THAT(Shown(u"АЛ"), ElementsAre(u"алый"));
    EXPECT_THAT(Shown(u"PI"), ElementsAre(u"pin"));
    EXPECT_THAT(Shown(u"gam"), ElementsAre(u"gamma"));
    Rows.SetName(0, u"delta"); // stays until the filter changes
    EXPECT_EQ(Rows.Count(), 1);
    EXPECT_THAT(Shown(u"gam"), ElementsAre(u"delta"));
    EXPECT_THAT(Shown(u"gamm"), ElementsAre());
}

TEST_F(TParamsRowsTest, PasteFollowsTheShapeOfTheCells) {
    struct TCase {
        std::u16string_view Cells;
        TParamColumn Column;
        std::vector<int> Selected;
        std::u16string_view Text;
    };
    for (const TCase& Case : std::vector<TCase>{
             {u"B\t9\r\nd\t4\r\nD\t5", TParamColumn::Value, {}, u"a=1\r\nd=5\r\nb=9\r\nc=3"},
             {u"b=9\nnew=x=y\nc", TParamColumn::Name, {}, u"a=1\r\nnew=x=y\r\nb=9\r\nc=3"},
             {u"x=y", TParamColumn::Value, {0, 2}, u"a=x=y\r\nb=2\r\nc=x=y"},
             {u"7", TParamColumn::Name, {0, 2}, u"7=1\r\nb=2\r\nc=3"},
             {u"7\n8\n9\n10", TParamColumn::Value, {0}, u"a=7\r\nb=8\r\nc=9\r\n=10"},
         }) {
        Rows.SetText(u"a=1\nb=2\nc=3");
        EXPECT_TRUE(Rows.Paste(CellsFromText(Case.Cells), 0, Case.Column, Case.Selected));
        EXPECT_EQ(Rows.Text(), Case.Text);
    }
    EXPECT_EQ(Rows.UnfitForText(), 3);
}

TEST_F(TParamsRowsTest, AListsEventMayKeepAValue) {
    TParamsList List;
    List.SetAsString(u"a=1\r\nb=2");
    Rows.Load(List);
    Rows.SetValue(0, u"9");
    Rows.SetValue(1, u"8");
    Rows.Insert(2, {{u"c", u"7"}});
    std::vector<std::u16string> Asked;
    List.SetOnSetParamValue([&](std::u16string_view Name, std::u16string_view, bool& CanSet) {
        Asked.emplace_back(Name);
        CanSet = Name == u"b";
    });
    Rows.Store(List);
    EXPECT_EQ(List.GetAsString(), u"a=1\r\nb=8");
    EXPECT_THAT(Asked, testing::UnorderedElementsAre(u"a", u"b", u"c"));
}

TEST_F(TParamsRowsTest, ForgetsTheOldestStepsWhenTheyTakeTooMuch) {
    const std::u16string Large(TParamsRows::MostKept / 4, u'x');
    Rows.Insert(0, {{u"a", {}}});
    Rows.SetSaved();
    for (const char16_t Mark : std::u16string_view(u"12345")) Rows.SetValue(0, Large + Mark);
    int Steps = 0;
    while (Rows.Undo()) ++Steps;
    EXPECT_GE(Steps, 1);
    EXPECT_LE(Steps, 3);
    EXPECT_TRUE(Rows.Modified());
}

// ---- the grid and the dialog, by keys

class ZuprmgrdTest : public testing::Test {
protected:
    ZuprmgrdTest() {
        Form.resize(500, 300);
        Grid.resize(500, 300);
        Form.show();
        Grid.setFocus();
        EXPECT_TRUE(QTest::qWaitForWindowActive(&Form));
    }
    // "F2 'text' Return": keys by their names, and texts that are typed.
    static void Press(const QString& Keys) {
        for (const QString& Word : Keys.split(' ')) {
            QWidget* const Focus = QApplication::focusWidget();
            if (Word.startsWith(u'\'')) {
                QTest::keyClicks(Focus, Word.mid(1, Word.size() - 2));
                continue;
            }
            const QKeyCombination Key = QKeySequence::fromString(Word)[0];
            QTest::keyClick(Focus, Key.key(), Key.keyboardModifiers());
            QCoreApplication::processEvents(); // a cell takes its text when the key is over
        }
    }
    QString Status() { return Grid.findChild<QLabel*>("Status")->text(); }

    QWidget Form;
    TParamsGrid& Grid = *new TParamsGrid(&Form);
};

TEST_F(ZuprmgrdTest, IsWorkedByKeysAlone) {
    Grid.SetFields({{.Name = u"Fast", .Kind = TParamKind::YesNo},
                    {.Name = u"Size", .Kind = TParamKind::Choice, .Choices = {u"S", u"M", u"L"}}});
    const std::vector<std::pair<const char*, const char*>> Script{
        {"Ins 'Port' Return F2 '80' Return", "Port=80"},
        {"Ins 'Fast' Return F2", "Port=80\r\nFast=True"},
        {"Ins 'Size' Return F2 Down Down Return", "Port=80\r\nFast=True\r\nSize=M"},
        {"Alt+Up Alt+Up", "Size=M\r\nPort=80\r\nFast=True"},
        {"Down Shift+F2 'Host' Return", "Size=M\r\nHost=80\r\nFast=True"},
        {"Ctrl+C Del", "Size=M\r\nFast=True"},
        {"Up Ctrl+V", "Size=M\r\nHost=80\r\nFast=True"},
        {"Ctrl+1 Ctrl+K", "Fast=True\r\nHost=80\r\nSize=M"},
        {"Ctrl+F 'host' Return Ctrl+A Del", "Fast=True\r\nSize=M"},
        {"Ctrl+Z Ctrl+Z", "Size=M\r\nHost=80\r\nFast=True"},
        {"Ctrl+Shift+Z", "Fast=True\r\nHost=80\r\nSize=M"},
        {"Ctrl+A Ctrl+Shift+C Del", "Fast=True\r\nSize=M"}, // the filter still hides the others
    };
    for (const auto& [Keys, Text] : Script) {
        Press(Keys);
        ASSERT_EQ(Grid.Text(), Text) << Keys;
    }
    EXPECT_EQ(QApplication::clipboard()->text(), "Host=80");
    Grid.SetReadOnly(true);
    Press("Ins Del Ctrl+V Ctrl+Z F2");
    EXPECT_EQ(Grid.Text(), Script.back().second);
}

TEST_F(ZuprmgrdTest, TellsFaultsAtTheCellAndBelow) {
    Grid.SetFields({{.Name = u"City", .Hint = u"Where it goes", .WrongValues = u"<"},
                    {.Name = u"Port", .Kind = TParamKind::Number, .Required = true}});
    Grid.SetText("a=1\nCity=x<y");
    Press("F8");
    const QModelIndex Cell = Grid.Table().currentIndex();
    const QString Message = "Value \"X<Y\" contain wrong symbol \"<\" at position 2.";
    EXPECT_EQ(Cell, Grid.Table().model()->index(1, 1));
    EXPECT_EQ(Cell.data(Qt::ToolTipRole).toString(), Message);
    EXPECT_EQ(Cell.data(Qt::AccessibleDescriptionRole).toString(), Message);
    EXPECT_EQ(Status(), Message + " — rows: 2, with a fault: 1, missing: Port");
    Press("F2 'Omsk' Return Ctrl+Home Up");
    EXPECT_EQ(Status(), "rows: 2, missing: Port");
    EXPECT_FALSE(Grid.Valid());
    EXPECT_EQ(Cell.siblingAtColumn(2).data().toString(), "Where it goes");
}

// Everything that an interface and those below it tell.
QString TextsOf(QAccessibleInterface* Shown) {
    QString Texts;
    for (const auto Kind :
         {QAccessible::Name, QAccessible::Description, QAccessible::Value, QAccessible::Help})
        Texts += Shown->text(Kind) + ' ';
    if (auto* Text = Shown->textInterface()) Texts += Text->text(0, Text->characterCount()) + ' ';
    for (int Child = 0; Child < Shown->childCount(); ++Child)
        if (auto* Below = Shown->child(Child)) Texts += TextsOf(Below);
    return Texts;
}

TEST_F(ZuprmgrdTest, KeepsSecretsFromEverybody) {
    Grid.SetFields({{.Name = u"Code", .Kind = TParamKind::Secret, .RightValues = u"0-9"}});
    Grid.SetText("Code=Xyzzy\nDbPassword=Xyzzy\nCity=Omsk");
    for (int Row = 0; Row < 2; ++Row)
        for (int Role = 0; Role < Qt::UserRole; ++Role) {
            const QString Told = Grid.Table().model()->index(Row, 1).data(Role).toString();
            EXPECT_EQ(Role != Qt::EditRole && Told.contains("xyzzy", Qt::CaseInsensitive), false) << Role;
        }
    Press("Ctrl+A Ctrl+C F8 F2"); // and while it is edited
    const QString Texts = TextsOf(QAccessible::queryAccessibleInterface(&Form));
    EXPECT_TRUE(Texts.contains("Omsk"));
    EXPECT_FALSE(Texts.contains("xyzzy", Qt::CaseInsensitive));
    EXPECT_FALSE(Status().contains("xyzzy", Qt::CaseInsensitive));
    EXPECT_EQ(QApplication::clipboard()->text(), "Code\t\r\nDbPassword\t\r\nCity\tOmsk\r\n");
    Press("Escape");
    EXPECT_EQ(Grid.Text(), "Code=Xyzzy\r\nDbPassword=Xyzzy\r\nCity=Omsk");
}

TEST_F(ZuprmgrdTest, KeysAreChangedKeptAndNeverGivenTwice) {
    std::vector<QKeySequence> Keys;
    for (const QAction* Action : Grid.Keys().Actions()) {
        EXPECT_FALSE(Action->shortcut().isEmpty()) << Action->text().toStdString();
        EXPECT_THAT(Keys, testing::Not(testing::Contains(Action->shortcut())));
        Keys.push_back(Action->shortcut());
    }
    QStringList Told;
    QObject::connect(&Grid, &TParamsGrid::OnComplaint, &Grid, [&](const QString& Text) { Told += Text; });
    Grid.SetHotKeys({"insert=Ctrl+I", "rename=Ctrl+I", "unknown=F1", "choose=F2", "malformed"});
    EXPECT_EQ(Told.size(), 2); // rename has none; edit gave F2 away
    EXPECT_EQ(Grid.HotKeys(), QStringList({"insert=Ctrl+I", "edit=", "rename=", "choose=F2"}));

    Grid.setObjectName("Grid");
    Form.setObjectName("Form");
    const QTemporaryDir Folder;
    const auto Storage = [&] {
        auto Kept = std::make_unique<TQtFormStorage>(&Form);
        Kept->setIniFileName(Folder.filePath("keys.ini"));
        Kept->setStoredProps({"Grid.HotKeys"});
        return Kept;
    };
    Storage()->Storage().SaveProperties();
    Grid.SetHotKeys({});
    EXPECT_EQ(Grid.HotKeys(), QStringList());
    Storage()->Storage().RestoreProperties();
    EXPECT_EQ(Grid.HotKeys(), QStringList({"insert=Ctrl+I", "edit=", "rename=", "choose=F2"}));
    Press("Ctrl+I 'x' Return");
    EXPECT_EQ(Grid.Text(), "x=");

    QAction Print("&Print");
    Print.setShortcut(QKeySequence("Ctrl+P"));
    Print.setParent(&Form);
    Press("Ctrl+Shift+K");
    auto* Dialog = Grid.findChild<QDialog*>();
    ASSERT_NE(Dialog, nullptr);
    auto* Ok = Dialog->findChild<QDialogButtonBox*>()->button(QDialogButtonBox::Ok);
    Dialog->findChild<QKeySequenceEdit*>("delete")->setKeySequence(QKeySequence("Ctrl+P"));
    EXPECT_EQ(Dialog->findChild<QLabel*>("Conflict")->text(),
              "Ctrl+P is the key of \"Print\" and of \"Delete rows\"");
    EXPECT_FALSE(Ok->isEnabled());
    Dialog->findChild<QKeySequenceEdit*>("delete")->setKeySequence(QKeySequence("Ctrl+D"));
    Ok->click();
    EXPECT_TRUE(Grid.HotKeys().contains("delete=Ctrl+D"));
}

TEST_F(ZuprmgrdTest, FilesComeAndGoWithoutWaiting) {
    const QTemporaryDir Folder;
    const QString File = Folder.filePath("list.txt");
    QSignalSpy Done(&Grid, &TParamsGrid::FileDone);
    QSignalSpy Told(&Grid, &TParamsGrid::OnComplaint);
    Grid.SetText("Город=Омск\nb=2");
    Grid.SaveFile(File);
    EXPECT_EQ(Done.size(), 0);
    ASSERT_TRUE(Done.wait(60'000));
    EXPECT_FALSE(Grid.Modified());
    Grid.SetText("other=1");
    Grid.LoadFile(File);
    ASSERT_TRUE(Done.wait(60'000));
    EXPECT_EQ(Grid.Text(), "Город=Омск\r\nb=2");
    Press("Ctrl+Z");
    EXPECT_EQ(Grid.Text(), "other=1");
    Grid.LoadFile(Folder.filePath("missing"));
    ASSERT_TRUE(Told.wait(60'000));
    Grid.Rows().SetValue(0, u"two\nlines");
    Grid.SaveFile(File);
    EXPECT_EQ(Told.size(), 2);
    EXPECT_TRUE(Status().isEmpty() || Told.back()[0].toString().contains("Row 1"));
}

// Runs `Act` in the dialog that `Ask` shows.
bool AskAnd(TParamsList& List, std::vector<TParamField> Fields,
            const std::function<void(TAskValuesDlg&)>& Act) {
    QTimer::singleShot(0, [&] {
        auto* Dialog = qobject_cast<TAskValuesDlg*>(QApplication::activeModalWidget());
        ASSERT_NE(Dialog, nullptr);
        EXPECT_TRUE(QTest::qWaitForWindowActive(Dialog));
        Act(*Dialog);
        if (Dialog->isVisible()) Dialog->reject();
    });
    return TAskValuesDlg::Ask(List, "Connect", "Where?", std::move(Fields));
}

TEST(Zuaskval, TakesAnswersOnlyWhenAllPass) {
    const std::vector<TParamField> Fields{
        {.Name = u"Port", .Label = u"Po&rt", .Kind = TParamKind::Number, .Required = true, .Most = 99},
        {.Name = u"Fast", .Kind = TParamKind::YesNo}};
    TParamsList List;
    List.SetAsString(u"Host=here\r\nFast=1\r\nPIN=Xyzzy");
    int Stores = 0;
    List.SetOnSetParamValue([&](std::u16string_view, std::u16string_view, bool&) { ++Stores; });
    const auto Type = [](const QString& Text) {
        QTest::keyClick(QApplication::focusWidget(), Qt::Key_A, Qt::ControlModifier);
        QTest::keyClicks(QApplication::focusWidget(), Text);
    };
    EXPECT_FALSE(AskAnd(List, Fields, [&](TAskValuesDlg& Dialog) {
        EXPECT_EQ(Dialog.Why(), "Po&rt: A value is wanted");
        Type("100");
        EXPECT_EQ(Dialog.Why(), "Po&rt: The most is 99");
        QTest::keyClick(QApplication::focusWidget(), Qt::Key_Return);
        EXPECT_TRUE(Dialog.isVisible());
        EXPECT_EQ(Dialog.findChild<QLabel*>("Why")->text(), Dialog.Why());
        EXPECT_FALSE(TextsOf(QAccessible::queryAccessibleInterface(&Dialog)).contains("Xyzzy"));
        Type("80");
        QTest::keyClick(QApplication::focusWidget(), Qt::Key_Escape);
    }));
    EXPECT_EQ(List.GetAsString(), u"Host=here\r\nFast=1\r\nPIN=Xyzzy");
    EXPECT_EQ(Stores, 0);
    EXPECT_TRUE(AskAnd(List, Fields, [&](TAskValuesDlg& Dialog) {
        Type("80");
        EXPECT_TRUE(Dialog.Valid());
        QTest::keyClick(QApplication::focusWidget(), Qt::Key_Return);
    }));
    EXPECT_EQ(List.GetAsString(), u"Host=here\r\nFast=1\r\nPIN=Xyzzy\r\nPort=80");
    EXPECT_EQ(Stores, 1);
}

} // namespace

} // namespace zutools::tests
