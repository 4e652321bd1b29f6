// Cells as spreadsheets put them on the clipboard: tabs between the cells, a line a row, quotes around a cell
// that holds a tab, a line break or a quote, which is then doubled.
//
// Plain functions without Qt; no input is refused and nothing of it lost.

#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace zutools {

using TCellRow = std::vector<std::u16string>;

/// The rows of the text. CR LF, LF and CR end a line, the last one may be missing; every row has a cell. A
/// quote that is never closed is a character like others.
[[nodiscard]] std::vector<TCellRow> CellsFromText(std::u16string_view Text);

/// The rows as text, each line ended by CR LF. Reads back the same when every row has a cell.
[[nodiscard]] std::u16string TextFromCells(const std::vector<TCellRow>& Rows);

} // namespace zutools
