// The controls of a form, as the object model of a page tells them.

#include "platform/HtmlValues.h"
#include "platform/TextTools.h"
#include "platform/posix/HtmlTree.h"

#include <unicode/uchar.h>
#include <unicode/utf16.h>

#include <algorithm>

namespace zutools::platform {

namespace {

std::u16string AttributeText(const GumboNode& Element, std::string_view Name) {
    const char* const Value = AttributeOf(Element, Name);
    return Value != nullptr ? Utf8ToUtf16(Value) : std::u16string();
}

std::optional<std::u16string> MaybeAttribute(const GumboNode& Element, std::string_view Name) {
    const char* const Value = AttributeOf(Element, Name);
    return Value != nullptr ? std::optional(Utf8ToUtf16(Value)) : std::nullopt;
}

bool IsBelow(const GumboNode& Element, GumboTag Tag) {
    for (const GumboNode* Above = Element.parent; Above != nullptr; Above = Above->parent)
        if (TagOf(*Above) == Tag) return true;
    return false;
}

// What is found once for an element that many controls stand in.
template <class TFound>
class TOnce {
public:
    template <class TFind>
    const TFound& Of(const GumboNode& Element, TFind Find) {
        const auto [Place, IsNew] = FFound.try_emplace(&Element);
        if (IsNew) Place->second = Find(Element);
        return Place->second;
    }

private:
    std::unordered_map<const GumboNode*, TFound> FFound;
};

const GumboNode* FirstLegend(const GumboNode& FieldSet) {
    const GumboVector& Children = FieldSet.v.element.children;
    for (unsigned I = 0; I < Children.length; ++I) {
        const auto& Child = *static_cast<const GumboNode*>(Children.data[I]);
        if (TagOf(Child) == GUMBO_TAG_LEGEND) return &Child;
    }
    return nullptr;
}

// The control is disabled itself or by a field set around it, in whose first legend it does not stand.
bool IsDisabled(const GumboNode& Control, TOnce<const GumboNode*>& Legends) {
    if (HasAttribute(Control, "disabled")) return true;
    const GumboNode* Below = &Control;
    for (const GumboNode* Above = Control.parent; Above != nullptr; Above = Above->parent) {
        if (TagOf(*Above) == GUMBO_TAG_FIELDSET && HasAttribute(*Above, "disabled") &&
            Below != Legends.Of(*Above, FirstLegend))
            return true;
        Below = Above;
    }
    return false;
}

// ---- writing direction

enum class TDirection : std::uint8_t { None, Left, Right };

TDirection StrongDirection(std::u16string_view Text) {
    for (std::size_t I = 0; I < Text.size();) {
        UChar32 Character = 0;
        U16_NEXT(Text.data(), I, Text.size(), Character);
        const UCharDirection Direction = u_charDirection(Character);
        if (Direction == U_LEFT_TO_RIGHT) return TDirection::Left;
        if (Direction == U_RIGHT_TO_LEFT || Direction == U_RIGHT_TO_LEFT_ARABIC) return TDirection::Right;
    }
    return TDirection::None;
}

enum class TDirAttribute : std::uint8_t { Missing, Left, Right, Auto };

TDirAttribute DirOf(const GumboNode& Element) {
    const char* const Value = AttributeOf(Element, "dir");
    if (Value != nullptr && EqualAsciiNoCase(Value, "ltr")) return TDirAttribute::Left;
    if (Value != nullptr && EqualAsciiNoCase(Value, "rtl")) return TDirAttribute::Right;
    if ((Value != nullptr && EqualAsciiNoCase(Value, "auto")) || TagOf(Element) == GUMBO_TAG_BDI)
        return TDirAttribute::Auto;
    return TDirAttribute::Missing;
}

// The first strong character below an element, where the page leaves the direction to the text.
TDirection DirectionOfText(const GumboNode& Root) {
    std::vector<const GumboNode*> Waiting{&Root};
    while (!Waiting.empty()) {
        const GumboNode* const Node = Waiting.back();
        Waiting.pop_back();
        if (Node->type == GUMBO_NODE_TEXT) {
            const TDirection Found = StrongDirection(Utf8ToUtf16(Node->v.text.text));
            if (Found != TDirection::None) return Found;
        }
        if (Node->type != GUMBO_NODE_ELEMENT) continue;
        const GumboTag Tag = TagOf(*Node);
        const bool Skipped =
            Node != &Root && (Tag == GUMBO_TAG_SCRIPT || Tag == GUMBO_TAG_STYLE ||
                              Tag == GUMBO_TAG_TEXTAREA || DirOf(*Node) != TDirAttribute::Missing);
        const GumboVector& Children = Node->v.element.children;
        for (unsigned I = Skipped ? 0 : Children.length; I > 0; --I)
            Waiting.push_back(static_cast<const GumboNode*>(Children.data[I - 1]));
    }
    return TDirection::None;
}

bool IsRightToLeft(const GumboNode& Control, std::u16string_view Type, std::u16string_view Value,
                   TOnce<TDirection>& Directions) {
    for (const GumboNode* Element = &Control; Element != nullptr && Element->type == GUMBO_NODE_ELEMENT;
         Element = Element->parent) {
        switch (DirOf(*Element)) {
        case TDirAttribute::Left:
            return false;
        case TDirAttribute::Right:
            return true;
        case TDirAttribute::Auto:
            if (Element == &Control) return StrongDirection(Value) == TDirection::Right;
            return Directions.Of(*Element, DirectionOfText) == TDirection::Right;
        case TDirAttribute::Missing:
            if (Element == &Control && Type == u"tel") return false;
        }
    }
    return false;
}

// The types whose text has a direction to be sent.
bool HasDirection(std::u16string_view Type) {
    constexpr std::u16string_view Types[] = {u"hidden", u"text",  u"search",   u"tel",
                                             u"url",    u"email", u"password", u"textarea"};
    return std::find(std::begin(Types), std::end(Types), Type) != std::end(Types);
}

// ---- radio buttons

bool IsCheckedRadio(const GumboNode& Element) {
    return TagOf(Element) == GUMBO_TAG_INPUT && HasAttribute(Element, "checked") &&
           InputTypeOf(Element) == u"radio";
}

} // namespace

std::u16string InputTypeOf(const GumboNode& Input) {
    return std::u16string(HtmlInputType(AttributeText(Input, "type")));
}

std::u16string OptionText(const GumboNode& Option) {
    return CollapseHtmlBlanks(Utf8ToUtf16(TextOf(Option)));
}

std::vector<THtmlOption> OptionStates(const GumboNode& Select) {
    std::vector<THtmlOption> States;
    const bool Multiple = HasAttribute(Select, "multiple");
    std::size_t Chosen = static_cast<std::size_t>(-1); // of a selection of one: the last that is marked
    for (const GumboNode* Option : OptionsOf(Select)) {
        const GumboNode& Above = *Option->parent;
        const bool Disabled = HasAttribute(*Option, "disabled") ||
                              (TagOf(Above) == GUMBO_TAG_OPTGROUP && HasAttribute(Above, "disabled"));
        const bool Marked = HasAttribute(*Option, "selected");
        if (Marked) Chosen = States.size();
        const std::optional<std::u16string> Value = MaybeAttribute(*Option, "value");
        States.push_back({Value ? *Value : OptionText(*Option), Multiple && Marked, Disabled});
    }
    if (Multiple) return States;
    if (Chosen < States.size()) {
        States[Chosen].Selected = true;
        return States;
    }
    const std::optional<int> Size = HtmlNumber(AttributeText(Select, "size"));
    if (Size.value_or(1) > 1) return States; // a list may have nothing chosen
    const auto First =
        std::find_if(States.begin(), States.end(), [](const THtmlOption& Each) { return !Each.Disabled; });
    if (First != States.end()) First->Selected = true;
    return States;
}

std::u16string ValueOf(const GumboNode& Control) {
    switch (TagOf(Control)) {
    case GUMBO_TAG_INPUT: {
        const std::u16string Type = InputTypeOf(Control);
        THtmlInputLimits Limits;
        if (Type == u"range")
            Limits = {MaybeAttribute(Control, "min"), MaybeAttribute(Control, "max"),
                      MaybeAttribute(Control, "step")};
        Limits.Multiple = HasAttribute(Control, "multiple");
        return HtmlInputValue(Type, MaybeAttribute(Control, "value"), Limits);
    }
    case GUMBO_TAG_TEXTAREA:
        return WithLineEnds(Utf8ToUtf16(TextOf(Control)), u"\n");
    case GUMBO_TAG_OPTION:
        return MaybeAttribute(Control, "value").value_or(OptionText(Control));
    case GUMBO_TAG_SELECT: {
        for (const THtmlOption& Option : OptionStates(Control))
            if (Option.Selected) return Option.Value;
        return {};
    }
    default:
        return AttributeText(Control, "value");
    }
}

bool IsChecked(const THtmlTree& Tree, const GumboNode& Input) {
    if (!HasAttribute(Input, "checked")) return false;
    const char* const Name = AttributeOf(Input, "name");
    if (InputTypeOf(Input) != u"radio" || Name == nullptr || *Name == '\0') return true;
    const auto& Group = Tree.Named(Name);
    const GumboNode* const Owner = Tree.OwnerOf(Input);
    const auto Last = std::find_if(Group.rbegin(), Group.rend(), [&](const GumboNode* Each) {
        const char* const Other = AttributeOf(*Each, "name");
        return Other != nullptr && std::string_view(Other) == Name && IsCheckedRadio(*Each) &&
               Tree.OwnerOf(*Each) == Owner;
    });
    return Last != Group.rend() && *Last == &Input;
}

std::vector<THtmlControl> ControlsOf(const THtmlTree& Tree, const GumboNode& Form) {
    std::vector<THtmlControl> Controls;
    TOnce<const GumboNode*> Legends;
    TOnce<TDirection> Directions;
    // By name: which control is the last checked radio button so far; one in a data list is no control.
    std::unordered_map<std::u16string, std::optional<std::size_t>> CheckedRadios;
    for (const GumboNode* Element : Tree.Elements()) {
        const GumboTag Tag = TagOf(*Element);
        if (Tag != GUMBO_TAG_INPUT && Tag != GUMBO_TAG_SELECT && Tag != GUMBO_TAG_TEXTAREA) continue;
        if (Tree.OwnerOf(*Element) != &Form) continue;
        const bool IsControl = !IsBelow(*Element, GUMBO_TAG_DATALIST);
        if (IsCheckedRadio(*Element)) {
            if (const std::u16string Name = AttributeText(*Element, "name"); !Name.empty()) {
                auto& Last = CheckedRadios[Name];
                if (Last) Controls[*Last].Checked = false;
                Last = IsControl ? std::optional(Controls.size()) : std::nullopt;
            }
        }
        if (!IsControl) continue;
        THtmlControl Control;
        Control.Type = Tag == GUMBO_TAG_INPUT    ? InputTypeOf(*Element)
                       : Tag == GUMBO_TAG_SELECT ? u"select"
                                                 : u"textarea";
        if (Control.Type == u"submit" || Control.Type == u"image" || Control.Type == u"reset" ||
            Control.Type == u"button")
            continue;
        Control.Name = AttributeText(*Element, "name");
        Control.Disabled = IsDisabled(*Element, Legends);
        if (Tag == GUMBO_TAG_SELECT) {
            Control.Options = OptionStates(*Element);
        } else {
            Control.Value = ValueOf(*Element);
        }
        if (Control.Type == u"checkbox" || Control.Type == u"radio")
            Control.Checked = HasAttribute(*Element, "checked");
        if (HasDirection(Control.Type) && HasAttribute(*Element, "dirname")) {
            Control.DirectionName = AttributeText(*Element, "dirname");
            Control.RightToLeft = IsRightToLeft(*Element, Control.Type, Control.Value, Directions);
        }
        Controls.push_back(std::move(Control));
    }
    return Controls;
}

} // namespace zutools::platform
