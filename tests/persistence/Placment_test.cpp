#include "persistence/Placment.h"

#include "host/Exception.h"
#include "host/Format.h"
#include "host/Variant.h"
#include "platform/File.h"
#include "platform/SettingsFile.h"
#include "platform/Text.h"
#include "tests/persistence/FormDouble.h"
#include "tests/persistence/Things.h"
#include "tests/support/Raised.h"
#include "tests/support/TempFolder.h"

#include <gmock/gmock.h>

#include <random>

namespace zutools::tests {

namespace {

class FormStorage : public testing::Test {
protected:
    void SetUp() override {
        FApplication.Executable = FFolder.File(u"x.exe");
        FStorage.SetStoredPlacement(true);
        FStorage.SetActive(true);
    }
    // The settings file as it is now.
    [[nodiscard]] std::u16string Kept(std::u16string_view Key) const {
        return platform::TSettingsFile(FFolder.File(u"x.prm")).Read(u"Form1", Key).value_or(u"(none)");
    }
    void Keep(std::u16string_view Key, std::u16string_view Value) const {
        platform::TSettingsFile File(FFolder.File(u"x.prm"));
        File.Write(u"Form1", Key, Value);
        File.Flush();
    }

    TTempFolder FFolder;
    TApplicationDouble FApplication;
    TFormDouble FForm;
    TKXFormStorage& FStorage = *new TKXFormStorage(&FForm, FApplication);
};

TEST_F(FormStorage, FileAndSectionHaveTheirDefaults) {
    const struct {
        bool Registry;
        std::u16string_view Program, Given, Name;
    } Rows[] = {
        {false, u"C:\\app\\x.exe", u"", u"C:\\app\\x.prm"},
        {true, u"C:\\app\\x.exe", u"", u"x"},
        {false, u"C:\\app\\x.exe", u"y.ini", u"C:\\app\\y.ini"},
        {false, u"C:\\app\\x.exe", u"d\\y", u"d\\y"},
        {false, u"/opt/a.b/x", u"", u"/opt/a.b/x.prm"},
        {true, u"/opt/x", u"Company\\App", u"Company\\App"},
    };
    for (const auto& Row : Rows) {
        FApplication.Executable = Row.Program;
        FStorage.SetUseRegistry(Row.Registry);
        FStorage.SetIniFileName(Row.Given);
        FStorage.CheckParams();
        EXPECT_EQ(FStorage.IniFileName(), Row.Name);
    }
    EXPECT_EQ(FStorage.IniSection(), u"Form1");
    EXPECT_EQ(FStorage.Options(),
              TPlacementOptions({TPlacementOption::fpState, TPlacementOption::fpPosition}));
    EXPECT_EQ(TKXFormStorage(nullptr, FApplication).Options(), TPlacementOptions());
}

TEST_F(FormStorage, WritesTheKeysOfAPlacement) {
    FForm.Window = {2, swShowMaximized, {1, 2}, {3, 4}, {10, 20, 310, 220}};
    FForm.Focus = u"Edit1";
    FStorage.SetOptions({TPlacementOption::fpActiveControl});
    FStorage.SaveProperties();
    EXPECT_EQ(
        platform::TReadFile(FFolder.File(u"x.prm")).ReadAll(),
        "[Form1]\r\nFlags=2\r\nShowCmd=3\r\nPixelsPerInch=96\r\nMinMaxPos(1920x1080)=1,2,3,4\r\nMinMaxPos=1,"
        "2,3,4\r\n"
        "NormPos(1920x1080)=10,20,310,220\r\nNormPos=10,20,310,220\r\nActiveControl=Edit1\r\nVisible=1\r\n");
    FApplication.Main = &FForm;
    FApplication.Minimized = true;
    FForm.Style = TFormStyle::fsMDIChild;
    FForm.State = TWindowState::wsMinimized;
    FForm.IsVisible = false;
    FStorage.SaveProperties();
    EXPECT_EQ(Kept(u"ShowCmd") + Kept(u"Flags") + Kept(u"Visible"), u"230");
    EXPECT_EQ(FApplication.BusyDepth, 0);
}

TEST_F(FormStorage, PositionsComeBackByScreenAndDensity) {
    const TRect Unmoved = FForm.Window.NormalPosition;
    const struct {
        const char* Name;
        std::u16string_view MinMax, Normal, OfScreen, Density;
        TFormBorderStyle Border;
        TRect After;
    } Rows[] = {
        {"bare key", u"", u"10,20,310,220", u"", u"96", TFormBorderStyle::bsSizeable, {10, 20, 310, 220}},
        {"the screen's key first",
         u"",
         u"1,1,9,9",
         u"10 20, 310 220",
         u"96",
         TFormBorderStyle::bsSizeToolWin,
         {10, 20, 310, 220}},
        {"another density", u"", u"10,20,310,220", u"", u"120", TFormBorderStyle::bsSizeable, Unmoved},
        {"a dialog keeps its size",
         u"",
         u"10,20,11,21",
         u"",
         u"96",
         TFormBorderStyle::bsDialog,
         {10, 20, 410, 320}},
        {"missing numbers", u"", u"10,x", u"", u"96", TFormBorderStyle::bsSizeable, {10, 100, 500, 400}},
        {"no width", u"", u"10,20,10,220", u"", u"96", TFormBorderStyle::bsSizeable, Unmoved},
        {"nothing stored", u"", u"", u"", u"96", TFormBorderStyle::bsSizeable, Unmoved},
        {"off the screen",
         u"",
         u"5000,20,5300,220",
         u"",
         u"96",
         TFormBorderStyle::bsSizeable,
         {1824, 20, 2124, 220}},
    };
    for (const auto& Row : Rows) {
        FForm.Window.NormalPosition = Unmoved;
        FForm.Border = Row.Border;
        Keep(u"NormPos", Row.Normal);
        Keep(u"NormPos(1920x1080)", Row.OfScreen);
        Keep(u"PixelsPerInch", Row.Density);
        FStorage.RestoreProperties();
        EXPECT_EQ(FForm.Window.NormalPosition, Row.After) << Row.Name;
    }
    Keep(u"MinMaxPos", u"1, 2,3 4");
    Keep(u"Flags", u"7");
    FForm.Place = TPosition::poScreenCenter;
    FStorage.RestoreProperties();
    EXPECT_EQ(FForm.Window.MinPosition, (TPoint{1, 2}));
    EXPECT_EQ(FForm.Window.MaxPosition, (TPoint{3, 4}));
    EXPECT_EQ(FForm.Window.Flags, 7);
    EXPECT_EQ(FForm.Place, TPosition::poDesigned);
    EXPECT_FALSE(FForm.IsDesigning);
    const int Before = FForm.Placements;
    FStorage.SetOptions({});
    FStorage.RestoreProperties();
    EXPECT_EQ(FForm.Placements, Before);
}

TEST_F(FormStorage, StatesComeBack) {
    using enum TWindowState;
    struct TRow {
        std::u16string_view ShowCmd;
        TWindowState State;
    };
    for (const TRow& Row : {TRow{u"1", wsNormal}, TRow{u"5", wsNormal}, TRow{u"9", wsNormal},
                            TRow{u"2", wsMinimized}, TRow{u"6", wsMinimized}, TRow{u"7", wsMinimized},
                            TRow{u"3", wsMaximized}, TRow{u"4", wsNormal}, TRow{u"junk", wsNormal}}) {
        Keep(u"ShowCmd", Row.ShowCmd);
        FForm.State = Row.State == wsNormal ? wsMaximized : wsNormal;
        FStorage.RestoreProperties();
        EXPECT_EQ(FForm.State, Row.State) << platform::Utf16ToUtf8(Row.ShowCmd);
    }
    FApplication.Main = &FForm;
    FForm.Place = TPosition::poDefault; // a main form that was never placed begins large
    FStorage.RestoreProperties();
    EXPECT_EQ(FForm.State, wsMaximized);
    Keep(u"ShowCmd", u"2"); // and minimizes the application in its place
    const int Updates = FForm.Updates;
    FStorage.RestoreProperties();
    EXPECT_EQ(FApplication.Minimizes, 1);
    EXPECT_EQ(FForm.State, wsMaximized);
    EXPECT_EQ(FForm.Noted, wsNormal);
    EXPECT_EQ(FForm.Updates, Updates);
    FForm.Style = TFormStyle::fsMDIForm; // only noted
    Keep(u"ShowCmd", u"3");
    FForm.State = wsNormal;
    FStorage.RestoreProperties();
    EXPECT_EQ(FForm.State, wsNormal);
    EXPECT_EQ(FForm.Noted, wsMaximized);
}

TEST_F(FormStorage, KeptOnPurposeFocusAndVisibilityAreNeverRead) {
    Keep(u"ActiveControl", u"Edit1");
    Keep(u"Visible", u"0");
    FStorage.SetOptions({TPlacementOption::fpActiveControl, TPlacementOption::fpPosition});
    FStorage.RestoreProperties();
    EXPECT_EQ(FForm.Focus, u"");
    EXPECT_TRUE(FForm.IsVisible);
}

// A restored window can always be taken by its title bar, is moved no more than that takes, and keeps its
// size.
TEST_F(FormStorage, RandomScreensAndTextsLeaveNoWindowOutOfReach) {
    std::mt19937 Random(1);
    const auto Number = [&Random](int Low, int High) {
        return std::uniform_int_distribution(Low, High)(Random);
    };
    const std::u16string_view Odd[] = {u"",   u"x",    u"2147483647", u"-2147483648", u"99999999999",
                                       u",,", u"1 1 1"};
    FStorage.SetIniFileName(FFolder.File(u"other.prm"));
    FStorage.CheckParams();
    for (int Step = 0; Step < 100'000; ++Step) {
        FApplication.Areas.clear();
        for (int Count = Number(1, 3); Count > 0; --Count) {
            const int Left = Number(-4000, 4000), Top = Number(-2000, 2000);
            FApplication.Areas.push_back({Left, Top, Left + Number(320, 3840), Top + Number(240, 2160)});
        }
        const TRect Rect{Number(-9000, 9000), Number(-9000, 9000), Number(-9000, 9000), Number(-9000, 9000)};
        std::u16string Text = Format(u"%d,%d,%d,%d", {Rect.Left, Rect.Top, Rect.Right, Rect.Bottom});
        const bool IsOdd = Step % 8 == 0;
        if (IsOdd) Text.replace(Text.find(u','), static_cast<std::size_t>(Number(0, 6)), Odd[Number(0, 6)]);
        FForm.Window.NormalPosition = {100, 100, 500, 400};
        FForm.Placements = 0;
        FStorage.IniNeeded(false);
        FStorage.DoWriteString(u"Form1", u"NormPos", Text);
        ASSERT_NO_THROW(FStorage.RestorePlacement());
        if (FForm.Placements == 0) {
            ASSERT_TRUE(IsOdd || Rect.Right <= Rect.Left) << platform::Utf16ToUtf8(Text);
            continue;
        }
        const TRect Now = FForm.Window.NormalPosition;
        const auto InReach = [this](const TRect& Window) {
            return std::any_of(FApplication.Areas.begin(), FApplication.Areas.end(), [&](const TRect& Area) {
                const int Seen = std::min(Window.Right, Area.Right) - std::max(Window.Left, Area.Left);
                return Seen >= std::min(96, Window.Right - Window.Left) && Window.Top >= Area.Top &&
                       Window.Top + 30 <= Area.Bottom;
            });
        };
        ASSERT_TRUE(InReach(Now)) << platform::Utf16ToUtf8(Text);
        if (IsOdd) continue;
        ASSERT_EQ(Now.Right - Now.Left, Rect.Right - Rect.Left);
        ASSERT_EQ(InReach(Rect), Now == Rect) << platform::Utf16ToUtf8(Text);
        // One step back towards the stored place is one too far.
        const auto Back = [](int From, int To) { return From < To ? 1 : From > To ? -1 : 0; };
        const int X = Back(Now.Left, Rect.Left), Y = Back(Now.Top, Rect.Top);
        ASSERT_FALSE(X != 0 && InReach({Now.Left + X, Now.Top, Now.Right + X, Now.Bottom}));
        ASSERT_FALSE(Y != 0 && InReach({Now.Left, Now.Top + Y, Now.Right, Now.Bottom + Y}));
    }
}

TEST_F(FormStorage, EventsSaveAndRestoreAroundTheFormsOwn) {
    std::string Calls;
    auto* const Thing = new TThing(&FForm, u"Thing");
    FForm.OnShow = [&](TObject&) { Calls += "show "; };
    FForm.OnCloseQuery = [&](TObject&, bool& CanClose) { Calls += CanClose ? "query " : "no "; };
    FForm.OnDestroy = [&](TObject&) { Calls += "destroy "; };
    FStorage.OnSaveProperties = [&](TObject&) { Calls += "saved "; };
    FStorage.OnRestoreProperties = [&](TObject&) { Calls += "restored "; };
    FStorage.StoredProps().Add(u"Thing.Integer");
    FStorage.StoredProps().Add(u"Gone.Integer");
    FStorage.Loaded();
    EXPECT_EQ(FStorage.StoredProps().CommaText(), u"Thing.Integer");
    Thing->Integer = 5;
    FForm.OnShow(FForm);
    bool CanClose = false;
    FForm.OnCloseQuery(FForm, CanClose);
    CanClose = true;
    FForm.OnCloseQuery(FForm, CanClose);
    EXPECT_EQ(Kept(u"Thing_Integer"), u"5");
    FForm.OnDestroy(FForm); // saved already
    Thing->Integer = 6;
    FForm.OnShow(FForm);
    EXPECT_EQ(Thing->Integer, 5);
    FForm.OnDestroy(FForm); // not saved since the last restore
    EXPECT_EQ(Calls, "restored show no query saved destroy restored show saved destroy ");
    FStorage.SetActive(false);
    FForm.OnShow(FForm);
    FStorage.RestoreEvents();
    FForm.OnShow(FForm);
    EXPECT_TRUE(Calls.ends_with("destroy show show "));
    delete Thing; // its entry goes with it
    EXPECT_EQ(FStorage.StoredProps().Count(), 0);
    FForm.OnDestroy = nullptr;
}

TEST_F(FormStorage, AFullDiskIsToldOnceAndTheFormCloses) {
    FStorage.SetIniFileName(FFolder.File(u"missing/x.prm"));
    FStorage.Loaded();
    bool CanClose = true;
    FForm.OnCloseQuery(FForm, CanClose);
    EXPECT_TRUE(CanClose);
    EXPECT_NO_THROW(FForm.OnDestroy(FForm));
    ASSERT_EQ(FApplication.Shown.size(), 1U);
    EXPECT_THAT(FApplication.Shown[0], testing::HasSubstr("missing/x.prm"));
    EXPECT_EQ(FApplication.BusyDepth, 0);
    FForm.OnDestroy = nullptr;
}

TEST_F(FormStorage, AValueThatCannotBeKeptCostsNoOther) {
    auto* const Thing = new TThing(&FForm, u"Thing");
    Thing->Unicode = u"two\r\nlines";
    Thing->Integer = 3;
    FStorage.StoredProps().SetCommaText(u"Thing.Unicode,Thing.Integer");
    UpdateStoredList(&FForm, &FStorage.StoredProps(), true);
    ExpectRaised<platform::TSettingsError>(
        [&] {
            FStorage.SaveProperties();
            return 0;
        },
        {"Thing_Unicode", "line break"});
    EXPECT_EQ(Kept(u"Thing_Integer"), u"3");
}

TEST_F(FormStorage, QuotedTextsAndOtherProgramsChangesComeBack) {
    auto* const Thing = new TThing(&FForm, u"Thing");
    FStorage.StoredProps().Add(u"Thing.Unicode");
    FStorage.Loaded();
    for (const std::u16string_view Text : {u"'abc'", u"\"abc\"", u"\"", u"'a\""}) {
        Thing->Unicode = Text;
        FStorage.SaveProperties();
        Thing->Unicode = u"x";
        FStorage.RestoreProperties();
        EXPECT_EQ(Thing->Unicode, Text);
    }
    Thing->Unicode = u"'abc'";
    FStorage.SaveProperties();
    EXPECT_THAT(platform::TReadFile(FFolder.File(u"x.prm")).ReadAll(),
                testing::HasSubstr("Thing_Unicode=\"'abc'\"\r\n"));
    Keep(u"Thing_Unicode", u"from another program");
    FStorage.RestoreProperties();
    EXPECT_EQ(Thing->Unicode, u"from another program");
    FForm.OnDestroy = nullptr;
}

TEST_F(FormStorage, AHostLendsItsFileAndNotItsSection) {
    TFormDouble Other;
    Other.SetName(u"Other");
    auto& Host = *new TKXFormStorage(&Other, FApplication);
    Host.SetIniFileName(FFolder.File(u"host.prm"));
    FStorage.SetHost(&FStorage); // not itself
    EXPECT_EQ(FStorage.Host(), nullptr);
    FStorage.SetHost(&Host);
    FStorage.SetUseRegistry(true);
    FStorage.SaveProperties();
    EXPECT_FALSE(FStorage.UseRegistry());
    EXPECT_EQ(platform::TSettingsFile(FFolder.File(u"host.prm")).Read(u"Form1", u"ShowCmd"), u"1");
    delete &Host;
    EXPECT_EQ(FStorage.Host(), nullptr);
}

} // namespace

} // namespace zutools::tests
