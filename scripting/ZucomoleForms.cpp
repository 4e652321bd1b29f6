// What a form sends: the list of entries that browsers construct, from the controls that a document tells.

#include "host/Exception.h"
#include "host/StringHelpers.h"
#include "platform/HtmlValues.h"
#include "platform/TextTools.h"
#include "scripting/Zucomole.h"

#include <array>

namespace zutools {

using platform::TAutomationPtr;
using platform::TAutomationValue;
using platform::THtmlControl;

namespace {

constexpr std::u16string_view LineEnd = u"\r\n";

void Append(std::vector<TFormEntry>& Entries, std::u16string_view Name, std::u16string_view Value) {
    Entries.push_back({platform::WithLineEnds(Name, LineEnd), platform::WithLineEnds(Value, LineEnd)});
}

void AppendControl(std::vector<TFormEntry>& Entries, const THtmlControl& Control) {
    const bool IsChoice = Control.Type == u"checkbox" || Control.Type == u"radio";
    if (Control.Disabled || (IsChoice && !Control.Checked)) return;
    if (Control.Name.empty()) return;
    if (Control.Type == u"select") {
        for (const platform::THtmlOption& Option : Control.Options)
            if (Option.Selected && !Option.Disabled) Append(Entries, Control.Name, Option.Value);
        return;
    }
    if (Control.Type == u"hidden" && platform::EqualAsciiNoCase(Control.Name, u"_charset_"))
        return Append(Entries, Control.Name, u"UTF-8");
    Append(Entries, Control.Name, Control.Value);
    // Kept on purpose: an empty name of the direction is sent too, as Chromium does.
    if (Control.DirectionName) Append(Entries, *Control.DirectionName, Control.RightToLeft ? u"rtl" : u"ltr");
}

// ---- documents that are asked late: the live page of a browser's object model

TAutomationValue Get(const TAutomationPtr& Object, std::u16string_view Name) {
    return GetPropertyValue(Object, Name, false);
}

bool IsTrue(const TAutomationPtr& Object, std::u16string_view Name) {
    const TAutomationValue Value = Get(Object, Name);
    const bool* const Boolean = Value.As<bool>();
    return Boolean != nullptr && *Boolean;
}

int Length(const TAutomationPtr& Collection) {
    const TAutomationValue Value = Get(Collection, u"length");
    const std::int32_t* const Count = Value.As<std::int32_t>();
    return Count != nullptr ? *Count : 0;
}

TAutomationPtr Item(const TAutomationPtr& Collection, const TAutomationValue& Key) {
    return ExecMethod(Collection, u"item", {&Key, 1}).Object();
}

// `Tag` in capitals: so are the tags of HTML and of nothing else in a page.
bool HasTag(const TAutomationPtr& Element, std::u16string_view Tag) {
    return AutomationText(Get(Element, u"tagName")) == Tag;
}

// Two references may be two objects for one element: what is compared is how far it is from the front.
bool IsFirstLegend(const TAutomationPtr& FieldSet, const TAutomationPtr& Child,
                   const TAutomationPtr& Control) {
    if (!HasTag(Child, u"LEGEND")) return false;
    const TAutomationPtr Children = Get(FieldSet, u"children").Object();
    for (int I = 0; I < Length(Children); ++I) {
        const TAutomationPtr Each = Item(Children, I);
        if (!HasTag(Each, u"LEGEND")) continue;
        const TAutomationValue Wanted = Control;
        const TAutomationValue Answer = ExecMethod(Each, u"contains", {&Wanted, 1});
        const bool* const Contains = Answer.As<bool>();
        return Contains != nullptr && *Contains;
    }
    return false;
}

struct TSurroundings {
    bool Disabled = false;
    bool InDataList = false;
};

TSurroundings Surroundings(const TAutomationPtr& Control) {
    TSurroundings Result;
    TAutomationPtr Below = Control;
    for (TAutomationPtr Above = Get(Control, u"parentElement").Object(); Above != nullptr;
         Above = Get(Below, u"parentElement").Object()) {
        if (HasTag(Above, u"DATALIST")) Result.InDataList = true;
        if (HasTag(Above, u"FIELDSET") && IsTrue(Above, u"disabled") && !IsFirstLegend(Above, Below, Control))
            Result.Disabled = true;
        Below = Above;
    }
    return Result;
}

std::vector<platform::THtmlOption> LateOptions(const TAutomationPtr& Select) {
    std::vector<platform::THtmlOption> Options;
    const TAutomationPtr List = Get(Select, u"options").Object();
    for (int I = 0; I < Length(List); ++I) {
        const TAutomationPtr Option = Item(List, I);
        const TAutomationPtr Group = Get(Option, u"parentElement").Object();
        const bool InDisabled = HasTag(Group, u"OPTGROUP") && IsTrue(Group, u"disabled");
        Options.push_back({AutomationText(Get(Option, u"value")), IsTrue(Option, u"selected"),
                           InDisabled || IsTrue(Option, u"disabled")});
    }
    return Options;
}

std::optional<std::vector<THtmlControl>> LateControls(const TAutomationPtr& Document,
                                                      const platform::THtmlForm& Which) {
    const TAutomationPtr Forms = Get(Document, u"forms").Object();
    const TAutomationPtr Form =
        Item(Forms, std::visit([](const auto& Key) { return TAutomationValue(Key); }, Which));
    const TAutomationPtr Elements = Get(Form, u"elements").Object();
    if (Elements == nullptr) return std::nullopt;
    std::vector<THtmlControl> Controls;
    for (int I = 0; I < Length(Elements); ++I) {
        const TAutomationPtr Element = Item(Elements, I);
        const bool IsSelect = HasTag(Element, u"SELECT"), IsArea = HasTag(Element, u"TEXTAREA");
        if (!IsSelect && !IsArea && !HasTag(Element, u"INPUT")) continue;
        const TSurroundings Around = Surroundings(Element);
        if (Around.InDataList) continue;
        THtmlControl Control;
        Control.Type = IsSelect ? u"select"
                       : IsArea ? u"textarea"
                                : LowerCase(AutomationText(Get(Element, u"type")));
        constexpr std::array Buttons = {u"submit", u"image", u"reset", u"button"};
        if (std::find(Buttons.begin(), Buttons.end(), Control.Type) != Buttons.end()) continue;
        Control.Name = AutomationText(Get(Element, u"name"));
        Control.Disabled = Around.Disabled || IsTrue(Element, u"disabled");
        Control.Checked = IsTrue(Element, u"checked");
        if (IsSelect) {
            Control.Options = LateOptions(Element);
        } else if (Control.Type != u"file") {
            Control.Value = AutomationText(Get(Element, u"value"));
        }
        Controls.push_back(std::move(Control));
    }
    return Controls;
}

} // namespace

std::optional<std::vector<TFormEntry>> SuccessfulFormEntries(const TAutomationPtr& Document,
                                                             const platform::THtmlForm& Form) {
    auto* const Parsed = dynamic_cast<platform::THtmlDocument*>(Document.get());
    const std::optional<std::vector<THtmlControl>> Controls =
        Parsed != nullptr ? Parsed->Controls(Form) : LateControls(Document, Form);
    if (!Controls) return std::nullopt;
    std::vector<TFormEntry> Entries;
    Entries.reserve(Controls->size());
    for (const THtmlControl& Control : *Controls) AppendControl(Entries, Control);
    return Entries;
}

} // namespace zutools
