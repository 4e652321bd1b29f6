// What the log tells about a request, as text and as JSON.

#pragma once

#include <chrono>
#include <cstdint>
#include <string>
#include <string_view>

namespace zutools::server {

struct TAccess {
    std::string Method; // as sent; empty: the request ended before it was read
    std::string Path;   // as sent, without its query, which may hold what users typed
    int Status = 0;     // 0: no answer was sent
    std::uint64_t Bytes =
        0; // of the body that the system took; of one that was cut off, what the client received
    std::chrono::microseconds Time{}; // from the first byte of the request to the last of the answer
    std::string Address;              // of the client; behind a trusted proxy, the one that it tells
    std::u16string User;              // empty: nobody
    std::u16string SID;               // empty: there is no session
    std::u16string LanguageID;
};

/// One line of UTF-8. Whatever came from outside is masked and cannot be mistaken for another field.
[[nodiscard]] std::string AccessText(const TAccess& Access);
/// The same as members of a JSON object, without its braces.
[[nodiscard]] std::string AccessJson(const TAccess& Access);

/// A text as JSON has it, with its quotes.
[[nodiscard]] std::string JsonText(std::string_view Utf8);

} // namespace zutools::server
