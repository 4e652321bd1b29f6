#include "scripting/Zucomole.h"

#include "host/Exception.h"
#include "host/Format.h"
#include "host/Numbers.h"
#include "host/StringHelpers.h"
#include "host/Variant.h"
#include "scripting/AutomationValues.h"

#include <algorithm>
#include <array>
#include <cmath>

namespace zutools {

using platform::TAutomationOutcome;
using platform::TAutomationPtr;
using platform::TAutomationValue;
using platform::TInvokeKind;

namespace {

constexpr std::u16string_view UnknownName = u"Unknown name: %s.";

// Whether the text at `Place` begins with the delimiter, ignoring case; an empty one never does.
bool StartsAt(std::u16string_view Text, std::size_t Place, std::u16string_view Delimiter) {
    if (Delimiter.empty() || Text.size() - Place < Delimiter.size()) return false;
    return std::equal(Delimiter.begin(), Delimiter.end(), Text.begin() + static_cast<std::ptrdiff_t>(Place),
                      [](char16_t A, char16_t B) { return KX_UpChar(A) == KX_UpChar(B); });
}

bool IsTrue(const TAutomationValue& Value) {
    const bool* const Boolean = Value.As<bool>();
    return Boolean != nullptr && *Boolean;
}

bool IsFalse(const TAutomationValue& Value) {
    const bool* const Boolean = Value.As<bool>();
    return Boolean != nullptr && !*Boolean;
}

// Item `Position` among the document's elements of that name; null when there is none.
TAutomationPtr FindElement(const TAutomationPtr& Document, std::u16string_view Name, int Position) {
    const TAutomationPtr All = GetPropertyValue(Document, u"all", false).Object();
    const std::array<TAutomationValue, 2> Args = {TAutomationValue(Position), TAutomationValue(Name)};
    return ExecMethod(All, u"item", Args).Object();
}

// Appends "name=id" for every member; a line of that text is added once only.
void AddMembers(TStrings& List, const std::vector<platform::TAutomationMember>& Members) {
    for (const platform::TAutomationMember& Member : Members) {
        const std::u16string Line = Format(u"%s=%d", {Member.Name, Member.Id});
        if (List.IndexOf(Line) < 0) List.Add(Line);
    }
}

} // namespace

TAutomationValue GetPropertyValue(const TAutomationPtr& Object, std::u16string_view Name,
                                  bool RaiseIfUnknown) {
    if (Object == nullptr) return platform::TAutomationNull();
    const std::optional<std::int32_t> Id = Object->FindMember(Name);
    if (!Id) {
        if (RaiseIfUnknown) throw Exception(Format(UnknownName, {Name}));
        return platform::TAutomationNull();
    }
    TAutomationOutcome Outcome = Object->Invoke(*Id, TInvokeKind::PropertyGet, {});
    // Kept on purpose: a failed read is null and no error.
    return Outcome.Done() ? std::move(Outcome.Value) : TAutomationValue(platform::TAutomationNull());
}

TAutomationValue ExecMethod(const TAutomationPtr& Object, std::u16string_view Name,
                            std::span<const TAutomationValue> Args) {
    const std::optional<std::int32_t> Id = Object != nullptr ? Object->FindMember(Name) : std::nullopt;
    if (!Id) return platform::TAutomationNull();
    // Kept on purpose: the arguments are not turned round, callers give them in the order that objects take.
    TAutomationOutcome Outcome = Object->Invoke(*Id, TInvokeKind::MethodOrPropertyGet, Args);
    if (Outcome.Done()) return std::move(Outcome.Value);
    // Kept on purpose: the second call's result and failure are nobody's; null it is.
    static_cast<void>(Object->Invoke(*Id, TInvokeKind::Method, Args, false));
    return platform::TAutomationNull();
}

std::u16string FormatInterfacePropertyString(const TAutomationPtr& Object, std::u16string_view Text,
                                             std::u16string_view OpenDelimiter,
                                             std::u16string_view CloseDelimiter) {
    std::u16string Result, Name;
    bool Inside = false;
    for (std::size_t Place = 0; Place < Text.size();) {
        const std::u16string_view Delimiter = Inside ? CloseDelimiter : OpenDelimiter;
        if (!StartsAt(Text, Place, Delimiter)) {
            (Inside ? Name : Result) += Text[Place++];
            continue;
        }
        Place += Delimiter.size();
        if (Inside) Result += AutomationText(GetPropertyValue(Object, Name, true));
        Name.clear();
        Inside = !Inside;
    }
    // Kept on purpose: a reference that the text ends in is still looked up, and its value is added, not
    // appended: "10[Count" gives 15 where the count is 5.
    if (Inside && !Name.empty()) return AutomationSum(Result, GetPropertyValue(Object, Name, true));
    return Result;
}

void GetInterfaceProperties(const TAutomationPtr& Object, TStrings& List, int Selector) {
    if (Object == nullptr) return;
    const TUpdateScope Update(List);
    List.Clear();
    const std::optional<platform::TAutomationType> Type = Object->DescribeType();
    if (!Type) return;
    List.Add(Type->Name);
    // Kept on purpose: 1 leaves the functions out and 2 the variables; every other selector lists both.
    if (Selector != 1) AddMembers(List, Type->Functions);
    if (Selector != 2) AddMembers(List, Type->Variables);
}

std::u16string GetElementPropertyValue(const TAutomationPtr& Document, std::u16string_view ElementName,
                                       std::u16string_view PropertyName) {
    const TAutomationPtr Element = FindElement(Document, ElementName, 0);
    if (Element == nullptr) return {};
    return AutomationText(GetPropertyValue(Element, PropertyName, true));
}

std::u16string GetEnabledElementPropertyValue(const TAutomationPtr& Document, std::u16string_view ElementName,
                                              std::u16string_view PropertyName, int& Position,
                                              bool RaiseIfUnknown) {
    for (;;) {
        const TAutomationPtr Element = FindElement(Document, ElementName, Position);
        if (Element == nullptr) return {};
        ++Position;
        if (IsTrue(GetPropertyValue(Element, u"disabled", false))) continue;
        const TAutomationValue Type = GetPropertyValue(Element, u"type", false);
        const auto* const TypeName = Type.As<std::u16string>();
        const bool IsChoice = TypeName != nullptr && (*TypeName == u"checkbox" || *TypeName == u"radio");
        // Kept on purpose: only a boolean false passes a choice over; anything else counts as checked.
        if (IsChoice && IsFalse(GetPropertyValue(Element, u"checked", false))) continue;
        return AutomationText(GetPropertyValue(Element, PropertyName, RaiseIfUnknown));
    }
}

std::u16string AutomationText(const TAutomationValue& Value) {
    if (const auto* const Amount = Value.As<platform::TAutomationCurrency>()) {
        constexpr std::int64_t Unit = 10'000;
        std::u16string Text = Amount->TenThousandths < 0 ? u"-" : u"";
        Text += IntToStr(std::abs(Amount->TenThousandths / Unit));
        const std::int64_t Rest = std::abs(Amount->TenThousandths % Unit);
        if (Rest == 0) return Text;
        std::u16string Decimals = IntToStr(Unit + Rest).substr(1);
        while (Decimals.back() == u'0') Decimals.pop_back();
        return Text + u"." + Decimals;
    }
    return FromAutomation(Value).AsString();
}

std::u16string AutomationSum(std::u16string_view Left, const TAutomationValue& Right) {
    const std::u16string Text = AutomationText(Right);
    // Two texts are joined, also when both are numbers.
    if (Right.As<std::u16string>() != nullptr) return std::u16string(Left) + Text;
    const std::optional<double> First = TryStrToFloat(Left);
    if (!First || Right.IsNull()) return std::u16string(Left) + Text;
    if (const bool* const Boolean = Right.As<bool>()) return FloatToStr(*First + (*Boolean ? -1 : 0));
    if (const auto* const Date = Right.As<platform::TAutomationDate>())
        return AutomationText(platform::TAutomationDate{*First + Date->Days});
    const std::optional<double> Second = TryStrToFloat(Text);
    return Second ? FloatToStr(*First + *Second) : std::u16string(Left) + Text;
}

} // namespace zutools
