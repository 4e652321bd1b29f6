// HTML documents as automation objects: `document.all.item(name, position)`, the properties of elements, the
// controls of forms.
//
// On Windows a document is the system's own (`IHTMLDocument2`), used late as any automation object. Elsewhere
// it is parsed here and only read: nothing runs, nothing is fetched, nothing changes. Letter case of member
// names does not count. A document and its elements belong to the thread that made it.

#pragma once

#include "platform/Automation.h"

#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace zutools::platform {

struct THtmlOption {
    std::u16string Value;
    bool Selected = false;
    bool Disabled = false; // itself or its group
};

/// A control that takes part in a form's submission, as the page's object model tells it.
struct THtmlControl {
    std::u16string Name;                           // the attribute; may be empty
    std::u16string Type;                           // of inputs as HtmlInputType, "textarea", "select"
    std::u16string Value;                          // of inputs and text areas
    bool Checked = false;                          // of check boxes and radio buttons
    bool Disabled = false;                         // itself or by a field set around it
    std::vector<THtmlOption> Options{};            // of selections
    std::optional<std::u16string> DirectionName{}; // what the direction of its text is sent as; may be empty
    bool RightToLeft = false;
};

/// A form by its name or id, or by its 0-based place among the document's forms.
using THtmlForm = std::variant<std::u16string, int>;

/// A document that tells the controls of its forms at once. One without this class is asked late.
class THtmlDocument : public TAutomationObject {
public:
    /// What the form owns, wherever it stands in the page, in the page's order, without buttons and images
    /// and without what stands in a data list or a template. Empty when there is no such form.
    [[nodiscard]] virtual std::optional<std::vector<THtmlControl>> Controls(const THtmlForm& Form) = 0;
};

/// What a document may cost.
struct THtmlLimits {
    std::size_t Bytes = 8 * 1024 * 1024;    // of its text in UTF-8
    std::size_t Memory = 256 * 1024 * 1024; // that its tree may take
    int Depth = 512;                        // of elements in elements, where browsers stop too
    int Milliseconds = 5000;                // of parsing
};

/// The document that a browser makes of a text, whatever the text is. Line ends and unpaired surrogates are
/// treated as browsers treat them. Blocks while it parses. The limits hold where the document is parsed here.
/// @throws TAutomationFailure for a limit that was passed, or when the system has no HTML engine.
[[nodiscard]] TAutomationPtr ParseHtml(std::u16string_view Text, const THtmlLimits& Limits = {});

} // namespace zutools::platform
