// Holds a TTemplate against the reference, in every way in which it can be asked. Throws TDifference, so that
// the fuzz target uses it too.

#pragma once

#include "platform/Text.h"
#include "templates/Ltemplt.h"
#include "tests/templates/Reference.h"

#include <stdexcept>
#include <string>

namespace zutools::tests {

class TDifference : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

inline void Expect(bool Holds, const char* What, std::u16string_view Wanted, std::u16string_view Found) {
    if (Holds) return;
    throw TDifference(std::string(What) + ": wanted \"" + platform::Utf16ToUtf8(Wanted) + "\", found \"" +
                      platform::Utf16ToUtf8(Found) + "\"");
}

inline void ExpectSame(const char* What, std::u16string_view Wanted, std::u16string_view Found) {
    Expect(Wanted == Found, What, Wanted, Found);
}

inline void ExpectSame(const char* What, std::size_t Wanted, std::size_t Found) {
    if (Wanted == Found) return;
    throw TDifference(std::string(What) + ": wanted " + std::to_string(Wanted) + ", found " +
                      std::to_string(Found));
}

inline void ExpectSame(const char* What, int Wanted, int Found) {
    ExpectSame(What, static_cast<std::size_t>(Wanted), static_cast<std::size_t>(Found));
}

/// What can be asked without turning the tags into lists.
inline void CompareFlat(TTemplate& Template, const TReference& Wanted) {
    ExpectSame("body", Wanted.Body, Template.Body());
    ExpectSame("identifier", Wanted.Ident, Template.PartName());
    ExpectSame("tags", static_cast<int>(Wanted.Entries.size()), Template.GetNumTags());
    ExpectSame("build", Wanted.Build(false), Template.BuildTemplate());
    ExpectSame("rebuild", Wanted.Build(true), Template.ReBuildTemplate());
    const std::vector<std::u16string> Names = Wanted.SortedNames();
    for (std::size_t Index = 0; Index < Names.size(); ++Index) {
        ExpectSame("name in order", Names[Index], Template.GetTagName(static_cast<int>(Index)));
        ExpectSame("index of name", static_cast<int>(Index), Template.GetTagIndex(Names[Index]));
    }
    ExpectSame("parts", static_cast<int>(Wanted.Parts.size()) + 1, Template.GetNumParts());
}

/// The tags as lists, and what is built from them.
inline void CompareLists(TTemplate& Template, const TReference& Wanted) {
    const TTags& Tags = Template.LTags();
    ExpectSame("occurrences", Wanted.Places.size(), Tags.TagsPosition.size());
    for (std::size_t Index = 0; Index < Wanted.Places.size(); ++Index) {
        const TReference::TPlace& Place = Wanted.Places[Index];
        const TTagParam& Tag = *Tags.TagsPosition[Index];
        ExpectSame("occurrence", Wanted.Entries[Place.Entry].Name, Tag.Param->FName.Text());
        ExpectSame("value", Wanted.Entries[Place.Entry].Value, Tag.Param->FValue);
        ExpectSame("position", static_cast<int>(Place.Position), Tag.Position);
        ExpectSame("caret of tag", -static_cast<int>(Tag.Param->FName.size() + 4), Tag.CaretX);
    }
    CompareFlat(Template, Wanted);
}

/// Compares the whole tree, filling tags on the way. `Fresh`: parsed, not copied, so errors and carets are
/// its own.
inline void CompareTree(TTemplate& Template, TReference& Wanted, bool Fresh) {
    if (Fresh) {
        ExpectSame("error", Wanted.LastError, Template.LastError());
        ExpectSame("caret column", Wanted.CaretX, Template.CaretX());
        ExpectSame("caret line", Wanted.CaretY, Template.CaretY());
    } else {
        ExpectSame("error of a copy", std::u16string_view(), Template.LastError());
    }
    ExpectSame("begin column", Wanted.BeginX, Template.BeginPositionX());
    ExpectSame("begin line", Wanted.BeginY, Template.BeginPositionY());
    ExpectSame("end column", Wanted.EndX, Template.EndPositionX());
    ExpectSame("end line", Wanted.EndY, Template.EndPositionY());

    for (TReference::TEntry& Entry : Wanted.Entries) Entry.Value.clear();
    CompareFlat(Template, Wanted);
    // Every second name is filled, in an order that the template does not expect, with values of all small
    // lengths.
    for (std::size_t Index = Wanted.Entries.size(); Index-- > 0;) {
        if (Index % 2 != 0 || Wanted.Entries[Index].Name.empty()) continue;
        Wanted.Entries[Index].Value.assign(Index % 21 + 1, static_cast<char16_t>(u'a' + Index % 26));
        Template.SetTagValue(Wanted.Entries[Index].Name, Wanted.Entries[Index].Value);
    }
    CompareFlat(Template, Wanted);
    CompareLists(Template, Wanted);
    for (std::size_t Index = 0; Index < Wanted.Parts.size(); ++Index) {
        CompareTree(*Template.GetPart(static_cast<int>(Index) + 1), *Wanted.Parts[Index], Fresh);
    }
}

/// Parses `Text` both ways and compares; then the same with two copies, one made before parts were asked for.
inline void CompareText(const std::u16string& Text) {
    TReference Wanted;
    const int End = Wanted.Compose(1, Text, {});
    TTemplate Template;
    ExpectSame("end", End, Template.ComposeTemplate(1, Text, {}));
    ExpectSame("full body", Text, Template.FullBody());
    TTemplate Early;
    Early.Assign(&Template);
    CompareTree(Template, Wanted, true);
    TTemplate Late;
    Late.Assign(&Template);
    CompareTree(Early, Wanted, false);
    CompareTree(Late, Wanted, false);
    Early.Clear();
    for (TReference::TEntry& Entry : Wanted.Entries) Entry.Value.clear();
    CompareFlat(Early, Wanted);
}

} // namespace zutools::tests
