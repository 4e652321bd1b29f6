// Settings in a file (SettingsText.h tells its form).
//
// Changes are kept in memory until `Flush`, which takes the file as it is by then, changes those keys, and
// puts it in place in one step: what another program wrote meanwhile stays, and of one key the later change
// wins.

#pragma once

#include "platform/NameTable.h"
#include "platform/Settings.h"
#include "platform/SettingsText.h"

namespace zutools::platform {

class TSettingsFile final : public TSettings {
public:
    /// A file that is not there reads as empty and is made by the first change. A damaged one is renamed to
    /// `Path` +
    /// ".damaged", the file as it was before its last change is taken instead, and `Tell` hears both names.
    /// @throws TSystemError when there is a file and it cannot be read; TSettingsError above 64 MiB.
    explicit TSettingsFile(std::u16string_view Path, TSettingsNotice Tell = {});

    [[nodiscard]] std::optional<std::u16string> Read(std::u16string_view Section,
                                                     std::u16string_view Key) const override;
    void Write(std::u16string_view Section, std::u16string_view Key, std::u16string_view Value) override;
    void EraseKey(std::u16string_view Section, std::u16string_view Key) override;
    void EraseSection(std::u16string_view Section) override;
    [[nodiscard]] std::vector<std::u16string> Sections() const override;
    [[nodiscard]] std::vector<std::u16string> Keys(std::u16string_view Section) const override;

    void Refresh() override;
    /// Writes the file once, if anything differs; waits for another program's change for at most two seconds.
    void Flush() override;

private:
    struct TChanges {
        bool Erased = false; // what was there before goes, but for the keys below
        TNamedValues<std::optional<std::u16string>> Keys{}; // no value: erased
        [[nodiscard]] bool Writes(std::u16string_view Key) const;
    };
    void Take(std::string Bytes);
    [[nodiscard]] TSettingsText Repaired(std::u16string_view Damage) const;
    void Apply(TSettingsText& Text) const;

    std::u16string FPath;
    TSettingsNotice FTell;
    std::string FBytes;              // of the file, as it was read or written last
    TSettingsText FText;             // of these bytes, or with changes that could not be kept yet
    TNamedValues<TChanges> FChanges; // by section
};

/// The file's text, or an empty one when it is not there. @throws as the constructor of TSettingsFile.
[[nodiscard]] TSettingsText ReadSettingsText(std::u16string_view Path);

/// Settings that end with the object; for programs without a place for them, and for tests.
[[nodiscard]] std::unique_ptr<TSettings> MakeMemorySettings();

} // namespace zutools::platform
