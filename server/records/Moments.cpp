#include "server/records/Moments.h"

#include "host/Numbers.h"
#include "host/StringHelpers.h"
#include "host/Variant.h"
#include "server/records/Digits.h"

#include <chrono>

namespace zutools::server {

namespace {

constexpr std::size_t DateLength = 10; // YYYY-MM-DD

/// `YYYY-MM-DD HH:MM:SS[.ffffff]` of a moment that exists.
std::optional<std::u16string> MomentText(std::u16string_view Text) {
    std::u16string_view Base = Text;
    std::u16string Fraction;
    const std::size_t Colon = Text.rfind(u':');
    const std::size_t Point = Colon == Text.npos ? Text.npos : Text.find(u'.', Colon);
    if (Point != Text.npos) {
        const std::size_t Digits = DigitsAt(Text, Point + 1);
        if (Digits == 0 || Digits > 6 || Point + 1 + Digits != Text.size()) return std::nullopt;
        // A fraction stands behind seconds only.
        if (Point < 6 || Text[Point - 3] != u':' || Text[Point - 6] != u':') return std::nullopt;
        Fraction = Text.substr(Point);
        Fraction.erase(Fraction.find_last_not_of(u'0') + 1);
        if (Fraction == u".") Fraction.clear();
        Base = Text.substr(0, Point);
    }
    try {
        return TKXVariant(TKXVariant(Base).AsDateTime()).AsString() + Fraction;
    } catch (const EVariantError&) {
        return std::nullopt;
    }
}

/// Cuts "Z", "+03", "+03:00" or "-0330" off the end of a moment with a time.
std::u16string CutOffset(std::u16string_view& Text) {
    if (Text.ends_with(u'Z') || Text.ends_with(u'z')) {
        Text.remove_suffix(1);
        return u"+00";
    }
    const std::size_t Colon = Text.find(u':');
    const std::size_t Sign = Colon == Text.npos ? Text.npos : Text.find_first_of(u"+-", Colon);
    if (Sign == Text.npos) return u"+00";
    std::u16string Offset(Text.substr(Sign));
    const bool Form =
        DigitsAt(Offset, 1) == 2
            ? Offset.size() == 3 || (Offset.size() == 6 && Offset[3] == u':' && DigitsAt(Offset, 4) == 2)
            : Offset.size() == 5 && DigitsAt(Offset, 1) == 4;
    if (!Form) return {};
    Text = Text.substr(0, Sign);
    return Offset;
}

/// The digits at a place, as a number.
int NumberAt(std::u16string_view Text, std::size_t Pos, std::size_t Count) {
    return Pos < Text.size() ? StrToIntDef(Text.substr(Pos, Count), 0) : 0;
}

/// "+03", "+03:00", "-0330"
std::chrono::minutes OffsetOf(std::u16string_view Offset) {
    const std::size_t Minutes = Offset.size() > 3 && Offset[3] == u':' ? 4 : 3;
    const auto Size =
        std::chrono::hours(NumberAt(Offset, 1, 2)) + std::chrono::minutes(NumberAt(Offset, Minutes, 2));
    return Offset[0] == u'-' ? -Size : Size;
}

} // namespace

std::optional<std::u16string> FittingMoment(TFieldKind Kind, std::u16string_view Text) {
    if (Kind == TFieldKind::Time) {
        if (Text.find(u'-') == Text.npos && Text.find(u' ') == Text.npos && Text.find(u'T') == Text.npos) {
            const auto Moment = MomentText(u"2000-01-01 " + std::u16string(Text));
            return Moment ? std::optional(Moment->substr(DateLength + 1)) : std::nullopt;
        }
        const auto Moment = MomentText(Text);
        return Moment ? std::optional(Moment->substr(DateLength + 1)) : std::nullopt;
    }
    std::u16string Offset;
    if (Kind == TFieldKind::DateTimeZone) {
        Offset = CutOffset(Text);
        if (Offset.empty()) return std::nullopt;
    }
    auto Moment = MomentText(Text);
    if (!Moment || Kind != TFieldKind::Date) return Moment ? std::optional(*Moment + Offset) : std::nullopt;
    if (std::u16string_view(*Moment).substr(DateLength) != u" 00:00:00") return std::nullopt;
    return Moment->substr(0, DateLength);
}

std::optional<std::int64_t> MicrosecondsOf(TFieldKind Kind, std::u16string_view Text) {
    using namespace std::chrono;
    const auto Fitted = FittingMoment(Kind == TFieldKind::Date ? TFieldKind::DateTime : Kind, Trim(Text));
    if (!Fitted) return std::nullopt;
    const std::u16string Moment = (Kind == TFieldKind::Time ? u"1970-01-01 " : u"") + *Fitted;
    const year_month_day Day(year(NumberAt(Moment, 0, 4)),
                             month(static_cast<unsigned>(NumberAt(Moment, 5, 2))),
                             day(static_cast<unsigned>(NumberAt(Moment, 8, 2))));
    const std::size_t Seconds = DateLength + 7;
    microseconds Since = sys_days(Day).time_since_epoch() + hours(NumberAt(Moment, DateLength + 1, 2)) +
                         minutes(NumberAt(Moment, DateLength + 4, 2)) + seconds(NumberAt(Moment, Seconds, 2));
    std::u16string Fraction = Moment.substr(Seconds + 2);
    if (Fraction.starts_with(u'.')) {
        const std::size_t Digits = DigitsAt(Fraction, 1);
        std::u16string Millionths = Fraction.substr(1, Digits);
        Millionths.resize(6, u'0');
        Since += microseconds(StrToIntDef(Millionths, 0));
        Fraction.erase(0, 1 + Digits);
    }
    if (!Fraction.empty()) Since -= OffsetOf(Fraction);
    return Since.count();
}

} // namespace zutools::server
