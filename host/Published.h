// Published properties and methods declared from the members themselves: kinds, type names and sizes come
// from the C++ types, and values are converted and put in their places.
//
//     constexpr TPropInfo Properties[] = {
//         PublishedProperty<&TRates::Currency>(u"Currency", u"of all prices"),            // a field
//         PublishedProperty<&TRates::GetBase, &TRates::SetBase>(u"Base", u"what every parcel costs"),
//         PublishedProperty<&TRates::Count>(u"Count", u"number of zones"),                // read-only
//     };
//     constexpr TMethodInfo Methods[] = {
//         PublishedMethod<&TRates::Price, u"Weight", u"Zone">(u"Price", u"of one parcel"),
//     };
//
// Types: bool, integers, enumerations, char (8 bits, in the user's code page), char16_t, float, double,
// TDateTime, std::u16string and views of it, std::string (8-bit text), TKXVariant, and pointers and
// references to descendants of TObject. What scripts could not give or get is refused by the compiler: 64-bit
// properties (publish a method), float and object parameters (take double, TKXVariant), results in
// parameters.

#pragma once

#include "host/Exception.h"
#include "host/Format.h"
#include "host/Object.h"
#include "host/Variant.h"

#include <algorithm>
#include <array>
#include <concepts>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <tuple>
#include <type_traits>
#include <utility>

namespace zutools {

/// What a value of a published type is to scripts.
struct TPublishedType {
    TTypeKind Kind = TTypeKind::tkUnknown;
    std::u16string_view Name{};
    std::uint8_t Size = 0; // bytes, of ordinals
    bool Signed = false;
};

/// A text that is a template argument.
template <std::size_t Size>
struct TPublishedName {
    // NOLINTNEXTLINE(google-explicit-constructor): `u"Name"` is to be written
    consteval TPublishedName(const char16_t (&AText)[Size]) { std::copy_n(AText, Size, Text); }
    char16_t Text[Size]{};
};

namespace published {

template <class T>
constexpr bool IsObject = std::is_base_of_v<TObject, std::remove_pointer_t<T>>;
template <class T>
constexpr bool IsText = std::same_as<T, std::u16string> || std::same_as<T, std::u16string_view>;

template <class T>
constexpr std::u16string_view IntegerName() {
    constexpr std::u16string_view Names[2][4] = {{u"UInt8", u"UInt16", u"UInt32", u"UInt64"},
                                                 {u"Int8", u"Int16", u"Integer", u"Int64"}};
    return Names[std::is_signed_v<T>][sizeof(T) == 1 ? 0 : sizeof(T) == 2 ? 1 : sizeof(T) == 4 ? 2 : 3];
}

template <class T>
constexpr TPublishedType TypeOf() {
    if constexpr (std::same_as<T, TKXVariant>) {
        return {TTypeKind::tkVariant, u"TKXVariant"};
    } else if constexpr (std::same_as<T, bool>) {
        return {TTypeKind::tkEnumeration, u"Boolean", 1, false};
    } else if constexpr (std::same_as<T, char>) {
        return {TTypeKind::tkChar, u"AnsiChar", 1, false};
    } else if constexpr (std::same_as<T, char16_t>) {
        return {TTypeKind::tkWChar, u"WideChar", 2, false};
    } else if constexpr (std::is_enum_v<T>) {
        return {TTypeKind::tkEnumeration, u"Enumeration", sizeof(T),
                std::is_signed_v<std::underlying_type_t<T>>};
    } else if constexpr (std::integral<T>) {
        return {sizeof(T) == 8 ? TTypeKind::tkInt64 : TTypeKind::tkInteger, IntegerName<T>(), sizeof(T),
                std::is_signed_v<T>};
    } else if constexpr (std::same_as<T, float>) {
        return {TTypeKind::tkFloat, u"Single"};
    } else if constexpr (std::same_as<T, double>) {
        return {TTypeKind::tkFloat, u"Double"};
    } else if constexpr (std::same_as<T, TDateTime>) {
        return {TTypeKind::tkFloat, u"TDateTime"};
    } else if constexpr (IsText<T>) {
        return {TTypeKind::tkUString, u"string"};
    } else if constexpr (std::same_as<T, std::string>) {
        return {TTypeKind::tkLString, u"AnsiString"};
    } else {
        static_assert(IsObject<T>, "no type that scripts know: see the list in host/Published.h");
        return {TTypeKind::tkClass, u"TObject"};
    }
}

/// A text argument: that of the value, or one that it converts to.
struct TTextArgument {
    explicit TTextArgument(const TKXVariant& AValue)
        : Value(AValue) {
        if (Value.Kind() != TVariantKind::vkString) Converted = Value.AsString();
    }
    operator std::u16string_view() const { // NOLINT(google-explicit-constructor): passed as an argument
        return Converted ? std::u16string_view(*Converted) : Value.StringView();
    }
    const TKXVariant& Value;
    std::optional<std::u16string> Converted;
};

/// A value as a `T`. @throws EVariantError when it does not convert; EIObjectError for an object of another
/// class.
template <class T>
auto From(const TKXVariant& Value) {
    if constexpr (std::same_as<T, TKXVariant>) {
        return Value;
    } else if constexpr (std::same_as<T, bool>) {
        return Value.AsBoolean();
    } else if constexpr (std::same_as<T, char>) {
        return Value.AsAnsiChar();
    } else if constexpr (std::same_as<T, char16_t>) {
        return Value.AsWideChar();
    } else if constexpr (std::is_enum_v<T>) {
        return static_cast<T>(From<std::underlying_type_t<T>>(Value));
    } else if constexpr (std::integral<T>) {
        static_assert(sizeof(T) < 8 || std::is_signed_v<T>, "scripts have no unsigned 64-bit integers");
        if constexpr (sizeof(T) == 8) {
            return static_cast<T>(Value.AsInt64());
        } else if constexpr (sizeof(T) == 4) {
            if constexpr (std::is_signed_v<T>)
                return static_cast<T>(Value.AsInteger());
            else
                return static_cast<T>(Value.AsLongWord());
        } else if constexpr (sizeof(T) == 2) {
            return static_cast<T>(std::is_signed_v<T> ? Value.AsSmallInt() : Value.AsWord());
        } else {
            return static_cast<T>(std::is_signed_v<T> ? Value.AsShortInt() : Value.AsByte());
        }
    } else if constexpr (std::floating_point<T>) {
        return static_cast<T>(Value.AsFloat());
    } else if constexpr (std::same_as<T, TDateTime>) {
        return Value.AsDateTime();
    } else if constexpr (std::same_as<T, std::u16string>) {
        return Value.AsString();
    } else if constexpr (std::same_as<T, std::u16string_view>) {
        return TTextArgument(Value);
    } else if constexpr (std::same_as<T, std::string>) {
        return Value.AsAnsiString();
    } else {
        using TClass = std::remove_pointer_t<T>;
        TObject* const Object = Value.AsObject();
        TClass* const Wanted = ObjectCast<TClass>(Object);
        if (Wanted == nullptr && Object != nullptr) {
            throw EIObjectError(Format(u"an object of class %s is wanted, not of %s",
                                       {TClass::StaticClass().Name, Object->ClassName()}));
        }
        return Wanted;
    }
}

template <class T>
TKXVariant To(T&& Value) {
    using TValue = std::remove_cvref_t<T>;
    if constexpr (std::is_enum_v<TValue>) {
        return TKXVariant(static_cast<std::underlying_type_t<TValue>>(Value));
    } else if constexpr (std::same_as<TValue, char>) {
        return TKXVariant::AnsiChar(Value);
    } else if constexpr (std::same_as<TValue, float>) {
        return TKXVariant(static_cast<double>(Value));
    } else if constexpr (std::same_as<TValue, std::string>) {
        return TKXVariant::AnsiString(std::forward<T>(Value));
    } else if constexpr (std::is_pointer_v<TValue> && IsObject<TValue>) {
        return PointerAsLVar(const_cast<std::remove_const_t<std::remove_pointer_t<TValue>>*>(Value));
    } else if constexpr (std::is_base_of_v<TObject, TValue>) {
        return PointerAsLVar(&Value);
    } else {
        return TKXVariant(std::forward<T>(Value));
    }
}

/// The members of a class by the type of a pointer to one.
template <class TMember>
struct TMemberOf;
template <class TField, class TOwner>
struct TMemberOf<TField TOwner::*> {
    using TClass = TOwner;
    using TValue = TField;
};
template <class TResult, class TOwner, class... TArgs>
struct TMemberOf<TResult (TOwner::*)(TArgs...)> {
    using TClass = TOwner;
    using TValue = TResult;
    static constexpr std::size_t Count = sizeof...(TArgs);
    template <std::size_t Index>
    using TArgument = std::tuple_element_t<Index, std::tuple<TArgs...>>;
};
template <class TResult, class TOwner, class... TArgs>
struct TMemberOf<TResult (TOwner::*)(TArgs...) const> : TMemberOf<TResult (TOwner::*)(TArgs...)> {};
template <class TResult, class TOwner, class... TArgs>
struct TMemberOf<TResult (TOwner::*)(TArgs...) noexcept> : TMemberOf<TResult (TOwner::*)(TArgs...)> {};
template <class TResult, class TOwner, class... TArgs>
struct TMemberOf<TResult (TOwner::*)(TArgs...) const noexcept> : TMemberOf<TResult (TOwner::*)(TArgs...)> {};

template <auto Member>
using TClassOf = typename TMemberOf<decltype(Member)>::TClass;
template <auto Member>
using TValueOf = std::remove_cvref_t<typename TMemberOf<decltype(Member)>::TValue>;

template <auto Getter>
TKXVariant Read(const TObject& Self) {
    // A getter that is not const is one that fills what it answers from.
    auto& Object = const_cast<TClassOf<Getter>&>(static_cast<const TClassOf<Getter>&>(Self));
    if constexpr (std::is_member_object_pointer_v<decltype(Getter)>) {
        return To(Object.*Getter);
    } else {
        return To((Object.*Getter)());
    }
}

template <auto Setter>
void Write(TObject& Self, const TKXVariant& Value) {
    auto& Object = static_cast<TClassOf<Setter>&>(Self);
    if constexpr (std::is_member_object_pointer_v<decltype(Setter)>) {
        Object.*Setter = From<TValueOf<Setter>>(Value);
    } else {
        using TArgument = typename TMemberOf<decltype(Setter)>::template TArgument<0>;
        (Object.*Setter)(From<std::remove_cvref_t<TArgument>>(Value));
    }
}

template <auto Method, std::size_t... Places>
TKXVariant Call(TObject& Self, std::span<const TKXVariant> Args, std::index_sequence<Places...>) {
    using TMember = TMemberOf<decltype(Method)>;
    auto& Object = static_cast<TClassOf<Method>&>(Self);
    constexpr std::size_t Last =
        sizeof...(Places) - 1; // call values run from the last parameter to the first
    const auto Run = [&]() -> decltype(auto) {
        return (Object.*Method)(
            From<std::remove_cvref_t<typename TMember::template TArgument<Places>>>(Args[Last - Places])...);
    };
    if constexpr (std::is_void_v<typename TMember::TValue>) {
        Run();
        return {};
    } else {
        return To(Run());
    }
}

template <auto Method>
TKXVariant Invoke(TObject& Self, std::span<const TKXVariant> Args) {
    return Call<Method>(Self, Args, std::make_index_sequence<TMemberOf<decltype(Method)>::Count>());
}

template <class TArgument>
constexpr TParamInfo Parameter(std::u16string_view Name) {
    using T = std::remove_cvref_t<TArgument>;
    static_assert(!std::is_lvalue_reference_v<TArgument> ||
                      std::is_const_v<std::remove_reference_t<TArgument>>,
                  "scripts get no result in a parameter");
    static_assert(!std::same_as<T, float>, "scripts give no Single: take a double");
    static_assert(!IsObject<T>, "scripts give no object for a parameter of a class: take a TKXVariant");
    constexpr TPublishedType Type = TypeOf<T>();
    return {.Name = Name,
            .Kind = Type.Kind,
            .TypeName = Type.Name,
            .OrdinalSize = Type.Size,
            .OrdinalSigned = Type.Signed};
}

template <auto Method, TPublishedName... Names, std::size_t... Places>
constexpr auto ParamList(std::index_sequence<Places...> /*Places*/) {
    using TMember = TMemberOf<decltype(Method)>;
    static_assert(sizeof...(Names) == TMember::Count, "a name for each parameter is wanted");
    return std::array<TParamInfo, sizeof...(Names)>{
        Parameter<typename TMember::template TArgument<Places>>(Names.Text)...};
}

/// The names are texts of template arguments, which live for the whole process.
template <auto Method, TPublishedName... Names>
inline constexpr auto Params = ParamList<Method, Names...>(std::make_index_sequence<sizeof...(Names)>());

template <auto Getter>
constexpr TPropInfo Property(std::u16string_view Name, void (*Set)(TObject&, const TKXVariant&),
                             std::u16string_view Help) {
    constexpr TPublishedType Type = TypeOf<TValueOf<Getter>>();
    static_assert(Type.Kind != TTypeKind::tkInt64, "scripts read no 64-bit property: publish a method");
    return {Name, Type.Kind, Type.Name, &Read<Getter>, Set, Help};
}

} // namespace published

/// A property that is a field, which scripts may write, or a getter's value, which they may not.
template <auto Member>
[[nodiscard]] constexpr TPropInfo PublishedProperty(std::u16string_view Name, std::u16string_view Help = {}) {
    if constexpr (std::is_member_object_pointer_v<decltype(Member)>) {
        return published::Property<Member>(Name, &published::Write<Member>, Help);
    } else {
        return published::Property<Member>(Name, nullptr, Help);
    }
}
/// A property with a getter and a setter.
template <auto Getter, auto Setter>
[[nodiscard]] constexpr TPropInfo PublishedProperty(std::u16string_view Name, std::u16string_view Help = {}) {
    return published::Property<Getter>(Name, &published::Write<Setter>, Help);
}

/// A method, with the names of its parameters.
template <auto Method, TPublishedName... ParamNames>
[[nodiscard]] constexpr TMethodInfo PublishedMethod(std::u16string_view Name, std::u16string_view Help = {}) {
    return {Name, TVisibility::mvPublished, published::Params<Method, ParamNames...>,
            &published::Invoke<Method>, Help};
}

} // namespace zutools
