// TZTSTemplateCache: the parsed templates of the process, one for each language and name, and the directory
// that template names are relative to.
//
// TTemplate asks it; the application sets the directory and enables it. Called by any number of threads at
// once. The lock guards the dictionary, the flag and the settings, and is never held while a file is read or
// a text is looked up: who asks for a template that another thread is reading waits for that one reading. Who
// asks for one that is there only reads under the lock, beside others who do.
//
// Entries stay until Clear: a changed file is seen only after it. Clear is safe while others copy; what they
// hold stays alive with them.

#pragma once

#include "host/Locks.h"
#include "templates/Ltemplt.h"

#include <array>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <unordered_map>

namespace zutools {

class TZTSTemplateCache : public TKXThreadSafetyClass {
public:
    /// Disabled, with an empty directory. `Services` outlives the cache; null means those of the process.
    explicit TZTSTemplateCache(const TServices* Services = nullptr);
    ~TZTSTemplateCache() override;

    [[nodiscard]] bool GetEnabled() const;
    void SetEnabled(bool Value);
    [[nodiscard]] std::u16string GetTemplateDirectory() const;
    void SetTemplateDirectory(std::u16string_view Value);
    /// Larger files are refused without reading them; in bytes, 64 MB at first.
    [[nodiscard]] std::uint64_t GetMaxFileSize() const;
    void SetMaxFileSize(std::uint64_t Value);

    /// Forgets every template.
    void Clear();

    /// Makes `Target` a copy of the template, which is read when it is not there yet. With an empty name or
    /// while disabled it is only given the name. `Target` takes over RaiseException (false) with the rest. An
    /// empty or unreadable file gives an empty template without an error, and is kept; malformed and
    /// oversized files are errors of `Target`, and are not kept. Missing marks are errors of nobody: the log
    /// tells them when the file is read.
    /// @throws what TTemplate::ReadTemplate raises for files that cannot be opened and for bad names; nothing
    /// is kept.
    void GetTemplate(std::u16string_view LanguageID, std::u16string_view TemplateName, TTemplate& Target);
    /// The same, but false, with nothing done, where GetTemplate would only give the name.
    bool TryGetTemplate(std::u16string_view LanguageID, std::u16string_view TemplateName, TTemplate& Target);
    /// The same for a template that is there, without reading any file; else false, with nothing done.
    bool TryGetKnown(std::u16string_view LanguageID, std::u16string_view TemplateName, TTemplate& Target);

private:
    using TText = std::shared_ptr<const TParsedTemplate>;
    // One text, whose owners are counted in several places, so that threads that share it do not wait for
    // each other's counting.
    using TSharedText = std::array<TText, 16>;
    /// A template that is there, or is being read.
    struct TEntry {
        std::mutex Reading; // held by the thread that reads it
        TSharedText Text;   // of nulls until it is there; guarded by the cache's lock
    };

    // Both ignore the case of A to Z.
    struct TKeyView {
        std::u16string_view LanguageID, Name;
    };
    struct TKey {
        std::u16string LanguageID, Name;
        operator TKeyView() const { return {LanguageID, Name}; }
    };
    struct TKeyHash {
        using is_transparent = void;
        std::size_t operator()(const TKeyView& Key) const;
    };
    struct TKeyEqual {
        using is_transparent = void;
        bool operator()(const TKeyView& Left, const TKeyView& Right) const;
    };

    [[nodiscard]] TText Read(const TKeyView& Key, TEntry& Entry);
    void Forget(const TKeyView& Key, const TEntry& Entry);
    [[nodiscard]] TText Load(const TKeyView& Key) const;
    [[nodiscard]] static TSharedText Share(const TText& Text);
    /// The text for the calling thread.
    [[nodiscard]] static const TText& Own(const TSharedText& Text);
    [[nodiscard]] const TServices& Services() const;

    /// Both sides of the lock, for what changes the fields below.
    struct TChange {
        explicit TChange(TZTSTemplateCache& Cache)
            : Owner(Cache)
            , Readers(Cache.FReaders) {}
        std::scoped_lock<TZTSTemplateCache> Owner;
        std::scoped_lock<TKXThreadRWSafetyClass> Readers;
    };

    const TServices* const FServices;
    mutable TKXThreadRWSafetyClass FReaders; // who reads a field takes its read side only
    std::unordered_map<TKey, std::shared_ptr<TEntry>, TKeyHash, TKeyEqual> FEntries;
    std::u16string FDirectory;
    std::uint64_t FMaxFileSize;
    bool FEnabled = false;
};

/// The cache of the process; null before package start and after stop.
extern std::unique_ptr<TZTSTemplateCache> ZTSTemplateCache;

} // namespace zutools
