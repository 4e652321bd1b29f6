#include "recordlock/BlockID.h"

#include "platform/Random.h"
#include "platform/TextTools.h"

#include <iterator>
#include <span>

namespace zutools {

namespace {

constexpr std::size_t Digits = 32;

void PutNumber(std::uint64_t Number, char16_t* At) {
    for (int Shift = 60; Shift >= 0; Shift -= 4)
        *At++ = static_cast<char16_t>(platform::CapitalHexDigits[(Number >> Shift) & 0xF]);
}

std::optional<std::uint64_t> ReadNumber(std::u16string_view Text) {
    std::uint64_t Number = 0;
    for (const char16_t Character : Text) {
        const int Digit = platform::HexValue(Character);
        if (Digit < 0) return std::nullopt;
        Number = Number << 4 | static_cast<unsigned>(Digit);
    }
    return Number;
}

} // namespace

std::u16string TBlockID::Text() const {
    std::u16string Result(Digits, u'0');
    PutNumber(High, Result.data());
    PutNumber(Low, Result.data() + Digits / 2);
    return Result;
}

std::optional<TBlockID> TBlockID::Parse(std::u16string_view Text) {
    if (Text.size() != Digits) return std::nullopt;
    const auto First = ReadNumber(Text.substr(0, Digits / 2));
    const auto Second = ReadNumber(Text.substr(Digits / 2));
    if (!First || !Second) return std::nullopt;
    return TBlockID{*First, *Second};
}

TBlockID NewBlockID(std::chrono::system_clock::time_point Now) {
    // Plain data, as MinGW wants it.
    struct TRandom {
        std::uint64_t Low[128];
        std::uint16_t High[128];
    };
    static thread_local TRandom Ready;
    static thread_local std::size_t Left = 0;
    if (Left == 0) {
        platform::FillRandom(std::as_writable_bytes(std::span(&Ready, 1)));
        Left = std::size(Ready.Low);
    }
    --Left;
    TBlockID ID{Ready.High[Left], Ready.Low[Left]};
    const auto Moment = std::chrono::duration_cast<std::chrono::milliseconds>(Now.time_since_epoch()).count();
    ID.High = static_cast<std::uint64_t>(Moment) << 16 | (ID.High & 0xFFF) | 0x7000; // version 7
    ID.Low = (ID.Low & 0x3FFFFFFFFFFFFFFFULL) | 0x8000000000000000ULL; // the variant with this layout
    return ID;
}

} // namespace zutools
