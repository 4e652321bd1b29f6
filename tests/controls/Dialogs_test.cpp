#include "controls/DlgLayout.h"
#include "controls/Zudlg.h"
#include "host/Exception.h"
#include "tests/support/Raised.h"

#include <gmock/gmock.h>

#include <QApplication>
#include <QClipboard>
#include <QLabel>
#include <QPushButton>
#include <QSignalSpy>
#include <QTest>
#include <QTimer>

namespace zutools::tests {

namespace {

// Each character is ten pixels wide, a line twenty high.
const TTextMeasure Tens{[](const QString& Line) { return static_cast<int>(Line.size()) * 10; }, 20,
                        [](const QString& Text, int Width) {
                            return (static_cast<int>(Text.size()) * 10 + Width - 1) / Width * 20;
                        }};

struct TLayoutCase {
    const char* What;
    TDlgInput Input;
    QSize Window;
    QRect Label;
    std::vector<QRect> Buttons;
};

const std::vector<TLayoutCase> LayoutCases{
    {"the row is wider than the text",
     {.Message = {"Save?"},
      .Picture = {},
      .Captions = {"&OK", "&Cancel"},
      .GlyphWidths = {0, 0},
      .ScreenWidth = 1000},
     {8 + 86 + 5 + 86 + 5 + 8, 70 + 60},
     {8, 8, 50, 20},
     {{8, 70, 86, 25}, {99, 70, 86, 25}}},
    {"an odd pixel stays at the right",
     {.Message = {"A text of thirty characters ..."},
      .Picture = {},
      .Captions = {"OK"},
      .GlyphWidths = {16},
      .ScreenWidth = 1000},
     {8 + 310 + 18, 130},
     {8, 8, 310, 20},
     {{8 + (336 - 96) / 2, 70, 75, 25}}},
    {"own widths, but none below the least",
     {.Message = {},
      .Picture = {},
      .Captions = {"No", "A long caption"},
      .GlyphWidths = {0, 16},
      .ButtonsSameWidth = false,
      .ScreenWidth = 1000},
     {8 + 75 + 5 + 172 + 5 + 8, 130},
     {8, 8, 0, 0},
     {{8, 70, 75, 25}, {88, 70, 172, 25}}},
    {"a text wider than six tenths of the screen is wrapped",
     {.Message = {QString(100, u'x')},
      .Picture = QSize(32, 32),
      .Captions = {"OK"},
      .GlyphWidths = {0},
      .ScreenWidth = 1001},
     {600, 2 * 20 + 40 + 60},
     {52, 8, 1000 - (1070 - 600), 2 * 20},
     {{8 + (600 - 96) / 2, 80, 75, 25}}},
};

TEST(DlgLayout, PlacesTextPictureAndButtons) {
    for (const TLayoutCase& Case : LayoutCases) {
        SCOPED_TRACE(Case.What);
        const TDlgLayout Layout = LayOutDlg(Case.Input, Tens);
        EXPECT_EQ(Layout.Window, Case.Window);
        EXPECT_EQ(Layout.Label, Case.Label);
        EXPECT_EQ(Layout.Buttons, Case.Buttons);
    }
    TDlgInput Lines;
    Lines.ScreenWidth = 1000;
    Lines.Message = QStringList{"a", "b", "c"};
    EXPECT_EQ(LayOutDlg(Lines, Tens).Text, "a\rb\rc");
}

TEST(DlgLayout, TrailingCaptionsAndAccessKeys) {
    QStringList Captions{"A", "", ""};
    DropTrailingCaptions(Captions);
    EXPECT_EQ(Captions, QStringList{"A"});
    EXPECT_EQ(UniqueAccessKeys({"&Open", "&Only", "&Off", "R&&D", "&o"}),
              (QStringList{"&Open", "O&nly", "O&ff", "R&&D", "o"}));
}

TEST(KeptOnPurpose, AMessageBoxWithoutCaptionsReadsBeyondTheList) {
    TZUDlg Dlg;
    Dlg.SetButtons({"", ""});
    EXPECT_EQ(Raised<Exception>([&] { return Dlg.Show(); }), "List index out of bounds (-1)");
}

TEST(KeptOnPurpose, IndicesFoundInEarlierCaptionsStay) {
    TZUDlg Dlg;
    EXPECT_EQ(Dlg.Default(), -1);
    EXPECT_EQ(Dlg.Cancel(), -1);
    Dlg.SetButtons({"Yes", "No", "A&bort"});
    EXPECT_EQ(Dlg.Default(), -1);
    EXPECT_EQ(Dlg.Cancel(), 2);
    Dlg.SetButtons({"&OK", "&Cancel"});
    EXPECT_EQ(Dlg.Default(), 0);
    EXPECT_EQ(Dlg.Cancel(), 2);
    Dlg.SetButtonsMinWidth(5);
    EXPECT_EQ(Dlg.ButtonsMinWidth(), 20);
}

// Shows the box; `Drive` runs when it listens. Returns what Show returns.
template <class TDrive>
int ShowAnd(TZUDlg& Dlg, TDrive Drive) {
    QTimer::singleShot(0, &Dlg, [&] { QTimer::singleShot(0, &Dlg, [&] { Drive(*Dlg.Form()); }); });
    return Dlg.Show();
}

TEST(Zudlg, IsAnsweredByKeys) {
    TZUDlg Dlg;
    Dlg.SetButtons({"&OK", "&Other", "&Cancel"});
    Dlg.SetTitle("Orders");
    Dlg.SetMessage({"One", "Two"});
    Dlg.SetWAV(TZUDlg::wavFile);
    std::vector<TSystemSound> Sounds;
    Dlg.OnPlaySound = [&Sounds](TSystemSound Sound) { Sounds.push_back(Sound); };

    EXPECT_EQ(ShowAnd(Dlg, [](QDialog& Form) { QTest::keyClick(&Form, Qt::Key_Escape); }), 2);
    EXPECT_EQ(ShowAnd(Dlg, [](QDialog& Form) { Form.close(); }), 2);
    EXPECT_EQ(ShowAnd(Dlg, [](QDialog& Form) { QTest::keyClick(Form.focusWidget(), Qt::Key_Return); }), 0);
    EXPECT_EQ(ShowAnd(Dlg, [](QDialog& Form) { QTest::keyClick(&Form, Qt::Key_T, Qt::AltModifier); }), 1);
    EXPECT_EQ(ShowAnd(Dlg,
                      [](QDialog& Form) {
                          QTest::keySequence(&Form, QKeySequence::Copy);
                          QTest::keyClick(&Form, Qt::Key_Escape);
                      }),
              2);
    EXPECT_EQ(QApplication::clipboard()->text(), "Orders\n\nOne\nTwo\n\nOK   Other   Cancel\n");
    EXPECT_EQ(Sounds, std::vector(5, TSystemSound::Beep));
    EXPECT_EQ(Dlg.Form(), nullptr);
}

TEST(Zudlg, NothingIsPressedByAccident) {
    TZUDlg Dlg;
    Dlg.SetButtons({"Delete", "Keep"});
    Dlg.SetDefault(0);
    bool Early = false;
    // Typed before the box listens: the event stands in the queue when it appears.
    Dlg.SetWAV(TZUDlg::wavQuestion);
    Dlg.OnPlaySound = [&](TSystemSound) {
        QTest::keyClick(Dlg.Form()->focusWidget(), Qt::Key_Return);
        Early = true;
    };
    const int Pressed = ShowAnd(Dlg, [](QDialog& Form) {
        QKeyEvent Repeated(QEvent::KeyPress, Qt::Key_Return, {}, {}, true); // held down since before
        QApplication::sendEvent(Form.focusWidget(), &Repeated);
        QTest::keyClick(&Form, Qt::Key_Escape); // no cancel button: neither Escape nor the close box answers
        Form.close();
        EXPECT_TRUE(Form.isVisible());
        EXPECT_FALSE(Form.windowFlags().testFlag(Qt::WindowCloseButtonHint));
        QTest::keyClick(Form.findChild<QPushButton*>("btn1"), Qt::Key_Space);
    });
    EXPECT_TRUE(Early);
    EXPECT_EQ(Pressed, 1);
}

TEST(Zudlg, ALongTextLeavesTheButtonsInReach) {
    TZUDlg Dlg;
    Dlg.SetMessage(QStringList(500, "A line."));
    ShowAnd(Dlg, [](QDialog& Form) {
        EXPECT_LE(Form.height(), Form.screen()->availableGeometry().height());
        auto* Button = Form.findChild<QPushButton*>("btn0");
        EXPECT_TRUE(Form.rect().contains(Button->geometry()));
        Button->click();
    });
}

TEST(Zudlg, GlyphsByNameThenByCaption) {
    TZUDlg Dlg;
    Dlg.SetButtonsGlyph({"R&etry", "nothing"});
    QPushButton Button;
    EXPECT_TRUE(Dlg.GetButtonsGlyph(0, Button));
    EXPECT_FALSE(Button.icon().isNull());
    const qint64 Icon = Button.icon().cacheKey();
    for (const int Index : {-1, 1, 2}) EXPECT_FALSE(Dlg.GetButtonsGlyph(Index, Button));
    EXPECT_EQ(Button.icon().cacheKey(), Icon);
    EXPECT_EQ(ButtonKind("&YES"), "YES");
    EXPECT_EQ(ButtonKind("Save"), "");
}

} // namespace

} // namespace zutools::tests
