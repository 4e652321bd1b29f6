#include "persistence/Placment.h"

#include "host/CharSet.h"
#include "host/Format.h"
#include "host/Numbers.h"
#include "host/StringHelpers.h"
#include "host/Variant.h"
#include "platform/SettingsFile.h"

#include <array>

namespace zutools {

namespace {

constexpr std::u16string_view FlagsKey = u"Flags";
constexpr std::u16string_view ShowCmdKey = u"ShowCmd";
constexpr std::u16string_view PixelsPerInchKey = u"PixelsPerInch";
constexpr std::u16string_view MinMaxPosKey = u"MinMaxPos";
constexpr std::u16string_view NormPosKey = u"NormPos";
constexpr std::u16string_view ActiveControlKey = u"ActiveControl";
constexpr std::u16string_view VisibleKey = u"Visible";

constexpr std::u16string_view OptionNames[] = {u"fpState", u"fpPosition", u"fpActiveControl"};
constexpr std::u16string_view RootNames[] = {u"prCurrentUser", u"prLocalMachine", u"prCurrentConfig",
                                             u"prClassesRoot", u"prUsers",        u"prDynData"};

TKXFormStorage& Storage(TObject& Self) {
    return static_cast<TKXFormStorage&>(Self);
}
const TKXFormStorage& Storage(const TObject& Self) {
    return static_cast<const TKXFormStorage&>(Self);
}

constexpr TPropInfo Properties[] = {
    {u"IniFileName", TTypeKind::tkUString, u"string",
     [](const TObject& Self) { return TKXVariant(Storage(Self).IniFileName()); },
     [](TObject& Self, const TKXVariant& Value) { Storage(Self).SetIniFileName(Value.AsString()); }},
    {u"IniSection", TTypeKind::tkUString, u"string",
     [](const TObject& Self) { return TKXVariant(Storage(Self).IniSection()); },
     [](TObject& Self, const TKXVariant& Value) { Storage(Self).SetIniSection(Value.AsString()); }},
    {u"UseRegistry", TTypeKind::tkEnumeration, u"Boolean",
     [](const TObject& Self) { return TKXVariant(Storage(Self).UseRegistry()); },
     [](TObject& Self, const TKXVariant& Value) { Storage(Self).SetUseRegistry(Value.AsBoolean()); }},
    {u"StoredProps", TTypeKind::tkClass, u"TStrings",
     [](const TObject& Self) {
         return PointerAsLVar(&const_cast<TKXFormStorage&>(Storage(Self)).StoredProps());
     },
     [](TObject& Self, const TKXVariant& Value) {
         if (const auto* const Lines = ObjectCast<TStrings>(Value.AsObject()))
             Storage(Self).SetStoredProps(*Lines);
     }},
    {.Name = u"RegistryRoot",
     .Kind = TTypeKind::tkEnumeration,
     .TypeName = u"TPlacementRegRoot",
     .Get = [](const TObject& Self) { return TKXVariant(static_cast<int>(Storage(Self).RegistryRoot())); },
     .Set =
         [](TObject& Self, const TKXVariant& Value) {
             const int Root = Value.AsInteger();
             if (Root >= 0 && Root < static_cast<int>(std::size(RootNames)))
                 Storage(Self).SetRegistryRoot(static_cast<TPlacementRegRoot>(Root));
         },
     .EnumNames = RootNames},
    {u"StoredPlacement", TTypeKind::tkEnumeration, u"Boolean",
     [](const TObject& Self) { return TKXVariant(Storage(Self).StoredPlacement()); },
     [](TObject& Self, const TKXVariant& Value) { Storage(Self).SetStoredPlacement(Value.AsBoolean()); }},
    {.Name = u"Options",
     .Kind = TTypeKind::tkSet,
     .TypeName = u"TPlacementOptions",
     .Get = [](const TObject& Self) { return TKXVariant(static_cast<int>(Storage(Self).Options().Bits())); },
     .Set =
         [](TObject& Self, const TKXVariant& Value) {
             Storage(Self).SetOptions(TPlacementOptions(static_cast<unsigned>(Value.AsInteger())));
         },
     .EnumNames = OptionNames},
    {u"Host", TTypeKind::tkClass, u"TKXFormStorage",
     [](const TObject& Self) { return PointerAsLVar(Storage(Self).Host()); },
     [](TObject& Self, const TKXVariant& Value) {
         Storage(Self).SetHost(ObjectCast<TKXFormStorage>(Value.AsObject()));
     }},
    {u"Active", TTypeKind::tkEnumeration, u"Boolean",
     [](const TObject& Self) { return TKXVariant(Storage(Self).Active()); },
     [](TObject& Self, const TKXVariant& Value) { Storage(Self).SetActive(Value.AsBoolean()); }},
};

// The hourglass while settings are read and written.
class TBusyCursor {
public:
    explicit TBusyCursor(TFormApplication& Application)
        : FApplication(Application) {
        FApplication.SetBusyCursor(true);
    }
    ~TBusyCursor() { FApplication.SetBusyCursor(false); }
    TBusyCursor(const TBusyCursor&) = delete;
    TBusyCursor& operator=(const TBusyCursor&) = delete;

private:
    TFormApplication& FApplication;
};

// Word `Number` (1-based) of numbers between blanks and commas.
int NumberOf(std::u16string_view Text, int Number, int Default) {
    TKXCharSet Separators;
    Separators.Include(u' ');
    Separators.Include(u',');
    return StrToIntDef(KX_ExtractWord(Number, Text, Separators), Default);
}

std::u16string FourNumbers(int First, int Second, int Third, int Fourth) {
    return Format(u"%d,%d,%d,%d", {First, Second, Third, Fourth});
}

std::size_t EndOfFolder(std::u16string_view Path) {
    const std::size_t Separator = Path.find_last_of(u"/\\:");
    return Separator == Path.npos ? 0 : Separator + 1;
}

std::u16string WithoutExtension(std::u16string_view Path) {
    const std::size_t Dot = Path.find_last_of(u'.');
    return std::u16string(Dot == Path.npos || Dot < EndOfFolder(Path) ? Path : Path.substr(0, Dot));
}

} // namespace

const TClassInfo& TKXFormStorage::StaticClass() {
    static constexpr TClassInfo Info{
        .Name = u"TKXFormStorage", .Parent = &TComponent::StaticClass, .Properties = Properties};
    return Info;
}

const TClassInfo& TKXFormStorage::ClassInfo() const {
    return StaticClass();
}

TKXFormStorage::TKXFormStorage(TComponent* AOwner, TFormApplication& Application)
    : TComponent(AOwner)
    , FApplication(Application) {
    if (GetForm() != nullptr) FOptions = {TPlacementOption::fpState, TPlacementOption::fpPosition};
}

TKXFormStorage::~TKXFormStorage() {
    const TForm* const Form = GetForm();
    if (Form != nullptr && !Form->Designing()) RestoreEvents();
}

TForm* TKXFormStorage::GetForm() const {
    return ObjectCast<TForm>(Owner());
}

void TKXFormStorage::SetStoredProps(const TStrings& Value) {
    FStoredProps.Assign(Value);
    SetNotification();
}

void TKXFormStorage::SetNotification() {
    for (int Index = FStoredProps.Count() - 1; Index >= 0; --Index) {
        if (auto* const Component = ObjectCast<TComponent>(FStoredProps.Objects(Index)))
            Component->FreeNotification(*this);
    }
}

void TKXFormStorage::Notification(TComponent& Gone) {
    if (FHost == &Gone) FHost = nullptr;
    for (int Index = FStoredProps.Count() - 1; Index >= 0; --Index) {
        if (FStoredProps.Objects(Index) == &Gone) FStoredProps.Delete(Index);
    }
}

void TKXFormStorage::SetHost(TKXFormStorage* Value) {
    if (Value == this) return;
    FHost = Value;
    if (FHost != nullptr) FHost->FreeNotification(*this);
}

void TKXFormStorage::Loaded() {
    const TForm* const Form = GetForm();
    if (Form == nullptr || !Form->Designing()) SetEvents();
    UpdateStoredList(Owner(), &FStoredProps, true);
    SetNotification();
}

void TKXFormStorage::WriteState() {
    UpdateStoredList(Owner(), &FStoredProps, false);
}

// ---- the settings

void TKXFormStorage::CheckParams() {
    const std::u16string Program = FApplication.ExecutableName();
    if (FIniFileName.empty()) {
        FIniFileName = WithoutExtension(Program);
        if (FUseRegistry)
            FIniFileName.erase(0, EndOfFolder(FIniFileName));
        else
            FIniFileName += u".prm";
    }
    if (!FUseRegistry && EndOfFolder(FIniFileName) == 0)
        FIniFileName.insert(0, Program.substr(0, EndOfFolder(Program)));
    if (FIniSection.empty() && Owner() != nullptr) FIniSection = Owner()->Name();
}

void TKXFormStorage::IniNeeded(bool ReadOnly) {
    if (FHost != nullptr) {
        FHost->CheckParams();
        FIniFileName = FHost->FIniFileName;
        FRegistryRoot = FHost->FRegistryRoot;
        FUseRegistry = FHost->FUseRegistry;
    }
    if (FIniFile) return FIniFile->Refresh();
    if (FUseRegistry) {
        FIniFile = platform::OpenRegistry(static_cast<platform::TSettingsRoot>(FRegistryRoot), FIniFileName,
                                          ReadOnly ? platform::TSettingsAccess::Read
                                                   : platform::TSettingsAccess::ReadWrite);
    } else {
        FIniFile = std::make_unique<platform::TSettingsFile>(FIniFileName, OnNotice);
    }
}

std::u16string TKXFormStorage::DoReadString(std::u16string_view Section, std::u16string_view Item,
                                            std::u16string_view Default) {
    const bool WasOpen = FIniFile != nullptr;
    if (!WasOpen) IniNeeded(true);
    std::u16string Value = FIniFile->Read(Section, Item).value_or(std::u16string(Default));
    if (!WasOpen) IniFree();
    return Value;
}

void TKXFormStorage::DoWriteString(std::u16string_view Section, std::u16string_view Item,
                                   std::u16string_view Value) {
    if (FIniFile != nullptr) return WriteText(Section, Item, Value);
    IniNeeded(false);
    FIniFile->Write(Section, Item, Value);
    FIniFile->Flush();
    IniFree();
}

// A value that cannot be kept (a line break in a file) must not cost the others: it is told when they are
// kept.
void TKXFormStorage::WriteText(std::u16string_view Section, std::u16string_view Key,
                               std::u16string_view Value) {
    try {
        FIniFile->Write(Section, Key, Value);
    } catch (const platform::TSettingsError& Error) {
        if (!FRefused) FRefused = Error;
    }
}

std::u16string TKXFormStorage::ReadText(std::u16string_view Key, std::u16string_view Default) const {
    if (!FIniFile) return std::u16string(Default);
    return FIniFile->Read(FIniSection, Key).value_or(std::u16string(Default));
}

int TKXFormStorage::ReadInteger(std::u16string_view Key, int Default) const {
    return StrToIntDef(ReadText(Key, u""), Default);
}

void TKXFormStorage::WriteInteger(std::u16string_view Key, int Value) {
    if (FIniFile) WriteText(FIniSection, Key, IntToStr(Value));
}

std::u16string TKXFormStorage::OfScreen(std::u16string_view Key) const {
    const TPoint Size = FApplication.ScreenSize();
    return std::u16string(Key) + Format(u"(%dx%d)", {Size.X, Size.Y});
}

std::u16string TKXFormStorage::ReadOfScreen(std::u16string_view Key) const {
    std::u16string Value = ReadText(OfScreen(Key), u"");
    return Value.empty() ? ReadText(Key, u"") : Value;
}

void TKXFormStorage::WriteOfScreen(std::u16string_view Key, std::u16string_view Value) {
    if (!FIniFile) return;
    WriteText(FIniSection, OfScreen(Key), Value);
    WriteText(FIniSection, Key, Value);
}

// ---- the stored properties

void TKXFormStorage::SaveProperties() {
    const TBusyCursor Busy(FApplication);
    TPropsStorage Items;
    CheckParams();
    Items.Section = FIniSection;
    IniNeeded(false);
    FRefused.reset();
    Items.OnWriteString = [this](auto Section, auto Item, auto Value) {
        DoWriteString(Section, Item, Value);
    };
    Items.OnEraseSection = [this](auto Section) { FIniFile->EraseSection(Section); };
    if (FStoredPlacement) SavePlacement();
    if (Owner() != nullptr) Items.StoreObjectsProps(*Owner(), FStoredProps);
    if (OnSaveProperties) OnSaveProperties(*this);
    if (FIniFile) FIniFile->Flush();
    FSaved = TSaved::Yes;
    if (FRefused) throw platform::TSettingsError(*FRefused);
}

void TKXFormStorage::RestoreProperties() {
    const TBusyCursor Busy(FApplication);
    TPropsStorage Items;
    CheckParams();
    Items.Section = FIniSection;
    IniNeeded(false);
    Items.OnReadString = [this](auto Section, auto Item, auto Default) {
        return DoReadString(Section, Item, Default);
    };
    try {
        if (FStoredPlacement) RestorePlacement();
        if (Owner() != nullptr) Items.LoadObjectsProps(*Owner(), FStoredProps);
    } catch (const std::exception&) {
        // Restoring never raises: what is left keeps what it has.
    }
    if (OnRestoreProperties) OnRestoreProperties(*this);
    FSaved = TSaved::No;
}

// ---- the placement

// Kept on purpose: the active control and the visibility are written and never read.
void TKXFormStorage::SavePlacement() {
    const TForm* const Form = GetForm();
    if (Form == nullptr) return;
    TWindowPlacement Placement = Form->Placement();
    if (Form == FApplication.MainForm() && FApplication.IsMinimized()) Placement.ShowCmd = swShowMinimized;
    if (Form->FormStyle() == TFormStyle::fsMDIChild && Form->WindowState() == TWindowState::wsMinimized)
        Placement.Flags |= wpfSetMinPosition;
    WriteInteger(FlagsKey, Placement.Flags);
    WriteInteger(ShowCmdKey, Placement.ShowCmd);
    WriteInteger(PixelsPerInchKey, FApplication.PixelsPerInch());
    WriteOfScreen(MinMaxPosKey, FourNumbers(Placement.MinPosition.X, Placement.MinPosition.Y,
                                            Placement.MaxPosition.X, Placement.MaxPosition.Y));
    const TRect& Normal = Placement.NormalPosition;
    WriteOfScreen(NormPosKey, FourNumbers(Normal.Left, Normal.Top, Normal.Right, Normal.Bottom));
    if (FOptions.Has(TPlacementOption::fpActiveControl)) {
        if (const std::u16string Control = Form->ActiveControl(); !Control.empty() && FIniFile)
            WriteText(FIniSection, ActiveControlKey, Control);
    }
    WriteInteger(VisibleKey, Form->Visible() ? 1 : 0);
}

void TKXFormStorage::RestorePlacement() {
    TForm* const Form = GetForm();
    const bool LoadState = FOptions.Has(TPlacementOption::fpState);
    const bool LoadPosition = FOptions.Has(TPlacementOption::fpPosition);
    if (Form == nullptr || (!LoadState && !LoadPosition)) return;
    TWindowPlacement Current = Form->Placement();
    if (!Form->Visible()) Current.ShowCmd = swHide;
    if (LoadPosition) RestorePosition(*Form, Current);
    if (LoadState && !RestoreState(*Form)) return;
    Form->Update();
}

void TKXFormStorage::RestorePosition(TForm& Form, const TWindowPlacement& Current) {
    TWindowPlacement Placement = Current;
    const TRect Bounds = Form.Bounds();
    Placement.Flags = ReadInteger(FlagsKey, Current.Flags);
    const std::u16string MinMax = ReadOfScreen(MinMaxPosKey), Normal = ReadOfScreen(NormPosKey);
    if (MinMax.empty() && Normal.empty()) return;
    if (!MinMax.empty()) {
        Placement.MinPosition = {NumberOf(MinMax, 1, 0), NumberOf(MinMax, 2, 0)};
        Placement.MaxPosition = {NumberOf(MinMax, 3, 0), NumberOf(MinMax, 4, 0)};
    }
    TRect& Rect = Placement.NormalPosition;
    if (!Normal.empty()) {
        Rect = {NumberOf(Normal, 1, Bounds.Left), NumberOf(Normal, 2, Bounds.Top),
                NumberOf(Normal, 3, Bounds.Right), NumberOf(Normal, 4, Bounds.Bottom)};
    }
    // What was stored at another density is not applied.
    const int Density = FApplication.PixelsPerInch();
    if (ReadInteger(PixelsPerInchKey, Density) != Density) return;
    const TFormBorderStyle Border = Form.BorderStyle();
    if (Border != TFormBorderStyle::bsSizeable && Border != TFormBorderStyle::bsSizeToolWin) {
        Rect.Right = static_cast<int>(std::int64_t{Rect.Left} + Bounds.Right - Bounds.Left);
        Rect.Bottom = static_cast<int>(std::int64_t{Rect.Top} + Bounds.Bottom - Bounds.Top);
    }
    if (Rect.Right <= Rect.Left) return;
    if (Form.Position() == TPosition::poScreenCenter && !Form.Designing()) {
        Form.SetDesigning(true); // so that the change does not move it
        Form.SetPosition(TPosition::poDesigned);
        Form.SetDesigning(false);
    }
    // Within another window, the screens say nothing about it.
    if (Form.FormStyle() != TFormStyle::fsMDIChild)
        Rect = Reachable(Rect, FApplication.WorkAreas(), FApplication.TitleHeight());
    Form.SetPlacement(Placement);
}

// False when the application is minimized in place of the form: the restore ends there.
bool TKXFormStorage::RestoreState(TForm& Form) {
    const bool IsMain = &Form == FApplication.MainForm();
    const TFormStyle Style = Form.FormStyle();
    TWindowState State = TWindowState::wsNormal;
    if (IsMain && (Style == TFormStyle::fsMDIForm ||
                   (Style == TFormStyle::fsNormal && Form.Position() == TPosition::poDefault)))
        State = TWindowState::wsMaximized;
    switch (ReadInteger(ShowCmdKey, swHide)) {
    case swShowNormal:
    case swShow:
    case swRestore:
        State = TWindowState::wsNormal;
        break;
    case swShowMinimized:
    case swMinimize:
    case swShowMinNoActive:
        State = TWindowState::wsMinimized;
        break;
    case swShowMaximized:
        State = TWindowState::wsMaximized;
        break;
    default:
        break;
    }
    if (State == TWindowState::wsMinimized && IsMain) {
        Form.NoteWindowState(TWindowState::wsNormal);
        FApplication.Minimize();
        return false;
    }
    if (Style == TFormStyle::fsMDIChild || Style == TFormStyle::fsMDIForm)
        Form.NoteWindowState(State);
    else
        Form.SetWindowState(State);
    return true;
}

// ---- the form's events

void TKXFormStorage::SetEvents() {
    TForm* const Form = GetForm();
    if (Form == nullptr || FHandlers) return;
    FHandlers = {std::move(Form->OnShow), std::move(Form->OnCloseQuery), std::move(Form->OnDestroy)};
    Form->OnShow = [this](TObject& Sender) { FormShow(Sender); };
    Form->OnCloseQuery = [this](TObject& Sender, bool& CanClose) { FormCloseQuery(Sender, CanClose); };
    Form->OnDestroy = [this](TObject& Sender) { FormDestroy(Sender); };
}

void TKXFormStorage::RestoreEvents() {
    TForm* const Form = GetForm();
    if (Form == nullptr || !FHandlers) return;
    Form->OnShow = std::move(FHandlers->OnShow);
    Form->OnCloseQuery = std::move(FHandlers->OnCloseQuery);
    Form->OnDestroy = std::move(FHandlers->OnDestroy);
    FHandlers.reset();
}

void TKXFormStorage::FormShow(TObject& Sender) {
    if (FActive) RestoreProperties();
    if (FHandlers && FHandlers->OnShow) FHandlers->OnShow(Sender);
}

void TKXFormStorage::FormCloseQuery(TObject& Sender, bool& CanClose) {
    if (FHandlers && FHandlers->OnCloseQuery) FHandlers->OnCloseQuery(Sender, CanClose);
    const TForm* const Form = GetForm();
    if (!CanClose || !FActive || Form == nullptr || !Form->HasWindow()) return;
    try {
        SaveProperties();
    } catch (const std::exception& Error) {
        FSaved = TSaved::FailureTold;
        FApplication.ShowException(Error);
    }
}

void TKXFormStorage::FormDestroy(TObject& Sender) {
    if (FActive && FSaved != TSaved::Yes) {
        try {
            SaveProperties();
        } catch (const std::exception&) {
            // One closing form tells one failure.
            if (FSaved == TSaved::No) throw;
        }
    }
    if (FHandlers && FHandlers->OnDestroy) FHandlers->OnDestroy(Sender);
}

} // namespace zutools
