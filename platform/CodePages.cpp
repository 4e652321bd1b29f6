#include "platform/CodePages.h"

#include "platform/Text.h"

#include <algorithm>
#include <array>
#include <mutex>
#include <utility>
#include <vector>

// All pages that we know but UTF-8 have one byte a character. The system is asked once for each page; a
// character is encoded only to the byte that decodes to it, so that nothing is guessed, the same on every
// system.

namespace zutools::platform {

namespace {

struct TCodePage {
    std::once_flag Made;
    bool Known = false;
    char16_t Upper[128] = {};
    std::vector<std::pair<char16_t, unsigned char>> Encoding; // sorted by the character
};

constexpr std::array<unsigned, 11> Numbers{1250, 1251, 1252, 1253, 1254, 1255, 1256, 1257, 1258, 866, 437};

// Null when the page is not one of ours.
const TCodePage* FindCodePage(unsigned CodePage) {
    static std::array<TCodePage, Numbers.size()> Pages;
    const auto Number = std::find(Numbers.begin(), Numbers.end(), CodePage);
    if (Number == Numbers.end()) return nullptr;
    TCodePage& Page = Pages[static_cast<std::size_t>(Number - Numbers.begin())];
    std::call_once(Page.Made, [&Page, CodePage] {
        Page.Known = DecodeUpperHalf(CodePage, Page.Upper);
        for (unsigned Index = 0; Index < 128; ++Index)
            if (Page.Upper[Index] != NoCharacter)
                Page.Encoding.emplace_back(Page.Upper[Index], static_cast<unsigned char>(0x80 + Index));
        std::sort(Page.Encoding.begin(), Page.Encoding.end());
    });
    return Page.Known ? &Page : nullptr;
}

} // namespace

TConversion<std::u16string> CodePageToUtf16(std::string_view Bytes, unsigned CodePage) {
    if (CodePage == 65001) return Utf8ToUtf16Strict(Bytes);
    const TCodePage* const Page = FindCodePage(CodePage);
    if (Page == nullptr) return {{}, TMalformed{0}};
    TConversion<std::u16string> Result;
    Result.Text.reserve(Bytes.size());
    for (std::size_t Index = 0; Index < Bytes.size(); ++Index) {
        const auto Byte = static_cast<unsigned char>(Bytes[Index]);
        const char16_t Character = Byte < 0x80 ? Byte : Page->Upper[Byte - 0x80];
        if (Character == NoCharacter) {
            Result.Error = TMalformed{Index};
            break;
        }
        Result.Text.push_back(Character);
    }
    return Result;
}

TConversion<std::string> Utf16ToCodePage(std::u16string_view Text, unsigned CodePage) {
    if (CodePage == 65001) return Utf16ToUtf8Strict(Text);
    const TCodePage* const Page = FindCodePage(CodePage);
    if (Page == nullptr) return {{}, TMalformed{0}};
    TConversion<std::string> Result;
    Result.Text.reserve(Text.size());
    for (std::size_t Index = 0; Index < Text.size(); ++Index) {
        const char16_t Character = Text[Index];
        if (Character < 0x80) {
            Result.Text.push_back(static_cast<char>(Character));
            continue;
        }
        const auto Found =
            std::lower_bound(Page->Encoding.begin(), Page->Encoding.end(),
                             std::pair<char16_t, unsigned char>{Character, static_cast<unsigned char>(0)});
        if (Found == Page->Encoding.end() || Found->first != Character) {
            Result.Error = TMalformed{Index};
            break;
        }
        Result.Text.push_back(static_cast<char>(Found->second));
    }
    return Result;
}

} // namespace zutools::platform
