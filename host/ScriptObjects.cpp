#include "host/ScriptObjects.h"

#include "host/Exception.h"
#include "host/Format.h"
#include "host/NameKey.h"

#include <algorithm>
#include <mutex>
#include <optional>
#include <unordered_set>
#include <utility>

namespace zutools {

namespace {

std::u16string_view KindName(TScriptMemberKind Kind) {
    switch (Kind) {
    case TScriptMemberKind::smFunction:
        return u"function";
    case TScriptMemberKind::smProcedure:
        return u"procedure";
    case TScriptMemberKind::smProperty:
        break;
    }
    return u"property";
}

void CheckArgCount(const TScriptMember& Member, const TObject& Target, std::size_t Given) {
    if (Member.ArgCount < 0 || Given == static_cast<std::size_t>(Member.ArgCount)) return;
    throw EIObjectError(
        Format(u"Invalid number of arguments for %s '%s' of class '%s': %d given, %d wanted",
               {KindName(Member.Kind), Member.Name, Target.ClassName(), Given, Member.ArgCount}));
}

[[noreturn]] void FailReadOnly(std::u16string_view Name, const TObject& Target) {
    throw EIObjectError(Format(u"Property '%s' of class '%s' is read-only", {Name, Target.ClassName()}));
}

[[noreturn]] void FailPropertyArgs(std::u16string_view Name, const TObject& Target) {
    throw EIObjectError(
        Format(u"Invalid number of arguments for property '%s' of class '%s'", {Name, Target.ClassName()}));
}

std::mutex& LivingMutex() {
    static auto& Mutex = *new std::mutex; // outlives every static that holds an interface object
    return Mutex;
}

std::unordered_set<const TIRegObject*>& Living() {
    static auto& Objects = *new std::unordered_set<const TIRegObject*>;
    return Objects;
}

} // namespace

TKXVariant TScriptMember::Invoke(TObject& Target, TScriptArgs Args) const {
    CheckArgCount(*this, Target, Args.size());
    switch (Kind) {
    case TScriptMemberKind::smFunction:
        return Function(Target, Args);
    case TScriptMemberKind::smProcedure:
        Procedure(Target, Args);
        return {};
    case TScriptMemberKind::smProperty:
        break;
    }
    return Getter(Target, Args);
}

void TScriptMember::Write(TObject& Target, TScriptArgs Index, const TKXVariant& Value) const {
    if (Kind != TScriptMemberKind::smProperty) {
        throw EIObjectError(Format(u"'%s' of class '%s' is no property but a %s",
                                   {Name, Target.ClassName(), KindName(Kind)}));
    }
    if (ReadOnly()) FailReadOnly(Name, Target);
    CheckArgCount(*this, Target, Index.size());
    Setter(Target, Index, Value);
}

struct TScriptRegistry::TClassEntry {
    struct TOwned {
        std::u16string Name;
        TScriptMember Member; // its name is a view of the one above
    };
    std::vector<const TScriptMember*> Order;
    std::unordered_map<TNameKey, const TScriptMember*, TNameHash> ByName;
    // Replaced members too: a call on another thread may be in one.
    std::vector<std::unique_ptr<TOwned>> Owned;
};

TScriptRegistry::TScriptRegistry() = default;
TScriptRegistry::~TScriptRegistry() = default;

// Under the write lock.
TScriptRegistry::TClassEntry& TScriptRegistry::EntryOf(const TClassInfo& Class) {
    auto& Entry = FClasses[&Class];
    if (!Entry) Entry = std::make_unique<TClassEntry>();
    return *Entry;
}

void TScriptRegistry::RegisterClass(const TClassInfo& Class) {
    {
        const std::unique_lock Guard(FMutex);
        EntryOf(Class);
    }
    for (const TScriptMember& Member : Class.Script) Enter(Class, Member);
}

void TScriptRegistry::Enter(const TClassInfo& Class, const TScriptMember& Member) {
    const bool Callable =
        Member.Getter != nullptr || Member.Function != nullptr || Member.Procedure != nullptr;
    if (!Callable || Member.Name.empty() || Member.ArgCount < -1) {
        throw Exception(
            Format(u"Wrong registration of script name '%s' of class '%s'", {Member.Name, Class.Name}));
    }
    auto Owned =
        std::make_unique<TClassEntry::TOwned>(TClassEntry::TOwned{std::u16string(Member.Name), Member});
    Owned->Member.Name = Owned->Name;
    const std::unique_lock Guard(FMutex);
    TClassEntry& Entry = EntryOf(Class);
    const TScriptMember* const Fresh = &Entry.Owned.emplace_back(std::move(Owned))->Member;
    const auto [Place, Inserted] = Entry.ByName.try_emplace(TNameKey(Fresh->Name), Fresh);
    if (Inserted) {
        Entry.Order.push_back(Fresh);
        return;
    }
    std::replace(Entry.Order.begin(), Entry.Order.end(), Place->second, Fresh);
    Place->second = Fresh;
}

void TScriptRegistry::RegisterProperty(const TClassInfo& Class, std::u16string_view Name, int ArgCount,
                                       TScriptGetter Getter, TScriptSetter Setter, bool ReadOnly) {
    if (ReadOnly != (Setter == nullptr)) {
        throw Exception(
            Format(u"Script property '%s' of class '%s': the read-only flag contradicts the setter",
                   {Name, Class.Name}));
    }
    Enter(Class, ScriptProperty(Name, ArgCount, Getter, Setter));
}

void TScriptRegistry::RegisterFunction(const TClassInfo& Class, std::u16string_view Name, int ArgCount,
                                       TScriptFunction Handler) {
    Enter(Class, ScriptFunction(Name, ArgCount, Handler));
}

void TScriptRegistry::RegisterProcedure(const TClassInfo& Class, std::u16string_view Name, int ArgCount,
                                        TScriptProcedure Handler) {
    Enter(Class, ScriptProcedure(Name, ArgCount, Handler));
}

void TScriptRegistry::UnregisterClass(const TClassInfo& Class) {
    const std::unique_lock Guard(FMutex);
    FClasses.erase(&Class);
}

const TScriptMember* TScriptRegistry::Find(const TClassInfo& Class, std::u16string_view Name) const {
    std::optional<TNameKey> Key; // made when a class has names at all
    const std::shared_lock Guard(FMutex);
    for (const TClassInfo* Current = &Class;; Current = &Current->Parent()) {
        const auto Entry = FClasses.find(Current);
        if (Entry != FClasses.end()) {
            if (!Key) Key.emplace(Name);
            const auto Found = Entry->second->ByName.find(*Key);
            if (Found != Entry->second->ByName.end()) return Found->second;
        }
        if (Current->Parent == nullptr) return nullptr;
    }
}

const TClassInfo* TScriptRegistry::FindClass(std::u16string_view Name) const {
    const std::shared_lock Guard(FMutex);
    for (const auto& [Class, Entry] : FClasses) {
        if (SameText(Class->Name, Name)) return Class;
    }
    return nullptr;
}

std::vector<const TClassInfo*> TScriptRegistry::Classes() const {
    std::vector<const TClassInfo*> Result;
    {
        const std::shared_lock Guard(FMutex);
        for (const auto& [Class, Entry] : FClasses) Result.push_back(Class);
    }
    std::sort(Result.begin(), Result.end(), [](const TClassInfo* Left, const TClassInfo* Right) {
        return CompareText(Left->Name, Right->Name) < 0;
    });
    return Result;
}

std::vector<const TScriptMember*> TScriptRegistry::Members(const TClassInfo& Class) const {
    const std::shared_lock Guard(FMutex);
    const auto Entry = FClasses.find(&Class);
    if (Entry == FClasses.end()) return {};
    return Entry->second->Order;
}

TScriptRegistry& ScriptRegistry() {
    static auto& Registry = *new TScriptRegistry; // outlives every static that may still be asked at exit
    return Registry;
}

void RegisterScriptClasses(std::span<const TScriptClass> Classes) {
    try {
        for (const TScriptClass Class : Classes) ScriptRegistry().RegisterClass(Class());
    } catch (...) {
        UnregisterScriptClasses(Classes);
        throw;
    }
}

void UnregisterScriptClasses(std::span<const TScriptClass> Classes) {
    for (const TScriptClass Class : Classes) ScriptRegistry().UnregisterClass(Class());
}

const TClassInfo& TIObject::StaticClass() {
    static constexpr TClassInfo Info{u"TIObject", &TObject::StaticClass};
    return Info;
}
const TClassInfo& TIObject::ClassInfo() const {
    return StaticClass();
}

bool TIObject::GetPropertyInternal(std::u16string_view Name, TScriptArgs Args, int ArgCount,
                                   TKXVariant& Result) {
    const TClassInfo& Class = ClassInfo();
    if (const TScriptMember* Member = ScriptRegistry().Find(Class, Name)) {
        Result = Member->Invoke(*this, Args);
        return true;
    }
    const TPropInfo* Property = Class.FindProperty(Name);
    if (Property == nullptr) return false;
    if (ArgCount != 0) FailPropertyArgs(Name, *this);
    Result = Property->Get(*this);
    return true;
}

bool TIObject::SetPropertyInternal(std::u16string_view Name, TScriptArgs Args, int ArgCount) {
    if (ArgCount < 0 || Args.size() != static_cast<std::size_t>(ArgCount) + 1) FailPropertyArgs(Name, *this);
    const TKXVariant& Value = Args.back();
    const TClassInfo& Class = ClassInfo();
    if (const TScriptMember* Member = ScriptRegistry().Find(Class, Name)) {
        Member->Write(*this, Args.first(Args.size() - 1), Value);
        return true;
    }
    const TPropInfo* Property = Class.FindProperty(Name);
    if (Property == nullptr) return false;
    if (ArgCount != 0) FailPropertyArgs(Name, *this);
    if (Property->Set == nullptr) FailReadOnly(Name, *this);
    Property->Set(*this, Value);
    return true;
}

bool TIObject::IsCallable(std::u16string_view) const {
    return false;
}

const TClassInfo& TIRegObject::StaticClass() {
    static constexpr TClassInfo Info{u"TIRegObject", &TIObject::StaticClass};
    return Info;
}
const TClassInfo& TIRegObject::ClassInfo() const {
    return StaticClass();
}

TIRegObject::~TIRegObject() {
    const std::lock_guard Guard(LivingMutex());
    Living().erase(this);
}

void RegisterInterfaceObject(TIRegObject& Object) {
    const std::lock_guard Guard(LivingMutex());
    Living().insert(&Object);
}

bool IsInterfaceObjectRegistered(const TIRegObject& Object) {
    const std::lock_guard Guard(LivingMutex());
    return Living().contains(&Object);
}

} // namespace zutools
