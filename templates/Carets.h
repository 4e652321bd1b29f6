// The carets that a template tells about its parsing: columns and lines, both counted from 0. Informative
// only: nothing depends on them.

#pragma once

#include "templates/ParsedTemplate.h"

namespace zutools {

/// What one template knows about its carets. Those of a parsed text are found by walking it again, when
/// somebody asks; so each question comes with the text that the template has at that time.
class TCarets {
public:
    [[nodiscard]] TPlaces Tell(const TTextStretch& Text) const;

    /// Before the text goes: what only it can tell is kept.
    void Settle(const TTextStretch& Text) {
        FKept = Tell(Text);
        FState = TState::Kept;
    }
    /// A file is about to be read. Settled carets only.
    void Restart() { FKept.Begin = FKept.Caret = {}; }
    /// A part begins, and ends, at the running caret. Settled carets only.
    void BeginPart() { FKept.Begin = FKept.Caret; }
    void EndPart() { FKept.End = FKept.Caret; }

    /// The template has parsed the text that it has now.
    void TakeParsed() { FState = TState::Parsed; }
    [[nodiscard]] bool AreParsed() const { return FState == TState::Parsed; }
    /// The template becomes a copy: begin and end are those of the text that it gets, the running caret stays
    /// that of the text that goes.
    void TakeCopied(const TTextStretch& Going);
    /// The same, but begin and end are what the source tells.
    void TakeCopied(const TTextStretch& Going, const TCarets& Source);

private:
    enum class TState {
        Kept,   // all of them are in FKept
        Copied, // begin and end are the text's, the running caret is in FKept
        Parsed, // all of them are the text's
    };
    TState FState = TState::Kept;
    TPlaces FKept;
};

} // namespace zutools
