#include "core/Lparams.h"

#include "host/Format.h"
#include "host/StringHelpers.h"
#include "host/Strings.h"

#include <algorithm>

namespace zutools {

namespace {

constexpr std::u16string_view ErrorValueIndex = u"Error value index: %d in Params.";
constexpr std::u16string_view ErrorNameIndex = u"Error name index: %d in Params.";
constexpr std::u16string_view ErrorNoParamsList =
    u"LoadParams takes a TParamsList, not an object of class %s";

/// Asks an event; true when there is none. Works on a copy: the event may replace itself.
bool Allowed(const TOnSetParamValue& Event, std::u16string_view Name, std::u16string_view Value) {
    bool CanSet = true;
    if (Event) {
        const TOnSetParamValue Copy = Event;
        Copy(Name, Value, CanSet);
    }
    return CanSet;
}

} // namespace

TParamsList::TParamsList()
    : FLock(this) {}

TParamsList::~TParamsList() = default;

std::unique_lock<const TKXThreadSafetyClass> TParamsList::Locked() const {
    std::unique_lock<const TKXThreadSafetyClass> Guard(FLock, std::defer_lock);
    if (UseCritical) Guard.lock();
    return Guard;
}

void TParamsList::Lock() const {
    if (UseCritical) FLock.Lock(u"");
}

void TParamsList::UnLock() const {
    if (UseCritical) FLock.UnLock();
}

// ---- one entry

void TParamsList::Add(std::u16string_view Name, std::u16string_view Value) {
    if (Name.empty() || !Allowed(FOnSetParamValue, Name, Value)) return;
    const auto Guard = Locked();
    if (ParamsList.size() == ParamsList.capacity())
        ParamsList.reserve(
            std::max<std::size_t>(8, ParamsList.size() * 2)); // so that both views grow or none
    const int Before = FParams.Count();
    const int Position = FParams.AddParam(Name, Value);
    if (FParams.Count() != Before)
        ParamsList.push_back(static_cast<TZUParamObject*>(FParams.Items(Position)));
}

void TParamsList::AddStr(std::u16string_view Value, std::u16string_view Delimer) {
    std::u16string Name;
    KX_GetNextParam(Value, Delimer, Name);
    Add(Name, Value);
}

// The event may remove the entry.
std::u16string TParamsList::Filtered(std::u16string_view Name, std::u16string Value) const {
    if (!Allowed(FOnGetParamValue, Name, Value)) Value.clear();
    return Value;
}

std::u16string TParamsList::GetPLValueByName(std::u16string_view Name) const {
    const TZUParamObject* const Entry = FParams.FindParam(Name);
    return Entry != nullptr ? Filtered(Name, Entry->FValue) : std::u16string();
}

std::u16string TParamsList::GetPLValueByIndex(int Index) const {
    const TZUParamObject* const Entry = GetParamObject(Index);
    if (Entry == nullptr) return {};
    return FOnGetParamValue ? Filtered(std::u16string(Entry->FName), Entry->FValue) : Entry->FValue;
}

void TParamsList::SetPLValueByIndex(int Index, std::u16string_view Value) {
    TZUParamObject* Entry = GetParamObject(Index);
    if (Entry != nullptr && FOnSetParamValue) {
        if (!Allowed(FOnSetParamValue, std::u16string(Entry->FName), Value)) return;
        Entry = GetParamObject(Index); // the event may have removed it
    }
    if (Entry == nullptr) throw EParamsList(Format(ErrorValueIndex, {Index}));
    Entry->FValue = Value;
}

std::u16string TParamsList::GetPLName(int Index) const {
    const auto Guard = Locked();
    const TZUParamObject* const Entry = GetParamObject(Index);
    if (Entry == nullptr) throw EParamsList(Format(ErrorNameIndex, {Index}));
    return Entry->FName;
}

int TParamsList::GetPLNameIndex(std::u16string_view Name) const {
    const TNameMatch& Names = UserNameMatch(false);
    const auto Found = std::ranges::find_if(
        ParamsList, [&](const TZUParamObject* Entry) { return Names.Same(Entry->FName, Name); });
    return Found == ParamsList.end() ? -1 : static_cast<int>(Found - ParamsList.begin());
}

TZUParamObject* TParamsList::GetParamObject(int Index) const {
    if (Index < 0 || static_cast<std::size_t>(Index) >= ParamsList.size()) return nullptr;
    return ParamsList[static_cast<std::size_t>(Index)];
}

int TParamsList::GetCount() const {
    const auto Guard = Locked();
    return static_cast<int>(ParamsList.size());
}

// The entry leaves both views, also when somebody has given it another name meanwhile.
void TParamsList::Delete(int Index) {
    const TZUParamObject* const Entry = GetParamObject(Index);
    if (Entry == nullptr) return;
    ParamsList.erase(ParamsList.begin() + Index);
    int Position = FParams.GetParamIndex(Entry->FName);
    if (Position < 0 || FParams.Items(Position) != Entry) Position = FParams.IndexOf(Entry);
    FParams.Delete(Position);
}

void TParamsList::DeleteByName(std::u16string_view Name) {
    const auto Found = std::ranges::find(ParamsList, FParams.FindParam(Name));
    if (Found != ParamsList.end()) Delete(static_cast<int>(Found - ParamsList.begin()));
}

void TParamsList::Clear() {
    const auto Guard = Locked();
    ParamsList.clear();
    FParams.Clear();
}

// ---- many entries

// The other list is read as a whole before anything is added: it may be this one, and two lists that are
// added to each other by two threads never wait for one another.
std::vector<std::pair<std::u16string, std::u16string>> TParamsList::Entries() const {
    std::vector<std::pair<std::u16string, std::u16string>> Result;
    {
        const auto Guard = Locked();
        Result.reserve(ParamsList.size());
        for (const TZUParamObject* const Entry : ParamsList) Result.emplace_back(Entry->FName, Entry->FValue);
    }
    if (FOnGetParamValue)
        for (auto& [Name, Value] : Result)
            if (!Allowed(FOnGetParamValue, Name, Value)) Value.clear();
    return Result;
}

void TParamsList::Concate(const TParamsList* ConcateParams) {
    if (ConcateParams == nullptr) return;
    for (const auto& [Name, Value] : ConcateParams->Entries()) Add(Name, Value);
}

void TParamsList::LoadParams(TObject* Source) {
    if (Source == nullptr) return;
    const TParamsList* const Other = ObjectCast<TParamsList>(Source);
    if (Other == nullptr) throw EIObjectError(Format(ErrorNoParamsList, {Source->ClassName()}));
    const auto Read = Other->Entries();
    const auto Guard = Locked();
    for (const auto& [Name, Value] : Read) Add(Name, Value);
}

void TParamsList::LoadStrings(const TStrings* AddStrings) {
    if (AddStrings == nullptr) return;
    for (int Index = 0; Index < AddStrings->Count(); ++Index)
        AddStr(std::u16string(AddStrings->Strings(Index)), u"=");
}

void TParamsList::FromStrings(const TStrings* SourceList, std::u16string_view Delimer, bool ClearBeforeLoad) {
    const auto Guard = Locked();
    if (ClearBeforeLoad) Clear();
    if (SourceList == nullptr) return;
    for (int Index = 0; Index < SourceList->Count(); ++Index)
        AddStr(std::u16string(SourceList->Strings(Index)), Delimer);
}

void TParamsList::ToStrings(TStrings* DestList, std::u16string_view Delimer, bool ClearBeforeStore) const {
    if (DestList == nullptr) return;
    const auto Guard = Locked();
    if (ClearBeforeStore) DestList->Clear();
    for (const TZUParamObject* const Entry : ParamsList) {
        DestList->Add(Entry->FName + Delimer + Entry->FValue);
    }
}

std::u16string TParamsList::GetAsString() const {
    const auto Guard = Locked();
    std::size_t Size = 0;
    for (const TZUParamObject* const Entry : ParamsList)
        Size += Entry->FName.size() + Entry->FValue.size() + 3;
    std::u16string Result;
    Result.reserve(Size);
    for (const TZUParamObject* const Entry : ParamsList) {
        if (Entry != ParamsList.front()) Result += u"\r\n";
        Result += Entry->FName;
        Result += u'=';
        Result += Entry->FValue;
    }
    return Result;
}

void TParamsList::SetAsString(std::u16string_view Value) {
    const std::u16string Text(Value); // it may be a value of this list
    Clear();
    std::u16string_view Rest = Text;
    std::u16string Line;
    while (!Rest.empty()) {
        KX_GetNextParam(Rest, u"\r\n", Line);
        AddStr(Line, u"=");
    }
}

void TParamsList::LoadString(std::u16string_view Text, std::u16string_view Delimer) {
    const auto Guard = Locked();
    std::u16string Item;
    while (!Text.empty()) {
        KX_GetNextParam(Text, Delimer, Item);
        if (!Item.empty()) AddStr(Item, u"=");
    }
}

std::u16string TParamsList::GetDebugInfo() const {
    return Format(u"Number elements: %d", {GetCount()});
}

// ---- unknown property names are parameter names

bool TParamsList::GetPropertyInternal(std::u16string_view Name, TScriptArgs Args, int ArgCount,
                                      TKXVariant& Result) {
    if (TIObject::GetPropertyInternal(Name, Args, ArgCount, Result)) return true;
    const auto Guard = Locked();
    Result = GetPLValueByName(Name);
    return true;
}

bool TParamsList::SetPropertyInternal(std::u16string_view Name, TScriptArgs Args, int ArgCount) {
    if (TIObject::SetPropertyInternal(Name, Args, ArgCount)) return true;
    const auto Guard = Locked();
    SetPLValueByName(Name, Args.back().AsString());
    return true;
}

} // namespace zutools
