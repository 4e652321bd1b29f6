#include "templates/Ztstmplcache.h"

#include "host/Services.h"
#include "host/StringHelpers.h"
#include "templates/ParsedTemplate.h"
#include "templates/TemplateFile.h"

#include <cstring>

namespace zutools {

std::unique_ptr<TZTSTemplateCache> ZTSTemplateCache;

TZTSTemplateCache::TZTSTemplateCache(const TServices* Services)
    : FServices(Services)
    , FMaxFileSize(DefaultMaxTemplateSize) {}

TZTSTemplateCache::~TZTSTemplateCache() = default;

const TServices& TZTSTemplateCache::Services() const {
    return FServices != nullptr ? *FServices : zutools::Services();
}

bool TZTSTemplateCache::GetEnabled() const {
    const std::scoped_lock Guard(*this);
    return FEnabled;
}

void TZTSTemplateCache::SetEnabled(bool Value) {
    const std::scoped_lock Guard(*this);
    FEnabled = Value;
}

std::u16string TZTSTemplateCache::GetTemplateDirectory() const {
    const std::scoped_lock Guard(*this);
    return FDirectory;
}

void TZTSTemplateCache::SetTemplateDirectory(std::u16string_view Value) {
    const std::scoped_lock Guard(*this);
    FDirectory = Value;
}

std::uint64_t TZTSTemplateCache::GetMaxFileSize() const {
    const std::scoped_lock Guard(*this);
    return FMaxFileSize;
}

void TZTSTemplateCache::SetMaxFileSize(std::uint64_t Value) {
    const std::scoped_lock Guard(*this);
    FMaxFileSize = Value;
}

void TZTSTemplateCache::Clear() {
    decltype(FEntries) Old; // freed when the lock is given back
    const std::scoped_lock Guard(*this);
    FEntries.swap(Old);
}

void TZTSTemplateCache::GetTemplate(std::u16string_view LanguageID, std::u16string_view TemplateName,
                                    TTemplate& Target) {
    if (!TryGetTemplate(LanguageID, TemplateName, Target)) Target.SetTemplateName(TemplateName);
}

bool TZTSTemplateCache::TryGetTemplate(std::u16string_view LanguageID, std::u16string_view TemplateName,
                                       TTemplate& Target) {
    const std::u16string Key = LowerCase(LanguageID).append(u"|").append(LowerCase(TemplateName));
    std::shared_ptr<TEntry> Entry;
    TText Text;
    {
        const std::scoped_lock Guard(*this);
        if (TemplateName.empty() || !FEnabled) return false;
        std::shared_ptr<TEntry>& Found = FEntries[Key];
        if (Found == nullptr) Found = std::make_shared<TEntry>();
        Text = Found->Text;
        if (Text == nullptr) Entry = Found;
    }
    try {
        if (Text == nullptr) Text = Read(Key, *Entry, LanguageID, TemplateName);
    } catch (const ETemplateFile& Error) {
        Target.ClearParts();
        Target.ClearTagsList();
        Target.HandleError(Error.Message());
        return true;
    }
    Target.Assign(std::move(Text));
    return true;
}

/// The entry's text. One thread reads it; the others that ask meanwhile wait for it.
TZTSTemplateCache::TText TZTSTemplateCache::Read(const std::u16string& Key, TEntry& Entry,
                                                 std::u16string_view LanguageID, std::u16string_view Name) {
    const std::scoped_lock Reading(Entry.Reading);
    {
        const std::scoped_lock Guard(*this);
        if (Entry.Text != nullptr) return Entry.Text;
    }
    try {
        TText Text = Load(LanguageID, Name);
        const std::scoped_lock Guard(*this);
        Entry.Text = Text;
        return Text;
    } catch (...) {
        Forget(Key, Entry); // the next request tries again
        throw;
    }
}

TZTSTemplateCache::TText TZTSTemplateCache::Load(std::u16string_view LanguageID,
                                                 std::u16string_view Name) const {
    std::u16string Text;
    try {
        Text = ReadTemplateFile(GetTemplateDirectory(), Name, GetMaxFileSize());
        ReplaceLanguageKeys(Text, *Services().Localizer, LanguageID);
    } catch (const ETemplateFile& Error) {
        if (Error.IsText()) throw;
        // Kept on purpose: an empty or unreadable file is an empty template, whose error nobody who asks is
        // told. The log is.
        Services().Logger->Log(TLogLevel::Warning, Error.Message());
    }
    TParsedTemplate::TOrigin Origin{std::u16string(Name), std::u16string(LanguageID)};
    Origin.FromFile = true;
    TText Parsed = TParsedTemplate::Parse(std::move(Text), 0, std::move(Origin));
    // A missing mark is the error of the part that lacks it, and the copies have no errors: only the log can
    // tell it, with the file's name.
    for (const TParsedTemplate::TPart& Part : Parsed->Parts()) {
        if (Part.Fault == TParsedTemplate::TFault::None) continue;
        Services().Logger->Log(TLogLevel::Warning, FaultText(Part.Fault, Part.Name, Name));
    }
    return Parsed;
}

void TZTSTemplateCache::Forget(const std::u16string& Key, const TEntry& Entry) {
    const std::scoped_lock Guard(*this);
    const auto Found = FEntries.find(Key);
    if (Found != FEntries.end() && Found->second.get() == &Entry) FEntries.erase(Found);
}

} // namespace zutools
