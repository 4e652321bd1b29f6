#include "platform/SettingsFile.h"

#include "platform/File.h"
#include "platform/ReplaceFile.h"
#include "platform/TextTools.h"

#include <algorithm>

namespace zutools::platform {

namespace {

constexpr std::uint64_t SizeLimit = 64 * 1024 * 1024;
constexpr std::chrono::milliseconds LockLimit(2000);

std::u16string BackupOf(std::u16string_view Path) {
    return std::u16string(Path) + u".bak";
}

// Kept in a text that never comes to a disk.
class TMemorySettings final : public TSettings {
public:
    std::optional<std::u16string> Read(std::u16string_view Section, std::u16string_view Key) const override {
        return FText.Read(Section, Key);
    }
    void Write(std::u16string_view Section, std::u16string_view Key, std::u16string_view Value) override {
        FText.Write(Section, Key, Value);
    }
    void EraseKey(std::u16string_view Section, std::u16string_view Key) override {
        FText.EraseKey(Section, Key);
    }
    void EraseSection(std::u16string_view Section) override { FText.EraseSection(Section); }
    std::vector<std::u16string> Sections() const override { return FText.Sections(); }
    std::vector<std::u16string> Keys(std::u16string_view Section) const override {
        return FText.Keys(Section);
    }
    void Flush() override {}

private:
    TSettingsText FText;
};

} // namespace

std::unique_ptr<TSettings> MakeMemorySettings() {
    return std::make_unique<TMemorySettings>();
}

namespace {

// Nothing when the file is not there.
std::string ReadBytes(std::u16string_view Path) {
    if (!FileExists(Path)) return {};
    TReadFile File(Path);
    if (File.Size() > SizeLimit)
        throw TSettingsError(u"Settings file \"" + std::u16string(Path) + u"\" is larger than 64 MiB");
    return File.ReadAll();
}

} // namespace

TSettingsText ReadSettingsText(std::u16string_view Path) {
    return TSettingsText(ReadBytes(Path));
}

TSettingsFile::TSettingsFile(std::u16string_view Path, TSettingsNotice Tell)
    : FPath(Path)
    , FTell(std::move(Tell)) {
    Take(ReadBytes(FPath));
}

void TSettingsFile::Refresh() {
    if (std::string Bytes = ReadBytes(FPath); Bytes != FBytes) Take(std::move(Bytes));
}

void TSettingsFile::Take(std::string Bytes) {
    FText = TSettingsText(Bytes);
    FBytes = std::move(Bytes);
    if (const std::u16string_view Damage = FText.Damage(); !Damage.empty()) {
        FText = Repaired(Damage);
        FBytes = FText.Bytes();
    }
}

TSettingsText TSettingsFile::Repaired(std::u16string_view Damage) const {
    const std::u16string Aside = FPath + u".damaged", Backup = BackupOf(FPath);
    TSettingsText Good = ReadSettingsText(Backup);
    const bool HasGood = FileExists(Backup) && Good.Damage().empty();
    if (!HasGood) Good = TSettingsText();
    RenameFile(FPath, Aside);
    if (HasGood) ReplaceWholeFile(FPath, Good.Bytes(), {});
    if (FTell) {
        FTell(u"The settings file \"" + FPath + u"\" was damaged (" + std::u16string(Damage) +
              u") and is kept as \"" + Aside +
              (HasGood ? u"\"; its last good copy \"" + Backup + u"\" was taken instead"
                       : std::u16string(u"\"; there is no good copy of it")) +
              u".");
    }
    return Good;
}

bool TSettingsFile::TChanges::Writes(std::u16string_view Key) const {
    const auto* const Found = Keys.Find(Key);
    return Found != nullptr && Found->has_value();
}

std::optional<std::u16string> TSettingsFile::Read(std::u16string_view Section,
                                                  std::u16string_view Key) const {
    if (const TChanges* const Changes = FChanges.Find(Section)) {
        if (const auto* const Changed = Changes->Keys.Find(Key)) return *Changed;
        if (Changes->Erased) return std::nullopt;
    }
    return FText.Read(Section, Key);
}

void TSettingsFile::Write(std::u16string_view Section, std::u16string_view Key, std::u16string_view Value) {
    if (const std::u16string Reason = SettingsRefusal(Section, Key, Value); !Reason.empty())
        throw TSettingsError(u"Cannot keep [" + std::u16string(Section) + u"] " + std::u16string(Key) +
                             u" in \"" + FPath + u"\": " + Reason);
    FChanges[Section].Keys[Key] = Value;
}

void TSettingsFile::EraseKey(std::u16string_view Section, std::u16string_view Key) {
    FChanges[Section].Keys[Key] = std::nullopt;
}

void TSettingsFile::EraseSection(std::u16string_view Section) {
    TChanges& Changes = FChanges[Section];
    Changes.Erased = true;
    Changes.Keys.Clear();
}

// A section that is erased and written anew keeps its place, its comments, and every key whose value is the
// same.
void TSettingsFile::Apply(TSettingsText& Text) const {
    for (const auto& [Section, Changes] : FChanges) {
        if (Changes.Erased) {
            const bool Stays = std::any_of(Changes.Keys.begin(), Changes.Keys.end(),
                                           [](const auto& Change) { return Change.second.has_value(); });
            if (!Stays) Text.EraseSection(Section);
            for (const std::u16string& Key : Text.Keys(Section)) {
                if (!Changes.Writes(Key)) Text.EraseKey(Section, Key);
            }
        }
        for (const auto& [Key, Value] : Changes.Keys) {
            if (Value)
                Text.Write(Section, Key, *Value);
            else
                Text.EraseKey(Section, Key);
        }
    }
}

std::vector<std::u16string> TSettingsFile::Sections() const {
    TSettingsText Text(FText.Bytes());
    Apply(Text);
    return Text.Sections();
}

std::vector<std::u16string> TSettingsFile::Keys(std::u16string_view Section) const {
    TSettingsText Text(FText.Bytes());
    Apply(Text);
    return Text.Keys(Section);
}

void TSettingsFile::Flush() {
    if (FChanges.Empty()) return;
    const TFileLock Lock(FPath, LockLimit);
    Refresh();
    Apply(FText); // once more in another try: the changes stay until they are kept
    std::string Bytes = FText.Bytes();
    if (Bytes != FBytes) ReplaceWholeFile(FPath, Bytes, BackupOf(FPath));
    FBytes = std::move(Bytes);
    FChanges.Clear();
}

} // namespace zutools::platform
