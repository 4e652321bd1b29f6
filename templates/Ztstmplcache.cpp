#include "templates/Ztstmplcache.h"

#include "host/Services.h"
#include "host/StringHelpers.h"
#include "host/ThreadContainer.h"
#include "templates/ParsedTemplate.h"
#include "templates/TemplateFile.h"

#include <bit>
#include <cstring>

namespace zutools {

std::unique_ptr<TZTSTemplateCache> ZTSTemplateCache;

namespace {

/// Mixes a text into `Hash` four characters at a time, without the bit that tells A to Z from a to z.
inline std::uint64_t MixNoCase(std::uint64_t Hash, std::u16string_view Text) {
    const auto Mix = [&](std::uint64_t Word) {
        Hash = (std::rotl(Hash, 23) ^ (Word & ~0x0020002000200020U)) * 0x9E3779B97F4A7C15U;
    };
    for (; Text.size() >= 4; Text.remove_prefix(4)) {
        std::uint64_t Word = 0;
        std::memcpy(&Word, Text.data(), sizeof(Word));
        Mix(Word);
    }
    std::uint64_t Rest = 0;
    for (const char16_t Character : Text) Rest = Rest << 16 | Character;
    if (!Text.empty()) Mix(Rest);
    return Hash;
}

bool SameNoCase(std::u16string_view Left, std::u16string_view Right) {
    return SameUnits(Left, Right) || SameText(Left, Right);
}

} // namespace

std::size_t TZTSTemplateCache::TKeyHash::operator()(const TKeyView& Key) const {
    return static_cast<std::size_t>(MixNoCase(MixNoCase(Key.Name.size(), Key.LanguageID), Key.Name));
}

bool TZTSTemplateCache::TKeyEqual::operator()(const TKeyView& Left, const TKeyView& Right) const {
    return SameNoCase(Left.Name, Right.Name) && SameNoCase(Left.LanguageID, Right.LanguageID);
}

TZTSTemplateCache::TZTSTemplateCache(const TServices* Services)
    : FServices(Services)
    , FMaxFileSize(DefaultMaxTemplateSize) {}

TZTSTemplateCache::~TZTSTemplateCache() = default;

const TServices& TZTSTemplateCache::Services() const {
    return FServices != nullptr ? *FServices : zutools::Services();
}

bool TZTSTemplateCache::GetEnabled() const {
    const std::shared_lock Reading(FReaders);
    return FEnabled;
}

void TZTSTemplateCache::SetEnabled(bool Value) {
    const TChange Change(*this);
    FEnabled = Value;
}

std::u16string TZTSTemplateCache::GetTemplateDirectory() const {
    const std::shared_lock Reading(FReaders);
    return FDirectory;
}

void TZTSTemplateCache::SetTemplateDirectory(std::u16string_view Value) {
    const TChange Change(*this);
    FDirectory = Value;
}

std::uint64_t TZTSTemplateCache::GetMaxFileSize() const {
    const std::shared_lock Reading(FReaders);
    return FMaxFileSize;
}

void TZTSTemplateCache::SetMaxFileSize(std::uint64_t Value) {
    const TChange Change(*this);
    FMaxFileSize = Value;
}

void TZTSTemplateCache::Clear() {
    decltype(FEntries) Old; // freed when the lock is given back
    const TChange Change(*this);
    FEntries.swap(Old);
}

void TZTSTemplateCache::GetTemplate(std::u16string_view LanguageID, std::u16string_view TemplateName,
                                    TTemplate& Target) {
    if (!TryGetTemplate(LanguageID, TemplateName, Target)) Target.SetTemplateName(TemplateName);
}

bool TZTSTemplateCache::TryGetKnown(std::u16string_view LanguageID, std::u16string_view TemplateName,
                                    TTemplate& Target) {
    TText Text;
    {
        const std::shared_lock Reading(FReaders);
        if (!FEnabled) return false;
        const auto Found = FEntries.find(TKeyView{LanguageID, TemplateName});
        if (Found == FEntries.end()) return false;
        Text = Own(Found->second->Text);
    }
    if (Text == nullptr) return false;
    Target.Assign(std::move(Text));
    return true;
}

bool TZTSTemplateCache::TryGetTemplate(std::u16string_view LanguageID, std::u16string_view TemplateName,
                                       TTemplate& Target) {
    if (TryGetKnown(LanguageID, TemplateName, Target)) return true;
    const TKeyView Key{LanguageID, TemplateName};
    std::shared_ptr<TEntry> Entry;
    {
        const TChange Change(*this);
        if (TemplateName.empty() || !FEnabled) return false;
        auto Found = FEntries.find(Key);
        if (Found == FEntries.end()) {
            Found = FEntries
                        .emplace(TKey{std::u16string(LanguageID), std::u16string(TemplateName)},
                                 std::make_shared<TEntry>())
                        .first;
        }
        Entry = Found->second;
    }
    try {
        Target.Assign(Read(Key, *Entry));
    } catch (const ETemplateFile& Error) {
        Target.ClearParts();
        Target.ClearTagsList();
        Target.HandleError(Error.Message());
    }
    return true;
}

/// The entry's text. One thread reads it; the others that ask meanwhile wait for it.
TZTSTemplateCache::TText TZTSTemplateCache::Read(const TKeyView& Key, TEntry& Entry) {
    const std::scoped_lock Reading(Entry.Reading);
    {
        const std::shared_lock Guard(FReaders);
        if (Own(Entry.Text) != nullptr) return Own(Entry.Text);
    }
    try {
        TSharedText Text = Share(Load(Key));
        const TChange Change(*this);
        Entry.Text = std::move(Text);
        return Own(Entry.Text);
    } catch (...) {
        Forget(Key, Entry); // the next request tries again
        throw;
    }
}

TZTSTemplateCache::TText TZTSTemplateCache::Load(const TKeyView& Key) const {
    std::u16string Text;
    try {
        Text = ReadTemplateFile(GetTemplateDirectory(), Key.Name, GetMaxFileSize());
        ReplaceLanguageKeys(Text, *Services().Localizer, Key.LanguageID);
    } catch (const ETemplateFile& Error) {
        if (Error.IsText()) throw;
        // Kept on purpose: an empty or unreadable file is an empty template, whose error nobody who asks is
        // told. The log is.
        Services().Logger->Log(TLogLevel::Warning, Error.Message());
    }
    TParsedTemplate::TOrigin Origin{std::u16string(Key.Name), std::u16string(Key.LanguageID)};
    Origin.FromFile = true;
    TText Parsed = TParsedTemplate::Parse(std::move(Text), 0, std::move(Origin));
    // A missing mark is the error of the part that lacks it, and the copies have no errors: only the log can
    // tell it, with the file's name.
    LogFaults(*Parsed, Key.Name, *Services().Logger);
    return Parsed;
}

TZTSTemplateCache::TSharedText TZTSTemplateCache::Share(const TText& Text) {
    struct alignas(64) TOwner { // and its count with it, on a cache line of their own
        TText Text;
    };
    TSharedText Result;
    for (TText& Each : Result) Each = TText(std::make_shared<TOwner>(TOwner{Text}), Text.get());
    return Result;
}

const TZTSTemplateCache::TText& TZTSTemplateCache::Own(const TSharedText& Text) {
    return Text[ThreadNumber() % Text.size()];
}

void TZTSTemplateCache::Forget(const TKeyView& Key, const TEntry& Entry) {
    const TChange Change(*this);
    const auto Found = FEntries.find(Key);
    if (Found != FEntries.end() && Found->second.get() == &Entry) FEntries.erase(Found);
}

} // namespace zutools
