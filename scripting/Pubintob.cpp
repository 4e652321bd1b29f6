#include "scripting/Pubintob.h"

#include "host/Exception.h"
#include "host/Format.h"
#include "host/Numbers.h"
#include "host/StringHelpers.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <iterator>
#include <utility>
#include <vector>

namespace zutools {

namespace {

constexpr std::u16string_view KindNames[] = {
    u"tkUnknown", u"tkInteger",  u"tkChar",    u"tkEnumeration", u"tkFloat",   u"tkString",
    u"tkSet",     u"tkClass",    u"tkMethod",  u"tkWChar",       u"tkLString", u"tkWString",
    u"tkVariant", u"tkArray",    u"tkRecord",  u"tkInterface",   u"tkInt64",   u"tkDynArray",
    u"tkUString", u"tkClassRef", u"tkPointer", u"tkProcedure",
};

[[noreturn]] void FailKind(const TObject& Object, const TPropInfo& Property, std::u16string_view Name) {
    const auto Kind = static_cast<std::size_t>(Property.Kind);
    const std::u16string Shown = Kind < std::size(KindNames) ? std::u16string(KindNames[Kind])
                                                             : IntToStr(static_cast<std::int64_t>(Kind));
    throw EIObjectError(Format(u"Invalid property type (%s) for property '%s' of class '%s'",
                               {Shown, Name, Object.ClassName()}));
}

void CheckNoArgs(const TObject& Object, std::u16string_view Name, std::size_t Given) {
    if (Given == 0) return;
    throw EIObjectError(
        Format(u"Invalid number of arguments for property '%s' of class '%s'", {Name, Object.ClassName()}));
}

// Kept on purpose: only as many letters are compared as the type's name has, so that a Word is a WordBool to
// scripts and a TDate a TDateTime.
bool IsNamed(std::u16string_view TypeName, std::u16string_view Wanted) {
    if (TypeName.size() > Wanted.size()) return false;
    if (!TypeName.empty() && ((TypeName.front() ^ Wanted.front()) & 0x5F) != 0) return false; // most names
    return SameText(TypeName, Wanted.substr(0, TypeName.size()));
}

// A failed conversion with the place where it was wanted.
EIObjectError AtPlace(const EVariantError& Error, std::u16string_view Place) {
    return EIObjectError(Error.Message() + u": " + std::u16string(Place));
}

// ---- arguments

// Kept on purpose: three values for four placeholders, of which the third is a name where a number is wanted.
// Scripts get the error of the formatting itself.
[[noreturn]] void FailNamed(std::u16string_view Pattern, const TKXVariant& Value, const TParamInfo& Param) {
    throw EIObjectError(
        Format(Pattern, {VariantKindName(Value.Kind()), static_cast<int>(Param.Kind), u"TParamInfo"}));
}

[[noreturn]] void FailSize(std::u16string_view Pattern, const TKXVariant& Value, const TParamInfo& Param) {
    throw EIObjectError(Format(
        Pattern, {VariantKindName(Value.Kind()), static_cast<int>(Param.Kind), int{Param.OrdinalSize}}));
}

TKXVariant ToOrdinal(const TKXVariant& Value, const TParamInfo& Param) {
    switch (Param.OrdinalSize) {
    case 1:
        // Kept on purpose: a signed byte takes the whole integer. Its range is the method's own to check.
        return Param.OrdinalSigned ? TKXVariant(Value.AsInteger()) : TKXVariant(Value.AsByte());
    case 2:
        return Param.OrdinalSigned ? TKXVariant(Value.AsSmallInt()) : TKXVariant(Value.AsWord());
    case 4:
        return Param.OrdinalSigned ? TKXVariant(Value.AsInteger()) : TKXVariant(Value.AsLongWord());
    default:
        FailSize(u"Error cast (%s) to Integer/Enumeration Value: %d %d", Value, Param);
    }
}

TKXVariant ToCharacter(const TKXVariant& Value, const TParamInfo& Param) {
    if (!Param.OrdinalSigned && Param.OrdinalSize == 1) return TKXVariant::AnsiChar(Value.AsAnsiChar());
    if (!Param.OrdinalSigned && Param.OrdinalSize == 2) return Value.AsWideChar();
    FailSize(u"Error cast variant (%s) to Char/WChar Value: %d %d", Value, Param);
}

// Four decimals, halves to even.
double ToCurrency(double Value) {
    constexpr double Parts = 10'000;
    const double Whole = std::nearbyint(Value * Parts);
    return std::isfinite(Whole) ? Whole / Parts : Value;
}

TKXVariant ToFloat(const TKXVariant& Value, const TParamInfo& Param) {
    switch (Param.FloatType) {
    case TFloatType::ftDouble:
        // Scripts write moments as texts.
        if (Value.IsString() && IsNamed(Param.TypeName, u"TDATETIME") && !TryStrToFloat(Value.AsString())) {
            return Value.AsDateTime().Days;
        }
        return Value.AsFloat();
    case TFloatType::ftExtended:
        return Value.AsFloat();
    case TFloatType::ftCurrency:
        return ToCurrency(Value.AsFloat());
    case TFloatType::ftSingle:
    case TFloatType::ftComp:
        return {}; // Kept on purpose: the method gets no value.
    case TFloatType::ftNone:
        break;
    }
    FailNamed(u"Error cast (%s) to float Value: %d %d %s", Value, Param);
}

[[noreturn]] void FailCast(const TKXVariant& Value, const TParamInfo& Param) {
    switch (Param.Kind) {
    case TTypeKind::tkUnknown:
        FailNamed(u"Error cast variant (%s) to tkUnknown Value: %d %d %s", Value, Param);
    case TTypeKind::tkSet:
        FailNamed(u"Error cast variant (%s) to tkSet Value: %d %d %s", Value, Param);
    case TTypeKind::tkClass:
        FailNamed(u"Error cast variant (%s) to tkClass Value: %d %d %s", Value, Param);
    case TTypeKind::tkMethod:
        FailNamed(u"Error cast variant (%s) to tkMethod Value: %d %d %s", Value, Param);
    case TTypeKind::tkArray:
        FailNamed(u"Error cast variant (%s) to tkArray Value: %d %d %s", Value, Param);
    case TTypeKind::tkRecord:
        FailNamed(u"Error cast variant (%s) to tkRecord Value: %d %d %s", Value, Param);
    case TTypeKind::tkInterface:
        FailNamed(u"Error cast variant (%s) to tkInterface Value: %d %d %s", Value, Param);
    case TTypeKind::tkDynArray:
        FailNamed(u"Error cast variant (%s) to tkDynArray Value: %d %d %s", Value, Param);
    case TTypeKind::tkClassRef:
        FailNamed(u"Error cast variant (%s) to tkClassRef Value: %d %d %s", Value, Param);
    case TTypeKind::tkPointer:
        FailNamed(u"Error cast variant (%s) to tkPointer Value: %d %d %s", Value, Param);
    case TTypeKind::tkProcedure:
        FailNamed(u"Error cast variant (%s) to tkProcedure Value: %d %d %s", Value, Param);
    default:
        FailNamed(u"Error cast variant (%s) to else/default Value: %d %d %s", Value, Param);
    }
}

// Makes an argument a call value in its place.
void ConvertArgument(TKXVariant& Value, const TParamInfo& Param) {
    switch (Param.Kind) {
    case TTypeKind::tkInteger:
    case TTypeKind::tkEnumeration:
        if (Value.Kind() == TVariantKind::vkInteger && Param.OrdinalSize == 4 && Param.OrdinalSigned) return;
        Value = ToOrdinal(Value, Param);
        return;
    case TTypeKind::tkChar:
    case TTypeKind::tkWChar:
        Value = ToCharacter(Value, Param);
        return;
    case TTypeKind::tkFloat:
        if (Value.Kind() == TVariantKind::vkFloat && Param.FloatType == TFloatType::ftDouble) return;
        Value = ToFloat(Value, Param);
        return;
    case TTypeKind::tkString:
    case TTypeKind::tkWString:
    case TTypeKind::tkUString:
        if (Value.Kind() != TVariantKind::vkString) Value = Value.AsString();
        return;
    case TTypeKind::tkLString:
        Value = TKXVariant::AnsiString(Value.AsAnsiString());
        return;
    case TTypeKind::tkInt64:
        Value = Value.AsInt64();
        return;
    case TTypeKind::tkVariant:
        return;
    default:
        FailCast(Value, Param);
    }
}

// Arguments from the last to the first; few of them stay on the C++ stack.
class TCallValues {
public:
    explicit TCallValues(TScriptArgs Args)
        : FCount(Args.size()) {
        if (FCount > FFew.size()) {
            FMany.assign(Args.rbegin(), Args.rend());
        } else {
            std::reverse_copy(Args.begin(), Args.end(), FFew.begin());
        }
    }
    [[nodiscard]] std::span<TKXVariant> View() {
        return FMany.empty() ? std::span(FFew).first(FCount) : std::span(FMany);
    }

private:
    std::size_t FCount;
    std::array<TKXVariant, 4> FFew;
    std::vector<TKXVariant> FMany;
};

} // namespace

// ---- members

TKXVariant ReadPublished(const TObject& Object, const TPropInfo& Property, std::u16string_view Name) {
    switch (Property.Kind) {
    case TTypeKind::tkInteger:
    case TTypeKind::tkEnumeration: {
        TKXVariant Value = Property.Get(Object);
        if (IsNamed(Property.TypeName, u"BOOLEAN")) return Value.AsBoolean();
        if (IsNamed(Property.TypeName, u"WORDBOOL")) {
            return TKXVariant::WordBool(static_cast<std::uint16_t>(Value.AsInt64()));
        }
        const bool Integer = Value.Kind() == TVariantKind::vkInteger || Value.Kind() == TVariantKind::vkInt64;
        return Integer ? std::move(Value) : TKXVariant(Value.AsInteger());
    }
    case TTypeKind::tkChar: {
        TKXVariant Value = Property.Get(Object);
        return TKXVariant::AnsiChar(Value.AsAnsiChar());
    }
    case TTypeKind::tkWChar:
        return Property.Get(Object).AsWideChar();
    case TTypeKind::tkFloat:
        if (IsNamed(Property.TypeName, u"TDATETIME")) return TDateTime{Property.Get(Object).AsFloat()};
        return Property.Get(Object).AsFloat();
    case TTypeKind::tkString:
    case TTypeKind::tkWString:
    case TTypeKind::tkUString: {
        TKXVariant Value = Property.Get(Object);
        return Value.Kind() == TVariantKind::vkString ? std::move(Value) : TKXVariant(Value.AsString());
    }
    case TTypeKind::tkClass:
        return PointerAsLVar(Property.Get(Object).AsObject());
    case TTypeKind::tkLString:
        return TKXVariant::AnsiString(Property.Get(Object).AsAnsiString());
    case TTypeKind::tkVariant:
        return Property.Get(Object);
    default:
        FailKind(Object, Property, Name);
    }
}

namespace {

// Whether the setter takes the value as it is: what scripts write most.
bool IsPlain(const TPropInfo& Property, const TKXVariant& Value) {
    if (Property.Kind == TTypeKind::tkUString) return Value.Kind() == TVariantKind::vkString;
    return Property.Kind == TTypeKind::tkInteger && Value.Kind() == TVariantKind::vkInteger &&
           !IsNamed(Property.TypeName, u"BOOLEAN") && !IsNamed(Property.TypeName, u"WORDBOOL");
}

// The value as the setter takes it.
TKXVariant ToProperty(const TObject& Object, const TPropInfo& Property, std::u16string_view Name,
                      const TKXVariant& Value) {
    switch (Property.Kind) {
    case TTypeKind::tkInteger:
    case TTypeKind::tkEnumeration:
        if (IsNamed(Property.TypeName, u"BOOLEAN") || IsNamed(Property.TypeName, u"WORDBOOL")) {
            return Value.AsBoolean();
        }
        return Value.AsInteger();
    case TTypeKind::tkChar:
        return TKXVariant::AnsiChar(Value.AsAnsiChar());
    case TTypeKind::tkWChar:
        return Value.AsWideChar();
    case TTypeKind::tkFloat:
        if (IsNamed(Property.TypeName, u"TDATETIME")) return Value.AsDateTime();
        return Value.AsFloat();
    case TTypeKind::tkString:
    case TTypeKind::tkWString:
    case TTypeKind::tkUString:
        return Value.AsString();
    case TTypeKind::tkClass: {
        TObject* const Given = Value.AsObject();
        const auto* const Wrapper = ObjectCast<TPublishedInterfaceObject>(Given);
        return PointerAsLVar(Wrapper != nullptr ? Wrapper->AObject.Get() : Given);
    }
    case TTypeKind::tkLString:
        return TKXVariant::AnsiString(Value.AsAnsiString());
    case TTypeKind::tkVariant:
        return Value;
    default:
        FailKind(Object, Property, Name);
    }
}

} // namespace

void WritePublished(TObject& Object, const TPropInfo& Property, std::u16string_view Name,
                    const TKXVariant& Value) {
    TKXVariant Converted;
    const bool Plain = IsPlain(Property, Value);
    try {
        if (!Plain) Converted = ToProperty(Object, Property, Name, Value);
    } catch (const EVariantError& Error) {
        throw AtPlace(Error, Format(u"property '%s' of class '%s'", {Name, Object.ClassName()}));
    }
    if (Property.Set == nullptr) {
        throw EIObjectError(Format(u"Property '%s' of class '%s' is read-only", {Name, Object.ClassName()}));
    }
    Property.Set(Object, Plain ? Value : Converted);
}

TKXVariant CallPublished(TObject& Object, const TMethodInfo& Method, std::u16string_view Name,
                         std::span<TKXVariant> Values) {
    const auto Params = Method.Params;
    if (Values.size() != Params.size()) {
        throw EIObjectError(
            Format(u"Invalid number of arguments for method '%s' of class '%s'", {Name, Object.ClassName()}));
    }
    for (std::size_t I = 0; I < Values.size(); ++I) {
        const TParamInfo& Param = Params[Params.size() - 1 - I];
        if (Param.ByReference) {
            // Kept on purpose: the number counts from the last parameter.
            throw EIObjectError(Format(
                u"Var parameters not supported. Class '%s', method '%s', parameter %d(zero based) '%s'",
                {Object.ClassName(), Name, I, Param.Name}));
        }
        try {
            ConvertArgument(Values[I], Param);
        } catch (const EVariantError& Error) {
            throw AtPlace(Error, Format(u"parameter '%s' of method '%s' of class '%s'",
                                        {Param.Name, Name, Object.ClassName()}));
        }
    }
    TKXVariant Result = Method.Invoke(Object, Values);
    if (Result.IsNull()) Result = PointerAsLVar(nullptr);
    return Result;
}

// ---- the wrapper

const TClassInfo& TPublishedInterfaceObject::StaticClass() {
    static constexpr TClassInfo Info{.Name = u"TPublishedInterfaceObject",
                                     .Parent = &TIObject::StaticClass,
                                     .Help = u"another object's published properties and methods"};
    return Info;
}
const TClassInfo& TPublishedInterfaceObject::ClassInfo() const {
    return StaticClass();
}

TObject* TPublishedInterfaceObject::Wrapped() const {
    if (AObject.IsGone()) {
        throw EIObjectError(FRttiType == nullptr
                                ? std::u16string(u"the object is gone")
                                : Format(u"the object is gone (%s)", {FRttiType->Class().Name}));
    }
    return AObject.Get();
}

TRttiType::TMembers TPublishedInterfaceObject::Find(const TObject& Object, std::u16string_view Name) const {
    const TClassInfo& Class = Object.ClassInfo();
    if (FRTTIContext == nullptr) FRTTIContext = &RttiContext();
    // Another object may have been wrapped since.
    if (FRttiType == nullptr || &FRttiType->Class() != &Class) FRttiType = &FRTTIContext->GetType(Class);
    TRttiType::TMembers Members = FRttiType->Find(Name);
    if (Members.Method != nullptr && Members.Method->Visibility != TVisibility::mvPublished) {
        Members.Method = nullptr;
    }
    return Members;
}

bool TPublishedInterfaceObject::GetPropertyInternal(std::u16string_view Name, TScriptArgs Args, int ArgCount,
                                                    TKXVariant& Result) {
    if (TIObject::GetPropertyInternal(Name, Args, ArgCount, Result)) return true;
    TObject* const Object = Wrapped();
    if (Object == nullptr) return false;
    const auto [Property, Method] = Find(*Object, Name);
    if (Property != nullptr) {
        CheckNoArgs(*Object, Name, Args.size());
        Result = ReadPublished(*Object, *Property, Name);
        return true;
    }
    if (Method == nullptr) return false;
    Result = CallPublished(*Object, *Method, Name, TCallValues(Args).View());
    return true;
}

bool TPublishedInterfaceObject::SetPropertyInternal(std::u16string_view Name, TScriptArgs Args,
                                                    int ArgCount) {
    if (TIObject::SetPropertyInternal(Name, Args, ArgCount)) return true;
    TObject* const Object = Wrapped();
    if (Object == nullptr || ReadOnly) return false;
    const TPropInfo* const Property = Find(*Object, Name).Property;
    if (Property == nullptr) return false;
    CheckNoArgs(*Object, Name, static_cast<std::size_t>(ArgCount));
    WritePublished(*Object, *Property, Name, Args.back());
    return true;
}

bool TPublishedInterfaceObject::IsCallable(std::u16string_view Name) const {
    const TObject* const Object = AObject.Get();
    if (Object == nullptr) return false;
    const auto [Property, Method] = Find(*Object, Name);
    return Property == nullptr && Method != nullptr;
}

} // namespace zutools
