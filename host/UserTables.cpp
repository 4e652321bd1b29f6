#include "host/UserTables.h"

#include "host/Format.h"
#include "host/Numbers.h"
#include "host/StringHelpers.h"

#include <cmath>

namespace zutools {

namespace {

/// Exact also where a float cannot hold the integer.
bool SameNumber(std::int64_t Whole, double Number) {
    constexpr double Limit = 9223372036854775808.0; // 2^63
    if (!(Number >= -Limit && Number < Limit) || std::trunc(Number) != Number) return false;
    return static_cast<std::int64_t>(Number) == Whole;
}

/// Of two numbers, each vkFloat or of a kind with an integer.
bool SameNumbers(const TKXVariant& Left, const TKXVariant& Right) {
    const bool LeftIsFloat = Left.Kind() == TVariantKind::vkFloat;
    const bool RightIsFloat = Right.Kind() == TVariantKind::vkFloat;
    if (LeftIsFloat && RightIsFloat) return Left.AsFloat() == Right.AsFloat();
    if (LeftIsFloat) return SameNumber(Right.AsInt64(), Left.AsFloat());
    if (RightIsFloat) return SameNumber(Left.AsInt64(), Right.AsFloat());
    return Left.AsInt64() == Right.AsInt64();
}

/// A number, or a text of one; null for anything else.
TKXVariant NumberOf(const TKXVariant& Value) {
    if (!Value.IsString()) return Value;
    const std::u16string Text = Value.AsString();
    if (const auto Whole = TryStrToInt64(Text)) return *Whole;
    if (const auto Number = TryStrToFloat(Text)) return *Number;
    return {};
}

std::optional<bool> BooleanOf(const TKXVariant& Value) {
    if (!Value.IsString()) {
        if (SameNumbers(Value, 1)) return true;
        if (SameNumbers(Value, 0)) return false;
        return std::nullopt;
    }
    const std::u16string Text = Value.AsString();
    if (SameText(Text, u"True") || Text == u"1") return true;
    if (SameText(Text, u"False") || Text == u"0") return false;
    return std::nullopt;
}

} // namespace

std::optional<bool> TUserTable::SameValue(std::u16string_view /*Name*/, const TKXVariant& Value,
                                          const TKXVariant& Other) const {
    switch (Value.Kind()) {
    case TVariantKind::vkInteger:
    case TVariantKind::vkInt64:
    case TVariantKind::vkFloat: {
        const TKXVariant Number = NumberOf(Other);
        if (Number.IsNull()) return std::nullopt;
        return SameNumbers(Value, Number);
    }
    case TVariantKind::vkBoolean:
    case TVariantKind::vkWordBool: {
        const auto Wanted = BooleanOf(Other);
        if (!Wanted) return std::nullopt;
        return Value.AsBoolean() == *Wanted;
    }
    case TVariantKind::vkDateTime:
        if (!Other.IsString()) return std::nullopt;
        try {
            return Value.AsString() == TKXVariant(Other.AsDateTime()).AsString();
        } catch (const EVariantError&) {
            return std::nullopt;
        }
    case TVariantKind::vkAnsiChar:
    case TVariantKind::vkWideChar:
    case TVariantKind::vkString:
    case TVariantKind::vkAnsiString:
        if (!Other.IsString()) return std::nullopt;
        return Value.AsString() == Other.AsString();
    case TVariantKind::vkNull:
    case TVariantKind::vkObject:
        break;
    }
    return std::nullopt;
}

const TClassInfo& TRecordInterface::StaticClass() {
    static constexpr TClassInfo Info{.Name = u"TRecordInterface",
                                     .Parent = &TIObject::StaticClass,
                                     .Help = u"A record of a table: its names are those of the fields."};
    return Info;
}

const TClassInfo& TRecordInterface::ClassInfo() const {
    return StaticClass();
}

bool TRecordInterface::GetPropertyInternal(std::u16string_view Name, TScriptArgs Args, int ArgCount,
                                           TKXVariant& Result) {
    if (TIObject::GetPropertyInternal(Name, Args, ArgCount, Result)) return true;
    if (!FTable.HasField(Name)) return false;
    if (ArgCount != 0)
        throw EIObjectError(Format(u"The field \"%s\" of %s takes no index", {Name, FTable.TableName()}));
    Result = FTable.Field(Name);
    return true;
}

bool TRecordInterface::SetPropertyInternal(std::u16string_view Name, TScriptArgs Args, int ArgCount) {
    if (TIObject::SetPropertyInternal(Name, Args, ArgCount)) return true;
    if (!FTable.HasField(Name)) return false;
    if (ArgCount != 0)
        throw EIObjectError(Format(u"The field \"%s\" of %s takes no index", {Name, FTable.TableName()}));
    FTable.SetField(Name, Args.back());
    return true;
}

} // namespace zutools
