// Whose call it is: the session of the calling thread.

#pragma once

#include <string>
#include <string_view>

namespace zutools {

/// Both empty without a session. Good until the thread changes its session.
class TBlockCaller {
public:
    TBlockCaller();
    TBlockCaller(const TBlockCaller&) = delete;
    TBlockCaller& operator=(const TBlockCaller&) = delete;

    std::u16string_view SID;
    std::u16string_view UserName;

private:
    std::u16string FSID; // where a session of the host's own class is read through its properties
    std::u16string FUserName;
};

} // namespace zutools
