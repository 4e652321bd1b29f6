#include "platform/TextTools.h"

#include <numeric>
#include <vector>

namespace zutools::platform {

namespace {

std::string_view HtmlReference(char Character) {
    switch (Character) {
    case '&':
        return "&amp;";
    case '<':
        return "&lt;";
    case '>':
        return "&gt;";
    case '"':
        return "&quot;";
    case '\'':
        return "&#39;";
    default:
        return {};
    }
}

} // namespace

std::u16string Masked(std::u16string_view Text, char16_t Mark, std::u16string_view Kept) {
    std::u16string Result(Text);
    for (std::size_t At = 0; At < Result.size(); ++At) {
        char16_t& Unit = Result[At];
        if (IsHighSurrogate(Unit) && At + 1 < Result.size() && IsLowSurrogate(Result[At + 1])) {
            ++At; // a pair
        } else if (IsSurrogate(Unit) || (IsControl(Unit) && Kept.find(Unit) == Kept.npos)) {
            Unit = Mark;
        }
    }
    return Result;
}

std::u16string Shortened(std::u16string_view Text, std::size_t MaxUnits) {
    std::u16string Result(WholeStart(Text, MaxUnits));
    if (Result.size() < Text.size()) Result += u"...";
    return Result;
}

std::string HtmlEscape(std::string_view Text) {
    std::string Result;
    Result.reserve(Text.size() + Text.size() / 8);
    for (const char Character : Text) {
        const std::string_view Reference = HtmlReference(Character);
        if (Reference.empty()) {
            Result += Character;
        } else {
            Result += Reference;
        }
    }
    return Result;
}

std::size_t EditDistance(std::string_view Left, std::string_view Right) {
    std::vector<std::size_t> Row(Right.size() + 1);
    std::iota(Row.begin(), Row.end(), std::size_t{0});
    for (std::size_t Line = 1; Line <= Left.size(); ++Line) {
        std::size_t Diagonal = Row[0];
        Row[0] = Line;
        for (std::size_t Column = 1; Column <= Right.size(); ++Column) {
            const std::size_t Replaced = Diagonal + (Left[Line - 1] == Right[Column - 1] ? 0 : 1);
            Diagonal = Row[Column];
            Row[Column] = std::min({Replaced, Diagonal + 1, Row[Column - 1] + 1});
        }
    }
    return Row.back();
}

} // namespace zutools::platform
