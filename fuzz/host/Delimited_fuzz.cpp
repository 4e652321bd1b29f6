// Delimited text: any text reads, and what is written from it reads back the same.
//
// Input: one byte that chooses delimiter and quote, then the text in UTF-16.

#include "fuzz/Input.h"
#include "host/Strings.h"

using zutools::fuzz::Require;

namespace {

void RequireSame(const zutools::TStrings& Left, const zutools::TStrings& Right) {
    Require(Left.Count() == Right.Count());
    for (int Index = 0; Index < Left.Count(); ++Index) Require(Left.Strings(Index) == Right.Strings(Index));
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* Data, std::size_t Size) {
    using namespace zutools;
    if (Size == 0) return 0;
    const char16_t Delimiter = u",; \t"[Data[0] % 4];
    const char16_t Quote = u"\"'"[Data[0] / 4 % 2];
    std::u16string Text = fuzz::Utf16(Data, Size, 1);

    TStringList Read;
    Read.SetDelimitedText(Text, Delimiter, Quote);
    TStringList Again;
    Again.SetDelimitedText(Read.DelimitedText(Delimiter, Quote), Delimiter, Quote);
    RequireSame(Read, Again);

    // Lines of the text at its line breaks hold what delimited reading never leaves: blanks and control
    // characters.
    TStringList Lines;
    Lines.SetText(Text);
    Again.SetDelimitedText(Lines.DelimitedText(Delimiter, Quote), Delimiter, Quote);
    RequireSame(Lines, Again);
    Again.SetText(Lines.Text());
    RequireSame(Lines, Again);
    return 0;
}
