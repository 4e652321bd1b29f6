// TTemplate: filling the tags and building the page.

#include "core/Lparams.h"
#include "host/Format.h"
#include "templates/CopyUnits.h"
#include "templates/TemplateState.h"

#include <algorithm>

namespace zutools {

namespace {

using TPiece = TParsedTemplate::TPiece;
constexpr std::uint32_t NoSlot = TParsedTemplate::NoSlot;

constexpr std::u16string_view EmptyTagText = u"Can't get value of empty tag."; // for writing too, kept so
constexpr std::u16string_view UnknownTagText = u"Not found tag with name: %s in template: %s.";
constexpr std::u16string_view TagIndexText = u"Error tag index: %d.";

/// Calls `Literal(text)` and `Tag(name, value)` for what the lists hold, in text order.
template <class TLiteral, class TTag>
void Walk(const TLoose& Loose, TLiteral Literal, TTag Tag) {
    const std::u16string_view Body = Loose.Body;
    std::size_t Place = 0;
    for (const auto& Each : Loose.Tags.TagsPosition) {
        if (Each == nullptr) continue;
        const auto Position =
            std::min(static_cast<std::size_t>(std::max(Each->Position, 1) - 1), Body.size());
        if (Position > Place) Literal(Body.substr(Place, Position - Place));
        if (Each->Param != nullptr) Tag(Each->Param->FName, Each->Param->FValue);
        Place = Position;
    }
    Literal(Body.substr(Place));
}

/// The number of characters that AppendPieces appends.
std::size_t SizeOf(const TTextStretch& Text, const TTagValues& Values) {
    const TParsedTemplate::TPart& Part = *Text.Part;
    if (Part.TagCount == Part.SlotCount) return Part.BodyLength + Values.Total(); // no tag stands twice
    std::size_t Size = Part.BodyLength;
    for (const TPiece& Piece : Text.Pieces()) {
        if (Piece.Slot != NoSlot) Size += Values.Get(Piece.Slot).size();
    }
    return Size;
}

/// Appends the literals and the values between them. The string's room is written once only: it is not
/// cleared first, which is what this file is compiled as C++23 for.
void AppendPieces(const TTextStretch& Text, const TTagValues& Filled, std::u16string& Output) {
    const std::size_t Begin = Output.size();
    const std::size_t End = Begin + SizeOf(Text, Filled);
    const std::size_t Capacity = Output.capacity();
    if (Begin > 0 && Capacity < End + CopySlack) {
        // A string that grows row by row grows fourfold: it is copied each time, and memory that nobody has
        // written to costs nothing.
        Output.reserve(std::max(End + CopySlack, 4 * Capacity));
    }
    const auto Write = [&](char16_t* Units) {
        const TTagValues::TReader Values(Filled);
        const std::u16string_view Whole = Text.Parsed->Text();
        const char16_t* const WholeEnd = Whole.data() + Whole.size();
        char16_t* Place = Units + Begin;
        for (const TPiece& Piece : Text.Pieces()) {
            const bool HasSlack = static_cast<std::size_t>(WholeEnd - Piece.Begin) >= CopySlack;
            Place = HasSlack ? OvercopyUnits(Place, Piece.Begin, Piece.Length)
                             : CopyUnits(Place, Piece.Begin, Piece.Length);
            if (Piece.Slot == NoSlot) continue;
            const std::u16string_view Value = Values[Piece.Slot];
            if (!Value.empty()) Place = OvercopyUnits(Place, Value.data(), Value.size());
        }
        return End;
    };
    Output.resize_and_overwrite(End + CopySlack, [&](char16_t* Units, std::size_t) { return Write(Units); });
}

} // namespace

// --- Filling ---

std::uint32_t TTemplate::TState::FindSlotByHash(const TSlots& Slots, std::u16string_view TagName) const {
    const std::uint32_t Slot = Text.Parsed->FindSlot(*Text.Part, TagName);
    if (Slot != NoSlot) Slots.Next = Slot + 1 == Slots.Names.size() ? 0 : Slot + 1;
    return Slot;
}

std::u16string TTemplate::GetTagValue(std::u16string_view TagName) {
    FState->LastError.clear();
    if (TagName.empty()) {
        HandleError(EmptyTagText);
        return {};
    }
    if (const TSlots* const Slots = FState->Slots()) {
        const std::uint32_t Slot = FState->FindSlot(*Slots, TagName);
        if (Slot != NoSlot) return std::u16string(Slots->Values.Get(Slot));
    } else if (const TZUParamObject* Entry = FState->Loose()->Tags.TagsValues.FindParam(TagName)) {
        return Entry->FValue;
    }
    HandleError(Format(UnknownTagText, {TagName, FState->Name()}));
    return {};
}

void TTemplate::SetTagValue(std::u16string_view TagName, std::u16string_view TagValue) {
    FState->LastError.clear();
    if (TagName.empty()) return HandleError(EmptyTagText);
    TSlots* const Slots = FState->Slots();
    // Most names are so short that they are compared without a call, which keeps this way quick.
    if (Slots != nullptr && TagName.size() <= 16) {
        const std::uint32_t Slot = Slots->FindNext(TagName);
        if (Slot != NoSlot) return Slots->Values.Set(Slot, TagValue);
    }
    FState->SetOutOfTurn(TagName, TagValue);
}

void TTemplate::TakeTagValue(std::u16string_view TagName, std::u16string TagValue) {
    FState->LastError.clear();
    if (TagName.empty()) return HandleError(EmptyTagText);
    TSlots* const Slots = FState->Slots();
    const std::uint32_t Slot = Slots != nullptr ? FState->FindSlot(*Slots, TagName) : NoSlot;
    if (Slot != NoSlot) return Slots->Values.Take(Slot, std::move(TagValue));
    FState->SetOutOfTurn(TagName, TagValue);
}

void TTemplate::TState::SetOutOfTurn(std::u16string_view TagName, std::u16string_view TagValue) {
    if (TSlots* const Filled = Slots()) {
        const std::uint32_t Slot = FindSlot(*Filled, TagName);
        if (Slot != NoSlot) Filled->Values.Set(Slot, TagValue);
    } else if (TZUParamObject* const Entry = Loose()->Tags.TagsValues.FindParam(TagName)) {
        Entry->FValue = TagValue;
    }
}

TTagHandle TTemplate::FindTag(std::u16string_view TagName) const {
    if (TagName.empty()) return {};
    const TSlots* const Slots = FState->Slots();
    return TTagHandle(Slots != nullptr ? FState->FindSlot(*Slots, TagName)
                                       : FState->Text.Parsed->FindSlot(*FState->Text.Part, TagName));
}

void TTemplate::SetTagValue(TTagHandle Tag, std::u16string_view TagValue) {
    const std::span<const std::u16string_view> Names = FState->Text.Names();
    if (Tag.FSlot >= Names.size()) return;
    if (TSlots* const Slots = FState->Slots()) return Slots->Values.Set(Tag.FSlot, TagValue);
    TZUParamObject* const Entry = FState->Loose()->Tags.TagsValues.FindParam(Names[Tag.FSlot]);
    if (Entry != nullptr) Entry->FValue = TagValue;
}

void TTemplate::FillTemplatePL(TParamsList& Params) {
    if (Params.OnGetParamValue()) {
        // The event may do anything to the list: every entry is asked for anew, and without its lock.
        const int Count = Params.GetCount();
        for (int Index = 0; Index < Count; ++Index) {
            SetTagValue(Params.GetPLName(Index), Params.GetPLValueByIndex(Index));
        }
        return;
    }
    const auto Lock = Params.Locked();
    for (int Index = 0; const TZUParamObject* Entry = Params.GetParamObject(Index); ++Index) {
        SetTagValue(Entry->FName, Entry->FValue);
    }
}

void TTemplate::Clear() {
    std::vector<TState*> Work; // parts nest without limit
    for (TState* Next = FState.get();;) {
        if (TSlots* const Slots = Next->Slots()) {
            Slots->Values.Clear();
            Slots->Next = 0;
        } else {
            Next->Loose()->Tags.TagsValues.ResetParamsValues();
        }
        for (const TState::TPartSlot& Slot : Next->Parts) {
            // Parts that were never asked for hold no values.
            if (const auto* const Made = std::get_if<std::unique_ptr<TTemplate>>(&Slot)) {
                Work.push_back((*Made)->FState.get());
            }
        }
        if (Work.empty()) return;
        Next = Work.back();
        Work.pop_back();
    }
}

// --- Building ---

std::u16string TTemplate::BuildTemplate() const {
    std::u16string Output;
    AppendTemplate(Output);
    return Output;
}

void TTemplate::BuildTemplate(std::u16string& Output) const {
    Output.clear();
    AppendTemplate(Output);
}

void TTemplate::AppendTemplate(std::u16string& Output) const {
    if (const TSlots* const Slots = FState->Slots()) {
        return AppendPieces(FState->Text, Slots->Values, Output);
    }
    Walk(
        *FState->Loose(), [&](std::u16string_view Literal) { Output += Literal; },
        [&](std::u16string_view, std::u16string_view Value) { Output += Value; });
}

std::u16string TTemplate::ReBuildTemplate() const {
    std::u16string Output;
    const auto Literal = [&](std::u16string_view Text) { Output += Text; };
    const auto Tag = [&](std::u16string_view Name, std::u16string_view Value) {
        if (Value.empty()) {
            Output.append(u"[[").append(Name).append(u"]]");
        } else {
            Output += Value;
        }
    };
    if (const TSlots* const Slots = FState->Slots()) {
        for (const TPiece& Piece : FState->Text.Pieces()) {
            Literal(Piece.Literal());
            if (Piece.Slot != NoSlot) Tag(Slots->Names[Piece.Slot], Slots->Values.Get(Piece.Slot));
        }
    } else {
        Walk(*FState->Loose(), Literal, Tag);
    }
    return Output;
}

std::u16string TTemplate::Body() const {
    if (const TLoose* const Loose = FState->Loose()) return Loose->Body;
    std::u16string Result;
    Result.reserve(FState->Text.Part->BodyLength);
    for (const TPiece& Piece : FState->Text.Pieces()) Result += Piece.Literal();
    return Result;
}

// --- Tags ---

int TTemplate::GetNumTags() const {
    const TSlots* const Slots = FState->Slots();
    return Slots != nullptr ? static_cast<int>(Slots->Names.size())
                            : FState->Loose()->Tags.TagsValues.Count();
}

std::u16string TTemplate::GetTagName(int Index) const {
    if (Index < 0 || Index >= GetNumTags()) throw ETemplate(Format(TagIndexText, {Index}));
    const TSlots* const Slots = FState->Slots();
    if (Slots == nullptr) return FState->Loose()->Tags.TagsValues.Param(Index);
    const std::span<const std::uint32_t> Sorted = FState->Text.Parsed->SortedSlots(*FState->Text.Part);
    return std::u16string(Slots->Names[Sorted[static_cast<std::size_t>(Index)]]);
}

int TTemplate::GetTagIndex(std::u16string_view TagName) const {
    const TSlots* const Slots = FState->Slots();
    if (Slots == nullptr) return FState->Loose()->Tags.TagsValues.GetParamIndex(TagName);
    const std::uint32_t Slot = FState->FindSlot(*Slots, TagName);
    if (Slot == NoSlot) return -1;
    const std::span<const std::uint32_t> Sorted = FState->Text.Parsed->SortedSlots(*FState->Text.Part);
    return static_cast<int>(std::find(Sorted.begin(), Sorted.end(), Slot) - Sorted.begin());
}

TTagParam* TTemplate::GetTag(int Index) {
    const auto& Tags = LTags().TagsPosition;
    const auto Place = static_cast<std::size_t>(Index);
    return Index >= 0 && Place < Tags.size() ? Tags[Place].get() : nullptr;
}

TTags& TTemplate::LTags() {
    return FState->Loosen().Tags;
}

} // namespace zutools
