#include "host/Format.h"

#include "host/Exception.h"
#include "host/Numbers.h"
#include "platform/TextTools.h"

#include <charconv>
#include <optional>

namespace zutools {

namespace {

// Wider than any message; a larger number is a slip in the pattern that would only cost memory.
constexpr std::size_t MaxSize = 0xFFFF;

struct TPlaceholder {
    std::optional<std::size_t> Index;
    bool LeftAligned = false;
    std::size_t Width = 0;
    std::optional<std::size_t> Precision;
    char16_t Type = 0;
};

class TFormatter {
public:
    TFormatter(std::u16string_view Pattern, std::span<const TFormatArg> Args)
        : FPattern(Pattern)
        , FArgs(Args) {}

    std::u16string Run() {
        for (;;) {
            const std::size_t Mark = FPattern.find(u'%', FAt);
            FResult.append(FPattern.substr(FAt, Mark == FPattern.npos ? Mark : Mark - FAt));
            if (Mark == FPattern.npos) return std::move(FResult);
            FAt = Mark + 1;
            if (Peek() == u'%') {
                FResult.push_back(u'%');
                ++FAt;
                continue;
            }
            Put(ReadPlaceholder());
        }
    }

private:
    [[noreturn]] void Fail() const {
        throw EFormatError(u"Format \"" + std::u16string(FPattern) +
                           u"\" invalid or incompatible with argument");
    }

    [[nodiscard]] char16_t Peek() const { return FAt < FPattern.size() ? FPattern[FAt] : u'\0'; }

    bool Take(char16_t Character) {
        if (Peek() != Character) return false;
        ++FAt;
        return true;
    }

    std::optional<std::size_t> ReadNumber() {
        std::optional<std::size_t> Number;
        for (; platform::IsAsciiDigit(Peek()); ++FAt) {
            Number = Number.value_or(0) * 10 + static_cast<std::size_t>(Peek() - u'0');
            if (*Number > MaxSize) Fail();
        }
        return Number;
    }

    TPlaceholder ReadPlaceholder() {
        TPlaceholder Result;
        auto Number = ReadNumber();
        if (Number && Take(u':')) {
            Result.Index = Number;
            Number.reset();
        }
        if (!Number) {
            Result.LeftAligned = Take(u'-');
            Number = ReadNumber();
        }
        Result.Width = Number.value_or(0);
        if (Take(u'.')) {
            Result.Precision = ReadNumber();
            if (!Result.Precision) Fail();
        }
        Result.Type = platform::LowerAscii(Peek());
        ++FAt;
        return Result;
    }

    void Put(const TPlaceholder& Placeholder) {
        if (Placeholder.Index) FNext = *Placeholder.Index;
        if (FNext >= FArgs.size()) Fail();
        const auto& Value = FArgs[FNext++].Value();
        switch (Placeholder.Type) {
        case u's':
            return PutText(Placeholder, Value);
        case u'd':
            return PutInteger(Placeholder, Value);
        case u'u':
            return PutUnsigned(Placeholder, Value, 10);
        case u'x':
            return PutUnsigned(Placeholder, Value, 16);
        case u'g':
            return PutFloat(Placeholder, Value);
        default:
            Fail();
        }
    }

    using TValue = std::variant<std::u16string_view, std::int64_t, double>;

    void PutText(const TPlaceholder& Placeholder, const TValue& Value) {
        const auto* Text = std::get_if<std::u16string_view>(&Value);
        if (Text == nullptr) Fail();
        std::u16string_view Shown = *Text;
        // Half of a character would make the whole message malformed.
        if (Placeholder.Precision) Shown = platform::WholeStart(Shown, *Placeholder.Precision);
        Pad(Placeholder, Shown);
    }

    void PutInteger(const TPlaceholder& Placeholder, const TValue& Value) {
        const std::int64_t Number = Integer(Value);
        // Negated as unsigned, which the least integer survives.
        const auto Bits = static_cast<std::uint64_t>(Number);
        PutDigits(Placeholder, Number < 0 ? 0 - Bits : Bits, 10, Number < 0);
    }

    void PutUnsigned(const TPlaceholder& Placeholder, const TValue& Value, int Base) {
        PutDigits(Placeholder, static_cast<std::uint64_t>(Integer(Value)), Base, false);
    }

    void PutDigits(const TPlaceholder& Placeholder, std::uint64_t Number, int Base, bool Negative) {
        char Buffer[24];
        const char* const End = std::to_chars(Buffer, Buffer + sizeof Buffer, Number, Base).ptr;
        const auto Count = static_cast<std::size_t>(End - Buffer);
        std::u16string Text(Negative ? 1 : 0, u'-');
        if (Placeholder.Precision && *Placeholder.Precision > Count)
            Text.append(*Placeholder.Precision - Count, u'0');
        for (const char* Digit = Buffer; Digit != End; ++Digit) {
            Text.push_back(static_cast<char16_t>(platform::UpperAscii(*Digit)));
        }
        Pad(Placeholder, Text);
    }

    void PutFloat(const TPlaceholder& Placeholder, const TValue& Value) {
        const auto* Float = std::get_if<double>(&Value);
        const double Number = Float != nullptr ? *Float : static_cast<double>(Integer(Value));
        Pad(Placeholder, Placeholder.Precision ? FloatToStr(Number, static_cast<int>(*Placeholder.Precision))
                                               : FloatToStr(Number));
    }

    [[nodiscard]] std::int64_t Integer(const TValue& Value) const {
        const auto* Number = std::get_if<std::int64_t>(&Value);
        if (Number == nullptr) Fail();
        return *Number;
    }

    void Pad(const TPlaceholder& Placeholder, std::u16string_view Text) {
        const std::size_t Blanks = Placeholder.Width > Text.size() ? Placeholder.Width - Text.size() : 0;
        if (!Placeholder.LeftAligned) FResult.append(Blanks, u' ');
        FResult.append(Text);
        if (Placeholder.LeftAligned) FResult.append(Blanks, u' ');
    }

    std::u16string_view FPattern;
    std::span<const TFormatArg> FArgs;
    std::size_t FAt = 0;   // in the pattern
    std::size_t FNext = 0; // argument
    std::u16string FResult;
};

} // namespace

std::u16string Format(std::u16string_view Pattern, std::span<const TFormatArg> Args) {
    return TFormatter(Pattern, Args).Run();
}

std::u16string Format(std::u16string_view Pattern, std::initializer_list<TFormatArg> Args) {
    return Format(Pattern, std::span<const TFormatArg>(Args.begin(), Args.size()));
}

} // namespace zutools
