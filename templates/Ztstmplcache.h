// TZTSTemplateCache: the parsed templates of the process, one for each language and name, and the directory
// that template names are relative to.
//
// TTemplate asks it; the application sets the directory and enables it. Called by any number of threads at
// once. A missing template is read and parsed under the lock, so that it is read once; one that is there is
// copied without waiting for other threads: the dictionary, the flag and the directory change only under the
// lock, and beside it stand small tables of already handed out templates, each used by few threads.
//
// Entries stay until Clear: a changed file is seen only after it. Clear is safe while others copy; what they
// hold stays alive with them.

#pragma once

#include "host/Locks.h"
#include "templates/Ltemplt.h"

#include <array>
#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <thread>
#include <unordered_map>

namespace zutools {

struct TServices;

class TZTSTemplateCache : public TKXThreadSafetyClass {
public:
    /// Disabled, with an empty directory. `Services` outlives the cache; null means those of the process.
    explicit TZTSTemplateCache(const TServices* Services = nullptr);
    ~TZTSTemplateCache() override;

    [[nodiscard]] bool GetEnabled() const { return FEnabled.load(std::memory_order_acquire); }
    void SetEnabled(bool Value);
    [[nodiscard]] std::u16string GetTemplateDirectory() const;
    void SetTemplateDirectory(std::u16string_view Value);
    /// Larger files are refused without reading them; in bytes, 64 MB at first.
    [[nodiscard]] std::uint64_t GetMaxFileSize() const {
        return FMaxFileSize.load(std::memory_order_relaxed);
    }
    void SetMaxFileSize(std::uint64_t Value) { FMaxFileSize.store(Value, std::memory_order_relaxed); }

    /// Forgets every template.
    void Clear();

    /// Makes `Target` a copy of the template, which is read when it is not there yet. With an empty name or
    /// while disabled it is only given the name. `Target` takes over RaiseException (false) with the rest. An
    /// empty or unreadable file gives an empty template without an error, and is kept; malformed and
    /// oversized files are errors of `Target`, and are not kept.
    /// @throws what TTemplate::ReadTemplate raises for files that cannot be opened and for bad names; nothing
    /// is kept.
    void GetTemplate(std::u16string_view LanguageID, std::u16string_view TemplateName, TTemplate& Target);
    /// The same, but false, with nothing done, where GetTemplate would only give the name.
    bool TryGetTemplate(std::u16string_view LanguageID, std::u16string_view TemplateName, TTemplate& Target);

private:
    // Language and name, compared ignoring the case of A to Z; looked up without copying them.
    struct TKeyView {
        std::u16string_view LanguageID;
        std::u16string_view Name;
    };
    struct TKey { // in lower case
        std::u16string LanguageID;
        std::u16string Name;
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
    using TMasters = std::unordered_map<TKey, std::unique_ptr<TTemplate>, TKeyHash, TKeyEqual>;

    /// Held for a look-up and a copy only, mostly by the one thread that uses the shard: giving it back is a
    /// plain store, and who finds it taken lets the other go on.
    class TBriefLock {
    public:
        void lock() {
            while (FTaken.exchange(true, std::memory_order_acquire)) std::this_thread::yield();
        }
        void unlock() { FTaken.store(false, std::memory_order_release); }

    private:
        std::atomic<bool> FTaken{false};
    };

    /// Masters for a few threads: their reference to the shared text has a counter of its own, so that
    /// threads of different shards write to no common memory.
    struct alignas(64) TShard {
        TBriefLock Lock;
        std::uint64_t Version = 0; // of the dictionary that the masters were taken from
        TMasters Masters;
        std::array<TMasters::value_type*, 32> Recent{}; // of Masters, looked at first

        void Clear();
        [[nodiscard]] TTemplate* Find(const TKeyView& Key);
    };

    TShard& ShardOfThread();
    [[nodiscard]] std::unique_ptr<TTemplate> ReadMaster(std::u16string_view LanguageID,
                                                        std::u16string_view Name);

    const TTemplateEnvironment FEnvironment;
    std::atomic<std::uint64_t> FMaxFileSize;

    // Written under the lock. The flag and the version are read without it too.
    TMasters FMasters;
    std::u16string FDirectory;
    std::atomic<bool> FEnabled{false};
    std::atomic<std::uint64_t> FVersion{1}; // counts Clear

    std::array<TShard, 16> FShards;
};

/// The cache of the process; null before package start and after stop.
extern std::unique_ptr<TZTSTemplateCache> ZTSTemplateCache;

} // namespace zutools
