// Any bytes are analysed, places stay inside the text, and where no language key interferes the analysis
// agrees with the templates themselves about parts, tags and what is not closed.

#include "fuzz/Input.h"
#include "platform/Text.h"
#include "templates/Lint.h"
#include "templates/Ltemplt.h"

#include <algorithm>

using namespace zutools;
using zutools::fuzz::Require;

namespace {

bool EndsWith(const TLintProblem& Problem, std::u16string_view Words) {
    return std::u16string_view(Problem.Message).ends_with(Words);
}

/// An unnamed part may stay open, as far as templates are concerned.
bool IsLoadError(const TLintProblem& Problem) {
    return EndsWith(Problem, u" is not closed") && Problem.Message != u"part \"\" is not closed";
}

void CompareWithTemplate(const TLintReport& Report, std::u16string Text) {
    TTemplate Template;
    Template.SetRaiseException(true);
    bool Raised = false;
    try {
        Template.SetBody(std::move(Text));
    } catch (const ETemplate&) {
        Raised = true;
    }
    Require(Raised == std::any_of(Report.Problems.begin(), Report.Problems.end(), IsLoadError),
            "what is not closed");
    if (Raised) return;
    const auto Direct = std::count_if(Report.Parts.begin(), Report.Parts.end(),
                                      [](const TLintPart& Part) { return Part.Depth == 1; });
    Require(Direct == Template.GetNumParts() - 1, "the number of parts");
    Require(Report.Parts.front().Tags.size() == static_cast<std::size_t>(Template.GetNumTags()),
            "the number of tags");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* Data, std::size_t Size) {
    const std::string_view Bytes = fuzz::Bytes(Data, Size);
    const TLintReport Report = LintTemplate(Bytes);
    const std::size_t Lines = static_cast<std::size_t>(std::count(Bytes.begin(), Bytes.end(), '\n')) + 1;
    for (const TLintProblem& Problem : Report.Problems) {
        Require(Problem.Place.Line <= Lines && Problem.Place.Column <= Size + 1, "a place outside the text");
    }
    auto Decoded = platform::Utf8ToUtf16Strict(Bytes);
    if (!Decoded.Error && Size > 0 && Report.Keys.empty() && Bytes.find("{{") == std::string_view::npos &&
        !Decoded.Text.starts_with(u'\uFEFF') && Report.MoreProblems == 0) {
        CompareWithTemplate(Report, std::move(Decoded.Text));
    }
    return 0;
}
