#include "templates/ParsedTemplate.h"

#include "core/NameMatch.h"
#include "host/Format.h"
#include "host/Services.h"
#include "host/StringHelpers.h"
#include "templates/Ltemplt.h"
#include "templates/Marks.h"

#include <algorithm>
#include <bit>
#include <limits>
#include <map>
#include <numeric>
#include <optional>

namespace zutools {

namespace {

constexpr std::u16string_view TooLongText = u"Template text is too long: %d characters.";
constexpr std::u16string_view UnclosedTagText = u"Not found close tags (%s) in template: %s.";
constexpr std::u16string_view UnclosedPartText =
    u"Not found close tags (%s) of part: \"%s\" in template: %s.";

/// Names compare as in the sorted lists: by the user's collation, ignoring case.
const TNameMatch& UserNames() {
    return UserNameMatch(false);
}

bool SameName(std::u16string_view Left, std::u16string_view Right) {
    return SameUnits(Left, Right) || UserNames().Same(Left, Right);
}

} // namespace

class TParsedTemplate::TParser {
public:
    explicit TParser(TParsedTemplate& Target)
        : FTarget(Target)
        , FText(Target.FText) {
        // A guess that spares small templates the regrowing; a large one regrows a few times.
        constexpr std::size_t Guess = 64;
        FPieces.reserve(2 * Guess);
        FNames.reserve(Guess);
        FOpen.reserve(8);
        FTarget.FParts.reserve(8);
        FTarget.FIndex.resize(2 * Guess);
    }

    void Run(std::size_t Start) {
        Open({}, Start);
        std::size_t Place = Start;
        while (!FOpen.empty()) {
            const TMark Mark = FindMark(FText, Place, TagMark);
            if (!Mark.IsClosed()) return Fail(Place, Mark);
            if (Mark.OpensPart()) {
                AddLiteral(Place, Mark.Begin);
                Open(Mark.Name.substr(1), Mark.End);
            } else if (Mark.ClosesPart()) {
                // Kept on purpose: at the top it ends the text, and the rest is ignored.
                AddLiteral(Place, Mark.Begin);
                Close(Mark.End);
            } else {
                AddPiece(Place, Mark.Begin, Slot(Mark.Name));
                ++FTarget.FParts[FOpen.back().Part].TagCount;
            }
            Place = Mark.End;
        }
    }

private:
    struct TOrder {
        bool operator()(std::u16string_view Left, std::u16string_view Right) const {
            return UserNames().Compare(Left, Right) < 0;
        }
    };
    using TNamesInOrder = std::map<std::u16string_view, std::uint32_t, TOrder>;

    /// A part whose closing mark has not come yet. Its pieces, names and children stand at the end of the
    /// work lists.
    struct TOpenPart {
        std::uint32_t Part;
        std::size_t FirstPiece, FirstName, FirstChild;
        std::size_t BodyLength = 0;
        // All names by the collator, from the first name on that the folded form does not decide.
        std::unique_ptr<TNamesInOrder> Ordered{};
    };
    void Open(std::u16string_view Name, std::size_t Start) {
        const auto Index = static_cast<std::uint32_t>(FTarget.FParts.size());
        TPart& Part = FTarget.FParts.emplace_back();
        Part.Name = Name;
        Part.Start = static_cast<std::uint32_t>(Start);
        if (!FOpen.empty()) {
            FChildren.push_back(Index);
            const std::u16string Ident = PartIdentOf(Name);
            Part.FirstIdent = static_cast<std::uint32_t>(FTarget.FIdents.size());
            Part.IdentLength = static_cast<std::uint32_t>(Ident.size());
            FTarget.FIdents += Ident;
        }
        FOpen.push_back({Index, FPieces.size(), FNames.size(), FChildren.size()});
    }

    /// Ends the innermost part: its lists move to their place, where they stand together.
    void Close(std::size_t Finish) {
        const TOpenPart& Ended = FOpen.back();
        TPart& Part = FTarget.FParts[Ended.Part];
        Part.Finish = static_cast<std::uint32_t>(Finish);
        Part.BodyLength = static_cast<std::uint32_t>(Ended.BodyLength);
        Part.SlotCount = Move(FNames, Ended.FirstName, FTarget.FNames, Part.FirstSlot);
        Part.PieceCount = Move(FPieces, Ended.FirstPiece, FTarget.FPieces, Part.FirstPiece);
        Part.ChildCount = Move(FChildren, Ended.FirstChild, FTarget.FChildren, Part.FirstChild);
        FOpen.pop_back();
    }

    template <class T>
    static std::uint32_t Move(std::vector<T>& Work, std::size_t From, std::vector<T>& Final,
                              std::uint32_t& First) {
        if (Final.capacity() == 0) Final.reserve(Work.capacity());
        First = static_cast<std::uint32_t>(Final.size());
        Final.insert(Final.end(), Work.begin() + static_cast<std::ptrdiff_t>(From), Work.end());
        Work.resize(From);
        return static_cast<std::uint32_t>(Final.size()) - First;
    }

    /// The text ended too early: every open part ends with it.
    void Fail(std::size_t Place, const TMark& Last) {
        AddLiteral(Place, Last.Begin);
        const bool InTag = Last.State == TMark::TState::Unclosed;
        for (bool Innermost = true; !FOpen.empty(); Innermost = false) {
            TPart& Part = FTarget.FParts[FOpen.back().Part];
            const bool HasName = FOpen.size() > 1 ? !Part.Name.empty() : FTarget.FOrigin.IsPart;
            // A raised error ends the work: the parts around then record none.
            const bool Ended = FTarget.Raised();
            if (Innermost && InTag) {
                Part.Fault = TFault::UnclosedTag;
            } else if (HasName && !Ended) {
                // Kept on purpose: a part without a name may stay open.
                Part.Fault = TFault::UnclosedPart;
            }
            if (Part.Fault != TFault::None && FTarget.FFirstFault == nullptr) FTarget.FFirstFault = &Part;
            Close(FText.size());
        }
    }

    void AddLiteral(std::size_t Begin, std::size_t End) {
        if (Begin < End) AddPiece(Begin, End, NoSlot);
    }

    void AddPiece(std::size_t Begin, std::size_t End, std::uint32_t Slot) {
        FPieces.push_back({FText.data() + Begin, static_cast<std::uint32_t>(End - Begin), Slot});
        FOpen.back().BodyLength += End - Begin;
    }

    /// The slot of a tag name in the innermost part, a new one for a new name.
    std::uint32_t Slot(std::u16string_view Name) {
        TOpenPart& Open = FOpen.back();
        TPart& Part = FTarget.FParts[Open.Part];
        const TNameMatch::THash Hash = UserNames().Hash(Name);
        const std::span<const std::u16string_view> Known = std::span(FNames).subspan(Open.FirstName);
        TIndexEntry& Entry =
            Place(Open.Part, Hash.Value, [&](std::uint32_t Slot) { return SameName(Known[Slot], Name); });
        if (Entry.Slot != NoSlot) return Entry.Slot;

        const auto Slot = static_cast<std::uint32_t>(Known.size());
        if (!Hash.Simple && Part.Simple) {
            Part.Simple = false;
            Open.Ordered = std::make_unique<TNamesInOrder>();
            for (std::uint32_t Old = 0; Old < Slot; ++Old) Open.Ordered->emplace(Known[Old], Old);
        }
        if (Open.Ordered) {
            const auto [Same, IsNew] = Open.Ordered->emplace(Name, Slot);
            if (!IsNew) return Same->second;
        }
        FNames.push_back(Name);
        Entry = {Hash.Value, Open.Part, Slot};
        if (++FIndexed * 2 > FTarget.FIndex.size()) GrowIndex();
        return Slot;
    }

    void GrowIndex() {
        std::vector<TIndexEntry> Old(FTarget.FIndex.size() * 4);
        Old.swap(FTarget.FIndex);
        for (const TIndexEntry& Entry : Old) {
            if (Entry.Slot == NoSlot) continue;
            Place(Entry.Part, Entry.Hash, [](std::uint32_t) { return false; }) = Entry;
        }
    }

    template <class TSame>
    TIndexEntry& Place(std::uint32_t Part, std::uint64_t Hash, TSame Same) {
        const TIndexEntry& Found = FTarget.Probe(Part, Hash, Same);
        return FTarget.FIndex[static_cast<std::size_t>(&Found - FTarget.FIndex.data())];
    }

    TParsedTemplate& FTarget;
    const std::u16string_view FText;
    std::size_t FIndexed = 0;
    std::vector<TOpenPart> FOpen;
    std::vector<TPiece> FPieces;
    std::vector<std::u16string_view> FNames;
    std::vector<std::uint32_t> FChildren;
};

std::shared_ptr<const TParsedTemplate> TParsedTemplate::Parse(std::u16string Text, std::size_t Start,
                                                              TOrigin Origin) {
    constexpr std::size_t Limit = std::numeric_limits<std::int32_t>::max() - 1;
    if (Text.size() >= Limit) throw ETemplate(Format(TooLongText, {Text.size()}));
    const auto Result = std::make_shared<TParsedTemplate>();
    Result->FText = std::move(Text);
    Result->FOrigin = std::move(Origin);
    TParser(*Result).Run(std::min(Start, Result->FText.size()));
    return Result;
}

std::shared_ptr<const TParsedTemplate> TParsedTemplate::Empty() {
    static const std::shared_ptr<const TParsedTemplate> Text = Parse({}, 0, {});
    // Without an owner, so that no thread waits for another one's counting.
    return {std::shared_ptr<const TParsedTemplate>(), Text.get()};
}

template <class TSame>
const TParsedTemplate::TIndexEntry& TParsedTemplate::Probe(std::uint32_t Part, std::uint64_t Hash,
                                                           TSame Same) const {
    const std::size_t Mask = FIndex.size() - 1;
    for (std::size_t Place = static_cast<std::size_t>(Hash + Part * 0x9E3779B97F4A7C15U) & Mask;;
         Place = (Place + 1) & Mask) {
        const TIndexEntry& Entry = FIndex[Place];
        if (Entry.Slot == NoSlot) return Entry;
        if (Entry.Hash == Hash && Entry.Part == Part && Same(Entry.Slot)) return Entry;
    }
}

std::uint32_t TParsedTemplate::FindSlot(const TPart& Part, std::u16string_view Name) const {
    const TNameMatch::THash Hash = UserNames().Hash(Name);
    const std::span<const std::u16string_view> Known = Names(Part);
    const TIndexEntry& Entry =
        Probe(IndexOf(Part), Hash.Value, [&](std::uint32_t Slot) { return SameName(Known[Slot], Name); });
    if (Entry.Slot != NoSlot || (Hash.Simple && Part.Simple)) return Entry.Slot;

    const std::span<const std::uint32_t> Sorted = SortedSlots(Part);
    const auto Found = std::lower_bound(Sorted.begin(), Sorted.end(), Name,
                                        [&](std::uint32_t Slot, std::u16string_view Sought) {
                                            return UserNames().Compare(Known[Slot], Sought) < 0;
                                        });
    if (Found == Sorted.end() || UserNames().Compare(Known[*Found], Name) != 0) return NoSlot;
    return *Found;
}

std::span<const std::uint32_t> TParsedTemplate::SortedSlots(const TPart& Part) const {
    std::call_once(FSortOnce, [this] {
        FSorted.resize(FNames.size());
        for (const TPart& Each : FParts) {
            const auto Slots = std::span(FSorted).subspan(Each.FirstSlot, Each.SlotCount);
            const std::span<const std::u16string_view> Known = Names(Each);
            std::iota(Slots.begin(), Slots.end(), 0U);
            // As a heap, because that stays inside its range whatever the collator answers.
            std::partial_sort(Slots.begin(), Slots.end(), Slots.end(),
                              [&](std::uint32_t Left, std::uint32_t Right) {
                                  return UserNames().Compare(Known[Left], Known[Right]) < 0;
                              });
        }
    });
    return std::span(FSorted).subspan(Part.FirstSlot, Part.SlotCount);
}

std::u16string PartIdentOf(std::u16string_view Name) {
    const char16_t* const Upper = KX_UpCaseTable();
    std::u16string Result(Name);
    for (char16_t& Character : Result) Character = Upper[Character];
    return Result;
}

bool TPartName::IsOf(std::u16string_view Ident) const {
    // A letter and its capital need not be the same for the collation, as "\u0131" and "I" are not. A part is
    // found by its own name all the same.
    return Ident == FIdent || SameName(Ident, FName);
}

void LogFaults(const TParsedTemplate& Text, std::u16string_view TemplateName, TLogger& Logger) {
    if (Text.FirstFault() == nullptr) return;
    for (const TParsedTemplate::TPart& Part : Text.Parts()) {
        if (Part.Fault != TParsedTemplate::TFault::None)
            Logger.Log(TLogLevel::Error, FaultText(Part.Fault, Part.Name, TemplateName));
    }
}

std::u16string FaultText(TParsedTemplate::TFault Fault, std::u16string_view PartName,
                         std::u16string_view TemplateName) {
    if (Fault == TParsedTemplate::TFault::UnclosedTag) return Format(UnclosedTagText, {u"]]", TemplateName});
    return Format(UnclosedPartText, {u"[[/...]]", PartName, TemplateName});
}

} // namespace zutools
