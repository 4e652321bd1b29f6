#include "templates/Ztstmplcache.h"

#include "host/Services.h"
#include "host/StringHelpers.h"
#include "templates/TemplateFile.h"

namespace zutools {

std::unique_ptr<TZTSTemplateCache> ZTSTemplateCache;

namespace {

char16_t Lower(char16_t Character) {
    return Character >= u'A' && Character <= u'Z' ? static_cast<char16_t>(Character + (u'a' - u'A'))
                                                  : Character;
}

bool SameLower(std::u16string_view Any, std::u16string_view Lowered) {
    for (std::size_t Index = 0; Index < Any.size(); ++Index) {
        if (Lower(Any[Index]) != Lowered[Index]) return false;
    }
    return true;
}

constexpr std::size_t HashStart = 0xCBF29CE484222325U;

std::size_t Hash(std::size_t Start, std::u16string_view Text) {
    for (const char16_t Character : Text) Start = (Start ^ Lower(Character)) * 0x100000001B3U;
    return Start;
}

} // namespace

std::size_t TZTSTemplateCache::TKeyHash::operator()(const TKeyView& Key) const {
    return Hash(Hash(Hash(HashStart, Key.LanguageID), u"|"), Key.Name);
}

std::size_t TZTSTemplateCache::TKeyHash::operator()(const std::u16string& Key) const {
    return Hash(HashStart, Key);
}

bool TZTSTemplateCache::TKeyEqual::operator()(const TKeyView& Left, const std::u16string& Right) const {
    const std::u16string_view Key = Right;
    const std::size_t Bar = Left.LanguageID.size();
    return Key.size() == Bar + 1 + Left.Name.size() && Key[Bar] == u'|' && SameLower(Left.LanguageID, Key) &&
           SameLower(Left.Name, Key.substr(Bar + 1));
}

TZTSTemplateCache::TZTSTemplateCache(const TServices* Services)
    : FEnvironment{this, Services}
    , FMaxFileSize(DefaultMaxTemplateSize) {}

TZTSTemplateCache::~TZTSTemplateCache() {
    Clear();
}

void TZTSTemplateCache::SetEnabled(bool Value) {
    const TLockScope Guard(*this);
    FEnabled.store(Value, std::memory_order_release);
}

std::u16string TZTSTemplateCache::GetTemplateDirectory() const {
    const TLockScope Guard(*this);
    return FDirectory;
}

void TZTSTemplateCache::SetTemplateDirectory(std::u16string_view Value) {
    const TLockScope Guard(*this);
    FDirectory = Value;
}

void TZTSTemplateCache::Clear() {
    const TLockScope Guard(*this);
    FVersion.fetch_add(1, std::memory_order_acq_rel);
    FMasters.clear();
    for (TShard& Shard : FShards) {
        const std::lock_guard ShardGuard(Shard.Mutex);
        Shard.Masters.clear();
    }
}

void TZTSTemplateCache::GetTemplate(std::u16string_view LanguageID, std::u16string_view TemplateName,
                                    TTemplate& Target) {
    if (!TryGetTemplate(LanguageID, TemplateName, Target)) Target.SetTemplateName(TemplateName);
}

bool TZTSTemplateCache::TryGetTemplate(std::u16string_view LanguageID, std::u16string_view TemplateName,
                                       TTemplate& Target) {
    if (TemplateName.empty() || !GetEnabled()) return false;
    const TKeyView Key{LanguageID, TemplateName};
    TShard& Shard = ShardOfThread();
    {
        const std::lock_guard Guard(Shard.Mutex);
        const std::uint64_t Version = FVersion.load(std::memory_order_acquire);
        if (Shard.Version != Version) {
            Shard.Masters.clear();
            Shard.Version = Version;
        }
        const auto Found = Shard.Masters.find(Key);
        if (Found != Shard.Masters.end()) {
            Target.Assign(Found->second.get());
            return true;
        }
    }

    auto Local = std::make_unique<TTemplate>(FEnvironment);
    std::u16string StoredKey;
    std::uint64_t Version = 0;
    try {
        const TLockScope Guard(*this);
        auto Found = FMasters.find(Key);
        if (Found == FMasters.end()) {
            // Nothing is kept when the master cannot be read: the next request tries again.
            std::unique_ptr<TTemplate> Master = ReadMaster(LanguageID, TemplateName);
            std::u16string NewKey(LanguageID);
            NewKey.append(u"|").append(TemplateName);
            Found = FMasters.emplace(LowerCase(NewKey), std::move(Master)).first;
        }
        StoredKey = Found->first;
        Local->Assign(Found->second.get());
        Version = FVersion.load(std::memory_order_relaxed);
    } catch (const ETemplateFile& Error) {
        Target.ClearParts();
        Target.ClearTagsList();
        Target.HandleError(Error.Message());
        return true;
    }
    Local->CountApart();
    Target.Assign(Local.get());
    const std::lock_guard Guard(Shard.Mutex);
    if (Shard.Version == Version) Shard.Masters.try_emplace(std::move(StoredKey), std::move(Local));
    return true;
}

std::unique_ptr<TTemplate> TZTSTemplateCache::ReadMaster(std::u16string_view LanguageID,
                                                         std::u16string_view Name) {
    auto Master = std::make_unique<TTemplate>(FEnvironment);
    Master->SetLanguageID(LanguageID);
    Master->sName = Name;
    try {
        Master->LoadFile();
    } catch (const ETemplateFile& Error) {
        if (Error.IsText()) throw;
        // Kept on purpose: an empty or unreadable file is an empty template, whose error nobody who asks is
        // told. The log is.
        Master->HandleError(Error.Message());
    }
    if (!Master->LastError().empty()) Master->Services().Logger->Log(TLogLevel::Warning, Master->LastError());
    return Master;
}

TZTSTemplateCache::TShard& TZTSTemplateCache::ShardOfThread() {
    // Plain data: a thread-local with a destructor is broken on MinGW.
    static std::atomic<unsigned> Last{0};
    static thread_local unsigned Number = 0;
    if (Number == 0) Number = ++Last;
    return FShards[Number % FShards.size()];
}

} // namespace zutools
