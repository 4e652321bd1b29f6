// The one scanner of marks: "[[name]]" and "{{key}}".
//
// The parser, the carets, the language keys and the linter find their marks here, so that all of them read
// one grammar: a doubled opening character begins a mark, and the next doubled closing character ends it.
// Nothing nests and nothing is escaped.

#pragma once

#include <cstddef>
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

/// The first place at or after `From` where `First` and `Second` stand side by side; the text's size when
/// there is none.
[[nodiscard]] inline std::size_t FindPair(std::u16string_view Text, std::size_t From, char16_t First,
                                          char16_t Second) {
    const char16_t* const Units = Text.data();
    const std::size_t Size = Text.size();
    std::size_t Place = From;
#if defined(__SSE2__)
    // The standard library searches 16-bit characters one by one. Here eight neighbouring pairs are tested at
    // a time: a pair matches where both the text and the text moved by one unit do.
    const __m128i Left = _mm_set1_epi16(static_cast<short>(First));
    const __m128i Right = _mm_set1_epi16(static_cast<short>(Second));
    const auto Load = [Units](std::size_t At) {
        return _mm_loadu_si128(reinterpret_cast<const __m128i*>(Units + At));
    };
    for (; Place + 9 <= Size; Place += 8) {
        // Most stretches hold neither: 32 units without the first one are passed over at a time.
        for (; Place + 33 <= Size; Place += 32) {
            const __m128i Any = _mm_or_si128(
                _mm_or_si128(_mm_cmpeq_epi16(Load(Place), Left), _mm_cmpeq_epi16(Load(Place + 8), Left)),
                _mm_or_si128(_mm_cmpeq_epi16(Load(Place + 16), Left),
                             _mm_cmpeq_epi16(Load(Place + 24), Left)));
            if (_mm_movemask_epi8(Any) != 0) break;
        }
        if (Place + 9 > Size) break;
        const __m128i Both =
            _mm_and_si128(_mm_cmpeq_epi16(Load(Place), Left), _mm_cmpeq_epi16(Load(Place + 1), Right));
        const auto Hits = static_cast<unsigned>(_mm_movemask_epi8(Both));
        if (Hits != 0) return Place + static_cast<unsigned>(__builtin_ctz(Hits)) / 2;
    }
#endif
    for (; Place + 2 <= Size; ++Place) {
        if (Units[Place] == First && Units[Place + 1] == Second) return Place;
    }
    return Size;
}

/// The first mark of that kind at or after `From`.
[[nodiscard]] inline TMark FindMark(std::u16string_view Text, std::size_t From, TMarkKind Kind) {
    const std::size_t Begin = FindPair(Text, From, Kind.Opening, Kind.Opening);
    if (Begin >= Text.size()) return {TMark::TState::None, Text.size(), Text.size()};
    const std::size_t NameBegin = Begin + 2;
    const std::size_t NameEnd = FindPair(Text, NameBegin, Kind.Closing, Kind.Closing);
    const std::u16string_view Name = Text.substr(NameBegin, NameEnd - NameBegin);
    if (NameEnd >= Text.size()) return {TMark::TState::Unclosed, Begin, Text.size(), Name};
    return {TMark::TState::Closed, Begin, NameEnd + 2, Name};
}

} // namespace zutools
