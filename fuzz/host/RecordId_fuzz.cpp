// Record IDs: whatever splits joins to the same ID again, and whatever joins splits to the same values.
//
// Input: one byte for the number of key columns, then the ID in UTF-16.

#include "fuzz/Input.h"
#include "host/RecordId.h"

using zutools::fuzz::Require;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* Data, std::size_t Size) {
    using namespace zutools;
    if (Size == 0) return 0;
    const std::size_t Count = Data[0] % 6;
    std::u16string Text = fuzz::Utf16(Data, Size, 1);

    if (const auto Values = SplitRecordID(Text, Count))
        Require(Values->size() == Count && JoinRecordID(*Values) == Text);

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
    Require(Again == Values);
    return 0;
}
