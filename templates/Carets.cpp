#include "templates/Carets.h"

#include "templates/Marks.h"

#include <algorithm>

namespace zutools {

namespace {

/// The caret after the characters Begin to End of `Text`, none of which belongs to a mark.
TCaret Advance(TCaret Caret, std::u16string_view Text, std::size_t Begin, std::size_t End) {
    const std::size_t Last = Text.size() < 2 ? 0 : Text.size() - 2;
    while (Begin < End) {
        // Kept on purpose: a line ends at LF followed by CR, not at CR LF, and each of the last two
        // characters counts as a line end.
        const std::size_t Found = Text.substr(0, End + 1).find(u"\n\r", Begin);
        const std::size_t LineEnd = std::max(std::min(Found, Last), Begin);
        if (LineEnd >= End) break;
        Caret = {0, Caret.Y + 1};
        Begin = LineEnd + 1;
    }
    Caret.X += static_cast<int>(End - Begin);
    return Caret;
}

TPlaces Walk(const TParsedTemplate& Parsed, const TParsedTemplate::TPart& Part) {
    const bool IsRoot = &Part == &Parsed.Root();
    const std::u16string_view Text = Parsed.Text();
    TPlaces Result = IsRoot ? Parsed.Origin().Before : TPlaces{};
    TCaret& Caret = Result.Caret;
    std::size_t Opened = 0;
    for (std::size_t Place = Part.Start; Place < Part.Finish;) {
        const TMark Mark = FindMark(Text, Place, TagMark);
        Caret = Advance(Caret, Text, Place, std::min<std::size_t>(Mark.Begin, Part.Finish));
        Place = Mark.End;
        if (Mark.Begin >= Part.Finish) break;
        Caret.X += 2;
        Caret = Advance(Caret, Text, Mark.Begin + 2, Mark.Begin + 2 + Mark.Name.size());
        if (!Mark.IsClosed()) break;
        Caret.X += 2;
        if (!Mark.OpensPart()) continue;
        // A part walks with a caret of its own.
        Result.Begin = Result.End = Caret;
        Place = Parsed.Child(Part, Opened++).Finish;
    }
    if (IsRoot && Parsed.Origin().FromFile && !Parsed.Raised()) Result.End = Caret;
    return Result;
}

} // namespace

TPlaces TCarets::Tell(const TTextStretch& Text) const {
    if (FState == TState::Kept) return FKept;
    TPlaces Result = Walk(*Text.Parsed, *Text.Part);
    if (FState == TState::Copied) Result.Caret = FKept.Caret;
    return Result;
}

void TCarets::TakeCopied(const TTextStretch& Going) {
    if (FState == TState::Parsed) FKept.Caret = Tell(Going).Caret;
    FState = TState::Copied;
}

void TCarets::TakeCopied(const TTextStretch& Going, const TCarets& Source) {
    TakeCopied(Going);
    FKept.Begin = Source.FKept.Begin;
    FKept.End = Source.FKept.End;
    FState = Source.FState == TState::Kept ? TState::Kept : TState::Copied;
}

} // namespace zutools
