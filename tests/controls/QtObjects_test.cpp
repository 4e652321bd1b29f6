#include "tests/controls/QtObjects_test.h"

#include "controls/QtForm.h"
#include "host/Exception.h"
#include "host/Strings.h"
#include "host/Variant.h"
#include "persistence/Propunit.h"
#include "platform/Text.h"
#include "tests/support/Raised.h"

#include <gmock/gmock.h>

#include <QCalendarWidget>
#include <QCheckBox>
#include <QComboBox>
#include <QDateTimeEdit>
#include <QDial>
#include <QDockWidget>
#include <QDoubleSpinBox>
#include <QFontComboBox>
#include <QGroupBox>
#include <QHeaderView>
#include <QKeySequenceEdit>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QMainWindow>
#include <QPlainTextEdit>
#include <QProgressBar>
#include <QSpinBox>
#include <QSplitter>
#include <QTabWidget>
#include <QTableWidget>
#include <QTextEdit>
#include <QToolBox>
#include <QTreeWidget>

#include <map>

namespace zutools::tests {

namespace {

struct TStore {
    std::map<std::u16string, std::u16string> Items;
    void Bind(TPropsStorage& Storage, TObject& Object) {
        Storage.AObject = &Object;
        Storage.OnReadString = [this](std::u16string_view Section, std::u16string_view Item,
                                      std::u16string_view Default) {
            const auto Found = Items.find(std::u16string(Section).append(u"|").append(Item));
            return Found == Items.end() ? std::u16string(Default) : Found->second;
        };
        Storage.OnWriteString = [this](std::u16string_view Section, std::u16string_view Item,
                                       std::u16string_view Value) {
            Items[std::u16string(Section).append(u"|").append(Item)] = Value;
        };
    }
};

// Another value of the property than it has.
TKXVariant Another(const TPropInfo& Info, const TKXVariant& Now) {
    switch (Info.Kind) {
    case TTypeKind::tkEnumeration:
        if (Info.EnumNames.empty()) return !Now.AsBoolean();
        return Now.AsInteger() == 0 ? static_cast<int>(Info.EnumNames.size()) - 1 : 0;
    case TTypeKind::tkSet:
        return Now.AsInteger() ^ 1;
    case TTypeKind::tkInteger:
    case TTypeKind::tkFloat:
        return Now.AsInteger() ^ 3; // fits at either end of the range
    default:
        return Now.AsString() + u"2";
    }
}

using TMaker = QWidget* (*)();
template <class TWidget>
constexpr TMaker Maker = []() -> QWidget* { return new TWidget; };

// Every property of the widgets of Qt, changed on one and loaded into another.
TEST(QtObjects, EveryPropertyOfQtsWidgetsSurvivesStoring) {
    const TMaker Makers[] = {Maker<QWidget>,       Maker<QMainWindow>,      Maker<QLineEdit>,
                             Maker<QCheckBox>,     Maker<QComboBox>,        Maker<QDateTimeEdit>,
                             Maker<QDial>,         Maker<QDockWidget>,      Maker<QDoubleSpinBox>,
                             Maker<QFontComboBox>, Maker<QGroupBox>,        Maker<QLabel>,
                             Maker<QListWidget>,   Maker<QPlainTextEdit>,   Maker<QProgressBar>,
                             Maker<QSpinBox>,      Maker<QSplitter>,        Maker<QTabWidget>,
                             Maker<QTableWidget>,  Maker<QTextEdit>,        Maker<QToolBox>,
                             Maker<QTreeWidget>,   Maker<QKeySequenceEdit>, Maker<QCalendarWidget>};
    int Survived = 0, Refused = 0;
    const QtMessageHandler Told =
        qInstallMessageHandler([](QtMsgType, const QMessageLogContext&, const QString&) {});
    for (const TMaker Make : Makers) {
        const std::unique_ptr<QWidget> Sample(Make());
        for (const TPropInfo* const Info : QtComponent(*Sample).ClassInfo().AllProperties()) {
            // Windows are shown by a property, and files opened by another.
            if (Info->Kind == TTypeKind::tkClass || Info->Set == nullptr || Info->Name == u"visible")
                continue;
            const std::unique_ptr<QWidget> First(Make()), Second(Make());
            TComponent &From = QtComponent(*First), &To = QtComponent(*Second);
            const TKXVariant Before = Info->Get(From);
            try {
                Info->Set(From, Another(*Info, Before));
            } catch (const Exception&) {
                ++Refused; // no value of it is known here: a date, a colour
            }
            TStore Store;
            TPropsStorage Storage;
            Store.Bind(Storage, From);
            Storage.StoreAnyProperty(Info);
            Store.Bind(Storage, To);
            Storage.LoadAnyProperty(Info);
            ASSERT_EQ(Info->Get(To), Info->Get(From))
                << First->metaObject()->className() << '.' << platform::Utf16ToUtf8(Info->Name);
            if (Info->Get(From) != Before) ++Survived;
        }
    }
    qInstallMessageHandler(Told);
    RecordProperty("changed", Survived);
    RecordProperty("refused", Refused);
    EXPECT_GT(Survived, 600) << Refused;
}

TEST(QtObjects, TypesHaveTheirKinds) {
    QWidget Window;
    auto* const Thing = new TQtThing(&Window);
    Thing->setObjectName("Thing");
    QWidget* const Friend = new QWidget(Thing);
    Friend->setObjectName("Friend");
    TQtForm& Form = QtForm(Window);
    TComponent* const Component = Form.FindComponent(u"THING");
    ASSERT_EQ(Component, &QtComponent(*Thing));
    EXPECT_EQ(Component->Owner(), &Form);
    EXPECT_EQ(Component->ClassName(), u"zutools::tests::TQtThing");
    const struct {
        std::u16string_view Name;
        TTypeKind Kind;
        std::u16string_view TypeName;
        TKXVariant Value;
    } Rows[] = {
        {u"Single", TTypeKind::tkFloat, u"Single", 0.5},
        {u"Unsigned", TTypeKind::tkInteger, u"Integer", -2}, // its bits
        {u"Long", TTypeKind::tkInt64, u"Int64", std::int64_t{1} << 40},
        {u"Letter", TTypeKind::tkWChar, u"WideChar", u'я'},
        {u"Any", TTypeKind::tkVariant, u"Variant", u"text"},
        {u"Bytes", TTypeKind::tkLString, u"string", u"AAH/"},
        {u"Sides", TTypeKind::tkSet, u"Alignment", 1 | 32},
        {u"Friend", TTypeKind::tkClass, u"TComponent", PointerAsLVar(&QtComponent(*Friend))},
        {u"Friend", TTypeKind::tkClass, u"TComponent", PointerAsLVar(nullptr)},
        {u"enabled", TTypeKind::tkEnumeration, u"Boolean", false},
        {u"layoutDirection", TTypeKind::tkEnumeration, u"LayoutDirection", 1},
        {u"minimumSize", TTypeKind::tkLString, u"string", u"10,20"},
        {u"geometry", TTypeKind::tkLString, u"string", u"1,2,30,40"},
    };
    for (const auto& Row : Rows) {
        const TPropInfo* const Info = Component->ClassInfo().FindProperty(Row.Name);
        ASSERT_NE(Info, nullptr) << platform::Utf16ToUtf8(Row.Name);
        EXPECT_EQ(Info->Kind, Row.Kind) << platform::Utf16ToUtf8(Row.Name);
        EXPECT_EQ(Info->TypeName, Row.TypeName);
        Info->Set(*Component, Row.Value);
        EXPECT_EQ(Info->Get(*Component), Row.Value) << platform::Utf16ToUtf8(Row.Name);
    }
    EXPECT_EQ(Thing->Unsigned, 0xFFFFFFFEU);
    EXPECT_EQ(Thing->Bytes, QByteArray("\0\1\377", 3));
    EXPECT_TRUE(Component->ClassInfo().FindProperty(u"Fixed")->Set == nullptr);
    const TPropInfo* const Size = Component->ClassInfo().FindProperty(u"minimumSize");
    ExpectRaised<Exception>(
        [&] {
            Size->Set(*Component, u"wide");
            return 0;
        },
        {"minimumSize", "TQtThing", "wide"});
    EXPECT_EQ(Thing->minimumSize(), QSize(10, 20));
    // A list of lines is live in both directions.
    auto* const Lines =
        ObjectCast<TStrings>(Component->ClassInfo().FindProperty(u"Lines")->Get(*Component).AsObject());
    ASSERT_NE(Lines, nullptr);
    Lines->SetCommaText(u"a,b,c");
    Lines->Delete(0);
    Lines->SetStrings(0, u"d");
    Lines->Insert(0, u"e");
    EXPECT_EQ(Thing->Lines, QStringList({"e", "d", "c"}));
    Thing->Lines = QStringList("other");
    static_cast<void>(Component->ClassInfo().FindProperty(u"Lines")->Get(*Component));
    EXPECT_EQ(Lines->CommaText(), u"other");
}

TEST(QtObjects, ComponentsGoWithTheirObjectsAndTellIt) {
    QWidget Window;
    Window.setObjectName("Window");
    auto* const Outer = new QWidget(&Window);
    auto* const Inner = new QWidget(Outer);
    Inner->setObjectName("Name");
    QWidget Other;
    Other.setObjectName("Other");
    auto* const Dialog = new QWidget(&Window, Qt::Window);
    (new QWidget(Dialog))->setObjectName("OnDialog");
    static_cast<void>(QtForm(*Dialog));
    TQtForm& Form = QtForm(Window);
    EXPECT_EQ(FindGlobalComponent(u"Window"), &Form);
    EXPECT_EQ(QtObjectOf(Form.FindComponent(u"name")), Inner);
    EXPECT_EQ(QtObjectOf(Form.FindComponent(u"Window")), &Window);
    EXPECT_EQ(Form.FindComponent(u"OnDialog"), nullptr); // that form's own
    TStringList Stored;
    Stored.SetCommaText(u"Name.enabled,Window.windowTitle");
    UpdateStoredList(&Form, &Stored, true);
    EXPECT_EQ(Stored.Count(), 2);
    Inner->setObjectName("Renamed");
    UpdateStoredList(&Form, &Stored, false);
    EXPECT_EQ(Stored.Strings(0), u"Renamed.enabled");
    const TObjectRef Gone = Stored.Objects(0)->Reference();
    delete Outer;
    EXPECT_EQ(Gone.Get(), nullptr);
    EXPECT_EQ(KnownQtComponent(Inner), nullptr);
}

struct TSectionsRow {
    const char* Name;
    const char* Text;
    const char* After;
};

// Texts that people or other versions left: what can be taken is.
TEST(QtObjects, SectionsTakeWhatTheyCan) {
    const TSectionsRow Rows[] = {
        {"as stored", "2:50,0:60,-1:70;2d", "2:50,0:60,-1:100;2d"},
        {"blanks", " 1 : 40 , 0:41", "1:40,0:41,2:100;0a"},
        {"unknown sections", "7:10,1:40", "1:40,0:100,2:100;0a"},
        {"named twice", "1:40,1:90,0:30", "1:40,0:30,2:100;0a"},
        {"junk", "x,;z", "0:100,1:100,2:100;0a"},
        {"empty", "", "0:100,1:100,2:100;0a"},
        {"sort of no column", "0:30;9d", "0:30,1:100,2:100;0a"},
    };
    for (const TSectionsRow& Row : Rows) {
        QTableWidget Table(1, 3);
        Table.horizontalHeader()->setDefaultSectionSize(100);
        Table.horizontalHeader()->setSortIndicatorShown(true);
        Table.horizontalHeader()->setSortIndicator(0, Qt::AscendingOrder);
        TComponent& Component = QtComponent(Table);
        const TPropInfo* const Info = Component.ClassInfo().FindProperty(u"ColumnSections");
        Info->Set(Component, platform::Utf8ToUtf16(Row.Text));
        EXPECT_EQ(Info->Get(Component).AsString(), platform::Utf8ToUtf16(Row.After)) << Row.Name;
    }
    QSplitter Splitter;
    Splitter.addWidget(new QLabel("left"));
    Splitter.addWidget(new QLabel("right"));
    Splitter.resize(306, 100);
    Splitter.show();
    TComponent& Component = QtComponent(Splitter);
    const TPropInfo* const Sizes = Component.ClassInfo().FindProperty(u"Sizes");
    for (const char16_t* const Text : {u"100,200", u"50", u"x,200", u"-5,9", u""})
        Sizes->Set(Component, Text);
    EXPECT_NEAR(Splitter.sizes()[1], 2 * Splitter.sizes()[0], 6);
}

} // namespace

} // namespace zutools::tests
