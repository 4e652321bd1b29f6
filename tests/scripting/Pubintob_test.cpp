#include "scripting/Pubintob.h"

#include "host/Exception.h"
#include "host/Published.h"
#include "platform/Text.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <vector>

namespace zutools::tests {
namespace {

using platform::Utf16ToUtf8;

// One property and one method with one parameter, of the kind that a row of a table asks for. The property is
// a cell, and the method keeps its call values there.
class TProbe : public TObject {
public:
    static const TClassInfo& StaticClass();
    const TClassInfo& ClassInfo() const override { return StaticClass(); }

    static inline TPropInfo Property;
    static inline TParamInfo Param;
    static inline TMethodInfo Method;
    TKXVariant Cell;
};

const TClassInfo& TProbe::StaticClass() {
    Property.Name = u"Cell";
    Property.Get = [](const TObject& Self) { return static_cast<const TProbe&>(Self).Cell; };
    Property.Set = [](TObject& Self, const TKXVariant& Value) { static_cast<TProbe&>(Self).Cell = Value; };
    Param.Name = u"P";
    Method = {
        u"Take", TVisibility::mvPublished, {&Param, 1}, [](TObject& Self, TScriptArgs Args) -> TKXVariant {
            return static_cast<TProbe&>(Self).Cell = Args[0];
        }};
    static const TClassInfo Info{.Name = u"TProbe",
                                 .Parent = &TObject::StaticClass,
                                 .Properties = {&Property, 1},
                                 .Methods = {&Method, 1}};
    return Info;
}

class Pubintob : public testing::Test {
protected:
    Pubintob() { Wrapper.AObject = Probe.Reference(); }

    // The value, or an error as its class and message.
    template <class TJob>
    static TKXVariant Outcome(TJob Job) {
        try {
            return Job();
        } catch (const EIObjectError& Error) {
            return u"EIObjectError: " + Error.Message();
        } catch (const EFormatError& Error) {
            return u"EFormatError: " + Error.Message();
        }
    }
    TKXVariant Get(std::u16string_view Name, std::vector<TKXVariant> Args = {}) {
        return Outcome([&] {
            TKXVariant Result(u"untouched");
            const bool Done = Wrapper.GetPropertyInternal(Name, Args, static_cast<int>(Args.size()), Result);
            return Done ? Result : TKXVariant(u"not handled");
        });
    }
    TKXVariant Set(std::u16string_view Name, const TKXVariant& Value) {
        return Outcome([&] {
            const bool Done = Wrapper.SetPropertyInternal(Name, {&Value, 1}, 0);
            return Done ? Probe.Cell : TKXVariant(u"not handled");
        });
    }

    TProbe Probe;
    TPublishedInterfaceObject Wrapper;
};

std::string Shown(const TKXVariant& Value) {
    std::u16string Text(VariantKindName(Value.Kind()));
    if (Value.Kind() != TVariantKind::vkObject) Text += u" " + Value.AsString();
    return Utf16ToUtf8(Text);
}

using enum TTypeKind;
const double NaN = std::numeric_limits<double>::quiet_NaN();

TEST_F(Pubintob, PropertiesByKind) {
    const TKXVariant Itself = PointerAsLVar(&Probe);
    const struct {
        TTypeKind Kind;
        std::u16string_view Type;
        TKXVariant Kept, Read;     // what the getter gives, and what a script gets
        TKXVariant Given, Written; // what a script gives, and what the setter takes
    } Rows[] = {
        {tkInteger, u"Integer", 7, 7, u" -2147483648", std::numeric_limits<int>::min()},
        {tkInteger, u"Integer", std::int64_t{4294967295}, std::int64_t{4294967295}, 2.0, 2},
        {tkEnumeration, u"TColour", 2, 2, true, 1},
        {tkEnumeration, u"bOOLEAN", 1, true, u"false", false},
        {tkEnumeration, u"Bool", 0, false, 3, true},
        {tkInteger, u"BooleanX", 1, 1, 3, 3},
        {tkEnumeration, u"WordBool", 65535, TKXVariant::WordBool(65535), 0, false},
        {tkInteger, u"Word", 513, TKXVariant::WordBool(513), 513, true}, // by its first letters
        {tkChar, u"AnsiChar", TKXVariant::AnsiChar('x'), TKXVariant::AnsiChar('x'), u"y",
         TKXVariant::AnsiChar('y')},
        {tkWChar, u"WideChar", u'ж', u'ж', u"\uFFFD", u'\uFFFD'},
        {tkFloat, u"Double", 1.5, 1.5, u"1e308", 1e308},
        {tkFloat, u"tDateTime", 1.5, TDateTime{1.5}, u"1900-01-01 06:00:00", TDateTime{2.25}},
        {tkFloat, u"TDate", 1.0, TDateTime{1}, 2, TDateTime{2}},
        {tkString, u"ShortString", u"s", u"s", 12, u"12"},
        {tkWString, u"WideString", u"\U0001F600", u"\U0001F600", u"\U0001F600", u"\U0001F600"},
        {tkUString, u"string", TKXVariant(), u"", false, u"False"},
        {tkLString, u"AnsiString", u"a", TKXVariant::AnsiString("a"), u"b", TKXVariant::AnsiString("b")},
        {tkClass, u"TProbe", Itself, Itself, Itself, Itself},
        {tkClass, u"TProbe", TKXVariant(), PointerAsLVar(nullptr), PointerAsLVar(&Wrapper), Itself},
        {tkVariant, u"Variant", NaN, NaN, TDateTime{3}, TDateTime{3}},
    };
    for (const auto& Row : Rows) {
        SCOPED_TRACE(Utf16ToUtf8(Row.Type));
        Probe.Property.Kind = Row.Kind;
        Probe.Property.TypeName = Row.Type;
        Probe.Cell = Row.Kept;
        const TKXVariant Read = Get(u"cell");
        EXPECT_TRUE(Read == Row.Read || Row.Kind == tkVariant) << Shown(Read);
        EXPECT_EQ(Read.Kind(), Row.Read.Kind());
        const TKXVariant Written = Set(u"CELL", Row.Given);
        EXPECT_EQ(Written, Row.Written) << Shown(Written);
    }
}

TEST_F(Pubintob, PropertiesThatFail) {
    const struct {
        TTypeKind Kind;
        TKXVariant Given;
        std::u16string_view Error; // EIObjectError
    } Rows[] = {
        {tkInteger, NaN, u"Cannot convert Float \"nan\" to Integer: property 'Cell' of class 'TProbe'"},
        {tkInteger, {}, u"Cannot convert Null to Integer: property 'Cell' of class 'TProbe'"},
        {tkWChar, u"\U0001F600",
         u"Cannot convert String \"\U0001F600\" to WideChar: property 'Cell' of class 'TProbe'"},
        {tkFloat, u"x", u"Cannot convert String \"x\" to Float: property 'Cell' of class 'TProbe'"},
        {tkClass, 1, u"Cannot convert Integer \"1\" to Object: property 'Cell' of class 'TProbe'"},
    };
    Probe.Property.TypeName = u"T";
    for (const auto& Row : Rows) {
        Probe.Property.Kind = Row.Kind;
        Probe.Property.TypeName = u"Type";
        EXPECT_EQ(Set(u"Cell", Row.Given), u"EIObjectError: " + std::u16string(Row.Error));
    }
    const struct {
        TTypeKind Kind;
        std::u16string_view Name;
    } Refused[] = {{tkUnknown, u"tkUnknown"},     {tkSet, u"tkSet"},
                   {tkMethod, u"tkMethod"},       {tkArray, u"tkArray"},
                   {tkRecord, u"tkRecord"},       {tkInterface, u"tkInterface"},
                   {tkInt64, u"tkInt64"},         {tkDynArray, u"tkDynArray"},
                   {tkClassRef, u"tkClassRef"},   {tkPointer, u"tkPointer"},
                   {tkProcedure, u"tkProcedure"}, {static_cast<TTypeKind>(22), u"22"}};
    for (const auto& Row : Refused) {
        Probe.Property.Kind = Row.Kind;
        const std::u16string Error = u"EIObjectError: Invalid property type (" + std::u16string(Row.Name) +
                                     u") for property 'Cell' of class 'TProbe'";
        EXPECT_EQ(Get(u"Cell"), Error);
        EXPECT_EQ(Set(u"Cell", 1), Error);
    }
    EXPECT_EQ(Get(u"Cell", {1}),
              u"EIObjectError: Invalid number of arguments for property 'Cell' of class 'TProbe'");
}

TEST_F(Pubintob, ArgumentsByKind) {
    const std::int64_t Big = 4294967295;
    const double Third = 1.0 / 3;
    const struct {
        TParamInfo Param;
        TKXVariant Given, Taken; // a text for what fails, which the message tells
    } Rows[] = {
        {{u"P", tkInteger, u"T", 1, true}, -129, -129}, // the method's own to check
        {{u"P", tkInteger, u"T", 1, true}, Big, u"Integer"},
        {{u"P", tkInteger, u"T", 1, false}, 255, 255},
        {{u"P", tkInteger, u"T", 1, false}, 256, u"Byte"},
        {{u"P", tkInteger, u"T", 1, false}, -1, u"Byte"},
        {{u"P", tkInteger, u"T", 2, true}, -32768, -32768},
        {{u"P", tkInteger, u"T", 2, true}, 32768, u"SmallInt"},
        {{u"P", tkInteger, u"T", 2, false}, 65535, 65535},
        {{u"P", tkInteger, u"T", 2, false}, 65536, u"Word"},
        {{u"P", tkInteger, u"T", 4, true}, u"2147483647", 2147483647},
        {{u"P", tkInteger, u"T", 4, true}, std::int64_t{2147483648}, u"Integer"},
        {{u"P", tkInteger, u"T", 4, false}, Big, Big},
        {{u"P", tkInteger, u"T", 4, false}, Big + 1, u"LongWord"},
        {{u"P", tkEnumeration, u"T", 1, false}, true, 1},
        {{u"P", tkInteger, u"T", 4, true}, NaN, u"Integer"},
        {{u"P", tkInteger, u"T", 4, true}, {}, u"Integer"},
        {{u"P", tkChar, u"T", 1, false}, u"x", TKXVariant::AnsiChar('x')},
        {{u"P", tkChar, u"T", 2, false}, u"ж", u'ж'},
        {{u"P", tkWChar, u"T", 2, false}, TKXVariant::AnsiChar('x'), u'x'},
        {{u"P", tkWChar, u"T", 2, false}, u"\U0001F600", u"WideChar"},
        {{u"P", tkWChar, u"T", 2, false}, u"", u"WideChar"},
        {{u"P", tkFloat, u"Double"}, u"1.25", 1.25},
        {{u"P", tkFloat, u"Double"}, NaN, NaN},
        {{u"P", tkFloat, u"Double"}, u"1900-01-01", u"Float"},
        {{u"P", tkFloat, u"TDateTime"}, u"1900-01-01", 2.0},
        {{u"P", tkFloat, u"TDateTime"}, u"2.5", 2.5},
        {{u"P", tkFloat, u"Extended", 0, false, false, TFloatType::ftExtended}, Third, Third},
        {{u"P", tkFloat, u"Currency", 0, false, false, TFloatType::ftCurrency}, Third, 0.3333},
        {{u"P", tkFloat, u"Single", 0, false, false, TFloatType::ftSingle}, Third, PointerAsLVar(nullptr)},
        {{u"P", tkFloat, u"Comp", 0, false, false, TFloatType::ftComp}, 1, PointerAsLVar(nullptr)},
        {{u"P", tkString, u"T"}, 1, TKXVariant(u"1").AsString()},
        {{u"P", tkWString, u"T"}, true, TKXVariant(u"True").AsString()},
        {{u"P", tkUString, u"T"}, {}, TKXVariant(u"").AsString()},
        {{u"P", tkLString, u"T"}, u"a", TKXVariant::AnsiString("a")},
        {{u"P", tkInt64, u"T"}, Big, Big},
        {{u"P", tkInt64, u"T"}, 9007199254740992.0, std::int64_t{9007199254740992}},
        {{u"P", tkVariant, u"T"}, TDateTime{1}, TDateTime{1}},
    };
    for (const auto& Row : Rows) {
        Probe.Param = Row.Param;
        const TKXVariant Result = Get(u"Take", {Row.Given});
        const bool Text =
            Row.Param.Kind == tkString || Row.Param.Kind == tkWString || Row.Param.Kind == tkUString;
        SCOPED_TRACE(Shown(Result) + " from " + Shown(Row.Given));
        if (Row.Taken.Kind() == TVariantKind::vkString && !Text) {
            const std::u16string Error = Result.AsString();
            EXPECT_TRUE(Error.starts_with(u"EIObjectError: Cannot convert ")) << Utf16ToUtf8(Error);
            EXPECT_TRUE(Error.ends_with(u" to " + Row.Taken.AsString() +
                                        u": parameter 'P' of method 'Take' of class 'TProbe'"));
        } else if (Row.Taken.Kind() == TVariantKind::vkFloat && std::isnan(Row.Taken.AsFloat())) {
            EXPECT_TRUE(std::isnan(Result.AsFloat()));
        } else {
            EXPECT_EQ(Result, Row.Taken);
        }
    }
    Probe.Param = {u"P", tkFloat, u"Single", 0, false, false, TFloatType::ftSingle};
    Get(u"Take", {1.5});
    EXPECT_EQ(Probe.Cell, TKXVariant()); // kept on purpose: the call value is empty
}

TEST_F(Pubintob, ArgumentsWhoseKindFails) {
    const auto Formatting = [](std::u16string_view Kind) {
        return u"EFormatError: Format \"Error cast variant (%s) to " + std::u16string(Kind) +
               u" Value: %d %d %s\" invalid or incompatible with argument";
    };
    const struct {
        TParamInfo Param;
        std::u16string Error;
    } Rows[] = {
        {{u"P", tkInteger, u"T", 8, true},
         u"EIObjectError: Error cast (Integer) to Integer/Enumeration Value: 1 8"},
        {{u"P", tkEnumeration, u"T", 3, false},
         u"EIObjectError: Error cast (Integer) to Integer/Enumeration Value: 3 3"},
        {{u"P", tkWChar, u"T", 4, false},
         u"EIObjectError: Error cast variant (Integer) to Char/WChar Value: 9 4"},
        {{u"P", tkChar, u"T", 1, true},
         u"EIObjectError: Error cast variant (Integer) to Char/WChar Value: 2 1"},
        {{u"P", tkFloat, u"T", 0, false, false, TFloatType::ftNone},
         u"EFormatError: Format \"Error cast (%s) to float Value: %d %d %s\" invalid or incompatible with "
         u"argument"},
        {{u"P", tkUnknown, u"T"}, Formatting(u"tkUnknown")},
        {{u"P", tkSet, u"T"}, Formatting(u"tkSet")},
        {{u"P", tkClass, u"T"}, Formatting(u"tkClass")},
        {{u"P", tkMethod, u"T"}, Formatting(u"tkMethod")},
        {{u"P", tkArray, u"T"}, Formatting(u"tkArray")},
        {{u"P", tkRecord, u"T"}, Formatting(u"tkRecord")},
        {{u"P", tkInterface, u"T"}, Formatting(u"tkInterface")},
        {{u"P", tkDynArray, u"T"}, Formatting(u"tkDynArray")},
        {{u"P", tkClassRef, u"T"}, Formatting(u"tkClassRef")},
        {{u"P", tkPointer, u"T"}, Formatting(u"tkPointer")},
        {{u"P", tkProcedure, u"T"}, Formatting(u"tkProcedure")},
        {{u"P", static_cast<TTypeKind>(22), u"T"}, Formatting(u"else/default")},
        {{.Name = u"P", .Kind = tkInteger, .TypeName = u"T", .ByReference = true},
         u"EIObjectError: Var parameters not supported. Class 'TProbe', method 'Take', parameter 0(zero "
         u"based) 'P'"},
    };
    for (const auto& Row : Rows) {
        Probe.Param = Row.Param;
        EXPECT_EQ(Get(u"Take", {1}), TKXVariant(Row.Error));
    }
    for (const auto& Args :
         {std::vector<TKXVariant>{}, std::vector<TKXVariant>(2), std::vector<TKXVariant>(7)}) {
        EXPECT_EQ(
            Get(u"Take", Args),
            TKXVariant(u"EIObjectError: Invalid number of arguments for method 'Take' of class 'TProbe'"));
    }
}

// ---- whole objects

class TSum : public TObject {
public:
    static const TClassInfo& StaticClass();
    const TClassInfo& ClassInfo() const override { return StaticClass(); }

    [[nodiscard]] int GetCount() const { return 1; }
    [[nodiscard]] std::u16string Six(int A, std::u16string B, double C, bool D, char16_t E, TKXVariant F) {
        return TKXVariant(A).AsString() + B + TKXVariant(C).AsString() + (D ? u"+" : u"-") + E + F.AsString();
    }
    void Nothing() {}
    TObject* Self() { return this; }
    bool Yes() { return true; }
    int Hidden() { return 0; }
};

constexpr TPropInfo SumProperties[] = {PublishedProperty<&TSum::GetCount>(u"Count")};
constexpr TMethodInfo Unpublished(TMethodInfo Info) {
    Info.Visibility = TVisibility::mvPublic;
    return Info;
}
constexpr TParamInfo ManyParams[] = {
    {u"First", tkInteger, u"T"},
    {.Name = u"Out", .Kind = tkInteger, .TypeName = u"T", .ByReference = true},
    {u"Last", tkInteger, u"T"}};
constexpr TMethodInfo SumMethods[] = {
    PublishedMethod<&TSum::Six, u"A", u"B", u"C", u"D", u"E", u"F">(u"Six"),
    PublishedMethod<&TSum::Nothing>(u"Nothing"),
    PublishedMethod<&TSum::Self>(u"Self"),
    PublishedMethod<&TSum::Yes>(u"Yes"),
    PublishedMethod<&TSum::Yes>(u"Count"), // never reached: a property has the name
    Unpublished(PublishedMethod<&TSum::Hidden>(u"Hidden")),
    {u"Many", TVisibility::mvPublished, ManyParams, [](TObject&, TScriptArgs) { return TKXVariant(); }},
};
const TClassInfo& TSum::StaticClass() {
    static constexpr TClassInfo Info{u"TSum", &TObject::StaticClass, SumProperties, SumMethods};
    return Info;
}

TEST_F(Pubintob, CallsAndTheirResults) {
    TSum Sum;
    Wrapper.AObject = Sum.Reference();
    EXPECT_EQ(Get(u"SIX", {1, u"b", 2.5, true, u"e", TDateTime{2}}),
              TKXVariant(u"1b2.5+e1900-01-01 00:00:00"));
    EXPECT_EQ(Get(u"Nothing"), PointerAsLVar(nullptr));
    EXPECT_EQ(Get(u"self"), PointerAsLVar(&Sum));
    EXPECT_EQ(Get(u"Yes"), TKXVariant(true));
    EXPECT_EQ(Get(u"Count"), TKXVariant(1));
    EXPECT_EQ(Get(u"Hidden"), TKXVariant(u"not handled"));
    EXPECT_EQ(Get(u"Sixx"), TKXVariant(u"not handled"));
    EXPECT_EQ(Set(u"Yes", 1), TKXVariant(u"not handled"));
    EXPECT_EQ(Set(u"Count", 1), TKXVariant(u"EIObjectError: Property 'Count' of class 'TSum' is read-only"));
    // The last argument is the first to be looked at, and the parameters are counted so.
    EXPECT_EQ(Get(u"Many", {u"x", 1, 1}),
              TKXVariant(u"EIObjectError: Var parameters not supported. Class 'TSum', "
                         u"method 'Many', parameter 1(zero based) 'Out'"));
    EXPECT_TRUE(
        Get(u"Many", {1, 1, u"x"}).AsString().starts_with(u"EIObjectError: Cannot convert String \"x\""));
    EXPECT_TRUE(Wrapper.IsCallable(u"six"));
    EXPECT_FALSE(Wrapper.IsCallable(u"Count"));
    EXPECT_FALSE(Wrapper.IsCallable(u"Hidden"));
}

TEST_F(Pubintob, WhatIsWrappedDecides) {
    Probe.Property.Kind = tkInteger;
    Probe.Property.TypeName = u"Integer";
    Probe.Cell = 5;
    Wrapper.ReadOnly = true;
    EXPECT_EQ(Set(u"Cell", 1), TKXVariant(u"not handled"));
    EXPECT_EQ(Get(u"Cell"), TKXVariant(5));
    Wrapper.ReadOnly = false;

    // A name of the wrapper's own class never reaches the wrapped object.
    auto& Registry = ScriptRegistry();
    const TClassInfo& Class = TPublishedInterfaceObject::StaticClass();
    Registry.RegisterProperty(
        Class, u"Cell", 0, [](TObject&, TScriptArgs) { return TKXVariant(u"own"); },
        [](TObject&, TScriptArgs, const TKXVariant&) {}, false);
    EXPECT_EQ(Get(u"Cell"), TKXVariant(u"own"));
    EXPECT_EQ(Set(u"Cell", 1), TKXVariant(5));
    Registry.UnregisterClass(Class);

    { // another object, of another class
        TSum Sum;
        Wrapper.AObject = Sum.Reference();
        EXPECT_EQ(Get(u"Cell"), TKXVariant(u"not handled"));
        EXPECT_EQ(Get(u"Count"), TKXVariant(1));
    }
    EXPECT_EQ(Get(u"Count"), TKXVariant(u"EIObjectError: the object is gone (TSum)"));
    EXPECT_EQ(Set(u"Count", 1), TKXVariant(u"EIObjectError: the object is gone (TSum)"));
    Wrapper.AObject = {};
    EXPECT_EQ(Get(u"Count"), TKXVariant(u"not handled"));
    EXPECT_EQ(Set(u"Count", 1), TKXVariant(u"not handled"));
}

} // namespace
} // namespace zutools::tests
