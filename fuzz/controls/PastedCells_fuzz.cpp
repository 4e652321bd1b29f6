// Cells of the clipboard: any text reads, and what is written from it reads back the same.
//
// Input: the text in UTF-16.

#include "controls/PastedCells.h"
#include "fuzz/Input.h"

using zutools::fuzz::Require;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* Data, std::size_t Size) {
    using namespace zutools;
    const std::u16string Text = fuzz::Utf16(Data, Size);
    const std::vector<TCellRow> Rows = CellsFromText(Text);
    std::size_t Units = 0;
    std::size_t Cells = 0;
    for (const TCellRow& Row : Rows) {
        Require(!Row.empty(), "a row without a cell");
        Cells += Row.size();
        for (const std::u16string& Cell : Row) Units += Cell.size();
    }
    // Nothing but quotes and what stands between cells and lines is missing.
    std::size_t Marks = 0;
    for (const char16_t Character : Text)
        Marks += std::u16string_view(u"\t\r\n\"").find(Character) != std::u16string_view::npos;
    Require(Units <= Text.size() && Units + Marks >= Text.size(), "a character was lost or added");
    Require(Cells <= Marks + 1, "more cells than marks between them");
    Require(CellsFromText(TextFromCells(Rows)) == Rows, "written and read again differs");
    return 0;
}
