// Record IDs: whatever splits joins to the same ID again, and whatever joins splits to the same values.
//
// Input: one byte for the number of key columns, then the ID in UTF-16.

#include "host/RecordId.h"

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* Data, std::size_t Size) {
    using namespace zutools;
    if (Size == 0) return 0;
    const std::size_t Count = Data[0] % 6;
    std::u16string Text((Size - 1) / 2, u'\0');
    if (!Text.empty()) std::memcpy(Text.data(), Data + 1, Text.size() * 2);

    if (const auto Values = SplitRecordID(Text, Count)) {
        if (Values->size() != Count || JoinRecordID(*Values) != Text) std::abort();
    }

    // The text cut at its line breaks: values that hold anything else.
    std::vector<std::u16string> Values(1);
    for (const char16_t Character : Text) {
        if (Character == u'\n') {
            Values.emplace_back();
        } else {
            Values.back() += Character;
        }
    }
    const auto Again = SplitRecordID(JoinRecordID(Values), Values.size());
    if (!Again || *Again != Values) std::abort();
    return 0;
}
