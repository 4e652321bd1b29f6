#include "controls/Crprmsed.h"
#include "controls/CryptoGrid.h"
#include "controls/SecretClipboard.h"
#include "examples/cryptengine/CryptCore2x.h"
#include "tests/support/TestClock.h"

#include <gmock/gmock.h>

#include <QAccessible>
#include <QApplication>
#include <QClipboard>
#include <QComboBox>
#include <QDialog>
#include <QLabel>
#include <QLineEdit>
#include <QMessageBox>
#include <QMimeData>
#include <QPushButton>
#include <QSignalSpy>
#include <QTableView>
#include <QTemporaryDir>
#include <QTest>

namespace zutools::tests {

namespace {

class CrprmsedTest : public testing::Test {
protected:
    CrprmsedTest() {
        Editor.setObjectName("Editor");
        Editor.SetLibName(CRYPT_ENGINE);
        Editor.SetCryptoEngineType("TypeA");
    }
    void Fault(const char* Name) {
        reinterpret_cast<sample::TSetFault*>(Editor.LoadProcedure("SampleEngineFault"))(Name);
    }
    // The text of the next box, which is closed; "" when none comes although all events are done.
    QString Box(bool Comes = true) {
        const auto Find = [this] { return Editor.findChild<QMessageBox*>(); };
        if (Comes)
            EXPECT_TRUE(QTest::qWaitFor([&] { return Find() != nullptr; }));
        else
            QTest::qWait(0);
        if (Find() == nullptr) return {};
        const QString Text = Find()->windowTitle() + u'|' + Find()->text();
        Find()->reject();
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        return Text;
    }
    // Imports, and answers the preview with that key.
    void Import(const QByteArray& Bytes, Qt::Key Answer = Qt::Key_Return) {
        QFile File(Folder.filePath("values"));
        ASSERT_TRUE(File.open(QIODevice::WriteOnly));
        File.write(Bytes);
        File.close();
        Editor.ImportFrom(File.fileName());
        ASSERT_TRUE(QTest::qWaitFor([&] { return Editor.findChild<QDialog*>("ImportPreview") != nullptr; }));
        auto* Preview = Editor.findChild<QDialog*>("ImportPreview");
        ASSERT_TRUE(QTest::qWaitForWindowExposed(Preview));
        QTest::keyClick(Preview, Answer);
        ASSERT_TRUE(QTest::qWaitFor([&] { return Editor.findChild<QDialog*>("ImportPreview") == nullptr; }));
    }
    void ShowActive() {
        Editor.show();
        Editor.activateWindow();
        ASSERT_TRUE(QTest::qWaitForWindowActive(&Editor));
    }
    QString Shown(int Row) { return Table->model()->index(Row, 1).data().toString(); }

    QTemporaryDir Folder;
    TCryptoParamsEditor Editor;
    QTableView* Table = Editor.findChild<QTableView*>();
    QComboBox* Types = Editor.findChild<QComboBox*>("cbEngineType");
    QLabel* Status = Editor.findChild<QLabel*>("lbStatus");
};

TEST_F(CrprmsedTest, ByKeyboardFromTheTypeToTheSignature) {
    Editor.FillCryptoControls();
    EXPECT_EQ(Types->count(), 3);
    EXPECT_EQ(Shown(0), "Иванов Иван");
    ShowActive();
    Types->setFocus();
    QTest::keyClick(Types, Qt::Key_Tab);
    ASSERT_TRUE(Table->hasFocus());
    QTest::keyClick(Table, Qt::Key_Down);
    QTest::keyClick(Table, Qt::Key_Down);
    QTest::keyClicks(Table, "1"); // begins to edit
    auto* Edit = Table->findChild<QLineEdit*>();
    ASSERT_NE(Edit, nullptr);
    EXPECT_EQ(Edit->echoMode(), QLineEdit::Password);
    QTest::keyClicks(Edit, "234");
    QTest::keyClick(Edit, Qt::Key_Return);
    EXPECT_TRUE(QTest::qWaitFor([&] { return Editor.CryptoParams().contains("PIN=1234"); }));
    QTest::keyClick(&Editor, Qt::Key_C, Qt::AltModifier);
    EXPECT_EQ(Box(), "Ok|Ok");
    EXPECT_TRUE(Status->text().startsWith("Signature: 64 bytes in ")) << Status->text().toStdString();
    ShowActive();
    QTest::keyClick(Table, Qt::Key_Z, Qt::ControlModifier);
    EXPECT_THAT(Editor.CryptoParams(), testing::Contains(QString("PIN=")));
    QTest::keyClick(&Editor, Qt::Key_C, Qt::AltModifier);
    EXPECT_EQ(Box(), "Error|Error on SignData ErrCode: 7; ErrStr: Неверный ПИН: \r\nEditor");
}

TEST_F(CrprmsedTest, StoredValuesComeBackAndUnknownTypesStay) {
    Editor.SetCryptoParams({"container=own", "Владелец="});
    EXPECT_EQ(Editor.CryptoParams().size(), 2); // before the library is asked
    Editor.FillCryptoControls();
    EXPECT_EQ(Shown(0), "Иванов Иван");
    EXPECT_EQ(Shown(1), "own");

    TCryptoParamsEditor Other;
    Other.SetLibName(CRYPT_ENGINE);
    Other.SetCryptoEngineType("Gone");
    Other.SetCryptoParams({"A=1"});
    Other.SetInitCryptoControlsOnCreate(true);
    auto* OtherTypes = Other.findChild<QComboBox*>("cbEngineType");
    EXPECT_EQ(OtherTypes->count(), 4);
    EXPECT_EQ(OtherTypes->currentText(), "Gone");
    EXPECT_EQ(OtherTypes->currentIndex(), 0);
    EXPECT_EQ(Other.GetCryptoParams(), QStringList{"A=1"});
}

TEST_F(CrprmsedTest, KeptOnPurposeAnEmptyGridEmptiesCryptoParams) {
    Editor.SetCryptoParams({"Container=own"});
    EXPECT_EQ(Editor.CryptoParams().size(), 1); // what a form stores is not lost
    EXPECT_EQ(Editor.GetCryptoParams(), QStringList());
    EXPECT_EQ(Editor.CryptoParams(), QStringList());
    Editor.FillCryptoControls();
    EXPECT_EQ(Shown(1), "main");
}

TEST_F(CrprmsedTest, KeptOnPurposeALoadedLibraryStaysUntilFreeLib) {
    Editor.FillCryptoControls();
    Editor.SetLibName("nowhere.dll");
    Editor.SetCryptoParams({});
    EXPECT_EQ(Shown(1), "main");
    EXPECT_EQ(Box(false), "");
    Editor.FreeLib();
    Editor.FillCryptoParams();
    EXPECT_TRUE(Box().startsWith("Error|Error loading DLL '"));
}

TEST_F(CrprmsedTest, EveryErrorIsShownOnceAndKept) {
    Editor.SetLibName("nowhere.dll");
    Editor.FillCryptoControls();
    Editor.CheckClickHandler();
    const QString First = Box();
    EXPECT_TRUE(First.startsWith("Error|Error loading DLL '")) << First.toStdString();
    EXPECT_TRUE(First.endsWith(": \r\nEditor"));
    EXPECT_TRUE(Box().startsWith("Error|Error check CryptoEngine:"));
    EXPECT_EQ(Box(false), "");
    EXPECT_EQ(Types->currentText(), "TypeA");
    Editor.SetShowErrorMessage(false);
    Editor.HandleError(u"quiet");
    EXPECT_EQ(Box(false), "");
    EXPECT_EQ(Editor.LastError(), u"quiet");
}

TEST_F(CrprmsedTest, ImportsInOneStepWithAPreview) {
    Editor.FillCryptoControls();
    const QStringList Before = Editor.CryptoParams();
    Import("aa\nbb\ncc\n", Qt::Key_Escape);
    EXPECT_EQ(Editor.CryptoParams(), Before);
    Import("aa\nbb\ncc\n");
    EXPECT_EQ(Editor.CryptoParams().mid(0, 3), (QStringList{"Владелец=aa", "Container=bb", "PIN=cc"}));
    Import("[typeb]\nComment=\xCF\n"); // the user's 8-bit code page
    EXPECT_EQ(Types->currentText(), "TypeB");
    EXPECT_EQ(Editor.CryptoParams().size(), 3);
    EXPECT_FALSE(Shown(2).isEmpty());
    Editor.Undo();
    EXPECT_EQ(Types->currentText(), "TypeA");
    Editor.Undo();
    EXPECT_EQ(Editor.CryptoParams(), Before);
}

TEST_F(CrprmsedTest, SecretsAreForOnePersonsEyes) {
    Editor.SetCryptoEngineType("TypeB");
    Editor.FillCryptoControls();
    ShowActive();
    Table->setFocus();
    Table->setCurrentIndex(Table->model()->index(1, 1));
    const QString Secret = "k-778";
    const auto Told = [&] {
        QString Result;
        QAccessibleInterface* Cells = QAccessible::queryAccessibleInterface(Table);
        for (int I = 0; I < Cells->childCount(); ++I)
            for (const auto Part : {QAccessible::Name, QAccessible::Value, QAccessible::Description})
                Result += Cells->child(I)->text(Part) + u'\n';
        return Result;
    };
    const QImage Masked = Editor.grab().toImage();
    EXPECT_EQ(Shown(1).size(), 8);
    EXPECT_TRUE(Told().contains("Private key"));
    EXPECT_FALSE(Told().contains(Secret));
    QTest::keyClick(&Editor, Qt::Key_S, Qt::AltModifier);
    EXPECT_TRUE(QTest::qWaitFor([&] { return Shown(1) == Secret; }));
    EXPECT_FALSE(Told().contains(Secret));
    EXPECT_NE(Editor.grab().toImage(), Masked);
    Editor.hide();
    ShowActive();
    EXPECT_EQ(Shown(1).size(), 8);
    Table->setFocus();
    QTest::keyClick(Table, Qt::Key_C, Qt::ControlModifier);
    EXPECT_EQ(QApplication::clipboard()->text(), Secret);
}

TEST(SecretClipboard, IsEmptyAfterHalfAMinute) {
    TTestClock Clock;
    QClipboard& Clipboard = *QApplication::clipboard();
    {
        TSecretClipboard Secrets(nullptr, Clock);
        Secrets.Put("1234");
        Clock.Advance(std::chrono::seconds(28));
        Secrets.Tick();
        EXPECT_EQ(Clipboard.text(), "1234");
        Clock.Advance(std::chrono::seconds(2));
        Secrets.Tick();
        EXPECT_EQ(Clipboard.text(), "");
        Secrets.Put("1234");
        Clipboard.setText("another's");
        Clock.Advance(std::chrono::minutes(1));
        Secrets.Tick();
        EXPECT_EQ(Clipboard.text(), "another's");
        Secrets.Put("1234");
    }
    EXPECT_EQ(Clipboard.text(), "");
}

#ifdef ZUHOST
TEST_F(CrprmsedTest, AnEngineThatFailsInItsOwnProcessLeavesTheFormAlone) {
    Editor.SetProbeInOwnProcess(true);
    Editor.SetProbeProgram(ZUHOST);
    QSignalSpy Answered(&Editor, &TCryptoParamsEditor::Answered);
    Editor.FillCryptoControls();
    ASSERT_TRUE(QTest::qWaitFor([&] { return Shown(0) == "Иванов Иван"; }, 60'000));
    EXPECT_FALSE(Editor.Loaded());
    Import("[typeb]\nComment=x\n");
    ASSERT_EQ(Types->currentText(), "TypeB");
    const auto Sign = [&](const char* Fault, int Timeout) {
        qputenv("ZU_SAMPLE_FAULT", Fault);
        Editor.SetProbeTimeout(Timeout);
        Answered.clear();
        Editor.CheckClickHandler();
        EXPECT_TRUE(QTest::qWaitFor([&] { return !Answered.isEmpty(); }, 90'000));
        qunsetenv("ZU_SAMPLE_FAULT");
        return Box();
    };
    EXPECT_EQ(Sign("", 60'000), "Ok|Ok");
    EXPECT_TRUE(Status->text().startsWith("Signature: 64 bytes in "));
    EXPECT_TRUE(Sign("crash@SignData", 60'000).contains("the engine crashed in SignData: "));
    EXPECT_TRUE(Sign("hang@SignData", 1000).contains("did not answer within 1000 ms, in SignData"));
    Editor.SetProbeProgram("no-such-program");
    EXPECT_TRUE(Sign("", 1000).contains("The probe \"no-such-program\" cannot be started"));
    // A question that is given up, by another one or by the end of the control, is never answered.
    Editor.SetProbeProgram(ZUHOST);
    qputenv("ZU_SAMPLE_FAULT", "hang@SignData");
    Editor.CheckClickHandler();
    qunsetenv("ZU_SAMPLE_FAULT");
    Editor.FillCryptoParams();
    ASSERT_TRUE(QTest::qWaitFor([&] { return Shown(0) == "Ed25519"; }, 60'000));
    EXPECT_EQ(Box(false), "");
}
#endif

} // namespace

} // namespace zutools::tests
