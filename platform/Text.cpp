#include "platform/Text.h"

#include "platform/TextTools.h"

#include <algorithm>
#include <bit>

#ifdef __SSE2__
#include <emmintrin.h>
#endif

// Conversions run in two passes: the first counts the units of the result, so that it is allocated once and
// to the size; the second writes. Both look at 16 bytes at a time where SSE2 is there. The counts are exact
// for well-formed input and never too small for the well-formed part before a fault.

namespace zutools::platform {

namespace {

constexpr char16_t Replacement = 0xFFFD;

// ---- counting

// One unit for each byte that is not a continuation byte, one more for each that leads four bytes.
std::size_t CountUtf16(const unsigned char* At, const unsigned char* End) {
    std::size_t Count = 0;
#ifdef __SSE2__
    const __m128i LastContinuation = _mm_set1_epi8(static_cast<char>(0xBF));
    const __m128i FourByteLead = _mm_set1_epi8(static_cast<char>(0xF0));
    while (End - At >= 16) {
        __m128i Sums = _mm_setzero_si128(); // up to 2 a step in each byte
        for (int Step = 0; Step < 127 && End - At >= 16; ++Step, At += 16) {
            const __m128i Block = _mm_loadu_si128(reinterpret_cast<const __m128i*>(At));
            Sums = _mm_sub_epi8(Sums, _mm_cmpgt_epi8(Block, LastContinuation));
            Sums = _mm_sub_epi8(Sums, _mm_cmpeq_epi8(_mm_max_epu8(Block, FourByteLead), Block));
        }
        const __m128i Halves = _mm_sad_epu8(Sums, _mm_setzero_si128());
        Count += static_cast<std::size_t>(_mm_cvtsi128_si32(Halves)) +
                 static_cast<std::size_t>(_mm_cvtsi128_si32(_mm_srli_si128(Halves, 8)));
    }
#endif
    for (; At != End; ++At) Count += static_cast<std::size_t>((*At & 0xC0) != 0x80) + (*At >= 0xF0);
    return Count;
}

// 1, 2 or 3 bytes a unit; each half of a surrogate pair counts 2.
std::size_t CountUtf8(const char16_t* At, const char16_t* End) {
    std::size_t Count = static_cast<std::size_t>(End - At) * 3;
#ifdef __SSE2__
    const __m128i Zero = _mm_setzero_si128();
    while (End - At >= 8) {
        __m128i Savings = Zero; // up to 2 a step in each 16-bit lane
        for (int Step = 0; Step < 0x3FFF && End - At >= 8; ++Step, At += 8) {
            const __m128i Block = _mm_loadu_si128(reinterpret_cast<const __m128i*>(At));
            const __m128i Short = _mm_cmpeq_epi16(_mm_subs_epu16(Block, _mm_set1_epi16(0x7F)), Zero);
            const __m128i Middle = _mm_cmpeq_epi16(_mm_subs_epu16(Block, _mm_set1_epi16(0x7FF)), Zero);
            const __m128i Half =
                _mm_cmpeq_epi16(_mm_and_si128(Block, _mm_set1_epi16(static_cast<short>(0xF800))),
                                _mm_set1_epi16(static_cast<short>(0xD800)));
            Savings = _mm_sub_epi16(Savings, _mm_add_epi16(_mm_add_epi16(Short, Middle), Half));
        }
        alignas(16) std::uint16_t Lanes[8];
        _mm_store_si128(reinterpret_cast<__m128i*>(Lanes), Savings);
        for (const std::uint16_t Lane : Lanes) Count -= Lane;
    }
#endif
    for (; At != End; ++At) Count -= static_cast<std::size_t>(*At < 0x80) + (*At < 0x800) + IsSurrogate(*At);
    return Count;
}

// ---- runs of ASCII: copy what they can, at least one unit, and move both positions

void CopyAsciiRun(const unsigned char*& At, const unsigned char* End, char16_t*& To,
                  [[maybe_unused]] char16_t* ToEnd) {
#ifdef __SSE2__
    const __m128i Zero = _mm_setzero_si128();
    while (End - At >= 16 && ToEnd - To >= 16) {
        const __m128i Block = _mm_loadu_si128(reinterpret_cast<const __m128i*>(At));
        _mm_storeu_si128(reinterpret_cast<__m128i*>(To), _mm_unpacklo_epi8(Block, Zero));
        _mm_storeu_si128(reinterpret_cast<__m128i*>(To + 8), _mm_unpackhi_epi8(Block, Zero));
        if (const auto Others = static_cast<unsigned>(_mm_movemask_epi8(Block)); Others != 0) {
            // What was written behind the run is written over by what follows.
            At += std::countr_zero(Others);
            To += std::countr_zero(Others);
            return;
        }
        At += 16;
        To += 16;
    }
#endif
    while (At != End && *At < 0x80) *To++ = *At++;
}

void CopyAsciiRun(const char16_t*& At, const char16_t* End, char*& To, [[maybe_unused]] char* ToEnd) {
#ifdef __SSE2__
    const __m128i Zero = _mm_setzero_si128();
    while (End - At >= 8 && ToEnd - To >= 8) {
        const __m128i Block = _mm_loadu_si128(reinterpret_cast<const __m128i*>(At));
        const __m128i Short = _mm_cmpeq_epi16(_mm_subs_epu16(Block, _mm_set1_epi16(0x7F)), Zero);
        _mm_storel_epi64(reinterpret_cast<__m128i*>(To), _mm_packus_epi16(Block, Block));
        const auto Others = static_cast<unsigned>(_mm_movemask_epi8(Short)) ^ 0xFFFFu; // two bits a unit
        if (Others != 0) {
            At += std::countr_zero(Others) / 2;
            To += std::countr_zero(Others) / 2;
            return;
        }
        At += 8;
        To += 8;
    }
#endif
    while (At != End && *At < 0x80) *To++ = static_cast<char>(*At++);
}

// ---- one character

// A decoded character and its length in bytes. For a fault `Valid` is false and `Length` is that of the
// sequence up to the byte that broke it (at least 1), which is what one replacement character stands for.
struct TDecoded {
    char32_t Character;
    unsigned Length;
    bool Valid;
};

// Three and four bytes, and every fault; `*At` is no ASCII. The ranges of the second byte keep out overlong
// forms, surrogates and everything above U+10FFFF.
TDecoded DecodeLong(const unsigned char* At, const unsigned char* End) {
    const unsigned Lead = *At;
    unsigned Length = 0;
    unsigned Low = 0x80;
    unsigned High = 0xBF;
    char32_t Character = 0;
    if (Lead >= 0xC2 && Lead <= 0xDF) {
        Length = 2;
        Character = Lead & 0x1F;
    } else if (Lead >= 0xE0 && Lead <= 0xEF) {
        Length = 3;
        Character = Lead & 0x0F;
        if (Lead == 0xE0) Low = 0xA0;
        if (Lead == 0xED) High = 0x9F;
    } else if (Lead >= 0xF0 && Lead <= 0xF4) {
        Length = 4;
        Character = Lead & 0x07;
        if (Lead == 0xF0) Low = 0x90;
        if (Lead == 0xF4) High = 0x8F;
    } else {
        return {0, 1, false};
    }
    for (unsigned Index = 1; Index < Length; ++Index) {
        if (At + Index == End || At[Index] < Low || At[Index] > High) return {0, Index, false};
        Character = Character << 6 | (At[Index] & 0x3Fu);
        Low = 0x80;
        High = 0xBF;
    }
    return {Character, Length, true};
}

// ---- the loops, one for each direction

enum class TOnFault { Stop, Replace };

// Writes to `To` and returns the end of what was written. Stops at a fault and leaves `At` there, or replaces
// it.
template <TOnFault OnFault>
char16_t* Decode(const unsigned char*& At, const unsigned char* End, char16_t* To, char16_t* ToEnd) {
    while (At != End) {
        if (*At < 0x80) {
            // A blank between two words of another script is no run.
            if (End - At >= 2 && At[1] >= 0x80)
                *To++ = *At++;
            else
                CopyAsciiRun(At, End, To, ToEnd);
            if (At == End) break;
        }
        while (End - At >= 2 && *At >= 0xC2 && *At <= 0xDF && (At[1] & 0xC0) == 0x80) {
            *To++ = static_cast<char16_t>((*At & 0x1F) << 6 | (At[1] & 0x3F));
            At += 2;
        }
        if (At == End || *At < 0x80) continue;
        const TDecoded Decoded = DecodeLong(At, End);
        if (!Decoded.Valid) {
            if constexpr (OnFault == TOnFault::Stop) return To;
            *To++ = Replacement;
        } else if (Decoded.Character < 0x10000) {
            *To++ = static_cast<char16_t>(Decoded.Character);
        } else {
            *To++ = static_cast<char16_t>(0xD7C0 + (Decoded.Character >> 10));
            *To++ = static_cast<char16_t>(0xDC00 | (Decoded.Character & 0x3FF));
        }
        At += Decoded.Length;
    }
    return To;
}

template <TOnFault OnFault>
char* Encode(const char16_t*& At, const char16_t* End, char* To, char* ToEnd) {
    const auto Trail = [](char32_t Bits) { return static_cast<char>(0x80 | (Bits & 0x3F)); };
    while (At != End) {
        char32_t Character = *At;
        if (Character < 0x80) {
            if (End - At >= 2 && At[1] >= 0x80) {
                *To++ = static_cast<char>(*At++);
            } else {
                CopyAsciiRun(At, End, To, ToEnd);
                if (At == End) break;
            }
            Character = *At;
        }
        while (Character >= 0x80 && Character < 0x800) {
            *To++ = static_cast<char>(0xC0 | Character >> 6);
            *To++ = Trail(Character);
            if (++At == End) return To;
            Character = *At;
        }
        if (Character < 0x80) continue;
        ++At;
        if (IsHighSurrogate(Character) && At != End && IsLowSurrogate(*At)) {
            Character = 0x10000 + ((Character & 0x3FF) << 10) + (*At++ & 0x3FFu);
            *To++ = static_cast<char>(0xF0 | Character >> 18);
            *To++ = Trail(Character >> 12);
            *To++ = Trail(Character >> 6);
            *To++ = Trail(Character);
            continue;
        }
        if (IsSurrogate(Character)) {
            if constexpr (OnFault == TOnFault::Stop) {
                --At;
                return To;
            }
            Character = Replacement;
        }
        *To++ = static_cast<char>(0xE0 | Character >> 12);
        *To++ = Trail(Character >> 6);
        *To++ = Trail(Character);
    }
    return To;
}

const unsigned char* BytesOf(std::string_view Text) {
    return reinterpret_cast<const unsigned char*>(Text.data());
}

} // namespace

TConversion<std::u16string> Utf8ToUtf16Strict(std::string_view Bytes) {
    const unsigned char* At = BytesOf(Bytes);
    const unsigned char* const End = At + Bytes.size();
    TConversion<std::u16string> Result;
    Result.Text.resize(CountUtf16(At, End));
    char16_t* const To = Result.Text.data();
    const char16_t* const Written = Decode<TOnFault::Stop>(At, End, To, To + Result.Text.size());
    if (At != End) {
        Result.Text.resize(static_cast<std::size_t>(Written - To));
        Result.Error = TMalformed{static_cast<std::size_t>(At - BytesOf(Bytes))};
    }
    return Result;
}

TConversion<std::string> Utf16ToUtf8Strict(std::u16string_view Text) {
    const char16_t* At = Text.data();
    const char16_t* const End = At + Text.size();
    TConversion<std::string> Result;
    Result.Text.resize(CountUtf8(At, End));
    char* const To = Result.Text.data();
    const char* const Written = Encode<TOnFault::Stop>(At, End, To, To + Result.Text.size());
    if (At != End) {
        Result.Text.resize(static_cast<std::size_t>(Written - To));
        Result.Error = TMalformed{static_cast<std::size_t>(At - Text.data())};
    }
    return Result;
}

std::u16string Utf8ToUtf16(std::string_view Bytes) {
    const unsigned char* At = BytesOf(Bytes);
    std::u16string Result(Bytes.size(), u'\0'); // a malformed sequence may be one byte
    char16_t* const To = Result.data();
    const char16_t* const Written = Decode<TOnFault::Replace>(At, At + Bytes.size(), To, To + Result.size());
    Result.resize(static_cast<std::size_t>(Written - To));
    return Result;
}

std::string Utf16ToUtf8(std::u16string_view Text) {
    const char16_t* At = Text.data();
    std::string Result(Text.size() * 3, '\0');
    char* const To = Result.data();
    const char* const Written = Encode<TOnFault::Replace>(At, At + Text.size(), To, To + Result.size());
    Result.resize(static_cast<std::size_t>(Written - To));
    return Result;
}

} // namespace zutools::platform
