// A parsed HTML document: gumbo's tree with what its users look things up by. For the sources of this folder.

#pragma once

#include "platform/Html.h"

#include <gumbo.h>

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace zutools::platform {

class TArena;

class THtmlTree {
public:
    /// @throws TAutomationFailure for a limit that was passed.
    THtmlTree(std::string Utf8, const THtmlLimits& Limits);
    ~THtmlTree();
    THtmlTree(const THtmlTree&) = delete;
    THtmlTree& operator=(const THtmlTree&) = delete;

    using TNodes = std::vector<const GumboNode*>;

    /// All elements in the page's order, templates without what stands in them.
    [[nodiscard]] const TNodes& Elements() const { return FElements; }
    [[nodiscard]] const TNodes& Forms() const { return FForms; }
    /// Those with such a name or id, in the page's order.
    [[nodiscard]] const TNodes& Named(std::string_view Name) const;
    /// The first with that id; null when there is none.
    [[nodiscard]] const GumboNode* WithId(std::string_view Id) const;
    /// The form whose control an element is; null when it is none's.
    [[nodiscard]] const GumboNode* OwnerOf(const GumboNode& Control) const;
    /// The form asked for; null when there is none.
    [[nodiscard]] const GumboNode* FindForm(const THtmlForm& Form) const;

private:
    // Where in the text the parser gives what it meets to a form.
    struct TFormSpan {
        std::size_t Begin, End;
        const GumboNode* Form;
    };
    void List(int MaxDepth);
    void FindSpans();
    void FindNames() const;

    const std::string FText; // the tree points into it
    std::unique_ptr<TArena> FArena;
    const GumboNode* FDocument = nullptr;
    TNodes FElements, FForms;
    std::vector<TFormSpan> FSpans; // in order, none overlaps another
    mutable std::unordered_map<std::string_view, TNodes> FNamed;
    mutable std::unordered_map<std::string_view, const GumboNode*> FById;
    mutable bool FHasNames = false;
};

/// The tag of an HTML element; GUMBO_TAG_UNKNOWN for anything else, svg and mathml too.
[[nodiscard]] inline GumboTag TagOf(const GumboNode& Node) {
    return Node.type == GUMBO_NODE_ELEMENT && Node.v.element.tag_namespace == GUMBO_NAMESPACE_HTML
               ? Node.v.element.tag
               : GUMBO_TAG_UNKNOWN;
}
/// UTF-8; null when the element has none. `Name` in small letters.
[[nodiscard]] const char* AttributeOf(const GumboNode& Element, std::string_view Name);
[[nodiscard]] inline bool HasAttribute(const GumboNode& Element, std::string_view Name) {
    return AttributeOf(Element, Name) != nullptr;
}
/// All text below an element but that of scripts, UTF-8.
[[nodiscard]] std::string TextOf(const GumboNode& Element);
/// The options of a selection, in groups or not.
[[nodiscard]] THtmlTree::TNodes OptionsOf(const GumboNode& Select);

/// What the page's object model says of a control: its value, and for a selection the options.
[[nodiscard]] std::u16string InputTypeOf(const GumboNode& Input);
[[nodiscard]] std::u16string ValueOf(const GumboNode& Control);
[[nodiscard]] std::vector<THtmlOption> OptionStates(const GumboNode& Select);
[[nodiscard]] std::u16string OptionText(const GumboNode& Option);
/// Whether a radio button or check box is checked: of the buttons of one name and form the last one wins.
[[nodiscard]] bool IsChecked(const THtmlTree& Tree, const GumboNode& Input);
[[nodiscard]] std::vector<THtmlControl> ControlsOf(const THtmlTree& Tree, const GumboNode& Form);

} // namespace zutools::platform
