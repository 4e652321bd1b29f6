// Data of one thread, reached by that thread only.
//
// TThreadContainer makes an item for each thread on first use and frees it when the thread calls
// ReleaseThreadData (a host's worker threads do so at the end of their function) or when the container goes.
// TThreadObjects keeps objects by name for each thread; the session object stands there under "Session".
//
// A thread that ends without ReleaseThreadData or Clear leaves its data behind, unreachable, until the
// container goes: threads are told apart by numbers that are never given twice (the system's thread ids are),
// so that no new thread sees an earlier one's data.

#pragma once

#include "host/Object.h"

#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace zutools {

/// The calling thread's number, from 1, never given twice.
[[nodiscard]] std::uint64_t ThreadNumber();

/// The item of one thread.
class TThreadContainerParentObject : public TObject {
public:
    static const TClassInfo& StaticClass();
    [[nodiscard]] const TClassInfo& ClassInfo() const override;
};

class TThreadContainer : public TObject {
public:
    TThreadContainer() = default;
    ~TThreadContainer() override;

    /// When true (as made), a released item is handed to the next new thread as it is; when false it is
    /// freed, and so are those that wait.
    void SetReuseObjects(bool Value);
    /// The calling thread's item, made by CreateData on the first call; null when CreateData gives none.
    [[nodiscard]] TThreadContainerParentObject* GetData();
    /// Frees (or keeps for reuse) the calling thread's item; nothing happens when it has none.
    void ReleaseThreadData();

protected:
    /// Called on the thread that asks, without any lock held.
    [[nodiscard]] virtual std::unique_ptr<TThreadContainerParentObject> CreateData() = 0;

private:
    using TOwnedData = std::unique_ptr<TThreadContainerParentObject>;

    std::mutex FMutex; // guards all below; never held while an item is made or destroyed
    bool FReuseObjects = true;
    std::unordered_map<std::uint64_t, TOwnedData> FItems; // by the thread's number
    std::vector<TOwnedData> FSpare;
};

/// The per-thread container of named objects: it owns what it is given. Names compare ignoring the case of A
/// to Z.
class TThreadObjects {
public:
    TThreadObjects();
    ~TThreadObjects();
    TThreadObjects(const TThreadObjects&) = delete;
    TThreadObjects& operator=(const TThreadObjects&) = delete;

    /// Puts `Object` under `Name` for the calling thread, freeing what stood there. A null `Object` is as
    /// Remove.
    void Add(std::u16string_view Name, std::unique_ptr<TObject> Object);
    /// The calling thread's object of that name, or null. Takes no lock after the thread's first Add.
    [[nodiscard]] TObject* Get(std::u16string_view Name) const;
    /// Frees the calling thread's object of that name; nothing happens when there is none.
    void Remove(std::u16string_view Name);
    /// Takes it out without freeing it; null when there is none.
    [[nodiscard]] std::unique_ptr<TObject> Take(std::u16string_view Name);
    /// Frees everything of the calling thread; a host calls it when a worker thread ends.
    void Clear();

private:
    // A thread has a few objects, which are looked through one by one. When an object goes, its place stays
    // with the name: many objects come and go under one name with every call.
    struct TPlace {
        std::u16string Name;
        std::unique_ptr<TObject> Object;
    };
    using TNamed = std::vector<TPlace>;

    [[nodiscard]] static TPlace* Find(TNamed* Own, std::u16string_view Name);
    [[nodiscard]] TNamed* FindOwn() const;

    // Every container has a number of its own. A thread remembers its objects by the number: an address
    // may come back with another container, a number does not.
    const std::uint64_t FNumber;
    mutable std::mutex FMutex; // guards the map; what it holds for a thread is touched by that thread only
    mutable std::unordered_map<std::uint64_t, TNamed> FThreads;
};

/// The container of the process.
[[nodiscard]] TThreadObjects& ThreadObjects();

} // namespace zutools
