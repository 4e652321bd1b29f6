// Any text parses, fills, builds, rebuilds and copies as the plain reference does; the text of a file,
// language keys included, never breaks the replacing of keys.

#include "fuzz/Input.h"
#include "tests/templates/Compare.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* Data, std::size_t Size) {
    // The reference is recursive and slow; what needs length and depth stands in the tests.
    constexpr std::size_t Limit = 4096;
    if (Size > Limit) return 0;
    std::u16string Text = zutools::platform::Utf8ToUtf16(zutools::fuzz::Bytes(Data, Size));
    try {
        zutools::tests::CompareText(Text);
    } catch (const zutools::tests::TDifference& Difference) {
        zutools::fuzz::Require(false, Difference.what());
    }
    zutools::TTemplate().ReplaceLanguageTags(Text);
    return 0;
}
