#include "controls/PastedCells.h"

#include <algorithm>
#include <cstddef>

namespace zutools {

namespace {

constexpr std::u16string_view EndsOfCell = u"\t\r\n";
constexpr std::u16string_view AsksForQuotes = u"\t\r\n\"";

/// Takes a cell off the front when it begins with a quote that is closed; what stands behind the closing
/// quote belongs to it.
bool TakeQuoted(std::u16string_view& Text, std::u16string& Cell) {
    if (!Text.starts_with(u'"')) return false;
    std::size_t At = 1;
    while (true) {
        const std::size_t Quote = Text.find(u'"', At);
        if (Quote == Text.npos) {
            Cell.clear();
            return false;
        }
        Cell.append(Text.substr(At, Quote - At));
        At = Quote + 1;
        if (At == Text.size() || Text[At] != u'"') break;
        Cell.push_back(u'"');
        ++At;
    }
    Text.remove_prefix(At);
    return true;
}

std::u16string TakeCell(std::u16string_view& Text) {
    std::u16string Cell;
    TakeQuoted(Text, Cell);
    const std::size_t End = std::min(Text.find_first_of(EndsOfCell), Text.size());
    Cell.append(Text.substr(0, End));
    Text.remove_prefix(End);
    return Cell;
}

} // namespace

std::vector<TCellRow> CellsFromText(std::u16string_view Text) {
    std::vector<TCellRow> Rows;
    while (!Text.empty()) {
        TCellRow& Row = Rows.emplace_back();
        Row.push_back(TakeCell(Text));
        while (Text.starts_with(u'\t')) {
            Text.remove_prefix(1);
            Row.push_back(TakeCell(Text));
        }
        Text.remove_prefix(Text.starts_with(u"\r\n") ? 2 : std::min<std::size_t>(1, Text.size()));
    }
    return Rows;
}

std::u16string TextFromCells(const std::vector<TCellRow>& Rows) {
    std::u16string Text;
    for (const TCellRow& Row : Rows) {
        for (std::size_t Column = 0; Column < Row.size(); ++Column) {
            const std::u16string& Cell = Row[Column];
            if (Column > 0) Text.push_back(u'\t');
            if (Cell.find_first_of(AsksForQuotes) == Cell.npos) {
                Text.append(Cell);
                continue;
            }
            Text.push_back(u'"');
            for (const char16_t Character : Cell) Text.append(Character == u'"' ? 2 : 1, Character);
            Text.push_back(u'"');
        }
        Text.append(u"\r\n");
    }
    return Text;
}

} // namespace zutools
