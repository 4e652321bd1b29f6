#include "templates/Lint.h"

#include "platform/Text.h"
#include "platform/TextTools.h"

#include <algorithm>
#include <optional>
#include <unordered_map>
#include <utility>

namespace zutools {

namespace {

[[nodiscard]] std::u16string Number(std::uint64_t Value) {
    const std::string Digits = std::to_string(Value);
    return {Digits.begin(), Digits.end()};
}

[[nodiscard]] std::u16string PlaceText(TLintPlace Place) {
    return Number(Place.Line) + u":" + Number(Place.Column);
}

/// Turns offsets into places. Offsets are asked for in rising order, so the text is walked once.
class TPlaceCursor {
public:
    explicit TPlaceCursor(std::u16string_view Text)
        : FText(Text) {}

    [[nodiscard]] TLintPlace At(std::size_t Offset) {
        for (; FOffset < Offset; ++FOffset) {
            const char16_t Unit = FText[FOffset];
            if (Unit == u'\n') {
                ++FPlace.Line;
                FPlace.Column = 1;
            } else if (!platform::IsLowSurrogate(Unit)) { // no character of its own
                ++FPlace.Column;
            }
        }
        return FPlace;
    }

private:
    std::u16string_view FText;
    std::size_t FOffset = 0;
    TLintPlace FPlace;
};

[[nodiscard]] bool DoubledAt(std::u16string_view Text, std::size_t Offset, char16_t Mark) {
    return Offset + 1 < Text.size() && Text[Offset] == Mark && Text[Offset + 1] == Mark;
}

/// A language key in the text. Keys are replaced before tags are looked for, so no mark in them counts.
struct TKeySpan {
    std::size_t Begin; // of "{{"; npos when there is none
    std::size_t End;   // behind "}}"; npos when the key is not closed
};

/// The first key at or after `Offset`, as the loader finds them: from "{{" to the next "}}".
[[nodiscard]] TKeySpan FindKey(std::u16string_view Text, std::size_t Offset) {
    constexpr std::size_t None = std::u16string_view::npos;
    const std::size_t Begin = Text.find(u"{{", Offset);
    if (Begin == None) return {None, None};
    const std::size_t End = Text.find(u"}}", Begin + 2);
    return {Begin, End == None ? None : End + 2};
}

class TLinter {
public:
    TLinter(std::u16string_view Text, TLintReport& Report)
        : FText(Text)
        , FReport(Report) {}

    void Run() {
        FindKeys();
        FindMarks();
        FReport.SortProblems();
    }

private:
    void FindKeys() {
        TPlaceCursor Places(FText);
        std::unordered_map<std::u16string_view, std::size_t> Known;
        for (TKeySpan Span = FindKey(FText, 0); Span.Begin != None; Span = FindKey(FText, Span.End)) {
            const TLintPlace Place = Places.At(Span.Begin);
            if (Span.End == None) {
                FReport.AddProblem(Place, u"language key is not closed: the text from here on is dropped");
                FText = FText.substr(0, Span.Begin);
                return;
            }
            const std::u16string_view Key = FText.substr(Span.Begin + 2, Span.End - Span.Begin - 4);
            if (Key.find(u"{{") != None) {
                FReport.AddProblem(Place, u"language key " + QuoteLintName(Key) +
                                              u" holds an opening mark: is it closed too late?");
            }
            const auto [Found, New] = Known.try_emplace(Key, FReport.Keys.size());
            if (!New) {
                ++FReport.Keys[Found->second].Count;
            } else {
                FReport.Keys.push_back({std::u16string(Key), Place});
                CountName(Place);
                if (FFull) return;
            }
        }
    }

    void FindMarks() {
        TPlaceCursor Places(FText);
        std::vector<std::size_t> Open{0}; // indices of the open parts; the template itself never closes
        std::vector<TLintProblem> OddClosings;
        bool ClosedAtTop = false;
        std::size_t Offset = 0;
        while (!FFull && !ClosedAtTop && (Offset = FindDoubled(Offset, u'[')) < FText.size()) {
            const TLintPlace Place = Places.At(Offset);
            const std::size_t Close = FindDoubled(Offset + 2, u']');
            if (Close >= FText.size()) {
                FReport.AddProblem(Place, u"tag is not closed");
                break;
            }
            const std::u16string_view Name = FText.substr(Offset + 2, Close - Offset - 2);
            Offset = Close + 2;
            if (Name.find(u"[[") != None) {
                FReport.AddProblem(Place, u"tag " + QuoteLintName(Name) +
                                              u" holds an opening mark: is it closed too late?");
            }
            if (Name.starts_with(u'!')) {
                Open.push_back(OpenPart(Name.substr(1), Place, Open.back()));
            } else if (!Name.starts_with(u'/')) {
                AddTag(Name, Place, Open.back());
            } else if (Open.size() > 1) {
                const TLintPart& Part = FReport.Parts[Open.back()];
                if (!ClosesPart(Name.substr(1), Part.Name) && OddClosings.size() < MaxLintProblems) {
                    OddClosings.push_back({Place, u"closing mark " + QuoteLintName(Name) +
                                                      u" closes the part " + QuoteLintName(Part.Name) +
                                                      u" opened at " + PlaceText(Part.Place)});
                }
                Open.pop_back();
            } else {
                FReport.AddProblem(Place, u"closing mark " + QuoteLintName(Name) +
                                              u" without an open part: the rest of the file is ignored");
                ClosedAtTop = true;
            }
        }
        if (FFull) return;
        for (std::size_t Index = 1; Index < Open.size(); ++Index) {
            const TLintPart& Part = FReport.Parts[Open[Index]];
            FReport.AddProblem(Part.Place, u"part " + QuoteLintName(Part.Name) + u" is not closed");
        }
        // Any closing mark closes the innermost part, whatever name it bears, and that is no fault by itself.
        // Where openings and closings do not match, it is the likely place of the mistake.
        if (ClosedAtTop || Open.size() > 1) {
            for (TLintProblem& Problem : OddClosings)
                FReport.AddProblem(Problem.Place, std::move(Problem.Message));
        }
    }

    /// The next doubled mark outside language keys; the text's size when there is none. Offsets never go
    /// back.
    [[nodiscard]] std::size_t FindDoubled(std::size_t Offset, char16_t Mark) {
        while (Offset < FText.size()) {
            if (FKey.End <= Offset) FKey = FindKey(FText, Offset);
            if (FKey.Begin <= Offset) {
                Offset = FKey.End;
                continue;
            }
            const std::size_t Limit = std::min(FKey.Begin, FText.size());
            for (; Offset < Limit; ++Offset) {
                if (DoubledAt(FText, Offset, Mark)) return Offset;
            }
        }
        return FText.size();
    }

    [[nodiscard]] std::size_t OpenPart(std::u16string_view Name, TLintPlace Place, std::size_t Parent) {
        if (Name.empty()) FReport.AddProblem(Place, u"part has no name: it can be reached by its index only");
        FReport.Parts.push_back({std::u16string(Name), Place, Parent, FReport.Parts[Parent].Depth + 1, {}});
        CountName(Place);
        return FReport.Parts.size() - 1;
    }

    void AddTag(std::u16string_view Name, TLintPlace Place, std::size_t Part) {
        const auto [Seen, NewSpelling] = FSpellings.try_emplace({Part, Name});
        std::vector<TLintName>& Tags = FReport.Parts[Part].Tags;
        if (!NewSpelling) {
            ++Tags[Seen->second].Count;
            return;
        }
        const auto [Same, NewTag] = FTags.try_emplace({Part, platform::UpperCase(Name)}, Tags.size());
        Seen->second = Same->second;
        if (NewTag) {
            if (Name.empty()) FReport.AddProblem(Place, u"tag has no name: it can never be filled");
            Tags.push_back({std::u16string(Name), Place});
            CountName(Place);
            return;
        }
        TLintName& First = Tags[Same->second];
        ++First.Count;
        FReport.AddProblem(Place, u"tag " + QuoteLintName(Name) + u" differs only in letter case from " +
                                      QuoteLintName(First.Name) + u" at " + PlaceText(First.Place));
    }

    void CountName(TLintPlace Place) {
        if (++FNames < MaxLintNames) return;
        FFull = true;
        FReport.AddProblem(Place, u"more than " + Number(MaxLintNames) +
                                      u" different names: the rest is not analysed");
    }

    [[nodiscard]] static bool ClosesPart(std::u16string_view Closing, std::u16string_view Part) {
        return Closing.empty() || Closing == Part ||
               platform::UpperCase(Closing) == platform::UpperCase(Part);
    }

    template <class TText>
    struct TPartName {
        std::size_t Part;
        TText Name;
        bool operator==(const TPartName&) const = default;
    };
    struct THash {
        template <class TText>
        std::size_t operator()(const TPartName<TText>& Key) const {
            return std::hash<TText>()(Key.Name) * 31 + Key.Part;
        }
    };

    static constexpr std::size_t None = std::u16string_view::npos;

    std::u16string_view FText; // without what an unclosed key drops
    TLintReport& FReport;
    std::size_t FNames = 0;
    bool FFull = false;
    TKeySpan FKey{0, 0}; // the one at or after the place that FindDoubled has reached
    // Index of a tag in its part, by the spelling met and by the name in upper case: only a new spelling is
    // cased.
    std::unordered_map<TPartName<std::u16string_view>, std::size_t, THash> FSpellings;
    std::unordered_map<TPartName<std::u16string>, std::size_t, THash> FTags;
};

} // namespace

void TLintReport::AddProblem(TLintPlace Place, std::u16string Message) {
    if (Problems.size() < MaxLintProblems) {
        Problems.push_back({Place, std::move(Message)});
    } else {
        ++MoreProblems;
    }
}

void TLintReport::SortProblems() {
    std::sort(Problems.begin(), Problems.end(), [](const TLintProblem& Left, const TLintProblem& Right) {
        return Left.Place != Right.Place ? Left.Place < Right.Place : Left.Message < Right.Message;
    });
}

TLintReport LintTemplate(std::string_view Bytes) {
    TLintReport Report;
    Report.Parts.emplace_back();
    if (Bytes.empty()) {
        Report.AddProblem({}, u"file is empty");
        return Report;
    }
    if (Bytes.size() > MaxLintBytes) {
        return LintOversize(Bytes.size());
    }
    std::optional<std::size_t> FaultOffset;
    std::u16string Text;
    {
        auto Decoded = platform::Utf8ToUtf16Strict(Bytes);
        if (Decoded.Error) {
            FaultOffset = Decoded.Text.size();
            Text = platform::Utf8ToUtf16(Bytes);
        } else {
            Text = std::move(Decoded.Text);
        }
    }
    std::u16string_view Analysed = Text;
    // A file of the mark alone keeps it, as the loader does.
    if (Bytes.size() > platform::Utf8ByteOrderMark.size() && Analysed.starts_with(platform::ByteOrderMark)) {
        Analysed.remove_prefix(1);
        if (FaultOffset) FaultOffset = *FaultOffset - 1;
    }
    if (FaultOffset) {
        Report.AddProblem(TPlaceCursor(Analysed).At(*FaultOffset), u"malformed UTF-8");
    }
    TLinter(Analysed, Report).Run();
    return Report;
}

TLintReport LintOversize(std::uint64_t Bytes) {
    TLintReport Report;
    Report.Parts.emplace_back();
    Report.AddProblem({}, u"file of " + Number(Bytes) + u" bytes is larger than the " + Number(MaxLintBytes) +
                              u" that are analysed");
    return Report;
}

std::u16string QuoteLintName(std::u16string_view Name, std::size_t MaxLength) {
    const std::u16string_view Shown = platform::WholeStart(Name, MaxLength);
    std::u16string Result = u"\"";
    for (const char16_t Unit : Shown) {
        if (Unit == u'"' || Unit == u'\\') {
            Result += {u'\\', Unit};
        } else if (Unit == u'\n') {
            Result += u"\\n";
        } else if (Unit == u'\r') {
            Result += u"\\r";
        } else if (Unit == u'\t') {
            Result += u"\\t";
        } else if (platform::IsControl(Unit)) {
            Result += u"\\u";
            platform::AppendHex(Result, static_cast<unsigned char>(Unit >> 8));
            platform::AppendHex(Result, static_cast<unsigned char>(Unit & 0xFF));
        } else {
            Result += Unit;
        }
    }
    Result += Shown.size() < Name.size() ? u"\"..." : u"\"";
    return Result;
}

} // namespace zutools
