#include "platform/HtmlValues.h"

#include "platform/TextTools.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>

namespace zutools::platform {

namespace {

constexpr std::u16string_view InputTypes[] = {
    u"text",  u"hidden", u"checkbox", u"radio", u"password", u"search", u"email", u"tel",
    u"url",   u"number", u"range",    u"date",  u"month",    u"week",   u"time",  u"datetime-local",
    u"color", u"file",   u"submit",   u"image", u"reset",    u"button"};

std::u16string WithoutLineBreaks(std::u16string Text) {
    std::erase_if(Text, [](char16_t C) { return C == u'\n' || C == u'\r'; });
    return Text;
}

// ---- numbers

// "-12.5e3": digits on at least one side, digits behind a point, no plus in front.
std::optional<double> ParseNumber(std::u16string_view Text) {
    std::string Bytes;
    for (const char16_t C : Text) {
        if (C > 0x7F) return std::nullopt;
        Bytes.push_back(static_cast<char>(C));
    }
    std::size_t Place = 0;
    const auto Digits = [&] {
        const std::size_t Begin = Place;
        while (Place < Bytes.size() && IsAsciiDigit(Bytes[Place])) ++Place;
        return Place - Begin;
    };
    if (Place < Bytes.size() && Bytes[Place] == '-') ++Place;
    const std::size_t Whole = Digits();
    if (Place < Bytes.size() && Bytes[Place] == '.') {
        ++Place;
        if (Digits() == 0) return std::nullopt;
    } else if (Whole == 0) {
        return std::nullopt;
    }
    if (Place < Bytes.size() && (Bytes[Place] == 'e' || Bytes[Place] == 'E')) {
        ++Place;
        if (Place < Bytes.size() && (Bytes[Place] == '+' || Bytes[Place] == '-')) ++Place;
        if (Digits() == 0) return std::nullopt;
    }
    if (Place != Bytes.size()) return std::nullopt;
    double Value = 0;
    const auto Read = std::from_chars(Bytes.data(), Bytes.data() + Bytes.size(), Value);
    if (Read.ec != std::errc() || !std::isfinite(Value)) return std::nullopt;
    return Value;
}

std::optional<double> ParseNumber(const std::optional<std::u16string>& Text) {
    return Text ? ParseNumber(std::u16string_view(*Text)) : std::nullopt;
}

std::u16string NumberText(double Value) {
    std::array<char, 32> Buffer{};
    const auto Written =
        std::to_chars(Buffer.data(), Buffer.data() + Buffer.size(), Value == 0 ? 0.0 : Value);
    return {Buffer.data(), Written.ptr};
}

// Onto the scale: between its ends, on the nearest step, the higher one of two.
std::u16string RangeValue(const std::optional<std::u16string>& Value, const THtmlInputLimits& Limits) {
    const double Min = ParseNumber(Limits.Min).value_or(0.0);
    const double Max = std::max(Min, ParseNumber(Limits.Max).value_or(100.0));
    const std::optional<double> Given = ParseNumber(Value);
    double Result = std::clamp(Given.value_or(Min + (Max - Min) / 2), Min, Max);
    if (Limits.Step && EqualAsciiNoCase(*Limits.Step, u"any")) return NumberText(Result);
    double Step = ParseNumber(Limits.Step).value_or(1.0);
    if (Step <= 0) Step = 1;
    const double Base = ParseNumber(Limits.Min) ? Min : Given.value_or(0.0);
    Result = Base + std::floor((Result - Base) / Step + 0.5) * Step;
    if (Result > Max) Result -= Step;
    if (Result < Min) Result += Step;
    return NumberText(Result);
}

// ---- dates and times

// A cursor over a text of digits and signs.
struct TReader {
    std::u16string_view Rest;

    // A number of at least `Least` digits, and at most `Most`.
    [[nodiscard]] std::optional<int> Number(std::size_t Least, std::size_t Most) {
        std::size_t Count = 0;
        int Value = 0;
        while (Count < Rest.size() && Count < Most && IsAsciiDigit(Rest[Count]))
            Value = Value * 10 + (Rest[Count++] - u'0');
        if (Count < Least) return std::nullopt;
        Rest.remove_prefix(Count);
        return Value;
    }
    [[nodiscard]] bool Take(char16_t Sign) {
        if (Rest.empty() || Rest.front() != Sign) return false;
        Rest.remove_prefix(1);
        return true;
    }
};

constexpr int LastYear = 275'760; // that a moment of a browser can have

bool IsLeap(int Year) {
    return (Year % 4 == 0 && Year % 100 != 0) || Year % 400 == 0;
}

int DaysOf(int Year, int Month) {
    constexpr int Days[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
    return Month == 2 && IsLeap(Year) ? 29 : Days[Month - 1];
}

std::optional<int> TakeYear(TReader& Text) {
    const auto Year = Text.Number(4, 6);
    return Year && *Year >= 1 && *Year <= LastYear ? Year : std::nullopt;
}

struct TMonth {
    int Year, Month;
};

std::optional<TMonth> TakeMonth(TReader& Text) {
    const auto Year = TakeYear(Text);
    if (!Year || !Text.Take(u'-')) return std::nullopt;
    const auto Month = Text.Number(2, 2);
    if (!Month || *Month < 1 || *Month > 12 || (*Year == LastYear && *Month > 9)) return std::nullopt;
    return TMonth{*Year, *Month};
}

bool TakeDate(TReader& Text) {
    const auto Month = TakeMonth(Text);
    if (!Month || !Text.Take(u'-')) return false;
    const auto Day = Text.Number(2, 2);
    if (!Day || *Day < 1 || *Day > DaysOf(Month->Year, Month->Month)) return false;
    return Month->Year < LastYear || Month->Month < 9 || *Day <= 13;
}

// Monday is 1; of the first of January.
int WeekdayOfNewYear(int Year) {
    const int Before = Year - 1;
    return (Before * 365 + Before / 4 - Before / 100 + Before / 400) % 7 + 1;
}

bool TakeWeek(TReader& Text) {
    const auto Year = TakeYear(Text);
    if (!Year || !Text.Take(u'-') || !Text.Take(u'W')) return false;
    const auto Week = Text.Number(2, 2);
    const int NewYear = WeekdayOfNewYear(*Year);
    const bool IsLong = NewYear == 4 || (NewYear == 3 && IsLeap(*Year));
    return Week && *Week >= 1 && *Week <= (IsLong ? 53 : 52) && (*Year < LastYear || *Week <= 37);
}

// A time of day; as short as it can be written when `Shortest` is given.
bool TakeTime(TReader& Text, std::u16string* Shortest = nullptr) {
    const std::u16string_view Whole = Text.Rest;
    const auto Hour = Text.Number(2, 2);
    if (!Hour || *Hour > 23 || !Text.Take(u':')) return false;
    const auto Minute = Text.Number(2, 2);
    if (!Minute || *Minute > 59) return false;
    std::u16string Short(Whole.substr(0, 5));
    if (Text.Take(u':')) {
        const std::u16string_view FromSeconds = Text.Rest;
        const auto Second = Text.Number(2, 2);
        if (!Second || *Second > 59) return false;
        int Thousandths = 0;
        if (Text.Take(u'.')) {
            const std::u16string_view Digits = Text.Rest;
            const auto Fraction = Text.Number(1, 3);
            if (!Fraction) return false;
            Thousandths = *Fraction;
            for (std::size_t I = Digits.size() - Text.Rest.size(); I < 3; ++I) Thousandths *= 10;
        }
        if (*Second != 0 || Thousandths != 0) Short.append(u":").append(FromSeconds.substr(0, 2));
        if (Thousandths != 0) {
            Short += u'.';
            for (const int Place : {100, 10, 1})
                Short += static_cast<char16_t>(u'0' + Thousandths / Place % 10);
            while (Short.back() == u'0') Short.pop_back();
        }
    }
    if (Shortest != nullptr) *Shortest = std::move(Short);
    return true;
}

std::u16string LocalMoment(std::u16string_view Value) {
    TReader Text{Value};
    if (!TakeDate(Text)) return {};
    const std::u16string_view Date = Value.substr(0, Value.size() - Text.Rest.size());
    std::u16string Time;
    if ((!Text.Take(u'T') && !Text.Take(u' ')) || !TakeTime(Text, &Time) || !Text.Rest.empty()) return {};
    return std::u16string(Date) + u"T" + Time;
}

template <class TTake>
std::u16string OnlyIf(std::u16string Value, TTake Take) {
    TReader Text{Value};
    if (!Take(Text) || !Text.Rest.empty()) return {};
    return Value;
}

// "#rgb", "#rrggbb", both also with an opacity, which is dropped.
std::u16string ColourValue(const std::u16string& Value) {
    constexpr std::u16string_view Black = u"#000000";
    const std::u16string_view Text = TrimHtmlBlanks(Value);
    if (!Text.starts_with(u'#') ||
        !std::all_of(Text.begin() + 1, Text.end(), [](char16_t C) { return HexValue(C) >= 0; }))
        return std::u16string(Black);
    std::u16string Colour = LowerAsciiText(std::u16string(Text.substr(0, Black.size())));
    if (Text.size() == 7 || Text.size() == 9) return Colour;
    if (Text.size() != 4 && Text.size() != 5) return std::u16string(Black);
    return {u'#', Colour[1], Colour[1], Colour[2], Colour[2], Colour[3], Colour[3]};
}

std::u16string MailValue(const std::u16string& Value, bool Multiple) {
    const std::u16string Text = WithoutLineBreaks(Value);
    if (!Multiple) return std::u16string(TrimHtmlBlanks(Text));
    std::u16string Result;
    std::u16string_view Rest = Text;
    for (bool First = true;; First = false) {
        const std::size_t Comma = Rest.find(u',');
        if (!First) Result += u',';
        Result += TrimHtmlBlanks(Rest.substr(0, Comma));
        if (Comma == Rest.npos) return Result;
        Rest.remove_prefix(Comma + 1);
    }
}

} // namespace

std::u16string_view HtmlInputType(std::u16string_view Attribute) {
    const auto* const Known = std::find_if(std::begin(InputTypes), std::end(InputTypes),
                                           [&](auto Type) { return EqualAsciiNoCase(Type, Attribute); });
    return Known != std::end(InputTypes) ? *Known : InputTypes[0];
}

std::u16string HtmlInputValue(std::u16string_view Type, std::optional<std::u16string> Value,
                              const THtmlInputLimits& Limits) {
    if (Type == u"checkbox" || Type == u"radio") return Value ? std::move(*Value) : u"on";
    if (Type == u"range") return RangeValue(Value, Limits);
    if (Type == u"file") return {}; // what a page says is not what a person chose
    std::u16string Text = Value ? std::move(*Value) : std::u16string();
    if (Type == u"text" || Type == u"search" || Type == u"tel" || Type == u"password")
        return WithoutLineBreaks(std::move(Text));
    if (Type == u"url") return std::u16string(TrimHtmlBlanks(WithoutLineBreaks(std::move(Text))));
    if (Type == u"email") return MailValue(Text, Limits.Multiple);
    if (Type == u"number") return ParseNumber(std::u16string_view(Text)) ? Text : std::u16string();
    if (Type == u"color") return ColourValue(Text);
    if (Type == u"date") return OnlyIf(std::move(Text), TakeDate);
    if (Type == u"month")
        return OnlyIf(std::move(Text), [](TReader& From) { return TakeMonth(From).has_value(); });
    if (Type == u"week") return OnlyIf(std::move(Text), TakeWeek);
    if (Type == u"time") return OnlyIf(std::move(Text), [](TReader& From) { return TakeTime(From); });
    if (Type == u"datetime-local") return LocalMoment(Text);
    return Text;
}

std::u16string_view TrimHtmlBlanks(std::u16string_view Text) {
    while (!Text.empty() && IsHtmlBlank(Text.front())) Text.remove_prefix(1);
    while (!Text.empty() && IsHtmlBlank(Text.back())) Text.remove_suffix(1);
    return Text;
}

std::u16string CollapseHtmlBlanks(std::u16string_view Text) {
    std::u16string Result;
    for (const char16_t C : TrimHtmlBlanks(Text)) {
        if (!IsHtmlBlank(C)) {
            Result += C;
        } else if (Result.back() != u' ') {
            Result += u' ';
        }
    }
    return Result;
}

std::u16string WithLineEnds(std::u16string_view Text, std::u16string_view End) {
    std::u16string Result;
    Result.reserve(Text.size());
    for (std::size_t I = 0; I < Text.size(); ++I) {
        if (Text[I] != u'\r' && Text[I] != u'\n') {
            Result += Text[I];
            continue;
        }
        if (Text[I] == u'\r' && I + 1 < Text.size() && Text[I + 1] == u'\n') ++I;
        Result += End;
    }
    return Result;
}

std::optional<int> HtmlNumber(std::u16string_view Text) {
    while (!Text.empty() && IsHtmlBlank(Text.front())) Text.remove_prefix(1);
    if (!Text.empty() && Text.front() == u'+') Text.remove_prefix(1);
    std::optional<int> Value;
    constexpr int Largest = 100'000'000;
    for (const char16_t C : Text) {
        if (!IsAsciiDigit(C)) break;
        Value = std::min(Value.value_or(0) * 10 + (C - u'0'), Largest);
    }
    return Value;
}

} // namespace zutools::platform
