// Data of one thread, reached by that thread only.
//
// TThreadContainer makes an item for each thread on first use and frees it when the thread calls ReleaseThreadData (a
// host's worker threads do so at the end of their function) or when the container goes. TThreadObjects keeps objects by
// name for each thread; the session object stands there under "Session".

#pragma once

#include "host/Object.h"

#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <thread>

namespace zutools {

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

    /// When true, the item of an ended thread is handed to the next new one as it is; when false it is freed.
    void SetReuseObjects(bool Value);
    /// The calling thread's item, made by CreateData on the first call; null when CreateData gives none.
    [[nodiscard]] TThreadContainerParentObject* GetData();
    /// Frees (or keeps for reuse) the calling thread's item; nothing happens when it has none.
    void ReleaseThreadData();

protected:
    [[nodiscard]] virtual std::unique_ptr<TThreadContainerParentObject> CreateData() = 0;

private:
    std::mutex FMutex;
    bool FReuseObjects = true;
    std::map<std::thread::id, std::unique_ptr<TThreadContainerParentObject>> FItems;
    std::vector<std::unique_ptr<TThreadContainerParentObject>> FSpare;
};

/// The per-thread container of named objects: it owns what it is given. Names compare as A to Z without case.
class TThreadObjects {
public:
    /// Puts `Object` under `Name` for the calling thread, freeing what stood there.
    void Add(std::u16string_view Name, std::unique_ptr<TObject> Object);
    /// The calling thread's object of that name, or null.
    [[nodiscard]] TObject* Get(std::u16string_view Name) const;
    /// Frees the calling thread's object of that name; nothing happens when there is none.
    void Remove(std::u16string_view Name);
    /// Takes it out without freeing it; null when there is none.
    [[nodiscard]] std::unique_ptr<TObject> Take(std::u16string_view Name);
    /// Frees everything of the calling thread; a host calls it when a worker thread ends.
    void Clear();

private:
    using TNamed = std::map<std::u16string, std::unique_ptr<TObject>, std::less<>>;
    mutable std::mutex FMutex;
    std::map<std::thread::id, TNamed> FThreads;
};

/// The container of the process.
[[nodiscard]] TThreadObjects& ThreadObjects();

} // namespace zutools
