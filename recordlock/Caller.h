// Whose call it is: the session of the calling thread.

#pragma once

#include <cstring>
#include <string>
#include <string_view>

namespace zutools {

/// Spelled alike. The library compares UTF-16 unit by unit, and this is asked several times a call.
[[nodiscard]] inline bool SameSpelling(std::u16string_view Left, std::u16string_view Right) {
    return Left.size() == Right.size() &&
           (Left.empty() || std::memcmp(Left.data(), Right.data(), Left.size() * sizeof(char16_t)) == 0);
}

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
