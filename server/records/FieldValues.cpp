#include "server/records/FieldValues.h"

#include "host/Format.h"
#include "host/Numbers.h"
#include "host/StringHelpers.h"
#include "host/UserTables.h"
#include "platform/Text.h"
#include "platform/TextTools.h"
#include "server/records/Decimals.h"
#include "server/records/Digits.h"
#include "server/records/Moments.h"
#include "server/sql/SqlText.h"

#include <algorithm>
#include <cmath>

namespace zutools::server {

namespace {

[[noreturn]] void Refuse(const TTableShape& Shape, const TColumn& Column, const TKXVariant& Value,
                         std::u16string_view Wanted) {
    throw EUserTableError(Format(u"The field %s.%s cannot take %s; wanted is %s",
                                 {Shape.Name, Column.Name, ShownValue(Value), Wanted}));
}

TKXVariant FitInteger(const TTableShape& Shape, const TColumn& Column, const TKXVariant& Value) {
    std::optional<std::int64_t> Number;
    try {
        Number = Value.AsInt64();
    } catch (const EVariantError&) {
        // Told below, with the range.
    }
    if (!Number || *Number < Column.Lowest || *Number > Column.Highest) {
        Refuse(Shape, Column, Value,
               Format(u"a whole number from %d to %d", {Column.Lowest, Column.Highest}));
    }
    return *Number;
}

TKXVariant FitFloat(const TTableShape& Shape, const TColumn& Column, const TKXVariant& Value) {
    try {
        if (const double Number = Value.AsFloat(); std::isfinite(Number)) return Number;
    } catch (const EVariantError&) {
        // Told below.
    }
    Refuse(Shape, Column, Value, u"a number");
}

TKXVariant FitDecimal(const TTableShape& Shape, const TColumn& Column, const TKXVariant& Value) {
    std::u16string Text;
    switch (Value.Kind()) {
    case TVariantKind::vkBoolean:
    case TVariantKind::vkWordBool:
        Text = IntToStr(Value.AsInt64());
        break;
    case TVariantKind::vkDateTime:
    case TVariantKind::vkObject:
        break;
    default:
        Text = Trim(Value.AsString());
    }
    const std::optional<TDecimal> Decimal = ParseDecimal(Text);
    if (!Decimal) Refuse(Shape, Column, Value, u"a decimal number with \".\" before its fraction");
    if (Column.Precision > 0 && Decimal->Point > Column.Precision - Column.Scale) {
        Refuse(Shape, Column, Value,
               Format(u"a decimal number of at most %d digits before the point",
                      {Column.Precision - Column.Scale}));
    }
    const TSqlWords& Words = Shape.Engine->Words();
    if (Words.DecimalDigits > 0 && Value.IsString() && std::ssize(Decimal->Digits) > Words.DecimalDigits) {
        Refuse(Shape, Column, Value,
               Format(u"a decimal number of at most %d digits, which %s keeps exactly",
                      {Words.DecimalDigits, Words.Name}));
    }
    if (Text[0] == u'+') Text.erase(0, 1);
    return Text;
}

std::size_t CharacterCount(std::u16string_view Text) {
    return static_cast<std::size_t>(
        std::count_if(Text.begin(), Text.end(), [](char16_t C) { return !platform::IsLowSurrogate(C); }));
}

TKXVariant FitText(const TTableShape& Shape, const TColumn& Column, const TKXVariant& Value) {
    if (Value.Kind() == TVariantKind::vkObject) Refuse(Shape, Column, Value, u"text");
    std::u16string Text = Value.AsString();
    if (const auto Fault = Shape.Engine->FindTextFault(Text)) {
        Refuse(Shape, Column, Value,
               Format(u"text without %s (at character %d)", {Fault->Reason, Fault->Offset + 1}));
    }
    if (Column.Length > 0 && CharacterCount(Text) > static_cast<std::size_t>(Column.Length)) {
        Refuse(Shape, Column, Value,
               Format(u"text of at most %d characters, not %d", {Column.Length, CharacterCount(Text)}));
    }
    return Text;
}

TKXVariant FitBoolean(const TTableShape& Shape, const TColumn& Column, const TKXVariant& Value) {
    try {
        return Value.AsBoolean();
    } catch (const EVariantError&) {
        Refuse(Shape, Column, Value, u"true or false");
    }
}

TKXVariant FitMoment(const TTableShape& Shape, const TColumn& Column, const TKXVariant& Value) {
    std::optional<std::u16string> Moment;
    if (Value.IsString() || Value.Kind() == TVariantKind::vkDateTime) {
        Moment = FittingMoment(Column.Kind, Trim(Value.AsString()));
    }
    if (Moment) return std::move(*Moment);
    switch (Column.Kind) {
    case TFieldKind::Date:
        Refuse(Shape, Column, Value, u"a date as YYYY-MM-DD");
    case TFieldKind::Time:
        Refuse(Shape, Column, Value, u"a time as HH:MM:SS");
    default:
        Refuse(Shape, Column, Value, u"a date and time as YYYY-MM-DD HH:MM:SS");
    }
}

/// In lower case and without braces.
std::optional<std::u16string> UuidText(const TKXVariant& Value) {
    constexpr std::u16string_view Form = u"00000000-0000-0000-0000-000000000000";
    std::u16string Text;
    if (Value.IsString()) Text = FoldSqlName(Trim(Value.AsString()));
    if (Text.size() == Form.size() + 2 && Text.front() == u'{' && Text.back() == u'}') {
        Text = Text.substr(1, Form.size());
    }
    const bool Fits =
        std::equal(Text.begin(), Text.end(), Form.begin(), Form.end(), [](char16_t C, char16_t F) {
            return F == u'-' ? C == u'-' : IsDigit(C) || (C >= u'a' && C <= u'f');
        });
    return Fits ? std::optional(std::move(Text)) : std::nullopt;
}

TKXVariant FitUuid(const TTableShape& Shape, const TColumn& Column, const TKXVariant& Value) {
    if (auto Text = UuidText(Value)) return std::move(*Text);
    Refuse(Shape, Column, Value, u"an identifier as 123e4567-e89b-12d3-a456-426614174000");
}

/// Whole where the database makes it so.
TKXVariant NumberOf(const TDecimal& Decimal, std::u16string_view Text) {
    constexpr std::int64_t MostDigits = 18; // of an integer for sure
    const bool Whole = static_cast<std::int64_t>(Decimal.Digits.size()) <= Decimal.Point;
    if (!Whole || Decimal.Point > MostDigits) return TryStrToFloat(Text).value_or(0);
    std::u16string Digits = Decimal.Digits;
    Digits.resize(static_cast<std::size_t>(Decimal.Point), u'0');
    const std::int64_t Number = TryStrToInt64(Digits).value_or(0);
    return Decimal.Negative ? -Number : Number;
}

TKXVariant FitOther(const TTableShape& Shape, const TColumn& Column, const TKXVariant& Value) {
    if (Shape.Engine->Words().AnyKindInAnyColumn) {
        switch (Value.Kind()) {
        case TVariantKind::vkInteger:
        case TVariantKind::vkInt64:
        case TVariantKind::vkBoolean:
        case TVariantKind::vkWordBool:
            return Value.AsInt64();
        case TVariantKind::vkFloat:
            return FitFloat(Shape, Column, Value);
        default:
            break;
        }
        // Under any type that it does not know the database keeps text of a number as the number.
        if (!Column.TypeText.empty() && Value.IsString()) {
            const std::u16string Text(Trim(Value.AsString()));
            if (const auto Decimal = ParseDecimal(Text)) return NumberOf(*Decimal, Text);
        }
    }
    return FitText(Shape, Column, Value);
}

bool EmptyMeansNull(const TColumn& Column) {
    if (Column.Kind == TFieldKind::Text || Column.Kind == TFieldKind::Other) return false;
    return !Column.NotNull || Column.HasDefault;
}

/// 'it''s' with perhaps a cast behind it.
std::optional<std::u16string> QuotedLiteral(std::u16string_view Text) {
    std::u16string Value;
    std::size_t Pos = 1;
    for (;; ++Pos) {
        if (Pos >= Text.size()) return std::nullopt;
        if (Text[Pos] == u'\'') {
            if (Pos + 1 >= Text.size() || Text[Pos + 1] != u'\'') break;
            ++Pos;
        }
        Value += Text[Pos];
    }
    const std::u16string_view Rest = Text.substr(Pos + 1);
    if (Rest.empty()) return Value;
    if (!Rest.starts_with(u"::")) return std::nullopt;
    const bool Name = std::all_of(Rest.begin() + 2, Rest.end(), [](char16_t C) {
        return (C >= u'a' && C <= u'z') || IsDigit(C) || C == u' ' || C == u'(' || C == u')' || C == u',' ||
               C == u'_';
    });
    return Name ? std::optional(Value) : std::nullopt;
}

} // namespace

std::u16string ShownValue(const TKXVariant& Value) {
    constexpr std::size_t Longest = 80;
    if (Value.IsNull()) return u"null";
    if (Value.Kind() == TVariantKind::vkObject) return u"an object";
    return u"\"" + platform::Masked(platform::Shortened(Value.AsString(), Longest), u' ') + u"\"";
}

TKXVariant FieldOfCell(const TColumn& Column, const TCell& Cell) {
    if (Cell.Binary || Cell.Value.IsNull()) return {};
    const TKXVariant& Value = Cell.Value;
    switch (Column.Kind) {
    case TFieldKind::Integer:
        if (Value.IsString()) {
            if (const auto Number = TryStrToInt64(Value.StringView())) return *Number;
        }
        return Value;
    case TFieldKind::Float:
        if (Value.Kind() == TVariantKind::vkInt64) return Value.AsFloat();
        if (Value.IsString()) {
            if (const auto Number = TryStrToFloat(Value.StringView())) return *Number;
        }
        return Value;
    case TFieldKind::Boolean:
        if (Value.Kind() == TVariantKind::vkInt64) return Value.AsBoolean();
        if (Value.StringView() == u"true") return true;
        if (Value.StringView() == u"false") return false;
        return Value;
    case TFieldKind::Decimal:
    case TFieldKind::Text:
        return Value.AsString();
    default:
        return Value;
    }
}

TKXVariant FitField(const TTableShape& Shape, std::size_t Index, const TKXVariant& Value) {
    const TColumn& Column = Shape.Columns[Index];
    if (Column.Computed) {
        throw EUserTableError(Format(u"The field %s.%s is computed by the database and cannot be set",
                                     {Shape.Name, Column.Name}));
    }
    if (Column.Kind == TFieldKind::Blob) {
        throw EUserTableError(
            Format(u"The field %s.%s is binary; records do not read or write it", {Shape.Name, Column.Name}));
    }
    if (Value.IsNull()) return {};
    if (Value.IsString() && EmptyMeansNull(Column) && Trim(Value.AsString()).empty()) return {};
    switch (Column.Kind) {
    case TFieldKind::Integer:
        return FitInteger(Shape, Column, Value);
    case TFieldKind::Float:
        return FitFloat(Shape, Column, Value);
    case TFieldKind::Decimal:
        return FitDecimal(Shape, Column, Value);
    case TFieldKind::Text:
        return FitText(Shape, Column, Value);
    case TFieldKind::Boolean:
        return FitBoolean(Shape, Column, Value);
    case TFieldKind::Uuid:
        return FitUuid(Shape, Column, Value);
    case TFieldKind::Date:
    case TFieldKind::Time:
    case TFieldKind::DateTime:
    case TFieldKind::DateTimeZone:
        return FitMoment(Shape, Column, Value);
    default:
        return FitOther(Shape, Column, Value);
    }
}

std::optional<TSameness> SameInColumn(const TColumn& Column, const TKXVariant& Value,
                                      const TKXVariant& Other) {
    if (!Value.IsString()) return std::nullopt; // its kind says how
    const auto Compared = [&](const auto& Left, const auto& Right) -> std::optional<TSameness> {
        if (!Left) return std::nullopt;
        if (!Right) return TSameness::Unlike;
        return *Left == *Right ? TSameness::Same : TSameness::Different;
    };
    const std::u16string Text = Value.AsString();
    switch (Column.Kind) {
    case TFieldKind::Decimal:
        return Compared(ParseDecimal(Trim(Text)), ParseDecimal(Trim(Other.AsString())));
    case TFieldKind::Date:
    case TFieldKind::Time:
    case TFieldKind::DateTime:
    case TFieldKind::DateTimeZone:
        if (!Other.IsString()) return std::nullopt;
        return Compared(MicrosecondsOf(Column.Kind, Text), MicrosecondsOf(Column.Kind, Other.AsString()));
    case TFieldKind::Uuid:
        return Compared(UuidText(Value), UuidText(Other));
    case TFieldKind::Text: {
        if (!Column.Padded || !Other.IsString()) return std::nullopt;
        const auto Unpadded = [](std::u16string_view Padded) {
            return std::optional(Padded.substr(0, Padded.find_last_not_of(u' ') + 1));
        };
        const std::u16string OtherText = Other.AsString();
        return Compared(Unpadded(Text), Unpadded(OtherText));
    }
    default:
        return std::nullopt;
    }
}

void BindValue(TQuery& Query, std::u16string_view Param, const TKXVariant& Value) {
    switch (Value.Kind()) {
    case TVariantKind::vkNull:
        return Query.SetNull(Param);
    case TVariantKind::vkInt64:
        return Query.SetInteger(Param, Value.AsInt64());
    case TVariantKind::vkFloat:
        return Query.SetFloat(Param, Value.AsFloat());
    case TVariantKind::vkBoolean:
        return Query.SetInteger(Param, Value.AsInt64()); // PostgreSQL reads '0' and '1' as booleans
    default:
        return Query.SetLongText(Param, Value.StringView());
    }
}

std::u16string KeyText(const TColumn& Column, const TCell& Cell) {
    const TKXVariant Value = FieldOfCell(Column, Cell);
    if (Value.Kind() == TVariantKind::vkBoolean) return Value.AsBoolean() ? u"true" : u"false";
    return Value.AsString();
}

std::optional<TKXVariant> DefaultOf(const TTableShape& Shape, std::size_t Index) {
    const TColumn& Column = Shape.Columns[Index];
    if (Column.Default.empty() || Column.Computed || Column.Kind == TFieldKind::Blob) return std::nullopt;
    const std::u16string_view Text = Trim(Column.Default);
    TKXVariant Value;
    if (Text.starts_with(u'\'')) {
        auto Literal = QuotedLiteral(Text);
        if (!Literal) return std::nullopt;
        Value = TKXVariant(std::move(*Literal));
    } else if (SameSqlName(Text, u"true") || SameSqlName(Text, u"false")) {
        Value = TKXVariant(SameSqlName(Text, u"true"));
    } else if (const auto Whole = TryStrToInt64(Text); Whole && !Text.starts_with(u'$')) {
        Value = TKXVariant(*Whole);
    } else if (ParseDecimal(Text)) {
        Value = TKXVariant(Text);
    } else {
        return std::nullopt;
    }
    try {
        return FitField(Shape, Index, Value);
    } catch (const EUserTableError&) {
        return std::nullopt; // the database will say what it thinks of it
    }
}

} // namespace zutools::server
