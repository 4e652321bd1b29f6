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

/// Half pairs: a high half with which some pair has a case, and every low half outside such a check.
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
    // ASCII is folded without a look here, so a language that maps it elsewhere (Turkish i) says so by its
    // letter.
    for (char16_t Letter = u'a'; Letter <= u'z'; ++Letter) {
        if (Upper[Letter] != Letter - 0x20) Specials->set(Letter);
    }
    return Specials;
}

const TSpecials& Specials() {
    static const std::unique_ptr<const TSpecials> Table = MakeSpecials();
    return *Table;
}

/// Upper case of every ASCII letter is the plain one, so that blocks of ASCII may be folded by subtraction.
bool PlainAscii() {
    static const bool Plain = [] {
        for (char16_t Letter = u'a'; Letter <= u'z'; ++Letter) {
            if (Specials().test(Letter)) return false;
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
    for (char16_t Character = 0; Character < 0x80; ++Character) {
        if (!FBad.Exists(Character)) continue;
        FAscii[Character & 15] = static_cast<std::uint8_t>(FAscii[Character & 15] | 1U << (Character >> 4));
    }
    static_cast<void>(PlainAscii()); // made now rather than inside the first check
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

} // namespace

TFoldFlags TFoldPass::Run(std::u16string_view Text, std::uint8_t* Narrow) const {
    if (!HasShuffle() || !PlainAscii()) return RunPlain(Text, Narrow);
    TFoldFlags Flags;
    while (!Text.empty()) {
        std::size_t Done = RunAscii(Text, Narrow, FAscii.data(), Flags.Bad);
        if (Done < Text.size()) { // a block with something else in it, or the end
            const std::size_t Block = std::min<std::size_t>(16, Text.size() - Done);
            const TFoldFlags Rest = RunPlain(Text.substr(Done, Block), Narrow + Done);
            Flags.Bad |= Rest.Bad;
            Flags.Special |= Rest.Special;
            Done += Block;
        }
        Text.remove_prefix(Done);
        Narrow += Done;
    }
    return Flags;
}

#else

TFoldFlags TFoldPass::Run(std::u16string_view Text, std::uint8_t* Narrow) const {
    return RunPlain(Text, Narrow);
}

#endif

} // namespace zutools::checking
