// The three lists of name/value parameters.

#include "core/Zuslist.h"

#include "host/Exception.h"
#include "host/StringHelpers.h"
#include "host/Strings.h"

#include <utility>
#include <vector>

namespace zutools {

namespace {

TZUParamObject& AsParam(TObject* Item) {
    return static_cast<TZUParamObject&>(*Item); // CheckItem let nothing else in
}
TZUParamObjectA& AsParamA(TObject* Item) {
    return static_cast<TZUParamObjectA&>(*Item);
}
TZUParamVariantObject& AsVariantParam(TObject* Item) {
    return static_cast<TZUParamVariantObject&>(*Item);
}

template <class T>
const T* Cast(const TObject& Object) {
    return Object.ClassInfo().InheritsFrom(T::StaticClass()) ? static_cast<const T*>(&Object) : nullptr;
}

const std::u16string& EmptyText() {
    static const std::u16string Text;
    return Text;
}
const std::string& EmptyAnsiText() {
    static const std::string Text;
    return Text;
}

template <class TString>
struct TNameValue {
    TString Name;
    TString Value;
};

/// The one splitting rule of all parameter texts: nothing is trimmed when there is no delimiter.
template <class TString, class TView, class TTrim>
TNameValue<TString> SplitParam(TView Text, TView Delimeter, const TTrim& TrimText) {
    const std::size_t At = Delimeter.empty() ? TView::npos : Text.find(Delimeter);
    if (At == TView::npos) return {TString(Text), {}};
    return {TString(TrimText(Text.substr(0, At))), TString(TrimText(Text.substr(At + Delimeter.size())))};
}

TNameValue<std::u16string> SplitWide(std::u16string_view Text, std::u16string_view Delimeter) {
    return SplitParam<std::u16string>(Text, Delimeter, Trim);
}

std::string_view TrimAnsi(std::string_view Text) {
    const auto IsBlank = [](char Character) { return static_cast<unsigned char>(Character) <= 0x20; };
    while (!Text.empty() && IsBlank(Text.front())) Text.remove_prefix(1);
    while (!Text.empty() && IsBlank(Text.back())) Text.remove_suffix(1);
    return Text;
}

TNameValue<std::string> SplitAnsi(std::string_view Text, std::string_view Delimeter) {
    return SplitParam<std::string>(Text, Delimeter, TrimAnsi);
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

/// The parameters of a foreign list whose first item is one; nothing when it is none. Copies, because the
/// list may hold the very items that are about to be cleared. Raises when a later item is something else.
template <class TItem, class TString>
bool ReadItems(const TObjectList& List, std::vector<TNameValue<TString>>& Result) {
    if (List.Count() == 0 || ObjectCast<TItem>(List.Items(0)) == nullptr) return false;
    for (int Index = 0; Index < List.Count(); ++Index) {
        const TItem* const Item = ObjectCast<TItem>(List.Items(Index));
        if (Item == nullptr)
            throw EIObjectError(u"Item " + TKXVariant(Index).AsString() + u" is no parameter");
        Result.push_back({TString(Item->FName), Item->FValue});
    }
    return true;
}

} // namespace

// ---- TZUParamObject

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

// ---- TZUSortedParams

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

TZUSortedParams::~TZUSortedParams() {
    Clear();
}

std::unique_ptr<TZUParamObject> TZUSortedParams::CreateObject() const {
    return std::make_unique<TZUParamObject>();
}

int TZUSortedParams::AddParam(std::u16string_view ParamName, std::u16string_view ParamValue) {
    int Index = -1;
    auto& Param = FindOrInsert<TZUParamObject>(ParamName, Index, [&] {
        auto Fresh = CreateObject();
        Fresh->FInitValue = ParamValue;
        return Fresh;
    });
    Param.FValue = ParamValue;
    return Index;
}

int TZUSortedParams::AddParamValue(std::u16string_view ParamValue, std::u16string_view Delimeter) {
    const auto Split = SplitWide(ParamValue, Delimeter);
    return AddParam(Split.Name, Split.Value);
}

void TZUSortedParams::RemoveParam(std::u16string_view ParamName) {
    if (const int Index = FindNameIndex(ParamName); Index >= 0) Delete(Index);
}

void TZUSortedParams::ResetParamsValues() {
    for (int Index = 0; Index < Count(); ++Index) {
        TZUParamObject& Param = AsParam(At(Index));
        Param.FValue = Param.FInitValue;
    }
}

void TZUSortedParams::Assign(const TObject& Source) {
    if (&Source == this) return;
    std::vector<TNameValue<std::u16string>> Entries;
    if (const auto* Lines = Cast<TStrings>(Source)) {
        for (int Index = 0; Index < Lines->Count(); ++Index)
            Entries.push_back(SplitWide(Lines->Strings(Index), u"="));
    } else if (const auto* Params = Cast<TZUSortedParams>(Source)) {
        for (int Index = 0; Index < Params->Count(); ++Index)
            Entries.push_back({Params->Param(Index), Params->Values(Index)});
    } else {
        const auto* const List = Cast<TObjectList>(Source);
        if (List == nullptr || !ReadItems<TZUParamObject>(*List, Entries)) return;
    }
    Clear();
    for (const auto& Entry : Entries) AddParam(Entry.Name, Entry.Value);
}

const std::u16string& TZUSortedParams::Param(int Index) const {
    if (Index >= 0 && Index < Count()) return AsParam(At(Index)).FName.Text();
    return EmptyText();
}

const std::u16string& TZUSortedParams::Value(std::u16string_view ParamName) const {
    const TZUParamObject* const Param = FindParam(ParamName);
    if (Param != nullptr) return Param->FValue;
    return EmptyText();
}

const std::u16string& TZUSortedParams::Values(int Index) const {
    if (Index >= 0 && Index < Count()) return AsParam(At(Index)).FValue;
    return EmptyText();
}

void TZUSortedParams::SetValues(int Index, std::u16string_view ParamValue) {
    if (Index >= 0 && Index < Count()) AsParam(At(Index)).FValue = ParamValue;
}

std::u16string TZUSortedParams::AsString() const {
    std::u16string Result;
    for (int Index = 0; Index < Count(); ++Index) {
        const TZUParamObject& Param = AsParam(At(Index));
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

TZUParamObject* TZUSortedParams::FindParam(std::u16string_view ParamName) const {
    TObject* const Item = FindName(ParamName);
    return Item != nullptr ? &AsParam(Item) : nullptr;
}

void TZUSortedParams::CheckItem(TObject* Item) const {
    if (ObjectCast<TZUParamObject>(Item) == nullptr) FailItem(Item);
}

TZUItemName& TZUSortedParams::NameOf(TObject& Item) const {
    return AsParam(&Item).FName;
}

// ---- TZUSortedParamsA

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

TZUSortedParamsA::TZUSortedParamsA() {
    InstallOwnCompare([this](TObject* Item, const TKXVariant& Value) -> std::intptr_t {
        return CompareName(Item, Value.AsString());
    });
}

std::unique_ptr<TZUParamObjectA> TZUSortedParamsA::CreateObject() const {
    return std::make_unique<TZUParamObjectA>();
}

int TZUSortedParamsA::CompareName(TObject* Item, std::u16string_view Name) const {
    return UserNameMatch(CaseSensitivity).Compare(DecodeAnsi(AsParamA(Item).FName), Name);
}

TZUParamObjectA* TZUSortedParamsA::ParamAt(int Index) const {
    return Index >= 0 && Index < Count() ? &AsParamA(At(Index)) : nullptr;
}

int TZUSortedParamsA::AddParam(std::string_view ParamName, std::string_view ParamValue) {
    const std::u16string Key = DecodeAnsi(ParamName);
    int Index = -1;
    TObject* Found = OwnCompare() ? LookUpForAdd([&](TObject* Item) { return CompareName(Item, Key); }, Index)
                                  : AddElement(TKXVariant(Key), Index);
    if (Found == nullptr) {
        std::unique_ptr<TZUParamObjectA> Fresh = CreateObject();
        Fresh->FName = ParamName;
        Fresh->FInitValue = ParamValue;
        Insert(Index, Fresh.get());
        Found = Fresh.release();
    }
    AsParamA(Found).FValue = ParamValue;
    return Index;
}

int TZUSortedParamsA::AddParamValue(std::string_view ParamValue, std::string_view Delimeter) {
    const auto Split = SplitAnsi(ParamValue, Delimeter);
    return AddParam(Split.Name, Split.Value);
}

int TZUSortedParamsA::GetParamIndex(std::string_view ParamName) const {
    const std::u16string Key = DecodeAnsi(ParamName);
    return OwnCompare() ? LookUp([&](TObject* Item) { return CompareName(Item, Key); })
                        : FindElementIndex(TKXVariant(Key));
}

void TZUSortedParamsA::RemoveParam(std::string_view ParamName) {
    if (const int Index = GetParamIndex(ParamName); Index >= 0) Delete(Index);
}

void TZUSortedParamsA::ResetParamsValues() {
    for (int Index = 0; Index < Count(); ++Index) {
        TZUParamObjectA& Param = AsParamA(At(Index));
        Param.FValue = Param.FInitValue;
    }
}

void TZUSortedParamsA::Assign(const TObject& Source) {
    if (&Source == this) return;
    std::vector<TNameValue<std::string>> Entries;
    if (const auto* Lines = Cast<TStrings>(Source)) {
        for (int Index = 0; Index < Lines->Count(); ++Index)
            Entries.push_back(SplitAnsi(TKXVariant(Lines->Strings(Index)).AsAnsiString(), "="));
    } else if (const auto* Params = Cast<TZUSortedParamsA>(Source)) {
        for (int Index = 0; Index < Params->Count(); ++Index)
            Entries.push_back({Params->Param(Index), Params->Values(Index)});
    } else {
        const auto* const List = Cast<TObjectList>(Source);
        if (List == nullptr || !ReadItems<TZUParamObjectA>(*List, Entries)) return;
    }
    Clear();
    for (const auto& Entry : Entries) AddParam(Entry.Name, Entry.Value);
}

const std::string& TZUSortedParamsA::Param(int Index) const {
    const TZUParamObjectA* const Param = ParamAt(Index);
    if (Param != nullptr) return Param->FName;
    return EmptyAnsiText();
}

const std::string& TZUSortedParamsA::Value(std::string_view ParamName) const {
    return Values(GetParamIndex(ParamName));
}

const std::string& TZUSortedParamsA::Values(int Index) const {
    const TZUParamObjectA* const Param = ParamAt(Index);
    if (Param != nullptr) return Param->FValue;
    return EmptyAnsiText();
}

void TZUSortedParamsA::SetValues(int Index, std::string_view ParamValue) {
    if (TZUParamObjectA* const Param = ParamAt(Index)) Param->FValue = ParamValue;
}

void TZUSortedParamsA::CheckItem(TObject* Item) const {
    if (ObjectCast<TZUParamObjectA>(Item) == nullptr) FailItem(Item);
}

// ---- TZUSortedVariantParams

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

int TZUSortedVariantParams::AddParam(std::u16string_view ParamName, const TKXVariant& ParamValue) {
    int Index = -1;
    auto& Param = FindOrInsert<TZUParamVariantObject>(
        ParamName, Index, [] { return std::make_unique<TZUParamVariantObject>(); });
    Param.Value = ParamValue;
    return Index;
}

void TZUSortedVariantParams::RemoveParam(std::u16string_view ParamName) {
    if (const int Index = FindNameIndex(ParamName); Index >= 0) Delete(Index);
}

// Kept on purpose: a list of this very class is no source and changes nothing, unlike with the two lists of
// texts.
void TZUSortedVariantParams::Assign(const TObject& Source) {
    if (const auto* Lines = Cast<TStrings>(Source)) {
        Clear();
        for (int Index = 0; Index < Lines->Count(); ++Index) {
            auto Split = SplitWide(Lines->Strings(Index), u"=");
            AddParam(Split.Name, std::move(Split.Value));
        }
    } else if (const auto* Params = Cast<TZUSortedParams>(Source)) {
        Clear();
        for (int Index = 0; Index < Params->Count(); ++Index)
            AddParam(Params->Param(Index), Params->Values(Index));
    }
}

const std::u16string& TZUSortedVariantParams::Param(int Index) const {
    if (Index >= 0 && Index < Count()) return AsVariantParam(At(Index)).Name.Text();
    return EmptyText();
}

const TKXVariant& TZUSortedVariantParams::Value(std::u16string_view ParamName) const {
    static const TKXVariant Null;
    TObject* const Item = FindName(ParamName);
    return Item != nullptr ? AsVariantParam(Item).Value : Null;
}

// Kept on purpose: an empty text out of range, though Value gives null for an absent name.
const TKXVariant& TZUSortedVariantParams::Values(int Index) const {
    static const TKXVariant EmptyText{std::u16string()};
    return Index >= 0 && Index < Count() ? AsVariantParam(At(Index)).Value : EmptyText;
}

void TZUSortedVariantParams::SetValues(int Index, const TKXVariant& ParamValue) {
    if (Index >= 0 && Index < Count()) AsVariantParam(At(Index)).Value = ParamValue;
}

void TZUSortedVariantParams::Notify(TObject* Item, TListNotification Action) {
    if (Action == TListNotification::lnDeleted) AsVariantParam(Item).Value = TKXVariant();
    TZUNameSortedList::Notify(Item, Action);
}

void TZUSortedVariantParams::CheckItem(TObject* Item) const {
    if (ObjectCast<TZUParamVariantObject>(Item) == nullptr) FailItem(Item);
}

TZUItemName& TZUSortedVariantParams::NameOf(TObject& Item) const {
    return AsVariantParam(&Item).Name;
}

} // namespace zutools
