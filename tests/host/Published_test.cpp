#include "host/Published.h"

#include "host/Reflection.h"

#include <gtest/gtest.h>

#include <array>

namespace zutools {
namespace {

enum class TColour : std::uint8_t { Red, Green };

class TOrder : public TObject {
public:
    static const TClassInfo& StaticClass();
    [[nodiscard]] const TClassInfo& ClassInfo() const override { return StaticClass(); }

    [[nodiscard]] double Total() const { return 2.5; }
    [[nodiscard]] const std::u16string& GetNote() const { return FNote; }
    void SetNote(std::u16string_view Value) { FNote = Value; }
    [[nodiscard]] std::u16string All(int A, std::u16string_view B, bool C, TColour D, const std::string& E) {
        FNote = std::u16string(B);
        return TKXVariant(A).AsString() + FNote + (C ? u"yes" : u"no") + TKXVariant(int(D)).AsString() +
               TKXVariant::AnsiString(E).AsString();
    }
    void Clear() noexcept { FNote.clear(); }
    TOrder* Next() { return Other; }

    std::int8_t Tiny = 0;
    std::uint16_t Word = 0;
    std::uint32_t Long = 0;
    float Single = 0;
    char Letter = 'a';
    TColour Colour = TColour::Red;
    TDateTime Date;
    TKXVariant Any;
    TOrder* Other = nullptr;

private:
    std::u16string FNote;
};

constexpr TPropInfo Properties[] = {
    PublishedProperty<&TOrder::Total>(u"Total", u"of all lines"),
    PublishedProperty<&TOrder::GetNote, &TOrder::SetNote>(u"Note"),
    PublishedProperty<&TOrder::Tiny>(u"Tiny"),
    PublishedProperty<&TOrder::Word>(u"Word"),
    PublishedProperty<&TOrder::Long>(u"Long"),
    PublishedProperty<&TOrder::Single>(u"Single"),
    PublishedProperty<&TOrder::Letter>(u"Letter"),
    PublishedProperty<&TOrder::Colour>(u"Colour"),
    PublishedProperty<&TOrder::Date>(u"Date"),
    PublishedProperty<&TOrder::Any>(u"Any"),
    PublishedProperty<&TOrder::Other>(u"Other"),
};
constexpr TMethodInfo Methods[] = {
    PublishedMethod<&TOrder::All, u"A", u"B", u"C", u"D", u"E">(u"All"),
    PublishedMethod<&TOrder::Clear>(u"Clear"),
    PublishedMethod<&TOrder::Next>(u"Next"),
};

const TClassInfo& TOrder::StaticClass() {
    static constexpr TClassInfo Info{u"TOrder", &TObject::StaticClass, Properties, Methods};
    return Info;
}

TEST(Published, PropertiesKeepWhatFitsTheirTypeAndRefuseTheRest) {
    TOrder Order, Other;
    TObject Stranger;
    const struct {
        std::u16string_view Name;
        TTypeKind Kind;
        TKXVariant Good;
        TKXVariant Read; // what comes back
        TKXVariant Bad;
    } Rows[] = {
        {u"Note", TTypeKind::tkUString, 5, u"5", PointerAsLVar(&Other)},
        {u"Tiny", TTypeKind::tkInteger, -128, -128, 128},
        {u"Word", TTypeKind::tkInteger, 65535, 65535, -1},
        {u"Long", TTypeKind::tkInteger, std::int64_t{4294967295}, std::int64_t{4294967295},
         std::int64_t{4294967296}},
        {u"Single", TTypeKind::tkFloat, 0.5, 0.5, u"half"},
        {u"Letter", TTypeKind::tkChar, u"z", TKXVariant::AnsiChar('z'), u"zz"},
        {u"Colour", TTypeKind::tkEnumeration, 1, 1, 256},
        {u"Date", TTypeKind::tkFloat, u"2024-02-29", TDateTime{45351}, u"2023-02-29"},
        {u"Any", TTypeKind::tkVariant, u"x", u"x", {}},
        {u"Other", TTypeKind::tkClass, PointerAsLVar(&Other), PointerAsLVar(&Other),
         PointerAsLVar(&Stranger)},
    };
    for (const auto& Row : Rows) {
        const TPropInfo* const Property = TOrder::StaticClass().FindProperty(Row.Name);
        ASSERT_NE(Property, nullptr);
        EXPECT_EQ(Property->Kind, Row.Kind);
        Property->Set(Order, Row.Good);
        EXPECT_EQ(Property->Get(Order), Row.Read);
        if (Row.Kind == TTypeKind::tkVariant) continue; // takes anything
        EXPECT_THROW(Property->Set(Order, Row.Bad), Exception);
        EXPECT_EQ(Property->Get(Order), Row.Read);
    }
    EXPECT_TRUE(TOrder::StaticClass().FindProperty(u"Total")->Set == nullptr);
}

TEST(Published, MethodsTakeTheCallValuesFromTheLastParameterToTheFirst) {
    TOrder Order, Other;
    const std::array<TKXVariant, 5> Args{TKXVariant::AnsiString("e"), 1, true, u"b", 7};
    const TMethodInfo& All = *TOrder::StaticClass().FindMethod(u"All");
    EXPECT_EQ(All.Invoke(Order, Args), TKXVariant(u"7byes1e"));
    EXPECT_EQ(All.Params[1].Name, u"B");
    EXPECT_EQ(All.Params[3].OrdinalSize, 1);
    EXPECT_FALSE(All.Params[3].OrdinalSigned);
    EXPECT_EQ(TOrder::StaticClass().FindMethod(u"Clear")->Invoke(Order, {}), TKXVariant());
    EXPECT_EQ(Order.GetNote(), u"");
    Order.Other = &Other;
    EXPECT_EQ(TOrder::StaticClass().FindMethod(u"Next")->Invoke(Order, {}), PointerAsLVar(&Other));
}

TEST(Reflection, FindsWhatTheClassFinds) {
    const TRttiType& Type = RttiContext().GetType(TOrder::StaticClass());
    EXPECT_EQ(&Type, &RttiContext().GetType(TOrder::StaticClass()));
    for (const auto Name : {u"TOTAL", u"note", u"All", u"next", u"Nothing", u""}) {
        EXPECT_EQ(Type.Property(Name), TOrder::StaticClass().FindProperty(Name));
        EXPECT_EQ(Type.Method(Name), TOrder::StaticClass().FindMethod(Name));
    }
}

} // namespace
} // namespace zutools
