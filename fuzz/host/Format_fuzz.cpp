// Any pattern with any arguments gives a text or EFormatError, nothing else.
//
// Input: one byte a argument (0 text, 1 integer, 2 float, anything else ends the list), then the pattern in
// UTF-16.

#include "fuzz/Input.h"
#include "host/Exception.h"
#include "host/Format.h"

#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* Data, std::size_t Size) {
    using namespace zutools;
    std::vector<TFormatArg> Args;
    std::size_t At = 0;
    for (; At < Size && Data[At] < 3 && Args.size() < 8; ++At) {
        const auto Number = static_cast<std::int64_t>(Size * 0x9E3779B97F4A7C15U);
        if (Data[At] == 0) Args.emplace_back(u"a\u0416\U0001F600");
        if (Data[At] == 1) Args.emplace_back(At % 2 == 0 ? Number : -Number);
        if (Data[At] == 2) Args.emplace_back(static_cast<double>(Number) / 3e5);
    }
    if (At < Size) ++At; // the byte that ended the list
    const std::u16string Pattern = fuzz::Utf16(Data, Size, At);
    try {
        (void)Format(Pattern, Args);
    } catch (const EFormatError&) {
    }
    return 0;
}
