#include "server/records/Decimals.h"

#include "host/Numbers.h"
#include "server/records/Digits.h"

#include <algorithm>

namespace zutools::server {

std::optional<TDecimal> ParseDecimal(std::u16string_view Text) {
    std::size_t Pos = !Text.empty() && (Text[0] == u'-' || Text[0] == u'+') ? 1 : 0;
    const std::size_t Whole = DigitsAt(Text, Pos);
    std::u16string Digits(Text.substr(Pos, Whole));
    Pos += Whole;
    if (Pos < Text.size() && Text[Pos] == u'.') {
        const std::size_t Fraction = DigitsAt(Text, Pos + 1);
        Digits += Text.substr(Pos + 1, Fraction);
        Pos += 1 + Fraction;
    }
    if (Digits.empty()) return std::nullopt;
    std::int64_t Exponent = 0;
    if (Pos < Text.size() && (Text[Pos] == u'e' || Text[Pos] == u'E')) {
        const bool Sign = Pos + 1 < Text.size() && (Text[Pos + 1] == u'-' || Text[Pos + 1] == u'+');
        const std::size_t First = Pos + (Sign ? 2 : 1);
        const std::size_t Count = DigitsAt(Text, First);
        if (Count == 0 || Count > 4) return std::nullopt;
        Exponent = StrToIntDef(Text.substr(First, Count), 0);
        if (Sign && Text[Pos + 1] == u'-') Exponent = -Exponent;
        Pos = First + Count;
    }
    if (Pos != Text.size()) return std::nullopt;
    const std::size_t Leading = std::min(Digits.find_first_not_of(u'0'), Digits.size());
    const std::size_t Last = Digits.find_last_not_of(u'0');
    TDecimal Result;
    if (Last == Digits.npos) return Result; // zero
    Result.Negative = Text[0] == u'-';
    Result.Point = static_cast<std::int64_t>(Whole) - static_cast<std::int64_t>(Leading) + Exponent;
    Result.Digits = Digits.substr(Leading, Last + 1 - Leading);
    return Result;
}

} // namespace zutools::server
