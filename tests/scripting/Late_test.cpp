#include "tests/scripting/LateSuite.h"

#include "host/Exception.h"
#include "host/Published.h"
#include "scripting/AutomationValues.h"
#include "scripting/Reflected.h"
#include "tests/support/Raised.h"

#include <gmock/gmock.h>

#include <map>

namespace zutools::tests {
namespace {

using testing::Contains;
using testing::Not;

// ---- the library's own: reflected objects

class TDictionary : public TObject {
public:
    static const TClassInfo& StaticClass();
    [[nodiscard]] const TClassInfo& ClassInfo() const override { return StaticClass(); }

    void Add(TKXVariant Key, TKXVariant Item) {
        if (!Items.emplace(Key.AsString(), Item).second) throw Exception(u"The key is there already");
    }
    [[nodiscard]] bool Exists(TKXVariant Key) { return Items.contains(Key.AsString()); }
    [[nodiscard]] TKXVariant Item(TKXVariant Key) { return Items[Key.AsString()]; }
    void Remove(TKXVariant Key) { Items.erase(Key.AsString()); }
    void RemoveAll() { Items.clear(); }
    [[nodiscard]] int Count() const { return static_cast<int>(Items.size()); }

    std::map<std::u16string, TKXVariant> Items;
};

const TClassInfo& TDictionary::StaticClass() {
    static constexpr TPropInfo Properties[] = {PublishedProperty<&TDictionary::Count>(u"Count")};
    static constexpr TMethodInfo Methods[] = {PublishedMethod<&TDictionary::Add, u"Key", u"Item">(u"Add"),
                                              PublishedMethod<&TDictionary::Exists, u"Key">(u"Exists"),
                                              PublishedMethod<&TDictionary::Item, u"Key">(u"Item"),
                                              PublishedMethod<&TDictionary::Remove, u"Key">(u"Remove"),
                                              PublishedMethod<&TDictionary::RemoveAll>(u"RemoveAll")};
    static constexpr TClassInfo Info{.Name = u"TDictionary",
                                     .Parent = &TObject::StaticClass,
                                     .Properties = Properties,
                                     .Methods = Methods};
    return Info;
}

class TOrder : public TObject {
public:
    static const TClassInfo& StaticClass() {
        static constexpr TPropInfo Properties[] = {
            PublishedProperty<&TOrder::No>(u"No"), PublishedProperty<&TOrder::Customer>(u"Customer"),
            PublishedProperty<&TOrder::Paid>(u"Paid"), PublishedProperty<&TOrder::Nothing>(u"Nothing")};
        static constexpr TClassInfo Info{
            .Name = u"TOrder", .Parent = &TObject::StaticClass, .Properties = Properties};
        return Info;
    }
    [[nodiscard]] const TClassInfo& ClassInfo() const override { return StaticClass(); }
    int No = 5;
    std::u16string Customer = u"Анна";
    bool Paid = true;
    TKXVariant Nothing;
};

template <class T>
TLateObject Reflected() {
    auto Object = std::make_shared<T>();
    return {ReflectedObject(*Object), Object};
}

INSTANTIATE_TEST_SUITE_P(Reflected, LateObjects,
                         testing::Values(TLateMaker{"Reflected", Reflected<TDictionary>, Reflected<TOrder>}),
                         [](const auto& Info) { return Info.param.Name; });

// ---- what all do alike

TEST_P(LateObjects, MethodsAndPropertiesAreCalledByName) {
    const TLateObject Made = GetParam().Dictionary();
    if (Made.Object == nullptr) GTEST_SKIP() << Made.Missing;
    const TAutomationPtr& Dictionary = Made.Object;
    EXPECT_TRUE(Call(Dictionary, u"Add", {u"ключ", u"значение \U0001F600"}).IsNull());
    EXPECT_TRUE(Call(Dictionary, u"add", {u"n", 7}).IsNull()); // letter case does not count
    EXPECT_EQ(GetPropertyValue(Dictionary, u"COUNT", true), TAutomationValue(2));
    EXPECT_EQ(Call(Dictionary, u"Exists", {u"ключ"}), TAutomationValue(true));
    EXPECT_EQ(Call(Dictionary, u"Item", {u"ключ"}), TAutomationValue(u"значение \U0001F600"));
    EXPECT_EQ(Call(Dictionary, u"Item", {u"n"}), TAutomationValue(7));
    EXPECT_EQ(Call(Dictionary, u"Count"), TAutomationValue(2)); // a property read as a call
}

TEST_P(LateObjects, KeptOnPurposeArgumentsGoInTheOrderGiven) {
    const TLateObject Made = GetParam().Dictionary();
    if (Made.Object == nullptr) GTEST_SKIP() << Made.Missing;
    const std::array<TAutomationValue, 2> Args = {TAutomationValue(u"item"), TAutomationValue(u"key")};
    ExecMethod(Made.Object, u"Add", Args);
    EXPECT_EQ(Call(Made.Object, u"Exists", {u"key"}), TAutomationValue(true));
    EXPECT_EQ(Call(Made.Object, u"Exists", {u"item"}), TAutomationValue(false));
}

TEST_P(LateObjects, WhatFailsIsNullAndNoError) {
    const TLateObject Made = GetParam().Dictionary();
    if (Made.Object == nullptr) GTEST_SKIP() << Made.Missing;
    const TAutomationPtr& Dictionary = Made.Object;
    const TAutomationValue Null = TAutomationNull();
    EXPECT_EQ(Call(Dictionary, u"Add", {u"only a key"}), Null);
    EXPECT_EQ(Call(Dictionary, u"Exists", {1, 2, 3}), Null);
    EXPECT_EQ(Call(Dictionary, u"NoSuchMethod", {1}), Null);
    EXPECT_EQ(Call(nullptr, u"Add"), Null);
    Call(Dictionary, u"Add", {u"k", 1});
    EXPECT_EQ(Call(Dictionary, u"Add", {u"k", 2}), Null); // raised inside
    EXPECT_EQ(Call(Dictionary, u"Item", {u"k"}), TAutomationValue(1));

    EXPECT_EQ(GetPropertyValue(nullptr, u"Count", true), Null);
    EXPECT_EQ(GetPropertyValue(Dictionary, u"NoSuch", false), Null);
    EXPECT_EQ(GetPropertyValue(Dictionary, u"Add", false), Null); // known, but no property to read
    EXPECT_EQ(Raised<Exception>([&] { return GetPropertyValue(Dictionary, u"NoSuch", true); }),
              "Unknown name: NoSuch.");
}

// Those who call an object themselves are told why.
TEST_P(LateObjects, RefusalsHaveCodesAndTexts) {
    const TLateObject Made = GetParam().Dictionary();
    if (Made.Object == nullptr) GTEST_SKIP() << Made.Missing;
    const auto Add = Made.Object->FindMember(u"Add");
    ASSERT_TRUE(Add);
    const std::array<TAutomationValue, 2> Args = {TAutomationValue(1), TAutomationValue(u"k")};
    EXPECT_EQ(Made.Object->Invoke(*Add, platform::TInvokeKind::Method, {}).Code,
              platform::AutomationCode::BadArgumentCount);
    EXPECT_TRUE(Made.Object->Invoke(*Add, platform::TInvokeKind::Method, Args).Done());
    const auto Twice = Made.Object->Invoke(*Add, platform::TInvokeKind::Method, Args);
    EXPECT_EQ(Twice.Code, platform::AutomationCode::Raised);
    EXPECT_FALSE(Twice.Text.empty());
    EXPECT_EQ(Made.Object->Invoke(0x7000, platform::TInvokeKind::Method, {}).Code,
              platform::AutomationCode::MemberNotFound);
}

TEST_P(LateObjects, MembersAreListed) {
    const TLateObject Made = GetParam().Dictionary();
    if (Made.Object == nullptr) GTEST_SKIP() << Made.Missing;
    const auto Listed = [&](int Selector) {
        TStringList List;
        List.Add(u"before");
        GetInterfaceProperties(Made.Object, List, Selector);
        std::vector<std::string> Names;
        for (int I = 0; I < List.Count(); ++I) {
            const std::string Line = platform::Utf16ToUtf8(List.Strings(I));
            Names.push_back(Line.substr(0, Line.find('=')));
            EXPECT_EQ(Line.find('=') == Line.npos, I == 0) << Line; // the type's own name stands first
        }
        return Names;
    };
    EXPECT_THAT(Listed(0), Contains("Add").Times(1));
    EXPECT_THAT(Listed(0), Contains("Count"));
    EXPECT_THAT(Listed(1), Not(Contains("Add")));
    EXPECT_THAT(Listed(2), Contains("Add"));
    TStringList List;
    List.Add(u"stays");
    GetInterfaceProperties(nullptr, List, 0);
    EXPECT_EQ(List.Count(), 1);
}

TEST_P(LateObjects, TextsAreExpanded) {
    const TLateObject Made = GetParam().Order();
    if (Made.Object == nullptr) GTEST_SKIP() << Made.Missing;
    const auto Expanded = [&](std::u16string_view Text, std::u16string_view Open = u"[",
                              std::u16string_view Close = u"]") {
        return platform::Utf16ToUtf8(FormatInterfacePropertyString(Made.Object, Text, Open, Close));
    };
    const struct {
        const char16_t *Text, *Open, *Close;
        const char* Result;
    } Rows[] = {
        {u"Order [No] of [Customer]", u"[", u"]", "Order 5 of Анна"},
        {u"nothing to do", u"[", u"]", "nothing to do"},
        {u"[No][No]]", u"[", u"]", "55]"},
        {u"a BEGINCustomerEnd z", u"begin", u"END", "a Анна z"},
        {u"[Paid] [Nothing].", u"[", u"]", "True ."},
        {u"%No%%Customer%", u"%", u"%", "5Анна"},
        {u"no end [", u"[", u"]", "no end "},
        {u"", u"[", u"]", ""},
        {u"[No", u"", u"]", "[No"}, // an empty delimiter is never there
    };
    for (const auto& Row : Rows) EXPECT_EQ(Expanded(Row.Text, Row.Open, Row.Close), Row.Result);
    EXPECT_EQ(Raised<Exception>([&] { return Expanded(u"a [Unknown] z"); }), "Unknown name: Unknown.");
    EXPECT_EQ(Raised<Exception>([&] { return Expanded(u"a [] z"); }), "Unknown name: .");
    EXPECT_EQ(Raised<Exception>([&] { return Expanded(u"a [Unknown"); }), "Unknown name: Unknown.");
}

TEST_P(LateObjects, KeptOnPurposeTheLastReferenceIsAddedWhenTheTextEndsInIt) {
    const TLateObject Made = GetParam().Order();
    if (Made.Object == nullptr) GTEST_SKIP() << Made.Missing;
    const auto Expanded = [&](std::u16string_view Text) {
        return platform::Utf16ToUtf8(FormatInterfacePropertyString(Made.Object, Text, u"[", u"]"));
    };
    EXPECT_EQ(Expanded(u"10[No"), "15");
    EXPECT_EQ(Expanded(u"[No]0[No"), "55"); // 50 and 5
    EXPECT_EQ(Expanded(u"No. [No"), "No. 5");
    EXPECT_EQ(Expanded(u"10[Customer"), "10Анна");
    EXPECT_EQ(Expanded(u"[No"), "5");
}

// ---- only here: the library's own objects

TEST(Reflected, ObjectsThatAreGoneSaySo) {
    auto Order = std::make_unique<TOrder>();
    const TAutomationPtr Object = ReflectedObject(*Order);
    const auto No = Object->FindMember(u"No");
    ASSERT_TRUE(No);
    const TAutomationValue Seven = 7;
    EXPECT_TRUE(Object->Invoke(*No, platform::TInvokeKind::PropertyPut, {&Seven, 1}).Done());
    EXPECT_EQ(Order->No, 7);
    EXPECT_EQ(ReflectedTarget(Object), Order.get());
    Order.reset();
    EXPECT_EQ(Object->Invoke(*No, platform::TInvokeKind::PropertyGet, {}).Code,
              platform::AutomationCode::ObjectGone);
    EXPECT_EQ(ReflectedTarget(Object), nullptr);
}

TEST(AutomationValues, TextsAndTheWayToTheHostAndBack) {
    const struct {
        TAutomationValue Value;
        const char* Text;
    } Rows[] = {{TAutomationNull(), ""},
                {{}, ""},
                {true, "True"},
                {-7, "-7"},
                {std::int64_t{1} << 40U, "1099511627776"},
                {0.1, "0.1"},
                {platform::TAutomationCurrency{-12345}, "-1.2345"},
                {platform::TAutomationCurrency{120'500}, "12.05"},
                {platform::TAutomationDate{-1.25}, "1899-12-29 06:00:00"},
                {platform::TAutomationDate{45000.5}, "2023-03-15 12:00:00"},
                {u"текст", "текст"}};
    for (const auto& Row : Rows) {
        EXPECT_EQ(platform::Utf16ToUtf8(AutomationText(Row.Value)), Row.Text);
        const bool IsAmount = Row.Value.As<platform::TAutomationCurrency>() != nullptr;
        if (IsAmount || Row.Value.Data().index() == 0) continue; // comes back as a float, as null
        EXPECT_EQ(ToAutomation(FromAutomation(Row.Value)), Row.Value) << Row.Text;
    }
    EXPECT_THROW(static_cast<void>(AutomationText(TAutomationValue::TArray{1})), EVariantError);
    EXPECT_THROW(static_cast<void>(AutomationText(platform::TAutomationError{1})), EVariantError);
}

} // namespace
} // namespace zutools::tests
