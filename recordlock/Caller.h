// Whose call it is: the session of the calling thread, and the script that runs on it.

#pragma once

#include "recordlock/BlockHistory.h"

#include <cstddef>
#include <functional>
#include <string>
#include <string_view>

namespace zutools {

/// The identifier of a session as lists look it up: with its hash, made once and without a lock. The text is
/// somebody else's.
struct TSessionKey {
    std::u16string_view SID;
    std::size_t Hash = 0;
    explicit TSessionKey(std::u16string_view ID)
        : SID(ID)
        , Hash(std::hash<std::u16string_view>()(ID)) {}
};

/// Asks the session's and the script's host, so it is made before the blocker's lock is taken. Names are
/// empty without a session. Good until the thread changes its session.
class TBlockCaller {
public:
    TBlockCaller();
    TBlockCaller(const TBlockCaller&) = delete;
    TBlockCaller& operator=(const TBlockCaller&) = delete;

    std::u16string_view SID;
    std::u16string_view UserName;
    const TCallStack Stack = CurrentCallStack();

private:
    std::u16string FSID; // where a session of the host's own class is read through its properties
    std::u16string FUserName;
};

/// Who takes a block: his session gets it.
struct TBlockTaker : TBlockCaller {
    TBlockTaker() {} // written out: `{}` would fill it with zeros first
    const TSessionKey Key{SID};
};

} // namespace zutools
