#include "persistence/Propunit.h"

#include "host/CharSet.h"
#include "host/Exception.h"
#include "host/Numbers.h"
#include "host/StringHelpers.h"
#include "host/Variant.h"

#include <algorithm>
#include <clocale>
#include <optional>

namespace zutools {

namespace {

constexpr int SetSize = 32; // members that have a text

bool IsClass(TTypeKind Kind) {
    return Kind == TTypeKind::tkClass;
}

// Whether the kind has a text at all. Kept on purpose: 64-bit integers have none and are never stored.
bool HasText(TTypeKind Kind) {
    switch (Kind) {
    case TTypeKind::tkInteger:
    case TTypeKind::tkChar:
    case TTypeKind::tkEnumeration:
    case TTypeKind::tkFloat:
    case TTypeKind::tkString:
    case TTypeKind::tkSet:
    case TTypeKind::tkClass:
    case TTypeKind::tkWChar:
    case TTypeKind::tkLString:
    case TTypeKind::tkWString:
    case TTypeKind::tkVariant:
    case TTypeKind::tkUString:
        return true;
    default:
        return false;
    }
}

// Whether an empty text is a value to write. Kept on purpose: an empty wide or Unicode string is not written,
// so a value that was emptied comes back as it was stored before.
bool KeepsEmptyText(TTypeKind Kind) {
    return Kind == TTypeKind::tkString || Kind == TTypeKind::tkWChar || Kind == TTypeKind::tkLString;
}

bool IsBoolean(const TPropInfo& PropInfo) {
    return PropInfo.EnumNames.empty() && SameText(PropInfo.TypeName, u"Boolean");
}

// The identifiers of an enumeration's values, or of a set's members, by ordinal.
std::span<const std::u16string_view> IdentifiersOf(const TPropInfo& PropInfo) {
    static constexpr std::u16string_view Booleans[] = {u"False", u"True"};
    return IsBoolean(PropInfo) ? std::span<const std::u16string_view>(Booleans) : PropInfo.EnumNames;
}

std::optional<int> OrdinalOf(std::u16string_view Identifier, const TPropInfo& PropInfo) {
    const auto Names = IdentifiersOf(PropInfo);
    const auto Found = std::find_if(Names.begin(), Names.end(), [Identifier](std::u16string_view Name) {
        return SameText(Name, Identifier);
    });
    if (Found == Names.end()) return std::nullopt;
    return static_cast<int>(Found - Names.begin());
}

int PrecisionOf(const TPropInfo& PropInfo) {
    struct TPrecision {
        std::u16string_view TypeName;
        int Digits;
    };
    constexpr TPrecision Precisions[] = {{u"Single", 7}, {u"Extended", 18}, {u"Comp", 18}, {u"Currency", 19}};
    for (const TPrecision& Known : Precisions) {
        if (SameText(Known.TypeName, PropInfo.TypeName)) return Known.Digits;
    }
    return 15; // Double, and the types that stand on it
}

char16_t DecimalSeparator() {
    const char* const Separator = std::localeconv()->decimal_point;
    return static_cast<unsigned char>(*Separator);
}

void SetValue(TObject* Object, const TPropInfo& PropInfo, const TKXVariant& Value) {
    if (PropInfo.Set != nullptr) PropInfo.Set(*Object, Value);
}

} // namespace

// ---- the callbacks

// Kept on purpose: a storage without a reader reads nothing, not the default.
std::u16string TPropsStorage::ReadString(std::u16string_view ASection, std::u16string_view Item,
                                         std::u16string_view Default) {
    return OnReadString ? OnReadString(ASection, Item, Default) : std::u16string();
}

void TPropsStorage::WriteString(std::u16string_view ASection, std::u16string_view Item,
                                std::u16string_view Value) {
    if (OnWriteString) OnWriteString(ASection, Item, Value);
}

void TPropsStorage::EraseSection(std::u16string_view ASection) {
    if (OnEraseSection) OnEraseSection(ASection);
}

std::u16string TPropsStorage::GetItemName(std::u16string_view PropName) const {
    return std::u16string(Prefix).append(PropName);
}

std::unique_ptr<TPropsStorage> TPropsStorage::CreateStorage() const {
    return std::make_unique<TPropsStorage>();
}

// ---- one property

void TPropsStorage::StoreAnyProperty(const TPropInfo* PropInfo) {
    if (PropInfo == nullptr || !HasText(PropInfo->Kind)) return;
    const std::u16string Text = IsClass(PropInfo->Kind) ? StoreClassProperty(*PropInfo) : TextOf(*PropInfo);
    if (Text.empty() && !KeepsEmptyText(PropInfo->Kind)) return;
    WriteString(Section, GetItemName(PropInfo->Name), Trim(Text));
}

void TPropsStorage::LoadAnyProperty(const TPropInfo* PropInfo) {
    if (PropInfo == nullptr || !HasText(PropInfo->Kind)) return;
    try {
        const bool Class = IsClass(PropInfo->Kind);
        const std::u16string Default = Class ? std::u16string() : TextOf(*PropInfo);
        // Kept on purpose: what is empty now and is no kind that writes an empty text is not even read.
        std::u16string Value;
        if (!Default.empty() || Class || KeepsEmptyText(PropInfo->Kind))
            Value = Trim(ReadString(Section, GetItemName(PropInfo->Name), Default));
        LoadText(Value, *PropInfo);
    } catch (const std::exception&) {
        // Loading never raises: the property keeps what it has.
    }
}

std::u16string TPropsStorage::TextOf(const TPropInfo& PropInfo) const {
    switch (PropInfo.Kind) {
    case TTypeKind::tkInteger:
        return StoreIntegerProperty(PropInfo);
    case TTypeKind::tkChar:
        return StoreCharProperty(PropInfo);
    case TTypeKind::tkWChar:
        return StoreWCharProperty(PropInfo);
    case TTypeKind::tkEnumeration:
        return StoreEnumProperty(PropInfo);
    case TTypeKind::tkFloat:
        return StoreFloatProperty(PropInfo);
    case TTypeKind::tkString:
        return StoreStringProperty(PropInfo);
    case TTypeKind::tkLString:
    case TTypeKind::tkWString:
    case TTypeKind::tkUString:
        return StoreLStringProperty(PropInfo);
    case TTypeKind::tkVariant:
        return StoreVariantProperty(PropInfo);
    case TTypeKind::tkSet:
        return StoreSetProperty(PropInfo);
    default:
        return {};
    }
}

void TPropsStorage::LoadText(std::u16string_view Text, const TPropInfo& PropInfo) {
    switch (PropInfo.Kind) {
    case TTypeKind::tkInteger:
        return LoadIntegerProperty(Text, PropInfo);
    case TTypeKind::tkChar:
        return LoadCharProperty(Text, PropInfo);
    case TTypeKind::tkWChar:
        return LoadWCharProperty(Text, PropInfo);
    case TTypeKind::tkEnumeration:
        return LoadEnumProperty(Text, PropInfo);
    case TTypeKind::tkFloat:
        return LoadFloatProperty(Text, PropInfo);
    case TTypeKind::tkString:
        return LoadStringProperty(Text, PropInfo);
    case TTypeKind::tkLString:
    case TTypeKind::tkWString:
    case TTypeKind::tkUString:
        return LoadLStringProperty(Text, PropInfo);
    case TTypeKind::tkVariant:
        return LoadVariantProperty(Text, PropInfo);
    case TTypeKind::tkSet:
        return LoadSetProperty(Text, PropInfo);
    case TTypeKind::tkClass:
        return LoadClassProperty(Text, PropInfo);
    default:
        return;
    }
}

// ---- the kinds

std::u16string TPropsStorage::StoreIntegerProperty(const TPropInfo& PropInfo) const {
    return IntToStr(PropInfo.Get(*AObject).AsInt64());
}

// Kept on purpose: a text that is no number sets 0.
void TPropsStorage::LoadIntegerProperty(std::u16string_view Text, const TPropInfo& PropInfo) {
    SetValue(AObject, PropInfo, StrToIntDef(Text, 0));
}

std::u16string TPropsStorage::StoreCharProperty(const TPropInfo& PropInfo) const {
    return PropInfo.Get(*AObject).AsString();
}

void TPropsStorage::LoadCharProperty(std::u16string_view Text, const TPropInfo& PropInfo) {
    if (!Text.empty()) SetValue(AObject, PropInfo, Text.front());
}

std::u16string TPropsStorage::StoreWCharProperty(const TPropInfo& PropInfo) const {
    return StoreCharProperty(PropInfo);
}

void TPropsStorage::LoadWCharProperty(std::u16string_view Text, const TPropInfo& PropInfo) {
    LoadCharProperty(Text, PropInfo);
}

std::u16string TPropsStorage::StoreEnumProperty(const TPropInfo& PropInfo) const {
    const auto Names = IdentifiersOf(PropInfo);
    const std::int64_t Ordinal = PropInfo.Get(*AObject).AsInt64();
    if (Ordinal < 0 || Ordinal >= static_cast<std::int64_t>(Names.size())) return {};
    return std::u16string(Names[static_cast<std::size_t>(Ordinal)]);
}

void TPropsStorage::LoadEnumProperty(std::u16string_view Text, const TPropInfo& PropInfo) {
    const std::optional<int> Ordinal = OrdinalOf(Text, PropInfo);
    if (!Ordinal) return;
    SetValue(AObject, PropInfo, IsBoolean(PropInfo) ? TKXVariant(*Ordinal != 0) : TKXVariant(*Ordinal));
}

// The digits never hold the user's separator, so there is none to replace.
std::u16string TPropsStorage::StoreFloatProperty(const TPropInfo& PropInfo) const {
    return FloatToStr(PropInfo.Get(*AObject).AsFloat(), PrecisionOf(PropInfo));
}

void TPropsStorage::LoadFloatProperty(std::u16string_view Text, const TPropInfo& PropInfo) {
    std::u16string Digits(Text);
    std::replace(Digits.begin(), Digits.end(), DecimalSeparator(), u'.');
    if (const std::optional<double> Value = TryStrToFloat(Digits)) SetValue(AObject, PropInfo, *Value);
}

std::u16string TPropsStorage::StoreStringProperty(const TPropInfo& PropInfo) const {
    return PropInfo.Get(*AObject).AsString();
}

void TPropsStorage::LoadStringProperty(std::u16string_view Text, const TPropInfo& PropInfo) {
    SetValue(AObject, PropInfo, Text);
}

std::u16string TPropsStorage::StoreLStringProperty(const TPropInfo& PropInfo) const {
    return StoreStringProperty(PropInfo);
}

void TPropsStorage::LoadLStringProperty(std::u16string_view Text, const TPropInfo& PropInfo) {
    LoadStringProperty(Text, PropInfo);
}

std::u16string TPropsStorage::StoreVariantProperty(const TPropInfo& PropInfo) const {
    return StoreStringProperty(PropInfo);
}

void TPropsStorage::LoadVariantProperty(std::u16string_view Text, const TPropInfo& PropInfo) {
    LoadStringProperty(Text, PropInfo);
}

std::u16string TPropsStorage::StoreSetProperty(const TPropInfo& PropInfo) const {
    const auto Names = IdentifiersOf(PropInfo);
    const auto Members = static_cast<std::uint64_t>(PropInfo.Get(*AObject).AsInt64());
    std::u16string Text(u"[");
    for (int Member = 0; Member < std::min(SetSize, static_cast<int>(Names.size())); ++Member) {
        if ((Members >> Member & 1) == 0) continue;
        if (Text.size() > 1) Text += u',';
        Text += Names[static_cast<std::size_t>(Member)];
    }
    return Text += u']';
}

void TPropsStorage::LoadSetProperty(std::u16string_view Text, const TPropInfo& PropInfo) {
    TKXCharSet Separators;
    for (const char16_t Separator : std::u16string_view(u" ,[]")) Separators.Include(Separator);
    std::int64_t Members = 0;
    const int Count = KX_WordCount(Text, Separators);
    for (int Word = 1; Word <= Count; ++Word) {
        const std::optional<int> Member = OrdinalOf(KX_ExtractWord(Word, Text, Separators), PropInfo);
        if (Member && *Member < SetSize) Members |= std::int64_t{1} << *Member;
    }
    SetValue(AObject, PropInfo, static_cast<std::int32_t>(static_cast<std::uint32_t>(Members)));
}

// ---- lists of names

void TPropsStorage::StoreProperties(const TStrings& PropList) {
    const TPropInfoList Known(AObject, StoredKinds());
    for (int Index = 0; Index < PropList.Count(); ++Index)
        StoreAnyProperty(Known.Find(PropList.Strings(Index)));
}

void TPropsStorage::LoadProperties(const TStrings& PropList) {
    const TPropInfoList Known(AObject, StoredKinds());
    for (int Index = 0; Index < PropList.Count(); ++Index)
        LoadAnyProperty(Known.Find(PropList.Strings(Index)));
}

std::unique_ptr<TStringList> TPropsStorage::CreateInfoList(TComponent& AComponent,
                                                           TStrings& StoredList) const {
    UpdateStoredList(&AComponent, &StoredList, false);
    auto Info = std::make_unique<TStringList>();
    Info->SetSorted(true);
    for (int Index = 0; Index < StoredList.Count(); ++Index) {
        const auto* const Component = ObjectCast<TComponent>(StoredList.Objects(Index));
        if (Info->IndexOf(Component->Name()) >= 0) continue;
        auto Known = std::make_unique<TPropInfoList>(Component, StoredKinds());
        Info->AddObject(Component->Name(), Known.get());
        static_cast<void>(Known.release()); // FreeInfoLists has it
    }
    return Info;
}

void TPropsStorage::FreeInfoLists(std::unique_ptr<TStringList> Info) {
    for (int Index = 0; Index < Info->Count(); ++Index)
        const std::unique_ptr<TObject> Known(Info->Objects(Index));
}

template <class TAction>
void TPropsStorage::ForStoredList(TComponent& AComponent, TStrings& StoredList, TAction Action) {
    // Freed and forgotten also when a callback raises.
    struct TScope {
        TPropsStorage& Storage;
        std::unique_ptr<TStringList> Info;
        ~TScope() {
            Storage.Owner = nullptr;
            FreeInfoLists(std::move(Info));
        }
    };
    const TScope Scope{*this, CreateInfoList(AComponent, StoredList)};
    Owner = &AComponent;
    std::u16string ComponentName, PropName;
    for (int Index = 0; Index < StoredList.Count(); ++Index) {
        if (!ParseStoredItem(StoredList.Strings(Index), ComponentName, PropName)) continue;
        auto* const Component = ObjectCast<TComponent>(StoredList.Objects(Index));
        AObject = Component;
        Prefix = Component->Name();
        const int Place = Scope.Info->IndexOf(Prefix);
        if (Place < 0) continue;
        Prefix += sPropNameDelimiter;
        Action(static_cast<const TPropInfoList*>(Scope.Info->Objects(Place))->Find(PropName));
    }
}

void TPropsStorage::StoreObjectsProps(TComponent& AComponent, TStrings& StoredList) {
    ForStoredList(AComponent, StoredList, [this](const TPropInfo* PropInfo) { StoreAnyProperty(PropInfo); });
}

void TPropsStorage::LoadObjectsProps(TComponent& AComponent, TStrings& StoredList) {
    ForStoredList(AComponent, StoredList, [this](const TPropInfo* PropInfo) { LoadAnyProperty(PropInfo); });
}

} // namespace zutools
