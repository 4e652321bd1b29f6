// TObject, the root of every class that scripts, lists and stored properties handle, and the one declaration
// that a class makes about itself.
//
// The declaration, a TClassInfo, holds the published properties and methods, the names that scripts know, the
// global that scripts find an object under, and a line of help for each. It stands in the class's own .cpp as
// constants, so nothing runs before main; the class has `static const TClassInfo& StaticClass()` and
// overrides `ClassInfo()`. Scripts, the registry and the printed reference all read it. Example:
//
//     constexpr TPropInfo Properties[] = {
//         {u"Count", TTypeKind::tkInteger, u"Integer", [](const TObject& Self) { return ...; }, nullptr,
//          u"how many entries there are"},
//     };
//     constexpr TScriptMember ScriptNames[] = {
//         ScriptProperty(u"Value", 1, GetValue, SetValue, u"an entry's value by name or index"),
//         ScriptProcedure(u"Clear", 0, Clear, u"takes all entries out"),
//     };
//     const TClassInfo& TParamsList::StaticClass() {
//         static constexpr TClassInfo Info{.Name = u"TParamsList",
//                                          .Parent = &TIObject::StaticClass,
//                                          .Properties = Properties,
//                                          .Create = Make,
//                                          .Script = ScriptNames,
//                                          .Help = u"names with values"};
//         return Info;
//     }

#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <vector>

namespace zutools {

class TObject;
class TKXVariant;

/// Kinds of property and parameter types; the ordinals appear in messages and are fixed.
enum class TTypeKind : std::uint8_t {
    tkUnknown = 0,
    tkInteger = 1,
    tkChar = 2,
    tkEnumeration = 3,
    tkFloat = 4,
    tkString = 5,
    tkSet = 6,
    tkClass = 7,
    tkMethod = 8,
    tkWChar = 9,
    tkLString = 10,
    tkWString = 11,
    tkVariant = 12,
    tkArray = 13,
    tkRecord = 14,
    tkInterface = 15,
    tkInt64 = 16,
    tkDynArray = 17,
    tkUString = 18,
    tkClassRef = 19,
    tkPointer = 20,
    tkProcedure = 21,
};

/// What reads or writes a property: a function, or one function of many properties that is told which of them
/// (classes whose properties are known at run time only). Null when there is none. Called as a function.
template <class TSignature>
class TPropAccessor;
template <class TResult, class... TArgs>
class TPropAccessor<TResult(TArgs...)> {
public:
    constexpr TPropAccessor() = default;
    template <class TFunction>
        requires std::is_convertible_v<TFunction, TResult (*)(TArgs...)>
    constexpr TPropAccessor(TFunction Function)
        : FPlain(Function) {}
    constexpr TPropAccessor(TResult (*Function)(TArgs..., int Index), int Index)
        : FIndexed(Function)
        , FIndex(Index) {}

    TResult operator()(TArgs... Args) const {
        return FPlain != nullptr ? FPlain(Args...) : FIndexed(Args..., FIndex);
    }
    friend constexpr bool operator==(const TPropAccessor& Accessor, std::nullptr_t) {
        return Accessor.FPlain == nullptr && Accessor.FIndexed == nullptr;
    }

private:
    TResult (*FPlain)(TArgs...) = nullptr;
    TResult (*FIndexed)(TArgs..., int Index) = nullptr;
    int FIndex = 0;
};

/// A published property. `Set` is null when it is read-only. `Get` and `Set` may raise what the accessor
/// raises.
struct TPropInfo {
    std::u16string_view Name;
    TTypeKind Kind;
    std::u16string_view TypeName; // "Integer", "Boolean", "string", "TDateTime", ...
    TPropAccessor<TKXVariant(const TObject& Self)> Get;
    TPropAccessor<void(TObject& Self, const TKXVariant& Value)> Set;
    std::u16string_view Help{};                       // one line for the reference
    std::span<const std::u16string_view> EnumNames{}; // identifiers by ordinal, for enumerations and sets
};

/// What a floating type is made of; ftNone for a type that is none.
enum class TFloatType : std::uint8_t { ftSingle, ftDouble, ftExtended, ftComp, ftCurrency, ftNone };

/// A parameter of a published method.
struct TParamInfo {
    std::u16string_view Name;
    TTypeKind Kind;
    std::u16string_view TypeName;
    std::uint8_t OrdinalSize = 4; // bytes, for integers, enumerations and characters
    bool OrdinalSigned = true;
    bool ByReference = false;
    TFloatType FloatType = TFloatType::ftDouble; // for floating kinds
};

enum class TVisibility : std::uint8_t { mvPrivate, mvProtected, mvPublic, mvPublished };

/// A listed method. `Invoke` takes one call value for each of `Params`, from the last parameter to the first:
/// Args[0] is the last one's. `PublishedMethod` (host/Published.h) makes one that puts them in their places.
struct TMethodInfo {
    std::u16string_view Name;
    TVisibility Visibility;
    std::span<const TParamInfo> Params;
    TKXVariant (*Invoke)(TObject& Self, std::span<const TKXVariant> Args);
    std::u16string_view Help{};
};

using TScriptArgs = std::span<const TKXVariant>;

/// Handlers of script names. `Target` is of the class that they were registered for, or derived from it. They
/// may raise; the engine turns any exception into a script error.
using TScriptGetter = TKXVariant (*)(TObject& Target, TScriptArgs Args);
using TScriptSetter = void (*)(TObject& Target, TScriptArgs Index, const TKXVariant& Value);
using TScriptFunction = TKXVariant (*)(TObject& Target, TScriptArgs Args);
using TScriptProcedure = void (*)(TObject& Target, TScriptArgs Args);

enum class TScriptMemberKind : std::uint8_t { smProperty, smFunction, smProcedure };

/// A name that scripts know a class by, made by one of the functions below. `ArgCount` -1 means that the
/// count is not checked here.
struct TScriptMember {
    std::u16string_view Name;
    TScriptMemberKind Kind = TScriptMemberKind::smProperty;
    int ArgCount = 0;
    TScriptGetter Getter = nullptr;
    TScriptSetter Setter = nullptr; // null: read-only
    TScriptFunction Function = nullptr;
    TScriptProcedure Procedure = nullptr;
    std::u16string_view Help{}; // one line for the reference

    [[nodiscard]] constexpr bool ReadOnly() const { return Setter == nullptr; }
    /// The call, after checking the number of arguments: the property's value, the function's result, null
    /// for a procedure.
    /// @throws EIObjectError naming the class, the member, the count given and the count wanted.
    TKXVariant Invoke(TObject& Target, TScriptArgs Args) const;
    /// The write, after checking the number of index arguments and that the property is writable.
    void Write(TObject& Target, TScriptArgs Index, const TKXVariant& Value) const;
};

/// `Setter` null: read-only.
[[nodiscard]] constexpr TScriptMember ScriptProperty(std::u16string_view Name, int ArgCount,
                                                     TScriptGetter Getter, TScriptSetter Setter,
                                                     std::u16string_view Help = {}) {
    return {.Name = Name, .ArgCount = ArgCount, .Getter = Getter, .Setter = Setter, .Help = Help};
}
[[nodiscard]] constexpr TScriptMember ScriptFunction(std::u16string_view Name, int ArgCount,
                                                     TScriptFunction Handler, std::u16string_view Help = {}) {
    return {.Name = Name,
            .Kind = TScriptMemberKind::smFunction,
            .ArgCount = ArgCount,
            .Function = Handler,
            .Help = Help};
}
[[nodiscard]] constexpr TScriptMember ScriptProcedure(std::u16string_view Name, int ArgCount,
                                                      TScriptProcedure Handler,
                                                      std::u16string_view Help = {}) {
    return {.Name = Name,
            .Kind = TScriptMemberKind::smProcedure,
            .ArgCount = ArgCount,
            .Procedure = Handler,
            .Help = Help};
}

/// The global that scripts find an object of a class under.
struct TScriptGlobal {
    std::u16string_view Name{};  // empty: there is none
    TObject* (*Get)() = nullptr; // asked at each use, on the thread that uses it; may give null. No function:
                                 // who runs the script sets the global
    std::u16string_view Help{};  // one line for the reference
};

/// What a class tells about itself. Lives for the whole process.
struct TClassInfo {
    std::u16string_view Name;
    const TClassInfo& (*Parent)();                  // null for TObject
    std::span<const TPropInfo> Properties{};        // its own, without the inherited ones
    std::span<const TMethodInfo> Methods{};         // its own, without the inherited ones
    std::unique_ptr<TObject> (*Create)() = nullptr; // null when scripts may not create it
    std::span<const TScriptMember> Script{};        // its own, in the order in which they are registered
    TScriptGlobal Global{};
    std::u16string_view Help{}; // one line for the reference

    /// True for the class itself and everything derived from `Base`.
    [[nodiscard]] bool InheritsFrom(const TClassInfo& Base) const;
    /// Own or inherited, ignoring the letter case of ASCII letters; the most derived wins; null when absent.
    [[nodiscard]] const TPropInfo* FindProperty(std::u16string_view PropName) const;
    [[nodiscard]] const TMethodInfo* FindMethod(std::u16string_view MethodName) const;
    /// All published properties, inherited ones included, ordered by name (ASCII letters without case).
    [[nodiscard]] std::vector<const TPropInfo*> AllProperties() const;
};

/// A reference that notices the death of its object. Copyable; empty when default-made.
class TObjectRef {
public:
    TObjectRef() = default;
    /// The object, or null when it is gone or the reference is empty. Only a thread that may use the object
    /// asks.
    [[nodiscard]] TObject* Get() const { return FCell ? FCell->load(std::memory_order_acquire) : nullptr; }
    /// True when the reference had an object that is gone now; false when it is empty or the object is there.
    [[nodiscard]] bool IsGone() const { return FCell && Get() == nullptr; }

private:
    friend class TObject;
    explicit TObjectRef(std::shared_ptr<std::atomic<TObject*>> Cell)
        : FCell(std::move(Cell)) {}
    std::shared_ptr<std::atomic<TObject*>> FCell;
};

class TObject {
public:
    TObject() = default;
    virtual ~TObject();
    TObject(const TObject&) = delete;
    TObject& operator=(const TObject&) = delete;

    static const TClassInfo& StaticClass();
    [[nodiscard]] virtual const TClassInfo& ClassInfo() const;
    [[nodiscard]] std::u16string_view ClassName() const { return ClassInfo().Name; }

    /// A reference that turns empty when this object dies. The first call allocates; objects that are never
    /// asked pay one pointer. Any thread that may use the object may ask, several at once too. The reference
    /// empties when the destructor of the root runs, after those of the descendants: nobody may follow it
    /// while the object is being destroyed.
    [[nodiscard]] TObjectRef Reference();
    /// For objects that several threads hold (record blocks): what keeps the memory of this object from going
    /// while the result lives. Null for objects with one owner. Whoever keeps a TObjectRef beside it may
    /// follow that without fear of another thread.
    [[nodiscard]] virtual std::shared_ptr<const void> KeepAlive() { return nullptr; }

protected:
    /// Empties the references to this object now, although somebody keeps it alive: for scripts it is gone.
    void Retire();

private:
    std::atomic<std::shared_ptr<std::atomic<TObject*>>*> FCell{nullptr}; // owned; null until asked for
};

/// The object as a `T` when its class info says that it is one, else null (null for null).
template <class T>
[[nodiscard]] T* ObjectCast(TObject* Object) {
    return Object != nullptr && Object->ClassInfo().InheritsFrom(T::StaticClass()) ? static_cast<T*>(Object)
                                                                                   : nullptr;
}

} // namespace zutools
