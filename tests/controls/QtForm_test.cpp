// Real windows on Qt's offscreen platform: what is kept when they close comes back when they are shown.

#include "controls/QtForm.h"

#include "controls/QtApplication.h"
#include "controls/QtFormStorage.h"
#include "host/Variant.h"
#include "platform/SettingsFile.h"
#include "tests/support/TempFolder.h"
#include "ui_OrderForm.h"

#include <gmock/gmock.h>

#include <QAction>
#include <QBoxLayout>
#include <QCheckBox>
#include <QCloseEvent>
#include <QComboBox>
#include <QDialog>
#include <QHeaderView>
#include <QLabel>
#include <QLineEdit>
#include <QMainWindow>
#include <QMdiArea>
#include <QMdiSubWindow>
#include <QPlainTextEdit>
#include <QSplitter>
#include <QTableWidget>

#include <functional>
#include <memory>

namespace zutools::tests {

namespace {

class TWindow : public QMainWindow {
public:
    explicit TWindow(const TTempFolder& Folder) {
        setObjectName("Main");
        setCentralWidget(Splitter);
        Splitter->addWidget(Left);
        Splitter->addWidget(Grid);
        auto* const Layout = new QBoxLayout(QBoxLayout::TopToBottom, Left);
        for (QWidget* const Each :
             {static_cast<QWidget*>(Edit), static_cast<QWidget*>(Check), static_cast<QWidget*>(Combo),
              static_cast<QWidget*>(Memo), static_cast<QWidget*>(Label)})
            Layout->addWidget(Each);
        Show->setCheckable(true);
        Grid->horizontalHeader()->setSectionsMovable(true);
        Grid->horizontalHeader()->setSortIndicatorShown(true);
        const std::pair<QObject*, const char*> Names[] = {
            {Splitter, "Splitter"}, {Grid, "Grid"},   {Edit, "Edit"},   {Check, "Check"}, {Combo, "Combo"},
            {Memo, "Memo"},         {Label, "Label"}, {Show, "Action"}, {Left, "Left"}};
        for (const auto& [Object, Name] : Names) Object->setObjectName(Name);
        resize(600, 400);
        Storage =
            new TQtFormStorage(this, {"Edit.text", "Edit.alignment", "Edit.echoMode", "Check.checked",
                                      "Combo.Items", "Combo.currentIndex", "Memo.Lines", "Label.buddy",
                                      "Label.font", "Action.checked", "Splitter.Sizes", "Grid.ColumnSections",
                                      "Edit.maxLength", "Main.DockState", "Left.minimumSize", "Gone.text"});
        Storage->setIniFileName(QStringView(Folder.File(u"w.ini")).toString());
    }
    void closeEvent(QCloseEvent* Event) override { Event->setAccepted(Agrees); }

    QSplitter* Splitter = new QSplitter;
    QWidget* Left = new QWidget;
    QTableWidget* Grid = new QTableWidget(3, 3);
    QLineEdit* Edit = new QLineEdit;
    QCheckBox* Check = new QCheckBox;
    QComboBox* Combo = new QComboBox;
    QPlainTextEdit* Memo = new QPlainTextEdit;
    QLabel* Label = new QLabel;
    QAction* Show = new QAction(this);
    TQtFormStorage* Storage = nullptr;
    bool Agrees = true;
};

class QtFormTest : public testing::Test {
protected:
    [[nodiscard]] std::u16string Kept(std::u16string_view Key) const {
        return platform::TSettingsFile(FFolder.File(u"w.ini")).Read(u"Main", Key).value_or(u"(none)");
    }
    TTempFolder FFolder;
};

TEST_F(QtFormTest, WhatAPersonChangedComesBack) {
    {
        TWindow Window(FFolder);
        Window.show();
        Window.Edit->setText("Анна");
        Window.Edit->setAlignment(Qt::AlignRight | Qt::AlignVCenter);
        Window.Edit->setEchoMode(QLineEdit::Password);
        Window.Edit->setMaxLength(77);
        Window.Check->setChecked(true);
        Window.Combo->addItems({"one", "two", "three"});
        Window.Combo->setCurrentIndex(2);
        Window.Memo->setPlainText("first\n\nthird");
        QFont Font;
        Font.setPointSize(17);
        Window.Label->setFont(Font);
        Window.Show->setChecked(true);
        Window.Splitter->setSizes({150, 450});
        Window.Grid->horizontalHeader()->moveSection(2, 0);
        Window.Grid->setColumnWidth(0, 77);
        Window.Grid->setColumnHidden(1, true);
        Window.Grid->horizontalHeader()->setSortIndicator(0, Qt::DescendingOrder);
        Window.Left->setMinimumSize(33, 44);
        Window.move(120, 80);
        Window.resize(640, 480);
        Window.close();
    }
    EXPECT_EQ(Kept(u"Edit_text"), u"Анна");
    EXPECT_EQ(Kept(u"Edit_alignment"), u"[AlignRight,AlignVCenter]");
    EXPECT_EQ(Kept(u"Edit_echoMode"), u"Password");
    EXPECT_EQ(Kept(u"Left_minimumSize"), u"33,44");
    EXPECT_EQ(Kept(u"NormPos"), u"120,80,760,560");
    TWindow Window(FFolder);
    Window.show();
    EXPECT_EQ(Window.Edit->text(), "Анна");
    EXPECT_EQ(Window.Edit->alignment(), Qt::AlignRight | Qt::AlignVCenter);
    EXPECT_EQ(Window.Edit->echoMode(), QLineEdit::Password);
    EXPECT_EQ(Window.Edit->maxLength(), 77);
    EXPECT_TRUE(Window.Check->isChecked());
    EXPECT_EQ(Window.Combo->count(), 3);
    EXPECT_EQ(Window.Combo->currentText(), "three");
    EXPECT_EQ(Window.Memo->toPlainText(), "first\n\nthird");
    EXPECT_EQ(Window.Label->font().pointSize(), 17);
    EXPECT_TRUE(Window.Show->isChecked());
    EXPECT_EQ(Window.Grid->horizontalHeader()->visualIndex(2), 0);
    EXPECT_EQ(Window.Grid->columnWidth(0), 77);
    EXPECT_TRUE(Window.Grid->isColumnHidden(1));
    EXPECT_EQ(Window.Grid->horizontalHeader()->sortIndicatorOrder(), Qt::DescendingOrder);
    EXPECT_EQ(Window.Left->minimumSize(), QSize(33, 44));
    EXPECT_EQ(Window.pos(), QPoint(120, 80));
    EXPECT_EQ(Window.size(), QSize(640, 480));
    EXPECT_NEAR(Window.Splitter->sizes()[0] * 3, Window.Splitter->sizes()[1], 40);
}

TEST_F(QtFormTest, ClosingIsAskedBeforeAnythingIsKept) {
    std::string Calls;
    auto Window = std::make_unique<TWindow>(FFolder);
    QObject::connect(Window->Storage, &TQtFormStorage::OnSaveProperties, [&] { Calls += "saved "; });
    QObject::connect(Window->Storage, &TQtFormStorage::OnRestoreProperties, [&] { Calls += "restored "; });
    Window->show();
    Window->Agrees = false;
    EXPECT_FALSE(Window->close());
    EXPECT_TRUE(Window->isVisible());
    Window->Agrees = true;
    auto& Form = QtForm(*Window);
    auto Query = std::exchange(Form.OnCloseQuery, [&](TObject&, bool& CanClose) { CanClose = false; });
    EXPECT_FALSE(Window->close()); // the form's own handler has its say too
    EXPECT_EQ(Calls, "restored ");
    Form.OnCloseQuery = std::move(Query);
    EXPECT_TRUE(Window->close());
    EXPECT_EQ(Kept(u"Visible"), u"1"); // as it was when it was asked
    Window->show();
    Window->hide();
    Window->Edit->setText("changed while it was hidden");
    Window.reset(); // not kept since the last restore
    EXPECT_EQ(Calls, "restored saved restored saved ");
    EXPECT_EQ(Kept(u"Edit_text"), u"changed while it was hidden");
}

TEST_F(QtFormTest, ADialogIsKeptHoweverItIsDone) {
    const std::function<void(QDialog&)> Ways[] = {&QDialog::accept, &QDialog::reject,
                                                  [](QDialog& Dialog) { Dialog.close(); }};
    int Number = 0;
    for (const auto& Way : Ways) {
        QDialog Dialog;
        Dialog.setObjectName("Main");
        auto* const Edit = new QLineEdit(&Dialog);
        Edit->setObjectName("Edit");
        auto* const Storage = new TQtFormStorage(&Dialog, {"Edit.text"});
        Storage->setIniFileName(QStringView(FFolder.File(u"w.ini")).toString());
        int Saves = 0;
        QObject::connect(Storage, &TQtFormStorage::OnSaveProperties, [&Saves] { ++Saves; });
        Dialog.show();
        EXPECT_EQ(Edit->text(), Number == 0 ? "" : QString::number(Number));
        Edit->setText(QString::number(++Number));
        Way(Dialog);
        EXPECT_FALSE(Dialog.isVisible());
        EXPECT_EQ(Saves, 1) << Number;
        EXPECT_EQ(Kept(u"Visible") + Kept(u"Edit_text"), u"1" + QString::number(Number).toStdU16String());
    }
}

TEST_F(QtFormTest, AFormOfDesignerKeepsItself) {
    for (const bool Again : {false, true}) {
        QDialog Dialog;
        Ui::OrderForm Ui;
        Ui.setupUi(&Dialog);
        EXPECT_FALSE(Ui.FormStorage->isVisibleTo(&Dialog));
        Ui.FormStorage->setIniFileName(QStringView(FFolder.File(u"w.ini")).toString());
        Ui.FormStorage->setIniSection("Main");
        Dialog.show();
        if (Again) {
            EXPECT_EQ(Ui.Customer->text(), "Anna");
        }
        Ui.Customer->setText("Anna");
        Dialog.close();
    }
    EXPECT_EQ(Kept(u"Customer_text"), u"Anna");
}

TEST_F(QtFormTest, StatesAndBordersAreThoseOfTheWindow) {
    using enum TWindowState;
    for (const TWindowState State : {wsNormal, wsMinimized, wsMaximized}) {
        TWindow Other(FFolder); // the main form minimizes the application instead
        {
            TWindow Window(FFolder);
            Window.show();
            Window.move(100, 50);
            QtForm(Window).SetWindowState(State);
            EXPECT_EQ(QtForm(Window).WindowState(), State);
            EXPECT_EQ(QtForm(Window).Bounds(), (TRect{100, 50, 700, 450}));
            Window.close();
        }
        TWindow Window(FFolder);
        Window.show();
        EXPECT_EQ(QtForm(Window).WindowState(), State);
        Window.showNormal();
        EXPECT_EQ(Window.pos(), QPoint(100, 50));
        EXPECT_EQ(Window.size(), QSize(600, 400));
        Other.Storage->setActive(false);
    }
    const struct {
        Qt::WindowFlags Flags;
        bool Fixed;
        TFormBorderStyle Border;
    } Rows[] = {
        {Qt::Window, false, TFormBorderStyle::bsSizeable},
        {Qt::Window, true, TFormBorderStyle::bsDialog},
        {Qt::Tool, false, TFormBorderStyle::bsSizeToolWin},
        {Qt::Tool, true, TFormBorderStyle::bsToolWindow},
        {Qt::FramelessWindowHint, false, TFormBorderStyle::bsNone},
    };
    for (const auto& Row : Rows) {
        QWidget Widget(nullptr, Row.Flags);
        if (Row.Fixed) Widget.setFixedSize(200, 100);
        EXPECT_EQ(QtForm(Widget).BorderStyle(), Row.Border);
    }
    QWidget Centered;
    Centered.resize(200, 100);
    QtForm(Centered).SetPosition(TPosition::poScreenCenter);
    EXPECT_EQ(Centered.frameGeometry().center(), Centered.screen()->availableGeometry().center());
}

TEST_F(QtFormTest, AnMdiChildIsPlacedWithinItsParent) {
    QMainWindow Main;
    auto* const Area = new QMdiArea;
    Main.setCentralWidget(Area);
    Main.resize(800, 600);
    EXPECT_EQ(QtForm(Main).FormStyle(), TFormStyle::fsMDIForm);
    Main.show();
    for (const bool Again : {false, true}) {
        auto* const Child = new QWidget;
        Child->setObjectName("Main");
        auto* const Storage = new TQtFormStorage(Child, QStringList());
        Storage->setIniFileName(QStringView(FFolder.File(u"w.ini")).toString());
        QMdiSubWindow* const Sub = Area->addSubWindow(Child);
        EXPECT_EQ(QtForm(*Child).FormStyle(), TFormStyle::fsMDIChild);
        Sub->show();
        if (Again) {
            EXPECT_EQ(Sub->geometry(), QRect(30, 40, 250, 150));
        }
        Sub->setGeometry(30, 40, 250, 150);
        Sub->close();
    }
}

TEST_F(QtFormTest, WhatGoesWrongIsToldAndTheWindowCloses) {
    std::vector<std::string> Told;
    TQtApplication::Instance().OnShowException = [&](const std::exception& Error) {
        Told.emplace_back(Error.what());
    };
    {
        TWindow Window(FFolder);
        Window.Storage->setIniFileName(QStringView(FFolder.File(u"missing/w.ini")).toString());
        Window.show();
        EXPECT_TRUE(Window.close());
    }
    TQtApplication::Instance().OnShowException = nullptr;
    ASSERT_EQ(Told.size(), 1U);
    EXPECT_THAT(Told[0], testing::HasSubstr("missing/w.ini"));
}

TEST_F(QtFormTest, ADamagedFileIsToldByItsNewName) {
    static_cast<void>(FFolder.Write(u"w.ini", std::string("[Main]\r\nVisible\0", 16)));
    TWindow Window(FFolder);
    QString Notice;
    QObject::connect(Window.Storage, &TQtFormStorage::OnNotice, [&](const QString& Text) { Notice = Text; });
    Window.show();
    EXPECT_THAT(Notice.toStdString(), testing::HasSubstr("w.ini.damaged"));
}

} // namespace

} // namespace zutools::tests
