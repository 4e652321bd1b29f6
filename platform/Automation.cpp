#include "platform/Automation.h"

#include "platform/File.h"
#include "platform/TextTools.h"

#include <algorithm>
#include <cmath>

namespace zutools::platform {

namespace {

struct TCodeText {
    std::int32_t Code;
    std::u16string_view Text;
};

// Scripts and tests meet these everywhere: one wording, not the system's of the day.
constexpr TCodeText CodeTexts[] = {
    {AutomationCode::MemberNotFound, u"Member not found"},
    {AutomationCode::ArgumentLeftOut, u"An argument is missing"},
    {AutomationCode::TypeMismatch, u"Type mismatch"},
    {AutomationCode::UnknownName, u"Unknown name"},
    {AutomationCode::BadType, u"A value of this type cannot be passed"},
    {AutomationCode::Raised, u"The object raised an error"},
    {AutomationCode::BadArgumentCount, u"Wrong number of arguments"},
    {AutomationCode::ObjectGone, u"The object is gone"},
    {AutomationCode::WrongThread, u"The object belongs to another thread"},
};

} // namespace

std::u16string AutomationErrorText(std::int32_t Code) {
    const auto* const Known = std::find_if(std::begin(CodeTexts), std::end(CodeTexts),
                                           [Code](const TCodeText& Each) { return Each.Code == Code; });
    std::u16string Number = u"0x";
    for (unsigned Shift = 32; Shift > 0; Shift -= 8)
        AppendHex(Number, static_cast<unsigned char>(static_cast<std::uint32_t>(Code) >> (Shift - 8)),
                  CapitalHexDigits);
    std::u16string Text = Known != std::end(CodeTexts) ? std::u16string(Known->Text) : SystemErrorText(Code);
    // "error N" is what the system says of a code that it has no text for.
    if (Text.empty() || Text.starts_with(u"error ") || Text.starts_with(u"Unknown error"))
        return u"error " + Number;
    return Text + u" (" + Number + u")";
}

TAutomationOutcome AutomationRefusal(std::int32_t Code, std::u16string Text) {
    if (Text.empty()) Text = AutomationErrorText(Code);
    return {Code, std::move(Text), {}};
}

double EvenDays(TAutomationDate Date) {
    const double Whole = std::trunc(Date.Days);
    return Whole + std::abs(Date.Days - Whole);
}

TAutomationDate DateOfEvenDays(double Days) {
    const double Whole = std::floor(Days);
    return {Whole < 0 ? Whole - (Days - Whole) : Days};
}

} // namespace zutools::platform
