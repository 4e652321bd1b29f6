// What stands in a template's text, with places, and what is wrong with it: the analysis behind `zuhost
// lint`.
//
// Called by tools, on any thread; pure: it opens no file and asks no service. It works on the text as
// written, language keys not yet replaced. The parser of TTemplate keeps no places and stops at the first
// fault; this scanner keeps both going, and reads the same marks the same way. Time and memory grow with the
// text's length, the depth of the parts costs no stack.
//
//     const TLintReport Report = LintTemplate(Bytes);
//     for (const TLintProblem& Problem : Report.Problems) ...

#pragma once

#include "templates/PlaceCursor.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace zutools {

/// One tag of a template or part, or one language key: its first spelling, where that stands, and how often
/// it occurs. Spellings of a tag that templates take for the same name count as one.
struct TLintName {
    std::u16string Name;
    TLintPlace Place;
    std::size_t Count = 1;
    /// A tag that is named like a member of templates: `page.NAME = "x"` loads a template instead of filling
    /// it.
    bool IsMember = false;
};

/// The template itself (element 0, without a name) or one of its parts, in the order in which they open: a
/// part's parent stands before it.
struct TLintPart {
    std::u16string Name;
    TLintPlace Place;       // of the opening mark
    std::size_t Parent = 0; // index of the enclosing part
    std::size_t Depth = 0;  // 0 for the template itself
    std::vector<TLintName> Tags;
};

struct TLintProblem {
    TLintPlace Place;
    std::u16string Message;
};

struct TLintReport {
    std::vector<TLintPart> Parts;       // never empty
    std::vector<TLintName> Keys;        // distinct, in text order
    std::vector<TLintProblem> Problems; // in text order, at most MaxLintProblems
    std::size_t MoreProblems = 0;       // counted beyond those
    /// Takes a problem in; callers add what they find besides (missing texts), then call SortProblems.
    void AddProblem(TLintPlace Place, std::u16string Message);
    void SortProblems();
};

/// A larger file is not analysed; templates refuse it as well. Bytes.
inline constexpr std::size_t MaxLintBytes = 64 * 1024 * 1024;
inline constexpr std::size_t MaxLintProblems = 1000;
/// Distinct tags, parts and keys that are kept of one file, so that its report stays bounded; what stands
/// behind the last one is not analysed, which is a problem of its own.
inline constexpr std::size_t MaxLintNames = 1'000'000;

/// Analyses the bytes of one template file. A file that is empty or larger than MaxLintBytes gives one
/// problem and nothing else; malformed UTF-8 is a problem at its first place, and the rest is analysed all
/// the same.
[[nodiscard]] TLintReport LintTemplate(std::string_view Bytes);

/// The report of a file that was not read because it has more than MaxLintBytes.
[[nodiscard]] TLintReport LintOversize(std::uint64_t Bytes);

/// A name for a message or a listing: in double quotes, control characters, quotes and backslashes escaped,
/// cut after `MaxLength` UTF-16 units.
[[nodiscard]] std::u16string QuoteLintName(std::u16string_view Name, std::size_t MaxLength = 80);

} // namespace zutools
