// Line and column of a place in a text, as all messages about templates tell them.

#pragma once

#include "platform/TextTools.h"

#include <compare>
#include <cstddef>
#include <string_view>

namespace zutools {

/// Line and column, both 1-based. Columns count characters (code points); a line ends at LF or CR LF. A
/// byte-order mark is not counted.
struct TLintPlace {
    std::size_t Line = 1;
    std::size_t Column = 1;
    friend auto operator<=>(const TLintPlace&, const TLintPlace&) = default;
};

/// Turns offsets into places. Offsets are asked for in rising order, so the text is walked once.
class TPlaceCursor {
public:
    explicit TPlaceCursor(std::u16string_view Text)
        : FText(Text) {}

    [[nodiscard]] TLintPlace At(std::size_t Offset) {
        for (; FOffset < Offset; ++FOffset) {
            const char16_t Unit = FText[FOffset];
            if (Unit == u'\n') {
                ++FPlace.Line;
                FPlace.Column = 1;
            } else if (!platform::IsLowSurrogate(Unit)) { // no character of its own
                ++FPlace.Column;
            }
        }
        return FPlace;
    }

private:
    std::u16string_view FText;
    std::size_t FOffset = 0;
    TLintPlace FPlace;
};

} // namespace zutools
