// Helpers for modules that drive automation objects late, by the names of their members, and that read the
// forms of HTML documents.
//
//     const platform::TAutomationPtr Files = platform::CreateAutomationObject(u"Scripting.FileSystemObject");
//     const platform::TAutomationValue Name = ExecMethod(Files, u"GetTempName", {});
//
// The objects come from the system (platform/Automation.h), from any object of the library
// (scripting/Reflected.h), from a parsed page (platform/Html.h) or from whoever implements the interface. A
// failed call gives null and no error; platform::TAutomationOutcome tells why a call failed to those who call
// the object themselves. Every call may block as long as the object does, and belongs to the object's thread.

#pragma once

#include "host/Strings.h"
#include "platform/Automation.h"
#include "platform/Html.h"

#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace zutools {

/// The value of a property; null for a null object, for a failed read, and for an unknown name unless
/// `RaiseIfUnknown`.
/// @throws Exception "Unknown name: %s."
[[nodiscard]] platform::TAutomationValue GetPropertyValue(const platform::TAutomationPtr& Object,
                                                          std::u16string_view Name, bool RaiseIfUnknown);

/// Calls a method, or reads a property with arguments. `Args` go to the object in the order given, and
/// objects take the last argument first: for `Add(Key, Item)` give the item, then the key. Null for a null
/// object, for an unknown name and for a call that failed; such a call is made once more as a plain method
/// whose result nobody asks for.
platform::TAutomationValue ExecMethod(const platform::TAutomationPtr& Object, std::u16string_view Name,
                                      std::span<const platform::TAutomationValue> Args);

/// `Text` with every property reference, a name between the two delimiters, replaced by the property's value:
/// "Order [No] of [Date]". Delimiters are found ignoring letter case. When the text ends inside a reference,
/// that value is joined to the text by AutomationSum, so two numbers are added.
/// @throws Exception "Unknown name: %s."; EVariantError for a value that is no text.
[[nodiscard]] std::u16string FormatInterfacePropertyString(const platform::TAutomationPtr& Object,
                                                           std::u16string_view Text,
                                                           std::u16string_view OpenDelimiter,
                                                           std::u16string_view CloseDelimiter);

/// Fills the list with the name of the object's type and a line "name=id" for each of its members.
/// `Selector`: 0 functions and variables, 1 variables only, 2 functions only. An object without type
/// information empties the list, a null object leaves it as it is.
void GetInterfaceProperties(const platform::TAutomationPtr& Object, TStrings& List, int Selector);

/// A property of the first element with that name or id; empty when there is no such element.
/// @throws Exception "Unknown name: %s."; EVariantError for a value that is no text.
[[nodiscard]] std::u16string GetElementPropertyValue(const platform::TAutomationPtr& Document,
                                                     std::u16string_view ElementName,
                                                     std::u16string_view PropertyName);

/// A property of the next element with that name, from `Position` on (0-based), that a form would submit:
/// disabled ones, and check boxes and radio buttons that are not checked, are passed over. `Position` moves
/// behind the element, so that the next call goes on there. Empty when there is none left.
/// @throws as GetElementPropertyValue; for an unknown name only when `RaiseIfUnknown`.
[[nodiscard]] std::u16string GetEnabledElementPropertyValue(const platform::TAutomationPtr& Document,
                                                            std::u16string_view ElementName,
                                                            std::u16string_view PropertyName, int& Position,
                                                            bool RaiseIfUnknown);

struct TFormEntry {
    std::u16string Name;
    std::u16string Value;
    friend bool operator==(const TFormEntry&, const TFormEntry&) = default;
};

/// What a browser would send when the form is submitted without a button: names and values in order, every
/// line end as CR LF, `_charset_` as UTF-8. Files, which nobody chose, are sent with an empty name. Empty
/// when the document has no such form. Documents that were not parsed here (Windows) are read as they stand
/// now.
[[nodiscard]] std::optional<std::vector<TFormEntry>>
SuccessfulFormEntries(const platform::TAutomationPtr& Document, const platform::THtmlForm& Form);

/// The text of a value: as TKXVariant's (decimal point, `YYYY-MM-DD HH:MM:SS`, "True"), amounts with their
/// decimals, empty for null.
/// @throws EVariantError for objects, arrays and errors.
[[nodiscard]] std::u16string AutomationText(const platform::TAutomationValue& Value);

/// The text of `Left + Right` as automation objects add: a text and a number are added when both are numbers,
/// everything else is joined as texts. Null adds nothing.
/// @throws EVariantError for objects, arrays and errors.
[[nodiscard]] std::u16string AutomationSum(std::u16string_view Left, const platform::TAutomationValue& Right);

} // namespace zutools
