#include "templates/Ltemplt.h"

#include "host/Format.h"
#include "host/Services.h"
#include "templates/TemplateFile.h"
#include "templates/TemplateState.h"
#include "templates/Ztstmplcache.h"

#include <algorithm>

namespace zutools {

namespace {

constexpr std::u16string_view NullPartText = u"A template part may not be null.";
constexpr std::u16string_view PartIndexText = u"Error part index: %d in template object: %s.";
constexpr std::u16string_view UnknownPartText = u"Error part name: %s in template: %s.";
constexpr std::u16string_view DebugText = u"Body size: %d";

} // namespace

TTagParam& TTags::AddTag(std::u16string_view Name) {
    auto Tag = std::make_unique<TTagParam>();
    TagsValues.AddParam(Name, {});
    Tag->Param = TagsValues.FindParam(Name);
    return *TagsPosition.emplace_back(std::move(Tag));
}

// --- Life ---

TTemplate::TTemplate()
    : FState(std::make_unique<TState>(std::nullopt)) {
    FState->OwnLanguageID = FState->Services().ApplicationManager->GetSessionLanguageID();
}

TTemplate::TTemplate(const TTemplateEnvironment& Environment)
    : FState(std::make_unique<TState>(Environment)) {
    FState->OwnLanguageID = FState->Services().ApplicationManager->GetSessionLanguageID();
}

TTemplate::TTemplate(std::unique_ptr<TState> State)
    : FState(std::move(State)) {}

TTemplate::~TTemplate() {
    ClearParts();
}

TZTSTemplateCache* TTemplate::TState::Cache() const {
    return Environment ? Environment->Cache : ZTSTemplateCache.get();
}

const TServices& TTemplate::TState::Services() const {
    return Environment && Environment->Services != nullptr ? *Environment->Services : zutools::Services();
}

// --- Properties ---

const std::u16string& TTemplate::Name() const {
    return FState->Name();
}

const std::u16string& TTemplate::LanguageID() const {
    return FState->LanguageID();
}

const std::u16string& TTemplate::PartName() const {
    return FState->IdentName;
}

void TTemplate::SetsIdentName(std::u16string_view Name) {
    FState->IdentName = Name;
}

bool TTemplate::RaiseException() const {
    return FState->RaiseException;
}

void TTemplate::SetRaiseException(bool Value) {
    FState->RaiseException = Value;
}

const std::u16string& TTemplate::LastError() const {
    return FState->LastError;
}

void TTemplate::SetLastError(std::u16string_view Value) {
    FState->LastError = Value;
}

void TTemplate::HandleError(std::u16string_view Msg) {
    FState->LastError = Msg;
    if (FState->RaiseException) throw ETemplate(FState->LastError);
}

std::u16string TTemplate::Fault() const {
    const TParsedTemplate* const Parsed = FState->Text.Parsed.get();
    const auto* const Faulty = Parsed != nullptr ? Parsed->FirstFault() : nullptr;
    return Faulty != nullptr ? FaultText(Faulty->Fault, Faulty->Name, FState->Name()) : std::u16string();
}

std::u16string TTemplate::GetDebugInfo() const {
    const TLoose* const Loose = FState->Loose();
    return Format(DebugText, {Loose != nullptr ? Loose->Body.size() : FState->Text.Part->BodyLength});
}

const std::u16string& TTemplate::FullBody() const {
    return FState->Text.Parsed->Text();
}

int TTemplate::BeginPositionX() const {
    return FState->Carets.Tell(FState->Text).Begin.X;
}

int TTemplate::BeginPositionY() const {
    return FState->Carets.Tell(FState->Text).Begin.Y;
}

int TTemplate::EndPositionX() const {
    return FState->Carets.Tell(FState->Text).End.X;
}

int TTemplate::EndPositionY() const {
    return FState->Carets.Tell(FState->Text).End.Y;
}

int TTemplate::CaretX() const {
    return FState->Carets.Tell(FState->Text).Caret.X;
}

int TTemplate::CaretY() const {
    return FState->Carets.Tell(FState->Text).Caret.Y;
}

// --- Loading ---

void TTemplate::SetTemplateName(std::u16string_view Name) {
    // Kept on purpose: a change of letter case only does not load again.
    if (SameText(Name, FState->Name())) return;
    if (Name.empty()) FState->Loosen().Body.clear();
    TZTSTemplateCache* const Cache = FState->Cache();
    if (Cache != nullptr && Cache->TryGetKnown(FState->LanguageID(), Name, *this)) return;
    FState->OwnName = std::u16string(Name);
    if (Cache != nullptr && Cache->TryGetTemplate(FState->LanguageID(), FState->Name(), *this)) return;
    ReadTemplate();
}

void TTemplate::SetLanguageID(std::u16string_view Value) {
    if (SameText(Value, FState->LanguageID())) return;
    FState->OwnLanguageID = std::u16string(Trim(Value));
    if (FState->LanguageID().empty()) {
        FState->OwnLanguageID = FState->Services().ApplicationManager->GetDefaultLanguageID();
    }
    // Kept on purpose: the cache is asked without asking first whether it is enabled, so that a template does
    // not load again when it is not.
    TZTSTemplateCache* const Cache = FState->Cache();
    if (!FState->Name().empty() && Cache != nullptr)
        Cache->GetTemplate(FState->LanguageID(), FState->Name(), *this);
}

void TTemplate::SetBody(std::u16string Text) {
    ClearTagsList();
    ClearParts();
    SetTemplateName({});
    ComposeTemplate(1, std::move(Text), {});
}

void TTemplate::ReadTemplate() {
    FState->LastError.clear();
    ClearParts();
    ClearTagsList();
    FState->Settle();
    FState->Carets.Restart();
    if (FState->Name().empty()) return;
    std::u16string Text;
    try {
        const TZTSTemplateCache* const Cache = FState->Cache();
        Text = Cache != nullptr
                   ? ReadTemplateFile(Cache->GetTemplateDirectory(), FState->Name(), Cache->GetMaxFileSize())
                   : ReadTemplateFile({}, FState->Name(), DefaultMaxTemplateSize);
    } catch (const ETemplateFile& Error) {
        return HandleError(Error.Message());
    }
    ReplaceLanguageTags(Text);
    FState->Parse(std::move(Text), 0, {}, true);
    LogFaults(*FState->Text.Parsed, FState->Name(), *FState->Services().Logger);
}

void TTemplate::ReplaceLanguageTags(std::u16string& Text) const {
    ReplaceLanguageKeys(Text, *FState->Services().Localizer, FState->LanguageID());
}

int TTemplate::ComposeTemplate(int CurPos, std::u16string TBuff, std::u16string_view PartName) {
    const int Length = static_cast<int>(std::min<std::size_t>(TBuff.size(), INT32_MAX));
    FState->Parse(std::move(TBuff), static_cast<std::size_t>(std::max(CurPos, 1)) - 1, PartName, false);
    return CurPos > Length ? CurPos : static_cast<int>(FState->Text.Part->Finish) + 1;
}

void TTemplate::TState::Parse(std::u16string NewText, std::size_t Start, std::u16string_view PartName,
                              bool FromFile) {
    using TFault = TParsedTemplate::TFault;
    LastError.clear();
    Settle();
    auto Parsed = TParsedTemplate::Parse(
        std::move(NewText), Start,
        {Name(), LanguageID(), RaiseException, FromFile, !PartName.empty(), Carets.Tell(Text)});
    const TParsedTemplate::TPart& Root = Parsed->Root();
    TakeNamedText(std::move(Parsed));
    Carets.TakeParsed();
    // Kept on purpose: a part has no template name of its own, so nothing stands before the full stop.
    if (Root.Fault != TFault::None) {
        LastError = FaultText(Root.Fault, PartName, Name());
        if (RaiseException) throw ETemplate(LastError);
    } else if (Text.Parsed->Raised()) {
        const TParsedTemplate::TPart& Faulty = *Text.Parsed->FirstFault();
        throw ETemplate(FaultText(Faulty.Fault, Faulty.Name, {}));
    }
}

void TTemplate::TState::Settle() {
    for (std::size_t Index = 0; Index < Parts.size(); ++Index) MakePart(Index);
    Carets.Settle(Text);
}

void TTemplate::TState::TakeText(TTextStretch NewText) {
    Text = std::move(NewText);
    Content.emplace<TSlots>(Text.Names());
    for (std::size_t Index = 0; Index < Text.Part->ChildCount; ++Index) {
        Parts.emplace_back(&Text.Parsed->Child(*Text.Part, Index));
    }
}

void TTemplate::TState::TakeNamedText(std::shared_ptr<const TParsedTemplate> Parsed) {
    const TParsedTemplate::TPart& Root = Parsed->Root();
    TakeText({std::move(Parsed), &Root});
    OwnName.reset();
    OwnLanguageID.reset();
}

void TTemplate::ClearTagsList() {
    if (TLoose* const Loose = FState->Loose()) {
        Loose->Tags.TagsPosition.clear();
        Loose->Tags.TagsValues.Clear();
    } else {
        auto Fresh = std::make_unique<TLoose>();
        Fresh->Body = Body();
        FState->Content = std::move(Fresh);
    }
}

TLoose& TTemplate::TState::Loosen() {
    if (TLoose* const Known = Loose()) return *Known;
    const TSlots& Filled = *Slots();
    auto Fresh = std::make_unique<TLoose>();
    std::vector<TZUParamObject*> Entries(Filled.Names.size());
    for (const TParsedTemplate::TPiece& Piece : Text.Pieces()) {
        Fresh->Body += Piece.Literal();
        if (Piece.Slot == TParsedTemplate::NoSlot) continue;
        const std::u16string_view TagName = Filled.Names[Piece.Slot];
        TTagParam& Tag = Fresh->Tags.AddTag(TagName);
        Tag.Position = static_cast<int>(Fresh->Body.size()) + 1;
        Tag.CaretX = -static_cast<int>(TagName.size() + 4); // with the marks around it
        Entries[Piece.Slot] = Tag.Param;
    }
    for (std::uint32_t Slot = 0; Slot < Entries.size(); ++Slot)
        Entries[Slot]->FValue = Filled.Values.Get(Slot);
    return *Content.emplace<std::unique_ptr<TLoose>>(std::move(Fresh));
}

// --- Copies ---

void TTemplate::Assign(const TTemplate* Source) {
    if (Source == nullptr || Source == this) return;
    // The new parts are copied before the source changes: it may be the template that this one is a part of.
    // The old ones are freed last: the source may be one of them.
    TState::TPartSlots Parts = Source->FState->CopyParts();
    std::swap(FState->Parts, Parts);
    FState->CopyWithoutParts(*Source->FState);
    TState::FreeParts(std::move(Parts));
}

void TTemplate::Assign(std::shared_ptr<const TParsedTemplate> Text) {
    TState& State = *FState;
    State.Carets.TakeCopied(State.Text);
    State.RaiseException = Text->Origin().RaiseException;
    State.IdentName.clear();
    ClearParts();
    State.TakeNamedText(std::move(Text));
}

void TTemplate::TState::CopyWithoutParts(const TState& Source) {
    Carets.TakeCopied(Text, Source.Carets);
    RaiseException = Source.RaiseException;
    OwnName = Source.OwnName;
    OwnLanguageID = Source.OwnLanguageID;
    IdentName = Source.IdentName;
    Text = Source.Text;
    const TLoose* const Lists = Source.Loose();
    if (Lists == nullptr) {
        Content.emplace<TSlots>(Text.Names());
        return;
    }
    auto Fresh = std::make_unique<TLoose>();
    Fresh->Body = Lists->Body;
    for (const auto& Tag : Lists->Tags.TagsPosition) {
        if (Tag == nullptr || Tag->Param == nullptr) continue; // fills nothing
        TTagParam& Copy = Fresh->Tags.AddTag(Tag->Param->FName);
        Copy.Position = Tag->Position;
        Copy.CaretX = Tag->CaretX;
        Copy.CaretY = Tag->CaretY;
    }
    Content = std::move(Fresh);
}

/// Parts that nobody asked for stay parts of the text. The others are copied from a work list instead of by
/// recursion, because parts nest without limit.
TTemplate::TState::TPartSlots TTemplate::TState::CopyParts() const {
    TPartSlots Result;
    std::vector<std::pair<const TPartSlots*, TPartSlots*>> Work{{&Parts, &Result}};
    while (!Work.empty()) {
        const auto [From, To] = Work.back();
        Work.pop_back();
        To->reserve(From->size());
        for (const TPartSlot& Slot : *From) {
            const auto* const Made = std::get_if<std::unique_ptr<TTemplate>>(&Slot);
            if (Made == nullptr) {
                To->emplace_back(std::get<const TParsedTemplate::TPart*>(Slot));
                continue;
            }
            const TState& Source = *(*Made)->FState;
            auto Copy = std::make_unique<TState>(Environment);
            Copy->CopyWithoutParts(Source);
            Work.emplace_back(&Source.Parts, &Copy->Parts);
            To->emplace_back(std::unique_ptr<TTemplate>(new TTemplate(std::move(Copy))));
        }
    }
    return Result;
}

// --- Parts ---

std::u16string_view TTemplate::TState::IdentOfPart(const TPartSlot& Slot) const {
    if (const auto* const Made = std::get_if<std::unique_ptr<TTemplate>>(&Slot)) {
        return (*Made)->FState->IdentName;
    }
    return Text.Parsed->PartIdent(*std::get<const TParsedTemplate::TPart*>(Slot));
}

TTemplate& TTemplate::TState::MakePart(std::size_t Index) {
    TPartSlot& Slot = Parts[Index];
    if (const auto* const Made = std::get_if<std::unique_ptr<TTemplate>>(&Slot)) return **Made;
    const TParsedTemplate::TPart& Part = *std::get<const TParsedTemplate::TPart*>(Slot);
    auto State = std::make_unique<TState>(Environment);
    State->OwnName.emplace(); // a part has none; its language is the text's
    State->RaiseException = Text.Parsed->Origin().RaiseException;
    State->IdentName = Text.Parsed->PartIdent(Part);
    State->TakeText({Text.Parsed, &Part});
    // The parts of a template that parsed its text have the errors of that parsing; those of a copy have
    // none.
    if (!Carets.AreParsed()) {
        State->Carets.TakeCopied(Text);
    } else {
        State->Carets.TakeParsed();
        if (Part.Fault != TParsedTemplate::TFault::None)
            State->LastError = FaultText(Part.Fault, Part.Name, {});
    }
    return *Slot.emplace<std::unique_ptr<TTemplate>>(new TTemplate(std::move(State)));
}

/// Frees parts of parts without recursion: each dies without parts of its own.
void TTemplate::TState::FreeParts(TPartSlots Parts) {
    while (!Parts.empty()) {
        const TPartSlot Slot = std::move(Parts.back());
        Parts.pop_back();
        const auto* const Made = std::get_if<std::unique_ptr<TTemplate>>(&Slot);
        if (Made == nullptr) continue;
        TPartSlots& Below = (*Made)->FState->Parts;
        std::move(Below.begin(), Below.end(), std::back_inserter(Parts));
        Below.clear();
    }
}

int TTemplate::AddPart(int CurPos, std::u16string TBuff, std::u16string_view PartName) {
    auto State = std::make_unique<TState>(FState->Environment);
    State->RaiseException = FState->RaiseException;
    State->OwnLanguageID = FState->LanguageID();
    State->IdentName = PartIdentOf(PartName);
    FState->Settle();
    FState->Carets.BeginPart();
    TTemplate& Child = AddPart(std::unique_ptr<TTemplate>(new TTemplate(std::move(State))));
    const int Next = Child.ComposeTemplate(CurPos, std::move(TBuff), PartName);
    FState->Carets.EndPart();
    return Next;
}

TTemplate& TTemplate::AddPart(std::unique_ptr<TTemplate> Part) {
    if (Part == nullptr) throw ETemplate(std::u16string(NullPartText));
    TTemplate& Added = *Part;
    FState->Parts.emplace_back(std::move(Part));
    return Added;
}

void TTemplate::ClearParts() {
    if (FState->Parts.empty()) return;
    TState::FreeParts(std::exchange(FState->Parts, {}));
}

std::vector<TTemplate*> TTemplate::LParts() {
    std::vector<TTemplate*> Result;
    Result.reserve(FState->Parts.size());
    for (std::size_t Index = 0; Index < FState->Parts.size(); ++Index)
        Result.push_back(&FState->MakePart(Index));
    return Result;
}

int TTemplate::GetNumParts() const {
    return static_cast<int>(FState->Parts.size()) + 1;
}

TTemplate* TTemplate::GetPart(int Index) {
    FState->LastError.clear();
    if (Index < 1) return this;
    if (static_cast<std::size_t>(Index) <= FState->Parts.size()) {
        return &FState->MakePart(static_cast<std::size_t>(Index) - 1);
    }
    HandleError(Format(PartIndexText, {Index, FState->IdentName}));
    return nullptr;
}

TTemplate* TTemplate::GetPartByName(std::u16string_view Name) {
    FState->LastError.clear();
    if (Name.empty()) return this;
    const TPartName Sought(Name);
    for (std::size_t Index = 0; Index < FState->Parts.size(); ++Index) {
        if (Sought.IsOf(FState->IdentOfPart(FState->Parts[Index]))) return &FState->MakePart(Index);
    }
    HandleError(Format(UnknownPartText, {Name, FState->Name()}));
    return nullptr;
}

} // namespace zutools
