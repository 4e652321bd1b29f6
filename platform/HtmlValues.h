// What the value of an HTML form control is: the rules that browsers bring the text of an `<input>` into
// shape by. Shared by every kind of document; plain functions for any thread.

#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace zutools::platform {

/// The `type` of an input as the page's object model tells it: in small letters, "text" for one that browsers
/// do not know.
[[nodiscard]] std::u16string_view HtmlInputType(std::u16string_view Attribute);

/// Attributes that the value of an input depends on; absent ones are empty.
struct THtmlInputLimits {
    std::optional<std::u16string> Min, Max, Step;
    bool Multiple = false;
};

/// The `value` of an input of a type that HtmlInputType gave: line breaks taken out of one-line texts,
/// numbers, colours, dates and times that are none emptied, a range moved onto its scale. `Value` is the
/// attribute, empty when absent.
[[nodiscard]] std::u16string HtmlInputValue(std::u16string_view Type, std::optional<std::u16string> Value,
                                            const THtmlInputLimits& Limits);

/// Blanks as HTML has them: space, tab, line feed, form feed, carriage return.
[[nodiscard]] constexpr bool IsHtmlBlank(char16_t Character) {
    return Character == u' ' || Character == u'\t' || Character == u'\n' || Character == u'\f' ||
           Character == u'\r';
}
/// Without blanks at the ends, and every run of them inside as one space.
[[nodiscard]] std::u16string CollapseHtmlBlanks(std::u16string_view Text);
[[nodiscard]] std::u16string_view TrimHtmlBlanks(std::u16string_view Text);
/// Every line end, CR, LF or CRLF, as `End`.
[[nodiscard]] std::u16string WithLineEnds(std::u16string_view Text, std::u16string_view End);
/// An unsigned number at the front, blanks before it allowed, as attributes have them; empty without one.
[[nodiscard]] std::optional<int> HtmlNumber(std::u16string_view Text);

} // namespace zutools::platform
