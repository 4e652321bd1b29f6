#include "platform/posix/LoneLetters.h"

#include <unicode/uchar.h>
#include <unicode/uscript.h>

#include <algorithm>
#include <cstdint>
#include <stdexcept>
#include <unordered_map>

namespace zutools::platform {

namespace {

void Check(UErrorCode Status, const char* Action) {
    if (U_FAILURE(Status))
        throw std::runtime_error(std::string("Cannot ") + Action + ": " + u_errorName(Status));
}

bool IsMark(char16_t Unit) {
    return u_getCombiningClass(Unit) != 0;
}

// Between the levels of a sort key.
constexpr char LevelEnd = '\1';

} // namespace

std::string SortKeyOf(const UCollator* Collator, std::u16string_view Text) {
    std::string Key(64, '\0');
    for (;;) {
        const std::int32_t Length = ucol_getSortKey(
            Collator, Text.data(), static_cast<std::int32_t>(Text.size()),
            reinterpret_cast<std::uint8_t*>(Key.data()), static_cast<std::int32_t>(Key.size()));
        const bool Fits = static_cast<std::size_t>(Length) <= Key.size();
        Key.resize(static_cast<std::size_t>(Length));
        if (Fits) return Key;
    }
}

TTogether::TTogether(const UCollator* Collator) {
    UErrorCode Status = U_ZERO_ERROR;
    ucol_getContractionsAndExpansions(Collator, FSequences.get(), FExpansions.get(), true, &Status);
    Check(Status, "ask a collator for its contractions");
}

void TTogether::ForEachSequence(const std::function<void(std::u16string_view)>& Take) const {
    for (std::int32_t Item = 0; Item < uset_getItemCount(FSequences.get()); ++Item) {
        char16_t Units[64];
        UChar32 First = 0;
        UChar32 Last = 0;
        UErrorCode Status = U_ZERO_ERROR;
        // 0 for a range of single characters, else the length of a sequence.
        const std::int32_t Length = uset_getItem(FSequences.get(), Item, &First, &Last, Units, 64, &Status);
        Check(Status, "read the contractions of a collator");
        if (Length >= 2) Take(std::u16string_view(Units, static_cast<std::size_t>(Length)));
    }
}

TLoneLetters::TLoneLetters(const UCollator* Collator)
    : FCollator(Collator)
    , FTogether(Collator) {
    UErrorCode Status = U_ZERO_ERROR;
    FDecompose = unorm2_getNFDInstance(&Status);
    FCompose = unorm2_getNFCInstance(&Status);
    FNumeric = ucol_getAttribute(Collator, UCOL_NUMERIC_COLLATION, &Status) == UCOL_ON;
    Check(Status, "read the normal forms");
    const std::string Plain = SortKeyOf(Collator, u"a");
    FWithoutAccents = Plain.substr(Plain.find(LevelEnd));

    // Characters that are weighed together must not count as lone letters. It is enough to leave out one
    // character of every sequence, since a text without it cannot hold the sequence. Of "l" and a middle dot
    // the dot is left out: it occurs in most sequences, and the letters stay usable.
    std::unordered_map<char16_t, int> Uses;
    FTogether.ForEachSequence([&](std::u16string_view Sequence) {
        for (const char16_t Unit : Sequence) ++Uses[Unit];
    });
    FTogether.ForEachSequence([&](std::u16string_view Sequence) {
        const auto IsOut = [this](char16_t Unit) { return IsMark(Unit) || FOut.contains(Unit); };
        if (std::ranges::any_of(Sequence, IsOut)) return;
        FOut.insert(*std::ranges::max_element(Sequence, {}, [&](char16_t Unit) { return Uses[Unit]; }));
    });
}

bool TLoneLetters::Has(char16_t Character) const {
    if (FNumeric || !u_isgraph(Character) || U16_IS_SURROGATE(Character) || IsMark(Character) ||
        FOut.contains(Character))
        return false;
    UErrorCode Status = U_ZERO_ERROR;
    // Syllables, but not the letters that they consist of.
    if (uscript_getScript(Character, &Status) == USCRIPT_HANGUL)
        return Character >= u'\uAC00' && Character <= u'\uD7A3';
    if (IsPlain(Character)) return true;

    char16_t Units[8];
    const std::int32_t Length = unorm2_getDecomposition(FDecompose, Character, Units, 8, &Status);
    if (U_FAILURE(Status) || Length < 2) return false;
    const std::u16string_view Whole(Units, static_cast<std::size_t>(Length));
    return !FOut.contains(Whole[0]) && IsPlain(Whole[0]) && std::ranges::all_of(Whole.substr(1), IsMark) &&
           LettersOf(Character) == LettersOf(Whole[0]);
}

/// The collation gives the character one weight, without an accent: "e", but not "\u00E9" or "\u00E6". The
/// character does not join the one before it either.
bool TLoneLetters::IsPlain(char16_t Character) const {
    if (FTogether.Expands(Character) || !unorm2_hasBoundaryBefore(FCompose, Character)) return false;
    UErrorCode Status = U_ZERO_ERROR;
    if (unorm2_getDecomposition(FDecompose, Character, nullptr, 0, &Status) >= 0) return false;
    const std::string Key = SortKeyOf(FCollator, {&Character, 1});
    return Key.find(LevelEnd) > 0 && Key.substr(Key.find(LevelEnd)) == FWithoutAccents;
}

std::string TLoneLetters::LettersOf(char16_t Character) const {
    const std::string Key = SortKeyOf(FCollator, {&Character, 1});
    return Key.substr(0, Key.find(LevelEnd));
}

} // namespace zutools::platform
