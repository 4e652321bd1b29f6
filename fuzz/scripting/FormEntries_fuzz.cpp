// Pages and what their forms send: any text is a page, what is sent has CR LF for every line end, and a
// document that is asked late, member by member, sends the same as one that tells its controls at once.

#include "fuzz/Input.h"
#include "platform/Text.h"
#include "platform/TextTools.h"
#include "scripting/Zucomole.h"

#include <algorithm>

using namespace zutools;
using zutools::fuzz::Require;

namespace {

/// Hides what a parsed document is.
class TLate : public platform::TAutomationObject {
public:
    explicit TLate(platform::TAutomationPtr Document)
        : FDocument(std::move(Document)) {}
    std::optional<std::int32_t> FindMember(std::u16string_view Name) override {
        return FDocument->FindMember(Name);
    }
    platform::TAutomationOutcome Invoke(std::int32_t Member, platform::TInvokeKind Kind,
                                        std::span<const platform::TAutomationValue> Args,
                                        bool WantResult) override {
        return FDocument->Invoke(Member, Kind, Args, WantResult);
    }
    std::optional<platform::TAutomationType> DescribeType() override { return FDocument->DescribeType(); }

private:
    const platform::TAutomationPtr FDocument;
};

bool HasLoneLineEnd(std::u16string_view Text) {
    for (std::size_t I = 0; I < Text.size(); ++I) {
        if (Text[I] == u'\n' && (I == 0 || Text[I - 1] != u'\r')) return true;
        if (Text[I] == u'\r' && (I + 1 == Text.size() || Text[I + 1] != u'\n')) return true;
    }
    return false;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* Data, std::size_t Size) {
    constexpr std::size_t Most = 20'000;
    if (Size > Most) return 0;
    const std::u16string Text = platform::Utf8ToUtf16(fuzz::Bytes(Data, Size));
    platform::TAutomationPtr Document;
    try {
        Document = platform::ParseHtml(Text);
    } catch (const platform::TAutomationFailure&) {
        return 0;
    }
    const auto Late = std::make_shared<TLate>(Document);
    // A direction is told at once only.
    const bool TellsDirections =
        platform::LowerAsciiText(std::string(fuzz::Bytes(Data, Size))).find("dirname") != std::string::npos;
    for (int Form = 0;; ++Form) {
        const auto Entries = SuccessfulFormEntries(Document, Form);
        if (!Entries) break;
        for (const TFormEntry& Entry : *Entries)
            Require(!HasLoneLineEnd(Entry.Name) && !HasLoneLineEnd(Entry.Value), "a line end");
        if (!TellsDirections) {
            const auto Same = SuccessfulFormEntries(Late, Form);
            Require(Same.has_value() && *Same == *Entries, "asked late");
        }
    }
    return 0;
}
