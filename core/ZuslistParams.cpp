// The three lists of name/value parameters.

#include "core/Zuslist.h"

#include "host/Exception.h"
#include "host/StringHelpers.h"
#include "host/Strings.h"

#include <utility>
#include <vector>

namespace zutools {

namespace {

// What differs between the two kinds of text.

std::string_view Trim(std::string_view Text) {
    const auto IsBlank = [](char Character) { return static_cast<unsigned char>(Character) <= 0x20; };
    while (!Text.empty() && IsBlank(Text.front())) Text.remove_prefix(1);
    while (!Text.empty() && IsBlank(Text.back())) Text.remove_suffix(1);
    return Text;
}
using zutools::Trim;

template <class TText>
TText LineAs(const std::u16string& Line) {
    if constexpr (std::is_same_v<TText, std::string>)
        return TKXVariant(Line).AsAnsiString();
    else
        return Line;
}

/// An undefined byte stands for the control character of its number, as the system's own conversion has it.
std::u16string DecodeAnsi(std::string_view Text) {
    std::u16string Result;
    while (true) {
        const auto Decoded = platform::CodePageToUtf16(Text, platform::AnsiCodePage());
        Result += Decoded.Text;
        if (!Decoded.Error || Decoded.Error->Offset >= Text.size()) return Result;
        Result += static_cast<char16_t>(static_cast<unsigned char>(Text[Decoded.Error->Offset]));
        Text.remove_prefix(Decoded.Error->Offset + 1);
    }
}

template <class TText>
struct TNameValue {
    TText Name;
    TText Value;
};

/// The one splitting rule of all parameter texts: nothing is trimmed when there is no delimiter.
template <class TText>
TNameValue<TText> SplitParam(std::basic_string_view<typename TText::value_type> Text,
                             std::basic_string_view<typename TText::value_type> Delimeter) {
    const std::size_t At = Delimeter.empty() ? Text.npos : Text.find(Delimeter);
    if (At == Text.npos) return {TText(Text), {}};
    return {TText(Trim(Text.substr(0, At))), TText(Trim(Text.substr(At + Delimeter.size())))};
}

template <class TText>
std::vector<TNameValue<TText>> ReadLines(const TStrings& Lines) {
    const TText Sign(1, '=');
    std::vector<TNameValue<TText>> Result;
    for (int Index = 0; Index < Lines.Count(); ++Index)
        Result.push_back(SplitParam<TText>(LineAs<TText>(Lines.Strings(Index)), Sign));
    return Result;
}

/// The parameters of a list whose first item is one; nothing when it is none. Copies, because the list may
/// hold the very items that are about to be cleared. Raises when a later item is something else.
template <class TItem, class TText>
bool ReadItems(const TObjectList& List, std::vector<TNameValue<TText>>& Result) {
    if (List.Count() == 0 || ObjectCast<TItem>(List.Items(0)) == nullptr) return false;
    for (int Index = 0; Index < List.Count(); ++Index) {
        const TItem* const Item = ObjectCast<TItem>(List.Items(Index));
        if (Item == nullptr)
            throw EIObjectError(u"Item " + TKXVariant(Index).AsString() + u" is no parameter");
        Result.push_back({TText(Item->FName), Item->FValue});
    }
    return true;
}

} // namespace

// ---- what the three have in common

template <class TOrder, class TItem, auto NameMember, auto ValueMember>
int TZUParamsOf<TOrder, TItem, NameMember, ValueMember>::AddParam(TView ParamName, TGiven ParamValue) {
    int Index = -1;
    TItem& Param = this->template FindOrInsert<TItem>(ParamName, Index, [&] {
        auto Fresh = CreateObject();
        if constexpr (requires { Fresh->FInitValue; }) Fresh->FInitValue = ParamValue;
        return Fresh;
    });
    Param.*ValueMember = ParamValue;
    return Index;
}

template <class TOrder, class TItem, auto NameMember, auto ValueMember>
void TZUParamsOf<TOrder, TItem, NameMember, ValueMember>::RemoveParam(TView ParamName) {
    if (const int Index = GetParamIndex(ParamName); Index >= 0) this->Delete(Index);
}

template <class TOrder, class TItem, auto NameMember, auto ValueMember>
auto TZUParamsOf<TOrder, TItem, NameMember, ValueMember>::Param(int Index) const -> const TText& {
    if (const TItem* const Item = ParamAt(Index)) return Item->*NameMember;
    static const TText Outside;
    return Outside;
}

// Kept on purpose: of variants an absent name gives null, but an index out of range an empty text.
template <class TOrder, class TItem, auto NameMember, auto ValueMember>
auto TZUParamsOf<TOrder, TItem, NameMember, ValueMember>::Value(TView ParamName) const -> const TValue& {
    if (const TItem* const Item = FindParam(ParamName)) return Item->*ValueMember;
    static const TValue Absent;
    return Absent;
}

template <class TOrder, class TItem, auto NameMember, auto ValueMember>
auto TZUParamsOf<TOrder, TItem, NameMember, ValueMember>::Values(int Index) const -> const TValue& {
    if (const TItem* const Item = ParamAt(Index)) return Item->*ValueMember;
    static const TValue Outside{TText()};
    return Outside;
}

template <class TOrder, class TItem, auto NameMember, auto ValueMember>
void TZUParamsOf<TOrder, TItem, NameMember, ValueMember>::SetValues(int Index, TGiven ParamValue) {
    if (TItem* const Item = ParamAt(Index)) Item->*ValueMember = ParamValue;
}

template <class TOrder, class TItem, auto NameMember, auto ValueMember>
void TZUParamsOf<TOrder, TItem, NameMember, ValueMember>::CheckItem(TObject* Item) const {
    if (ObjectCast<TItem>(Item) == nullptr) this->FailItem(Item);
}

// ---- what the two lists of texts have in common

template <class TOrder, class TItem>
int TZUTextParams<TOrder, TItem>::AddParamValue(TView ParamValue, TView Delimeter) {
    const auto Split = SplitParam<TText>(ParamValue, Delimeter);
    return this->AddParam(Split.Name, Split.Value);
}

template <class TOrder, class TItem>
void TZUTextParams<TOrder, TItem>::ResetParamsValues() {
    for (int Index = 0; Index < this->Count(); ++Index)
        this->ParamAt(Index)->FValue = this->ParamAt(Index)->FInitValue;
}

template <class TOrder, class TItem>
void TZUTextParams<TOrder, TItem>::Assign(const TObject& Source) {
    if (&Source == this) return;
    std::vector<TNameValue<TText>> Entries;
    if (const auto* const Lines = dynamic_cast<const TStrings*>(&Source)) {
        Entries = ReadLines<TText>(*Lines);
    } else if (const auto* const List = dynamic_cast<const TObjectList*>(&Source)) {
        // Another list of this class is a list of its items, and an empty one is a source too.
        if (!ReadItems<TItem>(*List, Entries) && dynamic_cast<const TZUTextParams*>(List) == nullptr) return;
    } else {
        return;
    }
    this->Clear();
    for (const auto& Entry : Entries) this->AddParam(Entry.Name, Entry.Value);
}

template class TZUParamsOf<TZUNameSortedList, TZUParamObject, &TZUParamObject::FName,
                           &TZUParamObject::FValue>;
template class TZUParamsOf<TZUAnsiSortedList, TZUParamObjectA, &TZUParamObjectA::FName,
                           &TZUParamObjectA::FValue>;
template class TZUParamsOf<TZUNameSortedList, TZUParamVariantObject, &TZUParamVariantObject::Name,
                           &TZUParamVariantObject::Value>;
template class TZUTextParams<TZUNameSortedList, TZUParamObject>;
template class TZUTextParams<TZUAnsiSortedList, TZUParamObjectA>;

// ---- texts

namespace {

constexpr TPropInfo ParamProperties[] = {
    {u"Name", TTypeKind::tkUString, u"string",
     [](const TObject& Self) { return TKXVariant(static_cast<const TZUParamObject&>(Self).FName.Text()); },
     [](TObject& Self, const TKXVariant& Value) {
         static_cast<TZUParamObject&>(Self).FName = Value.AsString();
     }},
    {u"Value", TTypeKind::tkUString, u"string",
     [](const TObject& Self) { return TKXVariant(static_cast<const TZUParamObject&>(Self).FValue); },
     [](TObject& Self, const TKXVariant& Value) {
         static_cast<TZUParamObject&>(Self).FValue = Value.AsString();
     }},
    {u"InitValue", TTypeKind::tkUString, u"string",
     [](const TObject& Self) { return TKXVariant(static_cast<const TZUParamObject&>(Self).FInitValue); },
     [](TObject& Self, const TKXVariant& Value) {
         static_cast<TZUParamObject&>(Self).FInitValue = Value.AsString();
     }},
};

} // namespace

const TClassInfo& TZUParamObject::StaticClass() {
    static constexpr TClassInfo Info{
        .Name = u"TZUParamObject",
        .Parent = &TObject::StaticClass,
        .Properties = ParamProperties,
        .Create = [] { return std::unique_ptr<TObject>(std::make_unique<TZUParamObject>()); },
    };
    return Info;
}
const TClassInfo& TZUParamObject::ClassInfo() const {
    return StaticClass();
}

const TClassInfo& TZUSortedParams::StaticClass() {
    static constexpr TClassInfo Info{
        .Name = u"TZUSortedParams",
        .Parent = &TZUSortedObjectList::StaticClass,
        .Create = [] { return std::unique_ptr<TObject>(std::make_unique<TZUSortedParams>()); },
    };
    return Info;
}
const TClassInfo& TZUSortedParams::ClassInfo() const {
    return StaticClass();
}

std::u16string TZUSortedParams::AsString() const {
    std::u16string Result;
    for (int Index = 0; Index < Count(); ++Index) {
        const TZUParamObject& Param = *ParamAt(Index);
        Result += Param.FName.Text();
        Result += u'=';
        Result += Param.FValue;
        Result += u"\r\n";
    }
    return Result;
}

void TZUSortedParams::SetAsString(std::u16string_view Text) {
    TStringList Lines;
    Lines.SetText(Text);
    Assign(Lines);
}

// ---- 8-bit texts

TZUAnsiSortedList::TZUAnsiSortedList() {
    InstallOwnCompare([this](TObject* Item, const TKXVariant& Value) -> std::intptr_t {
        return CompareName(Item, Value.AsString());
    });
}

int TZUAnsiSortedList::CompareName(TObject* Item, std::u16string_view Name) const {
    return UserNameMatch(CaseSensitivity).Compare(DecodeAnsi(NameOf(*Item)), Name);
}

TObject* TZUAnsiSortedList::FindForAdd(std::string_view Name, int& Index) const {
    return AddElement(TKXVariant(DecodeAnsi(Name)), Index);
}

int TZUAnsiSortedList::FindNameIndex(std::string_view Name) const {
    return FindElementIndex(TKXVariant(DecodeAnsi(Name)));
}

TObject* TZUAnsiSortedList::FindName(std::string_view Name) const {
    return FindElement(TKXVariant(DecodeAnsi(Name)));
}

const TClassInfo& TZUParamObjectA::StaticClass() {
    static constexpr TClassInfo Info{
        .Name = u"TZUParamObjectA",
        .Parent = &TObject::StaticClass,
        .Create = [] { return std::unique_ptr<TObject>(std::make_unique<TZUParamObjectA>()); },
    };
    return Info;
}
const TClassInfo& TZUParamObjectA::ClassInfo() const {
    return StaticClass();
}

const TClassInfo& TZUSortedParamsA::StaticClass() {
    static constexpr TClassInfo Info{
        .Name = u"TZUSortedParamsA",
        .Parent = &TZUSortedObjectList::StaticClass,
        .Create = [] { return std::unique_ptr<TObject>(std::make_unique<TZUSortedParamsA>()); },
    };
    return Info;
}
const TClassInfo& TZUSortedParamsA::ClassInfo() const {
    return StaticClass();
}

// ---- variants

const TClassInfo& TZUParamVariantObject::StaticClass() {
    static constexpr TClassInfo Info{
        .Name = u"TZUParamVariantObject",
        .Parent = &TObject::StaticClass,
        .Create = [] { return std::unique_ptr<TObject>(std::make_unique<TZUParamVariantObject>()); },
    };
    return Info;
}
const TClassInfo& TZUParamVariantObject::ClassInfo() const {
    return StaticClass();
}

const TClassInfo& TZUSortedVariantParams::StaticClass() {
    static constexpr TClassInfo Info{
        .Name = u"TZUSortedVariantParams",
        .Parent = &TZUSortedObjectList::StaticClass,
        .Create = [] { return std::unique_ptr<TObject>(std::make_unique<TZUSortedVariantParams>()); },
    };
    return Info;
}
const TClassInfo& TZUSortedVariantParams::ClassInfo() const {
    return StaticClass();
}

TZUSortedVariantParams::~TZUSortedVariantParams() {
    Clear();
}

// Kept on purpose: a list of this very class is no source and changes nothing, unlike with the two lists of
// texts.
void TZUSortedVariantParams::Assign(const TObject& Source) {
    std::vector<TNameValue<std::u16string>> Entries;
    if (const auto* const Lines = dynamic_cast<const TStrings*>(&Source)) {
        Entries = ReadLines<std::u16string>(*Lines);
    } else if (const auto* const Params = dynamic_cast<const TZUSortedParams*>(&Source)) {
        ReadItems<TZUParamObject>(*Params, Entries);
    } else {
        return;
    }
    Clear();
    for (auto& Entry : Entries) AddParam(Entry.Name, std::move(Entry.Value));
}

void TZUSortedVariantParams::Notify(TObject* Item, TListNotification Action) {
    if (Action == TListNotification::lnDeleted)
        static_cast<TZUParamVariantObject*>(Item)->Value = TKXVariant();
    TZUParamsOf::Notify(Item, Action);
}

} // namespace zutools
