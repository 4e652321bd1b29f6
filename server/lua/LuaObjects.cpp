#include "server/lua/LuaObjects.h"

#include "host/Exception.h"
#include "host/Format.h"
#include "platform/Text.h"
#include "scripting/Pubintob.h"
#include "server/lua/LuaNames.h"
#include "server/lua/LuaState.h"
#include "server/lua/LuaValues.h"
#include "templates/Ltemplt.h"

#include <algorithm>
#include <cstddef>
#include <iterator>
#include <memory>
#include <new>
#include <span>
#include <utility>
#include <vector>

namespace zutools::server {

namespace {

// Each kind of userdata begins with the address of its own tag, so that one is never taken for another,
// whatever a script with the debug library does to metatables.
struct THandle {
    static constexpr char TagByte = 0;
    const void* Tag = &TagByte;
    TObjectRef Object;
    std::unique_ptr<TObject> Owned;
    std::size_t Weight = 0;            // bytes that it was last seen to hold
    std::shared_ptr<const void> Alive; // of an object that several threads hold: its memory
    TClassCache* Class = nullptr;
    mutable TClassCache* Published = nullptr; // with the class that was last found behind a published object
    enum TUserValue { Owner = 1, Indexed = 2 };
};

struct TDynamic {
    static constexpr char TagByte = 0;
    const void* Tag = &TagByte;
    const std::function<TObject*()>* Object = nullptr;
    const char* Name = nullptr;
};

// A registered property on its way to its index. With two arguments or more, one index gives another of
// these.
struct TIndexed {
    static constexpr char TagByte = 0;
    const void* Tag = &TagByte;
    const TEntry* Entry = nullptr;
    int Depth = 0; // indices that are known already
    enum TUserValue { Object = 1, Before = 2, Index = 3 };
};

template <class T>
T* UserdataAt(lua_State* L, int Index) {
    T* const Result = static_cast<T*>(lua_touserdata(L, Index));
    if (Result == nullptr || lua_rawlen(L, Index) != sizeof(T)) return nullptr; // a light one has no length
    return Result->Tag == &T::TagByte ? Result : nullptr;
}

struct TTarget {
    TObject* Object = nullptr; // null: the thread has none
    TClassCache* Class = nullptr;
    TObject* Behind = nullptr; // what a published object stands for

    /// Whose published members the class's entries are.
    [[nodiscard]] TObject& Shown() const { return Behind != nullptr ? *Behind : *Object; }
};

[[noreturn]] void FailGone(const TClassInfo& Class) {
    throw EIObjectError(Format(u"the object is gone (%s)", {Class.Name}));
}

// Descendants have hooks of their own, which only they know; those are asked each time.
bool IsPublished(const TClassInfo& Class) {
    return &Class == &TPublishedInterfaceObject::StaticClass();
}

// Looks behind a published object. `Known` is what was found there last.
TTarget TargetBehind(lua_State* L, TObject& Object, TClassCache& Class, TClassCache*& Known) {
    const auto& Wrapper = static_cast<const TPublishedInterfaceObject&>(Object);
    TObject* const Behind = Wrapper.AObject.Get();
    if (Behind == nullptr) {
        if (Wrapper.AObject.IsGone()) FailGone(Known != nullptr ? Known->Shown() : *Class.Info);
        return {&Object, &Class};
    }
    const TClassInfo& Info = Behind->ClassInfo();
    if (Known == nullptr || Known->Behind != &Info) {
        Known = &StateOf(L).Objects.ClassOf(L, *Class.Info, &Info);
    }
    return {&Object, Known, Behind};
}

// Empty also for what is no object.
TTarget TryTargetAt(lua_State* L, int Index) {
    if (const THandle* const Handle = UserdataAt<THandle>(L, Index)) {
        TObject* const Object = Handle->Object.Get();
        if (Object == nullptr) {
            if (Handle->Class == nullptr) throw EIObjectError(u"the object is gone");
            FailGone(*Handle->Class->Info);
        }
        if (!IsPublished(*Handle->Class->Info)) return {Object, Handle->Class};
        return TargetBehind(L, *Object, *Handle->Class, Handle->Published);
    }
    if (const TDynamic* const Dynamic = UserdataAt<TDynamic>(L, Index)) {
        TObject* const Object = *Dynamic->Object ? (*Dynamic->Object)() : nullptr;
        if (Object == nullptr) return {};
        TClassCache& Class = StateOf(L).Objects.ClassOf(L, Object->ClassInfo());
        if (!IsPublished(*Class.Info)) return {Object, &Class};
        TClassCache* Known = nullptr;
        return TargetBehind(L, *Object, Class, Known);
    }
    return {};
}

TTarget TargetAt(lua_State* L, int Index) {
    const TTarget Target = TryTargetAt(L, Index);
    if (Target.Object == nullptr && !IsObject(L, Index)) {
        throw EIObjectError(
            Format(u"an object is wanted, not a %s", {platform::Utf8ToUtf16(luaL_typename(L, Index))}));
    }
    return Target;
}

[[noreturn]] void FailUnknown(const TTarget& Target, std::u16string_view Name) {
    std::vector<std::u16string_view> Known = NamesOf(*Target.Class->Info);
    const TClassInfo& Shown = Target.Shown().ClassInfo();
    if (Target.Behind != nullptr) std::ranges::copy(NamesOf(Shown), std::back_inserter(Known));
    throw EIObjectError(
        Format(u"class %s has no property \"%s\"%s", {Shown.Name, Name, IsItOne(Name, Known)}));
}

[[noreturn]] void FailReadOnly(const TEntry& Entry) {
    throw EIObjectError(
        Format(u"Property '%s' of class '%s' is read-only", {Entry.Name, Entry.Class->Shown().Name}));
}

TValuePlace PlaceOf(const TEntry& Entry, int Argument = 0) {
    return {Entry.Class->Shown().Name, Entry.Name, Argument};
}

// Arguments of one call, made one after the other; few of them stay on the C++ stack.
class TArgs {
public:
    explicit TArgs(std::size_t Count)
        : FPlaces(Count <= Few ? reinterpret_cast<TKXVariant*>(FFew)
                               : static_cast<TKXVariant*>(::operator new(Count * sizeof(TKXVariant)))) {}
    ~TArgs() {
        std::destroy_n(FPlaces, FCount);
        if (FPlaces != reinterpret_cast<TKXVariant*>(FFew)) ::operator delete(FPlaces);
    }
    TArgs(const TArgs&) = delete;
    TArgs& operator=(const TArgs&) = delete;

    void Add(lua_State* L, int Index, const TValuePlace& Place) {
        new (FPlaces + FCount) TKXVariant(ToVariant(L, Index, Place));
        ++FCount;
    }
    [[nodiscard]] std::span<TKXVariant> View() const { return {FPlaces, FCount}; }
    operator TScriptArgs() const { return View(); }

private:
    static constexpr std::size_t Few = 4;
    alignas(TKXVariant) std::byte FFew[Few * sizeof(TKXVariant)];
    TKXVariant* const FPlaces;
    std::size_t FCount = 0;
};

// ---- weight

/// The texts among values that an object may keep.
void PassOn(lua_State* L, int First, int Last) {
    std::size_t Bytes = 0;
    for (int I = First; I <= Last; ++I)
        if (lua_type(L, I) == LUA_TSTRING) Bytes += lua_rawlen(L, I);
    StateOf(L).Limits.PassOn(L, Bytes);
}

/// Tells the limits what the object at the place holds, if the script owns it: of templates the text.
void Weigh(lua_State* L, int Index) {
    THandle* const Handle = UserdataAt<THandle>(L, Index);
    if (Handle == nullptr || !Handle->Owned) return;
    const auto* const Template = dynamic_cast<const TTemplate*>(Handle->Owned.get());
    if (Template == nullptr) return;
    const std::size_t Now = Template->FullBody().size() * sizeof(char16_t);
    if (Now != Handle->Weight) StateOf(L).Limits.Hold(L, std::exchange(Handle->Weight, Now), Now);
}

void EndOwned(lua_State* L, THandle& Handle) {
    if (!Handle.Owned) return;
    StateOf(L).Objects.Owning.erase(&Handle);
    StateOf(L).Limits.Release(std::exchange(Handle.Weight, 0));
    Handle.Owned.reset();
}

// ---- calls

[[noreturn]] void FailNoColon(std::u16string_view Name, std::u16string_view ClassName) {
    throw EIObjectError(Format(u"%s is called with a colon on an object of class %s: object:%s(...)",
                               {Name, ClassName, Name}));
}

bool IsOfClass(const TTarget& Target, const TClassCache& Wanted) {
    if (Target.Object == nullptr) return false;
    if (Target.Class == &Wanted) return true;
    if (Wanted.Behind != nullptr && Target.Behind == nullptr) return false;
    return Target.Class->Shown().InheritsFrom(Wanted.Shown());
}

// `object:Name(...)`; the entry is the first upvalue.
int CallMember(lua_State* L) {
    const auto& Entry = *static_cast<const TEntry*>(lua_touserdata(L, lua_upvalueindex(1)));
    const TTarget Target = TryTargetAt(L, 1);
    if (!IsOfClass(Target, *Entry.Class)) FailNoColon(Entry.Name, Entry.Class->Shown().Name);
    const int Count = lua_gettop(L) - 1;
    TArgs Args(static_cast<std::size_t>(Count));
    if (Entry.Kind == TEntry::TKind::Call) {
        for (int I = 1; I <= Count; ++I) Args.Add(L, I + 1, PlaceOf(Entry, I));
        PushVariant(L, Entry.Member.Invoke(*Target.Object, Args), 1, PlaceOf(Entry));
        return Entry.Member.Kind == TScriptMemberKind::smFunction ? 1 : 0;
    }
    // Published methods take their values from the last to the first.
    for (int I = Count; I > 0; --I) Args.Add(L, I + 1, PlaceOf(Entry, I));
    PushVariant(L, CallPublished(Target.Shown(), *Entry.Method, Entry.Name, Args.View()), 1, PlaceOf(Entry));
    return 1;
}

// `object:Name(...)` of a name that only the object's hooks know; the name is the first upvalue.
int CallHook(lua_State* L) {
    const std::u16string Name = ToText(L, lua_upvalueindex(1), {u"", u"name of a method", -1});
    const TTarget Target = TryTargetAt(L, 1);
    if (Target.Object == nullptr || !Target.Class->HasHooks) FailNoColon(Name, TIObject::StaticClass().Name);
    const TValuePlace Place{Target.Class->Info->Name, Name};
    const int Count = lua_gettop(L) - 1;
    TArgs Args(static_cast<std::size_t>(Count));
    for (int I = 1; I <= Count; ++I) Args.Add(L, I + 1, {Place.Owner, Name, I});
    TKXVariant Result;
    if (!static_cast<TIObject&>(*Target.Object).GetPropertyInternal(Name, Args, Count, Result)) {
        FailUnknown(Target, Name);
    }
    PushVariant(L, Result, 1, Place);
    return 1;
}

int CallAndWeigh(lua_State* L) {
    PassOn(L, 2, lua_gettop(L));
    const int Results = CallMember(L);
    Weigh(L, 1);
    return Results;
}

// ---- object.Name

// Pushes the property that waits for its index; one per object and property, kept with the handle.
void PushIndexed(lua_State* L, const TEntry& Entry) {
    const bool Keep = UserdataAt<THandle>(L, 1) != nullptr;
    if (Keep) {
        if (lua_getiuservalue(L, 1, THandle::Indexed) != LUA_TTABLE) {
            lua_pop(L, 1);
            lua_createtable(L, 0, 1);
            lua_pushvalue(L, -1);
            lua_setiuservalue(L, 1, THandle::Indexed);
        }
        if (lua_rawgetp(L, -1, &Entry) != LUA_TNIL) return;
        lua_pop(L, 1);
    }
    auto* const Indexed = new (lua_newuserdatauv(L, sizeof(TIndexed), 3)) TIndexed;
    Indexed->Entry = &Entry;
    lua_rawgeti(L, LUA_REGISTRYINDEX, StateOf(L).Objects.IndexedMetatable);
    lua_setmetatable(L, -2);
    lua_pushvalue(L, 1);
    lua_setiuservalue(L, -2, TIndexed::Object);
    if (!Keep) return;
    lua_pushvalue(L, -1);
    lua_rawsetp(L, -3, &Entry);
}

int ReadName(lua_State* L) {
    const TTarget Target = TargetAt(L, 1);
    if (Target.Object == nullptr) {
        lua_pushnil(L);
        return 1;
    }
    StateOf(L).Objects.PushMeaning(L, *Target.Class, 2);
    const auto* const Found = static_cast<const TEntry*>(lua_touserdata(L, -1));
    if (Found == nullptr) return 1; // a function
    const TEntry& Entry = *Found;
    switch (Entry.Kind) {
    case TEntry::TKind::Property:
        PushVariant(L, Entry.Member.Invoke(*Target.Object, {}), 1, PlaceOf(Entry));
        return 1;
    case TEntry::TKind::Published:
        PushVariant(L, Entry.Property->Get(*Target.Object), 1, PlaceOf(Entry));
        return 1;
    case TEntry::TKind::Wrapped:
        PushVariant(L, ReadPublished(*Target.Behind, *Entry.Property, Entry.Name), 1, PlaceOf(Entry));
        return 1;
    case TEntry::TKind::Indexed:
        PushIndexed(L, Entry);
        return 1;
    case TEntry::TKind::Call:
    case TEntry::TKind::Method:
    case TEntry::TKind::Hook:
        break;
    }
    if (!Target.Class->HasHooks) FailUnknown(Target, Entry.Name);
    auto& Object = static_cast<TIObject&>(*Target.Object);
    if (Object.IsCallable(Entry.Name)) {
        lua_pushvalue(L, 2);
        lua_pushcclosure(L, Border<CallHook>, 1);
        return 1;
    }
    TKXVariant Result;
    if (!Object.GetPropertyInternal(Entry.Name, {}, 0, Result)) FailUnknown(Target, Entry.Name);
    PushVariant(L, Result, 1, PlaceOf(Entry));
    return 1;
}

int WriteName(lua_State* L) {
    const TTarget Target = TargetAt(L, 1);
    if (Target.Object == nullptr) {
        throw EIObjectError(Format(u"this thread has no %s to write to",
                                   {platform::Utf8ToUtf16(UserdataAt<TDynamic>(L, 1)->Name)}));
    }
    StateOf(L).Objects.PushMeaning(L, *Target.Class, 2);
    const auto* const Found = static_cast<const TEntry*>(lua_touserdata(L, -1));
    if (Found == nullptr) {
        throw EIObjectError(Format(u"%s of class %s is called, not written",
                                   {ToText(L, 2, {u"", u"name", -1}), Target.Class->Shown().Name}));
    }
    const TEntry& Entry = *Found;
    if (Entry.Kind == TEntry::TKind::Indexed && Entry.Member.ArgCount > 0) {
        throw EIObjectError(Format(u"%s of class %s is written with an index: object.%s[...] = value",
                                   {Entry.Name, Target.Class->Info->Name, Entry.Name}));
    }
    const TKXVariant Value = ToVariant(L, 3, PlaceOf(Entry));
    switch (Entry.Kind) {
    case TEntry::TKind::Property:
    case TEntry::TKind::Indexed:
        Entry.Member.Write(*Target.Object, {}, Value);
        return 0;
    case TEntry::TKind::Published:
        if (Entry.Property->Set == nullptr) FailReadOnly(Entry);
        Entry.Property->Set(*Target.Object, Value);
        return 0;
    case TEntry::TKind::Wrapped:
        if (static_cast<TPublishedInterfaceObject&>(*Target.Object).ReadOnly) FailReadOnly(Entry);
        WritePublished(*Target.Behind, *Entry.Property, Entry.Name, Value);
        return 0;
    case TEntry::TKind::Call:
    case TEntry::TKind::Method:
    case TEntry::TKind::Hook:
        break;
    }
    if (!Target.Class->HasHooks ||
        !static_cast<TIObject&>(*Target.Object).SetPropertyInternal(Entry.Name, TScriptArgs(&Value, 1), 0)) {
        FailUnknown(Target, Entry.Name);
    }
    return 0;
}

int WriteAndWeigh(lua_State* L) {
    PassOn(L, 3, 3);
    WriteName(L);
    Weigh(L, 1);
    return 0;
}

int CollectHandle(lua_State* L) {
    THandle* const Handle = UserdataAt<THandle>(L, 1);
    if (Handle == nullptr) return 0;
    // Not destroyed: another finaliser may still look at it, and must find it gone.
    EndOwned(L, *Handle);
    Handle->Object = {};
    Handle->Alive.reset();
    return 0;
}

int DescribeObject(lua_State* L) {
    if (const THandle* const Handle = UserdataAt<THandle>(L, 1)) {
        const bool Published = IsPublished(*Handle->Class->Info);
        const TObject* Object = Handle->Object.Get();
        if (Published && Object != nullptr) {
            Object = static_cast<const TPublishedInterfaceObject*>(Object)->AObject.Get();
        }
        std::u16string Text((Handle->Published != nullptr ? Handle->Published : Handle->Class)->Shown().Name);
        if (Published && Object != nullptr) Text = Object->ClassName();
        if (Object == nullptr) Text += u" (gone)";
        PushText(L, Text, {});
    } else {
        const TDynamic* const Dynamic = UserdataAt<TDynamic>(L, 1);
        lua_pushstring(L, Dynamic != nullptr ? Dynamic->Name : "?");
    }
    return 1;
}

// ---- object.Name[index]

struct TIndexedTarget {
    const TEntry* Entry = nullptr;
    TObject* Object = nullptr;
};

// Takes the userdata at 1 apart and leaves its object's userdata on the stack.
TIndexedTarget OpenIndexed(lua_State* L, const TIndexed& Indexed) {
    lua_getiuservalue(L, 1, TIndexed::Object);
    const TTarget Target = TargetAt(L, -1);
    const TClassInfo& Wanted = *Indexed.Entry->Class->Info;
    if (Target.Object == nullptr || !Target.Class->Info->InheritsFrom(Wanted)) FailGone(Wanted);
    return {Indexed.Entry, Target.Object};
}

// Adds the indices that brackets gave to the userdata on top of the stack, which stays there.
void AddEarlier(lua_State* L, const TEntry& Entry, int Depth, TArgs& Args) {
    if (Depth == 0) return;
    luaL_checkstack(L, 4, nullptr);
    if (UserdataAt<TIndexed>(L, -1) == nullptr) throw EIObjectError(u"a property with an index is wanted");
    lua_getiuservalue(L, -1, TIndexed::Before);
    AddEarlier(L, Entry, Depth - 1, Args);
    lua_pop(L, 1);
    lua_getiuservalue(L, -1, TIndexed::Index);
    Args.Add(L, -1, PlaceOf(Entry, Depth));
    lua_pop(L, 1);
}

// The same for the userdata at 1.
void AddEarlier(lua_State* L, const TIndexed& Indexed, TArgs& Args) {
    lua_pushvalue(L, 1);
    AddEarlier(L, *Indexed.Entry, Indexed.Depth, Args);
    lua_pop(L, 1);
}

TIndexed& CheckIndexed(lua_State* L) {
    TIndexed* const Indexed = UserdataAt<TIndexed>(L, 1);
    if (Indexed == nullptr) throw EIObjectError(u"a property with an index is wanted");
    return *Indexed;
}

bool WantsMore(const TIndexed& Indexed) {
    return Indexed.Depth + 1 < Indexed.Entry->Member.ArgCount;
}

int ReadIndex(lua_State* L) {
    const TIndexed& Indexed = CheckIndexed(L);
    if (WantsMore(Indexed)) {
        auto* const Next = new (lua_newuserdatauv(L, sizeof(TIndexed), 3)) TIndexed;
        Next->Entry = Indexed.Entry;
        Next->Depth = Indexed.Depth + 1;
        lua_getmetatable(L, 1);
        lua_setmetatable(L, 3);
        lua_getiuservalue(L, 1, TIndexed::Object);
        lua_setiuservalue(L, 3, TIndexed::Object);
        lua_pushvalue(L, 1);
        lua_setiuservalue(L, 3, TIndexed::Before);
        lua_pushvalue(L, 2);
        lua_setiuservalue(L, 3, TIndexed::Index);
        return 1;
    }
    const TIndexedTarget Target = OpenIndexed(L, Indexed);
    const int Owner = lua_gettop(L);
    TArgs Args(static_cast<std::size_t>(Indexed.Depth) + 1);
    AddEarlier(L, Indexed, Args);
    Args.Add(L, 2, PlaceOf(*Target.Entry, Indexed.Depth + 1));
    PushVariant(L, Target.Entry->Member.Invoke(*Target.Object, Args), Owner, PlaceOf(*Target.Entry));
    return 1;
}

int WriteIndex(lua_State* L) {
    const TIndexed& Indexed = CheckIndexed(L);
    if (WantsMore(Indexed)) {
        throw EIObjectError(
            Format(u"%s of class %s wants %d indices",
                   {Indexed.Entry->Name, Indexed.Entry->Class->Info->Name, Indexed.Entry->Member.ArgCount}));
    }
    const TIndexedTarget Target = OpenIndexed(L, Indexed);
    TArgs Args(static_cast<std::size_t>(Indexed.Depth) + 1);
    AddEarlier(L, Indexed, Args);
    Args.Add(L, 2, PlaceOf(*Target.Entry, Indexed.Depth + 1));
    const TKXVariant Value = ToVariant(L, 3, PlaceOf(*Target.Entry));
    PassOn(L, 3, 3);
    Target.Entry->Member.Write(*Target.Object, Args, Value);
    return 0;
}

// `object.Name(index, ...)` and `object:Name(index, ...)` read as well; the only way to give another number
// of indices to a property that takes any.
int CallIndexed(lua_State* L) {
    const TIndexed& Indexed = CheckIndexed(L);
    lua_getiuservalue(L, 1, TIndexed::Object);
    if (lua_rawequal(L, -1, 2) != 0) lua_remove(L, 2);
    lua_pop(L, 1);
    const int Count = lua_gettop(L) - 1;
    const TIndexedTarget Target = OpenIndexed(L, Indexed);
    const int Owner = lua_gettop(L);
    TArgs Args(static_cast<std::size_t>(Indexed.Depth) + static_cast<std::size_t>(Count));
    AddEarlier(L, Indexed, Args);
    for (int I = 1; I <= Count; ++I) Args.Add(L, I + 1, PlaceOf(*Target.Entry, Indexed.Depth + I));
    PushVariant(L, Target.Entry->Member.Invoke(*Target.Object, Args), Owner, PlaceOf(*Target.Entry));
    return 1;
}

int DescribeIndexed(lua_State* L) {
    const TEntry& Entry = *CheckIndexed(L).Entry;
    PushText(L, Format(u"%s.%s[]", {Entry.Class->Info->Name, Entry.Name}), {});
    return 1;
}

void SetFunction(lua_State* L, const char* Name, lua_CFunction Function) {
    lua_pushcfunction(L, Function);
    lua_setfield(L, -2, Name);
}

// Leaves a new metatable on the stack that scripts cannot reach.
void NewMetatable(lua_State* L, std::u16string_view Name) {
    lua_createtable(L, 0, 8);
    PushText(L, Name, {});
    lua_setfield(L, -2, "__name");
    lua_pushboolean(L, 0);
    lua_setfield(L, -2, "__metatable");
}

void SetObjectFunctions(lua_State* L) {
    SetFunction(L, "__index", Border<ReadName>);
    SetFunction(L, "__newindex", Border<WriteAndWeigh>);
    SetFunction(L, "__tostring", Border<DescribeObject>);
}

} // namespace

// ---- the bridge

void TObjectBridge::Open(lua_State* L) {
    lua_createtable(L, 0, 0);
    lua_createtable(L, 0, 1);
    lua_pushliteral(L, "v");
    lua_setfield(L, -2, "__mode");
    lua_setmetatable(L, -2);
    Handles = luaL_ref(L, LUA_REGISTRYINDEX);

    NewMetatable(L, u"object of this thread");
    SetObjectFunctions(L);
    DynamicMetatable = luaL_ref(L, LUA_REGISTRYINDEX);

    NewMetatable(L, u"property with an index");
    SetFunction(L, "__index", Border<ReadIndex>);
    SetFunction(L, "__newindex", Border<WriteIndex>);
    SetFunction(L, "__call", Border<CallIndexed>);
    SetFunction(L, "__tostring", Border<DescribeIndexed>);
    IndexedMetatable = luaL_ref(L, LUA_REGISTRYINDEX);
}

TClassCache& TObjectBridge::ClassOf(lua_State* L, const TClassInfo& Info, const TClassInfo* Behind) {
    const auto [Place, Fresh] = FClasses.try_emplace({&Info, Behind});
    TClassCache& Class = Place->second;
    if (!Fresh) return Class;
    Class.Info = &Info;
    Class.Behind = Behind;
    Class.HasHooks = Info.InheritsFrom(TIObject::StaticClass());
    NewMetatable(L, Info.Name);
    SetObjectFunctions(L);
    SetFunction(L, "__gc", Border<CollectHandle>);
    Class.Metatable = luaL_ref(L, LUA_REGISTRYINDEX);
    lua_createtable(L, 0, 8);
    Class.Names = luaL_ref(L, LUA_REGISTRYINDEX);
    return Class;
}

void TObjectBridge::SetMethod(lua_State* L, const TClassInfo& Info, const char* Name) {
    lua_rawgeti(L, LUA_REGISTRYINDEX, ClassOf(L, Info).Names);
    lua_insert(L, -2);
    lua_setfield(L, -2, Name);
    lua_pop(L, 1);
}

void TObjectBridge::EndOwned(lua_State* L) {
    while (!Owning.empty()) server::EndOwned(L, *static_cast<THandle*>(*Owning.begin()));
}

TEntry TObjectBridge::Resolve(const TClassCache& Class, std::u16string Name) const {
    TEntry Entry;
    Entry.Class = &Class;
    if (const TScriptMember* const Member = ScriptRegistry().Find(*Class.Info, Name)) {
        Entry.Member = *Member;
        Entry.Name = Member->Name;
        const bool Plain = Member->Kind == TScriptMemberKind::smProperty && Member->ArgCount == 0;
        Entry.Kind = Plain                                           ? TEntry::TKind::Property
                     : Member->Kind == TScriptMemberKind::smProperty ? TEntry::TKind::Indexed
                                                                     : TEntry::TKind::Call;
    } else if (const auto [Property, Method] = RttiContext().GetType(Class.Shown()).Find(Name);
               Property != nullptr) {
        Entry.Kind = Class.Behind != nullptr ? TEntry::TKind::Wrapped : TEntry::TKind::Published;
        Entry.Property = Property;
        Entry.Name = Property->Name;
    } else if (Method != nullptr && Method->Visibility == TVisibility::mvPublished) {
        Entry.Kind = TEntry::TKind::Method;
        Entry.Method = Method;
        Entry.Name = Method->Name;
    } else {
        Entry.Name = std::move(Name);
    }
    return Entry;
}

void TObjectBridge::PushMeaning(lua_State* L, TClassCache& Class, int Key) {
    lua_rawgeti(L, LUA_REGISTRYINDEX, Class.Names);
    lua_pushvalue(L, Key);
    if (lua_rawget(L, -2) != LUA_TNIL) return lua_remove(L, -2);
    lua_pop(L, 1);
    if (lua_type(L, Key) != LUA_TSTRING) {
        throw EIObjectError(Format(u"an object of class %s has names, no element [%s]",
                                   {Class.Shown().Name, platform::Utf8ToUtf16(luaL_typename(L, Key))}));
    }
    // Names that only the object's hooks know may be of any number, and so may the spellings of a name.
    constexpr int MostNames = 2000;
    TEntry Fresh = Resolve(Class, ToText(L, Key, {u"", u"name of a property", -1}));
    const bool IsCall = Fresh.Kind == TEntry::TKind::Call || Fresh.Kind == TEntry::TKind::Method;
    const bool Keep = Class.NameCount < MostNames;
    const TEntry* Entry = &FScratch;
    if (Keep || Fresh.Kind != TEntry::TKind::Hook) {
        std::u16string Name = Fresh.Name;
        Entry = &Class.Entries.try_emplace(std::move(Name), std::move(Fresh)).first->second;
    } else {
        FScratch = std::move(Fresh);
    }
    lua_pushlightuserdata(L, const_cast<TEntry*>(Entry));
    if (IsCall) lua_pushcclosure(L, Border<CallAndWeigh>, 1);
    if (Keep) {
        lua_pushvalue(L, Key);
        lua_pushvalue(L, -2);
        lua_rawset(L, -4);
        ++Class.NameCount;
    }
    lua_remove(L, -2);
}

// ---- handles

namespace {

// Pushes a new handle of an object that has none.
THandle& NewHandle(lua_State* L, TObject& Object) {
    auto& Bridge = StateOf(L).Objects;
    TClassCache& Class = Bridge.ClassOf(L, Object.ClassInfo());
    lua_rawgeti(L, LUA_REGISTRYINDEX, Bridge.Handles);
    auto* const Handle = new (lua_newuserdatauv(L, sizeof(THandle), 2)) THandle;
    lua_rawgeti(L, LUA_REGISTRYINDEX, Class.Metatable);
    lua_setmetatable(L, -2); // from here on it is collected as a handle
    Handle->Class = &Class;
    Handle->Alive = Object.KeepAlive();
    Handle->Object = Object.Reference();
    lua_pushvalue(L, -1);
    lua_rawsetp(L, -3, &Object);
    lua_remove(L, -2);
    return *Handle;
}

} // namespace

void PushObject(lua_State* L, TObject& Object, int Owner) {
    lua_rawgeti(L, LUA_REGISTRYINDEX, StateOf(L).Objects.Handles);
    lua_rawgetp(L, -1, &Object);
    lua_remove(L, -2);
    // The address may have been that of an object that is gone while a script still holds its handle.
    const THandle* const Known = UserdataAt<THandle>(L, -1);
    if (Known != nullptr && Known->Object.Get() == &Object) return;
    lua_pop(L, 1);
    NewHandle(L, Object);
    if (Owner == 0) return;
    lua_pushvalue(L, Owner);
    lua_setiuservalue(L, -2, THandle::Owner);
}

void PushOwned(lua_State* L, std::unique_ptr<TObject> Object) {
    THandle& Handle = NewHandle(L, *Object);
    StateOf(L).Objects.Owning.insert(&Handle);
    Handle.Owned = std::move(Object);
}

void PushPublished(lua_State* L, TObject& Object, bool ReadOnly) {
    auto Wrapper = std::make_unique<TPublishedInterfaceObject>();
    Wrapper->AObject = Object.Reference();
    Wrapper->ReadOnly = ReadOnly;
    THandle& Handle = NewHandle(L, *Wrapper);
    Handle.Alive = Object.KeepAlive();
    Handle.Owned = std::move(Wrapper);
}

void PushPublished(lua_State* L, std::unique_ptr<TObject> Object, bool ReadOnly) {
    // Goes with the wrapper, whose handle holds it.
    struct TWrapper final : TPublishedInterfaceObject {
        std::unique_ptr<TObject> Owned;
    };
    auto Wrapper = std::make_unique<TWrapper>();
    Wrapper->AObject = Object->Reference();
    Wrapper->ReadOnly = ReadOnly;
    Wrapper->Owned = std::move(Object);
    NewHandle(L, *Wrapper).Owned = std::move(Wrapper);
}

void PushDynamic(lua_State* L, std::string_view Name) {
    auto& Bridge = StateOf(L).Objects;
    const auto& Entry = *Bridge.Dynamic.find(Name);
    auto* const Dynamic = new (lua_newuserdatauv(L, sizeof(TDynamic), 0)) TDynamic;
    Dynamic->Object = &Entry.second;
    Dynamic->Name = Entry.first.c_str();
    lua_rawgeti(L, LUA_REGISTRYINDEX, Bridge.DynamicMetatable);
    lua_setmetatable(L, -2);
}

bool IsObject(lua_State* L, int Index) {
    return UserdataAt<THandle>(L, Index) != nullptr || UserdataAt<TDynamic>(L, Index) != nullptr;
}

TObject* ObjectAt(lua_State* L, int Index) {
    return TargetAt(L, Index).Object;
}

const TEntry* IndexedAt(lua_State* L, int Index) {
    const TIndexed* const Indexed = UserdataAt<TIndexed>(L, Index);
    return Indexed != nullptr ? Indexed->Entry : nullptr;
}

} // namespace zutools::server
