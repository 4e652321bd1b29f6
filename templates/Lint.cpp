#include "templates/Lint.h"

#include "core/NameMatch.h"
#include "platform/Text.h"
#include "platform/TextTools.h"
#include "templates/Ltemplt.h"
#include "templates/Marks.h"
#include "templates/ParsedTemplate.h"

#include <algorithm>
#include <map>
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
        for (TMark Key = FindMark(FText, 0, LanguageKeyMark); Key.State != TMark::TState::None;
             Key = FindMark(FText, Key.End, LanguageKeyMark)) {
            const TLintPlace Place = Places.At(Key.Begin);
            if (!Key.IsClosed()) {
                FReport.AddProblem(Place, u"language key is not closed: the text from here on is dropped");
                FText = FText.substr(0, Key.Begin);
                return;
            }
            Hide(Key);
            if (Key.Name.find(u"{{") != None) {
                FReport.AddProblem(Place, u"language key " + QuoteLintName(Key.Name) +
                                              u" holds an opening mark: is it closed too late?");
            }
            const auto [Found, New] = Known.try_emplace(Key.Name, FReport.Keys.size());
            if (!New) {
                ++FReport.Keys[Found->second].Count;
            } else {
                FReport.Keys.push_back({std::u16string(Key.Name), Place});
                CountName(Place);
                if (FFull) return;
            }
        }
    }

    /// Keys are replaced before tags are looked for: in a text of the same places no mark in a key counts.
    void Hide(const TMark& Key) {
        if (FHidden.empty()) FHidden = FText;
        std::fill_n(FHidden.begin() + static_cast<std::ptrdiff_t>(Key.Begin), Key.End - Key.Begin, u'\0');
    }

    void FindMarks() {
        const std::u16string_view Text =
            FHidden.empty() ? FText : std::u16string_view(FHidden).substr(0, FText.size());
        TPlaceCursor Places(FText);
        std::vector<std::size_t> Open{0}; // indices of the open parts; the template itself never closes
        std::vector<TLintProblem> OddClosings;
        bool ClosedAtTop = false;
        TMark Mark = FindMark(Text, 0, TagMark);
        for (; !FFull && !ClosedAtTop && Mark.State != TMark::TState::None;
             Mark = FindMark(Text, Mark.End, TagMark)) {
            const TLintPlace Place = Places.At(Mark.Begin);
            if (!Mark.IsClosed()) {
                FReport.AddProblem(Place, u"tag is not closed");
                break;
            }
            const std::u16string_view Name = FText.substr(Mark.Begin + 2, Mark.Name.size());
            if (Name.find(u"[[") != None) {
                FReport.AddProblem(Place, u"tag " + QuoteLintName(Name) +
                                              u" holds an opening mark: is it closed too late?");
            }
            if (Mark.OpensPart()) {
                Open.push_back(OpenPart(Name.substr(1), Place, Open.back()));
            } else if (!Mark.ClosesPart()) {
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

    [[nodiscard]] std::size_t OpenPart(std::u16string_view Name, TLintPlace Place, std::size_t Parent) {
        const auto [First, New] = FParts.try_emplace({Parent, PartIdentOf(Name)}, FReport.Parts.size());
        if (Name.empty()) {
            FReport.AddProblem(Place, u"part has no name: it can be reached by its index only");
        } else if (!New) {
            FReport.AddProblem(Place, u"part " + QuoteLintName(Name) + u" has the name of the part at " +
                                          PlaceText(FReport.Parts[First->second].Place) +
                                          u": it can be reached by its index only");
        }
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
        const auto [Same, NewTag] = FTags.try_emplace({Part, Name}, Tags.size());
        Seen->second = Same->second;
        if (NewTag) {
            if (Name.empty()) FReport.AddProblem(Place, u"tag has no name: it can never be filled");
            Tags.push_back({std::u16string(Name), Place, 1, IsTemplateMember(Name)});
            CountName(Place);
            return;
        }
        TLintName& First = Tags[Same->second];
        ++First.Count;
        const bool ByCase = platform::UpperCase(Name) == platform::UpperCase(First.Name);
        FReport.AddProblem(Place, u"tag " + QuoteLintName(Name) +
                                      (ByCase ? u" differs only in letter case from " : u" is the same as ") +
                                      QuoteLintName(First.Name) + u" at " + PlaceText(First.Place));
    }

    void CountName(TLintPlace Place) {
        if (++FNames < MaxLintNames) return;
        FFull = true;
        FReport.AddProblem(Place, u"more than " + Number(MaxLintNames) +
                                      u" different names: the rest is not analysed");
    }

    [[nodiscard]] static bool ClosesPart(std::u16string_view Closing, std::u16string_view Part) {
        return Closing.empty() || Closing == Part || TPartName(Closing).IsOf(PartIdentOf(Part));
    }

    /// A name in a part.
    template <class TText>
    struct TNameIn {
        std::size_t Part;
        TText Name;
        bool operator==(const TNameIn&) const = default;
    };
    struct THash {
        std::size_t operator()(const TNameIn<std::u16string_view>& Key) const {
            return std::hash<std::u16string_view>()(Key.Name) * 31 + Key.Part;
        }
    };
    /// Names are the same when templates say so.
    struct TOrder {
        template <class TText>
        bool operator()(const TNameIn<TText>& Left, const TNameIn<TText>& Right) const {
            if (Left.Part != Right.Part) return Left.Part < Right.Part;
            return UserNameMatch(false).Compare(Left.Name, Right.Name) < 0;
        }
    };

    static constexpr std::size_t None = std::u16string_view::npos;

    std::u16string_view FText; // without what an unclosed key drops
    std::u16string FHidden;    // the text with its keys hidden; empty while there is none
    TLintReport& FReport;
    std::size_t FNames = 0;
    bool FFull = false;
    // Index of a tag in its part, by the spelling met and by the name: only a new spelling is compared.
    std::unordered_map<TNameIn<std::u16string_view>, std::size_t, THash> FSpellings;
    std::map<TNameIn<std::u16string_view>, std::size_t, TOrder> FTags;
    std::map<TNameIn<std::u16string>, std::size_t, TOrder>
        FParts; // the first of a name, by parent and identifier
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
