// The same suite over objects of the system that nobody here wrote, what else they do, and an object of ours
// in the hands of the system's script engines.

#include "tests/scripting/LateSuite.h"

#include "host/Published.h"
#include "platform/ThreadStart.h"
#include "platform/win32/AutomationValues.h"
#include "scripting/Reflected.h"

#include <gmock/gmock.h>

#include <thread>

namespace zutools::tests {
namespace {

using platform::TInvokeKind;
using testing::HasSubstr;

// Not every Wine has every object: what is missing is skipped, and says so.
TLateObject Made(const char16_t* ProgramId) {
    try {
        return {platform::CreateAutomationObject(ProgramId)};
    } catch (const platform::TAutomationFailure& Error) {
        return {nullptr, {}, Error.what()};
    }
}

void Put(const TAutomationPtr& Object, std::u16string_view Name, const TAutomationValue& Value) {
    const auto Id = Object->FindMember(Name);
    ASSERT_TRUE(Id);
    const auto Outcome = Object->Invoke(*Id, TInvokeKind::PropertyPut, {&Value, 1});
    EXPECT_TRUE(Outcome.Done()) << platform::Utf16ToUtf8(Outcome.Text);
}

TLateObject Engine(std::u16string_view Language) {
    TLateObject Result = Made(u"MSScriptControl.ScriptControl");
    if (Result.Object != nullptr) Put(Result.Object, u"Language", Language);
    return Result;
}

// An object that a script made.
TLateObject ScriptOrder() {
    const TLateObject Script = Engine(u"JScript");
    if (Script.Object == nullptr) return Script;
    auto Keeper = std::make_shared<TAutomationPtr>(Script.Object);
    return {
        Call(Script.Object, u"Eval", {u"({No: 5, Customer: 'Анна', Paid: true, Nothing: null})"}).Object(),
        Keeper};
}

INSTANTIATE_TEST_SUITE_P(System, LateObjects,
                         testing::Values(TLateMaker{"System", [] { return Made(u"Scripting.Dictionary"); },
                                                    ScriptOrder}),
                         [](const auto& Info) { return Info.param.Name; });

TEST(ComObjects, AnUnknownProgramIdIsNamed) {
    EXPECT_THAT(Made(u"ZuTools.NoSuchThing").Missing, HasSubstr("\"ZuTools.NoSuchThing\": "));
    EXPECT_THAT(Made(u"").Missing, HasSubstr("\"\": "));
}

TEST(ComObjects, FileSystemObject) {
    const TLateObject Files = Made(u"Scripting.FileSystemObject");
    if (Files.Object == nullptr) GTEST_SKIP() << Files.Missing;
    EXPECT_EQ(Call(Files.Object, u"GetExtensionName", {u"C:\\папка\\отчёт.txt"}), TAutomationValue(u"txt"));
    EXPECT_EQ(Call(Files.Object, u"FileExists", {u"C:\\no such file"}), TAutomationValue(false));
    const TAutomationPtr Folder = Call(Files.Object, u"GetSpecialFolder", {2}).Object();
    ASSERT_NE(Folder, nullptr);
    EXPECT_FALSE(AutomationText(GetPropertyValue(Folder, u"Path", true)).empty());
    // What the object raises has its own number.
    const auto Id = Files.Object->FindMember(u"GetFile");
    ASSERT_TRUE(Id);
    const TAutomationValue Missing = u"C:\\no such file";
    const auto Outcome = Files.Object->Invoke(*Id, TInvokeKind::Method, {&Missing, 1});
    EXPECT_EQ(Outcome.Code, platform::AutomationCode::Raised);
    EXPECT_THAT(platform::Utf16ToUtf8(Outcome.Text), HasSubstr("0x800A0035"));
}

TEST(ComObjects, XmlDocument) {
    const TLateObject Document = Made(u"MSXML2.DOMDocument");
    if (Document.Object == nullptr) GTEST_SKIP() << Document.Missing;
    EXPECT_EQ(Call(Document.Object, u"loadXML", {u"<o><i n='1'>чай</i></o>"}), TAutomationValue(true));
    const TAutomationPtr Item = Call(Document.Object, u"selectSingleNode", {u"//i"}).Object();
    ASSERT_NE(Item, nullptr);
    EXPECT_EQ(FormatInterfacePropertyString(Item, u"{nodeName}: {text}", u"{", u"}"), u"i: чай");
    EXPECT_EQ(Call(Item, u"getAttribute", {u"n"}), TAutomationValue(u"1"));
    EXPECT_EQ(Call(Document.Object, u"loadXML", {u"<broken"}), TAutomationValue(false));
}

TEST(ComObjects, Shell) {
    const TLateObject Shell = Made(u"WScript.Shell");
    if (Shell.Object == nullptr) GTEST_SKIP() << Shell.Missing;
    const std::u16string Windows =
        AutomationText(Call(Shell.Object, u"ExpandEnvironmentStrings", {u"%windir%"}));
    EXPECT_THAT(platform::Utf16ToUtf8(Windows), HasSubstr(":\\"));
    EXPECT_TRUE(Call(Shell.Object, u"ExpandEnvironmentStrings", {}).IsNull());
}

TEST(ComObjects, WithoutTypeInformationTheListIsEmpty) {
    const TLateObject Connection = Made(u"ADODB.Connection");
    if (Connection.Object == nullptr) GTEST_SKIP() << Connection.Missing;
    TStringList List;
    List.Add(u"before");
    GetInterfaceProperties(Connection.Object, List, 0);
    if (List.Count() > 0) GTEST_SKIP() << "ADODB.Connection has type information here";
    EXPECT_EQ(List.Count(), 0);
}

TEST(ComObjects, ObjectsOfAnotherThreadAreRefusedAndReleasedAtHome) {
    TLateObject Dictionary = Made(u"Scripting.Dictionary");
    if (Dictionary.Object == nullptr) GTEST_SKIP() << Dictionary.Missing;
    const auto Count = Dictionary.Object->FindMember(u"Count");
    ASSERT_TRUE(Count);
    std::thread([&] {
        EXPECT_FALSE(Dictionary.Object->FindMember(u"Count"));
        EXPECT_EQ(Dictionary.Object->Invoke(*Count, TInvokeKind::PropertyGet, {}).Code,
                  platform::AutomationCode::WrongThread);
        Dictionary.Object.reset();
    }).join();
    EXPECT_NE(Made(u"Scripting.Dictionary").Object, nullptr);
}

// ---- values of every kind, through an object that keeps what it is given

TEST(ComObjects, ValuesComeBackAsTheyWent) {
    const TLateObject Dictionary = Made(u"Scripting.Dictionary");
    if (Dictionary.Object == nullptr) GTEST_SKIP() << Dictionary.Missing;
    const TAutomationValue::TArray Inner = {u"в массиве", 2.5};
    const TAutomationValue Values[] = {{},
                                       TAutomationNull(),
                                       true,
                                       false,
                                       -2147483647 - 1,
                                       std::int64_t{1} << 60U,
                                       1e308,
                                       platform::TAutomationCurrency{-99'999},
                                       platform::TAutomationDate{-1.25},
                                       platform::TAutomationError{platform::AutomationCode::ArgumentLeftOut},
                                       u"\u0416\U0001F600",
                                       std::u16string(u"a\0b", 3),
                                       u"",
                                       TAutomationPtr(),
                                       TAutomationValue::TArray(),
                                       TAutomationValue::TArray{1, Inner, TAutomationNull()}};
    for (const TAutomationValue& Value : Values) {
        Call(Dictionary.Object, u"RemoveAll");
        Call(Dictionary.Object, u"Add", {u"key", Value});
        EXPECT_EQ(Call(Dictionary.Object, u"Item", {u"key"}), Value) << "index " << Value.Data().index();
    }
    // Arrays of the engine's own making: two dimensions, other types and bounds.
    const TLateObject Basic = Engine(u"VBScript");
    if (Basic.Object == nullptr) GTEST_SKIP() << Basic.Missing;
    Call(Basic.Object, u"AddCode",
         {u"Function Table()\nDim A(1, 2)\nA(0, 0) = CInt(1)\nA(1, 2) = CByte(6)\n"
          u"Table = A\nEnd Function\n"
          u"Function Amount()\nAmount = CCur(12.5)\nEnd Function\n"
          u"Function Day()\nDay = CDate(45000.5)\nEnd Function"});
    const TAutomationValue Empty;
    EXPECT_EQ(Call(Basic.Object, u"Eval", {u"Table()"}),
              TAutomationValue(TAutomationValue::TArray{TAutomationValue::TArray{1, Empty, Empty},
                                                        TAutomationValue::TArray{Empty, Empty, 6}}));
    EXPECT_EQ(Call(Basic.Object, u"Eval", {u"Amount()"}),
              TAutomationValue(platform::TAutomationCurrency{125'000}));
    EXPECT_EQ(Call(Basic.Object, u"Eval", {u"Day()"}), TAutomationValue(platform::TAutomationDate{45000.5}));
}

// Where the system can add, our sum is the system's.
TEST(ComObjects, SumsAreTheSystems) {
    const TAutomationValue Rights[] = {5, 2.5, true, u"7", u"x", platform::TAutomationCurrency{15'000}};
    for (const std::u16string_view Left : {u"10", u"2.5", u"-1", u"text", u""}) {
        for (const TAutomationValue& Right : Rights) {
            platform::TVariant First, Second, Sum;
            platform::ToVariant(Left, *First);
            platform::ToVariant(Right, *Second);
            if (FAILED(VarAdd(&First, &Second, &Sum))) continue;
            const auto Expected = platform::FromVariant(*Sum);
            ASSERT_TRUE(Expected);
            EXPECT_EQ(AutomationSum(Left, Right), AutomationText(*Expected));
        }
    }
}

// ---- an object of ours in a script engine

class TParcel : public TObject {
public:
    static const TClassInfo& StaticClass() {
        static constexpr TPropInfo Properties[] = {PublishedProperty<&TParcel::Weight>(u"Weight"),
                                                   PublishedProperty<&TParcel::Note>(u"Note")};
        static constexpr TMethodInfo Methods[] = {
            PublishedMethod<&TParcel::Price, u"Zone", u"Factor">(u"Price"),
            PublishedMethod<&TParcel::Fail>(u"Fail"), PublishedMethod<&TParcel::Itself>(u"Itself")};
        static constexpr TClassInfo Info{.Name = u"TParcel",
                                         .Parent = &TObject::StaticClass,
                                         .Properties = Properties,
                                         .Methods = Methods};
        return Info;
    }
    [[nodiscard]] const TClassInfo& ClassInfo() const override { return StaticClass(); }
    [[nodiscard]] std::u16string Price(const std::u16string& Zone, int Factor) {
        return Zone + TKXVariant(Weight * Factor).AsString();
    }
    void Fail() { throw Exception(u"отказ"); }
    TParcel* Itself() { return this; }
    int Weight = 2;
    std::u16string Note;
};

class ComEngines : public testing::TestWithParam<const char16_t*> {};

TEST_P(ComEngines, DriveAnObjectOfOurs) {
    const TLateObject Script = Engine(GetParam());
    if (Script.Object == nullptr) GTEST_SKIP() << Script.Missing;
    TParcel Parcel;
    Call(Script.Object, u"AddObject", {u"parcel", ReflectedObject(Parcel), false});
    const auto Eval = [&](const char16_t* Text) { return Call(Script.Object, u"Eval", {Text}); };
    EXPECT_EQ(AutomationText(Eval(u"parcel.weight")), u"2");
    EXPECT_EQ(AutomationText(Eval(u"parcel.Price(\"зона \", 3)")), u"зона 6");
    EXPECT_EQ(AutomationText(Eval(u"parcel.Price(\"z\", \"4\")")), u"z8"); // converted by the declared type
    EXPECT_EQ(AutomationText(Eval(u"parcel.Itself().Itself().Weight")), u"2");
    EXPECT_EQ(ReflectedTarget(Eval(u"parcel.Itself()").Object()), &Parcel); // ours again
    Call(Script.Object, u"ExecuteStatement", {u"parcel.Weight = 40"});
    Call(Script.Object, u"ExecuteStatement", {u"parcel.Note = \"из сценария\""});
    EXPECT_EQ(Parcel.Weight, 40);
    EXPECT_EQ(Parcel.Note, u"из сценария");
    const auto Id = Script.Object->FindMember(u"Eval");
    ASSERT_TRUE(Id);
    for (const char16_t* Text :
         {u"parcel.Fail()", u"parcel.Price(1)", u"parcel.Price(\"z\", \"no number\")"}) {
        const TAutomationValue Line = Text;
        EXPECT_FALSE(Script.Object->Invoke(*Id, TInvokeKind::Method, {&Line, 1}).Done());
    }
}
INSTANTIATE_TEST_SUITE_P(Engines, ComEngines, testing::Values(u"JScript", u"VBScript"),
                         [](const auto& Info) { return platform::Utf16ToUtf8(Info.param); });

// Those who look before they call find the members of our object.
TEST(ComObjects, AnObjectOfOursHasTypeInformation) {
    const platform::TThreadStart Model("test");
    TParcel Parcel;
    const platform::TComPtr<IDispatch> Dispatch = platform::ToDispatch(ReflectedObject(Parcel));
    platform::TComPtr<ITypeInfo> Info;
    ASSERT_EQ(Dispatch->GetTypeInfo(0, 0, Info.Place()), S_OK);
    TYPEATTR* Attributes = nullptr;
    ASSERT_EQ(Info->GetTypeAttr(&Attributes), S_OK);
    EXPECT_GE(Attributes->cFuncs, 3); // some systems count those of IDispatch too
    EXPECT_EQ(Attributes->cVars, 2);
    Info->ReleaseTypeAttr(Attributes);
    DISPID Id = 0;
    wchar_t Name[] = L"price";
    wchar_t* Names[] = {Name};
    ASSERT_EQ(Dispatch->GetIDsOfNames({}, Names, 1, 0, &Id), S_OK);
    platform::TBstr Found;
    ASSERT_EQ(Info->GetDocumentation(Id, Found.Place(), nullptr, nullptr, nullptr), S_OK);
    EXPECT_EQ(Found.Text(), u"Price");
}

// The system's own documents, where there is an HTML engine.
TEST(ComObjects, HtmlDocument) {
    TAutomationPtr Document;
    try {
        Document =
            platform::ParseHtml(u"<form id=f><input name=a value=1><select name=s><option selected>x</select>"
                                u"<input name=b value=2 disabled></form>");
    } catch (const platform::TAutomationFailure& Error) {
        GTEST_SKIP() << Error.what();
    }
    EXPECT_EQ(GetElementPropertyValue(Document, u"a", u"value"), u"1");
    const std::vector<TFormEntry> Expected = {{u"a", u"1"}, {u"s", u"x"}};
    EXPECT_EQ(SuccessfulFormEntries(Document, u"f"), Expected);
}

} // namespace
} // namespace zutools::tests
