#include "checking/FoldPass.h"

#include "host/StringHelpers.h"
#include "platform/Text.h"

#include <algorithm>
#include <bitset>
#include <string>

#if defined(__x86_64__) || defined(_M_X64)
#include <immintrin.h>
#define ZU_X86_64 1
#else
#define ZU_X86_64 0
#endif

namespace zutools::checking {

namespace {

constexpr char16_t FirstHigh = 0xD800;
constexpr char16_t FirstLow = 0xDC00;
constexpr char16_t AfterLow = 0xE000;

using TSpecials = std::bitset<0x10000>;

/// Languages whose upper case looks at neighbours: Greek drops accents, Lithuanian handles dots above.
bool IsContextual(char16_t Character) {
    static const bool Contextual = [] {
        const std::string Language = platform::UserLocale().substr(0, 2);
        return Language == "el" || Language == "lt";
    }();
    if (!Contextual) return false;
    return (Character >= 0x300 && Character < 0x400) || (Character >= 0x1F00 && Character < 0x2000);
}

/// Whether some pair that begins with this half has a case, such as the Deseret letters of U+D801.
bool HighHasCase(char16_t High) {
    std::u16string Pairs;
    Pairs.reserve(2 * (AfterLow - FirstLow));
    for (char16_t Low = FirstLow; Low < AfterLow; ++Low) {
        Pairs += High;
        Pairs += Low;
    }
    return platform::UpperCase(Pairs) != Pairs;
}

std::unique_ptr<const TSpecials> MakeSpecials() {
    auto Specials = std::make_unique<TSpecials>();
    const char16_t* const Upper = KX_UpCaseTable();
    std::u16string One(1, u'\0');
    for (std::uint32_t Code = 0x80; Code < 0x10000; ++Code) {
        const auto Character = static_cast<char16_t>(Code);
        if (Character >= FirstHigh && Character < AfterLow) continue;
        One[0] = Character;
        const std::u16string Whole = platform::UpperCase(One);
        if (Whole.size() != 1 || Whole[0] != Upper[Character] || IsContextual(Character)) Specials->set(Code);
    }
    for (char16_t High = FirstHigh; High < FirstLow; ++High) {
        if (HighHasCase(High)) Specials->set(High);
    }
    return Specials;
}

const TSpecials& Specials() {
    static const std::unique_ptr<const TSpecials> Table = MakeSpecials();
    return *Table;
}

constexpr char16_t FirstCyrillic = 0x400;
constexpr std::size_t BlockUnits = 16;

/// Upper case of a character from U+0400 to U+047F, by its 7 low bits.
constexpr std::uint8_t UpperCyrillic(std::uint8_t Low) {
    if (Low < 0x30) return Low;
    if (Low < 0x50) return static_cast<std::uint8_t>(Low - 0x20); // а to я
    if (Low < 0x60) return static_cast<std::uint8_t>(Low - 0x50); // ѐ to џ
    return static_cast<std::uint8_t>(Low & ~1U);                  // pairs
}

/// Upper case of ASCII and of the first Cyrillic letters is the plain one, so that blocks may be folded by
/// arithmetic.
bool PlainLetters() {
    static const bool Plain = [] {
        const char16_t* const Upper = KX_UpCaseTable();
        for (char16_t Letter = u'a'; Letter <= u'z'; ++Letter) {
            if (Upper[Letter] != Letter - 0x20) return false; // the Turkish "i"
        }
        for (std::uint8_t Low = 0; Low < 0x80; ++Low) {
            const auto Character = static_cast<char16_t>(FirstCyrillic + Low);
            if (Specials().test(Character) || Upper[Character] != FirstCyrillic + UpperCyrillic(Low))
                return false;
        }
        return true;
    }();
    return Plain;
}

#if ZU_X86_64

bool HasShuffle() {
    static const bool Has = __builtin_cpu_supports("ssse3") != 0;
    return Has;
}

#endif

} // namespace

bool IsSpecial(char16_t Character) {
    return Specials().test(Character);
}

TFoldPass::TFoldPass(const TKXCharSet& Bad)
    : FBad(Bad) {
    for (char16_t Low = 0; Low < 0x80; ++Low) {
        const auto Bit = static_cast<std::uint8_t>(1U << (Low >> 4));
        if (FBad.Exists(Low)) FRows[Low & 15] |= Bit;
        if (FBad.Exists(static_cast<char16_t>(FirstCyrillic + Low))) FRows[16 + (Low & 15)] |= Bit;
    }
    static_cast<void>(PlainLetters()); // made now rather than inside the first check
}

TFoldFlags TFoldPass::RunPlain(std::u16string_view Text, std::uint8_t* Narrow) const {
    const char16_t* const Upper = KX_UpCaseTable();
    const TSpecials& Special = Specials();
    TFoldFlags Flags;
    for (std::size_t Index = 0; Index < Text.size(); ++Index) {
        const char16_t Character = Text[Index];
        const char16_t Folded = Upper[Character];
        Narrow[Index] = NarrowOf(Folded);
        Flags.Bad |= FBad.Exists(Folded);
        Flags.Special |= Special.test(Character);
    }
    return Flags;
}

#if ZU_X86_64

namespace {

/// Sixteen units at a time while they are ASCII; the number of units done. `Bad` gathers what the table hits.
__attribute__((target("ssse3"))) std::size_t RunAscii(std::u16string_view Text, std::uint8_t* Narrow,
                                                      const std::uint8_t* Table, bool& Bad) {
    const __m128i HighBytes = _mm_set1_epi16(static_cast<short>(0xFF80));
    const __m128i Rows = _mm_load_si128(reinterpret_cast<const __m128i*>(Table));
    const __m128i Bits =
        _mm_setr_epi8(1, 2, 4, 8, 16, 32, 64, static_cast<char>(0x80), 0, 0, 0, 0, 0, 0, 0, 0);
    const __m128i LowNibble = _mm_set1_epi8(15);
    const __m128i BeforeA = _mm_set1_epi8('a' - 1);
    const __m128i AfterZ = _mm_set1_epi8('z' + 1);
    const __m128i CaseBit = _mm_set1_epi8(0x20);
    __m128i Hits = _mm_setzero_si128();
    std::size_t Index = 0;
    for (; Index + 16 <= Text.size(); Index += 16) {
        const auto* Source = reinterpret_cast<const __m128i*>(Text.data() + Index);
        const __m128i First = _mm_loadu_si128(Source);
        const __m128i Second = _mm_loadu_si128(Source + 1);
        const __m128i High = _mm_and_si128(_mm_or_si128(First, Second), HighBytes);
        if (_mm_movemask_epi8(_mm_cmpeq_epi8(High, _mm_setzero_si128())) != 0xFFFF) break;
        const __m128i Bytes = _mm_packus_epi16(First, Second);
        const __m128i Lower = _mm_and_si128(_mm_cmpgt_epi8(Bytes, BeforeA), _mm_cmplt_epi8(Bytes, AfterZ));
        const __m128i Folded = _mm_sub_epi8(Bytes, _mm_and_si128(Lower, CaseBit));
        _mm_storeu_si128(reinterpret_cast<__m128i*>(Narrow + Index), Folded);
        const __m128i Row = _mm_shuffle_epi8(Rows, _mm_and_si128(Folded, LowNibble));
        const __m128i Bit = _mm_shuffle_epi8(Bits, _mm_and_si128(_mm_srli_epi16(Folded, 4), LowNibble));
        Hits = _mm_or_si128(Hits, _mm_and_si128(Row, Bit));
    }
    Bad |= _mm_movemask_epi8(_mm_cmpeq_epi8(Hits, _mm_setzero_si128())) != 0xFFFF;
    return Index;
}

__m128i Select(__m128i Mask, __m128i Yes, __m128i No) {
    return _mm_or_si128(_mm_and_si128(Mask, Yes), _mm_andnot_si128(Mask, No));
}

/// The same for blocks of ASCII mixed with U+0400 to U+047F, up to the first that is ASCII alone.
__attribute__((target("ssse3"))) std::size_t RunCyrillic(std::u16string_view Text, std::uint8_t* Narrow,
                                                         const std::uint8_t* Table, bool& Bad) {
    const __m128i HighBits = _mm_set1_epi16(static_cast<short>(0xFF80));
    const __m128i LowBits = _mm_set1_epi16(0x7F);
    const __m128i Block = _mm_set1_epi16(FirstCyrillic);
    const __m128i AsciiRows = _mm_load_si128(reinterpret_cast<const __m128i*>(Table));
    const __m128i CyrillicRows = _mm_load_si128(reinterpret_cast<const __m128i*>(Table + 16));
    const __m128i Bits =
        _mm_setr_epi8(1, 2, 4, 8, 16, 32, 64, static_cast<char>(0x80), 0, 0, 0, 0, 0, 0, 0, 0);
    const __m128i LowNibble = _mm_set1_epi8(15);
    // What is taken off a character of either block, by its high nibble.
    const __m128i OffAscii = _mm_setr_epi8(0, 0, 0, 0, 0, 0, 0x20, 0x20, 0, 0, 0, 0, 0, 0, 0, 0);
    const __m128i OffCyrillic = _mm_setr_epi8(0, 0, 0, 0x20, 0x20, 0x50, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0);
    const __m128i One = _mm_set1_epi8(1);
    // The letters of ASCII among 0x60 to 0x7F.
    const __m128i BeforeA = _mm_set1_epi8('a' - 1);
    const __m128i AfterZ = _mm_set1_epi8('z' + 1);
    const __m128i BeforePairs = _mm_set1_epi8(0x5F);
    const __m128i Marks = _mm_set1_epi8(static_cast<char>(NarrowOf(FirstCyrillic)));
    __m128i Hits = _mm_setzero_si128();
    std::size_t Index = 0;
    for (; Index + 16 <= Text.size(); Index += 16) {
        const auto* Source = reinterpret_cast<const __m128i*>(Text.data() + Index);
        const __m128i First = _mm_loadu_si128(Source);
        const __m128i Second = _mm_loadu_si128(Source + 1);
        const __m128i High1 = _mm_and_si128(First, HighBits);
        const __m128i High2 = _mm_and_si128(Second, HighBits);
        const __m128i Zero = _mm_setzero_si128();
        const __m128i IsAscii = _mm_packs_epi16(_mm_cmpeq_epi16(High1, Zero), _mm_cmpeq_epi16(High2, Zero));
        const __m128i IsCyrillic =
            _mm_packs_epi16(_mm_cmpeq_epi16(High1, Block), _mm_cmpeq_epi16(High2, Block));
        const int AsciiMask = _mm_movemask_epi8(IsAscii);
        if ((AsciiMask | _mm_movemask_epi8(IsCyrillic)) != 0xFFFF || AsciiMask == 0xFFFF) break;
        const __m128i Bytes = _mm_packus_epi16(_mm_and_si128(First, LowBits), _mm_and_si128(Second, LowBits));
        const __m128i Nibble = _mm_and_si128(_mm_srli_epi16(Bytes, 4), LowNibble);
        const __m128i Letter = _mm_and_si128(_mm_cmpgt_epi8(Bytes, BeforeA), _mm_cmplt_epi8(Bytes, AfterZ));
        const __m128i Pair = _mm_and_si128(_mm_cmpgt_epi8(Bytes, BeforePairs), _mm_and_si128(Bytes, One));
        const __m128i Off = Select(IsCyrillic, _mm_add_epi8(_mm_shuffle_epi8(OffCyrillic, Nibble), Pair),
                                   _mm_and_si128(Letter, _mm_shuffle_epi8(OffAscii, Nibble)));
        const __m128i Folded = _mm_sub_epi8(Bytes, Off);
        _mm_storeu_si128(reinterpret_cast<__m128i*>(Narrow + Index),
                         _mm_xor_si128(Folded, _mm_and_si128(IsCyrillic, Marks)));
        const __m128i Column = _mm_and_si128(Folded, LowNibble);
        const __m128i Row =
            Select(IsCyrillic, _mm_shuffle_epi8(CyrillicRows, Column), _mm_shuffle_epi8(AsciiRows, Column));
        const __m128i Bit = _mm_shuffle_epi8(Bits, _mm_and_si128(_mm_srli_epi16(Folded, 4), LowNibble));
        Hits = _mm_or_si128(Hits, _mm_and_si128(Row, Bit));
    }
    Bad |= _mm_movemask_epi8(_mm_cmpeq_epi8(Hits, _mm_setzero_si128())) != 0xFFFF;
    return Index;
}

} // namespace

TFoldFlags TFoldPass::Run(std::u16string_view Text, std::uint8_t* Narrow) const {
    if (!HasShuffle() || !PlainLetters()) return RunPlain(Text, Narrow);
    if (Text.empty()) return {};
    std::array<char16_t, BlockUnits> Padded;
    if (Text.size() < BlockUnits) {
        // A short text is filled up to one block. Its own first character says nothing new about it.
        Padded.fill(Text.front());
        std::copy(Text.begin(), Text.end(), Padded.begin());
        Text = std::u16string_view(Padded.data(), Padded.size());
    }
    TFoldFlags Flags;
    for (std::size_t Index = 0;;) {
        std::size_t Done = RunAscii(Text.substr(Index), Narrow + Index, FRows.data(), Flags.Bad);
        if (Index + Done < Text.size()) {
            Done += RunCyrillic(Text.substr(Index + Done), Narrow + Index + Done, FRows.data(), Flags.Bad);
        }
        if (Done == 0) { // a block with something else in it
            const TFoldFlags Rest = RunPlain(Text.substr(Index, BlockUnits), Narrow + Index);
            Flags.Bad |= Rest.Bad;
            Flags.Special |= Rest.Special;
            Done = BlockUnits;
        }
        Index += Done;
        if (Index == Text.size()) return Flags;
        // The last block reaches back into the one before it.
        Index = std::min(Index, Text.size() - BlockUnits);
    }
}

#else

TFoldFlags TFoldPass::Run(std::u16string_view Text, std::uint8_t* Narrow) const {
    return RunPlain(Text, Narrow);
}

#endif

} // namespace zutools::checking
