// UTF-8 and UTF-16 against ICU: both accept the same texts, give the same result, and find the fault at the
// same byte; what was accepted comes back unchanged.

#include "fuzz/Input.h"
#include "platform/Text.h"

#include <unicode/ustring.h>
#include <unicode/utf8.h>

#include <cstring>
#include <vector>

using namespace zutools::platform;
using zutools::fuzz::Require;

namespace {

// The decoding of ICU, one character at a time; `Fault` is the offset of the first malformed sequence or the
// size.
std::u16string DecodeByIcu(std::string_view Bytes, std::size_t& Fault) {
    const auto* const At = reinterpret_cast<const std::uint8_t*>(Bytes.data());
    const auto Size = static_cast<std::int32_t>(Bytes.size());
    std::u16string Text;
    for (std::int32_t Index = 0; Index < Size;) {
        const std::int32_t Start = Index;
        UChar32 Character = 0;
        U8_NEXT(At, Index, Size, Character);
        if (Character < 0) {
            Fault = static_cast<std::size_t>(Start);
            return Text;
        }
        if (Character >= 0x10000) {
            Text.push_back(static_cast<char16_t>(U16_LEAD(Character)));
            Text.push_back(static_cast<char16_t>(U16_TRAIL(Character)));
        } else {
            Text.push_back(static_cast<char16_t>(Character));
        }
    }
    Fault = Bytes.size();
    return Text;
}

void CheckDecoding(std::string_view Bytes) {
    const auto Decoded = Utf8ToUtf16Strict(Bytes);
    std::size_t Fault = 0;
    Require(Decoded.Text == DecodeByIcu(Bytes, Fault));
    Require((Decoded.Error ? Decoded.Error->Offset : Bytes.size()) == Fault);
    Require(Decoded.Error.has_value() == (Fault != Bytes.size()));

    const auto Again = Utf16ToUtf8Strict(Decoded.Text);
    Require(!Again.Error && Again.Text == Bytes.substr(0, Fault));

    // ICU replaces as we do: one for each maximal part of a sequence.
    const std::u16string Shown = Utf8ToUtf16(Bytes);
    std::u16string ByIcu(Bytes.size() + 1, u'\0');
    std::int32_t Length = 0;
    UErrorCode Status = U_ZERO_ERROR;
    u_strFromUTF8WithSub(ByIcu.data(), static_cast<std::int32_t>(ByIcu.size()), &Length, Bytes.data(),
                         static_cast<std::int32_t>(Bytes.size()), 0xFFFD, nullptr, &Status);
    ByIcu.resize(static_cast<std::size_t>(Length));
    Require(U_SUCCESS(Status) && Shown == ByIcu);
}

void CheckEncoding(std::u16string_view Text) {
    const auto Encoded = Utf16ToUtf8Strict(Text);
    const std::size_t Fault = Encoded.Error ? Encoded.Error->Offset : Text.size();
    const auto Back = Utf8ToUtf16Strict(Encoded.Text);
    Require(!Back.Error && Back.Text == Text.substr(0, Fault));
    if (Encoded.Error) Require(Fault < Text.size() && U16_IS_SURROGATE(Text[Fault]));

    std::vector<char> ByIcu(Text.size() * 3 + 1);
    std::int32_t Length = 0;
    UErrorCode Status = U_ZERO_ERROR;
    u_strToUTF8WithSub(ByIcu.data(), static_cast<std::int32_t>(ByIcu.size()), &Length, Text.data(),
                       static_cast<std::int32_t>(Text.size()), 0xFFFD, nullptr, &Status);
    const std::string_view Expected(ByIcu.data(), static_cast<std::size_t>(Length));
    Require(U_SUCCESS(Status) && Utf16ToUtf8(Text) == Expected);
    if (!Encoded.Error) Require(Encoded.Text == Expected);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* Data, std::size_t Size) {
    // A copy to the size, so that reading past the end is noticed.
    const std::vector<char> Bytes(Data, Data + Size);
    CheckDecoding({Bytes.data(), Bytes.size()});
    std::vector<char16_t> Units(Size / 2);
    if (!Units.empty()) std::memcpy(Units.data(), Data, Units.size() * 2);
    CheckEncoding({Units.data(), Units.size()});
    return 0;
}
