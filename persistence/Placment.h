// TKXFormStorage: keeps a form's window placement and chosen properties of its components when the form
// closes, and brings them back when it is shown.
//
//     TKXFormStorage Storage(&Form, Application);
//     Storage.StoredProps.Add(u"Grid.ColWidths");
//     Storage.SetStoredPlacement(true);
//     Storage.SetActive(true);
//     Storage.Loaded();
//
// They are kept in a settings file (beside the program unless told otherwise) or in the registry;
// docs/settings.md tells the keys. For the user-interface thread; saving and restoring block on the disk.

#pragma once

#include "persistence/Forms.h"
#include "persistence/Propunit.h"
#include "platform/Settings.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace zutools {

enum class TPlacementOption : std::uint8_t { fpState, fpPosition, fpActiveControl };

/// A set of TPlacementOption, by ordinal.
class TPlacementOptions {
public:
    TPlacementOptions() = default;
    TPlacementOptions(std::initializer_list<TPlacementOption> Options) {
        for (const TPlacementOption Option : Options) FBits |= 1U << static_cast<unsigned>(Option);
    }
    explicit TPlacementOptions(unsigned Bits)
        : FBits(Bits) {}
    [[nodiscard]] bool Has(TPlacementOption Option) const {
        return (FBits >> static_cast<unsigned>(Option) & 1) != 0;
    }
    [[nodiscard]] unsigned Bits() const { return FBits; }
    friend bool operator==(const TPlacementOptions&, const TPlacementOptions&) = default;

private:
    unsigned FBits = 0;
};

enum class TPlacementRegRoot : std::uint8_t {
    prCurrentUser,
    prLocalMachine,
    prCurrentConfig,
    prClassesRoot,
    prUsers,
    prDynData,
};

class TKXFormStorage : public TComponent {
public:
    static const TClassInfo& StaticClass();
    [[nodiscard]] const TClassInfo& ClassInfo() const override;

    /// `AOwner` is the form as a rule: only then is there a placement, and `Options` begins with the state
    /// and the position. The application outlives the storage.
    TKXFormStorage(TComponent* AOwner, TFormApplication& Application);
    /// Gives the form its handlers back, unless it is being designed.
    ~TKXFormStorage() override;

    /// The settings file, or with `UseRegistry` the key below `RegistryRoot`. Empty until the first use: the
    /// program's file with the extension ".prm", or its name. A file without a folder stands beside the
    /// program.
    [[nodiscard]] const std::u16string& IniFileName() const { return FIniFileName; }
    void SetIniFileName(std::u16string_view Value) { FIniFileName = Value; }
    /// The form's section; empty until the first use, then the form's name.
    [[nodiscard]] const std::u16string& IniSection() const { return FIniSection; }
    void SetIniSection(std::u16string_view Value) { FIniSection = Value; }
    [[nodiscard]] bool UseRegistry() const { return FUseRegistry; }
    void SetUseRegistry(bool Value) { FUseRegistry = Value; }
    /// Entries "Component.Property", each with its component as object. Setting copies them and asks each
    /// component to tell when it is destroyed: its entries go then.
    [[nodiscard]] TStrings& StoredProps() { return FStoredProps; }
    void SetStoredProps(const TStrings& Value);
    [[nodiscard]] TPlacementRegRoot RegistryRoot() const { return FRegistryRoot; }
    void SetRegistryRoot(TPlacementRegRoot Value) { FRegistryRoot = Value; }
    [[nodiscard]] bool StoredPlacement() const { return FStoredPlacement; }
    void SetStoredPlacement(bool Value) { FStoredPlacement = Value; }
    [[nodiscard]] TPlacementOptions Options() const { return FOptions; }
    void SetOptions(TPlacementOptions Value) { FOptions = Value; }
    /// Another storage, whose file or key this one takes at each use (the section stays its own). Not itself.
    [[nodiscard]] TKXFormStorage* Host() const { return FHost; }
    void SetHost(TKXFormStorage* Value);
    /// Whether the form's events save and restore by themselves.
    [[nodiscard]] bool Active() const { return FActive; }
    void SetActive(bool Value) { FActive = Value; }

    std::function<void(TObject& Sender)> OnSaveProperties;
    std::function<void(TObject& Sender)> OnRestoreProperties;
    /// Hears that a damaged settings file was set aside.
    platform::TSettingsNotice OnNotice;

    // For those who store more from OnSaveProperties, where the settings are open.
    virtual void SavePlacement();
    virtual void RestorePlacement();
    /// Keeps the placement, if asked to, and the stored properties. Everything that can be kept is.
    /// @throws TSystemError when the disk refuses; TSettingsError for the first value that cannot be kept.
    virtual void SaveProperties();
    /// Brings them back; what cannot be read stays as it is. Raises only what opening the settings and
    /// OnRestoreProperties raise.
    virtual void RestoreProperties();

    /// To be called when the properties are set: hooks the form's events, and gives each stored entry its
    /// component.
    void Loaded();
    /// To be called before the properties are streamed out: stored entries take the present names of their
    /// components.
    void WriteState();

    /// Reads and writes one value, opening the settings for it when they are closed.
    [[nodiscard]] std::u16string DoReadString(std::u16string_view Section, std::u16string_view Item,
                                              std::u16string_view Default);
    void DoWriteString(std::u16string_view Section, std::u16string_view Item, std::u16string_view Value);

    /// The owner when it is a form, else null.
    [[nodiscard]] TForm* GetForm() const;
    /// The open settings, or null.
    [[nodiscard]] platform::TSettings* GetIniFile() const { return FIniFile.get(); }
    /// Opens the settings unless they are open.
    void IniNeeded(bool ReadOnly);
    /// Closes them; what was not flushed is lost.
    void IniFree() { FIniFile.reset(); }
    /// Fills in the file's name and the section.
    void CheckParams();

    /// Puts FormShow, FormCloseQuery and FormDestroy in front of the form's handlers, and takes them away
    /// again.
    void SetEvents();
    void RestoreEvents();
    void FormShow(TObject& Sender);
    void FormCloseQuery(TObject& Sender, bool& CanClose);
    void FormDestroy(TObject& Sender);

protected:
    void Notification(TComponent& Gone) override;

private:
    // Since the last restore.
    enum class TSaved : std::uint8_t { No, Yes, FailureTold };
    struct THandlers {
        decltype(TForm::OnShow) OnShow;
        decltype(TForm::OnCloseQuery) OnCloseQuery;
        decltype(TForm::OnDestroy) OnDestroy;
    };

    void SetNotification();
    void RestorePosition(TForm& Form, const TWindowPlacement& Current);
    [[nodiscard]] bool RestoreState(TForm& Form);
    [[nodiscard]] std::u16string ReadText(std::u16string_view Key, std::u16string_view Default) const;
    [[nodiscard]] int ReadInteger(std::u16string_view Key, int Default) const;
    [[nodiscard]] std::u16string ReadOfScreen(std::u16string_view Key) const;
    void WriteText(std::u16string_view Section, std::u16string_view Key, std::u16string_view Value);
    void WriteInteger(std::u16string_view Key, int Value);
    void WriteOfScreen(std::u16string_view Key, std::u16string_view Value);
    [[nodiscard]] std::u16string OfScreen(std::u16string_view Key) const;

    TFormApplication& FApplication;
    std::u16string FIniFileName, FIniSection;
    TStringList FStoredProps;
    TPlacementOptions FOptions;
    TKXFormStorage* FHost = nullptr;
    std::unique_ptr<platform::TSettings> FIniFile;
    std::optional<THandlers> FHandlers;               // the form's own, while hooked
    std::optional<platform::TSettingsError> FRefused; // the first value of a save that could not be kept
    TPlacementRegRoot FRegistryRoot = TPlacementRegRoot::prCurrentUser;
    TSaved FSaved = TSaved::No;
    bool FUseRegistry = false, FStoredPlacement = false, FActive = false;
};

} // namespace zutools
