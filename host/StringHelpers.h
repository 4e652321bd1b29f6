// The host's string helpers. Positions are 1-based, 0 means "not found", as in every message of the library.

#pragma once

#include "host/CharSet.h"

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>

namespace zutools {

/// The upper case of single UTF-16 units in the user's locale: 65,536 units, made at the first call and kept
/// to the end of the process. A unit whose upper case is longer, depends on its neighbours or needs a
/// surrogate stands for itself.
[[nodiscard]] const char16_t* KX_UpCaseTable();

/// One unit of text folded as KX_PosText folds it; loops take the table once instead.
[[nodiscard]] inline char16_t KX_UpChar(char16_t Character) {
    return KX_UpCaseTable()[Character];
}

/// Position of the first occurrence of `Sought` in `Text` at or after `Start`, ignoring letter case
/// (locale-aware upper-casing, character by character); 0 when there is none, `Sought` is empty or `Start`
/// lies outside. `WholeWord`: only an occurrence with no letter or digit on either side.
[[nodiscard]] int KX_PosText(std::u16string_view Sought, std::u16string_view Text, int Start = 1,
                             bool WholeWord = false);

/// At most `Count` characters of `Text` from `Start`; parts outside the text are cut off silently.
[[nodiscard]] std::u16string KX_CopyStr(std::u16string_view Text, int Start, int Count);

/// Appends in place; the string grows by factors, so that building a page does not copy it again and again.
inline void KX_Append2Str(std::u16string& Target, std::u16string_view Tail) {
    Target.append(Tail);
}

/// `Directory` and `Name` joined with exactly one separator between them; `Name` alone when `Directory` is
/// empty.
[[nodiscard]] std::u16string KX_SplitPathName(std::u16string_view Directory, std::u16string_view Name);

/// Cuts the next parameter off the front of `Text` into `Item`: the text before the first `Delimiter`, which
/// is removed too. Without a delimiter the whole rest is the item and `Text` becomes empty. An empty
/// delimiter is never found. False (and an empty item) when `Text` was empty. `Text` is a view, so that no
/// rest is ever copied.
bool KX_GetNextParam(std::u16string_view& Text, std::u16string_view Delimiter, std::u16string& Item);

/// Words are the longest runs without a character of `Separators`.
[[nodiscard]] int KX_WordCount(std::u16string_view Text, const TKXCharSet& Separators);
/// Word `Number`, 1-based; empty when there is none.
[[nodiscard]] std::u16string KX_ExtractWord(int Number, std::u16string_view Text,
                                            const TKXCharSet& Separators);

/// Locale-aware upper and lower case of the user's locale.
[[nodiscard]] std::u16string AnsiUpperCase(std::u16string_view Text);
[[nodiscard]] std::u16string AnsiLowerCase(std::u16string_view Text);

/// Locale-aware comparison of the user's locale: negative, zero, positive.
[[nodiscard]] int AnsiCompareStr(std::u16string_view Left, std::u16string_view Right);
[[nodiscard]] int AnsiCompareText(std::u16string_view Left, std::u16string_view Right);

/// Ordinal comparison ignoring the letter case of A to Z only.
[[nodiscard]] int CompareText(std::u16string_view Left, std::u16string_view Right);
[[nodiscard]] bool SameText(std::u16string_view Left, std::u16string_view Right);
/// Lower case of A to Z only.
[[nodiscard]] std::u16string LowerCase(std::u16string_view Text);

/// Without leading and trailing characters up to U+0020.
[[nodiscard]] std::u16string_view Trim(std::u16string_view Text);

/// Whether two texts are spelled alike, unit by unit. Most are short names: those are compared in two
/// overlapping halves, without a loop or a call.
[[nodiscard]] inline bool SameUnits(std::u16string_view Left, std::u16string_view Right) {
    const std::size_t Count = Left.size();
    if (Count != Right.size()) return false;
    struct TPair { // sixteen bytes
        std::uint64_t First, Second;
        TPair operator^(const TPair& Other) const { return {First ^ Other.First, Second ^ Other.Second}; }
        TPair operator|(const TPair& Other) const { return {First | Other.First, Second | Other.Second}; }
        bool operator==(int) const { return (First | Second) == 0; }
    };
    const auto Ends = [&]<class TWord>(TWord) {
        constexpr std::size_t Units = sizeof(TWord) / sizeof(char16_t);
        TWord Words[4];
        std::memcpy(&Words[0], Left.data(), sizeof(TWord));
        std::memcpy(&Words[1], Right.data(), sizeof(TWord));
        std::memcpy(&Words[2], Left.data() + (Count - Units), sizeof(TWord));
        std::memcpy(&Words[3], Right.data() + (Count - Units), sizeof(TWord));
        return ((Words[0] ^ Words[1]) | (Words[2] ^ Words[3])) == 0;
    };
    if (Count > 16) return std::memcmp(Left.data(), Right.data(), Count * sizeof(char16_t)) == 0;
    if (Count >= 8) return Ends(TPair{});
    if (Count >= 4) return Ends(std::uint64_t{});
    if (Count >= 2) return Ends(std::uint32_t{});
    return Count == 0 || Left[0] == Right[0];
}

} // namespace zutools
