// The one scanner of marks: "[[name]]" and "{{key}}".
//
// The parser, the carets, the language keys and the linter find their marks here, so that all of them read
// one grammar: a doubled opening character begins a mark, and the next doubled closing character ends it.
// Nothing nests and nothing is escaped.

#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <string_view>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace zutools {

/// A mark and its place in the text, in 0-based units.
struct TMark {
    enum class TState { None, Unclosed, Closed };

    TState State = TState::None;
    std::size_t Begin = 0;      // of the opening pair; the text's size when there is no mark
    std::size_t End = 0;        // one past the closing pair; the text's size when it is not closed
    std::u16string_view Name{}; // what stands between the pairs

    [[nodiscard]] bool IsClosed() const { return State == TState::Closed; }
    // What a tag's mark is for.
    [[nodiscard]] bool OpensPart() const { return Name.starts_with(u'!'); }
    [[nodiscard]] bool ClosesPart() const { return Name.starts_with(u'/'); }
};

/// The two characters of a kind of mark, each standing twice.
struct TMarkKind {
    char16_t Opening;
    char16_t Closing;
};
inline constexpr TMarkKind TagMark{u'[', u']'};
inline constexpr TMarkKind LanguageKeyMark{u'{', u'}'};

/// The first place at or after `From` where `Character` stands twice in a row; the text's size when there is
/// none.
[[nodiscard]] inline std::size_t FindDoubled(std::u16string_view Text, std::size_t From, char16_t Character) {
    const char16_t* const Units = Text.data();
    const std::size_t Size = Text.size();
    std::size_t Place = From;
#if defined(__SSE2__)
    // The standard library searches 16-bit characters one by one. Here 32 of them become 32 bits at a time: a
    // pair begins where a bit and the next one are set.
    const __m128i Sought = _mm_set1_epi16(static_cast<short>(Character));
    const auto Equal = [&](std::size_t At) {
        return _mm_cmpeq_epi16(_mm_loadu_si128(reinterpret_cast<const __m128i*>(Units + At)), Sought);
    };
    const auto Bits = [](__m128i First, __m128i Second) {
        return static_cast<std::uint32_t>(_mm_movemask_epi8(_mm_packs_epi16(First, Second)));
    };
    for (; Place + 33 <= Size; Place += 32) {
        const __m128i Blocks[] = {Equal(Place), Equal(Place + 8), Equal(Place + 16), Equal(Place + 24)};
        const std::uint32_t Hits = Bits(Blocks[0], Blocks[1]) | Bits(Blocks[2], Blocks[3]) << 16;
        if (Hits == 0) continue;
        const std::uint32_t Next = Units[Place + 32] == Character ? 0x80000000U : 0U;
        const std::uint32_t Pairs = Hits & (Hits >> 1 | Next);
        if (Pairs != 0) return Place + static_cast<std::size_t>(std::countr_zero(Pairs));
    }
#endif
    for (; Place + 2 <= Size; ++Place) {
        if (Units[Place] == Character && Units[Place + 1] == Character) return Place;
    }
    return Size;
}

/// The first mark of that kind at or after `From`.
[[nodiscard]] inline TMark FindMark(std::u16string_view Text, std::size_t From, TMarkKind Kind) {
    const std::size_t Begin = FindDoubled(Text, From, Kind.Opening);
    if (Begin >= Text.size()) return {TMark::TState::None, Text.size(), Text.size()};
    const std::size_t NameBegin = Begin + 2;
    const std::size_t NameEnd = FindDoubled(Text, NameBegin, Kind.Closing);
    const std::u16string_view Name = Text.substr(NameBegin, NameEnd - NameBegin);
    if (NameEnd >= Text.size()) return {TMark::TState::Unclosed, Begin, Text.size(), Name};
    return {TMark::TState::Closed, Begin, NameEnd + 2, Name};
}

} // namespace zutools
