#include "controls/ChooserLayout.h"
#include "controls/FolderTree.h"
#include "controls/PathWorker.h"
#include "controls/Zufpchooser.h"
#include "controls/Zuseldir.h"

#include <gmock/gmock.h>

#include <QApplication>
#include <QDialog>
#include <QDir>
#include <QLabel>
#include <QLineEdit>
#include <QTemporaryDir>
#include <QTest>
#include <QTimer>
#include <QTreeView>

#include <future>

namespace zutools::tests {

namespace {

struct TChooserCase {
    TChooserParts Parts;
    QRect Label, Edit, Button;
};

TEST(ChooserLayout, PlacesLabelEditAndButton) {
    TChooserParts Parts;
    Parts.Own = QSize(200, 50);
    Parts.Label = QSize(40, 15);
    Parts.EditHeight = 22;
    Parts.ButtonWidth = 22;
    std::vector<TChooserCase> Cases(4, {Parts, {}, {}, {}});
    Cases[0] = {Parts, {0, 0, 40, 15}, {0, 18, 178, 22}, {178, 18, 22, 22}};
    Parts.HorzIndent = 5;
    Parts.VertIndent = 2;
    Cases[1] = {Parts, {5, 2, 40, 15}, {5, 20, 168, 22}, {173, 20, 22, 22}};
    Parts.Position = TLabelPosition::lpLeft; // (50 - 15) / 2 = 17.5 -> 18, and the indent counts twice
    Cases[2] = {Parts, {5, 18, 40, 15}, {53, 14, 125, 22}, {173, 14, 22, 22}};
    Parts.HorzIndent = 0;
    Parts.ButtonVisible = false;
    Parts.Label.setHeight(17); // 16.5 -> 16
    Cases[3] = {Parts, {0, 16, 40, 17}, {43, 14, 157, 22}, {178, 14, 22, 22}};
    for (const TChooserCase& Case : Cases) {
        const TChooserLayout Layout = LayOutChooser(Case.Parts);
        EXPECT_EQ(Layout.Label, Case.Label);
        EXPECT_EQ(Layout.Edit, Case.Edit);
        EXPECT_EQ(Layout.Button, Case.Button);
    }
    EXPECT_EQ(ChooserHeight(Cases[0].Parts), 15 + 3 + 22);
    EXPECT_EQ(ChooserHeight(Cases[2].Parts), 22);
}

TEST(Zufpchooser, KeepsItsDistanceFromAnchors) {
    using TAnchors = TZUFPChooser::TAnchors;
    constexpr auto Left = TZUFPChooser::akLeft;
    constexpr auto Top = TZUFPChooser::akTop;
    constexpr auto Right = TZUFPChooser::akRight;
    constexpr auto Bottom = TZUFPChooser::akBottom;
    struct TCase {
        TAnchors Anchors;
        QRect Place; // in a parent that grew from 200 x 100 to 240 x 130
    };
    for (const auto& [Anchors, Place] : std::vector<TCase>{{{Left, Top}, {10, 20, 150, 50}},
                                                           {{Left, Top, Right}, {10, 20, 190, 50}},
                                                           {{Right, Bottom}, {50, 50, 150, 50}},
                                                           {{Top, Bottom}, {30, 20, 150, 80}},
                                                           {{}, {30, 35, 150, 50}}}) {
        QWidget Other;
        QWidget Form;
        Form.resize(200, 100);
        TZUFPChooser Chooser(&Other);
        Chooser.setParent(&Form);
        Chooser.setGeometry(10, 20, 150, 50);
        Chooser.SetAnchors(Anchors);
        Form.show();
        Chooser.show();
        Other.resize(500, 500);
        Form.resize(240, 130);
        EXPECT_EQ(Chooser.geometry(), Place) << Anchors.toInt();
    }
}

TEST(KeptOnPurpose, ALabelPositionMovesNothingUntilTheNextLayout) {
    TZUFPChooser Chooser;
    Chooser.SetInfoText("&File");
    Chooser.resize(300, 60);
    Chooser.show();
    auto* Edit = Chooser.findChild<TZUFPChooserEdit*>();
    const QRect Before = Edit->geometry();
    Chooser.SetLabelPosition(TZUFPChooser::lpLeft);
    Chooser.SetLabelSpacing(20);
    EXPECT_EQ(Edit->geometry(), Before);
    Chooser.resize(301, 60);
    EXPECT_GT(Edit->x(), Before.x() + 20);
}

TEST(Zufpchooser, ChoosesAFileOrAFolder) {
    TZUFPChooser Chooser;
    Chooser.SetOpenDialogCaption("Open");
    QStringList Asked;
    bool Answer = true;
    const auto Hook = [&](const char* Name) {
        return [&Asked, &Answer, Name](QWidget*, const QString& Title, QString& Path) {
            Asked += Name + Title + Path;
            Path = "/chosen";
            return Answer;
        };
    };
    Chooser.OnChooseFile = Hook("file ");
    Chooser.KX_SelectDirectory = Hook("folder ");
    Chooser.SetText("/a");
    EXPECT_TRUE(Chooser.Choose());
    EXPECT_EQ(Chooser.Text(), "/chosen");
    Chooser.SetText("/b");
    Chooser.SetObjectType(TZUFPChooser::otDirectory);
    Answer = false;
    EXPECT_FALSE(Chooser.Choose());
    EXPECT_EQ(Chooser.Text(), "/b");
    EXPECT_EQ(Asked, (QStringList{"file Open/a", "folder Open/b"}));
}

TEST(Zufpchooser, HistoryTellsWhatIsGone) {
    const QTemporaryDir Folder;
    TZUFPChooser Chooser;
    Chooser.SetText("typed");
    Chooser.SetHistoryList({});
    EXPECT_EQ(Chooser.Text(), "typed");
    Chooser.SetHistoryList({Folder.path(), Folder.path() + "/gone"});
    EXPECT_EQ(Chooser.Text(), Folder.path());
    EXPECT_EQ(Chooser.HistoryList().size(), 2);
    auto* Edit = Chooser.findChild<TZUFPChooserEdit*>();
    ASSERT_TRUE(QTest::qWaitFor([&] { return !Edit->itemData(1, Qt::ToolTipRole).toString().isEmpty(); }));
    EXPECT_EQ(Edit->itemData(1, Qt::ToolTipRole).toString(), Folder.path() + "/gone is not there now");
    EXPECT_EQ(Edit->itemData(0, Qt::ToolTipRole).toString(), "");
}

TEST(Zufpchooser, CompletesWhatIsTyped) {
    const QTemporaryDir Folder;
    ASSERT_TRUE(QDir(Folder.path()).mkpath("orders/2026"));
    QFile(Folder.filePath("order.txt")).open(QIODevice::WriteOnly);
    TZUFPChooser Chooser;
    auto* Line = Chooser.findChild<QLineEdit*>();
    const QString Typed = Folder.path() + "/ord";
    QTest::keyClicks(Line, Typed);
    ASSERT_TRUE(QTest::qWaitFor([&] { return Line->hasSelectedText(); }));
    EXPECT_EQ(Line->text(), Folder.path() + "/orders/");
    EXPECT_EQ(Line->selectedText(), "ers/");
    EXPECT_EQ(PathsBeginningWith(Typed, TPathKind::Folders, 10), QStringList{Folder.path() + "/orders/"});
    EXPECT_EQ(PathsBeginningWith(Typed, TPathKind::Files, 10).size(), 2);
    EXPECT_EQ(PathsBeginningWith(Typed, TPathKind::Files, 1).size(), 1);
    QTest::keyClick(Line, Qt::Key_Backspace); // who deletes wants it shorter
    EXPECT_EQ(Line->text(), Typed);
}

// A file system that never answers holds up its own threads only, and those are bounded.
TEST(PathWorker, IsBoundedAndOutlivesItsReceiver) {
    std::promise<void> Answer;
    const std::shared_future<void> Hangs = Answer.get_future().share();
    auto Receiver = std::make_unique<QObject>();
    int Answered = 0;
    const auto Ask = [&](QObject& Who) {
        return AskFileSystem(Who, [&Answered, Hangs]() -> std::function<void()> {
            Hangs.wait();
            return [&Answered] { ++Answered; };
        });
    };
    QObject Stays;
    for (int I = 0; I < MostAtOnce; ++I) EXPECT_TRUE(Ask(I == 0 ? Stays : *Receiver));
    EXPECT_FALSE(Ask(Stays));
    Receiver.reset();
    Answer.set_value();
    ASSERT_TRUE(QTest::qWaitFor([&] { return Answered == 1; }));
    ASSERT_TRUE(QTest::qWaitFor([&] { return Ask(Stays); }));
    ASSERT_TRUE(QTest::qWaitFor([&] { return Answered == 2; }));
}

TEST(Zuseldir, FlagsAndTheRecordOfTheBrowser) {
    TBrowseForFolder Browser;
    EXPECT_EQ(Browser.FolderName(), "C:\\");
    EXPECT_EQ(Browser.StatusText(), "Plase select folder");
    EXPECT_EQ(Browser.Caption(), "Select Folder");
    Browser.SetFlags({bf_EditBox, bf_ReturnOnlyFSDIRS});
    Browser.SetRoot(bl_DRIVES);
    TBrowseInfo Given;
    Browser.OnBrowse = [&Given](const TBrowseInfo& Info) -> std::optional<TBrowsed> {
        Given = Info;
        return std::nullopt;
    };
    EXPECT_FALSE(Browser.Execute());
    EXPECT_EQ(Browser.FolderName(), "C:\\");
    EXPECT_EQ(Given.Flags, 0x10U | 0x1U | 0x20U | 0x40U);
    EXPECT_EQ(Given.RootFolder, 17);
    EXPECT_EQ(Browser.GetFlags(), (TBrowseFlags{bf_EditBox, bf_ReturnOnlyFSDIRS}));
    Browser.SetRoot(bl_CUSTOM);
    Browser.SetRoot("/srv");
    Browser.Execute();
    EXPECT_EQ(Given.RootFolder, std::nullopt);
    EXPECT_EQ(Given.RootPath, "/srv");

    struct TRecorder final : TFolderBrowserWindow {
        void Send(unsigned Message, std::intptr_t Param, const QString& Text) override {
            Sent += QString("%1 %2 %3").arg(Message).arg(Param).arg(Text);
        }
        QStringList Sent;
    } Window;
    EXPECT_EQ(BrowseCallbackProc(Window, 1, {}, {"/a", "Status"}), 0);
    EXPECT_EQ(BrowseCallbackProc(Window, 4, "x", {}), 1);
    EXPECT_EQ(BrowseCallbackProc(Window, 1, {}, {}), 0);
    EXPECT_EQ(BrowseCallbackProc(Window, 2, {}, {"/a", "Status"}), 0);
    EXPECT_EQ(Window.Sent, (QStringList{"1127 1 /a", "1128 0 Status"}));
}

TEST(FolderDialog, OpensAtTheSelectionAndTakesTypedNamesThatExist) {
    const QTemporaryDir Folder;
    ASSERT_TRUE(QDir(Folder.path()).mkpath("one/two"));
    TBrowseForFolder Browser;
    Browser.SetRoot(bl_CUSTOM);
    Browser.SetRoot(Folder.path());
    Browser.SetFolderName(Folder.path() + "/one/two");
    Browser.SetFlags({bf_statustext, bf_EditBox});
    QStringList Seen;
    QTimer::singleShot(0, [&] {
        auto* Dialog = QApplication::activeModalWidget();
        auto* View = Dialog->findChild<QTreeView*>("Folders");
        auto* Path = Dialog->findChild<QLineEdit*>("Path");
        EXPECT_TRUE(QTest::qWaitFor([&] { return View->currentIndex().data() == "two"; }));
        Seen += Path->text();
        const auto Type = [&](const QString& Text) {
            Path->clear();
            QTest::keyClicks(Path, Text);
            QTest::keyClick(Path, Qt::Key_Return);
        };
        auto* Status = Dialog->findChild<QLabel*>("Status");
        Type(Folder.path() + "/nowhere");
        EXPECT_TRUE(QTest::qWaitFor([&] { return Status->text().startsWith("There is no folder"); }));
        EXPECT_TRUE(Dialog->isVisible());
        Type(Folder.path() + "/one");
    });
    EXPECT_TRUE(Browser.Execute());
    EXPECT_EQ(Seen, QStringList{Folder.path() + "/one/two"});
    EXPECT_EQ(Browser.FolderName(), Folder.path() + "/one");
    EXPECT_EQ(Browser.DisplayName(), "one");
}

TEST(FolderTree, FillsAsItIsOpenedAndReadsAnew) {
    const QTemporaryDir Folder;
    QDir Root(Folder.path());
    ASSERT_TRUE(Root.mkpath("b") && Root.mkpath("A") && Root.mkpath(".hidden"));
    TFolderTree Tree({{"root", Folder.path()}});
    const auto Names = [&] {
        QStringList Result;
        const QModelIndex Top = Tree.index(0, 0);
        for (int I = 0; I < Tree.rowCount(Top); ++I) Result += Tree.index(I, 0, Top).data().toString();
        return Result;
    };
    EXPECT_TRUE(Tree.canFetchMore(Tree.index(0, 0)));
    Tree.fetchMore(Tree.index(0, 0));
    ASSERT_TRUE(QTest::qWaitFor([&] { return Names().size() == 2; }));
    EXPECT_EQ(Names(), (QStringList{"A", "b"}));
    ASSERT_TRUE(Root.mkpath("c"));
    Tree.Refresh(Tree.index(0, 0));
    ASSERT_TRUE(QTest::qWaitFor([&] { return Names().size() == 3; }));
    Tree.SetShowHidden(true);
    QModelIndex Found;
    QObject::connect(&Tree, &TFolderTree::Found, &Tree, [&](const QModelIndex& Index) { Found = Index; });
    Tree.Reach(Folder.path() + "/.hidden/no/such");
    ASSERT_TRUE(QTest::qWaitFor([&] { return Found.isValid(); }));
    EXPECT_EQ(Found.data().toString(), ".hidden");
}

} // namespace

} // namespace zutools::tests
