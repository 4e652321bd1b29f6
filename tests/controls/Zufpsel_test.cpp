#include "controls/PathMacros.h"
#include "controls/Zufpsel.h"

#include <gmock/gmock.h>

#include <QComboBox>
#include <QLabel>
#include <QSignalSpy>
#include <QSpinBox>
#include <QTemporaryDir>
#include <QTest>

namespace zutools::tests {

namespace {

// %Date% and %UserName% have values, %PID% brings itself again, the others are empty.
QString Value(const QString& Macro) {
    if (Macro == u"%Date%") return "2026-11-21";
    if (Macro == u"%UserName%") return "anna";
    return Macro == u"%PID%" ? "x%PID%" : "";
}

struct TWithMacros {
    TWithMacros() { CorrectPath = Value; }
    ~TWithMacros() { CorrectPath = nullptr; }
};

TEST(PathMacros, ExpandAndCollapse) {
    EXPECT_EQ(MacroNames().size(), 13);
    EXPECT_EQ(ExpandMacros("/log/%Date%").Path, "/log/%Date%"); // without a host
    const TWithMacros Host;
    const TExpandedPath Expanded = ExpandMacros("/home/%UserName%/%Date%/%UserName%-%date%-%Time%.log");
    EXPECT_EQ(Expanded.Path, "/home/anna/2026-11-21/anna-%date%-.log");
    EXPECT_EQ(Expanded.Used.size(), 3U);
    EXPECT_EQ(CollapseMacros("/home/anna/2026-11-21/other.log", Expanded),
              "/home/%UserName%/%Date%/other.log");
    EXPECT_LE(ExpandMacros("%PID%").Path.size(), LongestPath); // and ends
}

TEST(PathMacros, TheFirstFaultIsTold) {
    struct TCase {
        const char* Path;
        qsizetype At; // -1: none
        bool Unclosed;
    };
    for (const auto& [Path, At, Unclosed] : std::vector<TCase>{{"/a", -1, false},
                                                               {"%Date%%PID%", -1, false},
                                                               {"/%Dat%/%PID", 1, false},
                                                               {"/%PID%/%Date", 7, true},
                                                               {"100%", 3, true}}) {
        const auto Fault = FindMacroFault(Path);
        EXPECT_EQ(Fault ? Fault->At : -1, At) << Path;
        EXPECT_EQ(Fault && Fault->Unclosed, Unclosed) << Path;
    }
}

TEST(Zufpsel, OpensByTheDesktopsProgramOrTellsWhyNot) {
    const QTemporaryDir Folder;
    const QString Program = Folder.filePath("xdg-open");
    QFile Script(Program);
    ASSERT_TRUE(Script.open(QIODevice::WriteOnly));
    Script.write("#!/bin/sh\nprintf '%s' \"$1\" >\"$0.part\" && mv \"$0.part\" \"$0.told\"\n");
    Script.close();
    ASSERT_TRUE(Script.setPermissions(QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner));
    const QByteArray Before = qgetenv("PATH");
    qputenv("PATH", Folder.path().toLocal8Bit() + ':' + Before);
    TZUFilePathChoser Chooser;
    QSignalSpy Failed(&Chooser, &TZUFilePathChoser::OpenFailed);
    Chooser.SetFileName(Folder.filePath("gone.log"));
    Chooser.OpenData();
    ASSERT_TRUE(QTest::qWaitFor([&] { return Failed.size() == 1; }));
    EXPECT_EQ(Failed[0][0].toString(), Folder.filePath("gone.log") + " is not there");
    EXPECT_EQ(Chooser.findChild<QLabel*>("Preview")->text(), Failed[0][0].toString());
    Chooser.ExploreData();
    QFile Told(Program + ".told");
    ASSERT_TRUE(QTest::qWaitFor([&] { return Told.exists(); }));
    ASSERT_TRUE(Told.open(QIODevice::ReadOnly));
    EXPECT_EQ(Told.readAll(), Folder.path().toLocal8Bit());
    EXPECT_EQ(Failed.size(), 1);
    qputenv("PATH", Before);
}

TEST(Zufpsel, SizesInUnits) {
    TZUFilePathChoser Chooser;
    auto* Number = Chooser.findChild<QSpinBox*>();
    struct TCase {
        qint64 Size;
        int Unit;
        int Shown;
    };
    for (const auto& [Size, Unit, Shown] : std::vector<TCase>{{3145728, 2, 3},
                                                              {2048, 1, 2},
                                                              {1536, 0, 1536},
                                                              {1LL << 41, 4, 2},
                                                              {1LL << 52, 4, 4096},
                                                              {(1LL << 40) + 1, 0, 2147483647},
                                                              {0, 0, 0}}) {
        Chooser.SetMaxFileSize(Size);
        EXPECT_EQ(Chooser.FileSizeUnit(), Unit) << Size;
        EXPECT_EQ(Number->value(), Shown) << Size;
        EXPECT_EQ(Chooser.MaxFileSize(), Size); // also what the field cannot show
        EXPECT_EQ(Chooser.SizeLimitEnabled(), Size > 0);
    }
    Chooser.SetMaxFileSize(3 * 1024 * 1024 + 1024);
    EXPECT_EQ(Chooser.FileSizeUnit(), 1);
    Chooser.SetFileSizeUnit(2);
    EXPECT_EQ(Number->value(), 3);
    EXPECT_EQ(Chooser.MaxFileSize(), 3 * 1024 * 1024 + 1024);
    Number->setValue(5);
    EXPECT_EQ(Chooser.MaxFileSize(), 5 * 1024 * 1024);
}

TEST(Zufpsel, ChoosesWithTheMacrosExpandedAndKeepsThem) {
    const TWithMacros Host;
    TZUFilePathChoser Chooser;
    QString Asked;
    Chooser.OnChoose = [&Asked](QString& Path) {
        Asked = Path;
        Path = "/home/anna/new.log";
        return true;
    };
    Chooser.SetFileName("/home/%UserName%/old.log");
    EXPECT_EQ(Chooser.Preview(), "/home/anna/old.log");
    EXPECT_TRUE(Chooser.Choose());
    EXPECT_EQ(Asked, "/home/anna/old.log");
    EXPECT_EQ(Chooser.FileName(), "/home/%UserName%/new.log");
    Chooser.SetFileName("/home/%User%");
    EXPECT_EQ(Chooser.findChild<QLabel*>("Preview")->text(), "Character 7: no macro is called \"User\"");

    auto* Edit = Chooser.findChild<TZUEdit*>();
    Edit->setText("/log/old/a");
    Edit->setSelection(5, 3);
    Edit->InsertMacro("PID");
    EXPECT_EQ(Edit->text(), "/log/%PID%/a");
    EXPECT_EQ(Edit->cursorPosition(), 10);
}

TEST(Zufpsel, ThePercentSignOffersTheMacros) {
    TZUFilePathChoser Chooser;
    Chooser.SetDropDown(true);
    Chooser.show();
    auto* Combo = Chooser.findChild<QComboBox*>("cbFPChooser");
    QTest::keyClicks(Combo->lineEdit(), "/log/%");
    ASSERT_EQ(Combo->count(), 13);
    EXPECT_EQ(Combo->itemText(1), "/log/%PID%");
    EXPECT_EQ(Combo->currentIndex(), -1);
    EXPECT_EQ(Chooser.FileName(), "/log/%");
    EXPECT_EQ(Combo->lineEdit()->cursorPosition(), 6);
    Combo->hidePopup();
}

struct TLoger final : TKXLoger {
    TLogerSettings Held;
    [[nodiscard]] TLogerSettings Settings() const override { return Held; }
    void SetFileName(const QString& Value) override { Held.FileName = Value; }
    void SetEnabled(bool Value) override { Held.Enabled = Value; }
    void SetHeader(const QString& Value) override { Held.Header = Value; }
    void SetTimeFormat(const QString& Value) override { Held.TimeFormat = Value; }
    void SetAttemptsCount(int Value) override { Held.AttemptsCount = Value; }
    void SetWaitTimeout(int Value) override { Held.WaitTimeout = Value; }
    void SetMaxFileSize(std::int64_t Value) override { Held.MaxFileSize = Value; }
    void SetErrorHandlerType(int Value) override { Held.ErrorHandlerType = Value; }
    void SetWriteImmediately(bool Value) override { Held.WriteImmediately = Value; }
    void SetDisableOnError(bool Value) override { Held.DisableOnError = Value; }
    void SetNotUseLogerThread(bool Value) override { Held.NotUseLogerThread = Value; }
    void SetLogType(const QString& Value) override { Held.LogType = Value; }
    void SetTraceID(const QString& Value) override { Held.TraceID = Value; }
    void SetGenerateTraceID(bool Value) override { Held.GenerateTraceID = Value; }
};

TEST(Zufpsel, ALoggersSettingsComeBackAsTheyWere) {
    TLoger Loger;
    Loger.Held = {"/log/a", true, "Head", "[hh]", 7, 90, 13, true, true, true, 4096, "Type", "ID", true};
    const TLogerSettings Whole = Loger.Held;
    for (const bool Full : {true, false}) {
        TZUFilePathChoser Chooser;
        EXPECT_EQ(Chooser.TimeFormat(), "[dd.mm.yyyy hh:nn:ss] : ");
        EXPECT_EQ(Chooser.AttemptsCount(), 5);
        EXPECT_EQ(Chooser.WaitTimeout(), 500);
        Chooser.EditTracer(Loger, Full);
        EXPECT_TRUE(Chooser.ShowTracerParams() && Chooser.ShowSizeLimit() && !Chooser.ShowSizeUnit());
        TLoger Other;
        Chooser.CommitTracer(Other, Full);
        TLogerSettings Expected = Whole;
        if (!Full) {
            Expected.LogType = Expected.TraceID = QString();
            Expected.GenerateTraceID = false;
        }
        EXPECT_EQ(Other.Held, Expected) << Full;
        Chooser.SetWaitTimeout(91);
        EXPECT_EQ(Chooser.WaitTimeout(), 91);
        EXPECT_EQ(Chooser.AttemptsCount(), 7);
    }
}

} // namespace

} // namespace zutools::tests
