#include "host/RecordId.h"

#include <utility>

namespace zutools {

namespace {

constexpr char16_t Separator = u';';
constexpr char16_t Escape = u'\\';

constexpr bool NeedsEscape(char16_t Character) {
    return Character == Separator || Character == Escape;
}

} // namespace

std::u16string JoinRecordID(std::span<const std::u16string> Values) {
    if (Values.empty()) return {};
    if (Values.size() == 1) return Values.front();
    std::u16string RecordID;
    for (std::size_t Index = 0; Index < Values.size(); ++Index) {
        if (Index != 0) RecordID += Separator;
        for (const char16_t Character : Values[Index]) {
            if (NeedsEscape(Character)) RecordID += Escape;
            RecordID += Character;
        }
    }
    return RecordID;
}

std::optional<std::vector<std::u16string>> SplitRecordID(std::u16string_view RecordID, std::size_t Count) {
    if (Count == 0) return std::nullopt;
    if (Count == 1) return std::vector{std::u16string(RecordID)};
    std::vector<std::u16string> Values(1);
    for (std::size_t Pos = 0; Pos < RecordID.size(); ++Pos) {
        const char16_t Character = RecordID[Pos];
        if (Character == Separator) {
            if (Values.size() == Count) return std::nullopt;
            Values.emplace_back();
            continue;
        }
        if (Character == Escape) {
            if (++Pos == RecordID.size() || !NeedsEscape(RecordID[Pos])) return std::nullopt;
        }
        Values.back() += RecordID[Pos];
    }
    if (Values.size() != Count) return std::nullopt;
    return Values;
}

} // namespace zutools
