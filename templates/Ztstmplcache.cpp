#include "templates/Ztstmplcache.h"

#include "host/Services.h"
#include "host/StringHelpers.h"
#include "templates/Marks.h"
#include "templates/TemplateFile.h"

#include <cstring>

namespace zutools {

std::unique_ptr<TZTSTemplateCache> ZTSTemplateCache;

namespace {

/// The same for texts that differ in the case of A to Z only: bit 5 is left out, four characters are taken at
/// a time.
std::uint64_t HashNoCase(std::u16string_view Text) {
    constexpr std::uint64_t Multiplier = 0x9E3779B97F4A7C15U;
    constexpr std::uint64_t CaseBits = 0x0020002000200020U;
    std::uint64_t Hash = Text.size();
    const auto Mix = [&](std::uint64_t Word) {
        Hash = (Hash ^ (Word & ~CaseBits)) * Multiplier;
        Hash ^= Hash >> 32;
    };
    while (Text.size() >= 4) {
        std::uint64_t Word = 0;
        std::memcpy(&Word, Text.data(), sizeof(Word));
        Mix(Word);
        Text.remove_prefix(4);
    }
    if (Text.empty()) return Hash;
    std::uint64_t Rest = 0;
    for (const char16_t Character : Text) Rest = Rest << 16 | Character;
    Mix(Rest);
    return Hash;
}

bool SameNoCase(std::u16string_view Left, std::u16string_view Right) {
    return SameUnits(Left, Right) || SameText(Left, Right);
}

} // namespace

std::size_t TZTSTemplateCache::TKeyHash::operator()(const TKeyView& Key) const {
    return static_cast<std::size_t>(HashNoCase(Key.LanguageID) * 31 + HashNoCase(Key.Name));
}

bool TZTSTemplateCache::TKeyEqual::operator()(const TKeyView& Left, const TKeyView& Right) const {
    return SameNoCase(Left.Name, Right.Name) && SameNoCase(Left.LanguageID, Right.LanguageID);
}

TZTSTemplateCache::TZTSTemplateCache(const TServices* Services)
    : FEnvironment{this, Services}
    , FMaxFileSize(DefaultMaxTemplateSize) {}

TZTSTemplateCache::~TZTSTemplateCache() {
    Clear();
}

void TZTSTemplateCache::SetEnabled(bool Value) {
    const std::scoped_lock Guard(*this);
    FEnabled.store(Value, std::memory_order_release);
}

std::u16string TZTSTemplateCache::GetTemplateDirectory() const {
    const std::scoped_lock Guard(*this);
    return FDirectory;
}

void TZTSTemplateCache::SetTemplateDirectory(std::u16string_view Value) {
    const std::scoped_lock Guard(*this);
    FDirectory = Value;
}

void TZTSTemplateCache::TShard::Clear() {
    Recent.fill(nullptr);
    Masters.clear();
}

TTemplate* TZTSTemplateCache::TShard::Find(const TKeyView& Key) {
    // A few characters tell most names apart; a whole hash would cost more than all the rest.
    const std::u16string_view Name = Key.Name;
    const std::size_t Language = Key.LanguageID.empty() ? 0U : Key.LanguageID.back();
    const std::size_t Mixed = Name.size() * 5 + Name.back() + Name[Name.size() / 2] * 3U + Language * 7;
    TMasters::value_type*& Place = Recent[Mixed % Recent.size()];
    if (Place != nullptr && SameUnits(Place->first.Name, Name) &&
        SameUnits(Place->first.LanguageID, Key.LanguageID)) {
        return Place->second.get();
    }
    const auto Found = Masters.find(Key);
    if (Found == Masters.end()) return nullptr;
    Place = &*Found; // its address holds until it is erased
    return Found->second.get();
}

void TZTSTemplateCache::Clear() {
    const std::scoped_lock Guard(*this);
    FVersion.fetch_add(1, std::memory_order_acq_rel);
    FMasters.clear();
    for (TShard& Shard : FShards) {
        const std::lock_guard ShardGuard(Shard.Lock);
        Shard.Clear();
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
        const std::lock_guard Guard(Shard.Lock);
        const std::uint64_t Version = FVersion.load(std::memory_order_acquire);
        if (Shard.Version != Version) {
            Shard.Clear();
            Shard.Version = Version;
        }
        if (const TTemplate* const Found = Shard.Find(Key)) {
            Target.Assign(Found);
            return true;
        }
    }

    const std::u16string Name(TemplateName); // a copy: it may be a piece of the target's own
    if (Target.Name() != Name) Target.SetName(Name);
    auto Local = std::make_unique<TTemplate>(FEnvironment);
    TKey StoredKey;
    std::uint64_t Version = 0;
    try {
        const std::scoped_lock Guard(*this);
        auto Found = FMasters.find(TKeyView{LanguageID, Name});
        if (Found == FMasters.end()) {
            // Nothing is kept when the master cannot be read: the next request tries again.
            std::unique_ptr<TTemplate> Master = ReadMaster(LanguageID, Name);
            Found = FMasters.emplace(TKey{LowerCase(LanguageID), LowerCase(Name)}, std::move(Master)).first;
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
    const std::lock_guard Guard(Shard.Lock);
    if (Shard.Version == Version) Shard.Masters.try_emplace(std::move(StoredKey), std::move(Local));
    return true;
}

std::unique_ptr<TTemplate> TZTSTemplateCache::ReadMaster(std::u16string_view LanguageID,
                                                         std::u16string_view Name) {
    auto Master = std::make_unique<TTemplate>(FEnvironment);
    Master->SetLanguageID(LanguageID);
    Master->SetName(Name);
    try {
        Master->LoadFile();
    } catch (const ETemplateFile& Error) {
        if (Error.IsText()) throw;
        // Kept on purpose: an empty or unreadable file is an empty template, whose error nobody who asks is
        // told. The log is.
        Master->HandleError(Error.Message());
    }
    Master->FNameOfText = Master->FParsed != nullptr;
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
