#include "templates/Ltemplt.h"

#include "core/Lparams.h"
#include "host/Format.h"
#include "host/Services.h"
#include "host/StringHelpers.h"
#include "templates/Marks.h"
#include "templates/TemplateFile.h"
#include "templates/Ztstmplcache.h"

#include <algorithm>
#include <utility>

namespace zutools {

namespace {

using TPart = TParsedTemplate::TPart;
constexpr std::uint32_t NoSlot = TParsedTemplate::NoSlot;

constexpr std::u16string_view UnclosedTagText = u"Not found close tags (%s) in template: %s.";
constexpr std::u16string_view UnclosedPartText =
    u"Not found close tags (%s) of part: \"%s\" in template: %s.";
constexpr std::u16string_view EmptyTagText = u"Can't get value of empty tag."; // for writing too, kept so
constexpr std::u16string_view UnknownTagText = u"Not found tag with name: %s in template: %s.";
constexpr std::u16string_view TagIndexText = u"Error tag index: %d.";
constexpr std::u16string_view PartIndexText = u"Error part index: %d in template object: %s.";
constexpr std::u16string_view UnknownPartText = u"Error part name: %s in template: %s.";
constexpr std::u16string_view DebugText = u"Body size: %d";

constexpr std::u16string_view OpenTag = u"[[";
constexpr std::u16string_view CloseTag = u"]]";

/// Collects short pieces on the stack and hands them to the string in one go: resizing the string first would
/// write everything twice, and appending each piece costs more than copying it.
class TGather {
public:
    explicit TGather(std::u16string& Output)
        : FOutput(Output) {}

    void Put(std::u16string_view Piece) {
        if (Piece.size() > Size - FUsed) {
            Flush();
            if (Piece.size() > Size / 2) return Append(Piece);
        }
        CopyUnits(FBuffer + FUsed, Piece.data(), Piece.size());
        FUsed += Piece.size();
    }

    void Flush() {
        Append({FBuffer, FUsed});
        FUsed = 0;
    }

private:
    void Append(std::u16string_view Text) {
        const std::size_t Needed = FOutput.size() + Text.size();
        if (Needed > FOutput.capacity()) {
            // A string that grows part by part grows faster than it would by itself while it is small, so
            // that a table of any length takes a handful of allocations.
            constexpr std::size_t Small = 1 << 16;
            const std::size_t Capacity = FOutput.capacity();
            FOutput.reserve(std::max(Needed, Capacity < Small ? Capacity * 4 : Capacity * 2));
        }
        FOutput.append(Text);
    }

    static constexpr std::size_t Size = 512;
    std::u16string& FOutput;
    std::size_t FUsed = 0;
    char16_t FBuffer[Size];
};

std::u16string FaultText(TParsedTemplate::TFault Fault, std::u16string_view PartName,
                         std::u16string_view TemplateName) {
    if (Fault == TParsedTemplate::TFault::UnclosedTag)
        return Format(UnclosedTagText, {CloseTag, TemplateName});
    // Kept on purpose: a part has no template name of its own, so nothing stands before the full stop.
    return Format(UnclosedPartText, {u"[[/...]]", PartName, TemplateName});
}

} // namespace

TTagParam& TTags::AddTag(std::u16string_view Name) {
    auto Tag = std::make_unique<TTagParam>();
    TagsValues.AddParam(Name, {});
    Tag->Param = TagsValues.FindParam(Name);
    return *TagsPosition.emplace_back(std::move(Tag));
}

// --- Life ---

TTemplate::TTemplate()
    : FLanguageID(Services().ApplicationManager->GetSessionLanguageID()) {}

TTemplate::TTemplate(const TTemplateEnvironment& Environment)
    : FEnvironment(&Environment)
    , FLanguageID(Services().ApplicationManager->GetSessionLanguageID()) {}

TTemplate::TTemplate(const TTemplate& Parent, const TPart& Part)
    : FEnvironment(Parent.FEnvironment)
    , FParsedHere(Parent.FParsedHere)
    , FRaiseException(Parent.FParsed->Origin().RaiseException)
    , FLanguageID(Parent.FParsed->Origin().LanguageID)
    , FsIdentName(Parent.FParsed->PartIdent(Part)) {
    TakeText(Parent.FParsed, Part);
    FCaretOfText = FParsedHere;
    if (FParsedHere && FPart->Fault != TParsedTemplate::TFault::None) {
        FLastError = FaultText(FPart->Fault, FPart->Name, Name());
    }
}

TTemplate::~TTemplate() {
    if (!FParts.empty()) FreeParts(std::move(FParts));
}

TZTSTemplateCache* TTemplate::Cache() const {
    return FEnvironment != nullptr ? FEnvironment->Cache : ZTSTemplateCache.get();
}

const TServices& TTemplate::Services() const {
    return FEnvironment != nullptr && FEnvironment->Services != nullptr ? *FEnvironment->Services
                                                                        : zutools::Services();
}

void TTemplate::HandleError(std::u16string_view Msg) {
    FLastError = Msg;
    if (FRaiseException) throw ETemplate(FLastError);
}

std::u16string TTemplate::GetDebugInfo() const {
    return Format(DebugText, {FLoose ? FLoose->Body.size() : FPart->BodyLength});
}

// --- Loading ---

void TTemplate::SetTemplateName(std::u16string_view Name) {
    // Kept on purpose: a change of letter case only does not load again.
    const std::u16string& Known = this->Name();
    if (Name.size() == Known.size() && SameText(Name, Known)) return;
    if (Name.empty()) Loosen().Body.clear();
    // A template from the cache brings its name along.
    if (!Name.empty() && Cache() != nullptr && Cache()->TryGetTemplate(FLanguageID, Name, *this)) return;
    SetName(Name);
    ReadTemplate();
}

void TTemplate::SetName(std::u16string_view Name) {
    sName = Name;
    FNameOfText = false;
}

void TTemplate::SetLanguageID(std::u16string_view Value) {
    if (SameText(Value, FLanguageID)) return;
    FLanguageID = Trim(Value);
    if (FLanguageID.empty()) FLanguageID = Services().ApplicationManager->GetDefaultLanguageID();
    // Kept on purpose: the cache is asked without asking first whether it is enabled, so that a template does
    // not load again when it is not.
    if (!Name().empty() && Cache() != nullptr) Cache()->GetTemplate(FLanguageID, Name(), *this);
}

void TTemplate::SetBody(std::u16string Text) {
    ClearTagsList();
    ClearParts();
    SetTemplateName({});
    ComposeTemplate(1, std::move(Text), {});
}

void TTemplate::ReadTemplate() {
    try {
        LoadFile();
    } catch (const ETemplateFile& Error) {
        HandleError(Error.Message());
    }
}

/// ReadTemplate with the errors of the file still to handle.
void TTemplate::LoadFile() {
    FLastError.clear();
    ClearParts();
    ClearTagsList();
    SettlePlaces();
    FPlaces.Caret = FPlaces.Begin = {};
    if (Name().empty()) return;
    const TZTSTemplateCache* const Cached = Cache();
    std::u16string Text =
        ReadTemplateFile(Cached != nullptr ? Cached->GetTemplateDirectory() : std::u16string(), Name(),
                         Cached != nullptr ? Cached->GetMaxFileSize() : DefaultMaxTemplateSize);
    ReplaceLanguageTags(Text);
    Parse(std::move(Text), 0, {}, true);
}

void TTemplate::ReplaceLanguageTags(std::u16string& Text) const {
    std::size_t Open = FindDoubled(Text, 0, u'{');
    if (Open == std::u16string::npos) return;
    TLocalizatorTable& Localizer = *Services().Localizer;
    std::u16string Output;
    Output.reserve(Text.size());
    std::size_t Place = 0;
    while (Open != std::u16string::npos) {
        Output.append(Text, Place, Open - Place);
        const std::size_t Close = FindDoubled(Text, Open + 2, u'}');
        Place = Text.size(); // a key that is still open at the end is dropped
        if (Close == std::u16string::npos) break;
        const std::u16string_view Key(Text.data() + Open + 2, Close - Open - 2);
        const std::u16string Localized = Localizer.GetString(Key, FLanguageID);
        if (Localized != std::u16string_view(u"\0", 1))
            Output += Localized; // one U+0000 means "empty on purpose"
        Place = Close + 2;
        Open = FindDoubled(Text, Place, u'{');
    }
    Output.append(Text, Place);
    Text = std::move(Output);
}

int TTemplate::ComposeTemplate(int CurPos, std::u16string TBuff, std::u16string_view PartName) {
    const int Length = static_cast<int>(std::min<std::size_t>(TBuff.size(), INT32_MAX));
    Parse(std::move(TBuff), static_cast<std::size_t>(std::max(CurPos, 1)) - 1, PartName, false);
    return CurPos > Length ? CurPos : static_cast<int>(FPart->Finish) + 1;
}

void TTemplate::Parse(std::u16string Text, std::size_t Start, std::u16string_view PartName, bool FromFile) {
    FLastError.clear();
    SettlePlaces();
    const std::shared_ptr<const TParsedTemplate> Parsed = TParsedTemplate::Parse(
        std::move(Text), Start, {FLanguageID, FRaiseException, FromFile, !PartName.empty(), FPlaces, Name()});
    FPartsBefore = LParts().size();
    FParsedHere = true;
    const TPart& Root = Parsed->Root();
    TakeText(Parsed, Root);
    FCaretOfText = true;
    if (FPart->Fault != TParsedTemplate::TFault::None) {
        HandleError(FaultText(FPart->Fault, PartName, Name()));
    } else if (FParsed->Raised()) {
        const TPart& Faulty = *FParsed->FirstFault();
        throw ETemplate(FaultText(Faulty.Fault, Faulty.Name, {}));
    }
}

int TTemplate::AddPart(int CurPos, std::u16string TBuff, std::u16string_view PartName) {
    std::unique_ptr<TTemplate> Added(new TTemplate(FEnvironment));
    TTemplate& Child = *LParts().emplace_back(std::move(Added));
    SettlePlaces();
    FPlaces.Begin = FPlaces.Caret;
    Child.FRaiseException = FRaiseException;
    Child.FLanguageID = FLanguageID;
    Child.FsIdentName = AnsiUpperCase(PartName);
    const int Next = Child.ComposeTemplate(CurPos, std::move(TBuff), PartName);
    FPlaces.End = FPlaces.Caret;
    return Next;
}

void TTemplate::TakeText(const std::shared_ptr<const TParsedTemplate>& Parsed, const TPart& Part) {
    if (FNameOfText) SetName(std::u16string(Name())); // it stands in the text that goes
    FParsed = Parsed;
    FPart = &Part;
    FNames = FParsed->Names(Part);
    FNextSlot = 0;
    FLoose.reset();
    FValues.Reset(Part.SlotCount);
    FPartsOfText = Part.ChildCount != 0;
    FPlacesOfText = true;
}

void TTemplate::Assign(const TTemplate* Source) {
    if (Source == nullptr || Source == this) return;
    if (FParts.empty() && Source->FParts.empty()) {
        CopyTextOf(*Source);
    } else {
        CopyWithParts(*Source);
    }
}

void TTemplate::CopyWithParts(const TTemplate& Source) {
    // Freed last: the source may be one of them.
    TPartList Old = std::exchange(FParts, {});
    // A work list instead of recursion, for parts nested without limit.
    std::vector<std::pair<const TTemplate*, TTemplate*>> Work;
    std::pair<const TTemplate*, TTemplate*> Next{&Source, this};
    for (;;) {
        const auto [From, To] = Next;
        To->CopyTextOf(*From);
        To->FParts.resize(From->FParts.size());
        for (std::size_t Index = 0; Index < From->FParts.size(); ++Index) {
            if (!From->FParts[Index]) continue; // still to be made from the text, on either side
            To->FParts[Index].reset(new TTemplate(FEnvironment));
            Work.emplace_back(From->FParts[Index].get(), To->FParts[Index].get());
        }
        if (Work.empty()) break;
        Next = Work.back();
        Work.pop_back();
    }
    if (!Old.empty()) FreeParts(std::move(Old));
}

/// Everything of a template but its parts and its values.
void TTemplate::CopyTextOf(const TTemplate& Source) {
    if (FCaretOfText) SettlePlaces();
    FRaiseException = Source.FRaiseException;
    // A copy from the cache asked in its own language, and is no part.
    if (!SameUnits(FLanguageID, Source.FLanguageID)) FLanguageID = Source.FLanguageID;
    if (!FsIdentName.empty() || !Source.FsIdentName.empty()) FsIdentName = Source.FsIdentName;
    FNameOfText = false;
    if (Source.FParsed) {
        TakeText(Source.FParsed, *Source.FPart);
    } else {
        FParsed.reset();
        FPart = &NoText;
        FNames = {};
        FValues.Reset(0);
        FLoose.reset();
    }
    FNameOfText = Source.FNameOfText;
    if (!FNameOfText) sName = Source.sName;
    FPartsBefore = Source.FPartsBefore;
    FPartsOfText = Source.FPartsOfText;
    FParsedHere = false;
    FPlacesOfText = Source.FPlacesOfText;
    FPlaces.Begin = Source.FPlaces.Begin;
    FPlaces.End = Source.FPlaces.End;
    if (!Source.FLoose) return;
    FNames = {};
    FLoose = std::make_unique<TLoose>();
    FLoose->Body = Source.FLoose->Body;
    for (const auto& Tag : Source.FLoose->Tags.TagsPosition) {
        TTagParam& Copy = FLoose->Tags.AddTag(Tag->Param->FName);
        Copy.Position = Tag->Position;
        Copy.CaretX = Tag->CaretX;
        Copy.CaretY = Tag->CaretY;
    }
}

/// Gives the reference to the shared text a counter of its own, in memory that nothing else lies in, for
/// copies handed out on another processor.
void TTemplate::CountApart() {
    if (!FParsed) return;
    struct alignas(64) TOwner {
        std::shared_ptr<const TParsedTemplate> Parsed;
    };
    const auto Owner = std::make_shared<TOwner>(TOwner{FParsed});
    FParsed = std::shared_ptr<const TParsedTemplate>(Owner, FParsed.get());
}

void TTemplate::ClearTagsList() {
    TLoose& Loose = Loosen();
    Loose.Tags.TagsPosition.clear();
    Loose.Tags.TagsValues.Clear();
}

void TTemplate::ClearParts() {
    FPartsOfText = false;
    FPartsBefore = 0;
    if (!FParts.empty()) FreeParts(std::exchange(FParts, {}));
}

/// Frees parts of parts without recursion: each dies without parts of its own.
void TTemplate::FreeParts(TPartList Parts) {
    while (!Parts.empty()) {
        const std::unique_ptr<TTemplate> Part = std::move(Parts.back());
        Parts.pop_back();
        if (!Part) continue;
        std::move(Part->FParts.begin(), Part->FParts.end(), std::back_inserter(Parts));
        Part->FParts.clear();
    }
}

/// Leaves the parsed text: body and tags become lists that can change.
TTemplate::TLoose& TTemplate::Loosen() {
    if (FLoose) return *FLoose;
    auto Loose = std::make_unique<TLoose>();
    if (FParsed) {
        std::vector<TZUParamObject*> Entries(FNames.size());
        for (const TParsedTemplate::TPiece& Piece : FParsed->Pieces(*FPart)) {
            Loose->Body += Piece.Literal();
            if (Piece.Slot == NoSlot) continue;
            const std::u16string_view Name = FNames[Piece.Slot];
            TTagParam& Tag = Loose->Tags.AddTag(Name);
            Tag.Position = static_cast<int>(Loose->Body.size()) + 1;
            Tag.CaretX = -static_cast<int>(Name.size() + OpenTag.size() + CloseTag.size());
            Entries[Piece.Slot] = Tag.Param;
        }
        for (std::uint32_t Slot = 0; Slot < Entries.size(); ++Slot) Entries[Slot]->FValue = FValues.Get(Slot);
        FValues.Reset(0);
        FNames = {};
    }
    FLoose = std::move(Loose);
    return *FLoose;
}

// --- Filling ---

/// The tag that follows the last one, when it is the one asked for; else by the hash of the name.
inline std::uint32_t TTemplate::FindSlot(std::u16string_view TagName) const {
    const std::uint32_t Slot = FNextSlot;
    if (Slot >= FNames.size() || !SameUnits(FNames[Slot], TagName)) return FindSlotByHash(TagName);
    FNextSlot = Slot + 1 == FNames.size() ? 0 : Slot + 1;
    return Slot;
}

std::uint32_t TTemplate::FindSlotByHash(std::u16string_view TagName) const {
    const std::uint32_t Slot = FNames.empty() ? NoSlot : FParsed->FindSlot(*FPart, TagName);
    if (Slot != NoSlot) FNextSlot = Slot + 1 == FNames.size() ? 0 : Slot + 1;
    return Slot;
}

std::u16string TTemplate::GetTagValue(std::u16string_view TagName) {
    FLastError.clear();
    if (TagName.empty()) {
        HandleError(EmptyTagText);
        return {};
    }
    if (FLoose) {
        if (const TZUParamObject* Entry = FLoose->Tags.TagsValues.FindParam(TagName)) return Entry->FValue;
    } else if (const std::uint32_t Slot = FindSlot(TagName); Slot != NoSlot) {
        return std::u16string(FValues.Get(Slot));
    }
    HandleError(Format(UnknownTagText, {TagName, Name()}));
    return {};
}

/// The place for a value that is written by name, by way of `Put(slot)` or `PutLoose(entry)`; neither when
/// there is none.
template <class TPut, class TPutLoose>
void TTemplate::PutTagValue(std::u16string_view TagName, TPut Put, TPutLoose PutLoose) {
    FLastError.clear();
    if (TagName.empty()) return HandleError(EmptyTagText);
    if (const std::uint32_t Slot = FindSlot(TagName); Slot != NoSlot) return Put(Slot);
    if (!FLoose) return;
    if (TZUParamObject* Entry = FLoose->Tags.TagsValues.FindParam(TagName)) PutLoose(*Entry);
}

void TTemplate::SetTagValue(std::u16string_view TagName, std::u16string_view TagValue) {
    PutTagValue(
        TagName, [&](std::uint32_t Slot) { FValues.Set(Slot, TagValue); },
        [&](TZUParamObject& Entry) { Entry.FValue = TagValue; });
}

void TTemplate::TakeTagValue(std::u16string_view TagName, std::u16string TagValue) {
    PutTagValue(
        TagName, [&](std::uint32_t Slot) { FValues.Take(Slot, std::move(TagValue)); },
        [&](TZUParamObject& Entry) { Entry.FValue = std::move(TagValue); });
}

TTagHandle TTemplate::FindTag(std::u16string_view TagName) const {
    if (TagName.empty() || !FParsed) return {};
    return TTagHandle(FLoose ? FParsed->FindSlot(*FPart, TagName) : FindSlot(TagName));
}

void TTemplate::SetTagValue(TTagHandle Tag, std::u16string_view TagValue) {
    if (Tag.FSlot < FNames.size()) return FValues.Set(Tag.FSlot, TagValue);
    if (!FLoose || Tag.FSlot >= FPart->SlotCount) return;
    TZUParamObject* const Entry = FLoose->Tags.TagsValues.FindParam(FParsed->Names(*FPart)[Tag.FSlot]);
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
    std::vector<TTemplate*> Work;
    TTemplate* Next = this;
    for (;;) {
        Next->FValues.Clear();
        if (Next->FLoose) Next->FLoose->Tags.TagsValues.ResetParamsValues();
        Next->FNextSlot = 0;
        for (const auto& Each : Next->FParts) {
            if (Each) Work.push_back(Each.get()); // parts that were never asked for hold no values
        }
        if (Work.empty()) return;
        Next = Work.back();
        Work.pop_back();
    }
}

// --- Building ---

std::u16string TTemplate::BuildTemplate() const {
    std::u16string Output;
    BuildTemplate(Output);
    return Output;
}

void TTemplate::BuildTemplate(std::u16string& Output) const {
    Output.clear();
    if (FParsed && !FLoose) {
        std::size_t Size = FPart->BodyLength;
        const TTagValues::TReader Values(FValues);
        for (const TParsedTemplate::TPiece& Piece : FParsed->Pieces(*FPart)) {
            if (Piece.Slot != NoSlot) Size += Values[Piece.Slot].size();
        }
        Output.reserve(Size);
    }
    AppendTemplate(Output);
}

void TTemplate::AppendTemplate(std::u16string& Output) const {
    if (FLoose) {
        return Walk([&](std::u16string_view Literal) { Output += Literal; },
                    [&](std::u16string_view, std::u16string_view Value) { Output += Value; });
    }
    if (!FParsed) return;
    TGather Gather(Output);
    const TTagValues::TReader Values(FValues);
    for (const TParsedTemplate::TPiece& Piece : FParsed->Pieces(*FPart)) {
        Gather.Put(Piece.Literal());
        if (Piece.Slot != NoSlot) Gather.Put(Values[Piece.Slot]);
    }
    Gather.Flush();
}

std::u16string TTemplate::ReBuildTemplate() const {
    std::u16string Output;
    Walk([&](std::u16string_view Literal) { Output += Literal; },
         [&](std::u16string_view Name, std::u16string_view Value) {
             if (!Value.empty()) {
                 Output += Value;
             } else {
                 Output.append(OpenTag).append(Name).append(CloseTag);
             }
         });
    return Output;
}

/// Passes the body's literals and the tags between them, in text order.
template <class TLiteral, class TTag>
void TTemplate::Walk(TLiteral Literal, TTag Tag) const {
    if (FLoose) {
        const std::u16string_view Body = FLoose->Body;
        std::size_t Place = 0;
        for (const auto& Each : FLoose->Tags.TagsPosition) {
            const auto Position =
                std::min(static_cast<std::size_t>(std::max(Each->Position, 1) - 1), Body.size());
            if (Position > Place) Literal(Body.substr(Place, Position - Place));
            if (Each->Param != nullptr) Tag(Each->Param->FName, Each->Param->FValue);
            Place = Position;
        }
        return Literal(Body.substr(Place));
    }
    if (!FParsed) return;
    for (const TParsedTemplate::TPiece& Piece : FParsed->Pieces(*FPart)) {
        Literal(Piece.Literal());
        if (Piece.Slot != NoSlot) Tag(FNames[Piece.Slot], FValues.Get(Piece.Slot));
    }
}

// --- Structure ---

int TTemplate::GetNumTags() const {
    return FLoose ? FLoose->Tags.TagsValues.Count() : static_cast<int>(FNames.size());
}

std::u16string TTemplate::GetTagName(int Index) const {
    if (Index < 0 || Index >= GetNumTags()) throw ETemplate(Format(TagIndexText, {Index}));
    if (FLoose) return FLoose->Tags.TagsValues.Param(Index);
    return std::u16string(FNames[FParsed->SortedSlots(*FPart)[static_cast<std::size_t>(Index)]]);
}

int TTemplate::GetTagIndex(std::u16string_view TagName) const {
    if (FLoose) return FLoose->Tags.TagsValues.GetParamIndex(TagName);
    const std::uint32_t Slot = FindSlot(TagName);
    if (Slot == NoSlot) return -1;
    const std::span<const std::uint32_t> Sorted = FParsed->SortedSlots(*FPart);
    return static_cast<int>(std::find(Sorted.begin(), Sorted.end(), Slot) - Sorted.begin());
}

TTagParam* TTemplate::GetTag(int Index) {
    const auto& Tags = LTags().TagsPosition;
    return Index >= 0 && static_cast<std::size_t>(Index) < Tags.size()
               ? Tags[static_cast<std::size_t>(Index)].get()
               : nullptr;
}

std::size_t TTemplate::PartCount() const {
    return FPartsOfText ? FPartsBefore + FPart->ChildCount : FParts.size();
}

TTemplate& TTemplate::PartAt(std::size_t Index) {
    if (Index >= FParts.size()) FParts.resize(PartCount());
    std::unique_ptr<TTemplate>& Part = FParts[Index];
    if (!Part && FPartsOfText) Part.reset(new TTemplate(*this, FParsed->Child(*FPart, Index - FPartsBefore)));
    if (!Part) Part.reset(new TTemplate(FEnvironment)); // a caller put an empty pointer into LParts()
    return *Part;
}

int TTemplate::GetNumParts() const {
    return static_cast<int>(PartCount()) + 1;
}

TTemplate* TTemplate::GetPart(int Index) {
    FLastError.clear();
    if (Index < 1) return this;
    if (static_cast<std::size_t>(Index) <= PartCount()) return &PartAt(static_cast<std::size_t>(Index) - 1);
    HandleError(Format(PartIndexText, {Index, FsIdentName}));
    return nullptr;
}

TTemplate* TTemplate::GetPartByName(std::u16string_view Name) {
    FLastError.clear();
    if (Name.empty()) return this;
    const TNameMatch& Names = UserNameMatch(false);
    for (std::size_t Index = 0; Index < PartCount(); ++Index) {
        const bool IsMade = Index < FParts.size() && FParts[Index];
        const std::u16string_view Ident =
            IsMade ? FParts[Index]->FsIdentName
                   : FParsed->PartIdent(FParsed->Child(*FPart, Index - FPartsBefore));
        if (Names.Same(Ident, Name)) return &PartAt(Index);
    }
    HandleError(Format(UnknownPartText, {Name, this->Name()}));
    return nullptr;
}

TTags& TTemplate::LTags() {
    return Loosen().Tags;
}

TTemplate::TPartList& TTemplate::LParts() {
    if (FPartsOfText) {
        for (std::size_t Index = 0; Index < PartCount(); ++Index) PartAt(Index);
        FPartsOfText = false;
    }
    return FParts;
}

std::u16string TTemplate::Body() const {
    if (FLoose) return FLoose->Body;
    std::u16string Result;
    Result.reserve(FPart->BodyLength);
    Walk([&](std::u16string_view Literal) { Result += Literal; },
         [](std::u16string_view, std::u16string_view) {});
    return Result;
}

const std::u16string& TTemplate::FullBody() const {
    static const std::u16string Empty;
    return FParsed ? FParsed->Text() : Empty;
}

TPlaces TTemplate::Places() const {
    if (!FPlacesOfText && !FCaretOfText) return FPlaces;
    const TPlaces OfText = FParsed->Places(*FPart);
    return {FPlacesOfText ? OfText.Begin : FPlaces.Begin, FPlacesOfText ? OfText.End : FPlaces.End,
            FCaretOfText ? OfText.Caret : FPlaces.Caret};
}

/// Before the text goes: what it still has to tell is asked now.
void TTemplate::SettlePlaces() {
    FPlaces = Places();
    FPlacesOfText = FCaretOfText = false;
}

} // namespace zutools
