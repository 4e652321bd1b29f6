#include "persistence/Propunit.h"

#include "host/Exception.h"
#include "host/Numbers.h"
#include "platform/Text.h"
#include "tests/persistence/Things.h"

#include <gmock/gmock.h>

#include <clocale>
#include <random>

namespace zutools::tests {

namespace {

template <class TClass, auto Member, class TValue = TKXVariant>
constexpr TPropInfo Field(std::u16string_view Name, TTypeKind Kind, std::u16string_view TypeName,
                          std::span<const std::u16string_view> EnumNames = {}) {
    TPropInfo Info;
    Info.Name = Name;
    Info.Kind = Kind;
    Info.TypeName = TypeName;
    Info.EnumNames = EnumNames;
    Info.Get = [](const TObject& Self) {
        const auto& Value = static_cast<const TClass&>(Self).*Member;
        if constexpr (requires { Value.ClassInfo(); })
            return TKXVariant::Object(const_cast<std::remove_cvref_t<decltype(Value)>*>(&Value));
        else if constexpr (std::is_pointer_v<std::remove_cvref_t<decltype(Value)>>)
            return TKXVariant::Object(Value);
        else
            return TKXVariant(Value);
    };
    Info.Set = [](TObject& Self, const TKXVariant& Value) {
        auto& Target = static_cast<TClass&>(Self).*Member;
        using T = std::remove_cvref_t<decltype(Target)>;
        if constexpr (std::is_same_v<T, TKXVariant>)
            Target = Value;
        else if constexpr (std::is_same_v<T, bool>)
            Target = Value.AsBoolean();
        else if constexpr (std::is_same_v<T, char16_t>)
            Target = Value.AsWideChar();
        else if constexpr (std::is_same_v<T, int>)
            Target = Value.AsInteger();
        else if constexpr (std::is_same_v<T, std::int64_t>)
            Target = Value.AsInt64();
        else if constexpr (std::is_same_v<T, double>)
            Target = Value.AsFloat();
        else if constexpr (std::is_same_v<T, std::u16string>)
            Target = Value.AsString();
        else if constexpr (std::is_same_v<T, TComponent*>)
            Target = ObjectCast<TComponent>(Value.AsObject());
    };
    return Info;
}

using enum TTypeKind;
constexpr std::u16string_view Letters[] = {u"a", u"b", u"c", u"d"};

} // namespace

const TClassInfo& TFont::StaticClass() {
    static constexpr TPropInfo Properties[] = {Field<TFont, &TFont::Size>(u"Size", tkInteger, u"Integer"),
                                               Field<TFont, &TFont::Face>(u"Name", tkUString, u"string")};
    static constexpr TClassInfo Info{
        .Name = u"TFont", .Parent = &TObject::StaticClass, .Properties = Properties};
    return Info;
}

const TClassInfo& TColumn::StaticClass() {
    static constexpr TPropInfo Properties[] = {
        Field<TColumn, &TColumn::Width>(u"Width", tkInteger, u"Integer")};
    static constexpr TClassInfo Info{
        .Name = u"TColumn", .Parent = &TObject::StaticClass, .Properties = Properties};
    return Info;
}

const TClassInfo& TColumns::StaticClass() {
    static constexpr TClassInfo Info{.Name = u"TColumns", .Parent = &TCollection::StaticClass};
    return Info;
}

const TClassInfo& TThing::StaticClass() {
    static constexpr TPropInfo Properties[] = {
        Field<TThing, &TThing::Integer>(u"Integer", tkInteger, u"Integer"),
        Field<TThing, &TThing::Int64>(u"Int64", tkInt64, u"Int64"),
        Field<TThing, &TThing::Char>(u"Char", tkChar, u"AnsiChar"),
        Field<TThing, &TThing::WChar>(u"WChar", tkWChar, u"Char"),
        Field<TThing, &TThing::Enum>(u"Enum", tkEnumeration, u"TLetter", Letters),
        Field<TThing, &TThing::Boolean>(u"Boolean", tkEnumeration, u"Boolean"),
        Field<TThing, &TThing::Set>(u"Set", tkSet, u"TLetters", Letters),
        Field<TThing, &TThing::Single>(u"Single", tkFloat, u"Single"),
        Field<TThing, &TThing::Double>(u"Double", tkFloat, u"Double"),
        Field<TThing, &TThing::Extended>(u"Extended", tkFloat, u"Extended"),
        Field<TThing, &TThing::Currency>(u"Currency", tkFloat, u"Currency"),
        Field<TThing, &TThing::Short>(u"Short", tkString, u"ShortString"),
        Field<TThing, &TThing::Ansi>(u"Ansi", tkLString, u"AnsiString"),
        Field<TThing, &TThing::Wide>(u"Wide", tkWString, u"WideString"),
        Field<TThing, &TThing::Unicode>(u"Unicode", tkUString, u"string"),
        Field<TThing, &TThing::Variant>(u"Variant", tkVariant, u"Variant"),
        Field<TThing, &TThing::Lines>(u"Lines", tkClass, u"TStrings"),
        Field<TThing, &TThing::Columns>(u"Columns", tkClass, u"TColumns"),
        Field<TThing, &TThing::Font>(u"Font", tkClass, u"TFont"),
        Field<TThing, &TThing::Friend>(u"Friend", tkClass, u"TComponent"),
    };
    static constexpr TClassInfo Info{
        .Name = u"TThing", .Parent = &TComponent::StaticClass, .Properties = Properties};
    return Info;
}

namespace {

class PropsStorage : public testing::Test {
protected:
    void SetUp() override {
        FStore.Bind(FStorage);
        FStorage.AObject = &FThing;
    }
    [[nodiscard]] const TPropInfo* Info(std::u16string_view Name) {
        return FThing.ClassInfo().FindProperty(Name);
    }
    // What storing writes under the property's name; "(none)" for nothing.
    std::u16string Stored(std::u16string_view Name) {
        FStore.Items.clear();
        FStorage.StoreAnyProperty(Info(Name));
        return At(u"S|" + std::u16string(Name));
    }
    [[nodiscard]] std::u16string At(const std::u16string& Key) const {
        const auto Found = FStore.Items.find(Key);
        return Found == FStore.Items.end() ? u"(none)" : Found->second;
    }
    // The property's text after loading this one.
    std::u16string Loaded(std::u16string_view Name, std::u16string_view Text) {
        FStore.Items[u"S|" + std::u16string(Name)] = Text;
        FStorage.LoadAnyProperty(Info(Name));
        return Info(Name)->Get(FThing).AsString();
    }

    TComponent FForm;
    TThing& FThing = *new TThing(&FForm, u"Thing");
    TMapStore FStore;
    TPropsStorage FStorage;
};

TEST_F(PropsStorage, EachKindToTextAndBack) {
    FThing.Integer = -12;
    FThing.Char = u'x';
    FThing.WChar = u'Я';
    FThing.Enum = 2;
    FThing.Boolean = true;
    FThing.Set = 0b1010;
    FThing.Single = 0.1F;
    FThing.Double = 0.1;
    FThing.Currency = 1234.5;
    FThing.Short = u"  two words\t";
    FThing.Unicode = u"Привет";
    FThing.Variant = TKXVariant(2.5);
    const struct {
        std::u16string_view Name, Text, NewText, After;
    } Rows[] = {
        {u"Integer", u"-12", u"7", u"7"},
        {u"Char", u"x", u"yz", u"y"},
        {u"WChar", u"Я", u"ж", u"ж"},
        {u"Enum", u"c", u"B", u"1"},
        {u"Enum", u"b", u"nobody", u"1"},
        {u"Boolean", u"True", u"FALSE", u"False"},
        {u"Set", u"[b,d]", u"[ a , d ,zz]", u"9"},
        {u"Set", u"[a,d]", u"[]", u"0"},
        {u"Single", u"0.1", u"2.5", u"2.5"},
        {u"Double", u"0.1", u"1e-7", u"1e-07"},
        {u"Double", u"1e-07", u"no number", u"1e-07"},
        {u"Currency", u"1234.5", u" 1 ", u"1"},
        {u"Short", u"two words", u" x ", u"x"},
        {u"Unicode", u"Привет", u"", u""},
        {u"Variant", u"2.5", u"text", u"text"},
    };
    for (const auto& Row : Rows) {
        EXPECT_EQ(Stored(Row.Name), Row.Text) << platform::Utf16ToUtf8(Row.Name);
        EXPECT_EQ(Loaded(Row.Name, Row.NewText), Row.After) << platform::Utf16ToUtf8(Row.Name);
    }
    EXPECT_EQ(Stored(u"Set"), u"[]");
    FStore.Items.clear();
    EXPECT_EQ(Loaded(u"Integer", u"7"), u"7");
    FStore.Items.clear(); // a missing item keeps the value
    FStorage.LoadAnyProperty(Info(u"Integer"));
    EXPECT_EQ(FThing.Integer, 7);
}

TEST_F(PropsStorage, KeptOnPurposeBadIntegersLoadAsZero) {
    FThing.Integer = 5;
    EXPECT_EQ(Loaded(u"Integer", u"abc"), u"0");
}

TEST_F(PropsStorage, KeptOnPurposeInt64IsNeverStored) {
    FThing.Int64 = 5;
    EXPECT_EQ(Stored(u"Int64"), u"(none)");
    EXPECT_EQ(Loaded(u"Int64", u"6"), u"5");
}

TEST_F(PropsStorage, KeptOnPurposeOnlyThreeKindsWriteEmptyText) {
    for (const std::u16string_view Name : {u"Wide", u"Unicode", u"Variant"})
        EXPECT_EQ(Stored(Name), u"(none)");
    for (const std::u16string_view Name : {u"Short", u"Ansi"}) EXPECT_EQ(Stored(Name), u"");
    // What is empty now is not read either, but for those kinds.
    EXPECT_EQ(Loaded(u"Unicode", u"kept in vain"), u"");
    EXPECT_EQ(Loaded(u"Ansi", u"read"), u"read");
}

TEST_F(PropsStorage, KeptOnPurposeWithoutAReaderNothingIsRead) {
    FStorage.OnReadString = nullptr;
    EXPECT_EQ(FStorage.ReadString(u"S", u"x", u"default"), u"");
    FThing.Integer = 3;
    FStorage.LoadAnyProperty(Info(u"Integer"));
    EXPECT_EQ(FThing.Integer, 0);
}

TEST_F(PropsStorage, KeptOnPurposeEmptyReferencesAreNeitherStoredNorLoaded) {
    EXPECT_EQ(Stored(u"Friend"), u"(none)");
    FStore.Items[u"S|Friend"] = u"Thing";
    FStorage.Owner = &FForm;
    FStorage.LoadAnyProperty(Info(u"Friend"));
    EXPECT_EQ(FThing.Friend, nullptr);
}

TEST_F(PropsStorage, FloatsComeBackUnderEveryDecimalSeparator) {
    const std::string Before = std::setlocale(LC_NUMERIC, nullptr);
    for (const char* const Locale : {"C", "de_DE.UTF-8", "ru_RU.UTF-8"}) {
        if (std::setlocale(LC_NUMERIC, Locale) == nullptr) continue;
        std::mt19937_64 Random(1);
        for (int Number = 0; Number < 200; ++Number) {
            const double Value = std::ldexp(static_cast<double>(static_cast<std::int64_t>(Random())),
                                            static_cast<int>(Random() % 200) - 150);
            FThing.Double = FThing.Extended = Value;
            const std::u16string Fifteen = Stored(u"Double"), Eighteen = Stored(u"Extended");
            EXPECT_EQ(Fifteen.find(u','), Fifteen.npos);
            FThing.Double = FThing.Extended = 1;
            Loaded(u"Double", Fifteen);
            Loaded(u"Extended", Eighteen);
            EXPECT_EQ(FloatToStr(FThing.Double, 15), FloatToStr(Value, 15)) << Locale;
            EXPECT_EQ(FThing.Extended, Value) << Locale;
        }
    }
    std::setlocale(LC_NUMERIC, Before.c_str());
}

TEST_F(PropsStorage, StringListsHaveASectionOfTheirOwn) {
    FThing.Lines.SetText(u"one\r\n two\r\nthree");
    EXPECT_EQ(Stored(u"Lines"), u"(none)");
    EXPECT_EQ(At(u"S.Lines|Count"), u"3");
    EXPECT_EQ(At(u"S.Lines|Item1"), u" two");
    FThing.Lines.Clear();
    FStorage.LoadAnyProperty(Info(u"Lines"));
    EXPECT_EQ(FThing.Lines.Text(), u"one\r\n two\r\nthree\r\n");
    for (const std::u16string_view Count : {u"0", u"-1", u"x", u"2000000000"}) {
        FStore.Items[u"S.Lines|Count"] = Count;
        FStorage.LoadAnyProperty(Info(u"Lines"));
        EXPECT_EQ(FThing.Lines.Count(), 3);
    }
    FThing.Lines.Clear();
    FStorage.StoreAnyProperty(Info(u"Lines"));
    EXPECT_TRUE(FStore.Items.empty()) << "an emptied list leaves an erased section";
}

TEST_F(PropsStorage, CollectionsKeepTheirItemsWhenTheCountIsTheSame) {
    for (const int Width : {10, 20, 30}) static_cast<TColumn&>(FThing.Columns.Add()).Width = Width;
    EXPECT_EQ(Stored(u"Columns"), u"(none)");
    EXPECT_EQ(At(u"S|Columns.Count"), u"3");
    EXPECT_EQ(At(u"S.Columns|Item2_Width"), u"30");
    const auto Width = [this](int Index) { return static_cast<TColumn&>(FThing.Columns.Items(Index)).Width; };
    TObject* const First = &FThing.Columns.Items(0);
    static_cast<TColumn&>(*First).Width = 1;
    FStorage.LoadAnyProperty(Info(u"Columns"));
    EXPECT_EQ(&FThing.Columns.Items(0), First);
    EXPECT_EQ(Width(0), 10);
    const TObjectRef Old = First->Reference();
    FThing.Columns.Add();
    FThing.Columns.Add();
    FStorage.LoadAnyProperty(Info(u"Columns"));
    EXPECT_EQ(Old.Get(), nullptr);
    ASSERT_EQ(FThing.Columns.Count(), 3);
    EXPECT_EQ(Width(2), 30);
    EXPECT_EQ(FThing.Columns.Depth, 0);
}

TEST_F(PropsStorage, NestedObjectsHaveNoDelimiter) {
    FThing.Font.Size = 12;
    EXPECT_EQ(Stored(u"Font"), u"(none)");
    EXPECT_EQ(At(u"S|FontSize"), u"12");
    EXPECT_EQ(At(u"S|FontName"), u"Sans");
    FStore.Items[u"S|FontName"] = u"Serif";
    FStorage.LoadAnyProperty(Info(u"Font"));
    EXPECT_EQ(FThing.Font.Face, u"Serif");
}

TEST_F(PropsStorage, ReferencesNameTheOwnerUnlessItIsTheForm) {
    TComponent Main, Nameless;
    Main.SetName(u"MainForm");
    AddGlobalComponent(Main);
    auto* const Button = new TThing(&Main, u"Button1");
    auto* const Child = new TThing(&FThing, u"Child"); // of an owner without a name: its class names it
    FThing.SetName(u"");
    FStorage.Owner = &FForm;
    FThing.Friend = Button;
    EXPECT_EQ(Stored(u"Friend"), u"MainForm.Button1");
    FThing.Friend = Child;
    EXPECT_EQ(Stored(u"Friend"), u"Thing.Child");
    FThing.SetName(u"Thing");
    FThing.Friend = &FThing;
    EXPECT_EQ(Stored(u"Friend"), u"Thing");
    const struct {
        std::u16string_view Text;
        TComponent* After;
    } Rows[] = {{u"MainForm . button1", Button},
                {u"Nowhere.Button1", Button},
                {u"", Button},
                {u"thing", &FThing},
                {u"MainForm.Nobody", nullptr}};
    for (const auto& Row : Rows) {
        FStore.Items[u"S|Friend"] = Row.Text;
        FStorage.LoadAnyProperty(Info(u"Friend"));
        EXPECT_EQ(FThing.Friend, Row.After) << platform::Utf16ToUtf8(Row.Text);
    }
    FThing.Friend = Button;
    FStore.Items[u"S|Friend"] = u"(NULL)";
    FStorage.LoadAnyProperty(Info(u"Friend"));
    EXPECT_EQ(FThing.Friend, nullptr);
}

TEST_F(PropsStorage, StoredListsFollowNamesAndDropWhatIsGone) {
    TStringList List;
    for (const std::u16string_view Line :
         {u"Thing.Integer", u" Thing . Font ", u"Gone.Width", u"junk", u".x", u"y."})
        List.Add(Line);
    UpdateStoredList(&FForm, &List, true);
    EXPECT_EQ(List.CommaText(), u"Thing.Integer,\" Thing . Font \"");
    FThing.SetName(u"Renamed");
    FThing.Integer = 4;
    List.Add(u"Renamed.Enum"); // without an object
    FStorage.StoreObjectsProps(FForm, List);
    EXPECT_EQ(List.CommaText(), u"Renamed.Integer,Renamed.Font");
    EXPECT_EQ(At(u"S|Renamed_Integer"), u"4");
    EXPECT_EQ(At(u"S|Renamed_FontSize"), u"9");
    EXPECT_EQ(FStorage.Owner, nullptr);
    FStore.Items[u"S|Renamed_Integer"] = u"8";
    FStorage.LoadObjectsProps(FForm, List);
    EXPECT_EQ(FThing.Integer, 8);
    // A callback that raises leaves the storage in order.
    FStorage.OnWriteString = [](auto, auto, auto) { throw Exception(u"full"); };
    EXPECT_THROW(FStorage.StoreObjectsProps(FForm, List), Exception);
    EXPECT_EQ(FStorage.Owner, nullptr);
    UpdateStoredList(nullptr, &List, true);
    UpdateStoredList(&FForm, nullptr, true);
}

TEST(StoredItem, BuiltAndSplit) {
    EXPECT_EQ(CreateStoredItem(u"A", u"B"), u"A.B");
    EXPECT_EQ(CreateStoredItem(u"", u"B"), u"");
    EXPECT_EQ(CreateStoredItem(u"A", u""), u"");
    std::u16string Component, Property;
    EXPECT_TRUE(ParseStoredItem(u" A . B.C ", Component, Property));
    EXPECT_EQ(Component + u"|" + Property, u"A|B.C");
    for (const std::u16string_view Item : {u"", u"A", u".B", u"A.", u" . "})
        EXPECT_FALSE(ParseStoredItem(Item, Component, Property));
}

TEST(PropInfoList, FiltersFindsAndIntersects) {
    const TThing Thing(nullptr, u"T");
    TFont Font;
    EXPECT_EQ(TPropInfoList(nullptr, StoredKinds()).Count(), 0);
    TPropInfoList All(&Thing, StoredKinds());
    EXPECT_EQ(All.Count(), 20);
    EXPECT_EQ(All.Items(0)->Name, u"Ansi") << "by name";
    EXPECT_EQ(All.Find(u"INTEGER"), Thing.ClassInfo().FindProperty(u"Integer"));
    EXPECT_EQ(All.Find(u"nothing"), nullptr);
    TTypeKinds Integers;
    Integers.set(static_cast<std::size_t>(TTypeKind::tkInteger));
    const TPropInfoList Few(&Thing, Integers);
    EXPECT_EQ(Few.Count(), 1);
    EXPECT_FALSE(All.Contains(Font.ClassInfo().FindProperty(u"Size")));
    All.Delete(0);
    EXPECT_EQ(All.Find(u"Ansi"), nullptr);
    All.Intersect(Few);
    EXPECT_EQ(All.Count(), 1);
}

class TBox : public TStringListBox {
public:
    TStrings& Items() override { return Lines; }
    int ItemIndex() const override { return Index; }
    void SetItemIndex(int Value) override { Index = Value; }
    TStringList Lines;
    int Index = -1;
};

TEST(MoveListItem, MovesTheSelectedLine) {
    TBox Box;
    Box.Lines.SetCommaText(u"a,b,c");
    MoveListItem(Box, 1); // nothing selected
    Box.Index = 0;
    for (const int Outside : {-1, 3}) MoveListItem(Box, Outside);
    EXPECT_EQ(Box.Lines.CommaText(), u"a,b,c");
    MoveListItem(Box, 2);
    EXPECT_EQ(Box.Lines.CommaText(), u"b,c,a");
    EXPECT_EQ(Box.Index, 2);
}

} // namespace

} // namespace zutools::tests
